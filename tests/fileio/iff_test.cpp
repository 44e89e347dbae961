// The IFF chunk layer on a file handle: swaps, big-endian reads and writes
// against hand-built bytes, the walkers' accounting of remaining bytes, the
// statuses of the search from the start, and chunk deletion.
#include "iffimage.h"

using namespace ifftest;

namespace {

// Offsets: COMM 12 (payload 20), "odd " 38 (payload 46, one pad byte),
// zero 52, SSND 60 (payload 68), MARK 88 (payload 96), end 106. FORM size
// 98, so 94 bytes stand behind the form type.
Bytes Sample() {
    return Image()
        .Form("AIFF")
        .Chunk("COMM", Comm(2, 3, 16, kRate44100))
        .Chunk("odd ", Filled(5))
        .Chunk("zero", Bytes{})
        .Chunk("SSND", Ssnd(0, 0, Filled(12)))
        .Chunk("MARK", Marks({{1, 0, "a"}}))
        .Finish();
}
const DWORD kSampleLen = 106;

Bytes Head(size_t n) {
    const Bytes b = Sample();
    return Bytes(b.begin(), b.begin() + n);
}

class IffFile : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(INVALID_HANDLE_VALUE, f.h()); }
    HANDLE h() const { return f.h(); }
    ULONGLONG Pos64() const {
        LONG high = 0;
        DWORD low = SetFilePointer(h(), 0, &high, FILE_CURRENT);
        return ((ULONGLONG)(DWORD)high << 32) | low;
    }
    TempFile f;
};

TEST(IffSwap, SwapsInPlaceByItems) {
    BYTE b16[] = {1, 2, 3, 4, 5, 6, 7};
    iff_ByteSwap16(b16, 3);
    EXPECT_EQ(Bytes({2, 1, 4, 3, 6, 5, 7}), Bytes(b16, b16 + 7));
    BYTE b32[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    iff_ByteSwap32(b32, 2);
    EXPECT_EQ(Bytes({4, 3, 2, 1, 8, 7, 6, 5, 9}), Bytes(b32, b32 + 9));
    iff_ByteSwap32(b32, 0);
    EXPECT_EQ(Bytes({4, 3, 2, 1, 8, 7, 6, 5, 9}), Bytes(b32, b32 + 9));
    iff_ByteSwap16(nullptr, 5);
    iff_ByteSwap32(nullptr, 5);

    // The writing variants do the same.
    BYTE w16[] = {0xA1, 0xB2, 0xC3, 0xD4};
    aiff_WriteByteSwap16(w16, 2);
    EXPECT_EQ(Bytes({0xB2, 0xA1, 0xD4, 0xC3}), Bytes(w16, w16 + 4));
    aiff_WriteByteSwap32(w16, 1);
    EXPECT_EQ(Bytes({0xC3, 0xD4, 0xA1, 0xB2}), Bytes(w16, w16 + 4));
}

TEST_F(IffFile, WritersLayDownBigEndianBytes) {
    ASSERT_EQ(LX_S_OK, iff_WriteFileID(h(), Id("AIFF"), 0x01020304));
    const tIFFCHUNKHDR hdr = {Id("COMM"), 18};
    ASSERT_EQ(LX_S_OK, iff_WriteChunk(h(), &hdr));
    ASSERT_EQ(LX_S_OK, iff_WriteDWORD(h(), 0xA1B2C3D4));
    ASSERT_EQ(LX_S_OK, iff_WriteWORD(h(), 0xBEEF));
    EXPECT_EQ(Image().Tag("FORM").U32(0x01020304).Tag("AIFF").Tag("COMM").U32(18).U32(0xA1B2C3D4).U16(0xBEEF).Body(),
              f.Contents());
    EXPECT_EQ(LX_E_POINTER, iff_WriteChunk(h(), nullptr));
}

TEST_F(IffFile, WritersReportAFailedWrite) {
    f.Reopen(GENERIC_READ);
    ASSERT_NE(INVALID_HANDLE_VALUE, h());
    const tIFFCHUNKHDR hdr = {Id("COMM"), 18};
    EXPECT_EQ(LX_E_WRITE, iff_WriteFileID(h(), Id("AIFF"), 4));
    EXPECT_EQ(LX_E_WRITE, iff_WriteChunk(h(), &hdr));
    EXPECT_EQ(LX_E_WRITE, iff_WriteDWORD(h(), 1));
    EXPECT_EQ(LX_E_WRITE, iff_WriteWORD(h(), 1));
}

TEST_F(IffFile, ReadersSwapToHostOrder) {
    f.Reset(Image().Tag("SSND").U32(0x00000014).U32(0x80000001).U16(0xFFFE).Body());
    tIFFCHUNKHDR hdr = {};
    ASSERT_EQ(LX_S_OK, iff_ReadChunkHdr(h(), &hdr));
    EXPECT_EQ(0x53534E44u, hdr.id);
    EXPECT_EQ(20u, hdr.size);
    DWORD d = 0;
    ASSERT_EQ(LX_S_OK, iff_ReadDWORD(h(), &d));
    EXPECT_EQ(0x80000001u, d);
    WORD w = 0;
    ASSERT_EQ(LX_S_OK, iff_ReadWORD(h(), &w));
    EXPECT_EQ(0xFFFEu, w);
    EXPECT_EQ(LX_E_READ, iff_ReadWORD(h(), &w));
    EXPECT_EQ(LX_E_POINTER, iff_ReadChunkHdr(h(), nullptr));
    EXPECT_EQ(LX_E_POINTER, iff_ReadDWORD(h(), nullptr));
    EXPECT_EQ(LX_E_POINTER, iff_ReadWORD(h(), nullptr));
}

TEST_F(IffFile, ShortReadsFailAtEveryLength) {
    const Bytes full = Image().Tag("COMM").U32(18).Body();
    for (size_t len = 0; len < 8; ++len) {
        SCOPED_TRACE(len);
        f.Reset(Bytes(full.begin(), full.begin() + len));
        tIFFCHUNKHDR hdr;
        EXPECT_EQ(LX_E_READ, iff_ReadChunkHdr(h(), &hdr));
        f.Seek(0);
        DWORD d;
        EXPECT_EQ(len < 4 ? LX_E_READ : LX_S_OK, iff_ReadDWORD(h(), &d));
        f.Seek(0);
        WORD w;
        EXPECT_EQ(len < 2 ? LX_E_READ : LX_S_OK, iff_ReadWORD(h(), &w));
    }
}

TEST_F(IffFile, ReadFormTypeStatuses) {
    const Bytes riff = rifftest::Image().Riff("WAVE").Chunk("data", Filled(4)).Finish();
    const struct {
        const char *name;
        Bytes bytes;
        HRESULT status;
        DWORD id, size, form;
    } rows[] = {
        {"AIFF", Sample(), LX_S_OK, Id("FORM"), 98, Id("AIFF")},
        {"RIFF is no FORM", riff, LXIFF_E_NOTAIFF, Id("RIFF"), 0x10000000, 0},
        {"five bytes", Head(5), LX_E_READ, 0, 0, 0},
        {"no form type", Head(10), LX_E_READ, Id("FORM"), 98, 0},
        {"empty", Bytes{}, LX_E_READ, 0, 0, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        tIFFCHUNKHDR hdr = {0, 0};
        DWORD form = 0;
        EXPECT_EQ(r.status, iff_ReadFormType(h(), &hdr, &form));
        EXPECT_EQ(r.id, hdr.id);
        EXPECT_EQ(r.size, hdr.size);
        EXPECT_EQ(r.form, form);
        f.Seek(0);
        EXPECT_EQ(r.status, iff_ReadFormType(h(), nullptr, nullptr));
    }
}

TEST_F(IffFile, SkipChunkMovesSizeAndPadForward) {
    f.Reset(Sample());
    const struct {
        DWORD size, amount;
        ULONGLONG moved;
    } rows[] = {
        {0, 0, 0}, {1, 2, 2}, {2, 2, 2}, {5, 6, 6}, {0x7FFFFFFF, 0x80000000, 0x80000000},
        // The amount wraps as a 32-bit value; the move does not.
        {0xFFFFFFFF, 0, 0x100000000ull},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.size);
        f.Seek(12);
        EXPECT_EQ(r.amount, iff_SkipChunk(h(), r.size));
        EXPECT_EQ(12 + r.moved, Pos64());
    }
}

TEST_F(IffFile, FindChunkHeaderCountsRemaining) {
    f.Reset(Sample());
    const struct {
        const char *id;
        LONG remaining;
        HRESULT status;
        DWORD size;
        LONG left;
        DWORD pos;
    } rows[] = {
        {"COMM", 94, LX_S_OK, 18, 86, 20},
        {"odd ", 94, LX_S_OK, 5, 60, 46},
        {"zero", 94, LX_S_OK, 0, 46, 60},
        {"SSND", 94, LX_S_OK, 20, 38, 68},
        {"MARK", 94, LX_S_OK, 10, 10, 96},
        {"none", 94, LX_E_NOTFOUND, 0xAAAA, 0, 106},
        // The bound: 8 still reads a header, 7 does not.
        {"COMM", 8, LX_S_OK, 18, 0, 20},
        {"COMM", 7, LX_E_NOTFOUND, 0xAAAA, 7, 12},
        {"odd ", 34, LX_S_OK, 5, 0, 46},
        {"odd ", 33, LX_E_NOTFOUND, 0xAAAA, 7, 38},
        // Signed: a negative count is no room at all.
        {"COMM", -1, LX_E_NOTFOUND, 0xAAAA, -1, 12},
        {"COMM", (LONG)0x80000000, LX_E_NOTFOUND, 0xAAAA, (LONG)0x80000000, 12},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(std::string(r.id) + " in " + std::to_string(r.remaining));
        f.Seek(12);
        DWORD size = 0xAAAA;
        LONG left = r.remaining;
        EXPECT_EQ(r.status, iff_FindChunkHeader(h(), Id(r.id), &size, &left));
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.left, left);
        EXPECT_EQ(r.pos, f.Pos());
    }
}

TEST_F(IffFile, UnboundedSearchEndsAtTheEndOfTheFile) {
    f.Reset(Sample());
    const struct {
        const char *id;
        HRESULT status;
        DWORD size, pos;
    } rows[] = {
        {"MARK", LX_S_OK, 10, 96},
        {"SSND", LX_S_OK, 20, 68},
        {"none", LX_E_READ, 0xAAAA, kSampleLen},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.id);
        f.Seek(12);
        DWORD size = 0xAAAA;
        EXPECT_EQ(r.status, iff_FindChunkHeader(h(), Id(r.id), &size, nullptr));
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.pos, f.Pos());
        f.Seek(12);
        size = 0xAAAA;
        EXPECT_EQ(r.status, iff_SeekChunkHeader(h(), Id(r.id), &size));
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.pos, f.Pos());
    }
    // Null out size is allowed.
    f.Seek(12);
    EXPECT_EQ(LX_S_OK, iff_SeekChunkHeader(h(), Id("zero"), nullptr));
}

TEST_F(IffFile, FindChunkFromStartStatuses) {
    auto withFormSize = [](DWORD size) {
        Bytes b = Sample();
        PutBE32At(b, 4, size);
        return b;
    };
    const Bytes riff = rifftest::Image().Riff("AIFF").Chunk("COMM", Filled(18)).Finish();
    const struct {
        const char *name;
        Bytes bytes;
        const char *id;
        HRESULT status;
        DWORD size, pos;
    } rows[] = {
        {"COMM", Sample(), "COMM", LX_S_OK, 18, 20},
        {"MARK", Sample(), "MARK", LX_S_OK, 10, 96},
        {"absent", Sample(), "INST", LX_E_NOTFOUND, 0xAAAA, 0},
        {"RIFF", riff, "COMM", LXIFF_E_NOTFORM, 0xAAAA, 0},
        {"empty", Bytes{}, "COMM", LXIFF_E_NOTFORM, 0xAAAA, 0},
        {"seven bytes", Head(7), "COMM", LXIFF_E_NOTFORM, 0xAAAA, 0},
        {"no form type", Head(8), "COMM", LX_E_NOTFOUND, 0xAAAA, 0},
        {"form size negative", withFormSize(0xFFFFFFFF), "COMM", LX_E_NOTFOUND, 0xAAAA, 0},
        {"form size below 4", withFormSize(3), "COMM", LX_E_NOTFOUND, 0xAAAA, 0},
        {"bound ends at COMM's header", withFormSize(12), "COMM", LX_S_OK, 18, 20},
        {"bound ends inside COMM's header", withFormSize(11), "COMM", LX_E_NOTFOUND, 0xAAAA, 0},
        {"bound ends before SSND", withFormSize(4 + 48), "SSND", LX_E_NOTFOUND, 0xAAAA, 0},
        {"form size past the file", withFormSize(0x1000), "none", LX_E_NOTFOUND, 0xAAAA, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        f.Seek(3 < r.bytes.size() ? 3 : 0);  // rewinds whatever the cursor
        DWORD size = 0xAAAA;
        EXPECT_EQ(r.status, iff_FindChunkFromStart(h(), Id(r.id), &size));
        EXPECT_EQ(r.size, size);
        if (r.status == LX_S_OK) {
            EXPECT_EQ(r.pos, f.Pos());
        }
    }
}

// ---- Deletion -----------------------------------------------------------------

Bytes SampleWithout(const char *id) {
    Image i;
    i.Form("AIFF");
    if (strcmp(id, "COMM")) i.Chunk("COMM", Comm(2, 3, 16, kRate44100));
    if (strcmp(id, "odd ")) i.Chunk("odd ", Filled(5));
    if (strcmp(id, "zero")) i.Chunk("zero", Bytes{});
    if (strcmp(id, "SSND")) i.Chunk("SSND", Ssnd(0, 0, Filled(12)));
    if (strcmp(id, "MARK")) i.Chunk("MARK", Marks({{1, 0, "a"}}));
    return i.Finish();
}

TEST_F(IffFile, DeleteChunkMovesTheRestDown) {
    const struct {
        const char *id;
        DWORD removed;
    } rows[] = {{"COMM", 26}, {"odd ", 14}, {"zero", 8}, {"SSND", 28}, {"MARK", 18}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.id);
        f.Reset(Sample());
        DWORD removed = 0xAAAA;
        ASSERT_EQ(LX_S_OK, iff_DeleteChunk(h(), Id(r.id), &removed));
        EXPECT_EQ(r.removed, removed);
        const Bytes expected = SampleWithout(r.id);
        EXPECT_EQ(kSampleLen - r.removed, expected.size());
        EXPECT_EQ(expected, f.Contents());
        EXPECT_EQ(expected.size(), f.Pos());
    }
}

TEST_F(IffFile, DeleteChunkMovesMoreThanOneRound) {
    // 10,000 bytes behind the chunk: three rounds of at most 4096.
    const Bytes big = Filled(10001, 7);
    f.Reset(Image().Form("AIFF").Chunk("COMM", Comm(1, 1, 8, kRate8000)).Chunk("SSND", Ssnd(0, 0, big)).Finish());
    DWORD removed = 0;
    ASSERT_EQ(LX_S_OK, iff_DeleteChunk(h(), Id("COMM"), &removed));
    EXPECT_EQ(26u, removed);
    EXPECT_EQ(Image().Form("AIFF").Chunk("SSND", Ssnd(0, 0, big)).Finish(), f.Contents());
}

TEST_F(IffFile, DeleteChunkRefusals) {
    const Bytes riff = rifftest::Image().Riff("AIFF").Chunk("COMM", Filled(18)).Finish();
    Bytes pastEnd = Sample();
    PutBE32At(pastEnd, 92, 100);  // MARK claims more than the file holds
    const Bytes compressed = Image()
                                 .Form("AIFC")
                                 .Chunk("COMM", Comm(1, 1, 16, kRate8000, "fl32"))
                                 .Chunk("SSND", Ssnd(0, 0, Filled(2)))
                                 .Finish();
    const struct {
        const char *name;
        Bytes bytes;
        const char *id;
        HRESULT status;
    } rows[] = {
        {"absent", Sample(), "INST", LX_E_NOTFOUND},
        {"RIFF", riff, "COMM", LXIFF_E_NOTAIFF},
        {"compressed AIFC", compressed, "SSND", LXIFF_E_NOTAIFF},
        {"empty", Bytes{}, "COMM", LXIFF_E_NOTAIFF},
        {"chunk past the end", pastEnd, "MARK", LX_E_READ},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.bytes);
        DWORD removed = 0xAAAA;
        EXPECT_EQ(r.status, iff_DeleteChunk(h(), Id(r.id), &removed));
        EXPECT_EQ(0u, removed);
        EXPECT_EQ(r.bytes, f.Contents());
    }
}

TEST_F(IffFile, DeleteChunkOnAReadOnlyHandleFailsBeforeWriting) {
    f.Reset(Sample());
    f.Reopen(GENERIC_READ);
    ASSERT_NE(INVALID_HANDLE_VALUE, h());
    DWORD removed = 0xAAAA;
    EXPECT_EQ(LX_E_WRITE, iff_DeleteChunk(h(), Id("COMM"), &removed));
    EXPECT_EQ(0u, removed);
    EXPECT_EQ(Sample(), f.Contents());
    // Without an out.
    EXPECT_EQ(LX_E_WRITE, iff_DeleteChunk(h(), Id("COMM"), nullptr));
}

}  // namespace
