// Walking and searching the chunks of a WAVE-like image: in memory through
// the cursor family, on disk through the file family, and building such an
// image with the growable stream.
#include <benchmark/benchmark.h>

#include "fileio/memstream.h"
#include "fileio/mriff.h"
#include "fileio/riff.h"

#include <string>
#include <vector>

namespace {

const DWORD kDataBytes = 1 << 20;
const int kCuePoints = 100;

DWORD Id(const char *s) { return LXRIFF_FOURCC(s[0], s[1], s[2], s[3]); }

/* RIFF WAVE: fmt, an INFO list of five texts, 1 MiB of data, cue points,
   an adtl list of labels, smpl. Built with the stream writers, sizes
   patched in place. */
void BuildImage(tLXMEMSTREAM *m) {
    static const char *const kInfo[][2] = {
        {"INAM", "A take"}, {"IART", "Someone"}, {"ICMT", "Odd length"}, {"ISFT", "Editor"}, {"ICRD", "2001"}};
    ms_WriteFileID(m, Id("WAVE"), 0);
    const BYTE fmt[16] = {1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0};
    ms_WriteChunk(m, Id("fmt "), fmt, 16);
    DWORD listAt = m->position;
    ms_WriteListHeader(m, Id("INFO"), 0);
    for (const auto &t : kInfo) ms_WriteChunk(m, Id(t[0]), t[1], (DWORD)strlen(t[1]) + 1);
    DWORD size = m->position - listAt - 8;
    memcpy(m->data + listAt + 4, &size, 4);
    std::vector<BYTE> data(kDataBytes, 0x11);
    ms_WriteChunk(m, Id("data"), data.data(), kDataBytes);
    std::vector<BYTE> cue(4 + 24 * kCuePoints, 0);
    ms_WriteChunk(m, Id("cue "), cue.data(), (DWORD)cue.size());
    listAt = m->position;
    ms_WriteListHeader(m, Id("adtl"), 0);
    for (int i = 0; i < kCuePoints; ++i) ms_WriteChunk(m, Id("labl"), "\1\0\0\0Marker", 11);
    size = m->position - listAt - 8;
    memcpy(m->data + listAt + 4, &size, 4);
    std::vector<BYTE> smpl(60, 0);
    ms_WriteChunk(m, Id("smpl"), smpl.data(), 60);
    size = m->used - 8;
    memcpy(m->data + 4, &size, 4);
}

struct Fixture {
    Fixture() {
        memset(&image, 0, sizeof image);
        BuildImage(&image);
        char dir[MAX_PATH], name[MAX_PATH];
        GetTempPathA(MAX_PATH, dir);
        GetTempFileNameA(dir, "rif", 0, name);
        path = name;
        file = CreateFileA(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_TEMPORARY, nullptr);
        DWORD done = 0;
        WriteFile(file, image.data, image.used, &done, nullptr);
    }
    ~Fixture() {
        CloseHandle(file);
        DeleteFileA(path.c_str());
        MemStream_Free(&image);
    }
    tLXMEMSTREAM image;
    std::string path;
    HANDLE file;
};

Fixture &Shared() {
    static Fixture f;
    return f;
}

void BM_MemoryFindChunkBehindData(benchmark::State &state) {
    Fixture &f = Shared();
    tMRIFFSTREAM s;
    mriff_Init(&s, f.image.data, f.image.used, f.image.used);
    for (auto _ : state) {
        mriff_SetFilePointer(&s, 0, nullptr, FILE_BEGIN);
        LONG left = (LONG)f.image.used;
        DWORD size = 0;
        if (mriff_FindChunkHeaderInRIFF(&s, Id("smpl"), &size, &left) != 0) state.SkipWithError("smpl");
        benchmark::DoNotOptimize(size);
    }
}
BENCHMARK(BM_MemoryFindChunkBehindData);

void BM_MemoryFindListAndCount(benchmark::State &state) {
    Fixture &f = Shared();
    tMRIFFSTREAM s;
    mriff_Init(&s, f.image.data, f.image.used, f.image.used);
    for (auto _ : state) {
        DWORD size = 0, count = 0;
        if (mriff_FindListChunkFromStart(&s, Id("adtl"), &size) != 0) state.SkipWithError("adtl");
        LONG left = (LONG)size;
        mriff_GetNumListEntries(&s, &count, &left);
        benchmark::DoNotOptimize(count);
    }
}
BENCHMARK(BM_MemoryFindListAndCount);

void BM_MemoryInfoString(benchmark::State &state) {
    Fixture &f = Shared();
    tMRIFFSTREAM s;
    mriff_Init(&s, f.image.data, f.image.used, f.image.used);
    char text[64];
    for (auto _ : state) {
        mriff_SetFilePointer(&s, 12, nullptr, FILE_BEGIN);
        if (mriff_GetInfoString(&s, Id("ICRD"), text, sizeof text, nullptr) != 0) state.SkipWithError("ICRD");
        benchmark::DoNotOptimize(text[0]);
    }
}
BENCHMARK(BM_MemoryInfoString);

void BM_FileFindChunkBehindData(benchmark::State &state) {
    Fixture &f = Shared();
    for (auto _ : state) {
        DWORD size = 0;
        if (riff_FindChunkHeaderInRIFF(f.file, Id("smpl"), &size, nullptr) != 0) state.SkipWithError("smpl");
        benchmark::DoNotOptimize(size);
    }
}
BENCHMARK(BM_FileFindChunkBehindData);

void BM_FileFindListAndCount(benchmark::State &state) {
    Fixture &f = Shared();
    for (auto _ : state) {
        DWORD size = 0, count = 0;
        if (riff_FindListChunkFromStart(f.file, Id("adtl"), &size) != 0) state.SkipWithError("adtl");
        LONG left = (LONG)size;
        riff_GetNumListEntries(f.file, &count, &left);
        benchmark::DoNotOptimize(count);
    }
}
BENCHMARK(BM_FileFindListAndCount);

void BM_StreamBuildImage(benchmark::State &state) {
    for (auto _ : state) {
        tLXMEMSTREAM m;
        memset(&m, 0, sizeof m);
        BuildImage(&m);
        benchmark::DoNotOptimize(m.used);
        MemStream_Free(&m);
    }
}
BENCHMARK(BM_StreamBuildImage);

}  // namespace
