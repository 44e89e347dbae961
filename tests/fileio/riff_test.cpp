// The chunk layer's arithmetic at its edges: pads, bounded reads, search
// bounds and the growable stream's growth, each rule over its families.
#include "riffimage.h"

#include "fileio/memstream.h"

#include <tuple>

using namespace rifftest;
using std::make_tuple;

namespace {

const Layer::Family kAll[] = {Layer::kFile, Layer::kMemory, Layer::kW64};

// From 12 in 99 bytes: the pad goes to 2 in the 32-bit families, to 8 in Wave64; 32-bit amounts
// wrap, yet no skip goes back, and memory stops at its end. Reads step as skips do.
TEST(ChunkLayers, SkipsAndReadsStepOverThePad) {
    const struct { DWORD size; ULONGLONG amount[3], pos[3]; } rows[] = {
        {0, {0, 0, 0}, {12, 12, 12}},     {1, {2, 2, 8}, {14, 14, 20}},     {8, {8, 8, 8}, {20, 20, 20}},
        {12, {12, 12, 16}, {24, 24, 28}}, {13, {14, 14, 16}, {26, 26, 28}},
        {87, {88, 88, 88}, {100, 99, 100}},  // the odd last chunk, its pad missing
        {0x7FFFFFFF, {0x80000000, 0x80000000, 0x80000000}, {0x8000000C, 99, 0x8000000C}},
        {0xFFFFFFFF, {0, 0, 0x100000000}, {0x10000000C, 99, 0x10000000C}}};
    for (Layer::Family family : kAll) {
        Layer l(family);
        l.Load(Filled(99));
        for (const auto &r : rows) {
            SCOPED_TRACE(testing::Message() << family << " size " << r.size);
            l.Seek(12);
            const ULONGLONG amount = l.Skip(r.size);
            EXPECT_EQ(make_tuple(r.amount[family], r.pos[family]), make_tuple(amount, l.Pos()));
            if (r.size > 87) continue;
            Bytes buf(r.size);
            l.Seek(12);
            ASSERT_EQ(LX_S_OK, l.Read(buf.data(), r.size));
            EXPECT_EQ(make_tuple(Filled(r.size, 13), r.pos[family]), make_tuple(buf, l.Pos()));
        }
        EXPECT_EQ(LX_S_OK, l.DataStart());
        EXPECT_EQ(family == Layer::kW64 ? 40u : 12u, l.Pos());
    }
}

// The smaller size is read, then the rest of the chunk and a pad skipped: in
// the file families the pad comes from the buffer's size, in memory from the
// chunk's. A short read skips nothing.
TEST(ChunkLayers, BoundedReadTakesItsPadWhereEachFamilySays) {
    const struct { DWORD chunk, buffer, read; ULONGLONG pos[3]; } rows[] = {
        {9, 16, 9, {9, 10, 9}}, {9, 4, 4, {9, 10, 13}},     {9, 5, 5, {10, 10, 14}},
        {8, 3, 3, {9, 8, 11}},  {10, 13, 10, {11, 10, 15}}, {0, 0, 0, {0, 0, 0}}};
    for (Layer::Family family : kAll) {
        Layer l(family);
        for (const auto &r : rows) {
            l.Load(Filled(40));
            Bytes buf(64, 0xEE), want = Filled(r.read);
            want.resize(64, 0xEE);
            ASSERT_EQ(LX_S_OK, l.Bounded(buf.data(), r.chunk, r.buffer));
            EXPECT_EQ(make_tuple(want, r.pos[family]), make_tuple(buf, l.Pos())) << family << r.buffer;
        }
        l.Load(Filled(3));
        BYTE buf[9];
        EXPECT_EQ(LX_E_READ, l.Bounded(buf, 9, 9));
        EXPECT_EQ(3u, l.Pos()) << family;
    }
}

// Remaining of exactly 8 still reads a header, 7 none. The bound is signed in
// the file family and unsigned in memory, where a count driven negative
// walks on to the end of the block.
TEST(ChunkLayers, FindChunkHeaderCountsDownRemaining) {
    const struct { int families; const char *id; LONG remaining; HRESULT status; LONG left; ULONGLONG at; }
        rows[] = {{3, "fmt ", 8, LX_S_OK, 0, 20},  {3, "fmt ", 7, LX_E_NOTFOUND, 7, 12},
                  {1, "LIST", 8, LX_E_NOTFOUND, -16, 36}, {2, "LIST", 8, LX_S_OK, -24, 44},
                  {3, "INAM", 150, LX_E_NOTFOUND, 0, 162}};
    for (Layer::Family family : {Layer::kFile, Layer::kMemory}) {
        Layer l(family);
        l.Load(WaveLike());
        for (const auto &r : rows) {
            if (!(r.families & (1 << family))) continue;
            l.Seek(12);
            LONG left = r.remaining;
            const HRESULT hr = l.Find(LXRIFF_FOURCC(r.id[0], r.id[1], r.id[2], r.id[3]), nullptr, &left);
            EXPECT_EQ(make_tuple(r.status, r.left, r.at), make_tuple(hr, left, l.Pos())) << family << r.id;
        }
    }
}

// The block doubles from 64, then grows by 16K; a payload above the step
// grows it by the payload, and an odd one's pad gets its own check.
TEST(MemStream, GrowthFollowsTheScheduleAndThePayload) {
    const struct { std::vector<DWORD> sizes; DWORD capacity, used; } rows[] = {
        {{60}, 128, 68}, {{49}, 64, 58}, {{301, 47}, 730, 366}, {{16000, 16000, 16000}, 48512, 48024}};
    const Bytes payload = Filled(16000);
    for (const auto &r : rows) {
        tLXMEMSTREAM s = {};
        for (DWORD n : r.sizes) ASSERT_EQ(LX_S_OK, ms_WriteChunk(&s, 0x20504F55, payload.data(), n));
        EXPECT_EQ(make_tuple(r.capacity, r.used), make_tuple(s.capacity, s.used)) << r.sizes[0];
        MemStream_Free(&s);
    }
}

}  // namespace
