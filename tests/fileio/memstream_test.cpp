// The growable stream: its growth schedule, the payload's own growth, the
// pad's extra check, the constant RIFF size, and what it keeps when memory
// runs out.
#include "riffimage.h"

#include "fileio/memstream.h"

using namespace rifftest;

namespace {

struct Stream {
    ~Stream() { MemStream_Free(&s); }
    Bytes Used() const { return s.used ? Bytes(s.data, s.data + s.used) : Bytes{}; }
    tLXMEMSTREAM s = {};
};

TEST(MemStream, BlockDoublesThenGrowsBy16K) {
    Stream m;
    std::vector<DWORD> capacities;
    for (int i = 0; i < 49152 / 8 + 1; ++i) {
        ASSERT_EQ(LX_S_OK, ms_WriteChunkHeader(&m.s, Id("ELM "), (DWORD)i));
        if (capacities.empty() || capacities.back() != m.s.capacity) capacities.push_back(m.s.capacity);
    }
    const std::vector<DWORD> expect{64, 128, 256, 512, 1024, 2048, 4096, 8192, 16384, 32768, 49152, 65536};
    EXPECT_EQ(expect, capacities);
    EXPECT_EQ(std::make_pair(49160ul, 49160ul), std::make_pair(m.s.used, m.s.position));
    const Bytes used = m.Used();
    EXPECT_EQ(std::make_pair(Id("ELM "), 6144ul), std::make_pair(WordAt(used, 49152), WordAt(used, 49156)));
}

TEST(MemStream, ChunkGrowthFollowsThePayload) {
    // ms_WriteChunk payloads, in order, then the capacity and use they leave.
    const struct { const char *name; std::vector<DWORD> sizes; DWORD capacity, used; } rows[] = {
        {"small payload: capacity doubles", {60}, 128, 68},
        {"payload that fits", {49}, 64, 58},
        {"payload above the step: grows by the payload", {300}, 364, 308},
        // 365 is odd, so the pad alone can pass it: one more check, doubling.
        {"the pad's own growth check", {301, 47}, 730, 366},
    };
    const Bytes payload = Filled(400);
    for (const auto &r : rows) {
        Stream m;
        for (DWORD n : r.sizes) ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UOP "), payload.data(), n));
        EXPECT_EQ(std::make_pair(r.capacity, r.used), std::make_pair(m.s.capacity, m.s.used)) << r.name;
    }
}

// A block the caller filled, below the first step: it grows by 64 and the
// bytes held move along.
TEST(MemStream, SmallBlockGrowsBy64) {
    Stream m;
    m.s.data = (BYTE *)GlobalLock(GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, 40));
    m.s.capacity = m.s.used = m.s.position = 40;
    memset(m.s.data, 0x5A, 40);
    ASSERT_EQ(LX_S_OK, ms_WriteListHeader(&m.s, Id("SCAT"), 36));
    EXPECT_EQ(104u, m.s.capacity);
    EXPECT_EQ(Image().Raw(Bytes(40, 0x5A)).Tag("LIST").Word(36).Tag("SCAT").Finish(), m.Used());
    EXPECT_EQ(0, m.s.data[103]);  // the new block is zero-filled
}

// The record of an undo step: a RIFF head whose size is always 4, chunks
// with their pads, a list; the caller patches sizes in the data.
TEST(MemStream, WritersLayDownTheRecord) {
    for (DWORD size : {0u, 0xFFFFFFFFu}) {
        Stream m;
        ASSERT_EQ(LX_S_OK, ms_WriteFileID(&m.s, Id("LX6U"), size));
        EXPECT_EQ(Image().Tag("RIFF").Word(4).Tag("LX6U").Finish(), m.Used());
    }
    Stream m;
    ASSERT_EQ(LX_S_OK, ms_WriteFileID(&m.s, Id("LX6U"), 0));
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UOWN"), "C:\\a.wav", 9));
    ASSERT_EQ(LX_S_OK, ms_WriteListHeader(&m.s, Id("ULST"), 56));
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UOP "), Filled(24).data(), 24));
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UOP "), Filled(3).data(), 3));
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("zero"), nullptr, 0));
    EXPECT_EQ(Image().Tag("RIFF").Word(4).Tag("LX6U").Chunk("UOWN", Text("C:\\a.wav")).List("ULST")
                  .Chunk("UOP ", Filled(24)).Chunk("UOP ", Filled(3)).Chunk("zero", Bytes{}).Close().Finish(),
              m.Used());
    EXPECT_EQ(m.s.used, m.s.position);
}

TEST(MemStream, OutOfMemoryKeepsWhatItHeld) {
    Stream m;
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UHDR"), "abcd", 4));
    BYTE *before = m.s.data;
    const BYTE tiny = 0;
    // The header goes in; the payload's block cannot be had.
    EXPECT_EQ(LX_E_OUTOFMEMORY, ms_WriteChunk(&m.s, Id("huge"), &tiny, 0x7FFFFFF0));
    EXPECT_EQ(std::make_pair(before, 64ul), std::make_pair(m.s.data, m.s.capacity));
    EXPECT_EQ(Image().Chunk("UHDR", Text("abcd", false)).Tag("huge").Word(0x7FFFFFF0).Finish(), m.Used());
}

TEST(MemStream, BadArguments) {
    Stream m;
    EXPECT_EQ(LX_E_POINTER, ms_WriteChunkHeader(nullptr, 0, 0));
    EXPECT_EQ(LX_E_POINTER, ms_WriteChunk(nullptr, 0, "x", 1));
    EXPECT_EQ(LX_E_POINTER, ms_WriteChunk(&m.s, 0, nullptr, 1));
    EXPECT_EQ(LX_E_POINTER, ms_WriteListHeader(nullptr, 0, 0));
    EXPECT_EQ(LX_E_POINTER, ms_WriteFileID(nullptr, 0, 0));
    EXPECT_EQ(0u, m.s.used);
    tLXMEMSTREAM broken = {nullptr, 16, 0, 0};  // room but no block
    EXPECT_EQ(LX_E_INVALIDARG, ms_WriteChunkHeader(&broken, 0, 0));
    broken = {nullptr, 0, 8, 0};
    EXPECT_EQ(LX_E_INVALIDARG, ms_WriteListHeader(&broken, 0, 0));
}

}  // namespace
