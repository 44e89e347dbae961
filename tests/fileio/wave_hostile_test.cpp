// Hostile WAVE and Wave64 files: every size and count field of small valid
// images set to values that break readers (0, 1, odd, one off the truth, the
// signed and unsigned extremes), and every truncation of them. Every call
// returns with one of its own statuses, a repaired file reads back clean,
// a refused one is left as it was, and chunk walks move forward. A watchdog
// ends the program, naming the case, on a hang.
#include "wavetest.h"

#include "fileio/riff64.h"
#include "fileio/wave.h"

using namespace wavetest;

namespace {

struct Field {
    const char *name;
    size_t at;
    int width;  // bytes: 2, 4 or 8
};

struct Image {
    const char *name;
    Bytes bytes;
    std::vector<Field> fields;
};

const tWAVEFORMATEX kFmt = Fmt(1, 2, 44100, 16);

std::vector<Field> RecordFields(size_t at) {
    return {{"tag", at, 2},         {"channels", at + 2, 2}, {"rate", at + 4, 4}, {"bytes per second", at + 8, 4},
            {"block align", at + 12, 2}, {"bits", at + 14, 2}, {"extra size", at + 16, 2}};
}

std::vector<Image> Images() {
    std::vector<Image> out;
    {
        Image img{"WAVE", WaveImage().Header().Chunk("fmt ", Record18(kFmt)).Chunk("data", Samples(12)).Close(), {}};
        img.fields = {{"RIFF size", 4, 4}, {"fmt size", 16, 4}, {"data size", 42, 4}};
        for (const Field &f : RecordFields(20)) img.fields.push_back(f);
        out.push_back(img);
    }
    {
        Image img{"WAVE reserved",
                  WaveImage().Header().Chunk("fmt ", Record18(kFmt)).Chunk("JUNK", Bytes(10)).Chunk("data", Samples(8)).Close(),
                  {{"RIFF size", 4, 4}, {"fmt size", 16, 4}, {"JUNK size", 42, 4}, {"data size", 60, 4}}};
        out.push_back(img);
    }
    {
        Bytes rec = Record18(Fmt(3, 1, 8000, 32));
        rec.resize(16);
        Image img{"WAVE list and fact",
                  WaveImage()
                      .Header()
                      .Chunk("LIST", Bytes{'I', 'N', 'F', 'O', 'I', 'N', 'A', 'M', 3, 0, 0, 0, 'a', 'b', 0, 0})
                      .Chunk("fmt ", rec)
                      .Chunk("fact", Bytes{2, 0, 0, 0})
                      .Chunk("data", Samples(8))
                      .Close(),
                  {{"RIFF size", 4, 4}, {"LIST size", 16, 4}, {"INAM size", 28, 4}, {"fmt size", 40, 4},
                   {"fact size", 64, 4}, {"data size", 76, 4}}};
        out.push_back(img);
    }
    {
        Image img{"Wave64", W64Image().Header().Chunk(W64Fmt(), Record18(kFmt)).Chunk(W64Data(), Samples(12)).Close(), {}};
        img.fields = {{"riff size", 16, 8}, {"fmt size", 56, 8}, {"data size", 104, 8}};
        for (const Field &f : RecordFields(64)) img.fields.push_back(f);
        out.push_back(img);
    }
    {
        Image img{"Wave64 reserved",
                  W64Image().Header().Chunk(W64Fmt(), Record18(kFmt)).Chunk(W64Junk(), Bytes(8)).Chunk(W64Data(), Samples(8)).Close(),
                  {{"riff size", 16, 8}, {"fmt size", 56, 8}, {"junk size", 104, 8}, {"data size", 136, 8}}};
        out.push_back(img);
    }
    {
        Image img{"Wave64 list",
                  W64Image()
                      .Header()
                      .Id(W64List()).Quad(24 + 16 + 32).Id(W64Wave()).Chunk(W64Junk(), Samples(3))
                      .Chunk(W64Fmt(), Record18(kFmt))
                      .Chunk(W64Data(), Samples(8))
                      .Close(),
                  {{"riff size", 16, 8}, {"list size", 56, 8}, {"inner size", 96, 8}, {"fmt size", 128, 8},
                   {"data size", 176, 8}}};
        out.push_back(img);
    }
    return out;
}

struct Variant {
    std::string name;
    Bytes bytes;
};

std::vector<Variant> Variants(const Image &img) {
    std::vector<Variant> out;
    char name[128];
    for (const Field &f : img.fields) {
        ULONGLONG truth = 0;
        std::memcpy(&truth, img.bytes.data() + f.at, f.width);
        std::vector<ULONGLONG> values = {0, 1, 3, truth - 1, truth + 1, 0x7FFFFFFF, 0xFFFFFFF8, 0xFFFFFFFF};
        if (f.width == 8) {
            for (ULONGLONG v : {0x100000000ULL + truth, 0x7FFFFFFFFFFFFFFFULL, 0x8000000000000000ULL,
                                0xFFFFFFFFFFFFFFF8ULL, 0xFFFFFFFFFFFFFFFFULL})
                values.push_back(v);
        }
        for (ULONGLONG v : values) {
            Bytes b = img.bytes;
            std::memcpy(b.data() + f.at, &v, f.width);  // little-endian: the low bytes
            snprintf(name, sizeof name, "%s, %s = 0x%llX", img.name, f.name, v);
            out.push_back({name, b});
        }
    }
    // Counts that agree with each other on nothing to read: no channels or
    // no whole bytes a sample, with the alignment to match.
    for (const Field &f : img.fields) {
        if (std::string(f.name) != "channels") continue;
        const size_t rec = f.at - 2;
        for (WORD bits : {16, 7, 0}) {
            Bytes b = img.bytes;
            Put16(b, rec + 2, bits == 16 ? 0 : 2);
            Put16(b, rec + 12, 0);
            Put16(b, rec + 14, bits);
            snprintf(name, sizeof name, "%s, block align 0 from %s", img.name, bits == 16 ? "0 channels" : "bits");
            out.push_back({name, b});
        }
    }
    for (size_t len = 0; len < img.bytes.size(); ++len) {
        snprintf(name, sizeof name, "%s cut to %u bytes", img.name, (unsigned)len);
        out.push_back({name, Bytes(img.bytes.begin(), img.bytes.begin() + len)});
    }
    return out;
}

bool RepairStatus(HRESULT hr) {
    return hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXRIFF_E_NEGSIZE;
}

bool LayerStatus(HRESULT hr) {
    return hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXRIFF_E_NOTRIFF ||
           hr == LXRIFF_E_NOTLIST;
}

class HostileRun {
public:
    HostileRun(const std::string &path, const Bytes &bytes) : path_(path), bytes_(bytes) {}

    void All() {
        WriteFileBytes(path_, bytes_);
        Readers();
        Walks();
        Repair(false);
        Repair(true);
        Delete();
    }

private:
    void Readers() {
        for (BOOL any : {FALSE, TRUE}) {
            const int a = LxFileIsWave(path_.c_str(), any), b = LxFileIsWave64(path_.c_str(), any);
            EXPECT_TRUE(a == 0 || a == 1);
            EXPECT_TRUE(b == 0 || b == 1);
        }
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(path_.c_str(), &frames, &offset);
        if (f) {
            EXPECT_TRUE(LxWave_IsAudioFormat(f));
            EXPECT_LE(offset, bytes_.size());
            EXPECT_GE(offset, 12u);
            free(f);
        }
    }

    void Walks() {
        HANDLE h = OpenR(path_);
        ASSERT_NE(INVALID_HANDLE_VALUE, h);
        // The 32-bit family, chunk by chunk, and the 64-bit one.
        DWORD steps = 0, id, size32;
        SeekTo(h, 12);
        for (;;) {
            const ULONGLONG before = Pos(h);
            if (riff_ReadChunkHeader(h, &id, &size32) != LX_S_OK) break;
            riff_SkipChunk(h, size32);
            ASSERT_GE(Pos(h), before + 8);
            ASSERT_LE(++steps, bytes_.size() / 8 + 1);
        }
        steps = 0;
        SeekTo(h, 40);
        for (;;) {
            const ULONGLONG before = Pos(h);
            GUID gid;
            ULONGLONG size;
            if (riff64_ReadChunkHeader(h, &gid, &size) != LX_S_OK) break;
            riff64_SkipChunk(h, size);
            ASSERT_GE(Pos(h), before + 24);
            ASSERT_LE(++steps, bytes_.size() / 24 + 1);
        }
        ULONGLONG size = 0;
        LONGLONG left = 0;
        for (const GUID &g : {LXW64_ID_FMT, LXW64_ID_DATA, LXW64_ID_JUNK, LXW64_ID_LIST}) {
            EXPECT_TRUE(LayerStatus(riff64_FindChunkHeaderInRIFF(h, g, &size, &left)));
            riff64_SeekDataStart(h);
            EXPECT_TRUE(LayerStatus(riff64_FindChunkHeader(h, g, &size, nullptr)));
        }
        if (riff64_FindListChunkFromStart(h, LXW64_ID_WAVE, &size) == LX_S_OK) {
            DWORD count = 0;
            left = (LONGLONG)size;
            EXPECT_TRUE(LayerStatus(riff64_GetNumListEntries(h, &count, &left)));
            EXPECT_LE(count, bytes_.size() / 24);
        }
        riff64_SeekDataStart(h);
        DWORD count = 0;
        EXPECT_TRUE(LayerStatus(riff64_GetNumListEntries(h, &count, nullptr)));
        EXPECT_LE(count, bytes_.size() / 24);
        CloseHandle(h);
    }

    void Repair(bool w64) {
        WriteFileBytes(path_, bytes_);
        HANDLE h = OpenRW(path_);
        ASSERT_NE(INVALID_HANDLE_VALUE, h);
        const HRESULT hr = w64 ? LxFixTrashedW64(h, nullptr, ~0ULL) : LxFixTrashedWav(h, nullptr, 0xFFFFFFFF);
        EXPECT_EQ(0u, Pos(h));
        CloseHandle(h);
        EXPECT_TRUE(RepairStatus(hr)) << std::hex << hr;
        const Bytes after = ReadFileBytes(path_);
        ASSERT_EQ(bytes_.size(), after.size());
        if (hr != LX_S_OK) {
            EXPECT_EQ(bytes_, after);
            return;
        }
        // What the library writes reads back clean.
        EXPECT_EQ(1, w64 ? LxFileIsWave64(path_.c_str(), FALSE) : LxFileIsWave(path_.c_str(), FALSE));
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(path_.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, f);
        EXPECT_EQ((after.size() - offset) / +f->nBlockAlign, frames);
        const DataChunk d = w64 ? WalkW64(after) : WalkWave(after);
        EXPECT_EQ(offset, d.offset);
        EXPECT_EQ(frames * +f->nBlockAlign, d.size);
        EXPECT_TRUE(std::equal(bytes_.begin() + (size_t)offset, bytes_.end(), after.begin() + (size_t)offset));
        free(f);
    }

    void Delete() {
        WriteFileBytes(path_, bytes_);
        HANDLE h = OpenRW(path_);
        ASSERT_NE(INVALID_HANDLE_VALUE, h);
        ULONGLONG removed = 0;
        const HRESULT hr = riff64_DeleteChunk(h, LXW64_ID_FMT, &removed);
        EXPECT_TRUE(LayerStatus(hr)) << std::hex << hr;
        CloseHandle(h);
        EXPECT_LE(ReadFileBytes(path_).size(), bytes_.size());
    }

    const std::string &path_;
    const Bytes &bytes_;
};

TEST(WaveHostile, EveryFieldAndEveryCut) {
    Watchdog dog(20000);
    ScratchPath p("hostile");
    size_t cases = 0;
    for (const Image &img : Images()) {
        for (const Variant &v : Variants(img)) {
            SCOPED_TRACE(v.name);
            dog.Enter(v.name);
            HostileRun(p.path(), v.bytes).All();
            ++cases;
            if (HasFailure()) return;  // one case is enough to read
        }
    }
    EXPECT_GT(cases, 900u);
}

// The sweep's images are what they claim to be before they are broken.
TEST(WaveHostile, ImagesAreValidToStartWith) {
    ScratchPath p;
    for (const Image &img : Images()) {
        SCOPED_TRACE(img.name);
        WriteFileBytes(p.path(), img.bytes);
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(p.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, f);
        EXPECT_GT(frames, 0u);
        EXPECT_LE(offset + frames * +f->nBlockAlign, img.bytes.size());
        EXPECT_LT(img.bytes.size() - (offset + frames * +f->nBlockAlign), 8u);
        free(f);
        for (const Field &fld : img.fields) {
            const std::string n = fld.name;
            if (n.find(" size") == std::string::npos || n == "extra size") continue;
            SCOPED_TRACE(fld.name);
            ULONGLONG v = 0;
            std::memcpy(&v, img.bytes.data() + fld.at, fld.width);
            EXPECT_GT(v, 0u);
            EXPECT_LE(v, img.bytes.size());
        }
    }
}

}  // namespace
