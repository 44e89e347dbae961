// Hostile WAVE and Wave64: every size and count field of small valid images through values that break readers, and
// every truncation. Every call returns one of its statuses, a repair reads back clean or changes nothing, and walks
// move forward; a watchdog names a hanging case.
#include "wavetest.h"

#include "fileio/riff64.h"

using namespace wavetest;

namespace {

struct Image {
    const char *name;
    Bytes bytes;
    std::vector<Field> fields;
};

std::vector<Image> Images() {
    const Bytes rec = Record18(Fmt(1, 2, 44100, 16));
    Bytes rec16 = Record18(Fmt(3, 1, 8000, 32));
    rec16.resize(16);
    std::vector<Image> out = {
        {"WAVE", WaveImage().Header().Chunk("fmt ", rec).Chunk("data", Samples(12)).Close(),
         {{"RIFF size", 4, 4}, {"fmt size", 16, 4}, {"data size", 42, 4}}},
        {"WAVE reserved",
         WaveImage().Header().Chunk("fmt ", rec).Chunk("JUNK", Bytes(10)).Chunk("data", Samples(8)).Close(),
         {{"RIFF size", 4, 4}, {"fmt size", 16, 4}, {"JUNK size", 42, 4}, {"data size", 60, 4}}},
        {"WAVE list and fact",
         WaveImage().Header().Chunk("LIST", {'I', 'N', 'F', 'O', 'I', 'N', 'A', 'M', 3, 0, 0, 0, 'a', 'b', 0, 0})
             .Chunk("fmt ", rec16).Chunk("fact", {2, 0, 0, 0}).Chunk("data", Samples(8)).Close(),
         {{"RIFF size", 4, 4}, {"LIST size", 16, 4}, {"INAM size", 28, 4}, {"fmt size", 40, 4},
          {"fact size", 64, 4}, {"data size", 76, 4}}},
        {"Wave64", W64Image().Header().Chunk(W64Fmt(), rec).Chunk(W64Data(), Samples(12)).Close(),
         {{"riff size", 16, 8}, {"fmt size", 56, 8}, {"data size", 104, 8}}},
        {"Wave64 reserved",
         W64Image().Header().Chunk(W64Fmt(), rec).Chunk(W64Junk(), Bytes(8)).Chunk(W64Data(), Samples(8)).Close(),
         {{"riff size", 16, 8}, {"fmt size", 56, 8}, {"junk size", 104, 8}, {"data size", 136, 8}}},
        {"Wave64 list",
         W64Image().Header().Id(W64List()).Quad(24 + 16 + 32).Id(W64Wave()).Chunk(W64Junk(), Samples(3))
             .Chunk(W64Fmt(), rec).Chunk(W64Data(), Samples(8)).Close(),
         {{"riff size", 16, 8}, {"list size", 56, 8}, {"inner size", 96, 8}, {"fmt size", 128, 8},
          {"data size", 176, 8}}},
    };
    // The format record's fields of the two plain images.
    for (Image *img : {&out[0], &out[3]}) {
        const size_t at = img == &out[0] ? 20 : 64;
        img->fields.insert(img->fields.end(), {{"tag", at, 2}, {"channels", at + 2, 2}, {"rate", at + 4, 4},
                                               {"bytes per second", at + 8, 4}, {"block align", at + 12, 2},
                                               {"bits", at + 14, 2}, {"extra size", at + 16, 2}});
    }
    return out;
}

// The hostile variants, and counts that agree on nothing to read: no channels or no whole bytes a sample, with the
// alignment to match.
std::vector<Variant> Variants(const Image &img) {
    std::vector<Variant> out = Hostile(img.name, img.bytes, img.fields);
    for (const Field &f : img.fields) {
        if (f.name != "channels") continue;
        for (WORD bits : {16, 7, 0}) {
            out.push_back({std::string(img.name) + ", block align 0, bits " + std::to_string(bits), img.bytes});
            Put16(out.back().bytes, f.at, bits == 16 ? 0 : 2);
            Put16(out.back().bytes, f.at + 10, 0);
            Put16(out.back().bytes, f.at + 12, bits);
        }
    }
    return out;
}

bool LayerStatus(HRESULT hr) {
    return hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXRIFF_E_NOTRIFF || hr == LXRIFF_E_NOTLIST;
}

// The readers answer within their range; the Wave64 chunk walk steps forward, and not too often; the chunk layer's
// searches and counts stay within their statuses.
void Reads(const std::string &path, const Bytes &bytes) {
    for (BOOL any : {FALSE, TRUE}) {
        const int a = LxFileIsWave(path.c_str(), any), b = LxFileIsWave64(path.c_str(), any);
        EXPECT_TRUE((a == 0 || a == 1) && (b == 0 || b == 1)) << a << b;
    }
    ULONGLONG frames = 0, size = 0;
    if (tWAVEFORMATEX *f = LxGetFileWfx(path.c_str(), &frames, &size)) {
        EXPECT_TRUE(LxWave_IsAudioFormat(f));
        EXPECT_TRUE(size >= 12 && size <= bytes.size()) << size;
        free(f);
    }
    HANDLE h = OpenR(path);
    ASSERT_NE(INVALID_HANDLE_VALUE, h);
    SeekTo(h, 40);
    for (size_t steps = 1;; ++steps) {
        const ULONGLONG before = Pos(h);
        GUID gid;
        if (riff64_ReadChunkHeader(h, &gid, &size) != LX_S_OK) break;
        riff64_SkipChunk(h, size);
        ASSERT_GE(Pos(h), before + 24);
        ASSERT_LE(steps, bytes.size() / 24 + 1);
    }
    LONGLONG left = 0;
    for (const GUID &g : {LXW64_ID_FMT, LXW64_ID_DATA, LXW64_ID_JUNK, LXW64_ID_LIST}) {
        EXPECT_TRUE(LayerStatus(riff64_FindChunkHeaderInRIFF(h, g, &size, &left)));
        riff64_SeekDataStart(h);
        EXPECT_TRUE(LayerStatus(riff64_FindChunkHeader(h, g, &size, nullptr)));
    }
    DWORD count = 0;
    if (riff64_FindListChunkFromStart(h, LXW64_ID_WAVE, &size) == LX_S_OK) {
        left = (LONGLONG)size;
        EXPECT_TRUE(LayerStatus(riff64_GetNumListEntries(h, &count, &left)));
        EXPECT_LE(count, bytes.size() / 24);
    }
    riff64_SeekDataStart(h);
    EXPECT_TRUE(LayerStatus(riff64_GetNumListEntries(h, &count, nullptr)));
    EXPECT_LE(count, bytes.size() / 24);
    CloseHandle(h);
}

TEST(WaveHostile, EveryFieldAndEveryCut) {
    Watchdog dog(20000);
    ScratchPath p("hostile");
    size_t cases = 0;
    for (const Image &img : Images()) {
        // Each image is valid before it is broken: whole frames up to its end.
        WriteFileBytes(p.path(), img.bytes);
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(p.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, f) << img.name;
        EXPECT_GT(frames, 0u);
        EXPECT_LT(img.bytes.size() - (offset + frames * +f->nBlockAlign), 8u);
        free(f);
        for (const Variant &v : Variants(img)) {
            SCOPED_TRACE(v.name);
            dog.Enter(v.name);
            WriteFileBytes(p.path(), v.bytes);
            Reads(p.path(), v.bytes);
            for (bool w64 : {false, true}) {
                WriteFileBytes(p.path(), v.bytes);
                const HRESULT hr = RepairChecked(p.path(), w64).hr;
                EXPECT_TRUE(hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXRIFF_E_NEGSIZE) << hr;
            }
            // Deleting never grows the file.
            WriteFileBytes(p.path(), v.bytes);
            HANDLE h = OpenRW(p.path());
            ULONGLONG removed = 0;
            const HRESULT hr = riff64_DeleteChunk(h, LXW64_ID_FMT, &removed);
            EXPECT_TRUE(LayerStatus(hr)) << std::hex << hr;
            CloseHandle(h);
            EXPECT_LE(ReadFileBytes(p.path()).size(), v.bytes.size());
            ++cases;
            if (HasFailure()) return;  // one case is enough to read
        }
    }
    EXPECT_GT(cases, 900u);
}

}  // namespace
