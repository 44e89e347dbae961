// The IFF and AIFF exports of MARLOK.DLL: a sox file read through the DLL,
// the rate both ways, a marker found and a chunk deleted.
#include <gtest/gtest.h>

#include "fileio/aiff.h"
#include "testsupport.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

class AiffDllCopy : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = lxtest::ExeDir() + lxtest::UniqueName("aiffdll") + ".aif";
        ASSERT_TRUE(CopyFileA((lxtest::ExeDir() + "fixtures\\audio\\aiff_16b_44100_2ch.aiff").c_str(), path_.c_str(), FALSE));
        h_ = CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
        ASSERT_NE(INVALID_HANDLE_VALUE, h_);
    }
    void TearDown() override {
        if (h_ != INVALID_HANDLE_VALUE) CloseHandle(h_);
        DeleteFileA(path_.c_str());
    }
    std::string path_;
    HANDLE h_ = INVALID_HANDLE_VALUE;
};

TEST_F(AiffDllCopy, FormatOfASoxFile) {
    tWAVEFORMATEX w = {};
    DWORD frames = 0, offset = 0;
    ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(h_, &w, &frames, &offset));
    EXPECT_EQ(0xFE02, +w.wFormatTag);
    EXPECT_EQ(2, +w.nChannels);
    EXPECT_EQ(44100u, +w.nSamplesPerSec);
    EXPECT_EQ(176400u, +w.nAvgBytesPerSec);
    EXPECT_EQ(4, +w.nBlockAlign);
    EXPECT_EQ(16, +w.wBitsPerSample);
    EXPECT_EQ(463u, frames);  // 44100 / 100 + 10 * 2 + 16 / 8
    EXPECT_EQ(88u, offset);
    DWORD size = 0;
    BOOL compressed = TRUE;
    EXPECT_TRUE(iff_IsAIFFFileEx(h_, &size, &compressed));
    EXPECT_EQ(88u + 463 * 4 - 8, size);
    EXPECT_FALSE(compressed);
}

TEST_F(AiffDllCopy, DeleteTheCommentThenFindChunksAgain) {
    DWORD removed = 0;
    ASSERT_EQ(LX_S_OK, iff_DeleteChunk(h_, LXIFF_FOURCC('C', 'O', 'M', 'T'), &removed));
    EXPECT_EQ(34u, removed);
    DWORD size = 0;
    ASSERT_EQ(LX_S_OK, iff_FindChunkFromStart(h_, LXIFF_ID_COMM, &size));
    EXPECT_EQ(18u, size);
    EXPECT_EQ(20u, SetFilePointer(h_, 0, nullptr, FILE_CURRENT));
    tWAVEFORMATEX w = {};
    DWORD offset = 0;
    ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(h_, &w, nullptr, &offset));
    EXPECT_EQ(88u - 34, offset);
    tIFFMARKER m;
    EXPECT_EQ(LX_E_NOTFOUND, iff_FindMarker(h_, &m, 1));
}

TEST(AiffDll, RateBothWays) {
    const struct {
        DWORD rate;
        WORD exponent, top;
    } rows[] = {{8000, 0x400B, 0xFA00}, {44100, 0x400E, 0xAC44}, {96000, 0x400F, 0xBB80}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.rate);
        tAIFFEXTENDED x;
        ASSERT_EQ(LX_S_OK, aiff_CreateRate(r.rate, &x));
        EXPECT_EQ(r.exponent, x.exponent);
        EXPECT_EQ(r.top, x.mantissa[0]);
        EXPECT_EQ(r.rate, aiff_ConvertRate(&x));
    }
    BYTE b[] = {1, 2, 3, 4};
    iff_ByteSwap32(b, 1);
    DWORD v = 0;
    memcpy(&v, b, 4);
    EXPECT_EQ(0x01020304u, v);
}

}  // namespace
