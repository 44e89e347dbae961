// Sox's AIFF and AIFC files rewritten in place byte for byte; with LXTEST_AIFF_KEEP set the results stay in
// aiff-rewritten\ beside the program for aiff_soxcheck.sh.
#include "iffimage.h"

using namespace ifftest;

namespace {

class AiffRewrite : public FileTest {
protected:
    Bytes Load(const char *fixture) {
        f.Reset(wavetest::ReadFileBytes(wavetest::FixtureDir() + fixture));
        return f.Contents();
    }
    void Keep(const char *name) {
        if (!getenv("LXTEST_AIFF_KEEP")) return;
        const std::string dir = lxtest::ExeDir() + "aiff-rewritten";
        CreateDirectoryA(dir.c_str(), nullptr);
        wavetest::WriteFileBytes(dir + "\\" + name, f.Contents());
    }
};

// Only the rate's ten bytes change, through a format record or through "COMM"; an AIFC keeps its compression type.
TEST_F(AiffRewrite, SoxFilesTakeANewRate) {
    const struct { const char *fixture, *keepAs; WORD channels; DWORD rate; BYTE words[4]; } rows[] = {
        {"aiff_16b_44100_2ch.aiff", "rate22050.aiff", 2, 22050, {0x40, 0x0D, 0xAC, 0x44}},
        {"aifc_16b_8000_1ch.aifc", "aifc11025.aifc", 0, 11025, {0x40, 0x0C, 0xAC, 0x44}},  // through COMM
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.fixture);
        Bytes want = Load(r.fixture);
        ASSERT_GT(want.size(), 88u);
        const tWAVEFORMATEX pcm = wavetest::Fmt(1, r.channels, r.rate, 16);
        tAIFFCOMM comm;
        if (r.channels) {
            ASSERT_EQ(LX_S_OK, Aiff_SetFileWfx(f.h(), &pcm));
        } else {
            ASSERT_EQ(LX_S_OK, Aiff_ReadComm(f.h(), &comm));
            ASSERT_EQ(LX_S_OK, aiff_CreateRate(r.rate, &comm.rate));
            ASSERT_EQ(LX_S_OK, Aiff_WriteComm(f.h(), &comm));
        }
        const size_t rate = Find(want, "COMM") + 16;
        std::copy(r.words, r.words + 4, want.begin() + rate);
        std::fill(want.begin() + rate + 4, want.begin() + rate + 10, 0);
        EXPECT_EQ(want, f.Contents());
        Keep(r.keepAs);
    }
}

// Markers of another size move to the end: behind the original bytes come the pad byte that sox left out of its
// odd SSND, INST and the new MARK, and the FORM grows by all three.
TEST_F(AiffRewrite, SoxFileTakesMarkersAndLoops) {
    const Bytes before = Load("aiff_24b_48000_1ch.aiff");
    ASSERT_EQ(1u, before.size() & 1);
    const tAIFFMARK first[] = {{1, 10, "start"}, {2, 300, "end"}};
    const tAIFFMARK second[] = {{1, 20, "loop start"}, {2, 400, "loop end"}};
    const tAIFFINST inst = {60, 0, 0, 127, 1, 127, 0, {1, 1, 2}, {0, 0, 0}};
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(f.h(), first, 2));
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(f.h(), &inst));
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(f.h(), second, 2));
    EXPECT_EQ(Image().Raw(before).U8(0).Chunk("INST", Inst(60, 0, 0, 127, 1, 127, 0, 1, 1, 2, 0, 0, 0))
                  .Chunk("MARK", Marks({{1, 20, "loop start"}, {2, 400, "loop end"}})).Finish(),
              f.Contents());
    Keep("loops.aiff");
}

}  // namespace
