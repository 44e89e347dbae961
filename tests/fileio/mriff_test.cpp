// What only the memory family has: the cursor record and the calls shaped
// like the Windows file calls, the INFO string reader, and the wave header
// writer and reader. Blocks sit flush against a guard page.
#include "riffimage.h"

#include <tuple>

using namespace rifftest;
using std::make_tuple;

namespace {

TEST(MriffCursor, InitFillsTheRecordAndBadRecordsAreRefused) {
    BYTE block[32];
    tMRIFFSTREAM s = {};
    EXPECT_EQ(LX_E_POINTER, mriff_Init(nullptr, block, 4, 8));
    EXPECT_EQ(LX_E_INVALIDARG, mriff_Init(&s, block, 9, 8));
    EXPECT_EQ(LX_E_INVALIDARG, mriff_Init(&s, nullptr, 0, 8));
    EXPECT_EQ(LX_S_OK, mriff_Init(&s, nullptr, 0, 0));
    ASSERT_EQ(LX_S_OK, mriff_Init(&s, block, 12, 32));
    EXPECT_EQ(make_tuple(block, block, block + 12, block + 32, 12ul, 32ul),
              make_tuple(s.base, s.current, s.dataEnd, s.limit, s.size, s.capacity));
    EXPECT_EQ(block, mriff_GetFilePointer(&s));
    // An outside writer claims bytes behind the data, up to the limit; only
    // Init writes size.
    EXPECT_EQ(3u, mriff_UpdateDataSize(&s, 3));
    EXPECT_EQ(17u, mriff_UpdateDataSize(&s, 100));
    EXPECT_EQ(0u, mriff_UpdateDataSize(&s, 1));
    EXPECT_EQ(make_tuple(block + 32, 12ul), make_tuple(s.dataEnd, s.size));
    s.dataEnd = block + 8;
    s.current = block + 12;  // past dataEnd
    DWORD a = 0, b = 7;
    EXPECT_EQ(LX_E_INVALIDARG, mriff_ReadChunkHeader(&s, &a, &b));
    EXPECT_EQ(nullptr, mriff_GetFilePointer(&s));
    EXPECT_EQ(LX_E_POINTER, mriff_ReadChunkHeader(nullptr, &a, &b));
    EXPECT_EQ(INVALID_SET_FILE_POINTER, mriff_SetFilePointer(nullptr, 0, nullptr, FILE_BEGIN));
    EXPECT_FALSE(mriff_ReadFile(nullptr, &a, 4, &b, nullptr));
    EXPECT_EQ(0u, b);
    EXPECT_EQ(0u, mriff_SkipChunk(nullptr, 4));
    EXPECT_EQ(0u, mriff_UpdateDataSize(nullptr, 4));
    EXPECT_EQ(LX_E_POINTER, mriff_WriteWaveHeader(nullptr, nullptr, 0, 0));
}

TEST(MriffCursor, SetFilePointerClampsToTheData) {
    BYTE block[120] = {};
    const struct { LONG distance; DWORD method, expect; } rows[] = {
        {10, FILE_BEGIN, 10},   {-5, FILE_BEGIN, 0},    {200, FILE_BEGIN, 100},  // dataEnd, not limit
        {10, FILE_CURRENT, 50}, {-50, FILE_CURRENT, 0}, {LONG_MIN, FILE_CURRENT, 0}, {LONG_MAX, FILE_CURRENT, 100},
        {-10, FILE_END, 90},    {5, FILE_END, 100},     {7, 3, 40}};  // an unknown method does not move
    for (const auto &r : rows) {
        tMRIFFSTREAM s;
        mriff_Init(&s, block, 100, 120);
        s.current = block + 40;
        LONG high = 77;  // not used
        const DWORD to = mriff_SetFilePointer(&s, r.distance, &high, r.method);
        EXPECT_EQ(make_tuple(r.expect, block + r.expect, 77L), make_tuple(to, s.current, high)) << r.distance;
        s.current = block + 40;
        EXPECT_EQ(r.expect, mriff_LxSetFilePointer(&s, r.distance, r.method)) << r.distance;
    }
}

// A read answers TRUE only when all was there; a write copies what fits
// below the limit and answers TRUE, and the header writers turn a short
// word into a write failure.
TEST(MriffCursor, ReadAndWriteFileAnswerLikeTheWindowsCalls) {
    const struct { DWORD count, done; BOOL result; } rows[] = {
        {10, 10, TRUE}, {11, 10, FALSE}, {0, 0, TRUE}, {0x80000000, 0, FALSE}, {0xFFFFFFFF, 0, FALSE}};
    Layer m(kMemory);
    m.Load(Filled(100));
    for (const auto &r : rows) {
        m.Seek(90);
        BYTE buf[16] = {};
        DWORD done = 99;
        const BOOL result = mriff_ReadFile(&m.s, buf, r.count, &done, nullptr);
        EXPECT_EQ(make_tuple(r.result, r.done, 90ull + r.done, (BYTE)(r.done ? 91 : 0)),
                  make_tuple(result, done, m.Pos(), buf[0])) << r.count;
    }
    m.Load(Bytes{}, 10);
    DWORD done = 0;
    EXPECT_TRUE(mriff_WriteFile(&m.s, "12345678", 8, &done, nullptr));
    EXPECT_EQ(make_tuple(8ul, m.s.base + 8), make_tuple(done, m.s.dataEnd));
    EXPECT_TRUE(mriff_WriteFile(&m.s, "abcd", 4, &done, nullptr));
    EXPECT_EQ(make_tuple(2ul, Text("12345678ab", false)), make_tuple(done, m.Contents()));
    m.Seek(6);
    EXPECT_EQ(LX_E_WRITE, mriff_WriteChunkHeader(&m.s, Id("abcd"), 5));
    EXPECT_EQ(10u, m.Pos());
    m.Seek(0);
    EXPECT_EQ(LX_E_WRITE, mriff_WriteFileID(&m.s, Id("WAVE"), 5));
    m.Seek(0);
    EXPECT_EQ(LX_E_WRITE, mriff_WriteListHeader(&m.s, Id("INFO"), 5));
    m.Load(Bytes{}, 32);
    ASSERT_EQ(LX_S_OK, mriff_WriteFileID(&m.s, Id("LX6U"), 0x01020304));
    ASSERT_EQ(LX_S_OK, mriff_WriteChunkHeader(&m.s, Id("UHDR"), 72));
    ASSERT_EQ(LX_S_OK, mriff_WriteListHeader(&m.s, Id("INFO"), 5));
    EXPECT_EQ(Image().Tag("RIFF").Word(0x01020304).Tag("LX6U").Tag("UHDR").Word(72).Tag("LIST").Word(5).Tag("INFO")
                  .Finish(), m.Contents());
}

TEST(MriffInfo, GetInfoStringPutsTheCursorBack) {
    const struct { const char *id; DWORD bufferSize; HRESULT status; Bytes got; } rows[] = {
        {"INAM", 16, LX_S_OK, Text("Name")}, {"ISFT", 16, LX_S_OK, Text("x")},
        {"INAM", 2, LX_S_OK, Bytes{'N', 'a'}},  // a short buffer gets no terminator
        {"IART", 16, LX_E_NOTFOUND, Bytes{}}};
    Layer m(kMemory);
    m.Load(WaveLike());
    for (const auto &r : rows) {
        m.Seek(12);
        char buf[16];
        memset(buf, 'Z', sizeof buf);
        LONG left = 150;
        const HRESULT hr = mriff_GetInfoString(&m.s, Id(r.id), buf, r.bufferSize, &left);
        Bytes expect = r.got;
        expect.resize(16, 'Z');
        EXPECT_EQ(make_tuple(r.status, expect, 12ull, 114L), make_tuple(hr, Bytes(buf, buf + 16), m.Pos(), left))
            << r.id << " " << r.bufferSize;
    }
    m.Load(Image().Riff("WAVE").Chunk("fmt ", Filled(16)).Finish());
    m.Seek(12);
    char buf[4];
    EXPECT_EQ(LX_E_READ, mriff_GetInfoString(&m.s, Id("INAM"), buf, 4, nullptr));
    EXPECT_EQ(12u, m.Pos());
}

WAVEFORMATEX Format(WORD tag, WORD channels, DWORD rate, WORD bits, WORD cbSize = 0) {
    return WAVEFORMATEX{tag, channels, rate, 12345, 3, bits, cbSize};  // average and align wrong on purpose
}

Bytes WaveHeader(DWORD riffSize, const Bytes &fmt, DWORD dataSize) {
    return Image().Tag("RIFF").Word(riffSize).Tag("WAVE").Tag("fmt ").Word((DWORD)fmt.size()).Raw(fmt)
        .Tag("data").Word(dataSize).Finish();
}

TEST(MriffWave, WriteWaveHeaderBytes) {
    const struct { const char *name; WAVEFORMATEX format; DWORD dataSize, extraSize; Bytes expect; } rows[] = {
        {"PCM: derived fields recomputed", Format(1, 2, 44100, 16, 99), 1000, 0,
         WaveHeader(1036, Bytes{1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0}, 1000)},
        {"odd total rounds up, extras counted", Format(1, 1, 8000, 8), 7, 2,
         WaveHeader(46, Bytes{1, 0, 1, 0, 0x40, 0x1F, 0, 0, 0x40, 0x1F, 0, 0, 1, 0, 8, 0}, 7)},
        {"20 bits: two bytes a sample", Format(1, 2, 1000, 20), 0, 0,
         WaveHeader(36, Bytes{1, 0, 2, 0, 0xE8, 3, 0, 0, 0xA0, 0x0F, 0, 0, 4, 0, 20, 0}, 0)},
        {"other tag: 18 bytes as given, cbSize ignored", Format(3, 1, 48000, 32, 22), 8, 0,
         WaveHeader(46, Bytes{3, 0, 1, 0, 0x80, 0xBB, 0, 0, 0x39, 0x30, 0, 0, 3, 0, 32, 0, 22, 0}, 8)}};
    Layer m(kMemory);
    for (const auto &r : rows) {
        m.Load(Bytes{}, 64);
        ASSERT_EQ(LX_S_OK, mriff_WriteWaveHeader(&m.s, &r.format, r.dataSize, r.extraSize)) << r.name;
        EXPECT_EQ(make_tuple(r.expect, m.s.dataEnd), make_tuple(m.Contents(), m.s.current)) << r.name;
    }
    const WAVEFORMATEX pcm = Format(1, 2, 44100, 16);
    for (DWORD cap : {0, 11, 19, 30, 40, 43}) {  // short in each part
        m.Load(Bytes{}, cap);
        EXPECT_EQ(LX_E_WRITE, mriff_WriteWaveHeader(&m.s, &pcm, 0, 0)) << cap;
        EXPECT_EQ(m.s.limit, m.s.current);
    }
}

// The first 18 bytes of "fmt " wherever it stands, into a cleared record.
TEST(MriffWave, GetWfxReadsTheFormatAndDataSize) {
    const Bytes fmt16{1, 0, 2, 0, 0x40, 0x1F, 0, 0, 0, 0x7D, 0, 0, 4, 0, 16, 0};
    Bytes big = fmt16, riffx = WaveLike();
    big.resize(40, 0x77);
    riffx[3] = 'X';
    const struct { const char *name; Bytes image; HRESULT status; WORD cbSize; DWORD dataSize; } rows[] = {
        {"data ahead of fmt", Image().Riff("WAVE").Chunk("data", Filled(3)).Chunk("fmt ", fmt16).Finish(), LX_S_OK,
         0, 3},
        {"long fmt: 18 bytes taken", Image().Riff("WAVE").Chunk("fmt ", big).Chunk("data", Filled(2)).Finish(),
         LX_S_OK, 0x7777, 2},
        {"not RIFF", riffx, LXRIFF_E_NOTRIFF, 0x5555, 99},
        {"not WAVE", Image().Riff("AVI ").Chunk("fmt ", fmt16).Chunk("data", Filled(2)).Finish(), LX_E_FAIL, 0x5555,
         99},
        {"no data", Image().Riff("WAVE").Chunk("fmt ", fmt16).Finish(), LX_E_NOTFOUND, 0x5555, 99},
        {"no fmt", Image().Riff("WAVE").Chunk("data", Filled(2)).Finish(), LX_E_NOTFOUND, 0x5555, 99},
        {"fmt cut by the block",
         Image().Riff("WAVE").Chunk("data", Filled(2)).Tag("fmt ").Word(16).Raw(Filled(6)).Finish(), LX_E_READ, 0,
         2}};
    Layer m(kMemory);
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        m.Load(r.image);
        WAVEFORMATEX w;
        memset(&w, 0x55, sizeof w);
        DWORD dataSize = 99;
        const HRESULT hr = mriff_GetWfx(&w, m.s.base, m.len, &dataSize);
        EXPECT_EQ(make_tuple(r.status, r.cbSize, r.dataSize), make_tuple(hr, +w.cbSize, dataSize));
        if (r.status == LX_S_OK) {
            EXPECT_EQ(make_tuple(1, 2, 8000ul, 32000ul, 4, 16),
                      make_tuple(+w.wFormatTag, +w.nChannels, +w.nSamplesPerSec, +w.nAvgBytesPerSec,
                                 +w.nBlockAlign, +w.wBitsPerSample));
        }
    }
    WAVEFORMATEX w;
    EXPECT_EQ(LX_E_POINTER, mriff_GetWfx(nullptr, riffx.data(), 12, nullptr));
    EXPECT_EQ(LX_E_POINTER, mriff_GetWfx(&w, nullptr, 12, nullptr));
}

}  // namespace
