// The chunk layer: calls whose bytes do not depend on the layout over all
// three families, the 4-byte-id walks over the file and memory families on
// the same bytes (their meant differences side by side), then what only the
// file family has: writers, size patches, deletion, strings, failing handles.
#include "riffimage.h"

#include <functional>
#include <tuple>

using namespace rifftest;
using std::make_tuple;

namespace {

TEST(ChunkLayers, LocationsDataStartAndSkips) {
    const ULONGLONG dataStart[] = {12, 12, 40}, beyond[] = {0xFFFFFFFF, 100, 0xFFFFFFFF};
    // From 12 in 100 bytes: the amount returned and where the cursor lands.
    const struct { DWORD size; ULONGLONG amount[3], pos[3]; } skips[] = {
        {0, {0, 0, 0}, {12, 12, 12}}, {1, {2, 2, 8}, {14, 14, 20}}, {9, {10, 10, 16}, {22, 22, 28}},
        {0x7FFFFFFF, {0x80000000, 0x80000000, 0x80000000}, {0x8000000C, 100, 0x8000000C}},
        // The 32-bit amount wraps; the step never goes backwards.
        {0xFFFFFFFF, {0, 0, 0x100000000}, {0x10000000C, 100, 0x10000000C}}};
    for (auto &l : Layers()) {
        SCOPED_TRACE(l->Name());
        l->Load(Filled(100));
        l->Seek(77);
        DWORD pos = 0;
        ASSERT_EQ(LX_S_OK, l->Save(&pos));
        EXPECT_EQ(77u, pos);
        EXPECT_EQ(LX_S_OK, l->DataStart());
        EXPECT_EQ(dataStart[l->family], l->Pos());
        EXPECT_EQ(LX_S_OK, l->Restore(0xFFFFFFFF));  // the memory cursor stops at the data's end
        EXPECT_EQ(beyond[l->family], l->Pos());
        EXPECT_EQ(LX_E_POINTER, l->Save(nullptr));
        for (const auto &r : skips) {
            EXPECT_EQ(LX_S_OK, l->Restore(12));
            const ULONGLONG amount = l->Skip(r.size);
            EXPECT_EQ(make_tuple(r.amount[l->family], r.pos[l->family]), make_tuple(amount, l->Pos())) << r.size;
        }
    }
}

TEST(ChunkLayers, ReadDataStepsOverThePad) {
    const struct { DWORD at, count; HRESULT status; ULONGLONG pos[3]; } rows[] = {
        {0, 0, LX_S_OK, {0, 0, 0}},    {0, 1, LX_S_OK, {2, 2, 8}},      {0, 8, LX_S_OK, {8, 8, 8}},
        {0, 9, LX_S_OK, {10, 10, 16}}, {0, 42, LX_S_OK, {42, 42, 48}},
        {61, 3, LX_S_OK, {65, 64, 69}},  // an odd last chunk without its pad is no error
        {62, 3, LX_E_READ, {64, 64, 64}}};
    for (auto &l : Layers()) {
        l->Load(Filled(64));
        for (const auto &r : rows) {
            SCOPED_TRACE(testing::Message() << l->Name() << " " << r.count << " at " << r.at);
            l->Seek(r.at);
            BYTE buf[64] = {0};
            const HRESULT hr = l->Read(buf, r.count);
            EXPECT_EQ(make_tuple(r.status, r.pos[l->family]), make_tuple(hr, l->Pos()));
            if (hr == LX_S_OK) {
                EXPECT_EQ(Filled(r.count, (BYTE)(r.at + 1)), Bytes(buf, buf + r.count));
            }
        }
    }
}

// Reads the smaller size, then skips the rest of the chunk and a pad: in the
// file families the pad comes from the buffer's size (modulo 2, modulo 8),
// in memory from the chunk's.
TEST(ChunkLayers, BoundedReadTakesItsPadWhereEachFamilySays) {
    const struct { DWORD chunk, buffer, read; ULONGLONG pos[3]; } rows[] = {
        {9, 16, 9, {9, 10, 9}},     {9, 9, 9, {10, 10, 10}},    {9, 4, 4, {9, 10, 13}},
        {9, 5, 5, {10, 10, 14}},    {8, 3, 3, {9, 8, 11}},      {30, 18, 18, {30, 30, 32}},
        {10, 13, 10, {11, 10, 15}}, {10, 64, 10, {10, 10, 10}}, {0, 0, 0, {0, 0, 0}}};
    for (auto &l : Layers()) {
        for (const auto &r : rows) {
            SCOPED_TRACE(testing::Message() << l->Name() << " chunk " << r.chunk << " buffer " << r.buffer);
            l->Load(Filled(40));
            Bytes buf(64, 0xEE), expect = Filled(r.read);
            expect.resize(64, 0xEE);
            ASSERT_EQ(LX_S_OK, l->Bounded(buf.data(), r.chunk, r.buffer));
            EXPECT_EQ(make_tuple(expect, r.pos[l->family]), make_tuple(buf, l->Pos()));
        }
        l->Load(Filled(3));
        BYTE buf[9];
        EXPECT_EQ(LX_E_READ, l->Bounded(buf, 9, 9));
        EXPECT_EQ(3u, l->Pos());  // no skip after a short read
    }
}

TEST(ChunkLayers, ReadDataAllocGivesALockedBlockOrNothing) {
    const ULONGLONG after[] = {24, 24, 26};
    for (auto &l : Layers()) {
        SCOPED_TRACE(l->Name());
        l->Load(Filled(40));
        l->Seek(10);
        tLXRIFFDATA d = {0, (void *)1};
        EXPECT_EQ(make_tuple(LX_S_OK, (void *)nullptr, 10ull), make_tuple(l->Alloc(&d), d.data, l->Pos()));
        d.size = 13;
        ASSERT_EQ(LX_S_OK, l->Alloc(&d));
        ASSERT_NE(nullptr, d.data);
        EXPECT_EQ(Filled(13, 11), Bytes((BYTE *)d.data, (BYTE *)d.data + 13));
        HGLOBAL g = GlobalHandle(d.data);
        EXPECT_EQ(make_tuple((SIZE_T)13, 1u), make_tuple(GlobalSize(g), GlobalFlags(g) & GMEM_LOCKCOUNT));
        EXPECT_EQ(after[l->family], l->Pos());
        LxRiff_FreeData(&d);
        EXPECT_EQ(nullptr, d.data);
        l->Seek(30);
        for (DWORD size : {11u, 0xFFFFFFF0u}) {  // past the end: refused before allocating
            d = {size, (void *)1};
            EXPECT_EQ(make_tuple(LX_E_READ, (void *)nullptr), make_tuple(l->Alloc(&d), d.data));
        }
        EXPECT_EQ(LX_E_POINTER, l->Alloc(nullptr));
        EXPECT_EQ(LX_E_POINTER, l->Read(nullptr, 4));
        EXPECT_EQ(LX_E_POINTER, l->Bounded(nullptr, 4, 4));
        EXPECT_EQ(30u, l->Pos());
    }
}

TEST(ChunkLayers32, HeadersStoreTheSizeBeforeCheckingTheId) {
    const Bytes wave = WaveLike();
    Bytes riffx = wave;
    riffx[3] = 'X';
    const struct { const char *name; Bytes bytes; HRESULT status; DWORD size, form; ULONGLONG cursor; } rows[] = {
        {"valid", wave, LX_S_OK, 150, Id("WAVE"), 12},
        {"RIFX", riffx, LXRIFF_E_NOTRIFF, 150, 0, 8},
        {"form cut short", Bytes(wave.begin(), wave.begin() + 10), LX_E_READ, 150, 0, 10},
        {"empty", Bytes{}, LXRIFF_E_NOTRIFF, 0xFFFFFFFC, 0, 0},
        {"three bytes", Bytes{'R', 'I', 'F'}, LXRIFF_E_NOTRIFF, 0xFFFFFFFC, 0, 3}};
    for (auto &l : Layers(2)) {
        for (const auto &r : rows) {
            l->Load(r.bytes);
            DWORD size = 0xAAAA, form = 0;
            const HRESULT hr = l->FileID(&size, &form);
            EXPECT_EQ(make_tuple(r.status, r.size, r.form, r.cursor), make_tuple(hr, size, form, l->Pos()))
                << l->Name() << " " << r.name;
        }
        SCOPED_TRACE(l->Name());
        l->Load(wave);
        DWORD type = 0, size = 0;
        l->Seek(36);
        ASSERT_EQ(LX_S_OK, l->ListHeader(&type, &size));
        EXPECT_EQ(make_tuple(Id("INFO"), 24u, 48ull), make_tuple(type, size, l->Pos()));  // size less the type
        l->Seek(12);
        EXPECT_EQ(LXRIFF_E_NOTLIST, l->ListHeader(&type, &size));
        EXPECT_EQ(20u, l->Pos());
        EXPECT_EQ(LX_E_POINTER, l->ChunkHeader(nullptr, &size));
        EXPECT_EQ(LX_E_POINTER, l->ListHeader(&type, nullptr));
        EXPECT_EQ(LX_E_POINTER, l->Count(nullptr, nullptr));
    }
}

// The bound test is signed in the file family, unsigned in memory: there a
// count driven negative lets the walk go on until the block runs out.
TEST(ChunkLayers32, FindChunkHeaderCountsDownRemaining) {
    const int kBoth = 3, kFileOnly = 1, kMemoryOnly = 2, kUnbounded = -99;
    // From start, with remaining given: the status, what is left, the size and the cursor.
    const struct { const char *name; int families; DWORD start; const char *id; LONG remaining; HRESULT status;
                   LONG left; DWORD size; ULONGLONG cursor; } rows[] = {
        {"first chunk", kBoth, 12, "fmt ", 150, LX_S_OK, 142, 16, 20},
        {"exactly 8 still reads one header", kBoth, 12, "fmt ", 8, LX_S_OK, 0, 16, 20},
        {"7 reads nothing", kBoth, 12, "fmt ", 7, LX_E_NOTFOUND, 7, 0, 12},
        {"8, then the bound runs out", kFileOnly, 12, "LIST", 8, LX_E_NOTFOUND, -16, 0, 36},
        {"8, then the walk goes on", kMemoryOnly, 12, "LIST", 8, LX_S_OK, -24, 28, 44},
        {"8, on to a failed read", kMemoryOnly, 12, "none", 8, LX_E_READ, 8, 0, 162},
        {"zero-size chunk", kBoth, 12, "zero", 150, LX_S_OK, 82, 0, 80},
        {"chunk after a zero-size one", kBoth, 12, "data", 150, LX_S_OK, 74, 7, 88},
        {"absent, the bound ends the walk", kBoth, 12, "INAM", 150, LX_E_NOTFOUND, 0, 0, 162},
        {"absent, unbounded", kBoth, 12, "INAM", kUnbounded, LX_E_READ, kUnbounded, 0, 162},
        {"inside a list", kBoth, 48, "ISFT", 24, LX_S_OK, 2, 2, 70},
    };
    for (auto &l : Layers(2)) {
        l->Load(WaveLike());
        for (const auto &r : rows) {
            if (!(r.families & (1 << l->family))) continue;
            l->Seek(r.start);
            LONG left = r.remaining;
            DWORD size = 0;
            const HRESULT hr = l->Find(Id(r.id), &size, r.remaining == kUnbounded ? nullptr : &left);
            EXPECT_EQ(make_tuple(r.status, r.left, r.size, r.cursor), make_tuple(hr, left, size, l->Pos()))
                << l->Name() << " " << r.name;
        }
    }
}

// The file form seeks to the header and is bounded by its size, storing the
// count left on failure too; the memory form starts where it stands and is
// bounded by the caller, who counts the file header.
TEST(ChunkLayers32, FindInRiffLandsAlikeFromEitherStart) {
    const struct { const char *id; HRESULT status; DWORD size; LONG left; ULONGLONG payload; } rows[] = {
        {"fmt ", LX_S_OK, 16, 142, 20}, {"zero", LX_S_OK, 0, 82, 80}, {"cue ", LX_S_OK, 28, 58, 104},
        {"INAM", LX_E_NOTFOUND, 0, 0, 162}};
    Layer file(kFile), m(kMemory);
    file.Load(WaveLike());
    m.Load(WaveLike());
    for (const auto &r : rows) {
        DWORD size = 0;
        LONG left = 3;  // not a bound for the file form
        file.Seek(100);
        HRESULT hr = riff_FindChunkHeaderInRIFF(file.h(), Id(r.id), &size, &left);
        EXPECT_EQ(make_tuple(r.status, r.size, r.left, r.payload), make_tuple(hr, size, left, file.Pos())) << r.id;
        m.Seek(0);
        size = 0;
        left = 162;
        hr = mriff_FindChunkHeaderInRIFF(&m.s, Id(r.id), &size, &left);
        EXPECT_EQ(make_tuple(r.status, r.size, r.left, r.payload), make_tuple(hr, size, left, m.Pos())) << r.id;
    }
    DWORD size = 0;
    LONG left = 11;  // below the file header
    m.Seek(0);
    EXPECT_EQ(LX_E_NOTFOUND, mriff_FindChunkHeaderInRIFF(&m.s, Id("fmt "), &size, &left));
    EXPECT_EQ(make_tuple(0ull, 11), make_tuple(m.Pos(), left));
    left = 12 + 8;  // the header and exactly one chunk header
    EXPECT_EQ(LX_S_OK, mriff_FindChunkHeaderInRIFF(&m.s, Id("fmt "), &size, &left));
    EXPECT_EQ(0, left);
    left = 162;  // not on the file header: no seek to it
    EXPECT_EQ(LXRIFF_E_NOTRIFF, mriff_FindChunkHeaderInRIFF(&m.s, Id("fmt "), &size, &left));
    file.Load(Bytes{'R', 'I', 'F', 'X', 4, 0, 0, 0, 'W', 'A', 'V', 'E'});
    EXPECT_EQ(LXRIFF_E_NOTRIFF, riff_FindChunkHeaderInRIFF(file.h(), Id("fmt "), nullptr, nullptr));
}

// Each list passed over costs four bytes of remaining too many, so a search
// past three others misses a list in the last twelve bytes of its bound.
TEST(ChunkLayers32, ListSearchChargesFourBytesTooManyPerListPassed) {
    for (auto &l : Layers(2)) {
        SCOPED_TRACE(l->Name());
        l->Load(WaveLike());
        // adtl: 18 left exactly, less four for INFO passed.
        const struct { const char *type; DWORD size; LONG left; ULONGLONG cursor; } rows[] = {
            {"adtl", 18, 14, 144}, {"INFO", 24, 114, 48}};
        for (const auto &r : rows) {
            l->Seek(12);
            LONG left = 150;
            DWORD size = 0;
            const HRESULT hr = l->FindList(Id(r.type), &size, &left);
            EXPECT_EQ(make_tuple(LX_S_OK, r.size, r.left, r.cursor), make_tuple(hr, size, left, l->Pos()));
        }
        DWORD size = 0;
        EXPECT_EQ(LX_S_OK, l->FindListFromStart(Id("adtl"), &size));
        EXPECT_EQ(144u, l->Pos());
        // The overcharge drives the count negative: memory reads that as large.
        EXPECT_EQ(l->Memory() ? LX_E_READ : LX_E_NOTFOUND, l->FindListFromStart(Id("none"), &size));
        for (DWORD payload : {0, 2, 4}) {  // of the last list's sub-chunk
            l->Load(Image().Riff("TEST").List("one ").Close().List("two ").Close().List("thre").Close()
                        .List("want").Chunk("item", Filled(payload)).Close().Finish());
            size = 0;
            const HRESULT hr = l->FindListFromStart(Id("want"), &size);
            EXPECT_EQ(payload == 4 ? make_tuple(LX_S_OK, 12u) : make_tuple(LX_E_NOTFOUND, 0u), make_tuple(hr, size))
                << payload;
        }
    }
}

TEST(ChunkLayers32, EntryCountRestoresTheCursor) {
    const LONG kUnbounded = -99;
    const struct { const char *name; LONG remaining; std::tuple<HRESULT, DWORD, LONG> want[2]; } rows[] = {
        {"the INFO list", 24, {make_tuple(LX_S_OK, 2, 0), make_tuple(LX_S_OK, 2, 0)}},
        // One header read; then the file family stops on the negative count,
        // the memory family reads it as large and walks to the end.
        {"bound of 8", 8, {make_tuple(LX_S_OK, 1, -6), make_tuple(LX_E_READ, 6, -114)}},
        {"bound below 8", 7, {make_tuple(LX_S_OK, 0, 7), make_tuple(LX_S_OK, 0, 7)}},
        {"unbounded: the failed read is the answer", kUnbounded,
         {make_tuple(LX_E_READ, 6, kUnbounded), make_tuple(LX_E_READ, 6, kUnbounded)}}};
    for (auto &l : Layers(2)) {
        l->Load(WaveLike());
        for (const auto &r : rows) {
            l->Seek(48);
            LONG left = r.remaining;
            DWORD count = 99;
            const HRESULT hr = l->Count(&count, r.remaining == kUnbounded ? nullptr : &left);
            EXPECT_EQ(r.want[l->family], make_tuple(hr, count, left)) << l->Name() << " " << r.name;
            EXPECT_EQ(48u, l->Pos());
        }
    }
}

class RiffFile : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(INVALID_HANDLE_VALUE, f.h()); }
    HANDLE h() const { return f.h(); }
    TempFile f;
};

// Each write reports its bytes with the pad; the RIFF size is their sum.
TEST_F(RiffFile, WritersLayDownTheHandBuiltImage) {
    // A list header ahead of the chunk when list is set, with its size.
    const struct { const char *list; DWORD listSize; const char *id; Bytes payload; DWORD written; } chunks[] = {
        {nullptr, 0, "fmt ", Bytes{1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0}, 24},
        {"INFO", 28, "INAM", Text("Name"), 14},     {nullptr, 0, "ISFT", Text("x"), 10},
        {nullptr, 0, "zero", Bytes{}, 8},           {nullptr, 0, "data", Filled(7), 16},
        {nullptr, 0, "cue ", Filled(28, 0x40), 36}, {"adtl", 22, "labl", Filled(9, 0x60), 18}};
    DWORD sum = 4;
    ASSERT_EQ(LX_S_OK, riff_WriteFileID(h(), Id("WAVE"), 4));
    for (const auto &c : chunks) {
        ASSERT_EQ(LX_S_OK, c.list ? riff_WriteListHeader(h(), Id(c.list), c.listSize) : LX_S_OK);
        DWORD w = 0;
        const void *data = c.payload.empty() ? nullptr : c.payload.data();
        ASSERT_EQ(LX_S_OK, riff_WriteChunk(h(), Id(c.id), data, (DWORD)c.payload.size(), &w));
        EXPECT_EQ(c.written, w) << c.id;
        sum += w + (c.list ? 12 : 0);
    }
    ASSERT_EQ(LX_S_OK, riff_SetRIFFSize(h(), sum));
    EXPECT_EQ(162u, f.Pos());
    EXPECT_EQ(WaveLike(), f.Contents());
    EXPECT_EQ(LX_E_POINTER, riff_WriteChunk(h(), Id("abcd"), nullptr, 4, &sum));
    const std::pair<LONG, HRESULT> sizes[] = {{-1, LXRIFF_E_NEGSIZE}, {LONG_MIN, LXRIFF_E_NEGSIZE},
                                              {0, LXRIFF_E_ZEROSIZE}, {1, LX_S_OK}, {LONG_MAX, LX_S_OK}};
    for (const auto &r : sizes) {  // the sign only; neither handle nor id is looked at
        EXPECT_EQ(r.second, riff_ValidateChunkHeader(h(), 0, r.first)) << r.first;
        EXPECT_EQ(r.second, riff_ValidateChunkHeader(nullptr, Id("junk"), r.first)) << r.first;
    }
}

TEST_F(RiffFile, SizePatchesKeepTheCursorAndFileSizeIsFourShort) {
    f.Reset(WaveLike());
    f.Seek(50);
    DWORD size = 0;
    EXPECT_EQ(LX_S_OK, riff_GetFileSize(h(), &size));
    EXPECT_EQ(make_tuple(158u, 12u), make_tuple(size, f.Pos()));  // the header's 154 + 4
    EXPECT_EQ(LX_E_POINTER, riff_GetFileSize(h(), nullptr));
    f.Seek(50);
    EXPECT_EQ(LX_S_OK, riff_SetRIFFSize(h(), 1000));
    EXPECT_EQ(LX_S_OK, riff_UpdateRIFFSize(h(), -10));
    EXPECT_EQ(make_tuple(990u, 50u), make_tuple(WordAt(f.Contents(), 4), f.Pos()));
    ASSERT_EQ(LX_S_OK, riff_SetRIFFSize(h(), 0xFFFFFFFF));
    EXPECT_EQ(LX_S_OK, riff_UpdateRIFFSize(h(), 1));  // wraps as a 32-bit word
    EXPECT_EQ(0u, WordAt(f.Contents(), 4));
}

// Failing size patches put the cursor back too.
TEST_F(RiffFile, CallsOnAHandleWithoutTheRightAccessFail) {
    f.Reset(WaveLike());
    DWORD a = 0, b = 0;
    BYTE buf[16];
    LONG left = 100;
    const DWORD kR = GENERIC_READ, kW = GENERIC_WRITE;
    const struct { const char *name; DWORD access; std::function<HRESULT()> call; HRESULT expect; } rows[] = {
        {"SetRIFFSize", kR, [&] { return riff_SetRIFFSize(h(), 7); }, LX_E_WRITE},
        {"UpdateRIFFSize", kR, [&] { return riff_UpdateRIFFSize(h(), 7); }, LX_E_WRITE},
        {"UpdateRIFFSize", kW, [&] { return riff_UpdateRIFFSize(h(), 7); }, LX_E_READ},
        {"WriteChunkHeader", kR, [&] { return riff_WriteChunkHeader(h(), Id("abcd"), 2); }, LX_E_WRITE},
        {"WriteChunk", kR, [&] { return riff_WriteChunk(h(), Id("abcd"), "xy", 2, &a); }, LX_E_WRITE},
        {"WriteListHeader", kR, [&] { return riff_WriteListHeader(h(), Id("abcd"), 4); }, LX_E_WRITE},
        {"WriteFileID", kR, [&] { return riff_WriteFileID(h(), Id("abcd"), 4); }, LX_E_WRITE},
        {"WriteANSIString", kR, [&] { return riff_WriteANSIString(h(), "abc", &a); }, LX_E_WRITE},
        {"ReadChunkHeader", kW, [&] { return riff_ReadChunkHeader(h(), &a, &b); }, LX_E_READ},
        {"ReadListHeader", kW, [&] { return riff_ReadListHeader(h(), &a, &b); }, LX_E_READ},
        {"ReadData", kW, [&] { return riff_ReadData(h(), buf, 4); }, LX_E_READ},
        {"ReadDataBounded", kW, [&] { return riff_ReadDataBounded(h(), buf, 4, 16); }, LX_E_READ},
        {"FindChunkHeader", kW, [&] { return riff_FindChunkHeader(h(), Id("fmt "), &a, &left); }, LX_E_READ},
        // The header read is not checked: a failed one looks like a wrong id.
        {"ReadFileID", kW, [&] { return riff_ReadFileID(h(), &a, &b); }, LXRIFF_E_NOTRIFF}};
    for (const auto &r : rows) {
        f.Reopen(r.access);
        f.Seek(12);
        EXPECT_EQ(r.expect, r.call()) << r.name;
        if (strstr(r.name, "RIFFSize")) {
            EXPECT_EQ(12u, f.Pos()) << r.name;
        }
    }
    f.Reopen(kR);
    EXPECT_EQ(WaveLike(), f.Contents());
}

TEST_F(RiffFile, SeekListEntryLeavesTheCursorOnTheEntry) {
    f.Reset(WaveLike());
    const struct { DWORD index; HRESULT status; DWORD cursor; LONG left; } rows[] = {
        {0, LX_S_OK, 48, 24}, {1, LX_S_OK, 62, 10}, {2, LX_S_OK, 72, 0}, {3, LX_E_NOTFOUND, 72, 0}};
    for (const auto &r : rows) {
        f.Seek(48);
        LONG left = 24;
        const HRESULT hr = riff_SeekListEntry(h(), r.index, &left);
        EXPECT_EQ(make_tuple(r.status, r.cursor, r.left), make_tuple(hr, f.Pos(), left)) << r.index;
    }
    f.Seek(48);
    EXPECT_EQ(LX_E_READ, riff_SeekListEntry(h(), 0xFFFFFFFF, nullptr));
}

TEST_F(RiffFile, DeleteChunkMovesTheRestDown) {
    const Bytes dups =
        Image().Riff("TEST").Chunk("dup ", Filled(3)).Chunk("keep", Filled(2)).Chunk("dup ", Filled(4)).Finish();
    const Bytes big = Image().Riff("TEST").Chunk("big ", Filled(5000)).Chunk("more", Filled(9000, 7)).Finish();
    // Expected: the bytes before less [at, at + deleted), with the RIFF size given.
    const struct { const char *name; Bytes before; const char *id; BOOL list; HRESULT status;
                   DWORD deleted, at, riffSize; } rows[] = {
        {"odd chunk in the middle", WaveLike(), "data", FALSE, LX_S_OK, 16, 80, 138},
        {"a list", WaveLike(), "INFO", TRUE, LX_S_OK, 36, 36, 118},
        {"the last list: the file is cut", WaveLike(), "adtl", TRUE, LX_S_OK, 30, 132, 124},
        {"only the first match", dups, "dup ", FALSE, LX_S_OK, 12, 12, 26},
        {"several rounds", big, "big ", FALSE, LX_S_OK, 5008, 12, 9012},
        {"absent", WaveLike(), "none", FALSE, LX_E_NOTFOUND, 0, 0, 154},
        {"not a list type", WaveLike(), "data", TRUE, LX_E_NOTFOUND, 0, 0, 154},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        f.Reset(r.before);
        DWORD deleted = 99;
        ASSERT_EQ(r.status, riff_DeleteChunk(h(), Id(r.id), &deleted, r.list));
        Bytes want = r.before;
        want.erase(want.begin() + r.at, want.begin() + r.at + r.deleted);
        PutWordAt(want, 4, r.riffSize);
        EXPECT_EQ(make_tuple(r.deleted, want), make_tuple(deleted, f.Contents()));
        if (r.status == LX_S_OK) {
            EXPECT_EQ(want.size(), f.Pos());  // the cursor ends at the end
        }
    }
}

TEST_F(RiffFile, AnsiStringsCarryTheirTerminatorAndPad) {
    const std::pair<const char *, Bytes> writes[] = {
        {"", Bytes{0, 0}}, {"a", Bytes{'a', 0}}, {"ab", Bytes{'a', 'b', 0, 0}}, {"abc", Text("abc")}};
    for (const auto &r : writes) {
        f.Reset(Bytes{});
        DWORD written = 0;
        ASSERT_EQ(LX_S_OK, riff_WriteANSIString(h(), r.first, &written));
        EXPECT_EQ(make_tuple(r.second, (DWORD)r.second.size()), make_tuple(f.Contents(), written)) << r.first;
    }
    // Reading adds one to the chunk size, odd or even; payloads are followed
    // by their pad and "next".
    const struct { const char *name; Bytes payload; DWORD chunkSize, bufferSize; const char *text; DWORD cursor; }
        reads[] = {{"odd chunk", Text("Name"), 5, 260, "Name", 6},
                   {"even chunk", Bytes{'a', 'b', 0, 0}, 4, 260, "ab", 4},
                   {"buffer shorter than the text", Text("Name"), 5, 3, "Na", 6},
                   {"no terminator in the chunk", Bytes{'a', 'b', 'c', 'd'}, 4, 260, "abc", 4},
                   {"empty chunk", Bytes{}, 0, 260, "", 0}};
    for (const auto &r : reads) {
        SCOPED_TRACE(r.name);
        f.Reset(Image().Raw(r.payload).Raw(Bytes(r.payload.size() & 1)).Tag("next").Finish());
        char buf[260];
        memset(buf, 'Z', sizeof buf);
        DWORD chunkSize = r.chunkSize;
        ASSERT_EQ(LX_S_OK, riff_ReadANSIString(h(), buf, r.bufferSize, &chunkSize));
        EXPECT_STREQ(r.text, buf);
        EXPECT_EQ(make_tuple(r.chunkSize + 1, r.cursor), make_tuple(chunkSize, f.Pos()));
    }
    f.Reset(Bytes{'a', 'b'});
    char buf[8];
    DWORD chunkSize = 6, a = 0;
    EXPECT_EQ(LX_E_READ, riff_ReadANSIString(h(), buf, sizeof buf, &chunkSize));
    EXPECT_EQ(6u, chunkSize);
    EXPECT_EQ(LX_E_POINTER, riff_WriteANSIString(h(), nullptr, &a));
    EXPECT_EQ(LX_E_POINTER, riff_ReadANSIString(h(), nullptr, 4, &a));
}

}  // namespace
