// Every file sox writes at build time read back as the generator's parameters and the tests' own walk over its bytes
// say, through the wave reader and the AIFF calls; extensible WAVE and compressed AIFC are refused.
#include "iffimage.h"

using namespace wavetest;

namespace {

// The AIFF calls on a file they take: sox's layout, then the format exactly, the guess agreeing and keeping the
// cursor. On any other file they refuse and touch nothing.
void AiffCalls(const FixtureLine &l, const Bytes &b, HANDLE h, bool takes, ULONGLONG dataAt) {
    DWORD formSize = 0, frames = 0xAAAA, offset = 0;
    BOOL compressed = 7;
    EXPECT_EQ(takes, !!iff_IsAIFFFileEx(h, &formSize, &compressed));
    EXPECT_EQ(l.type == "aifc", !!compressed);
    tWAVEFORMATEX w, *guess = &w;
    memset(&w, 0xCD, sizeof w);
    if (!takes) {
        EXPECT_EQ(LXIFF_E_NOTAIFF, iff_GetAIFFWfx(h, &w, &frames, nullptr));
        EXPECT_EQ(0xAAAAu, frames);
        EXPECT_EQ(LXIFF_E_NOTAIFF, Aiff_GetFileWfx(h, &guess, nullptr, nullptr));
        EXPECT_EQ(nullptr, guess);
        return;
    }
    // sox puts the samples behind FORM, "COMT", "COMM" in AIFF and FORM, "FVER", "COMM" in AIFC. It never counts
    // the pad of an odd SSND in the FORM size, and writes the pad byte itself at 8 bits only.
    const size_t comm = ifftest::Find(b, "COMM");
    EXPECT_EQ(std::vector<DWORD>({l.channels, l.frames, l.bits}),
              std::vector<DWORD>({ifftest::BE16At(b, comm + 8), ifftest::BE32At(b, comm + 10),
                                  ifftest::BE16At(b, comm + 14)}));
    EXPECT_EQ(l.type == "aifc" ? 86u : 88u, dataAt);
    const DWORD dataBytes = l.frames * (l.bits / 8 * l.channels);
    EXPECT_EQ(dataAt - 8 + dataBytes, ifftest::BE32At(b, 4));
    EXPECT_EQ(dataAt - 8 + dataBytes, formSize);
    EXPECT_EQ(dataAt + dataBytes + (l.bits == 8 ? (dataBytes & 1) : 0), b.size());
    ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(h, &w, &frames, &offset));
    EXPECT_EQ(Fields(Fmt(l.bits == 8 ? 0xFE01 : 0xFE02, l.channels, l.rate, l.bits)), Fields(w));
    EXPECT_EQ(std::vector<ULONGLONG>({l.frames, dataAt}), std::vector<ULONGLONG>({frames, offset}));
    SeekTo(h, 5);
    ULONGLONG frames64 = 0, offset64 = 0;
    ASSERT_EQ(LX_S_OK, Aiff_GetFileWfx(h, &guess, &frames64, &offset64));
    EXPECT_EQ(Fields(w), Fields(*guess));
    EXPECT_EQ(std::vector<ULONGLONG>({l.frames, dataAt, 5}), std::vector<ULONGLONG>({frames64, offset64, Pos(h)}));
    free(guess);
}

TEST(WaveFixture, SoxFilesReadBackExactly) {
    const std::vector<FixtureLine> lines = Manifest();
    ASSERT_FALSE(lines.empty()) << "no fixtures in " << FixtureDir() << ": the build writes them with sox";
    int accepted = 0, refused = 0, aiff = 0;
    for (const FixtureLine &l : lines) {
        SCOPED_TRACE(l.name);
        const std::string path = FixtureDir() + l.name;
        const Bytes b = ReadFileBytes(path);
        ASSERT_GT(b.size(), 12u);
        const bool w64 = l.type == "w64", isAiff = l.type == "aiff" || l.type == "aifc";
        const bool isFloat = l.encoding == "floating-point";
        EXPECT_EQ(l.rate / 100 + 10 * l.channels + l.bits / 8, l.frames);  // the generator's rule
        ULONGLONG frames = 0, offset = 0, dataAt = 0;
        tWAVEFORMATEX *got = LxGetFileWfx(path.c_str(), &frames, &offset);
        const WORD tag = isAiff ? (l.bits == 8 ? 0xFE01 : 0xFE02) : isFloat ? 3 : 1;
        tWAVEFORMATEX want = Fmt(tag, l.channels, l.rate, l.bits);
        bool refuse = isAiff && isFloat;  // compressed AIFC ("fl32", "fl64") is no AIFF to this reader
        if (isAiff) {
            EXPECT_EQ(0, LxFileIsWave(path.c_str(), TRUE));
            EXPECT_EQ(0, LxFileIsWave64(path.c_str(), TRUE));
            const size_t comm = ifftest::Find(b, "COMM"), ssnd = ifftest::Find(b, "SSND");
            ASSERT_TRUE(comm && ssnd);
            EXPECT_EQ(refuse ? (l.bits == 32 ? "fl32" : "fl64") : l.type == "aifc" ? "NONE" : "",
                      l.type == "aifc" ? std::string(b.begin() + comm + 26, b.begin() + comm + 30) : "");
            dataAt = ssnd + 16 + ifftest::BE32At(b, ssnd + 8);
        } else {
            const DataChunk d = Walk(b, w64);
            ASSERT_GE(d.fmt.size(), 16u);
            ASSERT_NE(0u, d.offset);
            auto isWave = w64 ? LxFileIsWave64 : LxFileIsWave;
            EXPECT_EQ(0, (w64 ? LxFileIsWave : LxFileIsWave64)(path.c_str(), TRUE));
            EXPECT_EQ(1, isWave(path.c_str(), TRUE));
            refuse = Get16(d.fmt, 0) == 0xFFFE;  // the extensible form is not in the audio table
            if (!refuse) { EXPECT_EQ(tag, Get16(d.fmt, 0)); }
            EXPECT_EQ(refuse ? 0 : 1, isWave(path.c_str(), FALSE));
            EXPECT_EQ((ULONGLONG)l.frames * want.nBlockAlign, d.size);
            // The block carries the whole chunk: a fmt of 16 has no extra size.
            if (d.fmt.size() >= 18) want.cbSize = Get16(d.fmt, 16);
            dataAt = d.offset;
        }
        HANDLE h = OpenR(path);
        ASSERT_NE(INVALID_HANDLE_VALUE, h);
        AiffCalls(l, b, h, isAiff && !isFloat, dataAt);
        CloseHandle(h);
        aiff += isAiff && !isFloat;
        if (refuse) {
            EXPECT_EQ(nullptr, got);
            ++refused;
            continue;
        }
        ASSERT_NE(nullptr, got);
        EXPECT_EQ(Fields(want), Fields(*got));
        EXPECT_EQ(std::vector<ULONGLONG>({l.frames, dataAt}), std::vector<ULONGLONG>({frames, offset}));
        free(got);
        ++accepted;
    }
    // Every file of the generator's main loops, and the cases added behind.
    EXPECT_EQ(2 * 4 * 7 * 3, aiff);
    EXPECT_GE(accepted + refused, 4 * 4 * 7 * 3 + 4);
    EXPECT_GT(accepted, 200);
    EXPECT_GT(refused, 50);
}

}  // namespace
