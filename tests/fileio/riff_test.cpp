// The chunk layer on a file handle: writers against hand-built bytes, the
// walkers' accounting of remaining bytes, the quirks callers depend on
// (short file size, pad from the buffer's parity, the string increment,
// four bytes charged per list passed), deletion, and failing handles.
#include "riffimage.h"

#include <climits>
#include <functional>

using namespace rifftest;

namespace {

class RiffFile : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(INVALID_HANDLE_VALUE, f.h()); }
    void Load(const Bytes &b) { f.Reset(b); }
    HANDLE h() const { return f.h(); }
    TempFile f;
};

// WaveLike() offsets: fmt header 12, INFO list 36 (type 44, INAM 48, ISFT
// 62), zero 72, data 80, cue 96, adtl list 132 (labl 144), end 162. The
// RIFF size is 154; the room behind the form type 150.
const DWORD kWaveLen = 162;

TEST_F(RiffFile, WritersLayDownTheHandBuiltImage) {
    DWORD w = 0, sum = 0;
    ASSERT_EQ(LX_S_OK, riff_WriteFileID(h(), Id("WAVE"), 4));
    sum += 4;
    const Bytes fmt{1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0};
    ASSERT_EQ(LX_S_OK, riff_WriteChunk(h(), Id("fmt "), fmt.data(), 16, &w));
    EXPECT_EQ(24u, w);
    sum += w;

    // The list size is patched through the saved position afterwards.
    DWORD listAt = 0, end = 0;
    ASSERT_EQ(LX_S_OK, riff_SaveLocation(h(), &listAt));
    EXPECT_EQ(36u, listAt);
    ASSERT_EQ(LX_S_OK, riff_WriteListHeader(h(), Id("INFO"), 4));
    DWORD listSize = 4;
    ASSERT_EQ(LX_S_OK, riff_WriteChunk(h(), Id("INAM"), "Name", 5, &w));
    EXPECT_EQ(14u, w);  // odd payload: one pad byte, counted in the report
    listSize += w;
    ASSERT_EQ(LX_S_OK, riff_WriteChunk(h(), Id("ISFT"), "x", 2, &w));
    listSize += w;
    ASSERT_EQ(LX_S_OK, riff_SaveLocation(h(), &end));
    ASSERT_EQ(LX_S_OK, riff_RestoreLocation(h(), listAt));
    ASSERT_EQ(LX_S_OK, riff_WriteListHeader(h(), Id("INFO"), listSize));
    ASSERT_EQ(LX_S_OK, riff_RestoreLocation(h(), end));
    sum += listSize + 8;

    ASSERT_EQ(LX_S_OK, riff_WriteChunk(h(), Id("zero"), nullptr, 0, &w));
    EXPECT_EQ(8u, w);
    sum += w;
    const Bytes data = Filled(7), cue = Filled(28, 0x40), labl = Filled(9, 0x60);
    ASSERT_EQ(LX_S_OK, riff_WriteChunk(h(), Id("data"), data.data(), 7, &w));
    EXPECT_EQ(16u, w);
    sum += w;
    ASSERT_EQ(LX_S_OK, riff_WriteChunk(h(), Id("cue "), cue.data(), 28, &w));
    sum += w;
    ASSERT_EQ(LX_S_OK, riff_WriteListHeader(h(), Id("adtl"), 4 + 18));
    ASSERT_EQ(LX_S_OK, riff_WriteChunk(h(), Id("labl"), labl.data(), 9, &w));
    sum += 12 + w;

    EXPECT_EQ(154u, sum);
    ASSERT_EQ(LX_S_OK, riff_SetRIFFSize(h(), sum));
    EXPECT_EQ(kWaveLen, f.Pos());  // the patch keeps the cursor
    EXPECT_EQ(WaveLike(), f.Contents());
}

TEST_F(RiffFile, ChunkHeaderAndFileIdBytes) {
    ASSERT_EQ(LX_S_OK, riff_WriteFileID(h(), Id("LX6U"), 0x01020304));
    ASSERT_EQ(LX_S_OK, riff_WriteChunkHeader(h(), Id("UHDR"), 72));
    EXPECT_EQ(Image().Tag("RIFF").Word(0x01020304).Tag("LX6U").Tag("UHDR").Word(72).Finish(),
              f.Contents());
}

TEST_F(RiffFile, ValidateChunkHeaderLooksAtTheSignOnly) {
    const struct {
        LONG size;
        HRESULT expect;
    } rows[] = {{-1, LXRIFF_E_NEGSIZE}, {LONG_MIN, LXRIFF_E_NEGSIZE}, {0, LXRIFF_E_ZEROSIZE},
                {1, LX_S_OK},           {LONG_MAX, LX_S_OK}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.size);
        EXPECT_EQ(r.expect, riff_ValidateChunkHeader(h(), 0, r.size));
        EXPECT_EQ(r.expect, riff_ValidateChunkHeader(nullptr, Id("junk"), r.size));
    }
}

TEST_F(RiffFile, ReadFileIdStoresSizeBeforeCheckingTheId) {
    const Bytes wave = WaveLike();
    Bytes riffx = wave;
    riffx[3] = 'X';
    const struct {
        const char *name;
        Bytes bytes;
        HRESULT status;
        DWORD size;
        DWORD form;
        DWORD cursor;
    } rows[] = {
        {"valid", WaveLike(), LX_S_OK, 150, Id("WAVE"), 12},
        {"RIFX", riffx, LXRIFF_E_NOTRIFF, 150, 0, 8},
        {"form cut short", Bytes(wave.begin(), wave.begin() + 10), LX_E_READ, 150, 0, 10},
        {"empty file", Bytes{}, LXRIFF_E_NOTRIFF, 0xFFFFFFFC, 0, 0},
        {"three bytes", Bytes{'R', 'I', 'F'}, LXRIFF_E_NOTRIFF, 0xFFFFFFFC, 0, 3},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Load(r.bytes);
        DWORD size = 0xAAAA, form = 0;
        EXPECT_EQ(r.status, riff_ReadFileID(h(), &size, &form));
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.form, form);
        EXPECT_EQ(r.cursor, f.Pos());
    }
}

TEST_F(RiffFile, GetFileSizeIsFourShortOfTheLength) {
    Load(WaveLike());
    f.Seek(50);
    DWORD size = 0;
    EXPECT_EQ(LX_S_OK, riff_GetFileSize(h(), &size));
    EXPECT_EQ(kWaveLen - 4, size);  // header size 154 + 4, as callers expect
    EXPECT_EQ(12u, f.Pos());
}

TEST_F(RiffFile, SizePatchesKeepTheCursor) {
    Load(WaveLike());
    f.Seek(50);
    EXPECT_EQ(LX_S_OK, riff_SetRIFFSize(h(), 1000));
    EXPECT_EQ(50u, f.Pos());
    EXPECT_EQ(1000u, WordAt(f.Contents(), 4));
    EXPECT_EQ(LX_S_OK, riff_UpdateRIFFSize(h(), -10));
    EXPECT_EQ(990u, WordAt(f.Contents(), 4));
    EXPECT_EQ(50u, f.Pos());
    ASSERT_EQ(LX_S_OK, riff_SetRIFFSize(h(), 0xFFFFFFFF));
    EXPECT_EQ(LX_S_OK, riff_UpdateRIFFSize(h(), 1));  // wraps as a 32-bit word
    EXPECT_EQ(0u, WordAt(f.Contents(), 4));
}

TEST_F(RiffFile, SizePatchesRestoreTheCursorOnFailure) {
    Load(WaveLike());
    f.Reopen(GENERIC_READ);
    ASSERT_NE(INVALID_HANDLE_VALUE, h());
    f.Seek(50);
    EXPECT_EQ(LX_E_WRITE, riff_SetRIFFSize(h(), 7));
    EXPECT_EQ(50u, f.Pos());
    EXPECT_EQ(LX_E_WRITE, riff_UpdateRIFFSize(h(), 7));
    EXPECT_EQ(50u, f.Pos());
    f.Reopen(GENERIC_WRITE);
    f.Seek(50);
    EXPECT_EQ(LX_E_READ, riff_UpdateRIFFSize(h(), 7));
    EXPECT_EQ(50u, f.Pos());
}

TEST_F(RiffFile, WritersOnAReadOnlyHandleFail) {
    Load(WaveLike());
    f.Reopen(GENERIC_READ);
    DWORD w = 0;
    const struct {
        const char *name;
        std::function<HRESULT()> call;
    } rows[] = {
        {"WriteChunkHeader", [&] { return riff_WriteChunkHeader(h(), Id("abcd"), 2); }},
        {"WriteChunk", [&] { return riff_WriteChunk(h(), Id("abcd"), "xy", 2, &w); }},
        {"WriteListHeader", [&] { return riff_WriteListHeader(h(), Id("abcd"), 4); }},
        {"WriteFileID", [&] { return riff_WriteFileID(h(), Id("abcd"), 4); }},
        {"WriteANSIString", [&] { return riff_WriteANSIString(h(), "abc", &w); }},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(LX_E_WRITE, r.call());
    }
    EXPECT_EQ(WaveLike(), f.Contents());
}

TEST_F(RiffFile, ReadersOnAWriteOnlyHandleFail) {
    Load(WaveLike());
    f.Reopen(GENERIC_WRITE);
    DWORD a = 0, b = 0;
    BYTE buf[16];
    LONG remaining = 100;
    const struct {
        const char *name;
        std::function<HRESULT()> call;
        HRESULT expect;
    } rows[] = {
        {"ReadChunkHeader", [&] { return riff_ReadChunkHeader(h(), &a, &b); }, LX_E_READ},
        {"ReadListHeader", [&] { return riff_ReadListHeader(h(), &a, &b); }, LX_E_READ},
        {"ReadData", [&] { return riff_ReadData(h(), buf, 4); }, LX_E_READ},
        {"ReadDataBounded", [&] { return riff_ReadDataBounded(h(), buf, 4, 16); }, LX_E_READ},
        {"FindChunkHeader", [&] { return riff_FindChunkHeader(h(), Id("fmt "), &a, &remaining); }, LX_E_READ},
        // The header read is not checked: a failed one looks like a wrong id.
        {"ReadFileID", [&] { return riff_ReadFileID(h(), &a, &b); }, LXRIFF_E_NOTRIFF},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Seek(12);
        EXPECT_EQ(r.expect, r.call());
    }
}

TEST_F(RiffFile, SkipChunkReturnsTheAmountAndMovesForward) {
    Load(WaveLike());
    const struct {
        DWORD size;
        DWORD amount;
        ULONGLONG moved;
    } rows[] = {{0, 0, 0}, {1, 2, 2}, {7, 8, 8}, {8, 8, 8}, {0x7FFFFFFF, 0x80000000, 0x80000000ULL},
                // The amount wraps; the step does not go backwards.
                {0xFFFFFFFF, 0, 0x100000000ULL}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.size);
        f.Seek(12);
        EXPECT_EQ(r.amount, riff_SkipChunk(h(), r.size));
        LONG high = 0;
        DWORD low = SetFilePointer(h(), 0, &high, FILE_CURRENT);
        EXPECT_EQ(12 + r.moved, ((ULONGLONG)(DWORD)high << 32) | low);
    }
}

TEST_F(RiffFile, LocationsAndDataStart) {
    Load(WaveLike());
    DWORD pos = 0;
    f.Seek(77);
    ASSERT_EQ(LX_S_OK, riff_SaveLocation(h(), &pos));
    EXPECT_EQ(77u, pos);
    EXPECT_EQ(LX_S_OK, riff_SeekDataStart(h()));
    EXPECT_EQ(12u, f.Pos());
    EXPECT_EQ(LX_S_OK, riff_RestoreLocation(h(), pos));
    EXPECT_EQ(77u, f.Pos());
    EXPECT_EQ(LX_E_POINTER, riff_SaveLocation(h(), nullptr));
}

TEST_F(RiffFile, ReadDataStepsOverThePad) {
    Load(WaveLike());
    char name[5];
    f.Seek(56);
    ASSERT_EQ(LX_S_OK, riff_ReadData(h(), name, 5));
    EXPECT_STREQ("Name", name);
    EXPECT_EQ(62u, f.Pos());
    // An odd chunk at the end without its pad: still a success.
    Load(Bytes{'a', 'b', 'c'});
    ASSERT_EQ(LX_S_OK, riff_ReadData(h(), name, 3));
    EXPECT_EQ(4u, f.Pos());
    f.Seek(1);
    EXPECT_EQ(LX_E_READ, riff_ReadData(h(), name, 3));
}

// Payload 1..9, its pad, then the next header at 10.
Bytes NinePayload() { return Image().Raw(Filled(9)).Raw(Bytes{0}).Tag("next").Word(0).Finish(); }

TEST_F(RiffFile, ReadDataBoundedTakesThePadFromTheBufferSize) {
    const struct {
        DWORD chunkSize, bufferSize, read, cursor;
    } rows[] = {
        {9, 16, 9, 9},  // even buffer: the odd chunk's pad is not stepped over
        {9, 9, 9, 10}, {9, 4, 4, 9}, {9, 5, 5, 10},
        {8, 3, 3, 9},  // odd buffer: one byte more though the chunk is even
        {0, 0, 0, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << "chunk " << r.chunkSize << " buffer " << r.bufferSize);
        Load(NinePayload());
        Bytes buf(20, 0xEE);
        ASSERT_EQ(LX_S_OK, riff_ReadDataBounded(h(), buf.data(), r.chunkSize, r.bufferSize));
        Bytes expect = Filled(r.read);
        expect.resize(20, 0xEE);
        EXPECT_EQ(expect, buf);
        EXPECT_EQ(r.cursor, f.Pos());
    }
    Load(Filled(3));
    BYTE buf[9];
    EXPECT_EQ(LX_E_READ, riff_ReadDataBounded(h(), buf, 9, 9));
    EXPECT_EQ(3u, f.Pos());  // no skip after a short read
}

TEST_F(RiffFile, ReadDataAllocGivesALockedBlockOrNothing) {
    Load(WaveLike());
    tLXRIFFDATA d = {0, (void *)1};
    f.Seek(88);
    EXPECT_EQ(LX_S_OK, riff_ReadDataAlloc(h(), &d));
    EXPECT_EQ(nullptr, d.data);  // size 0: no block
    EXPECT_EQ(88u, f.Pos());

    d.size = 7;
    ASSERT_EQ(LX_S_OK, riff_ReadDataAlloc(h(), &d));
    ASSERT_NE(nullptr, d.data);
    EXPECT_EQ(Filled(7), Bytes((BYTE *)d.data, (BYTE *)d.data + 7));
    HGLOBAL g = GlobalHandle(d.data);
    ASSERT_NE(nullptr, g);
    EXPECT_EQ(7u, GlobalSize(g));
    EXPECT_EQ(1u, GlobalFlags(g) & GMEM_LOCKCOUNT);
    EXPECT_EQ(96u, f.Pos());
    LxRiff_FreeData(&d);
    EXPECT_EQ(nullptr, d.data);

    f.Seek(150);
    d.size = 20;  // runs past the end
    EXPECT_EQ(LX_E_READ, riff_ReadDataAlloc(h(), &d));
    EXPECT_EQ(nullptr, d.data);
    d.size = 0xFFFFFFF0;
    EXPECT_EQ(LX_E_READ, riff_ReadDataAlloc(h(), &d));
    EXPECT_EQ(nullptr, d.data);
}

TEST_F(RiffFile, ReadListHeaderWantsList) {
    Load(WaveLike());
    DWORD type = 0, size = 0;
    f.Seek(36);
    ASSERT_EQ(LX_S_OK, riff_ReadListHeader(h(), &type, &size));
    EXPECT_EQ(Id("INFO"), type);
    EXPECT_EQ(24u, size);  // the list's size less its type
    EXPECT_EQ(48u, f.Pos());
    f.Seek(12);
    EXPECT_EQ(LXRIFF_E_NOTLIST, riff_ReadListHeader(h(), &type, &size));
    EXPECT_EQ(20u, f.Pos());
}

TEST_F(RiffFile, FindChunkHeaderCountsDownRemaining) {
    const struct {
        const char *name;
        DWORD start;
        const char *id;
        bool bounded;
        LONG remaining;
        HRESULT status;
        LONG remainingAfter;
        DWORD size, cursor;
    } rows[] = {
        {"first chunk", 12, "fmt ", true, 150, LX_S_OK, 142, 16, 20},
        {"exactly 8 still reads one header", 12, "fmt ", true, 8, LX_S_OK, 0, 16, 20},
        {"8 then the bound runs out", 12, "LIST", true, 8, LX_E_NOTFOUND, -16, 0, 36},
        {"7 reads nothing", 12, "fmt ", true, 7, LX_E_NOTFOUND, 7, 0, 12},
        {"zero-size chunk", 12, "zero", true, 150, LX_S_OK, 82, 0, 80},
        {"chunk after a zero-size one", 12, "data", true, 150, LX_S_OK, 74, 7, 88},
        {"absent, bound ends the walk", 12, "INAM", true, 150, LX_E_NOTFOUND, 0, 0, 162},
        {"absent, unbounded walks to a failed read", 12, "INAM", false, 0, LX_E_READ, 0, 0, 162},
        {"inside a list", 48, "ISFT", true, 24, LX_S_OK, 2, 2, 70},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Load(WaveLike());
        f.Seek(r.start);
        LONG remaining = r.remaining;
        DWORD size = 0;
        EXPECT_EQ(r.status, riff_FindChunkHeader(h(), Id(r.id), &size, r.bounded ? &remaining : nullptr));
        if (r.bounded) {
            EXPECT_EQ(r.remainingAfter, remaining);
        }
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.cursor, f.Pos());
    }
}

TEST_F(RiffFile, FindChunkHeaderInRiffBoundsByTheHeader) {
    Load(WaveLike());
    f.Seek(100);
    LONG remaining = 3;  // not a bound here
    DWORD size = 0;
    ASSERT_EQ(LX_S_OK, riff_FindChunkHeaderInRIFF(h(), Id("cue "), &size, &remaining));
    EXPECT_EQ(28u, size);
    EXPECT_EQ(58, remaining);
    EXPECT_EQ(104u, f.Pos());
    remaining = 3;
    EXPECT_EQ(LX_E_NOTFOUND, riff_FindChunkHeaderInRIFF(h(), Id("none"), &size, &remaining));
    EXPECT_EQ(0, remaining);  // stored on failure too
    EXPECT_EQ(LX_S_OK, riff_FindChunkHeaderInRIFF(h(), Id("fmt "), nullptr, nullptr));
    EXPECT_EQ(20u, f.Pos());
    Load(Bytes{'R', 'I', 'F', 'X', 4, 0, 0, 0, 'W', 'A', 'V', 'E'});
    EXPECT_EQ(LXRIFF_E_NOTRIFF, riff_FindChunkHeaderInRIFF(h(), Id("fmt "), &size, nullptr));
}

TEST_F(RiffFile, FindListChunkChargesFourBytesTooManyPerListPassed) {
    Load(WaveLike());
    f.Seek(12);
    LONG remaining = 150;
    DWORD size = 0;
    ASSERT_EQ(LX_S_OK, riff_FindListChunk(h(), Id("adtl"), &size, &remaining));
    EXPECT_EQ(18u, size);
    EXPECT_EQ(144u, f.Pos());  // on the first sub-chunk
    EXPECT_EQ(kWaveLen - 144 - 4, (DWORD)remaining);  // INFO passed: 4 short

    f.Seek(12);
    remaining = 150;
    ASSERT_EQ(LX_S_OK, riff_FindListChunk(h(), Id("INFO"), &size, &remaining));
    EXPECT_EQ(24u, size);
    EXPECT_EQ(114, remaining);  // exact when nothing was passed
    EXPECT_EQ(48u, f.Pos());

    EXPECT_EQ(LX_S_OK, riff_FindListChunkFromStart(h(), Id("adtl"), &size));
    EXPECT_EQ(144u, f.Pos());
    EXPECT_EQ(LX_E_NOTFOUND, riff_FindListChunkFromStart(h(), Id("none"), &size));
}

// Three empty lists ahead of the one sought, whose sub-chunk has payload n.
Bytes FourLists(DWORD n) {
    return Image()
        .Riff("TEST")
        .List("one ").Close()
        .List("two ").Close()
        .List("thre").Close()
        .List("want").Chunk("item", Filled(n)).Close()
        .Finish();
}

TEST_F(RiffFile, ListAfterThreeOthersIsMissedInTheLastTwelveBytes) {
    const struct {
        DWORD payload;
        HRESULT status;
    } rows[] = {{0, LX_E_NOTFOUND}, {2, LX_E_NOTFOUND}, {4, LX_S_OK}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.payload);
        Load(FourLists(r.payload));
        DWORD size = 0;
        EXPECT_EQ(r.status, riff_FindListChunkFromStart(h(), Id("want"), &size));
        if (r.status == LX_S_OK) {
            EXPECT_EQ(8 + r.payload, size);
        }
    }
}

TEST_F(RiffFile, GetNumListEntriesRestoresTheCursor) {
    Load(WaveLike());
    const struct {
        const char *name;
        bool bounded;
        LONG remaining;
        HRESULT status;
        DWORD count;
        LONG remainingAfter;
    } rows[] = {
        {"the INFO list", true, 24, LX_S_OK, 2, 0},
        {"bound of 8: one header read, then negative", true, 8, LX_S_OK, 1, -6},
        {"bound below 8", true, 7, LX_S_OK, 0, 7},
        // Unbounded: counts to the end, and the failed read is the answer.
        {"unbounded", false, 0, LX_E_READ, 6, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Seek(48);
        LONG remaining = r.remaining;
        DWORD count = 99;
        EXPECT_EQ(r.status, riff_GetNumListEntries(h(), &count, r.bounded ? &remaining : nullptr));
        EXPECT_EQ(r.count, count);
        if (r.bounded) {
            EXPECT_EQ(r.remainingAfter, remaining);
        }
        EXPECT_EQ(48u, f.Pos());
    }
}

TEST_F(RiffFile, SeekListEntryLeavesTheCursorOnTheEntry) {
    Load(WaveLike());
    const struct {
        DWORD index;
        HRESULT status;
        DWORD cursor;
        LONG remainingAfter;
    } rows[] = {{0, LX_S_OK, 48, 24}, {1, LX_S_OK, 62, 10}, {2, LX_S_OK, 72, 0}, {3, LX_E_NOTFOUND, 72, 0}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.index);
        f.Seek(48);
        LONG remaining = 24;
        EXPECT_EQ(r.status, riff_SeekListEntry(h(), r.index, &remaining));
        EXPECT_EQ(r.cursor, f.Pos());
        EXPECT_EQ(r.remainingAfter, remaining);
    }
    f.Seek(48);
    EXPECT_EQ(LX_E_READ, riff_SeekListEntry(h(), 0xFFFFFFFF, nullptr));
}

TEST_F(RiffFile, DeleteChunkMovesTheRestDown) {
    Bytes twoDups = Image().Riff("TEST").Chunk("dup ", Filled(3)).Chunk("keep", Filled(2)).Chunk("dup ", Filled(4)).Finish();
    // The expected file: the bytes before with [at, at + deleted) taken out
    // and the RIFF size given.
    const struct {
        const char *name;
        Bytes before;
        const char *id;
        BOOL list;
        DWORD deleted, at, riffSize;
    } rows[] = {
        {"odd chunk in the middle", WaveLike(), "data", FALSE, 16, 80, 138},
        {"a list", WaveLike(), "INFO", TRUE, 36, 36, 118},
        {"the last list: the file is cut", WaveLike(), "adtl", TRUE, 30, 132, 124},
        {"only the first match", twoDups, "dup ", FALSE, 12, 12, 26},
        {"several rounds", Image().Riff("TEST").Chunk("big ", Filled(5000)).Chunk("more", Filled(9000, 7)).Finish(),
         "big ", FALSE, 5008, 12, 9012},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Load(r.before);
        DWORD deleted = 99;
        ASSERT_EQ(LX_S_OK, riff_DeleteChunk(h(), Id(r.id), &deleted, r.list));
        EXPECT_EQ(r.deleted, deleted);
        Bytes want = r.before;
        want.erase(want.begin() + r.at, want.begin() + r.at + r.deleted);
        PutWordAt(want, 4, r.riffSize);
        Bytes now = f.Contents();
        EXPECT_EQ(want, now);
        EXPECT_EQ(now.size(), f.Pos());  // the cursor ends at the end
    }
}

TEST_F(RiffFile, DeleteChunkThatIsMissingChangesNothing) {
    Load(WaveLike());
    DWORD deleted = 99;
    EXPECT_EQ(LX_E_NOTFOUND, riff_DeleteChunk(h(), Id("none"), &deleted, FALSE));
    EXPECT_EQ(0u, deleted);
    EXPECT_EQ(LX_E_NOTFOUND, riff_DeleteChunk(h(), Id("data"), &deleted, TRUE));  // not a list type
    EXPECT_EQ(WaveLike(), f.Contents());
}

TEST_F(RiffFile, AnsiStringWritesItsTerminatorAndPad) {
    const struct {
        const char *text;
        DWORD written;
        Bytes bytes;
    } rows[] = {
        {"", 2, Bytes{0, 0}},
        {"a", 2, Bytes{'a', 0}},
        {"ab", 4, Bytes{'a', 'b', 0, 0}},
        {"abc", 4, Bytes{'a', 'b', 'c', 0}},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.text);
        Load(Bytes{});
        DWORD written = 0;
        ASSERT_EQ(LX_S_OK, riff_WriteANSIString(h(), r.text, &written));
        EXPECT_EQ(r.written, written);
        EXPECT_EQ(r.bytes, f.Contents());
    }
}

TEST_F(RiffFile, ReadAnsiStringAddsOneToTheChunkSizeAlways) {
    const struct {
        const char *name;
        Bytes payload;  // followed by "next"
        DWORD chunkSize, bufferSize;
        const char *text;
        DWORD cursor;
    } rows[] = {
        {"odd chunk", Bytes{'N', 'a', 'm', 'e', 0, 0}, 5, 260, "Name", 6},
        {"even chunk: the increment all the same", Bytes{'a', 'b', 0, 0}, 4, 260, "ab", 4},
        {"buffer shorter than the text", Bytes{'N', 'a', 'm', 'e', 0, 0}, 5, 3, "Na", 6},
        {"no terminator in the chunk", Bytes{'a', 'b', 'c', 'd'}, 4, 260, "abc", 4},
        {"empty chunk", Bytes{}, 0, 260, "", 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Load(Image().Raw(r.payload).Tag("next").Finish());
        char buf[260];
        memset(buf, 'Z', sizeof buf);
        DWORD chunkSize = r.chunkSize;
        ASSERT_EQ(LX_S_OK, riff_ReadANSIString(h(), buf, r.bufferSize, &chunkSize));
        EXPECT_STREQ(r.text, buf);
        EXPECT_EQ(r.chunkSize + 1, chunkSize);
        EXPECT_EQ(r.cursor, f.Pos());
    }
    Load(Bytes{'a', 'b'});
    char buf[8];
    DWORD chunkSize = 6;
    EXPECT_EQ(LX_E_READ, riff_ReadANSIString(h(), buf, sizeof buf, &chunkSize));
    EXPECT_EQ(6u, chunkSize);
}

TEST_F(RiffFile, NullArgumentsGetPointerStatus) {
    Load(WaveLike());
    DWORD a = 0;
    EXPECT_EQ(LX_E_POINTER, riff_ReadChunkHeader(h(), nullptr, &a));
    EXPECT_EQ(LX_E_POINTER, riff_ReadListHeader(h(), &a, nullptr));
    EXPECT_EQ(LX_E_POINTER, riff_ReadData(h(), nullptr, 4));
    EXPECT_EQ(LX_E_POINTER, riff_ReadDataAlloc(h(), nullptr));
    EXPECT_EQ(LX_E_POINTER, riff_WriteChunk(h(), Id("abcd"), nullptr, 4, &a));
    EXPECT_EQ(LX_E_POINTER, riff_WriteANSIString(h(), nullptr, &a));
    EXPECT_EQ(LX_E_POINTER, riff_ReadANSIString(h(), nullptr, 4, &a));
    EXPECT_EQ(LX_E_POINTER, riff_GetNumListEntries(h(), nullptr, nullptr));
    EXPECT_EQ(LX_E_POINTER, riff_GetFileSize(h(), nullptr));
    EXPECT_EQ(0u, f.Pos());
    EXPECT_EQ(WaveLike(), f.Contents());
}

}  // namespace
