// WAVE and Wave64 files written through the DLL's exports as its writers do it, and read back. With LXTEST_WAVE_SOX
// set they stay in wave-written\ with expected.txt and each file's samples in NAME.raw, for wave_soxcheck.sh.
#include "wavetest.h"

using namespace wavetest;

namespace {

// Integer samples of a pattern; floats that are small numbers, so that a reader converting them meets no NaN.
Bytes Audio(const tWAVEFORMATEX &f, DWORD frames) {
    Bytes b((size_t)frames * f.nBlockAlign);
    const size_t width = f.wFormatTag == 3 ? f.wBitsPerSample / 8 : 1;
    for (size_t i = 0; i < b.size() / width; ++i) {
        const double v = (double)((int)(i % 200) - 100) / 128.0;
        const float v32 = (float)v;
        if (width == 1) b[i] = (BYTE)((i * 37 + 11) % 253);
        if (width > 1) memcpy(&b[i * width], width == 4 ? (const void *)&v32 : &v, width);
    }
    return b;
}

void Append(HANDLE h, const Bytes &b) {
    SetFilePointer(h, 0, nullptr, FILE_END);
    DWORD done = 0;
    ASSERT_TRUE(WriteFile(h, b.data(), (DWORD)b.size(), &done, nullptr));
    ASSERT_EQ(b.size(), done);
}

enum Layout { kCanonical, kWave64, kReserved, kReservedAsWave64, kRepairedWave, kRepairedWave64 };

TEST(WaveExports, WrittenFilesReadBack) {
    const bool keep = getenv("LXTEST_WAVE_SOX") != nullptr;
    const std::string dir = lxtest::ExeDir() + (keep ? "wave-written" : lxtest::UniqueName("wave-written"));
    CreateDirectoryA(dir.c_str(), nullptr);
    const struct { const char *name; Layout layout; tWAVEFORMATEX format; DWORD frames; } rows[] = {
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
        const tWAVEFORMATEX &f = r.format;
        const bool w64 = r.layout == kWave64 || r.layout == kReservedAsWave64 || r.layout == kRepairedWave64;
        const DWORD header = r.layout == kCanonical ? 46 : r.layout == kWave64 ? 112 : 512;
        ASSERT_EQ(LX_S_OK, r.layout == kCanonical ? LxInitializeWav(path.c_str(), &f, CREATE_ALWAYS)
                           : r.layout == kWave64  ? LxInitializeWav64(path.c_str(), &f, CREATE_ALWAYS)
                                                  : LxInitializeWavWithJunk(path.c_str(), &f, CREATE_ALWAYS, 512));
        const Bytes audio = Audio(f, r.frames);
        const size_t half = audio.size() / 2;
        HANDLE h = OpenRW(path);
        ASSERT_NE(INVALID_HANDLE_VALUE, h);
        // Two blocks, the header rewritten behind each, as the writer does; a recording that stopped mid-frame got
        // no header behind its last block, the WAVE one none at all.
        for (size_t end : {half, audio.size()}) {
            Append(h, Bytes(audio.begin() + (end == half ? 0 : half), audio.begin() + end));
            if (r.layout == kRepairedWave || (r.layout == kRepairedWave64 && end != half)) continue;
            EXPECT_EQ(LX_S_OK, w64 ? LxInsertW64Header(h, &f, end, header)
                                   : LxInsertWavHeader(h, &f, (DWORD)end, header));
        }
        if (r.layout == kRepairedWave || r.layout == kRepairedWave64) {
            Append(h, Bytes((size_t)f.nBlockAlign - 1, 0x5A));
            EXPECT_EQ(LX_S_OK, w64 ? LxFixTrashedW64(h, nullptr, ~0ULL) : LxFixTrashedWav(h, nullptr, 0xFFFFFFFF));
        }
        CloseHandle(h);
        ExpectReads(path, Fields(f), r.frames, header);
        EXPECT_EQ(w64 ? 0 : 1, LxFileIsWave(path.c_str(), FALSE));
        EXPECT_EQ(w64 ? 1 : 0, LxFileIsWave64(path.c_str(), FALSE));
        if (!keep) {
            DeleteFileA(path.c_str());
            continue;
        }
        std::ofstream(path + ".raw", std::ios::binary).write((const char *)audio.data(), (std::streamsize)audio.size());
        expected << r.name << ' ' << f.nChannels << ' ' << f.nSamplesPerSec << ' ' << f.wBitsPerSample << ' '
                 << r.frames << ' ' << (f.wFormatTag == 3 ? "floating-point" : "integer") << '\n';
    }
    if (!keep) RemoveDirectoryA(dir.c_str());
}

}  // namespace
