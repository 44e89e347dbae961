// The chunk layer on a memory block: the cursor calls shaped like the file
// calls, the same walks as the file family over the same bytes, the places
// where the two families are meant to differ, and the wave header writer and
// reader. Images sit flush against a guard page.
#include "riffimage.h"

#include "fileio/mriff.h"
#include "guardbuffer.h"

using namespace rifftest;
using lxtest::GuardBuffer;

namespace {

struct Block {
    explicit Block(const Bytes &b, GuardBuffer::Flush flush = GuardBuffer::kEnd)
        : g(b.data(), b.size(), flush) {
        mriff_Init(&s, g.data(), (DWORD)b.size(), (DWORD)b.size());
    }
    DWORD Pos() const { return (DWORD)(s.current - s.base); }
    void Seek(DWORD pos) { s.current = s.base + pos; }
    GuardBuffer g;
    tMRIFFSTREAM s;
};

TEST(MriffCursor, InitFillsTheRecordOrRefuses) {
    BYTE block[32];
    tMRIFFSTREAM s = {};
    EXPECT_EQ(LX_E_POINTER, mriff_Init(nullptr, block, 4, 8));
    EXPECT_EQ(LX_E_INVALIDARG, mriff_Init(&s, block, 9, 8));
    EXPECT_EQ(LX_E_INVALIDARG, mriff_Init(&s, nullptr, 0, 8));
    EXPECT_EQ(LX_S_OK, mriff_Init(&s, nullptr, 0, 0));
    ASSERT_EQ(LX_S_OK, mriff_Init(&s, block, 12, 32));
    EXPECT_EQ(block, s.base);
    EXPECT_EQ(block, s.current);
    EXPECT_EQ(block + 12, s.dataEnd);
    EXPECT_EQ(block + 32, s.limit);
    EXPECT_EQ(12u, s.size);
    EXPECT_EQ(32u, s.capacity);
    EXPECT_EQ(block, mriff_GetFilePointer(&s));
}

TEST(MriffCursor, SetFilePointerClampsToTheData) {
    BYTE block[120] = {};
    const struct {
        LONG distance;
        DWORD method;
        DWORD expect;
    } rows[] = {
        {10, FILE_BEGIN, 10},   {-5, FILE_BEGIN, 0},     {200, FILE_BEGIN, 100},  // dataEnd, not limit
        {10, FILE_CURRENT, 50}, {-50, FILE_CURRENT, 0},  {0, FILE_END, 100},
        {-10, FILE_END, 90},    {5, FILE_END, 100},      {7, 3, 40},  // unknown method: no move
        {LONG_MIN, FILE_CURRENT, 0}, {LONG_MAX, FILE_CURRENT, 100},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << r.distance << " from " << r.method);
        tMRIFFSTREAM s;
        mriff_Init(&s, block, 100, 120);
        s.current = block + 40;
        LONG high = 77;
        EXPECT_EQ(r.expect, mriff_SetFilePointer(&s, r.distance, &high, r.method));
        EXPECT_EQ(block + r.expect, s.current);
        EXPECT_EQ(77, high);  // the high part is not used
        s.current = block + 40;
        EXPECT_EQ(r.expect, mriff_LxSetFilePointer(&s, r.distance, r.method));
    }
}

TEST(MriffCursor, ReadFileSaysWhetherAllWasThere) {
    const struct {
        DWORD count, done;
        BOOL result;
    } rows[] = {{10, 10, TRUE}, {11, 10, FALSE}, {0, 0, TRUE}, {0x80000000, 0, FALSE}, {0xFFFFFFFF, 0, FALSE}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.count);
        Block b(Filled(100));
        b.Seek(90);
        BYTE buf[16] = {};
        DWORD done = 99;
        EXPECT_EQ(r.result, mriff_ReadFile(&b.s, buf, r.count, &done, nullptr));
        EXPECT_EQ(r.done, done);
        EXPECT_EQ(90 + r.done, b.Pos());
        if (r.done) {
            EXPECT_EQ(91, buf[0]);
        }
    }
}

TEST(MriffCursor, WriteFileWritesWhatFitsAndSaysYes) {
    BYTE block[10] = {};
    tMRIFFSTREAM s;
    mriff_Init(&s, block, 0, 10);
    DWORD done = 0;
    const BYTE bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_TRUE(mriff_WriteFile(&s, bytes, 8, &done, nullptr));
    EXPECT_EQ(8u, done);
    EXPECT_EQ(block + 8, s.dataEnd);
    EXPECT_TRUE(mriff_WriteFile(&s, bytes, 4, &done, nullptr));
    EXPECT_EQ(2u, done);
    EXPECT_EQ(block + 10, s.dataEnd);
    EXPECT_EQ(2, block[9]);

    // The header writers turn a short word into a write failure.
    s.current = block + 6;
    EXPECT_EQ(LX_E_WRITE, mriff_WriteChunkHeader(&s, Id("abcd"), 5));
    EXPECT_EQ(block + 10, s.current);
    s.current = block;
    EXPECT_EQ(LX_E_WRITE, mriff_WriteFileID(&s, Id("WAVE"), 5));
    s.current = block;
    EXPECT_EQ(LX_E_WRITE, mriff_WriteListHeader(&s, Id("INFO"), 5));
    s.current = block + 2;
    EXPECT_EQ(LX_S_OK, mriff_WriteChunkHeader(&s, Id("abcd"), 5));
}

TEST(MriffCursor, UpdateDataSizeClaimsUpToTheLimit) {
    BYTE block[10] = {};
    tMRIFFSTREAM s;
    mriff_Init(&s, block, 4, 10);
    EXPECT_EQ(3u, mriff_UpdateDataSize(&s, 3));
    EXPECT_EQ(block + 7, s.dataEnd);
    EXPECT_EQ(3u, mriff_UpdateDataSize(&s, 10));
    EXPECT_EQ(0u, mriff_UpdateDataSize(&s, 1));
    EXPECT_EQ(block + 10, s.dataEnd);
    EXPECT_EQ(4u, s.size);  // only Init writes size
}

TEST(MriffCursor, BadRecordsAreRefused) {
    BYTE block[16] = {};
    tMRIFFSTREAM s;
    mriff_Init(&s, block, 8, 16);
    s.current = block + 12;  // past dataEnd
    DWORD a = 0, b = 0;
    EXPECT_EQ(LX_E_INVALIDARG, mriff_ReadChunkHeader(&s, &a, &b));
    EXPECT_EQ(LX_E_POINTER, mriff_ReadChunkHeader(nullptr, &a, &b));
    EXPECT_EQ(nullptr, mriff_GetFilePointer(&s));
    EXPECT_EQ(INVALID_SET_FILE_POINTER, mriff_SetFilePointer(nullptr, 0, nullptr, FILE_BEGIN));
    EXPECT_FALSE(mriff_ReadFile(nullptr, &a, 4, &b, nullptr));
    EXPECT_EQ(0u, b);
    EXPECT_EQ(0u, mriff_SkipChunk(nullptr, 4));
    EXPECT_EQ(0u, mriff_UpdateDataSize(nullptr, 4));
    EXPECT_EQ(LX_E_POINTER, mriff_WriteWaveHeader(nullptr, nullptr, 0, 0));
}

// The image written by the file family, read back by both families: every
// top-level chunk lands on the same payload with the same count left.
class RiffBothFamilies : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(INVALID_HANDLE_VALUE, f.h());
        f.Reset(WaveLike());
    }
    TempFile f;
};

TEST_F(RiffBothFamilies, FindInRiffAgrees) {
    const struct {
        const char *id;
        HRESULT status;
        DWORD size, payload;
        LONG left;
    } rows[] = {
        {"fmt ", LX_S_OK, 16, 20, 142}, {"LIST", LX_S_OK, 28, 44, 118}, {"zero", LX_S_OK, 0, 80, 82},
        {"data", LX_S_OK, 7, 88, 74},   {"cue ", LX_S_OK, 28, 104, 58}, {"INAM", LX_E_NOTFOUND, 0, 162, 0},
    };
    Block b(f.Contents());
    for (const auto &r : rows) {
        SCOPED_TRACE(r.id);
        DWORD size = 0;
        LONG left = 0;
        EXPECT_EQ(r.status, riff_FindChunkHeaderInRIFF(f.h(), Id(r.id), &size, &left));
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.payload, f.Pos());
        EXPECT_EQ(r.left, left);

        // The memory form starts where it stands and is bounded by the caller.
        b.Seek(0);
        size = 0;
        left = (LONG)b.g.size();
        EXPECT_EQ(r.status, mriff_FindChunkHeaderInRIFF(&b.s, Id(r.id), &size, &left));
        EXPECT_EQ(r.size, size);
        EXPECT_EQ(r.payload, b.Pos());
        EXPECT_EQ(r.left, left);
    }
}

TEST_F(RiffBothFamilies, ListSearchChargesTheSameFourBytes) {
    // riff_FindListChunk leaves 14 here too (pinned in the file family's tests).
    Block b(f.Contents());
    DWORD size = 0;
    LONG left = 150;
    b.Seek(12);
    ASSERT_EQ(LX_S_OK, mriff_FindListChunk(&b.s, Id("adtl"), &size, &left));
    EXPECT_EQ(14, left);
    EXPECT_EQ(18u, size);
    EXPECT_EQ(144u, b.Pos());
    EXPECT_EQ(LX_S_OK, mriff_FindListChunkFromStart(&b.s, Id("INFO"), &size));
    EXPECT_EQ(48u, b.Pos());
    EXPECT_EQ(24u, size);
}

// A chunk that runs past the bound: the file family stops ("not found"),
// the memory family's unsigned test lets the walk go on.
TEST_F(RiffBothFamilies, BoundTestIsSignedOnFileUnsignedInMemory) {
    Bytes img = Image().Tag("long").Word(16).Raw(Filled(16)).Tag("next").Word(4).Raw(Filled(4)).Finish();
    f.Reset(img);
    Block b(img);
    DWORD size = 0;
    LONG left = 20;
    EXPECT_EQ(LX_E_NOTFOUND, riff_FindChunkHeader(f.h(), Id("next"), &size, &left));
    EXPECT_EQ(-4, left);
    EXPECT_EQ(24u, f.Pos());
    left = 20;
    EXPECT_EQ(LX_S_OK, mriff_FindChunkHeader(&b.s, Id("next"), &size, &left));
    EXPECT_EQ(-12, left);
    EXPECT_EQ(4u, size);
    EXPECT_EQ(32u, b.Pos());
    // Going on past the end of the block ends in a failed read.
    b.Seek(0);
    left = 20;
    EXPECT_EQ(LX_E_READ, mriff_FindChunkHeader(&b.s, Id("none"), &size, &left));
    EXPECT_EQ(36u, b.Pos());
}

TEST_F(RiffBothFamilies, EntryCountUnderABoundOfEight) {
    Block b(f.Contents());
    DWORD count = 0;
    LONG left = 8;
    f.Seek(48);
    EXPECT_EQ(LX_S_OK, riff_GetNumListEntries(f.h(), &count, &left));
    EXPECT_EQ(1u, count);
    b.Seek(48);
    left = 8;
    // The negative count reads as large: the walk goes on to the end.
    EXPECT_EQ(LX_E_READ, mriff_GetNumListEntries(&b.s, &count, &left));
    EXPECT_EQ(6u, count);
    EXPECT_EQ(48u, b.Pos());
    left = 24;
    EXPECT_EQ(LX_S_OK, mriff_GetNumListEntries(&b.s, &count, &left));
    EXPECT_EQ(2u, count);
    EXPECT_EQ(0, left);
}

TEST(MriffRead, BoundedReadTakesBufferSizeFirstAndThePadFromTheChunk) {
    const struct {
        DWORD bufferSize, chunkSize, read, cursor;
    } rows[] = {
        {16, 9, 9, 10}, {9, 9, 9, 10}, {4, 9, 4, 10}, {5, 9, 5, 10},
        {3, 8, 3, 8},  // even chunk: no pad, whatever the buffer
        {0, 0, 0, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << "buffer " << r.bufferSize << " chunk " << r.chunkSize);
        Block b(Image().Raw(Filled(9)).Raw(Bytes{0}).Tag("next").Word(0).Finish());
        Bytes buf(20, 0xEE);
        ASSERT_EQ(LX_S_OK, mriff_ReadDataBounded(&b.s, buf.data(), r.bufferSize, r.chunkSize));
        Bytes expect = Filled(r.read);
        expect.resize(20, 0xEE);
        EXPECT_EQ(expect, buf);
        EXPECT_EQ(r.cursor, b.Pos());
    }
    Block b(Filled(3));
    BYTE buf[9];
    EXPECT_EQ(LX_E_READ, mriff_ReadDataBounded(&b.s, buf, 9, 9));
    EXPECT_EQ(3u, b.Pos());
}

TEST(MriffRead, ReadDataAndAllocStayInsideTheBlock) {
    Block b(WaveLike());
    char name[5];
    b.Seek(56);
    ASSERT_EQ(LX_S_OK, mriff_ReadData(&b.s, name, 5));
    EXPECT_STREQ("Name", name);
    EXPECT_EQ(62u, b.Pos());
    // An odd last chunk without its pad: the step stops at the end.
    Block odd(Bytes{'a', 'b', 'c'});
    ASSERT_EQ(LX_S_OK, mriff_ReadData(&odd.s, name, 3));
    EXPECT_EQ(3u, odd.Pos());

    tLXRIFFDATA d = {7, (void *)1};
    b.Seek(88);
    ASSERT_EQ(LX_S_OK, mriff_ReadDataAlloc(&b.s, &d));
    ASSERT_NE(nullptr, d.data);
    EXPECT_EQ(Filled(7), Bytes((BYTE *)d.data, (BYTE *)d.data + 7));
    EXPECT_EQ(96u, b.Pos());
    LxRiff_FreeData(&d);
    d.size = 0;
    d.data = (void *)1;
    EXPECT_EQ(LX_S_OK, mriff_ReadDataAlloc(&b.s, &d));
    EXPECT_EQ(nullptr, d.data);
    b.Seek(150);
    d.size = 13;
    EXPECT_EQ(LX_E_READ, mriff_ReadDataAlloc(&b.s, &d));
    EXPECT_EQ(nullptr, d.data);
}

TEST(MriffRead, FindChunkHeaderInRiffStartsWhereItStands) {
    Block b(WaveLike());
    DWORD size = 0;
    LONG left = 11;
    EXPECT_EQ(LX_E_NOTFOUND, mriff_FindChunkHeaderInRIFF(&b.s, Id("fmt "), &size, &left));
    EXPECT_EQ(0u, b.Pos());
    EXPECT_EQ(11, left);
    left = 12 + 8;  // header plus exactly one chunk header
    EXPECT_EQ(LX_S_OK, mriff_FindChunkHeaderInRIFF(&b.s, Id("fmt "), &size, &left));
    EXPECT_EQ(0, left);
    // Not on the file header: no seek to it.
    b.Seek(12);
    left = 162;
    EXPECT_EQ(LXRIFF_E_NOTRIFF, mriff_FindChunkHeaderInRIFF(&b.s, Id("fmt "), &size, &left));
    b.Seek(0);
    EXPECT_EQ(LX_S_OK, mriff_FindChunkHeaderInRIFF(&b.s, Id("cue "), &size, nullptr));
    EXPECT_EQ(104u, b.Pos());
}

TEST(MriffRead, ReadFileIdAndListHeader) {
    Block b(WaveLike());
    DWORD size = 0, form = 0;
    ASSERT_EQ(LX_S_OK, mriff_ReadFileID(&b.s, &size, &form));
    EXPECT_EQ(150u, size);
    EXPECT_EQ(Id("WAVE"), form);
    EXPECT_EQ(LX_S_OK, mriff_SeekDataStart(&b.s));
    EXPECT_EQ(12u, b.Pos());
    EXPECT_EQ(LXRIFF_E_NOTLIST, mriff_ReadListHeader(&b.s, &form, &size));
    b.Seek(36);
    ASSERT_EQ(LX_S_OK, mriff_ReadListHeader(&b.s, &form, &size));
    EXPECT_EQ(Id("INFO"), form);
    EXPECT_EQ(24u, size);

    Block cut(Bytes{'R', 'I', 'F'});
    EXPECT_EQ(LXRIFF_E_NOTRIFF, mriff_ReadFileID(&cut.s, &size, &form));
    Block noForm(Bytes{'R', 'I', 'F', 'F', 9, 0, 0, 0, 'W'});
    EXPECT_EQ(LX_E_READ, mriff_ReadFileID(&noForm.s, &size, &form));
    EXPECT_EQ(5u, size);
}

TEST(MriffRead, LocationsAreOffsetsFromBase) {
    Block b(WaveLike());
    DWORD pos = 0;
    b.Seek(77);
    ASSERT_EQ(LX_S_OK, mriff_SaveLocation(&b.s, &pos));
    EXPECT_EQ(77u, pos);
    b.Seek(0);
    ASSERT_EQ(LX_S_OK, mriff_RestoreLocation(&b.s, pos));
    EXPECT_EQ(77u, b.Pos());
    ASSERT_EQ(LX_S_OK, mriff_RestoreLocation(&b.s, 0xFFFFFFFF));
    EXPECT_EQ(162u, b.Pos());
    b.Seek(12);
    EXPECT_EQ(0u, mriff_SkipChunk(&b.s, 0xFFFFFFFF));  // amount wraps, step clamps
    EXPECT_EQ(162u, b.Pos());
}

TEST(MriffInfo, GetInfoStringPutsTheCursorBack) {
    const struct {
        const char *name;
        const char *id;
        DWORD bufferSize;
        HRESULT status;
        Bytes got;
        LONG left;
    } rows[] = {
        {"name", "INAM", 16, LX_S_OK, Text("Name"), 114},
        {"software", "ISFT", 16, LX_S_OK, Text("x"), 114},
        {"short buffer: no terminator", "INAM", 2, LX_S_OK, Bytes{'N', 'a'}, 114},
        {"absent inside the list", "IART", 16, LX_E_NOTFOUND, Bytes{}, 114},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Block b(WaveLike());
        b.Seek(12);
        char buf[16];
        memset(buf, 'Z', sizeof buf);
        LONG left = 150;
        EXPECT_EQ(r.status, mriff_GetInfoString(&b.s, Id(r.id), buf, r.bufferSize, &left));
        Bytes expect = r.got;
        expect.resize(16, 'Z');
        EXPECT_EQ(expect, Bytes(buf, buf + 16));
        EXPECT_EQ(12u, b.Pos());
        EXPECT_EQ(r.left, left);
    }
    Block none(Image().Riff("WAVE").Chunk("fmt ", Filled(16)).Finish());
    none.Seek(12);
    char buf[4];
    EXPECT_EQ(LX_E_READ, mriff_GetInfoString(&none.s, Id("INAM"), buf, 4, nullptr));
    EXPECT_EQ(12u, none.Pos());
}

WAVEFORMATEX Format(WORD tag, WORD channels, DWORD rate, WORD bits, WORD cbSize = 0) {
    WAVEFORMATEX w;
    memset(&w, 0, sizeof w);
    w.wFormatTag = tag;
    w.nChannels = channels;
    w.nSamplesPerSec = rate;
    w.wBitsPerSample = bits;
    w.nAvgBytesPerSec = 12345;  // wrong on purpose
    w.nBlockAlign = 3;
    w.cbSize = cbSize;
    return w;
}

TEST(MriffWave, WriteWaveHeaderBytes) {
    const struct {
        const char *name;
        WAVEFORMATEX format;
        DWORD dataSize, extraSize;
        Bytes expect;
    } rows[] = {
        {"PCM: derived fields recomputed", Format(1, 2, 44100, 16, 99), 1000, 0,
         Image().Tag("RIFF").Word(1036).Tag("WAVE").Tag("fmt ").Word(16)
             .Raw(Bytes{1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0})
             .Tag("data").Word(1000).Finish()},
        {"odd total rounds up, extras counted", Format(1, 1, 8000, 8), 7, 2,
         Image().Tag("RIFF").Word(46).Tag("WAVE").Tag("fmt ").Word(16)
             .Raw(Bytes{1, 0, 1, 0, 0x40, 0x1F, 0, 0, 0x40, 0x1F, 0, 0, 1, 0, 8, 0})
             .Tag("data").Word(7).Finish()},
        {"20 bits: two bytes a sample", Format(1, 2, 1000, 20), 0, 0,
         Image().Tag("RIFF").Word(36).Tag("WAVE").Tag("fmt ").Word(16)
             .Raw(Bytes{1, 0, 2, 0, 0xE8, 3, 0, 0, 0xA0, 0x0F, 0, 0, 4, 0, 20, 0})
             .Tag("data").Word(0).Finish()},
        {"other tag: 18 bytes as given, cbSize ignored", Format(3, 1, 48000, 32, 22), 8, 0,
         Image().Tag("RIFF").Word(46).Tag("WAVE").Tag("fmt ").Word(18)
             .Raw(Bytes{3, 0, 1, 0, 0x80, 0xBB, 0, 0, 0x39, 0x30, 0, 0, 3, 0, 32, 0, 22, 0})
             .Tag("data").Word(8).Finish()},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        GuardBuffer g(64);
        tMRIFFSTREAM s;
        mriff_Init(&s, g.data(), 0, 64);
        ASSERT_EQ(LX_S_OK, mriff_WriteWaveHeader(&s, &r.format, r.dataSize, r.extraSize));
        DWORD written = (DWORD)(s.current - s.base);
        EXPECT_EQ(r.expect.size(), written);
        EXPECT_EQ(s.current, s.dataEnd);
        EXPECT_EQ(r.expect, Bytes(g.data(), g.data() + written));
    }
}

TEST(MriffWave, WriteWaveHeaderReportsAShortBlock) {
    const WAVEFORMATEX pcm = Format(1, 2, 44100, 16);
    const DWORD capacities[] = {0, 11, 19, 30, 40, 43};
    for (DWORD cap : capacities) {
        SCOPED_TRACE(cap);
        GuardBuffer g(cap);
        tMRIFFSTREAM s;
        mriff_Init(&s, g.data(), 0, cap);
        EXPECT_EQ(LX_E_WRITE, mriff_WriteWaveHeader(&s, &pcm, 0, 0));
        EXPECT_EQ(s.limit, s.current);
    }
}

Bytes WaveOf(const WAVEFORMATEX &w, const Bytes &data) {
    GuardBuffer g(64);
    tMRIFFSTREAM s;
    mriff_Init(&s, g.data(), 0, 64);
    mriff_WriteWaveHeader(&s, &w, (DWORD)data.size(), 0);
    Bytes b(g.data(), s.current);
    b.insert(b.end(), data.begin(), data.end());
    if (data.size() & 1) b.push_back(0);
    return b;
}

TEST(MriffWave, GetWfxReadsWhatWriteWaveHeaderWrote) {
    WAVEFORMATEX w;
    DWORD dataSize = 0;
    Block b(WaveOf(Format(1, 2, 44100, 16), Filled(12)));
    ASSERT_EQ(LX_S_OK, mriff_GetWfx(&w, b.g.data(), (DWORD)b.g.size(), &dataSize));
    EXPECT_EQ(1, +w.wFormatTag);
    EXPECT_EQ(2, +w.nChannels);
    EXPECT_EQ(44100u, +w.nSamplesPerSec);
    EXPECT_EQ(176400u, +w.nAvgBytesPerSec);
    EXPECT_EQ(4, +w.nBlockAlign);
    EXPECT_EQ(16, +w.wBitsPerSample);
    EXPECT_EQ(0, +w.cbSize);  // cleared: the chunk has 16 bytes
    EXPECT_EQ(12u, dataSize);
    EXPECT_EQ(LX_S_OK, mriff_GetWfx(&w, b.g.data(), (DWORD)b.g.size(), nullptr));
}

TEST(MriffWave, GetWfxRefusals) {
    const Bytes fmt16{1, 0, 1, 0, 0x40, 0x1F, 0, 0, 0x40, 0x1F, 0, 0, 1, 0, 8, 0};
    Bytes big = fmt16;
    big.resize(40, 0x77);
    Bytes riffx = WaveLike();
    riffx[3] = 'X';
    const struct {
        const char *name;
        Bytes image;
        HRESULT status;
        WORD cbSize;
    } rows[] = {
        {"data ahead of fmt", Image().Riff("WAVE").Chunk("data", Filled(3)).Chunk("fmt ", fmt16).Finish(), LX_S_OK, 0},
        {"long fmt: 18 bytes taken", Image().Riff("WAVE").Chunk("fmt ", big).Chunk("data", Filled(2)).Finish(), LX_S_OK, 0x7777},
        {"not RIFF", riffx, LXRIFF_E_NOTRIFF, 0},
        {"not WAVE", Image().Riff("AVI ").Chunk("fmt ", fmt16).Chunk("data", Filled(2)).Finish(), LX_E_FAIL, 0},
        {"no data", Image().Riff("WAVE").Chunk("fmt ", fmt16).Finish(), LX_E_NOTFOUND, 0},
        {"no fmt", Image().Riff("WAVE").Chunk("data", Filled(2)).Finish(), LX_E_NOTFOUND, 0},
        {"fmt cut by the block", Image().Riff("WAVE").Chunk("data", Filled(2)).Tag("fmt ").Word(16).Raw(Filled(6)).Finish(), LX_E_READ, 0},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Block b(r.image);
        WAVEFORMATEX w;
        memset(&w, 0x55, sizeof w);
        EXPECT_EQ(r.status, mriff_GetWfx(&w, b.g.data(), (DWORD)b.g.size(), nullptr));
        if (r.status == LX_S_OK) {
            EXPECT_EQ(8000u, +w.nSamplesPerSec);
            EXPECT_EQ(+r.cbSize, +w.cbSize);
        }
    }
    WAVEFORMATEX w;
    EXPECT_EQ(LX_E_POINTER, mriff_GetWfx(nullptr, riffx.data(), 12, nullptr));
    EXPECT_EQ(LX_E_POINTER, mriff_GetWfx(&w, nullptr, 12, nullptr));
}

// Written in memory, read back from memory: a header, then chunks and a
// list behind the data claimed by an outside writer.
TEST(MriffWave, WriteThenWalkInOneBlock) {
    GuardBuffer g(128);
    tMRIFFSTREAM s;
    mriff_Init(&s, g.data(), 0, 128);
    const WAVEFORMATEX pcm = Format(1, 1, 8000, 8);
    ASSERT_EQ(LX_S_OK, mriff_WriteWaveHeader(&s, &pcm, 5, 8 + 6 + 12));
    memcpy(s.current, "abcde", 5);
    EXPECT_EQ(6u, mriff_UpdateDataSize(&s, 6));
    mriff_SetFilePointer(&s, 0, nullptr, FILE_END);
    ASSERT_EQ(LX_S_OK, mriff_WriteChunkHeader(&s, Id("smpl"), 6));
    DWORD done = 0;
    ASSERT_TRUE(mriff_WriteFile(&s, "123456", 6, &done, nullptr));
    ASSERT_EQ(LX_S_OK, mriff_WriteListHeader(&s, Id("adtl"), 4));
    const DWORD end = (DWORD)(s.current - s.base);
    EXPECT_EQ(44u + 6 + 14 + 12, end);
    EXPECT_EQ(end - 8, WordAt(Bytes(g.data(), g.data() + end), 4));

    DWORD size = 0;
    EXPECT_EQ(LX_S_OK, mriff_FindListChunkFromStart(&s, Id("adtl"), &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(end, (DWORD)(s.current - s.base));
    mriff_SetFilePointer(&s, 0, nullptr, FILE_BEGIN);
    LONG left = (LONG)end;
    ASSERT_EQ(LX_S_OK, mriff_FindChunkHeaderInRIFF(&s, Id("smpl"), &size, &left));
    EXPECT_EQ(6u, size);
    EXPECT_EQ(18, left);
}

}  // namespace
