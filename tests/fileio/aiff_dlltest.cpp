// The IFF and AIFF exports of MARLOK.DLL on a copy of a sox file: its format, a chunk deleted and the rest found
// again, and the rate both ways.
#include <gtest/gtest.h>

#include "fileio/aiff.h"
#include "testsupport.h"

#include <string>
#include <vector>

TEST(AiffDll, SoxFileReadDeleteAndRate) {
    const std::string path = lxtest::ExeDir() + lxtest::UniqueName("aiffdll") + ".aif";
    ASSERT_TRUE(CopyFileA((lxtest::ExeDir() + "fixtures\\audio\\aiff_16b_44100_2ch.aiff").c_str(), path.c_str(), 0));
    HANDLE h = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, h);
    tWAVEFORMATEX w = {};
    DWORD frames = 0, offset = 0, size = 0, removed = 0;
    BOOL compressed = TRUE;
    EXPECT_EQ(LX_S_OK, iff_GetAIFFWfx(h, &w, &frames, &offset));
    EXPECT_EQ(std::vector<DWORD>({0xFE02, 2, 44100, 176400, 4, 16, 463, 88}),
              std::vector<DWORD>({w.wFormatTag, w.nChannels, w.nSamplesPerSec, w.nAvgBytesPerSec, w.nBlockAlign,
                                  w.wBitsPerSample, frames, offset}));
    EXPECT_TRUE(iff_IsAIFFFileEx(h, &size, &compressed));
    EXPECT_EQ(std::vector<DWORD>({88 + 463 * 4 - 8, FALSE}), std::vector<DWORD>({size, (DWORD)compressed}));
    EXPECT_EQ(LX_S_OK, iff_DeleteChunk(h, LXIFF_FOURCC('C', 'O', 'M', 'T'), &removed));
    EXPECT_EQ(LX_S_OK, iff_FindChunkFromStart(h, LXIFF_ID_COMM, &size));
    EXPECT_EQ(LX_S_OK, iff_GetAIFFWfx(h, &w, nullptr, &offset));
    EXPECT_EQ(std::vector<DWORD>({34, 18, 88 - 34}), std::vector<DWORD>({removed, size, offset}));
    CloseHandle(h);
    DeleteFileA(path.c_str());
    tAIFFEXTENDED x;
    EXPECT_EQ(LX_S_OK, aiff_CreateRate(96000, &x));
    EXPECT_EQ(std::vector<WORD>({0x400F, 0xBB80, 0, 0, 0}),
              std::vector<WORD>({x.exponent, x.mantissa[0], x.mantissa[1], x.mantissa[2], x.mantissa[3]}));
    EXPECT_EQ(96000u, aiff_ConvertRate(&x));
}
