// The Wave64 chunk layer: ids as stored, sizes that count their header on
// disk and payload in the calls, alignment to 8, exact accounting of
// remaining bytes, chunks completed after the fact, and walks over sizes
// that cannot be true.
#include "riffimage.h"
#include "wavetest.h"

#include "fileio/riff64.h"

using namespace wavetest;
using rifftest::TempFile;

namespace {

const GUID kOther = {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
const GUID kTypeA = {0x41414141, 0, 0, {0}};
const GUID kTypeB = {0x42424242, 0, 0, {0}};

Id16 IdOf(const GUID &g) {
    Id16 id;
    memcpy(id.b, &g, 16);
    return id;
}

TEST(Riff64Ids, LibraryIdsAreTheStoredBytes) {
    struct Row {
        const char *name;
        const GUID &lib;
        const Id16 &bytes;
    } rows[] = {{"riff", LXW64_ID_RIFF, W64Riff()}, {"list", LXW64_ID_LIST, W64List()},
                {"wave", LXW64_ID_WAVE, W64Wave()}, {"fmt", LXW64_ID_FMT, W64Fmt()},
                {"data", LXW64_ID_DATA, W64Data()}, {"junk", LXW64_ID_JUNK, W64Junk()}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(0, memcmp(&r.lib, r.bytes.b, 16));
    }
    // The junk id keeps its odd sixth and seventh bytes.
    EXPECT_EQ(0x3D, W64Junk().b[6]);
    EXPECT_FALSE(LxW64_IsEqualId(&LXW64_ID_JUNK, &kOther));
    EXPECT_TRUE(LxW64_IsEqualId(&LXW64_ID_DATA, &LXW64_ID_DATA));
}

TEST(Riff64Validate, SizeBitsAsTested) {
    struct Row {
        ULONGLONG size;
        HRESULT want;
    } rows[] = {
        {0, LXRIFF_E_ZEROSIZE},          {8, LX_S_OK},
        {24, LX_S_OK},                   {1, LXRIFF_E_NEGSIZE},
        {7, LXRIFF_E_NEGSIZE},           {42, LXRIFF_E_NEGSIZE},
        {0x100000000ULL, LX_S_OK},       {0x700000000ULL, LX_S_OK},
        {0x800000000ULL, LXRIFF_E_NEGSIZE}, {0xF00000000ULL, LXRIFF_E_NEGSIZE},
        {0x1000000000ULL, LX_S_OK},      {0x8000000000000000ULL, LX_S_OK},
        {0xFFFFFFFFFFFFFFF8ULL, LXRIFF_E_NEGSIZE},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << r.size);
        EXPECT_EQ(r.want, riff64_ValidateChunkHeader(nullptr, kOther, r.size));
    }
}

TEST(Riff64Write, HeadersAddTheirOwnLength) {
    TempFile f;
    ASSERT_EQ(LX_S_OK, riff64_WriteFileID(f.h(), LXW64_ID_WAVE, 106));
    ASSERT_EQ(LX_S_OK, riff64_WriteChunkHeader(f.h(), LXW64_ID_FMT, 18));
    ASSERT_EQ(LX_S_OK, riff64_WriteListHeader(f.h(), kTypeA, 16));
    const Bytes want = W64Image()
                           .Id(W64Riff()).Quad(130).Id(W64Wave())
                           .Id(W64Fmt()).Quad(42)
                           .Id(W64List()).Quad(40).Id(IdOf(kTypeA))
                           .Get();
    EXPECT_EQ(want, f.Contents());
}

TEST(Riff64Write, DataAndChunksPadToEight) {
    struct Row {
        ULONGLONG size;
        ULONGLONG written;  // by WriteData
    } rows[] = {{0, 0}, {1, 8}, {7, 8}, {8, 8}, {18, 24}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.size);
        TempFile f;
        const Bytes payload = Samples((size_t)r.size);
        ULONGLONG written = 99;
        ASSERT_EQ(LX_S_OK, riff64_WriteData(f.h(), payload.data(), r.size, &written));
        EXPECT_EQ(r.written, written);
        Bytes want = payload;
        want.resize((size_t)r.written, 0);
        EXPECT_EQ(want, f.Contents());

        f.Reset({});
        ASSERT_EQ(LX_S_OK, riff64_WriteChunk(f.h(), LXW64_ID_DATA, payload.data(), r.size, &written));
        EXPECT_EQ(r.written + 24, written);
        EXPECT_EQ(W64Image().Chunk(W64Data(), payload).Get(), f.Contents());
    }
}

TEST(Riff64Write, CompletedChunkCountsItsPad) {
    struct Row {
        ULONGLONG size;
        ULONGLONG stored;
    } rows[] = {{0, 24}, {5, 32}, {8, 32}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.size);
        TempFile f;
        f.Reset(Samples(8));  // the chunk starts at 8, not at 0
        f.Seek(8);
        const Bytes payload = Samples((size_t)r.size, 100);
        ULONGLONG start = 0;
        ASSERT_EQ(LX_S_OK, riff64_PrepareChunk(f.h(), LXW64_ID_DATA, &start));
        EXPECT_EQ(8u, start);
        EXPECT_EQ(24u, riff64_AmountWritten(f.h(), start));
        ASSERT_EQ(LX_S_OK, riff64_WriteToFile(f.h(), payload.data(), r.size));
        EXPECT_EQ(24 + r.size, riff64_AmountWritten(f.h(), start));
        ASSERT_EQ(LX_S_OK, riff64_CompleteChunk(f.h(), start));
        EXPECT_EQ(8 + r.stored, f.Pos());
        const Bytes got = f.Contents();
        ASSERT_EQ(8 + r.stored, got.size());
        EXPECT_EQ(0, memcmp(got.data() + 8, W64Data().b, 16));
        EXPECT_EQ(r.stored, Get64(got, 24));
        EXPECT_TRUE(std::equal(payload.begin(), payload.end(), got.begin() + 32));
        for (size_t i = 32 + (size_t)r.size; i < got.size(); ++i) EXPECT_EQ(0, got[i]) << i;

        // The one-call form lands the same bytes.
        TempFile g;
        g.Reset(Samples(8));
        g.Seek(8);
        ASSERT_EQ(LX_S_OK, riff64_WriteChunkToFile(g.h(), LXW64_ID_DATA, payload.data(), r.size));
        EXPECT_EQ(got, g.Contents());
    }
}

TEST(Riff64Write, PreparedListWalksAsAList) {
    TempFile f;
    ULONGLONG start = 0;
    ASSERT_EQ(LX_S_OK, riff64_PrepareList(f.h(), kTypeA, &start));
    const Bytes inner = Samples(3);
    ASSERT_EQ(LX_S_OK, riff64_WriteChunk(f.h(), kOther, inner.data(), 3, nullptr));
    ASSERT_EQ(LX_S_OK, riff64_CompleteChunk(f.h(), start));
    const Bytes want = W64Image().Id(W64List()).Quad(72).Id(IdOf(kTypeA)).Chunk(IdOf(kOther), inner).Get();
    EXPECT_EQ(want, f.Contents());
    f.Seek(0);
    GUID type;
    ULONGLONG size = 0;
    ASSERT_EQ(LX_S_OK, riff64_ReadListHeader(f.h(), &type, &size));
    EXPECT_TRUE(LxW64_IsEqualId(&type, &kTypeA));
    EXPECT_EQ(32u, size);
}

TEST(Riff64Write, PadWritesUpToTheNextEight) {
    struct Row {
        size_t already;
        size_t after;
    } rows[] = {{0, 0}, {1, 8}, {8, 8}, {9, 16}, {15, 16}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.already);
        TempFile f;
        f.Reset(Samples(r.already, 1));
        f.Seek((DWORD)r.already);
        ASSERT_EQ(LX_S_OK, riff64_Pad(f.h(), 0));
        EXPECT_EQ(r.after, f.Contents().size());
        EXPECT_EQ(r.after, f.Pos());
    }
}

TEST(Riff64Read, HeadersGiveBackPayloadSizes) {
    TempFile f;
    f.Reset(W64Image().Id(W64Riff()).Quad(200).Id(W64Wave()).Id(W64List()).Quad(90).Id(IdOf(kTypeB)).Get());
    ULONGLONG size = 0;
    GUID form;
    ASSERT_EQ(LX_S_OK, riff64_ReadFileID(f.h(), &size, &form));
    EXPECT_EQ(160u, size);
    EXPECT_TRUE(LxW64_IsEqualId(&form, &LXW64_ID_WAVE));
    GUID type;
    ASSERT_EQ(LX_S_OK, riff64_ReadListHeader(f.h(), &type, &size));
    EXPECT_EQ(50u, size);
    EXPECT_TRUE(LxW64_IsEqualId(&type, &kTypeB));
    EXPECT_EQ(80u, f.Pos());
    ASSERT_EQ(LX_S_OK, riff64_GetFileSize(f.h(), &size));
    EXPECT_EQ(200u, size);

    f.Seek(40);
    GUID id;
    ASSERT_EQ(LX_S_OK, riff64_ReadChunkHeader(f.h(), &id, &size));
    EXPECT_EQ(66u, size);
    EXPECT_TRUE(LxW64_IsEqualId(&id, &LXW64_ID_LIST));
    // Not a list, not a RIFF, and a header cut short.
    f.Seek(0);
    EXPECT_EQ(LXRIFF_E_NOTLIST, riff64_ReadListHeader(f.h(), &type, &size));
    f.Seek(40);
    EXPECT_EQ(LXRIFF_E_NOTRIFF, riff64_ReadFileID(f.h(), &size, &form));
    f.Seek(70);
    EXPECT_EQ(LX_E_READ, riff64_ReadChunkHeader(f.h(), &id, &size));
}

TEST(Riff64Read, SkipAndReadStepOverThePad) {
    struct Row {
        ULONGLONG count;
        ULONGLONG step;
    } rows[] = {{0, 0}, {1, 8}, {8, 8}, {9, 16}, {18, 24}, {42, 48}};
    TempFile f;
    f.Reset(Samples(64));
    for (const Row &r : rows) {
        SCOPED_TRACE(r.count);
        f.Seek(0);
        EXPECT_EQ(r.step, riff64_SkipChunk(f.h(), r.count));
        EXPECT_EQ(r.step, f.Pos());
        f.Seek(0);
        BYTE buf[64] = {0};
        ASSERT_EQ(LX_S_OK, riff64_ReadData(f.h(), buf, r.count));
        EXPECT_EQ(r.step, f.Pos());
        EXPECT_EQ(Samples((size_t)r.count), Bytes(buf, buf + r.count));
    }
    f.Seek(60);
    BYTE buf[8];
    EXPECT_EQ(LX_E_READ, riff64_ReadData(f.h(), buf, 8));
}

TEST(Riff64Read, BoundedReadTakesItsPadFromTheBuffer) {
    struct Row {
        ULONGLONG chunk;
        DWORD buffer;
        DWORD read;
        ULONGLONG end;
    } rows[] = {
        {30, 18, 18, 32},  // skip (18 & 7) - 18 + 30 = 14
        {10, 64, 10, 10},  // nothing behind, pad 0 from the buffer
        {10, 13, 10, 15},  // pad 5 from the buffer, though the chunk wants 6
        {24, 24, 24, 24},
    };
    TempFile f;
    f.Reset(Samples(100));
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << r.chunk << "/" << r.buffer);
        f.Seek(0);
        BYTE buf[64];
        memset(buf, 0xEE, sizeof buf);
        ASSERT_EQ(LX_S_OK, riff64_ReadDataBounded(f.h(), buf, r.chunk, r.buffer));
        EXPECT_EQ(r.end, f.Pos());
        EXPECT_EQ(Samples(r.read), Bytes(buf, buf + r.read));
        if (r.read < sizeof buf) {
            EXPECT_EQ(0xEE, buf[r.read]);
        }
    }
}

// An image: fmt (18), list A holding one chunk, list B holding two, data.
Bytes ListImage() {
    return W64Image()
        .Header()
        .Chunk(W64Fmt(), Samples(18))
        .Id(W64List()).Quad(24 + 16 + 32).Id(IdOf(kTypeA)).Chunk(IdOf(kOther), Samples(5))
        .Id(W64List()).Quad(24 + 16 + 32 + 24).Id(IdOf(kTypeB)).Chunk(IdOf(kOther), Samples(1))
        .Chunk(IdOf(kOther), Samples(0))
        .Chunk(W64Data(), Samples(20))
        .Close();
}

TEST(Riff64Find, ChunksUnderTheBoundAndAccounting) {
    const Bytes img = ListImage();
    ASSERT_EQ(304u, img.size());
    struct Row {
        const char *name;
        GUID id;
        HRESULT want;
        ULONGLONG size;
        ULONGLONG cursor;
    } rows[] = {
        {"fmt", LXW64_ID_FMT, LX_S_OK, 18, 64},
        {"first list", LXW64_ID_LIST, LX_S_OK, 48, 112},
        {"data", LXW64_ID_DATA, LX_S_OK, 20, 280},
        {"absent", kTypeA, LX_E_NOTFOUND, 0, 0},
    };
    TempFile f;
    f.Reset(img);
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ULONGLONG size = 0;
        LONGLONG remaining = 0;
        ASSERT_EQ(r.want, riff64_FindChunkHeaderInRIFF(f.h(), r.id, &size, &remaining));
        if (r.want != LX_S_OK) {
            EXPECT_LT(remaining, 24);
            continue;
        }
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.cursor, f.Pos());
        // Exact: what is left is the image behind the header just read.
        EXPECT_EQ((LONGLONG)(img.size() - r.cursor), remaining);
    }
}

TEST(Riff64Find, BoundOfExactlyOneHeader) {
    TempFile f;
    f.Reset(ListImage());
    struct Row {
        LONGLONG remaining;
        HRESULT want;
        LONGLONG left;
    } rows[] = {{24, LX_S_OK, 0}, {23, LX_E_NOTFOUND, 23}, {0, LX_E_NOTFOUND, 0}, {-1, LX_E_NOTFOUND, -1}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.remaining);
        f.Seek(40);
        LONGLONG left = r.remaining;
        EXPECT_EQ(r.want, riff64_FindChunkHeader(f.h(), LXW64_ID_FMT, nullptr, &left));
        EXPECT_EQ(r.left, left);
    }
    // The next chunk's header needs 24 more than the first chunk takes.
    f.Seek(40);
    LONGLONG left = 48 + 23;
    EXPECT_EQ(LX_E_NOTFOUND, riff64_FindChunkHeader(f.h(), LXW64_ID_LIST, nullptr, &left));
    EXPECT_EQ(23, left);
    // Unbounded, a missing id ends with the read at the end.
    f.Seek(40);
    EXPECT_EQ(LX_E_READ, riff64_FindChunkHeader(f.h(), kTypeA, nullptr, nullptr));
}

TEST(Riff64Find, ListsWithExactAccounting) {
    TempFile f;
    const Bytes img = ListImage();
    f.Reset(img);
    struct Row {
        const char *name;
        GUID type;
        HRESULT want;
        ULONGLONG size;
        ULONGLONG cursor;
    } rows[] = {
        {"A", kTypeA, LX_S_OK, 32, 128},
        {"B", kTypeB, LX_S_OK, 56, 200},
        {"absent", kOther, LX_E_NOTFOUND, 0, 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ASSERT_EQ(LX_S_OK, riff64_SeekDataStart(f.h()));
        EXPECT_EQ(40u, f.Pos());
        LONGLONG remaining = (LONGLONG)img.size() - 40;
        ULONGLONG size = 0;
        ASSERT_EQ(r.want, riff64_FindListChunk(f.h(), r.type, &size, &remaining));
        if (r.want != LX_S_OK) continue;
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.cursor, f.Pos());
        EXPECT_EQ((LONGLONG)(img.size() - r.cursor), remaining);
        ULONGLONG size2 = 0;
        ASSERT_EQ(LX_S_OK, riff64_FindListChunkFromStart(f.h(), r.type, &size2));
        EXPECT_EQ(r.size, size2);
        EXPECT_EQ(r.cursor, f.Pos());
    }
    // The last list found exactly at the end of its bound.
    f.Seek(40);
    LONGLONG remaining = 200 - 40;
    ASSERT_EQ(LX_S_OK, riff64_FindListChunk(f.h(), kTypeB, nullptr, &remaining));
    EXPECT_EQ(0, remaining);
}

TEST(Riff64Find, EntriesOfAList) {
    TempFile f;
    f.Reset(ListImage());
    ULONGLONG size = 0;
    ASSERT_EQ(LX_S_OK, riff64_FindListChunkFromStart(f.h(), kTypeB, &size));
    const ULONGLONG at = f.Pos();
    DWORD count = 0;
    LONGLONG remaining = (LONGLONG)size;
    ASSERT_EQ(LX_S_OK, riff64_GetNumListEntries(f.h(), &count, &remaining));
    EXPECT_EQ(2u, count);
    EXPECT_EQ(0, remaining);
    EXPECT_EQ(at, f.Pos());
    remaining = (LONGLONG)size;
    ASSERT_EQ(LX_S_OK, riff64_SeekListEntry(f.h(), 1, &remaining));
    EXPECT_EQ(at + 32, f.Pos());
    EXPECT_EQ(24, remaining);
    f.Seek((DWORD)at);
    remaining = (LONGLONG)size;
    EXPECT_EQ(LX_E_NOTFOUND, riff64_SeekListEntry(f.h(), 3, &remaining));
    // Unbounded from the first chunk: five chunks, then the read fails.
    f.Seek(40);
    EXPECT_EQ(LX_E_READ, riff64_GetNumListEntries(f.h(), &count, nullptr));
    EXPECT_EQ(4u, count);
}

TEST(Riff64Patch, RiffSizeAbsoluteAndRelative) {
    TempFile f;
    f.Reset(ListImage());
    f.Seek(77);
    ASSERT_EQ(LX_S_OK, riff64_SetRIFFSize(f.h(), 1000));
    EXPECT_EQ(77u, f.Pos());
    EXPECT_EQ(1024u, Get64(f.Contents(), 16));
    ASSERT_EQ(LX_S_OK, riff64_UpdateRIFFSize(f.h(), -24));
    EXPECT_EQ(1000u, Get64(f.Contents(), 16));
    ASSERT_EQ(LX_S_OK, riff64_UpdateRIFFSize(f.h(), 0x100000000LL));
    EXPECT_EQ(0x1000003E8ULL, Get64(f.Contents(), 16));
    EXPECT_EQ(77u, f.Pos());
}

TEST(Riff64Delete, MovesTheRestDownAndPatchesTheSize) {
    const Bytes img = ListImage();
    struct Row {
        const char *name;
        GUID id;
        HRESULT want;
        size_t from;
        size_t total;
    } rows[] = {
        {"fmt", LXW64_ID_FMT, LX_S_OK, 40, 48},
        {"first list", LXW64_ID_LIST, LX_S_OK, 88, 72},
        {"data, the last", LXW64_ID_DATA, LX_S_OK, 256, 48},
        {"absent", kTypeA, LX_E_NOTFOUND, 0, 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        TempFile f;
        f.Reset(img);
        ULONGLONG deleted = 99;
        ASSERT_EQ(r.want, riff64_DeleteChunk(f.h(), r.id, &deleted));
        Bytes want = img;
        if (r.want == LX_S_OK) {
            want.erase(want.begin() + r.from, want.begin() + r.from + r.total);
            Put64(want, 16, img.size() - r.total);
        }
        EXPECT_EQ(r.total, deleted);
        const Bytes got = f.Contents();
        ASSERT_EQ(want.size(), got.size());
        for (size_t i = 0; i < want.size(); ++i) ASSERT_EQ(want[i], got[i]) << "byte " << i;
    }
}

// Sizes that cannot be true: every walk still moves forward and ends.
TEST(Riff64Hostile, StoredSizesBelowTheHeaderOrHuge) {
    const ULONGLONG sizes[] = {0, 1, 7, 23, 25, 0x7FFFFFFF, 0xFFFFFFF8, 0xFFFFFFFF, 0x8000000000000000ULL,
                               0xFFFFFFFFFFFFFFF8ULL, 0xFFFFFFFFFFFFFFFFULL};
    for (ULONGLONG stored : sizes) {
        SCOPED_TRACE(testing::Message() << std::hex << stored);
        Bytes img = ListImage();
        Put64(img, 40 + 16, stored);  // the fmt chunk
        TempFile f;
        f.Reset(img);
        f.Seek(40);
        DWORD steps = 0;
        for (;;) {
            const ULONGLONG before = Pos(f.h());
            GUID id;
            ULONGLONG size;
            if (riff64_ReadChunkHeader(f.h(), &id, &size) != LX_S_OK) break;
            riff64_SkipChunk(f.h(), size);
            ASSERT_GE(Pos(f.h()), before + 24);
            ASSERT_LE(++steps, img.size() / 24);
        }
        LONGLONG remaining = (LONGLONG)img.size();
        f.Seek(40);
        const HRESULT hr = riff64_FindChunkHeader(f.h(), LXW64_ID_DATA, nullptr, &remaining);
        EXPECT_TRUE(hr == LX_S_OK || hr == LX_E_NOTFOUND || hr == LX_E_READ) << std::hex << hr;
        EXPECT_EQ(LX_E_READ, riff64_FindChunkHeader(f.h(), kTypeA, nullptr, nullptr));
        ULONGLONG deleted = 0;
        const HRESULT del = riff64_DeleteChunk(f.h(), LXW64_ID_FMT, &deleted);
        EXPECT_TRUE(del == LX_S_OK || del == LX_E_NOTFOUND) << std::hex << del;
        EXPECT_LE(f.Contents().size(), img.size());
    }
}

TEST(Riff64Alloc, ReadsWhatIsThereAndRefusesWhatIsNot) {
    TempFile f;
    f.Reset(Samples(40));
    f.Seek(10);
    tLXRIFFDATA d = {13, nullptr};
    ASSERT_EQ(LX_S_OK, riff64_ReadDataAlloc(f.h(), &d));
    ASSERT_NE(nullptr, d.data);
    EXPECT_EQ(0, memcmp(d.data, Samples(13, 10).data(), 13));
    EXPECT_EQ(26u, f.Pos());
    LxRiff_FreeData(&d);
    d.size = 0x7FFFFFF0;
    EXPECT_EQ(LX_E_READ, riff64_ReadDataAlloc(f.h(), &d));
    EXPECT_EQ(nullptr, d.data);
    d.size = 0;
    EXPECT_EQ(LX_S_OK, riff64_ReadDataAlloc(f.h(), &d));
    EXPECT_EQ(nullptr, d.data);
}

}  // namespace
