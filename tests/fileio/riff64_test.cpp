// The Wave64 chunk layer: ids as stored, sizes that count their header on
// disk and payload in the calls, alignment to 8, exact accounting of
// remaining bytes, chunks completed after the fact, and walks over sizes
// that cannot be true. Reads, skips and locations run with the other
// families in riff_test.cpp.
#include "riffimage.h"
#include "wavetest.h"

#include <tuple>

using namespace wavetest;
using rifftest::TempFile;
using std::make_tuple;

namespace {

const GUID kOther = {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
const GUID kTypeA = {0x41414141, 0, 0, {0}};
const GUID kTypeB = {0x42424242, 0, 0, {0}};

Id16 IdOf(const GUID &g) {
    Id16 id;
    memcpy(id.b, &g, 16);
    return id;
}

bool Is(const GUID &a, const GUID &b) { return LxW64_IsEqualId(&a, &b) != FALSE; }

TEST(Riff64, IdsAreTheStoredBytesAndValidateTestsTheBitsAsWanted) {
    const std::pair<const GUID *, Id16> ids[] = {{&LXW64_ID_RIFF, W64Riff()}, {&LXW64_ID_LIST, W64List()},
                                                 {&LXW64_ID_WAVE, W64Wave()}, {&LXW64_ID_FMT, W64Fmt()},
                                                 {&LXW64_ID_DATA, W64Data()}, {&LXW64_ID_JUNK, W64Junk()}};
    for (const auto &id : ids)
        EXPECT_EQ(0, memcmp(id.first, id.second.b, 16)) << std::string((const char *)id.second.b, 4);
    EXPECT_FALSE(Is(LXW64_ID_JUNK, kOther));
    // Bits 0-2 of the low word, bit 3 (only) of the high word.
    const std::pair<ULONGLONG, HRESULT> sizes[] = {
        {0, LXRIFF_E_ZEROSIZE},  {8, LX_S_OK},           {1, LXRIFF_E_NEGSIZE},    {7, LXRIFF_E_NEGSIZE},
        {42, LXRIFF_E_NEGSIZE},  {0x100000000, LX_S_OK}, {0x700000000, LX_S_OK},   {0x800000000, LXRIFF_E_NEGSIZE},
        {0x1000000000, LX_S_OK}, {1ULL << 63, LX_S_OK},  {~7ULL, LXRIFF_E_NEGSIZE}};
    for (const auto &r : sizes)
        EXPECT_EQ(r.second, riff64_ValidateChunkHeader(nullptr, kOther, r.first)) << std::hex << r.first;
}

TEST(Riff64Write, HeadersAddTheirOwnLengthAndDataPadsToEight) {
    TempFile f;
    ASSERT_EQ(LX_S_OK, riff64_WriteFileID(f.h(), LXW64_ID_WAVE, 106));
    ASSERT_EQ(LX_S_OK, riff64_WriteChunkHeader(f.h(), LXW64_ID_FMT, 18));
    ASSERT_EQ(LX_S_OK, riff64_WriteListHeader(f.h(), kTypeA, 16));
    EXPECT_EQ(W64Image().Id(W64Riff()).Quad(130).Id(W64Wave()).Id(W64Fmt()).Quad(42).Id(W64List()).Quad(40)
                  .Id(IdOf(kTypeA)).Get(), f.Contents());
    for (const auto &r : {make_tuple(0, 0), make_tuple(1, 8), make_tuple(4, 8), make_tuple(8, 8), make_tuple(13, 16),
                         make_tuple(18, 24)}) {
        const ULONGLONG size = std::get<0>(r), padded = std::get<1>(r);
        SCOPED_TRACE(size);
        const Bytes payload = Samples((size_t)size);
        ULONGLONG written = 99;
        f.Reset({});
        ASSERT_EQ(LX_S_OK, riff64_WriteData(f.h(), payload.data(), size, &written));
        Bytes want = payload;
        want.resize((size_t)padded, 0);
        EXPECT_EQ(make_tuple(padded, want), make_tuple(written, f.Contents()));
        f.Reset({});
        ASSERT_EQ(LX_S_OK, riff64_WriteChunk(f.h(), LXW64_ID_DATA, payload.data(), size, &written));
        EXPECT_EQ(make_tuple(padded + 24, W64Image().Chunk(W64Data(), payload).Get()),
                  make_tuple(written, f.Contents()));
    }
}

// Prepared, written, completed: the stored size counts the header and the
// pad, which runs to a multiple of 8 from the chunk's start, not the file's.
TEST(Riff64Write, CompletedChunkCountsItsPad) {
    for (const auto &r : {make_tuple(0, 24), make_tuple(5, 32), make_tuple(8, 32)}) {
        const ULONGLONG size = std::get<0>(r), stored = std::get<1>(r);
        SCOPED_TRACE(size);
        TempFile f, g;
        const Bytes payload = Samples((size_t)size, 100);
        f.Reset(Samples(5));
        f.Seek(5);
        ULONGLONG start = 0;
        ASSERT_EQ(LX_S_OK, riff64_PrepareChunk(f.h(), LXW64_ID_DATA, &start));
        EXPECT_EQ(make_tuple(5ull, 24ull), make_tuple(start, riff64_AmountWritten(f.h(), start)));
        ASSERT_EQ(LX_S_OK, riff64_WriteToFile(f.h(), payload.data(), size));
        EXPECT_EQ(24 + size, riff64_AmountWritten(f.h(), start));
        ASSERT_EQ(LX_S_OK, riff64_CompleteChunk(f.h(), start));
        EXPECT_EQ(5 + stored, f.Pos());
        Bytes want = W64Image().Raw(Samples(5)).Id(W64Data()).Quad(stored).Raw(payload).Get();
        want.resize((size_t)(5 + stored), 0);
        EXPECT_EQ(want, f.Contents());
        g.Reset(Samples(5));  // the one-call form lands the same bytes
        g.Seek(5);
        ASSERT_EQ(LX_S_OK, riff64_WriteChunkToFile(g.h(), LXW64_ID_DATA, payload.data(), size));
        EXPECT_EQ(want, g.Contents());
    }
    TempFile f;  // a prepared list walks as a list
    ULONGLONG start = 0, size = 0;
    ASSERT_EQ(LX_S_OK, riff64_PrepareList(f.h(), kTypeA, &start));
    const Bytes inner = Samples(3);
    ASSERT_EQ(LX_S_OK, riff64_WriteChunk(f.h(), kOther, inner.data(), 3, nullptr));
    ASSERT_EQ(LX_S_OK, riff64_CompleteChunk(f.h(), start));
    EXPECT_EQ(W64Image().Id(W64List()).Quad(72).Id(IdOf(kTypeA)).Chunk(IdOf(kOther), inner).Get(), f.Contents());
    f.Seek(0);
    GUID type;
    ASSERT_EQ(LX_S_OK, riff64_ReadListHeader(f.h(), &type, &size));
    EXPECT_TRUE(Is(type, kTypeA));
    EXPECT_EQ(32u, size);
}

// The file size is the header's; the other sizes are found by the walks.
TEST(Riff64Read, FileSizeAndHeadersOfTheWrongKind) {
    TempFile f;
    f.Reset(W64Image().Id(W64Riff()).Quad(200).Id(W64Wave()).Id(W64List()).Quad(90).Id(IdOf(kTypeB)).Get());
    ULONGLONG size = 0;
    GUID form, id;
    ASSERT_EQ(LX_S_OK, riff64_GetFileSize(f.h(), &size));
    EXPECT_EQ(make_tuple(200ull, 40u), make_tuple(size, f.Pos()));
    f.Seek(0);
    ASSERT_EQ(LX_S_OK, riff64_ReadFileID(f.h(), nullptr, &form));
    EXPECT_TRUE(Is(form, LXW64_ID_WAVE));
    f.Seek(0);
    EXPECT_EQ(LXRIFF_E_NOTLIST, riff64_ReadListHeader(f.h(), &form, &size));
    f.Seek(40);
    EXPECT_EQ(LXRIFF_E_NOTRIFF, riff64_ReadFileID(f.h(), &size, &form));
    f.Seek(70);
    EXPECT_EQ(LX_E_READ, riff64_ReadChunkHeader(f.h(), &id, &size));
}

// fmt (18) at 40, list A holding one chunk at 88, list B holding two at
// 160, data at 256; 304 bytes.
Bytes ListImage() {
    return W64Image().Header().Chunk(W64Fmt(), Samples(18))
        .Id(W64List()).Quad(24 + 16 + 32).Id(IdOf(kTypeA)).Chunk(IdOf(kOther), Samples(5))
        .Id(W64List()).Quad(24 + 16 + 32 + 24).Id(IdOf(kTypeB)).Chunk(IdOf(kOther), Samples(1))
        .Chunk(IdOf(kOther), Samples(0))
        .Chunk(W64Data(), Samples(20))
        .Close();
}

// Exact accounting: what is left is the image behind the header just read.
TEST(Riff64Find, ChunksListsAndEntriesUnderTheBound) {
    TempFile f;
    f.Reset(ListImage());
    const struct { const char *name; GUID id; ULONGLONG size, cursor; } chunks[] = {
        {"fmt", LXW64_ID_FMT, 18, 64}, {"first list", LXW64_ID_LIST, 48, 112}, {"data", LXW64_ID_DATA, 20, 280}};
    for (const auto &r : chunks) {
        ULONGLONG size = 0;
        LONGLONG left = 0;
        const HRESULT hr = riff64_FindChunkHeaderInRIFF(f.h(), r.id, &size, &left);
        EXPECT_EQ(make_tuple(LX_S_OK, r.size, r.cursor, (LONGLONG)(304 - r.cursor)),
                  make_tuple(hr, size, (ULONGLONG)f.Pos(), left)) << r.name;
    }
    LONGLONG left = 0;
    EXPECT_EQ(LX_E_NOTFOUND, riff64_FindChunkHeaderInRIFF(f.h(), kTypeA, nullptr, &left));
    EXPECT_EQ(0, left);
    const struct { const char *name; GUID type; ULONGLONG size, cursor; } lists[] = {
        {"A", kTypeA, 32, 128}, {"B", kTypeB, 56, 200}};
    for (const auto &r : lists) {
        ASSERT_EQ(LX_S_OK, riff64_SeekDataStart(f.h()));
        ULONGLONG size = 0, size2 = 0;
        left = 304 - 40;
        const HRESULT hr = riff64_FindListChunk(f.h(), r.type, &size, &left);
        EXPECT_EQ(make_tuple(LX_S_OK, r.size, r.cursor, (LONGLONG)(304 - r.cursor)),
                  make_tuple(hr, size, (ULONGLONG)f.Pos(), left)) << r.name;
        ASSERT_EQ(LX_S_OK, riff64_FindListChunkFromStart(f.h(), r.type, &size2));
        EXPECT_EQ(make_tuple(r.size, r.cursor), make_tuple(size2, (ULONGLONG)f.Pos())) << r.name;
    }
    EXPECT_EQ(LX_E_NOTFOUND, riff64_FindListChunkFromStart(f.h(), kOther, nullptr));
    f.Seek(40);
    left = 200 - 40;  // the last list, found exactly at the end of its bound
    ASSERT_EQ(LX_S_OK, riff64_FindListChunk(f.h(), kTypeB, nullptr, &left));
    EXPECT_EQ(0, left);
    // A header needs 24 bytes of bound; the next one 24 more than the first chunk takes.
    const struct { GUID id; LONGLONG remaining; HRESULT status; LONGLONG left; } bounds[] = {
        {LXW64_ID_FMT, 24, LX_S_OK, 0},          {LXW64_ID_FMT, 23, LX_E_NOTFOUND, 23},
        {LXW64_ID_FMT, -1, LX_E_NOTFOUND, -1},   {LXW64_ID_LIST, 48 + 23, LX_E_NOTFOUND, 23}};
    for (const auto &r : bounds) {
        f.Seek(40);
        LONGLONG left2 = r.remaining;
        const HRESULT hr = riff64_FindChunkHeader(f.h(), r.id, nullptr, &left2);
        EXPECT_EQ(make_tuple(r.status, r.left), make_tuple(hr, left2)) << r.remaining;
    }
    f.Seek(40);  // unbounded, a missing id ends with the read at the end
    EXPECT_EQ(LX_E_READ, riff64_FindChunkHeader(f.h(), kTypeA, nullptr, nullptr));
    // The entries of list B.
    ULONGLONG size = 0;
    ASSERT_EQ(LX_S_OK, riff64_FindListChunkFromStart(f.h(), kTypeB, &size));
    const DWORD at = f.Pos();
    DWORD count = 0;
    left = (LONGLONG)size;
    ASSERT_EQ(LX_S_OK, riff64_GetNumListEntries(f.h(), &count, &left));
    EXPECT_EQ(make_tuple(2ul, 0ll, at), make_tuple(count, left, f.Pos()));
    left = (LONGLONG)size;
    ASSERT_EQ(LX_S_OK, riff64_SeekListEntry(f.h(), 1, &left));
    EXPECT_EQ(make_tuple(at + 32, 24ll), make_tuple(f.Pos(), left));
    f.Seek(at);
    left = (LONGLONG)size;
    EXPECT_EQ(LX_E_NOTFOUND, riff64_SeekListEntry(f.h(), 3, &left));
    f.Seek(40);  // unbounded from the first chunk: four chunks, then the read fails
    EXPECT_EQ(LX_E_READ, riff64_GetNumListEntries(f.h(), &count, nullptr));
    EXPECT_EQ(4u, count);
}

TEST(Riff64Delete, MovesTheRestDownAndPatchesTheSize) {
    const Bytes img = ListImage();
    TempFile f;  // the patches themselves: absolute adds the header, both keep the cursor
    f.Reset(img);
    f.Seek(77);
    ASSERT_EQ(LX_S_OK, riff64_SetRIFFSize(f.h(), 1000));
    EXPECT_EQ(1024u, Get64(f.Contents(), 16));
    ASSERT_EQ(LX_S_OK, riff64_UpdateRIFFSize(f.h(), -24));
    EXPECT_EQ(1000u, Get64(f.Contents(), 16));
    ASSERT_EQ(LX_S_OK, riff64_UpdateRIFFSize(f.h(), 0x100000000LL));
    EXPECT_EQ(make_tuple(0x1000003E8ULL, 77u), make_tuple(Get64(f.Contents(), 16), f.Pos()));
    const struct { const char *name; GUID id; HRESULT status; size_t from, total; } rows[] = {
        {"fmt", LXW64_ID_FMT, LX_S_OK, 40, 48},          {"first list", LXW64_ID_LIST, LX_S_OK, 88, 72},
        {"data, the last", LXW64_ID_DATA, LX_S_OK, 256, 48}, {"absent", kTypeA, LX_E_NOTFOUND, 0, 0}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(img);
        ULONGLONG deleted = 99;
        ASSERT_EQ(r.status, riff64_DeleteChunk(f.h(), r.id, &deleted));
        Bytes want = img;
        want.erase(want.begin() + r.from, want.begin() + r.from + r.total);
        Put64(want, 16, img.size() - r.total);
        EXPECT_EQ(make_tuple((ULONGLONG)r.total, want), make_tuple(deleted, f.Contents()));
    }
}

// Sizes that cannot be true: every walk still moves forward and ends.
TEST(Riff64Hostile, StoredSizesBelowTheHeaderOrHuge) {
    for (ULONGLONG stored :
         {0ULL, 1ULL, 7ULL, 23ULL, 25ULL, 0x7FFFFFFFULL, 0xFFFFFFF8ULL, 0xFFFFFFFFULL, 1ULL << 63, ~7ULL, ~0ULL}) {
        SCOPED_TRACE(testing::Message() << std::hex << stored);
        Bytes img = ListImage();
        Put64(img, 40 + 16, stored);  // the fmt chunk
        TempFile f;
        f.Reset(img);
        f.Seek(40);
        GUID id;
        ULONGLONG size;
        for (DWORD steps = 1;; ++steps) {
            const ULONGLONG before = Pos(f.h());
            if (riff64_ReadChunkHeader(f.h(), &id, &size) != LX_S_OK) break;
            riff64_SkipChunk(f.h(), size);
            ASSERT_GE(Pos(f.h()), before + 24);
            ASSERT_LE(steps, img.size() / 24);
        }
        LONGLONG left = (LONGLONG)img.size();
        f.Seek(40);
        const HRESULT hr = riff64_FindChunkHeader(f.h(), LXW64_ID_DATA, nullptr, &left);
        EXPECT_TRUE(hr == LX_S_OK || hr == LX_E_NOTFOUND || hr == LX_E_READ) << std::hex << hr;
        EXPECT_EQ(LX_E_READ, riff64_FindChunkHeader(f.h(), kTypeA, nullptr, nullptr));
        ULONGLONG deleted = 0;
        const HRESULT del = riff64_DeleteChunk(f.h(), LXW64_ID_FMT, &deleted);
        EXPECT_TRUE(del == LX_S_OK || del == LX_E_NOTFOUND) << std::hex << del;
        EXPECT_LE(f.Contents().size(), img.size());
    }
}

}  // namespace
