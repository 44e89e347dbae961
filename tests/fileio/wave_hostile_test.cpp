// Hostile WAVE, Wave64 and AIFF (every field there, the rate's words too) and every truncation:
// every call returns one of its statuses; a watchdog names a hanging case.
#include "wavetest.h"

using namespace ifftest;

namespace {

// Each field (offset, width) through 0, 1, 3, one off the truth, the extremes of its width (and of
// 32 bits, and the truth past them, for 64), then the image cut at every length.
std::vector<Bytes> Hostile(const Bytes &img, const std::vector<std::pair<size_t, int>> &fields, bool bigEndian) {
    std::vector<Bytes> out;
    for (const auto &f : fields) {
        auto byte = [&](int i) { return f.first + (bigEndian ? f.second - 1 - i : i); };
        ULONGLONG truth = 0, top = f.second == 8 ? ~0ULL : (1ULL << (8 * f.second)) - 1;
        for (int i = 0; i < f.second; ++i) truth |= (ULONGLONG)img[byte(i)] << (8 * i);
        std::vector<ULONGLONG> values = {0, 1, 3, truth - 1, truth + 1, top >> 1, (top >> 1) + 1, top - 7, top,
                                         0x7FFFFFFF, 0x80000000, 0xFFFFFFF8, 0xFFFFFFFF, (1ULL << 32) + truth};
        values.resize(f.second == 8 ? 14 : 9);
        for (ULONGLONG v : values) {
            out.push_back(img);
            for (int i = 0; i < f.second; ++i) out.back()[byte(i)] = (BYTE)(v >> (8 * i));
        }
    }
    for (size_t len = 0; len <= img.size(); ++len) out.push_back(Cut(img, len));
    return out;
}

bool In(HRESULT hr, const std::vector<HRESULT> &set) { return std::count(set.begin(), set.end(), hr) != 0; }

TEST(WaveHostile, EveryFieldAndEveryCut) {
    const Bytes rec = Record18(Fmt(1, 2, 44100, 16)), rec16 = Cut(Record18(Fmt(3, 1, 8000, 32)), 16);
    // The images with their size fields, and where a format record stands.
    struct { Bytes bytes; std::vector<std::pair<size_t, int>> fields; size_t record; } images[] = {
        {Wave().Chunk("fmt ", rec).Chunk("data", Samples(12)).Finish(), {{4, 4}, {16, 4}, {42, 4}}, 20},
        {Wave().Chunk("LIST", {'I', 'N', 'F', 'O', 'I', 'N', 'A', 'M', 3, 0, 0, 0, 'a', 'b', 0, 0})
             .Chunk("fmt ", rec16).Chunk("fact", {2, 0, 0, 0}).Chunk("data", Samples(8)).Finish(),
         {{4, 4}, {16, 4}, {28, 4}, {40, 4}, {64, 4}, {76, 4}}, 0},
        {W64({W64Chunk(W64Fmt(), rec), W64Chunk(W64Data(), Samples(12))}), {{16, 8}, {56, 8}, {104, 8}}, 64},
    };
    lxtest::Watchdog dog(20000);
    ScratchPath p("hostile");
    size_t cases = 0;
    for (auto &img : images) {
        WriteFileBytes(p.path(), img.bytes);  // valid before it is broken
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(p.c_str(), &frames, &offset);
        ASSERT_TRUE(f && frames > 1) << cases;
        free(f);
        for (size_t at : {0, 2, 4, 8, 12, 14, 16})  // tag, channels, rate, bytes a second, align, bits, extra
            if (img.record) img.fields.push_back({img.record + at, at == 4 || at == 8 ? 4 : 2});
        std::vector<Bytes> variants = Hostile(img.bytes, img.fields, false);
        // Counts that agree on nothing to read: no channels, or no whole bytes a sample.
        for (WORD bits : img.record ? std::vector<WORD>{16, 7, 0} : std::vector<WORD>{}) {
            const Bytes noChannels = With(img.bytes, img.record + 2, bits == 16 ? 0 : 2, 2);
            variants.push_back(With(With(noChannels, img.record + 12, 0, 2), img.record + 14, bits, 2));
        }
        for (const Bytes &v : variants) {
            const std::string name = std::to_string(&img - images) + "/" + std::to_string(cases++);
            SCOPED_TRACE(name);
            dog.Enter(name);
            WriteFileBytes(p.path(), v);
            EXPECT_LE(LxFileIsWave(p.c_str(), TRUE) + LxFileIsWave64(p.c_str(), FALSE), 1);
            f = LxGetFileWfx(p.c_str(), &frames, &offset);
            EXPECT_TRUE(!f || (LxWave_IsAudioFormat(f) && offset >= 12 && offset <= v.size())) << offset;
            free(f);
            for (bool w64 : {false, true}) {
                WriteFileBytes(p.path(), v);
                const HRESULT hr = RepairChecked(p.path(), w64).hr;
                EXPECT_TRUE(In(hr, {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXRIFF_E_NEGSIZE})) << std::hex << hr;
            }
            if (HasFailure()) return;  // one case is enough to read
        }
    }
}

class AiffHostile : public testing::TestWithParam<int> {};

// A refused deletion removes nothing; a rewrite grows the file by its chunk at most.
TEST_P(AiffHostile, EveryFieldAndEveryCut) {
    const Bytes odd = Form("AIFF", {Chunk("COMM", Comm(1, 7, 8, kRate8000)), Chunk("SSND", Ssnd(0, Filled(7)))});
    const Bytes images[] = {
        Form("AIFF", {Chunk("COMM", Comm(2, 3, 16, kRate44100)), Chunk("INST", Filled(20)),
                      Chunk("MARK", {0, 2, 0, 1, 0, 0, 0, 0, 1, 'a', 0, 2, 0, 0, 0, 2, 2, 'b', 'b', 0}),
                      Chunk("SSND", Ssnd(4, Filled(16)))}),
        Aifc(Comm(1, 5, 8, kRate8000, "NONE"), Ssnd(0, Filled(5))),
        Sized(Cut(odd, odd.size() - 1)),  // an odd SSND without its pad, as sox leaves it
    };
    const Bytes &img = images[GetParam()];
    std::vector<std::pair<size_t, int>> fields;
    for (size_t at = 0; at + 2 <= img.size(); at += 2) {
        if (at + 4 <= img.size()) fields.push_back({at, 4});
        fields.push_back({at, 2});
    }
    const std::vector<Bytes> variants = Hostile(img, fields, true);
    const std::vector<HRESULT> read = {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF};
    const tAIFFINST inst = {72, 3, 10, 100, 20, 90, 6, {2, 3, 4}, {1, 5, 6}};
    const tAIFFMARK marks[] = {{1, 20, "loop start"}, {2, 400, "x"}};
    const tWAVEFORMATEX pcm = Fmt(1, 2, 48000, 24);
    lxtest::Watchdog dog(20000);
    rifftest::TempFile f;
    const HANDLE h = f.h();
    for (const Bytes &b : variants) {
        const std::string name = std::to_string(GetParam()) + "/" + std::to_string(&b - &variants[0]);
        SCOPED_TRACE(name);
        dog.Enter(name);
        f.Reset(b);
        tWAVEFORMATEX w, *guess = nullptr;
        tIFFMARKER m;
        DWORD removed = 0;
        EXPECT_TRUE(In(iff_GetAIFFWfx(h, &w, nullptr, nullptr), read) && In(iff_FindMarker(h, &m, 2),
                    {LX_S_OK, LX_E_NOTFOUND, LXIFF_E_NOTFORM}));
        f.Seek(1);
        EXPECT_TRUE(In(Aiff_GetFileWfx(h, &guess, nullptr, nullptr), read));
        EXPECT_EQ(std::make_pair(1ul, true), std::make_pair(f.Pos(), !guess || LxWave_IsAudioFormat(guess)));
        free(guess);
        for (DWORD id : {LXIFF_ID_COMM, LXIFF_ID_SSND, LXIFF_ID_MARK}) {
            f.Reset(b);
            const HRESULT deleted = iff_DeleteChunk(h, id, &removed);
            EXPECT_TRUE(In(deleted, read) && (deleted == LX_S_OK || !removed)) << std::hex << deleted;
            EXPECT_EQ(b.size() - removed, f.Contents().size());
        }
        for (int call = 0; call < 3; ++call) {
            f.Reset(b);
            const HRESULT hr = call == 0 ? Aiff_SetFileWfx(h, &pcm)
                               : call == 1 ? Aiff_WriteInst(h, &inst) : Aiff_WriteMarkers(h, marks, 2);
            EXPECT_TRUE(In(hr, {LX_S_OK, LX_E_READ, LX_E_WRITE, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}));
            const size_t most[] = {0, 1 + 8 + 20, 1 + 8 + 30};  // a pad byte, then the chunk
            EXPECT_LE(f.Contents().size(), b.size() + (hr ? 0 : most[call])) << call;
        }
        if (HasFailure()) return;  // one case is enough to read
    }
}

INSTANTIATE_TEST_SUITE_P(Images, AiffHostile, testing::Range(0, 3));

}  // namespace
