// Every file sox writes at build time read back; AIFF's rate, format and rewrites (with
// LXTEST_AIFF_KEEP set the rewritten sox files stay in aiff-rewritten\ for aiff_soxcheck.sh).
#include "wavetest.h"

#include <cfloat>
#include <cmath>

using namespace ifftest;

namespace {

// The samples stand right behind the file's own data header, or at the SSND offset. Compressed
// AIFC ("fl32", "fl64") is no AIFF to this reader, and the extensible form no wave audio.
TEST(WaveFixture, SoxFilesReadBackExactly) {
    std::ifstream manifest(FixtureDir() + "manifest.txt");
    std::string name, type, encoding;
    DWORD bits, rate, channels, frames, accepted = 0, refused = 0;
    while (manifest >> name >> type >> encoding >> bits >> rate >> channels >> frames) {
        SCOPED_TRACE(name);
        const std::string path = FixtureDir() + name;
        const Bytes b = ReadFileBytes(path);
        const bool w64 = type == "w64", aiff = type[0] == 'a', isFloat = encoding == "floating-point";
        tWAVEFORMATEX want = Fmt(aiff ? (bits == 8 ? 0xFE01 : 0xFE02) : isFloat ? 3 : 1, channels, rate, bits);
        const Bytes id = aiff ? Bytes{'S', 'S', 'N', 'D'} : Cut(W64Fmt(), w64 ? 16 : 4);  // "fmt " is its tag
        const size_t at = std::search(b.begin(), b.end(), id.begin(), id.end()) - b.begin() + (w64 ? 24 : 8);
        ASSERT_LT(at + 18, b.size());
        const bool refuse = aiff ? isFloat : LE(b, at, 2) == 0xFFFE;
        EXPECT_EQ(aiff ? 0 : 1, (w64 ? LxFileIsWave64 : LxFileIsWave)(path.c_str(), TRUE));
        ULONGLONG got[2] = {};
        tWAVEFORMATEX *f = LxGetFileWfx(path.c_str(), &got[0], &got[1]);
        EXPECT_EQ(refuse ? std::vector<DWORD>() : Fields(want), f ? Fields(*f) : std::vector<DWORD>());
        EXPECT_EQ(std::vector<ULONGLONG>({f ? frames : 0, f && aiff ? at + 8 + BE(b, at) : got[1]}),
                  std::vector<ULONGLONG>(got, got + 2));
        if (f && !aiff) ExpectReads(path, Fields(want), frames, got[1]);
        free(f);
        ++(refuse ? refused : accepted);
    }
    EXPECT_TRUE(accepted + refused >= 4 * 4 * 7 * 3 + 4 && accepted > 200 && refused > 50)  // all of the manifest
        << accepted << " accepted, " << refused << " refused: the build writes the fixtures with sox";
}

// Rates as the writer makes them and back; kFile marks patterns only files hold.
TEST(AiffRate, BitPatternsBothWays) {
    const double kFile = -DBL_MAX;
    const struct { double rate; Ext words; HRESULT status; DWORD back; } rows[] = {
        {44100.25, {0x400E, 0xAC44, 0x4000, 0, 0}, LX_S_OK, 44100},  // truncated on the way back
        {384000, {0x4011, 0xBB80, 0, 0, 0}, LX_S_OK, 192000},        // the doubling stops past 96000
        {-HUGE_VAL, {0xFFFF, 0x8000, 0, 0, 0}, LX_E_INVALIDARG, 44100},  // negative reads 44100
        {NAN, {0x7FFF, 0xC000, 0, 0, 0}, LX_E_INVALIDARG, 98304},
        {kFile, {0x0000, 0x7FFF, 0xFFFF, 0xFFFF, 0xFFFF}, 0, 1},     // the fold rounds up to 1.0
        {kFile, {0x3FFE, 0x8000, 0, 0, 0}, 0, 1},                     // a negative count doubles nothing
        {kFile, {0x400E, 0x5622, 0, 0, 0}, 0, 22050},                 // no top bit
    };
    for (const auto &r : rows) {
        tAIFFEXTENDED x = {r.words[0], {r.words[1], r.words[2], r.words[3], r.words[4]}}, made = {7, {7, 7, 7, 7}};
        EXPECT_EQ(r.status, r.rate == kFile ? (made = x, 0) : aiff_CreateRate(r.rate, &made)) << &r - rows;
        EXPECT_EQ(std::make_pair(0, r.back), std::make_pair(memcmp(&x, &made, sizeof x), aiff_ConvertRate(&x)));
    }
    DWORD first = 0;  // the first whole rate that does not come back, plus one
    for (DWORD r = 0; r <= 192000 && !first; ++r) {
        tAIFFEXTENDED x;
        if (aiff_CreateRate(r, &x) != LX_S_OK || aiff_ConvertRate(&x) != r) first = r + 1;
    }
    EXPECT_EQ(0u, first);
}

// The guess takes audio formats only; a refusal leaves the outs alone; "odd " makes walks skip a pad.
TEST(AiffFile, RecognisedAndReadOrRefused) {
    auto aiff = [](const Bytes &comm, DWORD offset, const Bytes &data) {
        return Form("AIFF", {Chunk("odd ", Filled(5)), Chunk("COMM", comm), Chunk("SSND", Ssnd(offset, data))});
    };
    const std::vector<DWORD> no;
    const struct { Bytes bytes; HRESULT status; std::vector<DWORD> want; DWORD frames, at; bool audio; } rows[] = {
        {aiff(Comm(2, 3, 12, kRate44100), 4, Filled(19)), 0, {0xFE02, 2, 44100, 88200, 2, 12, 0}, 3, 72, 1},
        {aiff(Comm(1, 9, 16, kRate8000), 4, Filled(15)), 0, {0xFE02, 1, 8000, 16000, 2, 16, 0}, 5, 72, 1},
        {aiff(Comm(1, 2, 8, kRate8000), 0xFFFFFFFF, Filled(20)), 0, {0xFE01, 1, 8000, 8000, 1, 8, 0}, 0,
         0xFFFFFFFF, 1},
        {aiff(Comm(0xFFFF, 1, 16, kRate8000), 0, {}), 0, {0xFE02, 0xFFFF, 8000, 0xFFFE * 8000, 0xFFFE, 16, 0}, 0,
         68, 0},  // 65535 x 2 bytes matches only once cut to 16 bits
        {Aifc(Comm(1, 1, 16, kRate8000, "none"), Ssnd(0, {})), LXIFF_E_NOTAIFF, no, 0, 0, 0},
        {aiff(Filled(16), 0, {}), LX_E_READ, no, 0, 0, 0},  // COMM of 16 bytes
    };
    rifftest::TempFile f;
    for (const auto &r : rows) {
        SCOPED_TRACE(&r - rows);
        f.Reset(r.bytes);
        DWORD size = 7, outs[2] = {7, 7};
        EXPECT_EQ(std::make_pair(r.status != LXIFF_E_NOTAIFF, BE(r.bytes, 4)),
                  std::make_pair(iff_IsAIFFFile(f.h(), &size) != FALSE, size));
        tWAVEFORMATEX w = {}, *guess = &w;
        EXPECT_EQ(r.status, iff_GetAIFFWfx(f.h(), &w, &outs[0], &outs[1]));
        EXPECT_EQ(std::make_tuple(r.want, r.status ? 7 : r.frames, r.status ? 7 : r.at),
                  std::make_tuple(r.status ? no : Fields(w), outs[0], outs[1]));
        const HRESULT hr = Aiff_GetFileWfx(f.h(), &guess, nullptr, nullptr);
        EXPECT_EQ(std::make_pair(r.status ? r.status : r.audio ? LX_S_OK : LXIFF_E_NOTAIFF, r.audio ? r.want : no),
                  std::make_pair(hr, guess ? Fields(*guess) : no));
        free(guess);
    }
}

struct AiffRewrite : testing::Test {
    Bytes Load(const char *fixture) {
        f.Reset(ReadFileBytes(FixtureDir() + fixture));
        return f.Contents();
    }
    void Keep(const char *name) {
        if (!getenv("LXTEST_AIFF_KEEP")) return;
        CreateDirectoryA((lxtest::ExeDir() + "aiff-rewritten").c_str(), nullptr);
        WriteFileBytes(lxtest::ExeDir() + "aiff-rewritten\\" + name, f.Contents());
    }
    rifftest::TempFile f;
};

// Only the rate's ten bytes change, by a format record or by "COMM"; AIFC keeps its compression.
// A chunk taken out moves the rest down.
TEST_F(AiffRewrite, SoxFilesTakeANewRate) {
    Bytes want = Load("aiff_16b_44100_2ch.aiff");
    const tWAVEFORMATEX pcm = Fmt(1, 2, 22050, 16);
    ASSERT_EQ(LX_S_OK, Aiff_SetFileWfx(f.h(), &pcm));
    EXPECT_EQ(WithBE(WithBE(want, 62, 0x400DAC44), 66, 0, 6), f.Contents());
    Keep("rate22050.aiff");
    want = Load("aifc_16b_8000_1ch.aifc");
    tAIFFCOMM comm;
    ASSERT_EQ(LX_S_OK, Aiff_ReadComm(f.h(), &comm));
    ASSERT_EQ(LX_S_OK, aiff_CreateRate(11025, &comm.rate));
    ASSERT_EQ(LX_S_OK, Aiff_WriteComm(f.h(), &comm));
    EXPECT_EQ(WithBE(WithBE(want, 40, 0x400CAC44), 44, 0, 6), f.Contents());
    Keep("aifc11025.aifc");
    want = Load("aiff_32b_96000_6ch.aiff");  // its 34-byte "COMT" out: 24 KiB move down in rounds
    DWORD removed = 0;
    ASSERT_EQ(LX_S_OK, iff_DeleteChunk(f.h(), LXIFF_FOURCC('C', 'O', 'M', 'T'), &removed));
    EXPECT_EQ(std::make_pair(34ul, Sized(Cat({Cut(want, 12), Bytes(want.begin() + 46, want.end())}))),
              std::make_pair(removed, f.Contents()));
}

// Chunks of another size move to the end, behind the pad byte sox left out of its odd SSND, and
// the FORM grows by all three; the same size stays in place. A read-only handle changes nothing.
TEST_F(AiffRewrite, SoxFileTakesMarkersAndLoops) {
    const Bytes end = Sized(Cat({Load("aiff_24b_48000_1ch.aiff"), {0}}));
    const tAIFFMARK first[] = {{1, 10, "start"}, {2, 300, "end"}};
    const tAIFFMARK second[] = {{1, 20, "loop start"}, {2, 400, "loop end"}};
    const tAIFFINST inst = {60, 0, 0, 127, 1, 127, 0, {1, 1, 2}, {}}, other = {-1, 2, 3, 4, 5, 6, -7, {}, {}};
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(f.h(), first, 2));
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(f.h(), &inst));
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(f.h(), second, 2));
    const Bytes marks = {0, 2, 0, 1, 0, 0, 0, 20, 10, 'l', 'o', 'o', 'p', ' ', 's', 't', 'a', 'r', 't', 0,
                         0, 2, 0, 0, 1, 0x90, 8, 'l', 'o', 'o', 'p', ' ', 'e', 'n', 'd', 0};
    EXPECT_EQ(Sized(Cat({end, Chunk("INST", {60, 0, 0, 127, 1, 127, 0, 0, 0, 1, 0, 1, 0, 2, 0, 0, 0, 0, 0, 0}),
                         Chunk("MARK", marks)})), f.Contents());
    Keep("loops.aiff");
    tIFFMARKER m = {};
    ASSERT_EQ(LX_S_OK, iff_FindMarker(f.h(), &m, 2));  // past the first name and its pad
    EXPECT_EQ(std::vector<DWORD>({400, 8, (DWORD)end.size() + 28 + 8 + 2 + 18 + 7}),
              std::vector<DWORD>({m.position, m.nameLength, f.Pos()}));
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(f.h(), &other));
    EXPECT_EQ(Sized(Cat({end, Chunk("INST", {0xFF, 2, 3, 4, 5, 6, 0xFF, 0xF9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
                         Chunk("MARK", marks)})), f.Contents());
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(f.h(), nullptr));
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(f.h(), nullptr, 0));
    f.Reopen(GENERIC_READ);
    EXPECT_EQ(std::make_pair(LX_E_WRITE, LX_E_WRITE),
              std::make_pair(Aiff_WriteInst(f.h(), &inst), Aiff_WriteMarkers(f.h(), first, 2)));
    EXPECT_EQ(end, f.Contents());
}

}  // namespace
