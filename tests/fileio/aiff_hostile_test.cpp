// Hostile AIFF: every 32- and 16-bit field of small valid images through values that break walkers, the rate through
// infinities, NaNs, denormals and huge exponents, every truncation. Every call returns one of its statuses, reads stay
// in the file, deletions never grow it, rewrites grow it by their chunk at most; a watchdog names a hanging case.
#include "iffimage.h"

#include <algorithm>
#include <functional>

using namespace ifftest;

namespace {

// Every 32- and 16-bit field, the rate's special values, every cut.
std::vector<wavetest::Variant> Variants(const std::string &image, const Bytes &img, size_t rateAt) {
    std::vector<wavetest::Field> fields;
    for (size_t at = 0; at + 2 <= img.size(); at += 2) {
        if (at + 4 <= img.size()) fields.push_back({"u32 at " + std::to_string(at), at, 4, true});
        fields.push_back({"u16 at " + std::to_string(at), at, 2, true});
    }
    std::vector<wavetest::Variant> out = wavetest::Hostile(image, img, fields);
    const struct { const char *name; Ext words; } rates[] = {
        {"infinity", {0x7FFF, 0x8000, 0, 0, 0}},   {"minus infinity", {0xFFFF, 0x8000, 0, 0, 0}},
        {"quiet NaN", {0x7FFF, 0xC000, 0, 0, 1}},  {"signalling NaN", {0x7FFF, 0x8000, 0, 0, 1}},
        {"pseudo-infinity", {0x7FFF, 0, 0, 0, 0}}, {"denormal", {0, 0, 0, 0, 1}},
        {"largest denormal", {0, 0x7FFF, 0xFFFF, 0xFFFF, 0xFFFF}}, {"zero", {0, 0, 0, 0, 0}},
        {"huge exponent", {0x7FFE, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}}, {"tiny exponent", {0x0001, 0x8000, 0, 0, 0}},
        {"negative", {0xC00E, 0xAC44, 0, 0, 0}},   {"unnormal", {0x400E, 0x2C44, 0, 0, 0}},
    };
    for (const auto &r : rates) {
        out.push_back({image + ", rate " + r.name, img});
        for (int i = 0; i < 5; ++i) PutBE16At(out.back().bytes, rateAt + 2 * i, r.words[i]);
    }
    return out;
}

void Check(HRESULT hr, std::initializer_list<HRESULT> allowed, const char *call) {
    EXPECT_NE(allowed.end(), std::find(allowed.begin(), allowed.end(), hr)) << call << " gave " << std::hex << hr;
}

void Reads(TempFile &f, const Bytes &b) {
    const HANDLE h = f.h();
    f.Reset(b);
    const BOOL is = iff_IsAIFFFileEx(h, nullptr, nullptr);
    if (is) { EXPECT_EQ(12u, f.Pos()); }
    tWAVEFORMATEX w;
    DWORD frames = 0, offset = 0;
    const HRESULT hr = iff_GetAIFFWfx(h, &w, &frames, &offset);
    Check(hr, {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "iff_GetAIFFWfx");
    if (!is) { EXPECT_EQ(LXIFF_E_NOTAIFF, hr); }
    if (hr == LX_S_OK) {
        EXPECT_GE(+w.nBlockAlign, 1);
        EXPECT_LE(+w.nSamplesPerSec, 192000u);
        tAIFFCOMM comm;
        if (Aiff_ReadComm(h, &comm) == LX_S_OK) { EXPECT_LE(frames, comm.frames); }
        // Frames never claim more bytes than the sound data has.
        DWORD ssnd = 0, skip = 0;
        ASSERT_EQ(LX_S_OK, iff_FindChunkFromStart(h, LXIFF_ID_SSND, &ssnd));
        ASSERT_EQ(LX_S_OK, iff_ReadDWORD(h, &skip));
        EXPECT_LE((LONGLONG)frames * +w.nBlockAlign, std::max<LONGLONG>(0, (LONGLONG)ssnd - 8 - skip));
    }
    f.Seek(1);
    tWAVEFORMATEX *guess = nullptr;
    ULONGLONG frames64 = 0, offset64 = 0;
    const HRESULT g = Aiff_GetFileWfx(h, &guess, &frames64, &offset64);
    Check(g, {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "Aiff_GetFileWfx");
    EXPECT_EQ(1u, f.Pos());
    EXPECT_EQ(g == LX_S_OK, guess != nullptr);
    if (guess) { EXPECT_EQ((DWORD)(+guess->wBitsPerSample >> 3) * +guess->nChannels, (DWORD)guess->nBlockAlign); }
    free(guess);
    for (DWORD id : {LXIFF_ID_COMM, LXIFF_ID_SSND, LXIFF_ID_MARK, LXIFF_ID_INST, LXIFF_FOURCC('F', 'V', 'E', 'R'),
                     LXIFF_FOURCC('n', 'o', 'n', 'e')}) {
        DWORD size = 0;
        const HRESULT found = iff_FindChunkFromStart(h, id, &size);
        Check(found, {LX_S_OK, LX_E_NOTFOUND, LXIFF_E_NOTFORM}, "iff_FindChunkFromStart");
        if (found == LX_S_OK) { EXPECT_LE(f.Pos(), b.size()); }
        f.Seek(12);
        Check(iff_SeekChunkHeader(h, id, &size), {LX_S_OK, LX_E_READ}, "iff_SeekChunkHeader");
        DWORD removed = 0;
        f.Reset(b);
        const HRESULT deleted = iff_DeleteChunk(h, id, &removed);
        Check(deleted, {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "iff_DeleteChunk");
        EXPECT_EQ(b.size() - removed, f.Contents().size());
        if (deleted != LX_S_OK) { EXPECT_EQ(0u, removed); }
        f.Reset(b);
    }
    for (WORD id : {1, 2, 3, 0xFFFF}) {
        tIFFMARKER m;
        const HRESULT found = iff_FindMarker(h, &m, id);
        Check(found, {LX_S_OK, LX_E_NOTFOUND, LXIFF_E_NOTFORM}, "iff_FindMarker");
        if (found == LX_S_OK) { EXPECT_LE(f.Pos(), b.size()); }
    }
    tAIFFCOMM comm;
    Check(Aiff_ReadComm(h, &comm), {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "Aiff_ReadComm");
    tAIFFINST inst;
    Check(Aiff_ReadInst(h, &inst), {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "Aiff_ReadInst");
}

// Each rewrite on a fresh copy: the growth is bounded by the chunk put, and a failure adds nothing.
void Rewrites(TempFile &f, const Bytes &b) {
    const HANDLE h = f.h();
    const tAIFFCOMM comm = {1, 9, 8, {0x400B, {0xFA00, 0, 0, 0}}};
    const tAIFFINST inst = {72, 3, 10, 100, 20, 90, 6, {2, 3, 4}, {1, 5, 6}};
    const tAIFFMARK marks[] = {{1, 20, "loop start"}, {2, 400, "x"}};
    const tWAVEFORMATEX pcm = wavetest::Fmt(1, 2, 48000, 24);
    const struct { const char *call; std::function<HRESULT()> fn; size_t most; } rows[] = {
        {"Aiff_WriteComm", [&] { return Aiff_WriteComm(h, &comm); }, 0},
        {"Aiff_SetFileWfx", [&] { return Aiff_SetFileWfx(h, &pcm); }, 0},
        {"Aiff_WriteInst", [&] { return Aiff_WriteInst(h, &inst); }, 1 + 28},
        {"remove INST", [&] { return Aiff_WriteInst(h, nullptr); }, 0},
        {"Aiff_WriteMarkers", [&] { return Aiff_WriteMarkers(h, marks, 2); }, 1 + 8 + 2 + 18 + 8},
        {"remove MARK", [&] { return Aiff_WriteMarkers(h, nullptr, 0); }, 0},
    };
    for (const auto &r : rows) {
        f.Reset(b);
        const HRESULT hr = r.fn();
        Check(hr, {LX_S_OK, LX_E_READ, LX_E_WRITE, LX_E_NOTFOUND, LXIFF_E_NOTAIFF, LXAIFF_E_NOTPCM}, r.call);
        EXPECT_LE(f.Contents().size(), b.size() + (hr == LX_S_OK ? r.most : 0)) << r.call;
    }
}

class AiffHostile : public testing::TestWithParam<int> {};

TEST_P(AiffHostile, EveryFieldEveryRateEveryCut) {
    // 8-bit mono whose odd SSND ends the file without its pad byte, as sox leaves some files.
    Bytes oddTail = Aiff(Comm(1, 7, 8, kRate8000), Ssnd(0, 0, Filled(7)));
    oddTail.pop_back();
    PutBE32At(oddTail, 4, (DWORD)oddTail.size() - 8);
    const struct { const char *name; Bytes bytes; size_t rateAt; } images[] = {
        // COMM at 12 (rate at 28), MARK at 38, INST at 66, SSND at 94, end 126.
        {"AIFF",
         Image().Form("AIFF").Chunk("COMM", Comm(2, 3, 16, kRate44100))
             .Chunk("MARK", Marks({{1, 0, "a"}, {2, 2, "bb"}}))
             .Chunk("INST", Inst(60, 0, 0, 127, 1, 127, 0, 1, 1, 2, 0, 0, 0))
             .Chunk("SSND", Ssnd(4, 0, Filled(16))).Finish(),
         28},
        // FVER at 12, COMM at 24 (rate at 40), SSND at 56, end 78.
        {"AIFC", Aifc(Comm(1, 5, 8, kRate8000, "NONE"), Ssnd(0, 0, Filled(5))), 40},
        {"odd tail", oddTail, 28},
    };
    const auto &img = images[GetParam()];
    lxtest::Watchdog dog(20000);
    TempFile f;
    ASSERT_NE(INVALID_HANDLE_VALUE, f.h());
    // The image is what it claims to be before it is broken.
    f.Reset(img.bytes);
    tWAVEFORMATEX w;
    DWORD frames = 0;
    ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(f.h(), &w, &frames, nullptr));
    EXPECT_NE(0u, frames);
    EXPECT_EQ(0x40, img.bytes[img.rateAt]);
    for (const wavetest::Variant &v : Variants(img.name, img.bytes, img.rateAt)) {
        SCOPED_TRACE(v.name);
        dog.Enter(v.name);
        Reads(f, v.bytes);
        Rewrites(f, v.bytes);
        if (HasFailure()) return;  // one case is enough to read
    }
}

INSTANTIATE_TEST_SUITE_P(Images, AiffHostile, testing::Range(0, 3));

}  // namespace
