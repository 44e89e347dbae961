// Recordings cut short. The growing writer records blocks; snapshots of the
// file taken after every step, cut at every length, with sizes zeroed or
// left stale, are repaired and must give back exactly the whole frames
// that were written, at their place, and nothing else. Also the writer's
// own promise: after each block the file reads as it stands.
#include "wavetest.h"

#include "fileio/wave.h"

using namespace wavetest;

namespace {

struct Case {
    const char *name;
    tWAVEFORMATEX format;
    DWORD blockBytes;  // what one write hands over
};

const Case kCases[] = {
    {"16-bit stereo", Fmt(1, 2, 44100, 16), 96},
    {"24-bit mono", Fmt(1, 1, 48000, 24), 99},
    {"float stereo", Fmt(3, 2, 96000, 32), 88},
    {"8-bit mono", Fmt(1, 1, 8000, 8), 37},
};
const int kBlocks = 4;

// The file after each step of a recording: [0] just created, [k] after k
// blocks with the header rewritten.
struct Recording {
    std::vector<Bytes> steps;
    Bytes audio;  // every sample byte handed over
};

Recording Record(const Case &c, int kind, LONG sizeLimit) {
    Recording r;
    ScratchPath p("rec");
    tLXWAVEWRITER w;
    EXPECT_EQ(LX_S_OK, LxWaveWriter_Create(&w, p.c_str(), &c.format, kind, FALSE, sizeLimit));
    r.steps.push_back(ReadFileBytes(p.path()));
    for (int k = 0; k < kBlocks; ++k) {
        const Bytes block = Samples(c.blockBytes, r.audio.size());
        EXPECT_EQ(LX_S_OK, LxWaveWriter_Write(&w, block.data(), c.blockBytes));
        r.audio.insert(r.audio.end(), block.begin(), block.end());
        r.steps.push_back(ReadFileBytes(p.path()));
    }
    EXPECT_EQ(LX_S_OK, LxWaveWriter_Close(&w));
    return r;
}

// What the repair must make of a file of length L whose header was laid
// out for audio at H (512 for the reservation): its status and, when it
// succeeds, where audio starts.
struct Expect {
    HRESULT status;
    ULONGLONG start;
};

Expect ExpectWave(ULONGLONG L, ULONGLONG H) {
    if (L < 38) return {LX_E_READ, 0};
    if (L >= H) return {LX_S_OK, H};
    if ((L & 1) || L < 46 || (L > 46 && L < 54)) return {LXRIFF_E_NEGSIZE, 0};
    return {LX_S_OK, L};  // no audio yet: all of it is header
}

Expect ExpectW64(ULONGLONG L, ULONGLONG H) {
    if (L < 82) return {LX_E_READ, 0};
    if (L >= H) return {LX_S_OK, H};
    if ((L & 7) || L < 112 || (L > 112 && L < 136)) return {LXRIFF_E_NEGSIZE, 0};
    return {LX_S_OK, L};
}

// Repairs image in a scratch file and checks it against the expectation:
// the format, the whole frames in [start, L), those bytes unchanged.
void RepairAndCheck(const Bytes &image, bool w64, const tWAVEFORMATEX &format, const Expect &want) {
    static ScratchPath p("fix");
    WriteFileBytes(p.path(), image);
    HANDLE h = OpenRW(p.path());
    ASSERT_NE(INVALID_HANDLE_VALUE, h);
    SeekTo(h, 7);
    const HRESULT hr = w64 ? LxFixTrashedW64(h, &format, ~0ULL) : LxFixTrashedWav(h, &format, 0xFFFFFFFF);
    EXPECT_EQ(7u, Pos(h));
    CloseHandle(h);
    ASSERT_EQ(want.status, hr);
    const Bytes after = ReadFileBytes(p.path());
    ASSERT_EQ(image.size(), after.size());
    if (hr != LX_S_OK) {
        EXPECT_EQ(image, after);  // refused: nothing changed
        return;
    }
    EXPECT_TRUE(std::equal(image.begin() + (size_t)want.start, image.end(), after.begin() + (size_t)want.start));
    EXPECT_EQ(1, w64 ? LxFileIsWave64(p.c_str(), FALSE) : LxFileIsWave(p.c_str(), FALSE));
    ULONGLONG frames = 0, offset = 0;
    tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
    ASSERT_NE(nullptr, got);
    EXPECT_EQ(0, memcmp(got, &format, 18));
    EXPECT_EQ(want.start, offset);
    EXPECT_EQ((image.size() - want.start) / +format.nBlockAlign, frames);
    free(got);
    // The stated data size covers the whole frames, nothing of a cut one.
    const DataChunk d = w64 ? WalkW64(after) : WalkWave(after);
    EXPECT_EQ(want.start, d.offset);
    EXPECT_EQ(frames * +format.nBlockAlign, d.size);
}

Bytes Cut(const Bytes &b, size_t n) { return Bytes(b.begin(), b.begin() + (n < b.size() ? n : b.size())); }

// Everything that the recorder handed over up to byte n of the audio.
Bytes WithAudio(const Bytes &header, const Recording &r, size_t n) {
    Bytes b = header;
    b.insert(b.end(), r.audio.begin(), r.audio.begin() + n);
    return b;
}

TEST(WaveRecording, ReadableAfterEveryBlock) {
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const Recording r = Record(c, LXWAVEWRITER_AUTO, 0x7FFFFFFF);
        ScratchPath p;
        for (int k = 0; k <= kBlocks; ++k) {
            SCOPED_TRACE(k);
            WriteFileBytes(p.path(), r.steps[k]);
            ASSERT_EQ(512u + k * c.blockBytes, r.steps[k].size());
            ULONGLONG frames = 0, offset = 0;
            tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
            ASSERT_NE(nullptr, got);
            EXPECT_EQ(0, memcmp(got, &c.format, 18));
            EXPECT_EQ(512u, offset);
            EXPECT_EQ(k * c.blockBytes / c.format.nBlockAlign, frames);
            free(got);
        }
    }
}

// Cut at every length, after every step: inside the header, inside the
// reservation, mid-frame, mid-block, at block ends. One format a test.
class WaveRecordingCut : public testing::TestWithParam<int> {};

TEST_P(WaveRecordingCut, RepairAtEveryCut) {
    const Case &c = kCases[GetParam()];
    SCOPED_TRACE(c.name);
    const Recording r = Record(c, LXWAVEWRITER_AUTO, 0x7FFFFFFF);
    for (int k = 0; k <= kBlocks; ++k) {
        const Bytes &step = r.steps[k];
        // Past this step's end the file grows with the next block's bytes
        // under this step's header, now stale.
        const size_t audio = std::min<size_t>(r.audio.size(), (size_t)(k + 1) * c.blockBytes);
        const Bytes grown = WithAudio(Cut(step, 512), r, audio);
        const size_t stepEnd = 512 + (size_t)k * c.blockBytes;
        for (size_t L = 0; L <= grown.size(); ++L) {
            // Every length of the first step and of the block being written;
            // of the rest, which meet the same fates, a sample.
            if (k > 0 && L + 8 < stepEnd && L % 7 != 0) continue;
            SCOPED_TRACE(testing::Message() << "step " << k << ", cut at " << L);
            RepairAndCheck(Bytes(grown.begin(), grown.begin() + L), false, c.format, ExpectWave(L, 512));
            if (HasFailure()) return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, WaveRecordingCut, testing::Range(0, (int)(sizeof kCases / sizeof kCases[0])));

// Header fields zeroed or left from a later or earlier state.
TEST(WaveRecording, RepairWithZeroOrStaleSizes) {
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const Recording r = Record(c, LXWAVEWRITER_AUTO, 0x7FFFFFFF);
        const Bytes &full = r.steps[kBlocks];
        const size_t mid = 512 + 2 * c.blockBytes + c.blockBytes / 2;
        struct Row {
            const char *name;
            Bytes image;
        };
        std::vector<Row> rows;
        Bytes b = full;
        Put32(b, 4, 0);
        rows.push_back({"RIFF size 0", b});
        b = full;
        Put32(b, 508, 0);
        rows.push_back({"data size 0", b});
        b = full;
        Put32(b, 4, 0);
        Put32(b, 508, 0);
        rows.push_back({"both 0", b});
        rows.push_back({"sizes of four blocks, two and a half there", Cut(full, mid)});
        rows.push_back({"sizes of one block, four there", WithAudio(Cut(r.steps[1], 512), r, r.audio.size())});
        rows.push_back({"as just created, four blocks there", WithAudio(r.steps[0], r, r.audio.size())});
        b = full;
        Put32(b, 4, 0xFFFFFFFF);
        Put32(b, 508, 0xFFFFFFFF);
        rows.push_back({"sizes all ones", b});
        b = full;
        Put32(b, 42, 0);  // a JUNK of size 0: the walk fails, the scan finds the marker
        rows.push_back({"JUNK size 0", b});
        for (const Row &row : rows) {
            SCOPED_TRACE(row.name);
            RepairAndCheck(row.image, false, c.format, ExpectWave(row.image.size(), 512));
            // The walker of the tests agrees that the samples were left alone.
            EXPECT_TRUE(std::equal(row.image.begin() + 512, row.image.end(), full.begin() + 512));
        }
    }
}

// Past the size limit the header turns Wave64 in the same 512 bytes.
TEST_P(WaveRecordingCut, Wave64StateRepairedAtEveryCut) {
    const Case &c = kCases[GetParam()];
    SCOPED_TRACE(c.name);
    // The header flips after the second block.
    const Recording r = Record(c, LXWAVEWRITER_AUTO, (LONG)(c.blockBytes + c.blockBytes / 2));
    const Bytes &full = r.steps[kBlocks];
    ASSERT_EQ(0, memcmp(full.data(), W64Riff().b, 16));
    ASSERT_EQ(0, memcmp(r.steps[1].data(), "RIFF", 4));
    for (size_t L = 0; L <= full.size(); ++L) {
        if (L > 520 && L + 2 * c.blockBytes < full.size() && L % 7 != 0) continue;
        SCOPED_TRACE(L);
        RepairAndCheck(Cut(full, L), true, c.format, ExpectW64(L, 512));
        if (HasFailure()) return;
    }
    Bytes b = full;
    Put64(b, 16, 0);
    Put64(b, 504, 0);
    SCOPED_TRACE("sizes 0");
    RepairAndCheck(b, true, c.format, {LX_S_OK, 512});
}

// Fixed kinds: the header stays as first written until the close, so a
// crash leaves a header that claims no audio.
TEST(WaveRecording, FixedKindsRecoverFromTheirFirstHeader) {
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const Recording wave = Record(c, LXWAVEWRITER_WAVE, 0);
        const Recording w64 = Record(c, LXWAVEWRITER_WAVE64, 0);
        for (int k = 0; k <= kBlocks; ++k) {
            SCOPED_TRACE(k);
            ASSERT_EQ(46u + k * c.blockBytes, wave.steps[k].size());
            EXPECT_EQ(0u, Get32(wave.steps[k], 42));
            RepairAndCheck(wave.steps[k], false, c.format, {LX_S_OK, 46});
            ASSERT_EQ(112u + k * c.blockBytes, w64.steps[k].size());
            EXPECT_EQ(130u, Get64(w64.steps[k], 16));
            RepairAndCheck(w64.steps[k], true, c.format, {LX_S_OK, 112});
            RepairAndCheck(Cut(w64.steps[k], w64.steps[k].size() - 1), true, c.format,
                           ExpectW64(w64.steps[k].size() - 1, 112));
        }
    }
}

// The writer settles each kind and limit as told, and the file reads clean.
TEST(WaveWriter, SettlesByKindAndLimit) {
    const Case &c = kCases[0];
    const DWORD total = kBlocks * c.blockBytes;
    struct Row {
        const char *name;
        int kind;
        LONG limit;
        bool w64;
        ULONGLONG header;
    } rows[] = {
        {"WAVE", LXWAVEWRITER_WAVE, 0, false, 46},
        {"Wave64", LXWAVEWRITER_WAVE64, 0x7FFFFFFF, true, 112},
        {"automatic, under the limit", LXWAVEWRITER_AUTO, (LONG)total, false, 512},
        {"automatic, past the limit", LXWAVEWRITER_AUTO, (LONG)total - 1, true, 512},
        {"automatic, limit -1", 17, -1, true, 512},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const Recording r = Record(c, row.kind, row.limit);
        ScratchPath p;
        // The closed file, by the last step's bytes and a fresh read.
        tLXWAVEWRITER w;
        ASSERT_EQ(LX_S_OK, LxWaveWriter_Create(&w, p.c_str(), &c.format, row.kind, FALSE, row.limit));
        ASSERT_EQ(LX_S_OK, LxWaveWriter_Write(&w, r.audio.data(), (DWORD)r.audio.size()));
        ASSERT_EQ(LX_S_OK, LxWaveWriter_Close(&w));
        const Bytes file = ReadFileBytes(p.path());
        ASSERT_EQ(row.header + total, file.size());
        EXPECT_EQ(row.w64 ? 1 : 0, LxFileIsWave64(p.c_str(), FALSE));
        EXPECT_EQ(row.w64 ? 0 : 1, LxFileIsWave(p.c_str(), FALSE));
        const DataChunk d = row.w64 ? WalkW64(file) : WalkWave(file);
        EXPECT_EQ(row.header, d.offset);
        EXPECT_EQ(total, d.size);
        EXPECT_EQ(Record18(c.format), d.fmt);
        if (row.w64)
            EXPECT_EQ(file.size(), Get64(file, 16));
        else
            EXPECT_EQ(file.size() - 8, Get32(file, 4));
        EXPECT_TRUE(std::equal(r.audio.begin(), r.audio.end(), file.begin() + (size_t)row.header));
    }
}

TEST(WaveWriter, HiddenWhenAsked) {
    ScratchPath p;
    tLXWAVEWRITER w;
    ASSERT_EQ(LX_S_OK, LxWaveWriter_Create(&w, p.c_str(), &kCases[0].format, LXWAVEWRITER_AUTO, TRUE, 0x7FFFFFFF));
    EXPECT_NE(0u, GetFileAttributesA(p.c_str()) & FILE_ATTRIBUTE_HIDDEN);
    ASSERT_EQ(LX_S_OK, LxWaveWriter_Close(&w));
    ScratchPath q;
    ASSERT_EQ(LX_S_OK, LxWaveWriter_Create(&w, q.c_str(), &kCases[0].format, LXWAVEWRITER_AUTO, FALSE, 0x7FFFFFFF));
    EXPECT_EQ(0u, GetFileAttributesA(q.c_str()) & FILE_ATTRIBUTE_HIDDEN);
    ASSERT_EQ(LX_S_OK, LxWaveWriter_Close(&w));
    // A format that would need mending never makes a file.
    tWAVEFORMATEX bad = kCases[0].format;
    bad.nBlockAlign = 1;
    ScratchPath r;
    EXPECT_EQ(LXWAVE_E_FORMAT, LxWaveWriter_Create(&w, r.c_str(), &bad, LXWAVEWRITER_AUTO, FALSE, 0));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(r.c_str()));
    EXPECT_EQ(LX_E_FAIL, LxWaveWriter_Write(&w, "x", 1));
    EXPECT_EQ(LX_E_FAIL, LxWaveWriter_Close(&w));
}

}  // namespace
