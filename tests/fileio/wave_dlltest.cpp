// WAVE and Wave64 files written through MARLOK.DLL's exports the way its
// writers do it (start a file, append audio, rewrite the header; repair a
// recording cut short) and read back through the exports. With
// LXTEST_WAVE_SOX set the files stay in wave-written\ beside the program,
// each with its expected channels, rate, bits and frames in expected.txt
// and its samples in NAME.raw, for the sox check (wave_soxcheck.sh).
#include <gtest/gtest.h>

#include "fileio/wave.h"
#include "testsupport.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

tWAVEFORMATEX Fmt(WORD tag, WORD channels, DWORD rate, WORD bits) {
    tWAVEFORMATEX f;
    memset(&f, 0, sizeof f);
    f.wFormatTag = tag;
    f.nChannels = channels;
    f.nSamplesPerSec = rate;
    f.wBitsPerSample = bits;
    f.nBlockAlign = (WORD)(bits / 8 * channels);
    f.nAvgBytesPerSec = f.nBlockAlign * rate;
    return f;
}

// Integer samples of a pattern; float samples that are small numbers, so
// that a reader converting them has no NaN or infinity to meet.
Bytes Audio(const tWAVEFORMATEX &f, DWORD frames) {
    Bytes b((size_t)frames * f.nBlockAlign);
    if (f.wFormatTag == 3 && f.wBitsPerSample == 32) {
        for (size_t i = 0; i < b.size() / 4; ++i) {
            const float v = (float)((int)(i % 200) - 100) / 128.0f;
            memcpy(&b[i * 4], &v, 4);
        }
    } else if (f.wFormatTag == 3) {
        for (size_t i = 0; i < b.size() / 8; ++i) {
            const double v = (double)((int)(i % 300) - 150) / 256.0;
            memcpy(&b[i * 8], &v, 8);
        }
    } else {
        for (size_t i = 0; i < b.size(); ++i) b[i] = (BYTE)((i * 37 + 11) % 253);
    }
    return b;
}

HANDLE OpenRW(const std::string &path) {
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

void Append(HANDLE h, const Bytes &b) {
    SetFilePointer(h, 0, nullptr, FILE_END);
    DWORD done = 0;
    ASSERT_TRUE(WriteFile(h, b.data(), (DWORD)b.size(), &done, nullptr));
    ASSERT_EQ(b.size(), done);
}

struct Written {
    std::string name;
    tWAVEFORMATEX format;
    DWORD frames;
    ULONGLONG offset;
    Bytes audio;  // the whole frames the file holds
};

enum Layout { kCanonical, kWave64, kReserved, kReservedAsWave64, kRepairedWave, kRepairedWave64 };

// Writes one file by its layout; frames whole frames end up in it.
void WriteOne(const std::string &path, Layout layout, const tWAVEFORMATEX &f, DWORD frames, Written *out) {
    const Bytes audio = Audio(f, frames);
    const DWORD bytes = (DWORD)audio.size();
    ULONGLONG header = 0;
    switch (layout) {
    case kCanonical:
        ASSERT_EQ(LX_S_OK, LxInitializeWav(path.c_str(), &f, CREATE_ALWAYS));
        header = 46;
        break;
    case kWave64:
        ASSERT_EQ(LX_S_OK, LxInitializeWav64(path.c_str(), &f, CREATE_ALWAYS));
        header = 112;
        break;
    default:
        ASSERT_EQ(LX_S_OK, LxInitializeWavWithJunk(path.c_str(), &f, CREATE_ALWAYS, 512));
        header = 512;
        break;
    }
    HANDLE h = OpenRW(path);
    ASSERT_NE(INVALID_HANDLE_VALUE, h);
    // Two blocks, the header rewritten behind each, as the writer does.
    const Bytes first(audio.begin(), audio.begin() + bytes / 2), second(audio.begin() + bytes / 2, audio.end());
    for (const Bytes *block : {&first, &second}) {
        Append(h, *block);
        const DWORD soFar = (DWORD)(block == &first ? first.size() : bytes);
        if (layout == kCanonical || layout == kReserved)
            ASSERT_EQ(LX_S_OK, LxInsertWavHeader(h, &f, soFar, (DWORD)header));
        else if (layout == kWave64 || layout == kReservedAsWave64)
            ASSERT_EQ(LX_S_OK, LxInsertW64Header(h, &f, soFar, header));
        else if (layout == kRepairedWave64 && block == &first)
            ASSERT_EQ(LX_S_OK, LxInsertW64Header(h, &f, soFar, header));
    }
    if (layout == kRepairedWave || layout == kRepairedWave64) {
        // The recording stopped mid-frame and its last header never came.
        Append(h, Bytes((size_t)f.nBlockAlign - 1, 0x5A));
        ASSERT_EQ(LX_S_OK, layout == kRepairedWave ? LxFixTrashedWav(h, nullptr, 0xFFFFFFFF)
                                                   : LxFixTrashedW64(h, nullptr, ~0ULL));
    }
    CloseHandle(h);
    *out = {path.substr(path.find_last_of('\\') + 1), f, frames, header, audio};
}

TEST(WaveExports, WrittenFilesReadBack) {
    const bool keep = getenv("LXTEST_WAVE_SOX") != nullptr;
    const std::string dir = lxtest::ExeDir() + (keep ? std::string("wave-written") : lxtest::UniqueName("wave-written"));
    CreateDirectoryA(dir.c_str(), nullptr);
    const struct {
        const char *name;
        Layout layout;
        tWAVEFORMATEX format;
        DWORD frames;
    } rows[] = {
        {"canonical_pcm16_stereo.wav", kCanonical, Fmt(1, 2, 44100, 16), 400},
        {"canonical_pcm8_mono.wav", kCanonical, Fmt(1, 1, 8000, 8), 301},
        {"canonical_pcm16_6ch.wav", kCanonical, Fmt(1, 6, 22050, 16), 120},
        {"reserved_float32_stereo.wav", kReserved, Fmt(3, 2, 22050, 32), 300},
        {"reserved_pcm24_mono.wav", kReserved, Fmt(1, 1, 48000, 24), 333},
        {"reserved_pcm32_stereo.wav", kReserved, Fmt(1, 2, 96000, 32), 250},
        {"wave64_pcm16_stereo.w64", kWave64, Fmt(1, 2, 44100, 16), 410},
        {"wave64_float64_mono.w64", kWave64, Fmt(3, 1, 96000, 64), 123},
        {"reserved_as_wave64_pcm24_stereo.w64", kReservedAsWave64, Fmt(1, 2, 48000, 24), 257},
        {"repaired_pcm16_stereo.wav", kRepairedWave, Fmt(1, 2, 44100, 16), 222},
        {"repaired_wave64_pcm24_stereo.w64", kRepairedWave64, Fmt(1, 2, 48000, 24), 199},
    };
    std::ofstream expected;
    if (keep) expected.open(dir + "\\expected.txt", std::ios::binary);
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        const std::string path = dir + "\\" + r.name;
        Written w;
        WriteOne(path, r.layout, r.format, r.frames, &w);
        if (HasFatalFailure()) return;

        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *got = LxGetFileWfx(path.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, got);
        EXPECT_EQ(0, memcmp(got, &r.format, 18));
        EXPECT_EQ(r.frames, frames);
        EXPECT_EQ(w.offset, offset);
        free(got);
        const bool w64 = r.layout == kWave64 || r.layout == kReservedAsWave64 || r.layout == kRepairedWave64;
        EXPECT_EQ(w64 ? 0 : 1, LxFileIsWave(path.c_str(), FALSE));
        EXPECT_EQ(w64 ? 1 : 0, LxFileIsWave64(path.c_str(), FALSE));

        if (keep) {
            std::ofstream raw(path + ".raw", std::ios::binary);
            raw.write((const char *)w.audio.data(), (std::streamsize)w.audio.size());
            expected << r.name << ' ' << r.format.nChannels << ' ' << r.format.nSamplesPerSec << ' '
                     << r.format.wBitsPerSample << ' ' << r.frames << ' '
                     << (r.format.wFormatTag == 3 ? "floating-point" : "integer") << '\n';
        } else {
            DeleteFileA(path.c_str());
        }
    }
    if (!keep) RemoveDirectoryA(dir.c_str());
}

}  // namespace
