// The AIFF layer on hand-built files: the 80-bit rate as exact bit patterns, recognising, the format with its frames
// and data offset, markers, the wave reader's guess, and the rewrites of "COMM", "INST" and "MARK" byte for byte.
#include "iffimage.h"

#include <cfloat>
#include <cmath>
#include <limits>

using namespace ifftest;

namespace {

Ext Words(const tAIFFEXTENDED &x) { return {x.exponent, x.mantissa[0], x.mantissa[1], x.mantissa[2], x.mantissa[3]}; }

// Rates as the writer makes them and back; patterns only files hold (no rate given) just back.
TEST(AiffRate, BitPatternsBothWays) {
    const double inf = std::numeric_limits<double>::infinity(), none = -1234.5;
    const struct { const char *name; double rate; Ext words; HRESULT status; DWORD back; } rows[] = {
        {"1", 1, {0x3FFF, 0x8000, 0, 0, 0}, LX_S_OK, 1},
        // Below 1 no bit is taken off: the exponent stays 16383 unnormalised.
        {"0", 0, {0x3FFF, 0, 0, 0, 0}, LX_S_OK, 0},
        {"minus 0", -0.0, {0x3FFF, 0, 0, 0, 0}, LX_S_OK, 0},
        {"0.5", 0.5, {0x3FFF, 0x4000, 0, 0, 0}, LX_S_OK, 0},
        // Fractions go into the lower words and are truncated on the way back.
        {"44100.25", 44100.25, {0x400E, 0xAC44, 0x4000, 0, 0}, LX_S_OK, 44100},
        {"8000 + 2^-40", 8000 + std::ldexp(1.0, -40), {0x400B, 0xFA00, 0, 0, 0x0800}, LX_S_OK, 8000},
        // Past 96000 the doubling stops: what passes 192000 comes back smaller.
        {"384000", 384000, {0x4011, 0xBB80, 0, 0, 0}, LX_S_OK, 192000},
        {"2^33 + 1", 8589934593.0, {0x4020, 0x8000, 0x0000, 0x4000, 0x0000}, LX_S_OK, 131072},
        {"largest double", DBL_MAX, {0x43FE, 0xFFFF, 0xFFFF, 0xFFFF, 0xF800}, LX_S_OK, 131071},
        // Not rates: encoded faithfully, refused by the status.
        {"infinity", inf, {0x7FFF, 0x8000, 0, 0, 0}, LX_E_INVALIDARG, 131072},
        {"minus infinity", -inf, {0xFFFF, 0x8000, 0, 0, 0}, LX_E_INVALIDARG, 44100},
        {"NaN", std::numeric_limits<double>::quiet_NaN(), {0x7FFF, 0xC000, 0, 0, 0}, LX_E_INVALIDARG, 98304},
        {"minus 44100", -44100, {0xC00E, 0xAC44, 0, 0, 0}, LX_E_INVALIDARG, 44100},
        // The fold rounds the fraction up to 1.0, or the mantissa to 2.0, in double precision.
        {"largest denormal", none, {0x0000, 0x7FFF, 0xFFFF, 0xFFFF, 0xFFFF}, 0, 1},
        {"fraction rounded", none, {0x400D, 0xAC45, 0xFFFF, 0xFFFF, 0xFFFF}, 0, 22051},
        {"huge exponent, all ones", none, {0x7FFE, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}, 0, 131072},
        {"proper 0.5", none, {0x3FFE, 0x8000, 0, 0, 0}, 0, 1},  // a negative count doubles nothing
        {"unnormal 22050", none, {0x400E, 0x5622, 0, 0, 0}, 0, 22050},
        {"negative zero", none, {0x8000, 0, 0, 0, 0}, 0, 44100},
        {"huge exponent 1.46484375", none, {0x7FFE, 0xBB80, 0, 0, 0}, 0, 192000},
        {"just above 96000", none, {0x400F, 0xBB80, 0x0001, 0, 0}, 0, 96000},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        tAIFFEXTENDED x = {r.words[0], {r.words[1], r.words[2], r.words[3], r.words[4]}};
        if (r.rate != none) {
            memset(&x, 0xCD, sizeof x);
            EXPECT_EQ(r.status, aiff_CreateRate(r.rate, &x));
            EXPECT_EQ(r.words, Words(x));
        }
        EXPECT_EQ(r.back, aiff_ConvertRate(&x));
    }
    EXPECT_EQ(LX_E_POINTER, aiff_CreateRate(44100, nullptr));
    EXPECT_EQ(0u, aiff_ConvertRate(nullptr));
    DWORD first = 0;  // the first whole rate that does not come back, plus one
    for (DWORD r = 0; r <= 192000 && !first; ++r) {
        tAIFFEXTENDED x;
        if (aiff_CreateRate(r, &x) != LX_S_OK || aiff_ConvertRate(&x) != r) first = r + 1;
    }
    EXPECT_EQ(0u, first);
}

// 16-bit stereo, 3 frames; COMM at 12, SSND at 38, data at 54; 66 bytes.
Bytes Base() { return Aiff(Comm(2, 3, 16, kRate44100), Ssnd(0, 0, Filled(12))); }
Bytes Mono(WORD bits, DWORD frames, const Bytes &ssnd) { return Aiff(Comm(1, frames, bits, kRate8000), ssnd); }
Bytes NoSsnd() { return Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 16, kRate8000)).Finish(); }
Bytes NoComm() { return Image().Form("AIFF").Chunk("SSND", Ssnd(0, 0, Filled(4))).Finish(); }

using AiffFile = FileTest;

TEST_F(AiffFile, Recognising) {
    const struct { const char *name; Bytes bytes; BOOL is; DWORD size; BOOL compressed; } rows[] = {
        {"AIFF", Base(), TRUE, 58, FALSE},
        {"AIFC NONE", Aifc(Comm(2, 3, 16, kRate44100, "NONE"), Ssnd(0, 0, Filled(12))), TRUE, 76, TRUE},
        {"AIFC none in lower case", Aifc(Comm(1, 1, 16, kRate8000, "none"), Ssnd(0, 0, Filled(2))), FALSE, 66, TRUE},
        {"AIFC COMM without a compression type", Aifc(Comm(1, 1, 16, kRate8000), Ssnd(0, 0, Filled(2))), FALSE, 60,
         TRUE},
        {"AIFC without COMM", Image().Form("AIFC").Chunk("SSND", Ssnd(0, 0, Filled(2))).Finish(), FALSE, 22, TRUE},
        {"AIFC COMM header beyond the FORM size",
         WithBE32(Aifc(Comm(1, 1, 16, kRate8000, "NONE"), Ssnd(0, 0, Filled(2))), 4, 4 + 12 + 7), FALSE, 23, TRUE},
        {"other form", Image().Form("8SVX").Chunk("BODY", Filled(2)).Finish(), FALSE, 14, FALSE},
        {"RIFF", rifftest::WaveLike(), FALSE, 0, FALSE},
        {"empty", Bytes{}, FALSE, 0, FALSE},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        f.Seek(5);
        DWORD size = 0xAAAA, size2 = 0xAAAA;
        BOOL compressed = 7;
        EXPECT_EQ(r.is, iff_IsAIFFFileEx(h(), &size, &compressed));
        if (r.is) { EXPECT_EQ(12u, f.Pos()); }  // behind the form type
        EXPECT_EQ(r.is, iff_IsAIFFFile(h(), &size2));
        EXPECT_EQ(r.is, iff_IsAIFFFileEx(h(), nullptr, nullptr));
        EXPECT_EQ(std::vector<DWORD>({r.size, r.size, (DWORD)r.compressed}),
                  std::vector<DWORD>({size, size2, (DWORD)compressed}));
    }
}

// Through iff_GetAIFFWfx and, when the format passes the audio check, through the wave reader's guess, which
// restores the cursor and hands out a block that the caller frees. Plain files as sox writes them are the fixture
// test's part.
TEST_F(AiffFile, FormatFramesAndDataOffset) {
    const std::vector<DWORD> mono16 = {0xFE02, 1, 8000, 16000, 2, 16, 0};
    const struct { const char *name; Bytes file; std::vector<DWORD> want; DWORD frames, offset; bool audio; } rows[] = {
        {"12 bits take one byte a channel", Aiff(Comm(2, 4, 12, kRate22050), Ssnd(0, 0, Filled(16))),
         {0xFE02, 2, 22050, 44100, 2, 12, 0}, 4, 54, true},
        {"SSND offset shrinks the frames", Mono(16, 100, Ssnd(4, 0, Filled(14))), mono16, 5, 58, true},
        {"COMM frames smaller win", Mono(16, 2, Ssnd(0, 0, Filled(20))), mono16, 2, 54, true},
        {"a partial frame is dropped", Mono(16, 100, Ssnd(0, 0, Filled(11))), mono16, 5, 54, true},
        {"all frames of a huge count", Mono(16, 0xFFFFFFFF, Ssnd(0, 0, Filled(8))), mono16, 4, 54, true},
        {"offset past the chunk", Mono(16, 9, Ssnd(100, 0, Filled(4))), mono16, 0, 154, true},
        {"offset saturates", Mono(16, 9, Ssnd(0xFFFFFFFF, 0, Filled(4))), mono16, 0, 0xFFFFFFFF, true},
        {"negative rate reads 44100", Aiff(Comm(1, 1, 16, {0xC00E, 0xAC44, 0, 0, 0}), Ssnd(0, 0, Filled(2))),
         {0xFE02, 1, 44100, 88200, 2, 16, 0}, 1, 54, true},
        {"COMM behind SSND",
         Image().Form("AIFF").Chunk("SSND", Ssnd(0, 0, Filled(12))).Chunk("COMM", Comm(2, 3, 16, kRate44100)).Finish(),
         {0xFE02, 2, 44100, 176400, 4, 16, 0}, 3, 28, true},
        {"0 channels: block align 1", Aiff(Comm(0, 7, 16, kRate8000), Ssnd(0, 0, Filled(12))),
         {0xFE02, 0, 8000, 8000, 1, 16, 0}, 7, 54, false},
        {"4 bits: block align 1", Mono(4, 100, Ssnd(0, 0, Filled(3))), {0xFE02, 1, 8000, 8000, 1, 4, 0}, 3, 54, false},
        // 65535 x 2 bytes only matches after 16-bit truncation.
        {"65535 channels", Aiff(Comm(0xFFFF, 1, 16, kRate8000), Ssnd(0, 0, Filled(12))),
         {0xFE02, 0xFFFF, 8000, 0xFFFE * 8000, 0xFFFE, 16, 0}, 0, 54, false},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.file);
        tWAVEFORMATEX w;
        memset(&w, 0xCD, sizeof w);
        DWORD frames = 0xAAAA, offset = 0xBBBB;
        ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(h(), &w, &frames, &offset));
        EXPECT_EQ(r.want, Fields(w));
        EXPECT_EQ(std::vector<DWORD>({r.frames, r.offset}), std::vector<DWORD>({frames, offset}));
        EXPECT_EQ(LX_S_OK, iff_GetAIFFWfx(h(), &w, nullptr, nullptr));  // the outs are optional
        f.Seek(7);
        tWAVEFORMATEX *guess = &w;
        ULONGLONG frames64 = 11, offset64 = 12;
        EXPECT_EQ(r.audio ? LX_S_OK : LXIFF_E_NOTAIFF, Aiff_GetFileWfx(h(), &guess, &frames64, &offset64));
        EXPECT_EQ(7u, f.Pos());
        EXPECT_EQ(r.audio ? r.want : std::vector<DWORD>(), guess ? Fields(*guess) : std::vector<DWORD>());
        EXPECT_EQ(std::vector<ULONGLONG>({r.audio ? r.frames : 11u, r.audio ? r.offset : 12u}),
                  std::vector<ULONGLONG>({frames64, offset64}));
        free(guess);
    }
}

TEST_F(AiffFile, FormatRefusalsLeaveTheOutsAlone) {
    const struct { const char *name; Bytes bytes; HRESULT status; } rows[] = {
        {"no COMM", NoComm(), LX_E_NOTFOUND},
        {"no SSND", NoSsnd(), LX_E_NOTFOUND},
        {"SSND header beyond the FORM size", WithBE32(Base(), 4, 4 + 26 + 7), LX_E_NOTFOUND},
        {"RIFF", rifftest::WaveLike(), LXIFF_E_NOTAIFF},
        {"empty", Bytes{}, LXIFF_E_NOTAIFF},
        {"compressed AIFC", Aifc(Comm(1, 1, 16, kRate8000, "ulaw"), Ssnd(0, 0, Filled(4))), LXIFF_E_NOTAIFF},
        {"COMM of 16 bytes", Aiff(Bytes(16, 1), Ssnd(0, 0, Filled(4))), LX_E_READ},
        {"SSND of 6 bytes", Aiff(Comm(1, 1, 16, kRate8000), Filled(6)), LX_E_READ},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        tWAVEFORMATEX w;
        DWORD frames = 0xAAAA, offset = 0xBBBB;
        EXPECT_EQ(r.status, iff_GetAIFFWfx(h(), &w, &frames, &offset));
        f.Seek(3);
        tWAVEFORMATEX *guess = &w;
        ULONGLONG frames64 = 11, offset64 = 12;
        EXPECT_EQ(r.status, Aiff_GetFileWfx(h(), &guess, &frames64, &offset64));
        EXPECT_EQ(nullptr, guess);
        EXPECT_EQ(std::vector<ULONGLONG>({0xAAAA, 0xBBBB, 11, 12, 3}),
                  std::vector<ULONGLONG>({frames, offset, frames64, offset64, f.Pos()}));
    }
    EXPECT_EQ(LX_E_POINTER, iff_GetAIFFWfx(h(), nullptr, nullptr, nullptr));
    EXPECT_EQ(LX_E_POINTER, Aiff_GetFileWfx(h(), nullptr, nullptr, nullptr));
}

// MARK payload at 46: count, then heads at 48, 56, 66 and 74 (names at 55, 63, 73 and 81), 40 bytes in all.
Bytes Marked(WORD count = 4) {
    Bytes marks = Marks({{1, 100, "a"}, {2, 200, "bb"}, {3, 300, ""}, {40000, 0xFFFFFFFF, "name"}});
    PutBE16At(marks, 0, count);
    return Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 16, kRate8000)).Chunk("MARK", marks)
        .Chunk("SSND", Ssnd(0, 0, Filled(2))).Finish();
}

TEST_F(AiffFile, FindMarker) {
    const Bytes fewerBytes = WithBE32(Marked(), 42, 20);  // the third head would pass the chunk
    // Found: the head's fields, and the cursor on the name.
    const struct { const char *name; Bytes bytes; WORD id; HRESULT status; DWORD position, length, cursor; } rows[] = {
        {"past odd and even names", Marked(), 40000, LX_S_OK, 0xFFFFFFFF, 4, 81},
        {"second head still inside", fewerBytes, 2, LX_S_OK, 200, 2, 63},
        {"absent id", Marked(), 5, LX_E_NOTFOUND, 7, 7, 0},
        {"count 0", Marked(0), 1, LX_E_NOTFOUND, 7, 7, 0},
        {"count 2 hides the third", Marked(2), 3, LX_E_NOTFOUND, 7, 7, 0},
        {"count past the markers", Marked(5), 5, LXIFF_E_NOTFORM, 7, 7, 0},
        {"no MARK", Base(), 1, LX_E_NOTFOUND, 7, 7, 0},
        {"not FORM", rifftest::WaveLike(), 1, LXIFF_E_NOTFORM, 7, 7, 0},
        {"file cut in the second head", Cut(Marked(), 60), 2, LXIFF_E_NOTFORM, 7, 7, 0},
        {"chunk too short for the count", WithBE32(Marked(), 42, 1), 1, LXIFF_E_NOTFORM, 7, 7, 0},
        {"head past the chunk", fewerBytes, 3, LXIFF_E_NOTFORM, 7, 7, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        tIFFMARKER m = {7, 7, 7};
        ASSERT_EQ(r.status, iff_FindMarker(h(), &m, r.id));
        EXPECT_EQ(std::vector<DWORD>({r.status ? 7u : r.id, r.position, r.length}),
                  std::vector<DWORD>({m.id, m.position, m.nameLength}));
        if (r.status == LX_S_OK) { EXPECT_EQ(r.cursor, f.Pos()); }
    }
    EXPECT_EQ(LX_E_POINTER, iff_FindMarker(h(), nullptr, 1));
}

std::vector<DWORD> CommFields(const tAIFFCOMM &c) {
    return {(DWORD)c.channels, c.frames, (DWORD)c.bits, c.rate.exponent, c.rate.mantissa[0], c.rate.mantissa[1],
            c.rate.mantissa[2], c.rate.mantissa[3]};
}

// COMM rewritten in place from its fields (tag 0) or from a format record, where the frame count stays the one read:
// the smaller of data and COMM. Refusals leave the file.
TEST_F(AiffFile, CommRewrittenInPlaceOrRefused) {
    const tAIFFCOMM comm = {1, 9, 8, {0x400B, {0xFA00, 0, 0, 0}}};
    const Bytes rewritten = Aiff(Comm(1, 3, 8, kRate22050), Ssnd(0, 0, Filled(12)));
    const struct { const char *name; Bytes bytes; WORD tag; HRESULT status; Bytes after; } rows[] = {
        {"AIFF", Base(), 0, LX_S_OK, Aiff(Comm(1, 9, 8, kRate8000), Ssnd(0, 0, Filled(12)))},
        {"AIFC keeps its compression type", Aifc(Comm(2, 3, 16, kRate44100, "NONE"), Ssnd(0, 0, Filled(12))), 0,
         LX_S_OK, Aifc(Comm(1, 9, 8, kRate8000, "NONE"), Ssnd(0, 0, Filled(12)))},
        {"COMM of 16 bytes", Aiff(Bytes(16, 1), Ssnd(0, 0, Filled(4))), 0, LX_E_WRITE, {}},
        {"no COMM", NoComm(), 0, LX_E_NOTFOUND, {}},
        {"RIFF", rifftest::WaveLike(), 0, LXIFF_E_NOTAIFF, {}},
        {"compressed AIFC", Aifc(Comm(1, 1, 16, kRate8000, "fl32"), Ssnd(0, 0, Filled(4))), 0, LXIFF_E_NOTAIFF, {}},
        {"PCM record", Base(), 1, LX_S_OK, rewritten},
        {"PCM record, data fewer than COMM", Aiff(Comm(2, 50, 16, kRate44100), Ssnd(0, 0, Filled(12))), 1, LX_S_OK,
         rewritten},
        {"float record", Base(), 3, LXAIFF_E_NOTPCM, {}},
        {"record into RIFF", rifftest::WaveLike(), 1, LXIFF_E_NOTAIFF, {}},
        {"record, no SSND", NoSsnd(), 1, LX_E_NOTFOUND, {}},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        f.Seek(9);
        const tWAVEFORMATEX pcm = wavetest::Fmt(r.tag, 1, 22050, 8);
        EXPECT_EQ(r.status, r.tag ? Aiff_SetFileWfx(h(), &pcm) : Aiff_WriteComm(h(), &comm));
        EXPECT_EQ(r.status == LX_S_OK ? r.after : r.bytes, f.Contents());
        if (r.tag) {
            EXPECT_EQ(9u, f.Pos());
            continue;
        }
        tAIFFCOMM back = {};
        const HRESULT read = Aiff_ReadComm(h(), &back);
        EXPECT_EQ(r.status == LX_E_WRITE ? LX_E_READ : r.status, read);
        EXPECT_EQ(CommFields(read == LX_S_OK ? comm : tAIFFCOMM{}), CommFields(back));
    }
    EXPECT_EQ(LX_E_POINTER, Aiff_WriteComm(h(), nullptr));
    EXPECT_EQ(LX_E_POINTER, Aiff_ReadComm(h(), nullptr));
    EXPECT_EQ(LX_E_POINTER, Aiff_SetFileWfx(h(), nullptr));
}

const tAIFFINST kInst1 = {60, -5, 0, 127, 1, 127, -3, {1, 1, 2}, {0, 0, 0}};
const tAIFFINST kInst2 = {72, 3, 10, 100, 20, 90, 6, {2, 3, 4}, {1, 5, 6}};
Bytes Inst1() { return Inst(60, 0xFB, 0, 127, 1, 127, 0xFFFD, 1, 1, 2, 0, 0, 0); }
Bytes Inst2() { return Inst(72, 3, 10, 100, 20, 90, 6, 2, 3, 4, 1, 5, 6); }

// Base() with chunks behind the sound data.
Bytes BaseWith(const char *id1, const Bytes &p1, const char *id2 = nullptr, const Bytes &p2 = Bytes{}) {
    Image i;
    i.Form("AIFF").Chunk("COMM", Comm(2, 3, 16, kRate44100)).Chunk("SSND", Ssnd(0, 0, Filled(12))).Chunk(id1, p1);
    if (id2) i.Chunk(id2, p2);
    return i.Finish();
}

TEST_F(AiffFile, InstAppendedRewrittenInPlaceReplacedAndRemoved) {
    f.Reset(Base());
    tAIFFINST back;
    for (const tAIFFINST *inst : {&kInst1, &kInst2}) {
        ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), inst));
        EXPECT_EQ(BaseWith("INST", inst == &kInst1 ? Inst1() : Inst2()), f.Contents());
        ASSERT_EQ(LX_S_OK, Aiff_ReadInst(h(), &back));
        EXPECT_EQ(0, memcmp(inst, &back, sizeof back));
    }
    for (int i = 0; i < 2; ++i) {  // removing, also what is not there, leaves the rest
        ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), nullptr));
        EXPECT_EQ(Base(), f.Contents());
    }
    EXPECT_EQ(LX_E_NOTFOUND, Aiff_ReadInst(h(), &back));
    EXPECT_EQ(LX_E_POINTER, Aiff_ReadInst(h(), nullptr));
    // An INST of another size ahead of the sound data is removed, and the new one goes to the end.
    f.Reset(Image().Form("AIFF").Chunk("COMM", Comm(2, 3, 16, kRate44100)).Chunk("INST", Filled(22))
                .Chunk("SSND", Ssnd(0, 0, Filled(12))).Finish());
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), &kInst1));
    EXPECT_EQ(BaseWith("INST", Inst1()), f.Contents());
    // An odd last chunk that lost its pad gets it back ahead of the new chunk; the FORM size, which counted what
    // stood there, grows by both.
    Bytes odd = Aiff(Comm(2, 3, 16, kRate44100), Ssnd(0, 0, Filled(13)));
    odd.pop_back();
    PutBE32At(odd, 4, (DWORD)odd.size() - 8);
    f.Reset(odd);
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), &kInst1));
    EXPECT_EQ(Image().Raw(odd).U8(0).Chunk("INST", Inst1()).Finish(), f.Contents());
}

TEST_F(AiffFile, MarkersAppendedReplacedAndRemoved) {
    const tAIFFMARK first[] = {{1, 10, "start"}, {2, 500, "end"}};
    const tAIFFMARK second[] = {{1, 20, "loop start"}, {2, 400, "loop end"}, {7, 0, nullptr}};
    const tAIFFMARK sameSize[] = {{1, 30, "begin"}, {9, 450, "fin"}};
    const Bytes firstMarks = Marks({{1, 10, "start"}, {2, 500, "end"}});
    f.Reset(BaseWith("INST", Inst1()));
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), first, 2));
    EXPECT_EQ(BaseWith("INST", Inst1(), "MARK", firstMarks), f.Contents());
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), second, 3));
    EXPECT_EQ(BaseWith("INST", Inst1(), "MARK", Marks({{1, 20, "loop start"}, {2, 400, "loop end"}, {7, 0, ""}})),
              f.Contents());
    // Same size: in place, INST keeps its place behind MARK.
    f.Reset(BaseWith("MARK", firstMarks, "INST", Inst1()));
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), sameSize, 2));
    EXPECT_EQ(BaseWith("MARK", Marks({{1, 30, "begin"}, {9, 450, "fin"}}), "INST", Inst1()), f.Contents());
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), nullptr, 0));
    EXPECT_EQ(BaseWith("INST", Inst1()), f.Contents());
    // Every MARK goes before the new one; names are cut to 255 bytes.
    f.Reset(Image().Form("AIFF").Chunk("MARK", Marks({{5, 1, "x"}})).Chunk("COMM", Comm(2, 3, 16, kRate44100))
                .Chunk("SSND", Ssnd(0, 0, Filled(12))).Chunk("MARK", Marks({{6, 2, "yy"}})).Finish());
    const std::string longName(300, 'x');
    const tAIFFMARK mark[] = {{3, 99, longName.c_str()}};
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), mark, 1));
    EXPECT_EQ(BaseWith("MARK", Marks({{3, 99, std::string(255, 'x')}})), f.Contents());
    EXPECT_EQ(LX_E_INVALIDARG, Aiff_WriteMarkers(h(), mark, 0x10000));
    EXPECT_EQ(LX_E_POINTER, Aiff_WriteMarkers(h(), nullptr, 1));
}

TEST_F(AiffFile, RewritesRefusedLeaveTheFile) {
    const tAIFFCOMM comm = {1, 9, 8, {0x400B, {0xFA00, 0, 0, 0}}};
    const tAIFFMARK mark[] = {{1, 2, "abc"}};
    for (bool readOnly : {false, true}) {
        SCOPED_TRACE(readOnly ? "read-only handle" : "not AIFF");
        const Bytes bytes = readOnly ? Base() : rifftest::WaveLike();
        const HRESULT want = readOnly ? LX_E_WRITE : LXIFF_E_NOTAIFF;
        f.Reset(bytes);
        if (readOnly) f.Reopen(GENERIC_READ);
        ASSERT_NE(INVALID_HANDLE_VALUE, h());
        EXPECT_EQ(want, Aiff_WriteComm(h(), &comm));
        EXPECT_EQ(want, Aiff_WriteInst(h(), &kInst1));
        EXPECT_EQ(want, Aiff_WriteMarkers(h(), mark, 1));
        EXPECT_EQ(readOnly ? LX_S_OK : want, Aiff_WriteMarkers(h(), nullptr, 0));  // nothing to remove
        EXPECT_EQ(bytes, f.Contents());
    }
}

}  // namespace
