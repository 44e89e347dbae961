// What the wave files cost: recognising a file and reading its format
// (open, read, close) for each layout, one header rewrite beside the
// writing of one 64 KiB block of audio, and the two together as the growing
// writer does them after every block, so that rewriting each time is seen
// to be cheap next to the audio itself.
#include <benchmark/benchmark.h>

#include "fileio/riff64.h"
#include "fileio/wave.h"

#include <stdlib.h>
#include <string>
#include <vector>

namespace {

const DWORD kBlock = 64 * 1024;
const DWORD kGrowLimit = 64 * 1024 * 1024;  // the writing file is cut back past this

std::string TempPath(const char *prefix) {
    char dir[MAX_PATH], name[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    GetTempFileNameA(dir, prefix, 0, name);
    return name;
}

tWAVEFORMATEX Stereo16() {
    tWAVEFORMATEX f;
    memset(&f, 0, sizeof f);
    f.wFormatTag = 1;
    f.nChannels = 2;
    f.nSamplesPerSec = 44100;
    f.wBitsPerSample = 16;
    f.nBlockAlign = 4;
    f.nAvgBytesPerSec = 176400;
    return f;
}

void Append(HANDLE h, const std::vector<BYTE> &b) {
    DWORD done = 0;
    WriteFile(h, b.data(), (DWORD)b.size(), &done, nullptr);
}

// One file of each layout with 1 MiB of audio; AIFF last, as the third guess.
struct Files {
    Files() {
        const tWAVEFORMATEX f = Stereo16();
        const std::vector<BYTE> audio(1 << 20, 0x11);
        for (int kind = 0; kind < 4; ++kind) {
            paths.push_back(TempPath("wvb"));
            const char *path = paths.back().c_str();
            if (kind == 0) LxInitializeWav(path, &f, CREATE_ALWAYS);
            if (kind == 1) LxInitializeWavWithJunk(path, &f, CREATE_ALWAYS, LXWAVE_RESERVED_HEADER);
            if (kind == 2) LxInitializeWav64(path, &f, CREATE_ALWAYS);
            if (kind == 3) {
                // FORM AIFF: COMM of 16-bit stereo at 44100, SSND.
                static const BYTE head[] = {'F', 'O', 'R', 'M', 0, 0x10, 0, 0x2E, 'A', 'I', 'F', 'F', 'C', 'O',
                                            'M', 'M', 0, 0, 0, 18, 0, 2, 0, 4, 0, 0, 0, 16, 0x40, 0x0E,
                                            0xAC, 0x44, 0, 0, 0, 0, 0, 0, 'S', 'S', 'N', 'D', 0, 0x10, 0, 8,
                                            0, 0, 0, 0, 0, 0, 0, 0};
                HANDLE h = CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
                DWORD done = 0;
                WriteFile(h, head, sizeof head, &done, nullptr);
                Append(h, audio);
                CloseHandle(h);
                continue;
            }
            HANDLE h = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                   nullptr);
            SetFilePointer(h, 0, nullptr, FILE_END);
            const DWORD header = SetFilePointer(h, 0, nullptr, FILE_CURRENT);
            Append(h, audio);
            if (kind == 2)
                LxInsertW64Header(h, &f, audio.size(), header);
            else
                LxInsertWavHeader(h, &f, (DWORD)audio.size(), header);
            CloseHandle(h);
        }
    }
    ~Files() {
        for (const std::string &p : paths) DeleteFileA(p.c_str());
    }
    std::vector<std::string> paths;
};

Files &Shared() {
    static Files f;
    return f;
}

const char *const kLayouts[] = {"WAVE", "WAVE reserved", "Wave64", "AIFF"};

void BM_GetFileWfx(benchmark::State &state) {
    const std::string &path = Shared().paths[state.range(0)];
    for (auto _ : state) {
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(path.c_str(), &frames, &offset);
        if (!f || frames != (1 << 18)) state.SkipWithError("format not read");
        free(f);
    }
    state.SetLabel(kLayouts[state.range(0)]);
}
BENCHMARK(BM_GetFileWfx)->DenseRange(0, 3);

void BM_FileIsWave(benchmark::State &state) {
    const std::string &path = Shared().paths[1];
    for (auto _ : state) benchmark::DoNotOptimize(LxFileIsWave(path.c_str(), FALSE));
}
BENCHMARK(BM_FileIsWave);

// A file that grows by one block per iteration, cut back to its header now
// and then outside the timing.
class Growing {
public:
    explicit Growing(int kind) : path_(TempPath("wvg")) {
        const tWAVEFORMATEX f = Stereo16();
        LxWaveWriter_Create(&w_, path_.c_str(), &f, kind, FALSE, 0x7FFFFFFF);
    }
    ~Growing() {
        LxWaveWriter_Close(&w_);
        DeleteFileA(path_.c_str());
    }
    tLXWAVEWRITER &writer() { return w_; }
    void CutBackIfLong(benchmark::State &state) {
        if (w_.dataBytes < kGrowLimit) return;
        state.PauseTiming();
        SetFilePointer(w_.file, (LONG)w_.headerSize, nullptr, FILE_BEGIN);
        SetEndOfFile(w_.file);
        w_.dataBytes = 0;
        state.ResumeTiming();
    }

private:
    std::string path_;
    tLXWAVEWRITER w_;
};

void BM_HeaderRewrite(benchmark::State &state) {
    Growing g(LXWAVEWRITER_AUTO);
    const std::vector<BYTE> block(kBlock, 0x22);
    LxWaveWriter_Write(&g.writer(), block.data(), kBlock);
    const tWAVEFORMATEX f = Stereo16();
    const bool w64 = state.range(0) != 0;
    const HANDLE h = g.writer().file;
    for (auto _ : state) {
        const HRESULT hr = w64 ? LxInsertW64Header(h, &f, kBlock, LXWAVE_RESERVED_HEADER)
                               : LxInsertWavHeader(h, &f, kBlock, LXWAVE_RESERVED_HEADER);
        if (hr != LX_S_OK) state.SkipWithError("rewrite failed");
    }
    state.SetLabel(w64 ? "Wave64, 512-byte header" : "WAVE, 512-byte header");
}
BENCHMARK(BM_HeaderRewrite)->Arg(0)->Arg(1);

void BM_WriteBlock(benchmark::State &state) {
    Growing g(LXWAVEWRITER_WAVE);  // a fixed kind: no rewrite behind each block
    const std::vector<BYTE> block(kBlock, 0x33);
    for (auto _ : state) {
        if (LxWaveWriter_Write(&g.writer(), block.data(), kBlock) != LX_S_OK) state.SkipWithError("write failed");
        g.CutBackIfLong(state);
    }
    state.SetBytesProcessed(state.iterations() * (int64_t)kBlock);
    state.SetLabel("64 KiB of audio");
}
BENCHMARK(BM_WriteBlock);

void BM_WriteBlockAndRewrite(benchmark::State &state) {
    Growing g(LXWAVEWRITER_AUTO);  // the header rewritten behind every block
    const std::vector<BYTE> block(kBlock, 0x44);
    for (auto _ : state) {
        if (LxWaveWriter_Write(&g.writer(), block.data(), kBlock) != LX_S_OK) state.SkipWithError("write failed");
        g.CutBackIfLong(state);
    }
    state.SetBytesProcessed(state.iterations() * (int64_t)kBlock);
    state.SetLabel("64 KiB of audio, then the header");
}
BENCHMARK(BM_WriteBlockAndRewrite);

// The repair of a recording of 1 MiB whose header never got its sizes.
void BM_FixTrashed(benchmark::State &state) {
    Growing g(LXWAVEWRITER_AUTO);
    const std::vector<BYTE> audio(1 << 20, 0x55);
    DWORD done = 0;
    WriteFile(g.writer().file, audio.data(), (DWORD)audio.size(), &done, nullptr);
    for (auto _ : state) {
        if (LxFixTrashedWav(g.writer().file, nullptr, 0xFFFFFFFF) != LX_S_OK) state.SkipWithError("repair failed");
    }
}
BENCHMARK(BM_FixTrashed);

}  // namespace
