// WAVE and Wave64 headers byte for byte with the sizes refused, the repair rules, and recordings
// cut short, repaired at every cut length to exactly the whole frames written.
#include "guardbuffer.h"
#include "wavetest.h"

using namespace wavetest;

namespace {

const tWAVEFORMATEX kStereo16 = Fmt(1, 2, 44100, 16);
const Bytes kRec = Record18(kStereo16);
const std::vector<DWORD> kStereo16Fields = {1, 2, 44100, 176400, 4, 16, 0}, kNone;

// Headers byte for byte, from a record flush against a guard page. A refused size changes
// nothing, save that a refused reservation has cut the file; a format to be mended is refused first.
TEST(WaveWrite, HeadersByteForByteAndSizesRefused) {
    lxtest::GuardBuffer g(kRec.data(), 18);
    const tWAVEFORMATEX *const f = (const tWAVEFORMATEX *)g.data();
    enum { kNew, kJunk, kInsert };
    const HRESULT kOk = LX_S_OK, kNeg = LXRIFF_E_NEGSIZE;
    const struct { int how; bool w64; DWORD length; ULONGLONG H; HRESULT want; } rows[] = {
        {kNew, false, 0, 46, kOk},      {kNew, true, 0, 112, kOk},        {kJunk, false, 0, 53, kOk},
        {kJunk, false, 0, 52, LX_E_INVALIDARG},                          {kInsert, false, 602, 46, kOk},
        {kInsert, false, 602, 54, kOk}, {kInsert, true, 600, 136, kOk},   {kInsert, true, 111, 112, kNeg},
        {kInsert, true, 600, 120, kNeg}};  // WAVE's sizes are refused in the cut recordings below
    ScratchPath p;
    for (const auto &r : rows) {
        SCOPED_TRACE(&r - rows);
        const Bytes before = Samples(r.how == kInsert ? r.length : 700);
        WriteFileBytes(p.path(), before);
        const ULONGLONG data = r.how == kInsert && r.length > r.H ? r.length - r.H : 0, H = (r.H + 1) & ~1ULL;
        HRESULT hr = LX_S_OK;
        if (r.how == kInsert) {
            HANDLE h = Open(p.path());
            SetFilePointer(h, 33, nullptr, FILE_BEGIN);
            hr = r.w64 ? LxInsertW64Header(h, f, data, r.H) : LxInsertWavHeader(h, f, (DWORD)data, (DWORD)r.H);
            EXPECT_EQ(33u, rifftest::Pos64(h));
            CloseHandle(h);
        }
        if (r.how == kJunk) hr = LxInitializeWavWithJunk(p.c_str(), f, CREATE_ALWAYS, (DWORD)r.H);
        if (r.how == kNew) hr = (r.w64 ? LxInitializeWav64 : LxInitializeWav)(p.c_str(), f, CREATE_ALWAYS);
        ASSERT_EQ(r.want, hr);
        if (hr) {
            EXPECT_EQ(r.how == kInsert ? before : Bytes(), ReadFileBytes(p.path()));
            continue;
        }
        // Wave64's size reads 130 until the first rewrite.
        const Bytes w64 = Cat({W64Riff(), With(Bytes(8), 0, r.how == kNew ? 130 : data + H, 8), W64Wave(),
                               W64Chunk(W64Fmt(), kRec), H > 112 ? W64Chunk(W64Junk(), Bytes(H - 136)) : Bytes(),
                               W64Data(), With(Bytes(8), 0, data + 24, 8)});
        const Bytes wave = With(Wave().Chunk("fmt ", kRec).Chunk("JUNK", Bytes(H > 46 ? H - 54 : 0))
                                    .Tag("data").Word((DWORD)data).Finish(), 4, data + H - 8);
        const Bytes tail(before.begin() + (r.how == kInsert ? H : before.size()), before.end());
        const Bytes header = r.w64 ? w64 : H > 46 ? wave : Cat({Cut(wave, 38), Bytes(wave.end() - 8, wave.end())});
        EXPECT_EQ(Cat({header, tail}), ReadFileBytes(p.path()));
        ExpectReads(p.path(), kStereo16Fields, data / 4, H);
    }
    const tWAVEFORMATEX bits20 = Fmt(1, 2, 44100, 20);
    const char *missing = "missing\\x.wav";  // a file that cannot be opened
    EXPECT_EQ(std::make_tuple(LXWAVE_E_FORMAT, LX_E_POINTER, LXWAVE_E_OPEN),
              std::make_tuple(LxInitializeWav64(missing, &bits20, 2), LxInitializeWavWithJunk(missing, 0, 2, 512),
                              LxInitializeWav(missing, f, 2)));
    lxtest::GuardBuffer g16(kRec.data(), 16);
    EXPECT_TRUE(LxWave_IsAudioFormat((const tWAVEFORMATEX *)g16.data()));
}

// The format is mended towards the fallback, rate and alignment always recomputed. The audio starts
// behind the data chunk, else behind a "data" marker a byte scan finds, else at the limit.
TEST(WaveRepair, FormatAndStartOfTheAudio) {
    const tWAVEFORMATEX fb = Fmt(3, 1, 48000, 64), noBytes = Fmt(1, 0, 44100, 16);
    auto wave = [](WORD tag, WORD channels, DWORD rate, WORD bits) {  // bytes a second, align, extra wrong
        const Bytes r = With(With(With(Record18(Fmt(tag, channels, rate, bits)), 8, 5), 12, 7, 2), 16, 9, 2);
        return Wave().Chunk("fmt ", r).Chunk("data", Samples(96)).Finish();
    };
    // "data" only the byte scan finds, at 66 behind a chunk with a broken size.
    const Bytes broken =
        With(Wave().Chunk("fmt ", kRec).Chunk("JUNK", Bytes(20)).Chunk("data", Samples(40)).Finish(), 42, ~15u);
    const Bytes w64Broken = With(W64({W64Chunk(W64Fmt(), kRec), W64Chunk(W64Junk(), Bytes(40)),
                                      W64Chunk(W64Data(), Samples(64))}), 104, 5, 8);  // junk below its header
    // The marker spans the first and second scan block.
    const Bytes straddle = Cat({Cut(broken, 46), Bytes(4132 - 46), Cut(W64Data(), 4), Bytes(4), Samples(80)});
    const Bytes fmt16 =
        Wave().Chunk("fmt ", Cut(kRec, 16)).Chunk("fact", Bytes(4)).Chunk("data", Samples(40)).Finish();
    const ULONGLONG any = ~0ULL;
    const struct { bool w64; Bytes image; const tWAVEFORMATEX *fb; ULONGLONG limit; std::vector<DWORD> format;
                   ULONGLONG start; } rows[] = {  // the format read back, none when refused
        {false, wave(1, 1, 1999, 8), nullptr, any, {1, 1, 44100, 44100, 1, 8, 0}, 46},
        {false, wave(1, 1, 192001, 8), &fb, any, {1, 1, 48000, 48000, 1, 8, 0}, 46},
        {false, wave(0xFE01, 3, 2000, 8), &fb, any, {3, 1, 2000, 16000, 8, 64, 0}, 46},
        {false, wave(3, 2, 192000, 16), nullptr, any, {3, 2, 192000, 1536000, 8, 32, 0}, 46},
        {false, wave(1, 2, 8000, 20), &fb, any, {1, 2, 8000, 64000, 8, 32, 0}, 46},
        {false, wave(1, 5, 44100, 16), &noBytes, any, kNone, 0},
        {false, straddle, nullptr, any, kStereo16Fields, 4132 + 8},
        {false, fmt16, nullptr, any, kStereo16Fields, 56},  // the walk starts 2 bytes late
        {false, broken, nullptr, 70, kStereo16Fields, 70},  // the marker behind the limit
        {false, broken, nullptr, 71, kNone, 0},
        {true, w64Broken, nullptr, any, kStereo16Fields, 176},
        {true, w64Broken, nullptr, 143, kStereo16Fields, 136},  // the limit rounded down to 8
    };
    ScratchPath p;
    for (const auto &r : rows) {
        WriteFileBytes(p.path(), r.image);
        const Repaired got = RepairChecked(p.path(), r.w64, r.fb, r.limit);
        EXPECT_EQ(!r.format.empty() ? LX_S_OK : r.fb == &noBytes ? LXWAVE_E_FORMAT : LXRIFF_E_NEGSIZE, got.hr);
        EXPECT_EQ(std::make_pair(r.format, r.start), std::make_pair(got.format, got.offset)) << &r - rows;
    }
}

const struct Case { tWAVEFORMATEX format; DWORD blockBytes; } kCases[] = {
    {Fmt(1, 2, 44100, 16), 96}, {Fmt(1, 1, 48000, 24), 99}, {Fmt(3, 2, 96000, 32), 88}, {Fmt(1, 1, 8000, 8), 37}};
const int kBlocks = 4;

// The file after each step of a recording: [0] just created, [k] after k blocks.
std::vector<Bytes> Record(const Case &c, LONG sizeLimit) {
    ScratchPath p("rec");
    tLXWAVEWRITER w;
    EXPECT_EQ(LX_S_OK, LxWaveWriter_Create(&w, p.c_str(), &c.format, LXWAVEWRITER_AUTO, FALSE, sizeLimit));
    std::vector<Bytes> steps = {ReadFileBytes(p.path())};
    for (int k = 0; k < kBlocks; ++k) {
        EXPECT_EQ(LX_S_OK, LxWaveWriter_Write(&w, Samples(c.blockBytes, k * c.blockBytes).data(), c.blockBytes));
        steps.push_back(ReadFileBytes(p.path()));
    }
    EXPECT_EQ(LX_S_OK, LxWaveWriter_Close(&w));
    return steps;
}

class WaveRecordingCut : public testing::TestWithParam<int> {};

// Each step reads as it stands; past it the file grows under the step's stale header. Past the size
// limit the header turns Wave64 in the same 512 bytes. Every cut of the first step and of the block
// being written is repaired (short of 512 the file is all header if that is legal), and every
// seventh cut of the rest, which meet the same fates.
TEST_P(WaveRecordingCut, ReadableAfterEveryBlockAndRepairedAtEveryCut) {
    const Case &c = kCases[GetParam()];
    const std::vector<Bytes> r = Record(c, 0x7FFFFFFF), w64 = Record(c, (LONG)(c.blockBytes * 3 / 2));
    ScratchPath p;
    std::vector<std::pair<bool, Bytes>> files;  // Wave64, then what grows behind each step's header
    for (int k = 0; k <= kBlocks; ++k) {
        ASSERT_EQ(512u + k * c.blockBytes, r[k].size());
        WriteFileBytes(p.path(), r[k]);
        ExpectReads(p.path(), Fields(c.format), k * c.blockBytes / c.format.nBlockAlign, 512);
        files.push_back({false, Cat({Cut(r[k], 512), Samples(std::min(k + 1, kBlocks) * c.blockBytes)})});
    }
    ASSERT_EQ(W64Riff(), Cut(w64[kBlocks], 16));
    files.push_back({true, w64[kBlocks]});
    for (size_t k = 0; k < files.size(); ++k) {
        const bool w64 = files[k].first;
        const Bytes &file = files[k].second;
        for (size_t L = 0; L <= file.size(); ++L) {
            if (k > 0 && L + 8 < file.size() - (w64 + 1) * c.blockBytes && L % 7 && (!w64 || L > 520)) continue;
            SCOPED_TRACE(testing::Message() << "file " << k << ", cut at " << L);
            WriteFileBytes(p.path(), Cut(file, L));
            const bool legal = L >= 512 || (L % (w64 ? 8 : 2) == 0 && (L == (w64 ? 112u : 46u) ||
                                                                         L >= (w64 ? 136u : 54u)));
            const Repaired got = RepairChecked(p.path(), w64, &c.format);
            EXPECT_EQ(L < (w64 ? 82 : 38) ? LX_E_READ : legal ? LX_S_OK : LXRIFF_E_NEGSIZE, got.hr);
            EXPECT_EQ(std::make_pair(got.hr ? 0 : std::min<ULONGLONG>(L, 512), got.hr ? kNone : Fields(c.format)),
                      std::make_pair(got.offset, got.format));
            if (HasFailure()) return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, WaveRecordingCut, testing::Range(0, 4));

}  // namespace
