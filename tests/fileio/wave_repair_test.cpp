// Recordings cut short: snapshots of the growing writer's file, cut at every length or with sizes zeroed or stale,
// repaired to exactly the whole frames written, in place.
#include "wavetest.h"

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

// The file after each step of a recording ([0] just created, [k] after k blocks) and every sample byte handed over.
struct Recording {
    std::vector<Bytes> steps;
    Bytes audio;
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

// What the repair makes of a file of length L whose header was laid out for audio at H: its status and, on
// success, where audio starts.
using Expect = std::pair<HRESULT, ULONGLONG>;

Expect Expected(bool w64, ULONGLONG L, ULONGLONG H) {
    const ULONGLONG least = w64 ? 112 : 46, junk = w64 ? 136 : 54;
    if (L < (w64 ? 82 : 38)) return Expect(LX_E_READ, 0);
    if (L >= H) return Expect(LX_S_OK, H);
    if (L % (w64 ? 8 : 2) || L < least || (L > least && L < junk)) return Expect(LXRIFF_E_NEGSIZE, 0);
    return Expect(LX_S_OK, L);  // no audio yet: all of it is header
}

// A refusal must change nothing; a repair must state the format, start the audio where expected and pass the
// checks of every repaired file.
void RepairAndCheck(const Bytes &image, bool w64, const tWAVEFORMATEX &format, const Expect &want) {
    static ScratchPath p("fix");
    WriteFileBytes(p.path(), image);
    const Repaired r = RepairChecked(p.path(), w64, &format);
    EXPECT_EQ(want, Expect(r.hr, r.offset));
    EXPECT_EQ(r.hr == LX_S_OK ? Fields(format) : std::vector<DWORD>(), r.format);
}

// A header and the first n bytes that the recorder handed over.
Bytes WithAudio(const Bytes &header, const Recording &r, size_t n) {
    Bytes b = header;
    b.insert(b.end(), r.audio.begin(), r.audio.begin() + n);
    return b;
}

// One format a test: the sweeps are long.
class WaveRecordingCut : public testing::TestWithParam<int> {};

// The writer keeps its promise that each step reads as it stands; past a step's end the file grows with the next
// block under the step's now stale header. Every cut of the first step and of the block being written is
// repaired, and a sample of the rest, which meet the same fates.
TEST_P(WaveRecordingCut, ReadableAfterEveryBlockAndRepairedAtEveryCut) {
    const Case &c = kCases[GetParam()];
    SCOPED_TRACE(c.name);
    const Recording r = Record(c, LXWAVEWRITER_AUTO, 0x7FFFFFFF);
    ScratchPath p;
    for (int k = 0; k <= kBlocks; ++k) {
        const Bytes &step = r.steps[k];
        ASSERT_EQ(512u + k * c.blockBytes, step.size());
        WriteFileBytes(p.path(), step);
        ExpectReads(p.path(), Fields(c.format), k * c.blockBytes / c.format.nBlockAlign, 512);

        const Bytes grown = WithAudio(Cut(step, 512), r, std::min<size_t>(r.audio.size(), (k + 1) * c.blockBytes));
        for (size_t L = 0; L <= grown.size(); ++L) {
            if (k > 0 && L + 8 < step.size() && L % 7 != 0) continue;
            SCOPED_TRACE(testing::Message() << "step " << k << ", cut at " << L);
            RepairAndCheck(Cut(grown, L), false, c.format, Expected(false, L, 512));
            if (HasFailure()) return;
        }
    }
}

// Past the size limit the header turns Wave64 in the same 512 bytes; here after the second block.
TEST_P(WaveRecordingCut, Wave64StateRepairedAtEveryCut) {
    const Case &c = kCases[GetParam()];
    SCOPED_TRACE(c.name);
    const Recording r = Record(c, LXWAVEWRITER_AUTO, (LONG)(c.blockBytes + c.blockBytes / 2));
    const Bytes &full = r.steps[kBlocks];
    ASSERT_EQ(0, memcmp(full.data(), W64Riff().b, 16));
    ASSERT_EQ(0, memcmp(r.steps[1].data(), "RIFF", 4));
    for (size_t L = 0; L <= full.size(); ++L) {
        if (L > 520 && L + 2 * c.blockBytes < full.size() && L % 7 != 0) continue;
        SCOPED_TRACE(L);
        RepairAndCheck(Cut(full, L), true, c.format, Expected(true, L, 512));
        if (HasFailure()) return;
    }
    SCOPED_TRACE("sizes 0");
    RepairAndCheck(With(With(full, 16, 0, 8), 504, 0, 8), true, c.format, Expect(LX_S_OK, 512));
}

INSTANTIATE_TEST_SUITE_P(Formats, WaveRecordingCut, testing::Range(0, (int)(sizeof kCases / sizeof kCases[0])));

// Header fields zeroed, all ones, or left from an earlier or later state. Fixed kinds keep the header as first
// written until the close, so a crash leaves one that claims no audio.
TEST(WaveRecording, RepairWithZeroOrStaleSizesAndFromFixedKinds) {
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const Recording r = Record(c, LXWAVEWRITER_AUTO, 0x7FFFFFFF);
        const Bytes &full = r.steps[kBlocks];
        const struct { const char *name; Bytes image; } rows[] = {
            {"RIFF size 0", With(full, 4, 0)},
            {"data size 0", With(full, 508, 0)},
            {"both 0", With(With(full, 4, 0), 508, 0)},
            {"sizes all ones", With(With(full, 4, 0xFFFFFFFF), 508, 0xFFFFFFFF)},
            {"JUNK size 0: the walk fails, the scan finds the marker", With(full, 42, 0)},
            {"sizes of four blocks, two and a half there", Cut(full, 512 + 2 * c.blockBytes + c.blockBytes / 2)},
            {"sizes of one block, four there", WithAudio(Cut(r.steps[1], 512), r, r.audio.size())},
            {"as just created, four blocks there", WithAudio(r.steps[0], r, r.audio.size())},
        };
        for (const auto &row : rows) {
            SCOPED_TRACE(row.name);
            RepairAndCheck(row.image, false, c.format, Expected(false, row.image.size(), 512));
        }
        const Recording wave = Record(c, LXWAVEWRITER_WAVE, 0), w64 = Record(c, LXWAVEWRITER_WAVE64, 0);
        for (int k = 0; k <= kBlocks; ++k) {
            SCOPED_TRACE(testing::Message() << "fixed kinds after " << k << " blocks");
            ASSERT_EQ(46u + k * c.blockBytes, wave.steps[k].size());
            EXPECT_EQ(0u, Get32(wave.steps[k], 42));
            RepairAndCheck(wave.steps[k], false, c.format, Expect(LX_S_OK, 46));
            const Bytes &step = w64.steps[k];
            ASSERT_EQ(112u + k * c.blockBytes, step.size());
            EXPECT_EQ(130u, Get64(step, 16));
            RepairAndCheck(step, true, c.format, Expect(LX_S_OK, 112));
            RepairAndCheck(Cut(step, step.size() - 1), true, c.format, Expected(true, step.size() - 1, 112));
        }
    }
}

// Each kind and limit settles as told, and the closed file reads clean.
TEST(WaveWriter, SettlesByKindAndLimit) {
    const Case &c = kCases[0];
    const Bytes audio = Samples(kBlocks * c.blockBytes);
    const DWORD total = (DWORD)audio.size();
    const struct { const char *name; int kind; LONG limit; bool w64; ULONGLONG header; } rows[] = {
        {"WAVE", LXWAVEWRITER_WAVE, 0, false, 46},
        {"Wave64", LXWAVEWRITER_WAVE64, 0x7FFFFFFF, true, 112},
        {"automatic, under the limit", LXWAVEWRITER_AUTO, (LONG)total, false, 512},
        {"automatic, past the limit", LXWAVEWRITER_AUTO, (LONG)total - 1, true, 512},
        {"automatic, limit -1", 17, -1, true, 512},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        ScratchPath p;
        tLXWAVEWRITER w;
        ASSERT_EQ(LX_S_OK, LxWaveWriter_Create(&w, p.c_str(), &c.format, row.kind, FALSE, row.limit));
        ASSERT_EQ(LX_S_OK, LxWaveWriter_Write(&w, audio.data(), total));
        ASSERT_EQ(LX_S_OK, LxWaveWriter_Close(&w));
        const Bytes file = ReadFileBytes(p.path());
        ASSERT_EQ(row.header + total, file.size());
        EXPECT_EQ(row.w64 ? 1 : 0, LxFileIsWave64(p.c_str(), FALSE));
        EXPECT_EQ(row.w64 ? 0 : 1, LxFileIsWave(p.c_str(), FALSE));
        const DataChunk d = Walk(file, row.w64);
        EXPECT_EQ(row.header, d.offset);
        EXPECT_EQ(total, d.size);
        EXPECT_EQ(Record18(c.format), d.fmt);
        EXPECT_EQ(row.w64 ? file.size() : file.size() - 8, row.w64 ? Get64(file, 16) : Get32(file, 4));
        EXPECT_TRUE(std::equal(audio.begin(), audio.end(), file.begin() + (size_t)row.header));
    }
}

TEST(WaveWriter, HiddenWhenAskedAndNoFileForABadFormat) {
    for (BOOL hidden : {TRUE, FALSE}) {
        ScratchPath p;
        tLXWAVEWRITER w;
        ASSERT_EQ(LX_S_OK, LxWaveWriter_Create(&w, p.c_str(), &kCases[0].format, LXWAVEWRITER_AUTO, hidden, 0));
        EXPECT_EQ(hidden ? FILE_ATTRIBUTE_HIDDEN : 0u, GetFileAttributesA(p.c_str()) & FILE_ATTRIBUTE_HIDDEN);
        ASSERT_EQ(LX_S_OK, LxWaveWriter_Close(&w));
    }
    tWAVEFORMATEX bad = kCases[0].format;
    bad.nBlockAlign = 1;
    ScratchPath r;
    tLXWAVEWRITER w;
    EXPECT_EQ(LXWAVE_E_FORMAT, LxWaveWriter_Create(&w, r.c_str(), &bad, LXWAVEWRITER_AUTO, FALSE, 0));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(r.c_str()));
    EXPECT_EQ(LX_E_FAIL, LxWaveWriter_Write(&w, "x", 1));
    EXPECT_EQ(LX_E_FAIL, LxWaveWriter_Close(&w));
}

}  // namespace
