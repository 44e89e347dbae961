// The growable stream: its growth schedule, the payload's own growth, the
// pad's extra check, the constant RIFF size, what it keeps when memory runs
// out, and an image built with it that the memory walker reads.
#include "riffimage.h"

#include "fileio/memstream.h"
#include "fileio/mriff.h"
#include "guardbuffer.h"

using namespace rifftest;

namespace {

struct Stream {
    Stream() { memset(&s, 0, sizeof s); }
    ~Stream() { MemStream_Free(&s); }
    Bytes Used() const { return s.used ? Bytes(s.data, s.data + s.used) : Bytes{}; }
    tLXMEMSTREAM s;
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
    EXPECT_EQ(49160u, m.s.used);
    EXPECT_EQ(m.s.used, m.s.position);
    EXPECT_EQ(Id("ELM "), WordAt(m.Used(), 49152));
    EXPECT_EQ(6144u, WordAt(m.Used(), 49156));
}

TEST(MemStream, ChunkGrowthFollowsThePayload) {
    const struct {
        const char *name;
        std::vector<DWORD> sizes;  // ms_WriteChunk payloads, in order
        DWORD capacity, used;
    } rows[] = {
        {"small payload: capacity doubles", {60}, 128, 68},
        {"payload that fits", {49}, 64, 58},
        {"payload above the step: grows by the payload", {300}, 364, 308},
        // 365 is odd, so the pad alone can pass it: one more check, doubling.
        {"the pad's own growth check", {301, 47}, 730, 366},
        {"empty payload", {0}, 64, 8},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Stream m;
        const Bytes payload = Filled(400);
        for (DWORD n : r.sizes) ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UOP "), payload.data(), n));
        EXPECT_EQ(r.capacity, m.s.capacity);
        EXPECT_EQ(r.used, m.s.used);
    }
}

TEST(MemStream, SmallBlockGrowsBy64) {
    Stream m;
    HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, 40);
    m.s.data = (BYTE *)GlobalLock(h);
    m.s.capacity = m.s.used = m.s.position = 40;
    memset(m.s.data, 0x5A, 40);
    ASSERT_EQ(LX_S_OK, ms_WriteListHeader(&m.s, Id("SCAT"), 36));
    EXPECT_EQ(104u, m.s.capacity);
    EXPECT_EQ(52u, m.s.used);
    const Bytes b = m.Used();
    EXPECT_EQ(Bytes(40, 0x5A), Bytes(b.begin(), b.begin() + 40));
    EXPECT_EQ(Image().Tag("LIST").Word(36).Tag("SCAT").Finish(), Bytes(b.begin() + 40, b.end()));
    EXPECT_EQ(0, m.s.data[103]);  // the new block is zero-filled
}

TEST(MemStream, FileIdAlwaysWritesFour) {
    const DWORD sizes[] = {0, 4, 100, 0xFFFFFFFF};
    for (DWORD size : sizes) {
        SCOPED_TRACE(size);
        Stream m;
        ASSERT_EQ(LX_S_OK, ms_WriteFileID(&m.s, Id("LX6U"), size));
        EXPECT_EQ(Image().Tag("RIFF").Word(4).Tag("LX6U").Finish(), m.Used());
    }
}

TEST(MemStream, OutOfMemoryKeepsWhatItHeld) {
    Stream m;
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UHDR"), "abcd", 4));
    BYTE *before = m.s.data;
    const BYTE tiny = 0;
    // The header goes in; the payload's block cannot be had.
    EXPECT_EQ(LX_E_OUTOFMEMORY, ms_WriteChunk(&m.s, Id("huge"), &tiny, 0x7FFFFFF0));
    EXPECT_EQ(before, m.s.data);
    EXPECT_EQ(64u, m.s.capacity);
    EXPECT_EQ(20u, m.s.used);
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

// An undo-style record: RIFF head, chunks, a list whose size is patched in
// the data afterwards; then the memory walker reads it.
TEST(MemStream, ImageWalkedByTheMemoryFamily) {
    Stream m;
    ASSERT_EQ(LX_S_OK, ms_WriteFileID(&m.s, Id("LX6U"), 0));
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UOWN"), "C:\\a.wav", 9));
    const DWORD listAt = m.s.position;
    ASSERT_EQ(LX_S_OK, ms_WriteListHeader(&m.s, Id("ULST"), 4));
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UOP "), Filled(24).data(), 24));
    ASSERT_EQ(LX_S_OK, ms_WriteChunk(&m.s, Id("UOP "), Filled(3).data(), 3));
    DWORD listSize = m.s.position - listAt - 8, riffSize = m.s.used - 8;
    memcpy(m.s.data + listAt + 4, &listSize, 4);
    memcpy(m.s.data + 4, &riffSize, 4);

    const Bytes expect = Image()
                             .Riff("LX6U")
                             .Chunk("UOWN", Text("C:\\a.wav"))
                             .List("ULST")
                             .Chunk("UOP ", Filled(24))
                             .Chunk("UOP ", Filled(3))
                             .Finish();
    ASSERT_EQ(expect, m.Used());

    lxtest::GuardBuffer g(m.s.data, m.s.used);
    tMRIFFSTREAM s;
    ASSERT_EQ(LX_S_OK, mriff_Init(&s, g.data(), m.s.used, m.s.used));
    DWORD size = 0, count = 0;
    ASSERT_EQ(LX_S_OK, mriff_FindListChunkFromStart(&s, Id("ULST"), &size));
    EXPECT_EQ(32u + 12, size);
    LONG left = (LONG)size;
    ASSERT_EQ(LX_S_OK, mriff_GetNumListEntries(&s, &count, &left));
    EXPECT_EQ(2u, count);
    EXPECT_EQ(0, left);
}

}  // namespace
