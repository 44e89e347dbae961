// The IFF chunk layer on a file handle: swaps, big-endian reads and writes against hand-built bytes, the walkers'
// accounting of remaining bytes, the search from the start, and chunk deletion.
#include "iffimage.h"

using namespace ifftest;

namespace {

// COMM 12 (payload 20), "odd " 38 (payload 46, one pad byte), zero 52, SSND 60 (payload 68), MARK 88 (payload 96),
// end 106. FORM size 98: 94 bytes stand behind the form type.
Bytes Sample(const char *without = "") {
    Image i;
    i.Form("AIFF");
    if (strcmp(without, "COMM")) i.Chunk("COMM", Comm(2, 3, 16, kRate44100));
    if (strcmp(without, "odd ")) i.Chunk("odd ", Filled(5));
    if (strcmp(without, "zero")) i.Chunk("zero", Bytes{});
    if (strcmp(without, "SSND")) i.Chunk("SSND", Ssnd(0, 0, Filled(12)));
    if (strcmp(without, "MARK")) i.Chunk("MARK", Marks({{1, 0, "a"}}));
    return i.Finish();
}

using IffFile = FileTest;

TEST(IffSwap, SwapsInPlaceByItems) {
    BYTE b[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    iff_ByteSwap16(b, 3);
    EXPECT_EQ(Bytes({2, 1, 4, 3, 6, 5, 7, 8, 9}), Bytes(b, b + 9));
    iff_ByteSwap32(b, 2);
    EXPECT_EQ(Bytes({3, 4, 1, 2, 8, 7, 5, 6, 9}), Bytes(b, b + 9));
    iff_ByteSwap32(b, 0);
    aiff_WriteByteSwap16(b, 1);
    aiff_WriteByteSwap32(b + 4, 1);
    EXPECT_EQ(Bytes({4, 3, 1, 2, 6, 5, 7, 8, 9}), Bytes(b, b + 9));
    iff_ByteSwap16(nullptr, 5);
    iff_ByteSwap32(nullptr, 5);
}

TEST_F(IffFile, WritersLayDownBigEndianBytesOrReportAFailedWrite) {
    const tIFFCHUNKHDR hdr = {Id("COMM"), 18};
    ASSERT_EQ(LX_S_OK, iff_WriteFileID(h(), Id("AIFF"), 0x01020304));
    ASSERT_EQ(LX_S_OK, iff_WriteChunk(h(), &hdr));
    ASSERT_EQ(LX_S_OK, iff_WriteDWORD(h(), 0xA1B2C3D4));
    ASSERT_EQ(LX_S_OK, iff_WriteWORD(h(), 0xBEEF));
    EXPECT_EQ(Image().Tag("FORM").U32(0x01020304).Tag("AIFF").Tag("COMM").U32(18).U32(0xA1B2C3D4).U16(0xBEEF).Body(),
              f.Contents());
    EXPECT_EQ(LX_E_POINTER, iff_WriteChunk(h(), nullptr));
    f.Reopen(GENERIC_READ);
    ASSERT_NE(INVALID_HANDLE_VALUE, h());
    EXPECT_EQ(LX_E_WRITE, iff_WriteFileID(h(), Id("AIFF"), 4));
    EXPECT_EQ(LX_E_WRITE, iff_WriteChunk(h(), &hdr));
    EXPECT_EQ(LX_E_WRITE, iff_WriteDWORD(h(), 1));
    EXPECT_EQ(LX_E_WRITE, iff_WriteWORD(h(), 1));
}

TEST_F(IffFile, ReadersSwapToHostOrderAndFailShortAtEveryLength) {
    const Bytes full = Image().Tag("SSND").U32(0x00000014).U32(0x80000001).U16(0xFFFE).Body();
    f.Reset(full);
    tIFFCHUNKHDR hdr = {};
    DWORD d = 0;
    WORD w = 0;
    ASSERT_EQ(LX_S_OK, iff_ReadChunkHdr(h(), &hdr));
    ASSERT_EQ(LX_S_OK, iff_ReadDWORD(h(), &d));
    ASSERT_EQ(LX_S_OK, iff_ReadWORD(h(), &w));
    EXPECT_EQ(std::vector<DWORD>({0x53534E44, 20, 0x80000001, 0xFFFE}), std::vector<DWORD>({hdr.id, hdr.size, d, w}));
    EXPECT_EQ(LX_E_READ, iff_ReadWORD(h(), &w));
    EXPECT_EQ(LX_E_POINTER, iff_ReadChunkHdr(h(), nullptr));
    EXPECT_EQ(LX_E_POINTER, iff_ReadDWORD(h(), nullptr));
    EXPECT_EQ(LX_E_POINTER, iff_ReadWORD(h(), nullptr));
    for (size_t len = 0; len < 8; ++len) {
        SCOPED_TRACE(len);
        f.Reset(Bytes(full.begin(), full.begin() + len));
        EXPECT_EQ(LX_E_READ, iff_ReadChunkHdr(h(), &hdr));
        f.Seek(0);
        EXPECT_EQ(len < 4 ? LX_E_READ : LX_S_OK, iff_ReadDWORD(h(), &d));
        f.Seek(0);
        EXPECT_EQ(len < 2 ? LX_E_READ : LX_S_OK, iff_ReadWORD(h(), &w));
    }
}

TEST_F(IffFile, ReadFormTypeStatuses) {
    const struct { const char *name; Bytes bytes; HRESULT status; DWORD id, size, form; } rows[] = {
        {"AIFF", Sample(), LX_S_OK, Id("FORM"), 98, Id("AIFF")},
        {"RIFF is no FORM", rifftest::Image().Riff("WAVE").Chunk("data", Filled(4)).Finish(), LXIFF_E_NOTAIFF,
         Id("RIFF"), 0x10000000, 0},
        {"five bytes", Cut(Sample(), 5), LX_E_READ, 0, 0, 0},
        {"no form type", Cut(Sample(), 10), LX_E_READ, Id("FORM"), 98, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        tIFFCHUNKHDR hdr = {0, 0};
        DWORD form = 0;
        EXPECT_EQ(r.status, iff_ReadFormType(h(), &hdr, &form));
        EXPECT_EQ(std::vector<DWORD>({r.id, r.size, r.form}), std::vector<DWORD>({hdr.id, hdr.size, form}));
        f.Seek(0);
        EXPECT_EQ(r.status, iff_ReadFormType(h(), nullptr, nullptr));
    }
}

TEST_F(IffFile, SkipChunkMovesSizeAndPadForward) {
    f.Reset(Sample());
    // The amount wraps as a 32-bit value; the move does not.
    const struct { DWORD size, amount; ULONGLONG moved; } rows[] = {
        {0, 0, 0}, {5, 6, 6}, {0x7FFFFFFF, 0x80000000, 0x80000000}, {0xFFFFFFFF, 0, 0x100000000ull}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.size);
        f.Seek(12);
        EXPECT_EQ(r.amount, iff_SkipChunk(h(), r.size));
        EXPECT_EQ(12 + r.moved, wavetest::Pos(h()));
    }
}

// Bounded searches count what they pass; without a bound the search runs to the end of the file.
TEST_F(IffFile, FindChunkHeaderCountsRemaining) {
    f.Reset(Sample());
    const LONG kNone = 0x7EEEEEEE;
    const struct { const char *id; LONG remaining; HRESULT status; DWORD size; LONG left; DWORD pos; } rows[] = {
        {"COMM", 94, LX_S_OK, 18, 86, 20},
        {"odd ", 94, LX_S_OK, 5, 60, 46},
        {"none", 94, LX_E_NOTFOUND, 0xAAAA, 0, 106},
        {"COMM", 8, LX_S_OK, 18, 0, 20},  // the bound: 8 still reads a header, 7 does not
        {"COMM", 7, LX_E_NOTFOUND, 0xAAAA, 7, 12},
        {"odd ", 33, LX_E_NOTFOUND, 0xAAAA, 7, 38},
        {"COMM", -1, LX_E_NOTFOUND, 0xAAAA, -1, 12},  // signed: a negative count is no room at all
        {"SSND", kNone, LX_S_OK, 20, kNone, 68},
        {"none", kNone, LX_E_READ, 0xAAAA, kNone, 106},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(std::string(r.id) + " in " + std::to_string(r.remaining));
        for (bool seek : {false, true}) {
            f.Seek(12);
            DWORD size = 0xAAAA;
            LONG left = r.remaining;
            const bool bound = r.remaining != kNone;
            if (seek && bound) continue;
            EXPECT_EQ(r.status, seek ? iff_SeekChunkHeader(h(), Id(r.id), &size)
                                     : iff_FindChunkHeader(h(), Id(r.id), &size, bound ? &left : nullptr));
            EXPECT_EQ(std::vector<LONG>({(LONG)r.size, r.left, (LONG)r.pos}),
                      std::vector<LONG>({(LONG)size, left, (LONG)f.Pos()}));
        }
    }
    f.Seek(12);
    EXPECT_EQ(LX_S_OK, iff_SeekChunkHeader(h(), Id("zero"), nullptr));
}

TEST_F(IffFile, FindChunkFromStartStatuses) {
    const struct { const char *name; Bytes bytes; const char *id; HRESULT status; DWORD size, pos; } rows[] = {
        {"COMM", Sample(), "COMM", LX_S_OK, 18, 20},
        {"absent", Sample(), "INST", LX_E_NOTFOUND, 0xAAAA, 0},
        {"RIFF", rifftest::Image().Riff("AIFF").Chunk("COMM", Filled(18)).Finish(), "COMM", LXIFF_E_NOTFORM, 0xAAAA, 0},
        {"empty", Bytes{}, "COMM", LXIFF_E_NOTFORM, 0xAAAA, 0},
        {"no form type", Cut(Sample(), 8), "COMM", LX_E_NOTFOUND, 0xAAAA, 0},
        {"form size negative", WithBE32(Sample(), 4, 0xFFFFFFFF), "COMM", LX_E_NOTFOUND, 0xAAAA, 0},
        {"bound ends at COMM's header", WithBE32(Sample(), 4, 12), "COMM", LX_S_OK, 18, 20},
        {"bound ends inside COMM's header", WithBE32(Sample(), 4, 11), "COMM", LX_E_NOTFOUND, 0xAAAA, 0},
        {"bound ends before SSND", WithBE32(Sample(), 4, 4 + 48), "SSND", LX_E_NOTFOUND, 0xAAAA, 0},
        {"form size past the file", WithBE32(Sample(), 4, 0x1000), "none", LX_E_NOTFOUND, 0xAAAA, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        f.Seek(3 < r.bytes.size() ? 3 : 0);  // rewinds whatever the cursor
        DWORD size = 0xAAAA;
        EXPECT_EQ(r.status, iff_FindChunkFromStart(h(), Id(r.id), &size));
        EXPECT_EQ(r.size, size);
        if (r.status == LX_S_OK) { EXPECT_EQ(r.pos, f.Pos()); }
    }
}

// What follows the chunk moves down and the FORM shrinks by the padded chunk; a refusal changes nothing.
TEST_F(IffFile, DeleteChunk) {
    const struct { const char *name; Bytes bytes; const char *id; HRESULT status; DWORD removed; } rows[] = {
        {"COMM", Sample(), "COMM", LX_S_OK, 26},
        {"odd ", Sample(), "odd ", LX_S_OK, 14},
        {"zero", Sample(), "zero", LX_S_OK, 8},
        {"MARK, the last", Sample(), "MARK", LX_S_OK, 18},
        {"absent", Sample(), "INST", LX_E_NOTFOUND, 0},
        {"RIFF", rifftest::Image().Riff("AIFF").Chunk("COMM", Filled(18)).Finish(), "COMM", LXIFF_E_NOTAIFF, 0},
        {"compressed AIFC", Aifc(Comm(1, 1, 16, kRate8000, "fl32"), Ssnd(0, 0, Filled(2))), "SSND", LXIFF_E_NOTAIFF, 0},
        {"empty", Bytes{}, "COMM", LXIFF_E_NOTAIFF, 0},
        {"chunk past the end of the file", WithBE32(Sample(), 92, 100), "MARK", LX_E_READ, 0},
        {"read-only handle", Sample(), "COMM", LX_E_WRITE, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        if (r.status == LX_E_WRITE) f.Reopen(GENERIC_READ);
        DWORD removed = 0xAAAA;
        EXPECT_EQ(r.status, iff_DeleteChunk(h(), Id(r.id), &removed));
        EXPECT_EQ(r.removed, removed);
        EXPECT_EQ(r.status ? r.bytes : Sample(r.id), f.Contents());
        if (r.status == LX_S_OK) { EXPECT_EQ(106u - r.removed, f.Pos()); }
    }
    // 10,000 bytes behind the chunk: three rounds of at most 4096.
    const Bytes big = Filled(10001, 7);
    f.Reopen(GENERIC_READ | GENERIC_WRITE);
    f.Reset(Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 8, kRate8000)).Chunk("SSND", Ssnd(0, 0, big)).Finish());
    ASSERT_EQ(LX_S_OK, iff_DeleteChunk(h(), Id("COMM"), nullptr));
    EXPECT_EQ(Image().Form("AIFF").Chunk("SSND", Ssnd(0, 0, big)).Finish(), f.Contents());
}

}  // namespace
