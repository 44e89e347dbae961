// Through MARLOK.DLL: WAVE and Wave64 files written and read back (with LXTEST_WAVE_SOX set they
// stay in wave-written\ for wave_soxcheck.sh, with expected.txt and the samples in NAME.raw).
#include "wavetest.h"

using namespace wavetest;

namespace {

TEST(WaveExports, WrittenFilesReadBack) {
    const bool keep = getenv("LXTEST_WAVE_SOX") != nullptr;
    const std::string dir = lxtest::ExeDir() + (keep ? "wave-written" : lxtest::UniqueName("wave-written"));
    CreateDirectoryA(dir.c_str(), nullptr);
    std::ofstream expected;
    if (keep) expected.open(dir + "\\expected.txt", std::ios::binary);
    // A repair finds a header that claims no audio, and the last frame cut short.
    const struct { const char *name; DWORD header; bool w64, repair; tWAVEFORMATEX f; DWORD frames; } rows[] = {
        {"canonical_pcm8_mono.wav", 46, false, false, Fmt(1, 1, 8000, 8), 301},
        {"wave64_float64_mono.w64", 112, true, false, Fmt(3, 1, 96000, 64), 123},
        {"repaired_pcm24_stereo.wav", 512, false, true, Fmt(1, 2, 48000, 24), 222},
        {"repaired_wave64_pcm16_stereo.w64", 512, true, true, Fmt(1, 2, 44100, 16), 199},
    };
    for (const auto &r : rows) {
        const std::string path = dir + "\\" + r.name;
        const tWAVEFORMATEX &f = r.f;
        ASSERT_EQ(LX_S_OK, r.header == 46    ? LxInitializeWav(path.c_str(), &f, CREATE_ALWAYS)
                           : r.header == 112 ? LxInitializeWav64(path.c_str(), &f, CREATE_ALWAYS)
                                             : LxInitializeWavWithJunk(path.c_str(), &f, CREATE_ALWAYS, 512));
        const DWORD size = r.frames * f.nBlockAlign;
        const Bytes audio = f.wFormatTag == 3 ? Bytes(size + 8) : Samples(size + 8);  // floats of 0: no NaN
        HANDLE h = Open(path);
        DWORD done = 0;
        EXPECT_EQ(LX_S_OK, r.w64 && r.repair ? LxInsertW64Header(h, &f, 0, 512) : LX_S_OK);
        SetFilePointer(h, 0, nullptr, FILE_END);
        WriteFile(h, audio.data(), size + (r.repair ? f.nBlockAlign - 1 : 0), &done, nullptr);
        const HRESULT hr = r.repair && r.w64 ? LxFixTrashedW64(h, nullptr, ~0ULL)
                           : r.repair        ? LxFixTrashedWav(h, nullptr, ~0u)
                           : r.w64           ? LxInsertW64Header(h, &f, size, r.header)
                                             : LxInsertWavHeader(h, &f, size, r.header);
        EXPECT_EQ(LX_S_OK, hr);
        CloseHandle(h);
        ExpectReads(path, Fields(f), r.frames, r.header);
        EXPECT_EQ(r.w64 ? 1 : 0, LxFileIsWave64(path.c_str(), FALSE)) << r.name;
        if (!keep) DeleteFileA(path.c_str());
        if (keep) std::ofstream(path + ".raw", std::ios::binary).write((const char *)audio.data(), size);
        expected << r.name << ' ' << f.nChannels << ' ' << f.nSamplesPerSec << ' ' << f.wBitsPerSample << ' '
                 << r.frames << ' ' << (f.wFormatTag == 3 ? "floating-point" : "integer") << '\n';
    }
    RemoveDirectoryA(dir.c_str());  // unless it holds the files kept
}

}  // namespace
