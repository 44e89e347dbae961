// The AIFF layer on hand-built files: the 80-bit rate both ways as exact bit
// patterns, recognising, the format with its frames and data offset,
// markers, the format guess of the wave reader, and the rewrites of "COMM",
// "INST" and "MARK" read back byte for byte.
#include "iffimage.h"

#include <cfloat>
#include <cmath>
#include <limits>

using namespace ifftest;

namespace {

Ext Words(const tAIFFEXTENDED &x) { return {x.exponent, x.mantissa[0], x.mantissa[1], x.mantissa[2], x.mantissa[3]}; }

tAIFFEXTENDED Extended(const Ext &e) {
    tAIFFEXTENDED x = {e[0], {e[1], e[2], e[3], e[4]}};
    return x;
}

// ---- The 80-bit rate -------------------------------------------------------------

TEST(AiffRate, CreateRateBitPatterns) {
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        const char *name;
        double rate;
        Ext words;
        HRESULT status;
        DWORD back;  // aiff_ConvertRate of the words
    } rows[] = {
        {"44100", 44100, {0x400E, 0xAC44, 0, 0, 0}, LX_S_OK, 44100},
        {"8000", 8000, {0x400B, 0xFA00, 0, 0, 0}, LX_S_OK, 8000},
        {"11025", 11025, {0x400C, 0xAC44, 0, 0, 0}, LX_S_OK, 11025},
        {"12345", 12345, {0x400C, 0xC0E4, 0, 0, 0}, LX_S_OK, 12345},
        {"96000", 96000, {0x400F, 0xBB80, 0, 0, 0}, LX_S_OK, 96000},
        {"192000", 192000, {0x4010, 0xBB80, 0, 0, 0}, LX_S_OK, 192000},
        {"1", 1, {0x3FFF, 0x8000, 0, 0, 0}, LX_S_OK, 1},
        {"3", 3, {0x4000, 0xC000, 0, 0, 0}, LX_S_OK, 3},
        // Below 1 no bit is taken off: the exponent stays 16383 unnormalised.
        {"0", 0, {0x3FFF, 0, 0, 0, 0}, LX_S_OK, 0},
        {"minus 0", -0.0, {0x3FFF, 0, 0, 0, 0}, LX_S_OK, 0},
        {"0.5", 0.5, {0x3FFF, 0x4000, 0, 0, 0}, LX_S_OK, 0},
        {"smallest denormal", std::numeric_limits<double>::denorm_min(), {0x3FFF, 0, 0, 0, 0}, LX_S_OK, 0},
        // Fractions go into the lower words and are truncated on the way back.
        {"22050.5", 22050.5, {0x400D, 0xAC45, 0, 0, 0}, LX_S_OK, 22050},
        {"44100.25", 44100.25, {0x400E, 0xAC44, 0x4000, 0, 0}, LX_S_OK, 44100},
        {"8000 + 2^-40", 8000 + std::ldexp(1.0, -40), {0x400B, 0xFA00, 0, 0, 0x0800}, LX_S_OK, 8000},
        // Past 96000 the doubling stops: what passes 192000 comes back smaller.
        {"384000", 384000, {0x4011, 0xBB80, 0, 0, 0}, LX_S_OK, 192000},
        {"2^32", 4294967296.0, {0x401F, 0x8000, 0, 0, 0}, LX_S_OK, 131072},
        {"2^33 + 1", 8589934593.0, {0x4020, 0x8000, 0x0000, 0x4000, 0x0000}, LX_S_OK, 131072},
        {"largest double", DBL_MAX, {0x43FE, 0xFFFF, 0xFFFF, 0xFFFF, 0xF800}, LX_S_OK, 131071},
        // Not rates: encoded faithfully, refused by the status.
        {"infinity", inf, {0x7FFF, 0x8000, 0, 0, 0}, LX_E_INVALIDARG, 131072},
        {"minus infinity", -inf, {0xFFFF, 0x8000, 0, 0, 0}, LX_E_INVALIDARG, 44100},
        {"NaN", std::numeric_limits<double>::quiet_NaN(), {0x7FFF, 0xC000, 0, 0, 0}, LX_E_INVALIDARG, 98304},
        {"minus 44100", -44100, {0xC00E, 0xAC44, 0, 0, 0}, LX_E_INVALIDARG, 44100},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        tAIFFEXTENDED x;
        memset(&x, 0xCD, sizeof x);
        EXPECT_EQ(r.status, aiff_CreateRate(r.rate, &x));
        EXPECT_EQ(r.words, Words(x));
        EXPECT_EQ(r.back, aiff_ConvertRate(&x));
    }
}

TEST(AiffRate, ConvertRateOfPatternsAsFilesHoldThem) {
    const struct {
        const char *name;
        Ext words;
        DWORD rate;
    } rows[] = {
        {"all zero", {0, 0, 0, 0, 0}, 0},
        {"denormal below a half", {0x0000, 0x3FFF, 0xFFFF, 0, 0}, 0},
        // The fold rounds the fraction up to 1.0 in double precision.
        {"largest denormal", {0x0000, 0x7FFF, 0xFFFF, 0xFFFF, 0xFFFF}, 1},
        {"proper 0.5", {0x3FFE, 0x8000, 0, 0, 0}, 1},  // a negative count doubles nothing
        {"unnormal 22050", {0x400E, 0x5622, 0, 0, 0}, 22050},
        {"low words only", {0x4020, 0x0000, 0x0000, 0x0001, 0x0000}, 0},
        {"fraction truncated", {0x400D, 0xAC45, 0xFFFF, 0, 0}, 22050},
        // All 63 bits of the fraction round up in double precision.
        {"fraction rounded", {0x400D, 0xAC45, 0xFFFF, 0xFFFF, 0xFFFF}, 22051},
        {"negative", {0xC00E, 0xAC44, 0, 0, 0}, 44100},
        {"negative zero", {0x8000, 0, 0, 0, 0}, 44100},
        {"negative NaN", {0xFFFF, 0xC000, 0, 0, 0}, 44100},
        {"infinity", {0x7FFF, 0x8000, 0, 0, 0}, 131072},
        {"pseudo-infinity", {0x7FFF, 0x0000, 0, 0, 0}, 0},
        {"signalling NaN", {0x7FFF, 0x8000, 0, 0, 1}, 131072},
        {"quiet NaN", {0x7FFF, 0xC000, 0, 0, 0}, 98304},
        // The mantissa folds to 2.0 in double precision.
        {"huge exponent, all ones", {0x7FFE, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}, 131072},
        {"huge exponent 1.5", {0x7FFE, 0xC000, 0, 0, 0}, 98304},
        {"huge exponent 1.46484375", {0x7FFE, 0xBB80, 0, 0, 0}, 192000},
        {"just above 96000", {0x400F, 0xBB80, 0x0001, 0, 0}, 96000},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        const tAIFFEXTENDED x = Extended(r.words);
        EXPECT_EQ(r.rate, aiff_ConvertRate(&x));
    }
    EXPECT_EQ(0u, aiff_ConvertRate(nullptr));
    EXPECT_EQ(LX_E_POINTER, aiff_CreateRate(44100, nullptr));
}

TEST(AiffRate, EveryWholeRateUpTo192000ComesBack) {
    DWORD wrong = 0, first = 0;
    for (DWORD r = 0; r <= 192000; ++r) {
        tAIFFEXTENDED x;
        const HRESULT hr = aiff_CreateRate(r, &x);
        if (hr != LX_S_OK || aiff_ConvertRate(&x) != r) {
            if (!wrong++) first = r;
        }
    }
    EXPECT_EQ(0u, wrong) << "first wrong rate " << first;
}

// ---- Images ------------------------------------------------------------------------

const Ext kRate22050 = {0x400D, 0xAC44, 0, 0, 0};
const Ext kRate48000 = {0x400E, 0xBB80, 0, 0, 0};
const Ext kRate96000 = {0x400F, 0xBB80, 0, 0, 0};

Bytes Aiff(const Bytes &comm, const Bytes &ssnd) {
    return Image().Form("AIFF").Chunk("COMM", comm).Chunk("SSND", ssnd).Finish();
}

// FVER, then COMM with its compression type, then SSND.
Bytes Aifc(const Bytes &comm, const Bytes &ssnd) {
    return Image().Form("AIFC").Chunk("FVER", Image().U32(0xA2805140).Body()).Chunk("COMM", comm).Chunk("SSND", ssnd).Finish();
}

// 16-bit stereo, 3 frames of data; COMM at 12, SSND at 38, data at 54; 66 bytes.
Bytes Base() { return Aiff(Comm(2, 3, 16, kRate44100), Ssnd(0, 0, Filled(12))); }

class AiffFile : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(INVALID_HANDLE_VALUE, f.h()); }
    HANDLE h() const { return f.h(); }
    TempFile f;
};

TEST_F(AiffFile, Recognising) {
    Bytes commBeyondForm = Aifc(Comm(1, 1, 16, kRate8000, "NONE"), Ssnd(0, 0, Filled(2)));
    PutBE32At(commBeyondForm, 4, 4 + 12 + 7);  // the bound ends inside COMM's header
    const Bytes riff = rifftest::Image().Riff("WAVE").Chunk("data", Filled(4)).Finish();
    const struct {
        const char *name;
        Bytes bytes;
        BOOL is;
        DWORD size;
        BOOL compressed;
    } rows[] = {
        {"AIFF", Base(), TRUE, 58, FALSE},
        {"AIFC NONE", Aifc(Comm(2, 3, 16, kRate44100, "NONE"), Ssnd(0, 0, Filled(12))), TRUE, 76, TRUE},
        {"AIFC sowt", Aifc(Comm(2, 3, 16, kRate44100, "sowt"), Ssnd(0, 0, Filled(12))), FALSE, 76, TRUE},
        {"AIFC none in lower case", Aifc(Comm(1, 1, 16, kRate8000, "none"), Ssnd(0, 0, Filled(2))), FALSE, 66, TRUE},
        {"AIFC COMM without a compression type", Aifc(Comm(1, 1, 16, kRate8000), Ssnd(0, 0, Filled(2))), FALSE, 60, TRUE},
        {"AIFC without COMM", Image().Form("AIFC").Chunk("SSND", Ssnd(0, 0, Filled(2))).Finish(), FALSE, 22, TRUE},
        {"AIFC COMM beyond the FORM size", commBeyondForm, FALSE, 23, TRUE},
        {"other form", Image().Form("8SVX").Chunk("BODY", Filled(2)).Finish(), FALSE, 14, FALSE},
        {"RIFF", riff, FALSE, 0, FALSE},
        {"empty", Bytes{}, FALSE, 0, FALSE},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        f.Seek(5);
        DWORD size = 0xAAAA;
        BOOL compressed = 7;
        EXPECT_EQ(r.is, iff_IsAIFFFileEx(h(), &size, &compressed));
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.compressed, compressed);
        if (r.is) {
            EXPECT_EQ(12u, f.Pos());  // behind the form type
        }
        f.Seek(5);
        size = 0xAAAA;
        EXPECT_EQ(r.is, iff_IsAIFFFile(h(), &size));
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.is, iff_IsAIFFFileEx(h(), nullptr, nullptr));
    }
}

struct WfxRow {
    const char *name;
    Bytes bytes;
    HRESULT status;
    WORD tag, channels;
    DWORD rate, avg;
    WORD align, bits;
    DWORD frames, offset;
};

TEST_F(AiffFile, FormatFramesAndDataOffset) {
    const Ext negative = {0xC00E, 0xAC44, 0, 0, 0};
    const WfxRow rows[] = {
        {"16-bit stereo", Base(), LX_S_OK, 0xFE02, 2, 44100, 176400, 4, 16, 3, 54},
        {"8 bits carry the signed tag", Aiff(Comm(1, 5, 8, kRate8000), Ssnd(0, 0, Filled(5))), LX_S_OK, 0xFE01, 1, 8000, 8000, 1, 8, 5, 54},
        {"24-bit six channels", Aiff(Comm(6, 2, 24, kRate48000), Ssnd(0, 0, Filled(36))), LX_S_OK, 0xFE02, 6, 48000, 864000, 18, 24, 2, 54},
        {"12 bits take one byte a channel", Aiff(Comm(2, 4, 12, kRate22050), Ssnd(0, 0, Filled(16))), LX_S_OK, 0xFE02, 2, 22050, 44100, 2, 12, 4, 54},
        {"SSND offset shrinks the frames", Aiff(Comm(1, 100, 16, kRate8000), Ssnd(4, 0, Filled(14))), LX_S_OK, 0xFE02, 1, 8000, 16000, 2, 16, 5, 58},
        {"COMM frames smaller win", Aiff(Comm(1, 2, 16, kRate8000), Ssnd(0, 0, Filled(20))), LX_S_OK, 0xFE02, 1, 8000, 16000, 2, 16, 2, 54},
        {"sound data smaller wins", Aiff(Comm(1, 100, 16, kRate8000), Ssnd(0, 0, Filled(20))), LX_S_OK, 0xFE02, 1, 8000, 16000, 2, 16, 10, 54},
        {"a partial frame is dropped", Aiff(Comm(2, 100, 16, kRate8000), Ssnd(0, 0, Filled(10))), LX_S_OK, 0xFE02, 2, 8000, 32000, 4, 16, 2, 54},
        {"all frames of a huge count", Aiff(Comm(1, 0xFFFFFFFF, 16, kRate8000), Ssnd(0, 0, Filled(8))), LX_S_OK, 0xFE02, 1, 8000, 16000, 2, 16, 4, 54},
        {"0 channels: block align 1", Aiff(Comm(0, 7, 16, kRate8000), Ssnd(0, 0, Filled(12))), LX_S_OK, 0xFE02, 0, 8000, 8000, 1, 16, 7, 54},
        {"4 bits: block align 1", Aiff(Comm(1, 100, 4, kRate8000), Ssnd(0, 0, Filled(3))), LX_S_OK, 0xFE02, 1, 8000, 8000, 1, 4, 3, 54},
        {"negative rate reads 44100", Aiff(Comm(1, 1, 16, negative), Ssnd(0, 0, Filled(2))), LX_S_OK, 0xFE02, 1, 44100, 88200, 2, 16, 1, 54},
        {"AIFC NONE", Aifc(Comm(2, 3, 16, kRate44100, "NONE"), Ssnd(0, 0, Filled(12))), LX_S_OK, 0xFE02, 2, 44100, 176400, 4, 16, 3, 72},
        {"COMM behind SSND", Image().Form("AIFF").Chunk("SSND", Ssnd(0, 0, Filled(12))).Chunk("COMM", Comm(2, 3, 16, kRate44100)).Finish(),
         LX_S_OK, 0xFE02, 2, 44100, 176400, 4, 16, 3, 28},
        {"offset past the chunk", Aiff(Comm(1, 9, 16, kRate8000), Ssnd(100, 0, Filled(4))), LX_S_OK, 0xFE02, 1, 8000, 16000, 2, 16, 0, 154},
        {"offset saturates", Aiff(Comm(1, 9, 16, kRate8000), Ssnd(0xFFFFFFFF, 0, Filled(4))), LX_S_OK, 0xFE02, 1, 8000, 16000, 2, 16, 0, 0xFFFFFFFF},
    };
    for (const WfxRow &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        tWAVEFORMATEX w;
        memset(&w, 0xCD, sizeof w);
        DWORD frames = 0xAAAA, offset = 0xBBBB;
        ASSERT_EQ(r.status, iff_GetAIFFWfx(h(), &w, &frames, &offset));
        EXPECT_EQ(r.tag, +w.wFormatTag);
        EXPECT_EQ(r.channels, +w.nChannels);
        EXPECT_EQ(r.rate, +w.nSamplesPerSec);
        EXPECT_EQ(r.avg, +w.nAvgBytesPerSec);
        EXPECT_EQ(r.align, +w.nBlockAlign);
        EXPECT_EQ(r.bits, +w.wBitsPerSample);
        EXPECT_EQ(0, +w.cbSize);
        EXPECT_EQ(r.frames, frames);
        EXPECT_EQ(r.offset, offset);
        // The outs are optional.
        EXPECT_EQ(r.status, iff_GetAIFFWfx(h(), &w, nullptr, nullptr));
    }
}

TEST_F(AiffFile, FormatRefusals) {
    const Bytes riff = rifftest::Image().Riff("WAVE").Chunk("data", Filled(4)).Finish();
    const struct {
        const char *name;
        Bytes bytes;
        HRESULT status;
    } rows[] = {
        {"no COMM", Image().Form("AIFF").Chunk("SSND", Ssnd(0, 0, Filled(4))).Finish(), LX_E_NOTFOUND},
        {"no SSND", Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 16, kRate8000)).Finish(), LX_E_NOTFOUND},
        {"RIFF", riff, LXIFF_E_NOTAIFF},
        {"empty", Bytes{}, LXIFF_E_NOTAIFF},
        {"compressed AIFC", Aifc(Comm(1, 1, 16, kRate8000, "ulaw"), Ssnd(0, 0, Filled(2))), LXIFF_E_NOTAIFF},
        {"COMM of 16 bytes", Aiff(Bytes(16, 1), Ssnd(0, 0, Filled(4))), LX_E_READ},
        {"SSND of 6 bytes", Aiff(Comm(1, 1, 16, kRate8000), Filled(6)), LX_E_READ},
        {"SSND behind the FORM's bound", [] {
             Bytes b = Base();
             PutBE32At(b, 4, 4 + 26 + 7);
             return b;
         }(), LX_E_NOTFOUND},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        tWAVEFORMATEX w;
        DWORD frames = 0xAAAA, offset = 0xBBBB;
        EXPECT_EQ(r.status, iff_GetAIFFWfx(h(), &w, &frames, &offset));
        EXPECT_EQ(0xAAAAu, frames);
        EXPECT_EQ(0xBBBBu, offset);
    }
    EXPECT_EQ(LX_E_POINTER, iff_GetAIFFWfx(h(), nullptr, nullptr, nullptr));
}

// ---- Markers ---------------------------------------------------------------------

// MARK payload at 46: count, then heads at 48, 56, 66 and 74 (names at 55,
// 63, 73 and 81), 40 bytes in all.
Bytes Marked(WORD count = 4) {
    Bytes marks = Marks({{1, 100, "a"}, {2, 200, "bb"}, {3, 300, ""}, {40000, 0xFFFFFFFF, "name"}});
    PutBE16At(marks, 0, count);
    return Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 16, kRate8000)).Chunk("MARK", marks).Chunk("SSND", Ssnd(0, 0, Filled(2))).Finish();
}

TEST_F(AiffFile, FindMarkerStopsAtTheId) {
    f.Reset(Marked());
    const struct {
        WORD id;
        DWORD position;
        BYTE nameLength;
        DWORD cursor;
    } rows[] = {{1, 100, 1, 55}, {2, 200, 2, 63}, {3, 300, 0, 73}, {40000, 0xFFFFFFFF, 4, 81}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.id);
        tIFFMARKER m = {0, 0, 0};
        ASSERT_EQ(LX_S_OK, iff_FindMarker(h(), &m, r.id));
        EXPECT_EQ(r.id, m.id);
        EXPECT_EQ(r.position, m.position);
        EXPECT_EQ(r.nameLength, m.nameLength);
        EXPECT_EQ(r.cursor, f.Pos());  // on the name
    }
}

TEST_F(AiffFile, FindMarkerStatuses) {
    Bytes cut = Marked();
    cut.resize(60);  // inside the second head
    Bytes shortChunk = Marked();
    PutBE32At(shortChunk, 42, 1);  // no room for the count
    Bytes fewerBytes = Marked();
    PutBE32At(fewerBytes, 42, 20);  // the third head would pass the chunk
    const struct {
        const char *name;
        Bytes bytes;
        WORD id;
        HRESULT status;
    } rows[] = {
        {"absent id", Marked(), 5, LX_E_NOTFOUND},
        {"count 0", Marked(0), 1, LX_E_NOTFOUND},
        {"count 2 hides the third", Marked(2), 3, LX_E_NOTFOUND},
        {"count past the markers", Marked(5), 5, LXIFF_E_NOTFORM},
        {"count 0xFFFF", Marked(0xFFFF), 5, LXIFF_E_NOTFORM},
        {"no MARK", Base(), 1, LX_E_NOTFOUND},
        {"not FORM", rifftest::WaveLike(), 1, LXIFF_E_NOTFORM},
        {"file cut in a head", cut, 2, LXIFF_E_NOTFORM},
        {"chunk too short for the count", shortChunk, 1, LXIFF_E_NOTFORM},
        {"head past the chunk", fewerBytes, 3, LXIFF_E_NOTFORM},
        {"second head still inside", fewerBytes, 2, LX_S_OK},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        tIFFMARKER m = {7, 7, 7};
        EXPECT_EQ(r.status, iff_FindMarker(h(), &m, r.id));
        if (r.status != LX_S_OK) {
            EXPECT_EQ(7, m.id);
        }
    }
    EXPECT_EQ(LX_E_POINTER, iff_FindMarker(h(), nullptr, 1));
}

// ---- The wave reader's guess ----------------------------------------------------

TEST_F(AiffFile, GetFileWfxHandsOutACheckedBlock) {
    const struct {
        const char *name;
        Bytes bytes;
        WORD tag, channels, align, bits;
        DWORD rate, avg;
        ULONGLONG frames, offset;
    } rows[] = {
        {"16-bit stereo", Base(), 0xFE02, 2, 4, 16, 44100, 176400, 3, 54},
        {"8-bit mono", Aiff(Comm(1, 5, 8, kRate8000), Ssnd(0, 0, Filled(5))), 0xFE01, 1, 1, 8, 8000, 8000, 5, 54},
        {"AIFC", Aifc(Comm(2, 3, 16, kRate44100, "NONE"), Ssnd(0, 0, Filled(12))), 0xFE02, 2, 4, 16, 44100, 176400, 3, 72},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        f.Seek(7);
        tWAVEFORMATEX *w = nullptr;
        ULONGLONG frames = 0, offset = 0;
        ASSERT_EQ(LX_S_OK, Aiff_GetFileWfx(h(), &w, &frames, &offset));
        ASSERT_NE(nullptr, w);
        EXPECT_EQ(r.tag, +w->wFormatTag);
        EXPECT_EQ(r.channels, +w->nChannels);
        EXPECT_EQ(r.rate, +w->nSamplesPerSec);
        EXPECT_EQ(r.avg, +w->nAvgBytesPerSec);
        EXPECT_EQ(r.align, +w->nBlockAlign);
        EXPECT_EQ(r.bits, +w->wBitsPerSample);
        EXPECT_EQ(0, +w->cbSize);
        EXPECT_EQ(r.frames, frames);
        EXPECT_EQ(r.offset, offset);
        EXPECT_EQ(7u, f.Pos());
        free(w);
    }
}

TEST_F(AiffFile, GetFileWfxRefusals) {
    const struct {
        const char *name;
        Bytes bytes;
        HRESULT status;
    } rows[] = {
        {"0 channels fail the audio check", Aiff(Comm(0, 7, 16, kRate8000), Ssnd(0, 0, Filled(12))), LXIFF_E_NOTAIFF},
        {"4 bits fail the audio check", Aiff(Comm(1, 7, 4, kRate8000), Ssnd(0, 0, Filled(12))), LXIFF_E_NOTAIFF},
        // 65535 x 2 bytes only matches after 16-bit truncation.
        {"65535 channels", Aiff(Comm(0xFFFF, 1, 16, kRate8000), Ssnd(0, 0, Filled(12))), LXIFF_E_NOTAIFF},
        {"compressed AIFC", Aifc(Comm(1, 1, 16, kRate8000, "fl32"), Ssnd(0, 0, Filled(4))), LXIFF_E_NOTAIFF},
        {"no SSND", Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 16, kRate8000)).Finish(), LX_E_NOTFOUND},
        {"RIFF", rifftest::WaveLike(), LXIFF_E_NOTAIFF},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        f.Seek(3);
        tWAVEFORMATEX dummy;
        tWAVEFORMATEX *w = &dummy;
        ULONGLONG frames = 11, offset = 12;
        EXPECT_EQ(r.status, Aiff_GetFileWfx(h(), &w, &frames, &offset));
        EXPECT_EQ(nullptr, w);
        EXPECT_EQ(11u, frames);
        EXPECT_EQ(12u, offset);
        EXPECT_EQ(3u, f.Pos());
    }
    EXPECT_EQ(LX_E_POINTER, Aiff_GetFileWfx(h(), nullptr, nullptr, nullptr));
}

// ---- Rewrites ----------------------------------------------------------------------

TEST_F(AiffFile, CommRewrittenInPlace) {
    const tAIFFCOMM comm = {1, 9, 8, Extended(kRate8000)};
    f.Reset(Base());
    ASSERT_EQ(LX_S_OK, Aiff_WriteComm(h(), &comm));
    EXPECT_EQ(Aiff(Comm(1, 9, 8, kRate8000), Ssnd(0, 0, Filled(12))), f.Contents());
    tAIFFCOMM back;
    memset(&back, 0, sizeof back);
    ASSERT_EQ(LX_S_OK, Aiff_ReadComm(h(), &back));
    EXPECT_EQ(1, back.channels);
    EXPECT_EQ(9u, back.frames);
    EXPECT_EQ(8, back.bits);
    EXPECT_EQ(kRate8000, Words(back.rate));

    // AIFC: the compression type and the rest of the chunk stay.
    f.Reset(Aifc(Comm(2, 3, 16, kRate44100, "NONE"), Ssnd(0, 0, Filled(12))));
    ASSERT_EQ(LX_S_OK, Aiff_WriteComm(h(), &comm));
    EXPECT_EQ(Aifc(Comm(1, 9, 8, kRate8000, "NONE"), Ssnd(0, 0, Filled(12))), f.Contents());
}

TEST_F(AiffFile, CommRewriteRefusals) {
    const tAIFFCOMM comm = {1, 9, 8, Extended(kRate8000)};
    const struct {
        const char *name;
        Bytes bytes;
        HRESULT write, read;
    } rows[] = {
        {"COMM of 16 bytes", Aiff(Bytes(16, 1), Ssnd(0, 0, Filled(4))), LX_E_WRITE, LX_E_READ},
        {"no COMM", Image().Form("AIFF").Chunk("SSND", Ssnd(0, 0, Filled(4))).Finish(), LX_E_NOTFOUND, LX_E_NOTFOUND},
        {"RIFF", rifftest::WaveLike(), LXIFF_E_NOTAIFF, LXIFF_E_NOTAIFF},
        {"compressed AIFC", Aifc(Comm(1, 1, 16, kRate8000, "fl32"), Ssnd(0, 0, Filled(4))), LXIFF_E_NOTAIFF, LXIFF_E_NOTAIFF},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        EXPECT_EQ(r.write, Aiff_WriteComm(h(), &comm));
        EXPECT_EQ(r.bytes, f.Contents());
        tAIFFCOMM back;
        EXPECT_EQ(r.read, Aiff_ReadComm(h(), &back));
    }
    EXPECT_EQ(LX_E_POINTER, Aiff_WriteComm(h(), nullptr));
    EXPECT_EQ(LX_E_POINTER, Aiff_ReadComm(h(), nullptr));
}

TEST_F(AiffFile, SetFileWfxRewritesCommFromARecord) {
    tWAVEFORMATEX pcm = {};
    pcm.wFormatTag = 1;
    pcm.nChannels = 1;
    pcm.nSamplesPerSec = 22050;
    pcm.wBitsPerSample = 8;
    const struct {
        const char *name;
        Bytes bytes;
        WORD tag;
        HRESULT status;
        Bytes after;
    } rows[] = {
        // The frame count is the one read: the smaller of data and COMM.
        {"PCM", Base(), 1, LX_S_OK, Aiff(Comm(1, 3, 8, kRate22050), Ssnd(0, 0, Filled(12)))},
        {"data fewer than COMM", Aiff(Comm(2, 50, 16, kRate44100), Ssnd(0, 0, Filled(12))), 1, LX_S_OK,
         Aiff(Comm(1, 3, 8, kRate22050), Ssnd(0, 0, Filled(12)))},
        {"float refused", Base(), 3, LXAIFF_E_NOTPCM, Base()},
        {"private tag refused", Base(), 0xFE02, LXAIFF_E_NOTPCM, Base()},
        {"RIFF", rifftest::WaveLike(), 1, LXIFF_E_NOTAIFF, rifftest::WaveLike()},
        {"no SSND", Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 16, kRate8000)).Finish(), 1, LX_E_NOTFOUND,
         Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 16, kRate8000)).Finish()},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        f.Seek(9);
        pcm.wFormatTag = r.tag;
        EXPECT_EQ(r.status, Aiff_SetFileWfx(h(), &pcm));
        EXPECT_EQ(r.after, f.Contents());
        EXPECT_EQ(9u, f.Pos());
    }
    EXPECT_EQ(LX_E_POINTER, Aiff_SetFileWfx(h(), nullptr));
}

const tAIFFINST kInst1 = {60, -5, 0, 127, 1, 127, -3, {1, 1, 2}, {0, 0, 0}};
const tAIFFINST kInst2 = {72, 3, 10, 100, 20, 90, 6, {2, 3, 4}, {1, 5, 6}};
Bytes Inst1() { return Inst(60, 0xFB, 0, 127, 1, 127, 0xFFFD, 1, 1, 2, 0, 0, 0); }
Bytes Inst2() { return Inst(72, 3, 10, 100, 20, 90, 6, 2, 3, 4, 1, 5, 6); }

Bytes BaseWith(const char *id1, const Bytes &p1, const char *id2 = nullptr, const Bytes &p2 = Bytes{}) {
    Image i;
    i.Form("AIFF").Chunk("COMM", Comm(2, 3, 16, kRate44100)).Chunk("SSND", Ssnd(0, 0, Filled(12))).Chunk(id1, p1);
    if (id2) i.Chunk(id2, p2);
    return i.Finish();
}

bool SameInst(const tAIFFINST &a, const tAIFFINST &b) {
    const tAIFFLOOP *la[2] = {&a.sustainLoop, &a.releaseLoop}, *lb[2] = {&b.sustainLoop, &b.releaseLoop};
    for (int i = 0; i < 2; ++i)
        if (la[i]->playMode != lb[i]->playMode || la[i]->beginMarker != lb[i]->beginMarker ||
            la[i]->endMarker != lb[i]->endMarker)
            return false;
    return a.baseNote == b.baseNote && a.detune == b.detune && a.lowNote == b.lowNote && a.highNote == b.highNote &&
           a.lowVelocity == b.lowVelocity && a.highVelocity == b.highVelocity && a.gain == b.gain;
}

TEST_F(AiffFile, InstAppendedThenRewrittenInPlaceThenRemoved) {
    f.Reset(Base());
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), &kInst1));
    EXPECT_EQ(BaseWith("INST", Inst1()), f.Contents());
    tAIFFINST back;
    ASSERT_EQ(LX_S_OK, Aiff_ReadInst(h(), &back));
    EXPECT_TRUE(SameInst(kInst1, back));

    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), &kInst2));
    EXPECT_EQ(BaseWith("INST", Inst2()), f.Contents());
    ASSERT_EQ(LX_S_OK, Aiff_ReadInst(h(), &back));
    EXPECT_TRUE(SameInst(kInst2, back));

    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), nullptr));
    EXPECT_EQ(Base(), f.Contents());
    EXPECT_EQ(LX_E_NOTFOUND, Aiff_ReadInst(h(), &back));
    // Removing what is not there changes nothing.
    EXPECT_EQ(LX_S_OK, Aiff_WriteInst(h(), nullptr));
    EXPECT_EQ(Base(), f.Contents());
}

TEST_F(AiffFile, InstOfAnotherSizeIsReplaced) {
    // An INST of 22 bytes ahead of the sound data: removed, and the new one
    // goes to the end.
    f.Reset(Image().Form("AIFF").Chunk("COMM", Comm(2, 3, 16, kRate44100)).Chunk("INST", Filled(22)).Chunk("SSND", Ssnd(0, 0, Filled(12))).Finish());
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), &kInst1));
    EXPECT_EQ(BaseWith("INST", Inst1()), f.Contents());
}

TEST_F(AiffFile, MarkersAppendedReplacedAndRemoved) {
    const tAIFFMARK first[] = {{1, 10, "start"}, {2, 500, "end"}};
    const tAIFFMARK second[] = {{1, 20, "loop start"}, {2, 400, "loop end"}, {7, 0, nullptr}};
    const tAIFFMARK sameSize[] = {{1, 30, "begin"}, {9, 450, "fin"}};
    f.Reset(BaseWith("INST", Inst1()));

    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), first, 2));
    EXPECT_EQ(BaseWith("INST", Inst1(), "MARK", Marks({{1, 10, "start"}, {2, 500, "end"}})), f.Contents());
    tIFFMARKER m;
    ASSERT_EQ(LX_S_OK, iff_FindMarker(h(), &m, 2));
    EXPECT_EQ(500u, m.position);
    EXPECT_EQ(3, m.nameLength);

    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), second, 3));
    const Bytes secondImage = BaseWith("INST", Inst1(), "MARK", Marks({{1, 20, "loop start"}, {2, 400, "loop end"}, {7, 0, ""}}));
    EXPECT_EQ(secondImage, f.Contents());
    ASSERT_EQ(LX_S_OK, iff_FindMarker(h(), &m, 1));
    EXPECT_EQ(20u, m.position);
    char name[16] = {0};
    DWORD got = 0;
    ASSERT_TRUE(ReadFile(h(), name, m.nameLength, &got, nullptr));
    EXPECT_STREQ("loop start", name);
    ASSERT_EQ(LX_S_OK, iff_FindMarker(h(), &m, 7));
    EXPECT_EQ(0, m.nameLength);

    // Same size: in place, INST keeps its place ahead of MARK either way.
    f.Reset(BaseWith("MARK", Marks({{1, 10, "start"}, {2, 500, "end"}}), "INST", Inst1()));
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), sameSize, 2));
    EXPECT_EQ(BaseWith("MARK", Marks({{1, 30, "begin"}, {9, 450, "fin"}}), "INST", Inst1()), f.Contents());

    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), nullptr, 0));
    EXPECT_EQ(BaseWith("INST", Inst1()), f.Contents());
    EXPECT_EQ(LX_E_NOTFOUND, iff_FindMarker(h(), &m, 1));
}

TEST_F(AiffFile, EveryMarkChunkGoesBeforeTheNewOne) {
    f.Reset(Image()
                .Form("AIFF")
                .Chunk("MARK", Marks({{5, 1, "x"}}))
                .Chunk("COMM", Comm(2, 3, 16, kRate44100))
                .Chunk("SSND", Ssnd(0, 0, Filled(12)))
                .Chunk("MARK", Marks({{6, 2, "yy"}}))
                .Finish());
    const tAIFFMARK one[] = {{1, 2, "abc"}};
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), one, 1));
    EXPECT_EQ(BaseWith("MARK", Marks({{1, 2, "abc"}})), f.Contents());
}

TEST_F(AiffFile, AppendingRestoresAMissingPadByte) {
    // The last chunk is odd and the file ends without its pad; the FORM
    // size counts what stands there.
    Bytes odd = Image().Form("AIFF").Chunk("COMM", Comm(2, 3, 16, kRate44100)).Chunk("SSND", Ssnd(0, 0, Filled(13))).Finish();
    odd.pop_back();
    PutBE32At(odd, 4, (DWORD)odd.size() - 8);
    f.Reset(odd);
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(h(), &kInst1));
    Bytes expected = odd;
    expected.push_back(0);
    const Bytes inst = Image().Chunk("INST", Inst1()).Body();
    expected.insert(expected.end(), inst.begin(), inst.end());
    PutBE32At(expected, 4, (DWORD)odd.size() - 8 + 1 + 28);
    EXPECT_EQ(expected, f.Contents());
}

TEST_F(AiffFile, MarkerNamesAndCounts) {
    const std::string longName(300, 'x');
    const tAIFFMARK mark[] = {{3, 99, longName.c_str()}};
    f.Reset(Base());
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(h(), mark, 1));
    EXPECT_EQ(BaseWith("MARK", Marks({{3, 99, std::string(255, 'x')}})), f.Contents());
    tIFFMARKER m;
    ASSERT_EQ(LX_S_OK, iff_FindMarker(h(), &m, 3));
    EXPECT_EQ(255, m.nameLength);

    EXPECT_EQ(LX_E_INVALIDARG, Aiff_WriteMarkers(h(), mark, 0x10000));
    EXPECT_EQ(LX_E_POINTER, Aiff_WriteMarkers(h(), nullptr, 1));
    EXPECT_EQ(LX_E_POINTER, Aiff_ReadInst(h(), nullptr));

    f.Reset(rifftest::WaveLike());
    EXPECT_EQ(LXIFF_E_NOTAIFF, Aiff_WriteMarkers(h(), mark, 1));
    EXPECT_EQ(LXIFF_E_NOTAIFF, Aiff_WriteMarkers(h(), nullptr, 0));
    EXPECT_EQ(LXIFF_E_NOTAIFF, Aiff_WriteInst(h(), &kInst1));
    EXPECT_EQ(rifftest::WaveLike(), f.Contents());
}

TEST_F(AiffFile, RewritesOnAReadOnlyHandleFail) {
    f.Reset(Base());
    f.Reopen(GENERIC_READ);
    ASSERT_NE(INVALID_HANDLE_VALUE, h());
    const tAIFFCOMM comm = {1, 9, 8, Extended(kRate8000)};
    const tAIFFMARK mark[] = {{1, 2, "abc"}};
    EXPECT_EQ(LX_E_WRITE, Aiff_WriteComm(h(), &comm));
    EXPECT_EQ(LX_E_WRITE, Aiff_WriteInst(h(), &kInst1));
    EXPECT_EQ(LX_E_WRITE, Aiff_WriteMarkers(h(), mark, 1));
    EXPECT_EQ(Base(), f.Contents());
}

}  // namespace
