// AIFF and AIFC files written by sox at build time (tools/fixtures): every
// depth, rate and channel count read back exactly. Expected values come from
// the generator's parameters and from the test's own walk over the bytes,
// never from the reader under test. Compressed AIFC and wave files are
// refused.
#include "iffimage.h"

#include <fstream>
#include <set>
#include <sstream>

using namespace ifftest;

namespace {

const int kBits[] = {8, 16, 24, 32};
const DWORD kRates[] = {8000, 11025, 12345, 22050, 44100, 48000, 96000};
const int kChannels[] = {1, 2, 6};

std::string FixtureDir() { return lxtest::ExeDir() + "fixtures\\audio\\"; }

std::string Name(const char *type, int bits, DWORD rate, int channels) {
    std::ostringstream s;
    s << type << '_' << bits << "b_" << rate << '_' << channels << "ch." << type;
    return s.str();
}

// The generator's rule for the length of each file.
DWORD FramesFor(DWORD rate, int channels, int bits) { return rate / 100 + 10 * channels + bits / 8; }

std::set<std::string> ManifestLines() {
    std::set<std::string> lines;
    std::ifstream in(FixtureDir() + "manifest.txt");
    for (std::string line; std::getline(in, line);) lines.insert(line);
    return lines;
}

class Handle {
public:
    explicit Handle(const std::string &path)
        : h_(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                         FILE_ATTRIBUTE_NORMAL, nullptr)) {}
    ~Handle() {
        if (h_ != INVALID_HANDLE_VALUE) CloseHandle(h_);
    }
    HANDLE h() const { return h_; }

private:
    HANDLE h_;
};

TEST(AiffFixture, SoxFilesReadBackExactly) {
    const std::set<std::string> manifest = ManifestLines();
    ASSERT_FALSE(manifest.empty()) << "no fixtures in " << FixtureDir() << ": the build writes them with sox";
    int files = 0;
    for (const char *type : {"aiff", "aifc"}) {
        const bool aifc = type[3] == 'c';
        for (int bits : kBits) {
            for (DWORD rate : kRates) {
                for (int ch : kChannels) {
                    const std::string name = Name(type, bits, rate, ch);
                    SCOPED_TRACE(name);
                    const DWORD frames = FramesFor(rate, ch, bits);
                    std::ostringstream line;
                    line << name << ' ' << type << " signed-integer " << bits << ' ' << rate << ' ' << ch << ' ' << frames;
                    EXPECT_EQ(1u, manifest.count(line.str()));

                    // The test's own reading of the bytes.
                    const Bytes b = ReadWhole(FixtureDir() + name);
                    ASSERT_GT(b.size(), 12u);
                    const std::vector<Seen> chunks = Walk(b);
                    const Seen *comm = Find(chunks, "COMM");
                    const Seen *ssnd = Find(chunks, "SSND");
                    ASSERT_TRUE(comm && ssnd);
                    EXPECT_EQ(ch, BE16At(b, comm->at + 8));
                    EXPECT_EQ(frames, BE32At(b, comm->at + 10));
                    EXPECT_EQ(bits, BE16At(b, comm->at + 14));
                    if (aifc) {
                        EXPECT_EQ(std::string("NONE"), std::string(b.begin() + comm->at + 26, b.begin() + comm->at + 30));
                    }
                    const DWORD dataAt = (DWORD)ssnd->at + 16 + BE32At(b, ssnd->at + 8);
                    // Where sox puts the samples: behind FORM, "COMT", "COMM"
                    // for AIFF; behind FORM, "FVER", "COMM" for AIFC.
                    EXPECT_EQ(aifc ? 86u : 88u, dataAt);
                    const DWORD align = (DWORD)(bits / 8 * ch);
                    const DWORD dataBytes = frames * align;
                    // sox never counts the pad of an odd SSND in the FORM
                    // size, and writes the pad byte itself at 8 bits only.
                    const DWORD formExpected = dataAt - 8 + dataBytes;
                    EXPECT_EQ(formExpected, BE32At(b, 4));
                    EXPECT_EQ(dataAt + dataBytes + (bits == 8 ? (dataBytes & 1) : 0), b.size());

                    Handle file(FixtureDir() + name);
                    ASSERT_NE(INVALID_HANDLE_VALUE, file.h());
                    DWORD formSize = 0;
                    BOOL compressed = 7;
                    EXPECT_TRUE(iff_IsAIFFFileEx(file.h(), &formSize, &compressed));
                    EXPECT_EQ(formExpected, formSize);
                    EXPECT_EQ(aifc ? TRUE : FALSE, compressed);

                    tWAVEFORMATEX w;
                    memset(&w, 0xCD, sizeof w);
                    DWORD gotFrames = 0, offset = 0;
                    ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(file.h(), &w, &gotFrames, &offset));
                    EXPECT_EQ(bits == 8 ? 0xFE01 : 0xFE02, +w.wFormatTag);
                    EXPECT_EQ(ch, +w.nChannels);
                    EXPECT_EQ(rate, +w.nSamplesPerSec);
                    EXPECT_EQ(align * rate, +w.nAvgBytesPerSec);
                    EXPECT_EQ(align, +w.nBlockAlign);
                    EXPECT_EQ(bits, +w.wBitsPerSample);
                    EXPECT_EQ(0, +w.cbSize);
                    EXPECT_EQ(frames, gotFrames);
                    EXPECT_EQ(dataAt, offset);

                    // The wave reader's guess agrees and leaves the cursor.
                    SetFilePointer(file.h(), 5, nullptr, FILE_BEGIN);
                    tWAVEFORMATEX *guess = nullptr;
                    ULONGLONG frames64 = 0, offset64 = 0;
                    ASSERT_EQ(LX_S_OK, Aiff_GetFileWfx(file.h(), &guess, &frames64, &offset64));
                    EXPECT_EQ(0, memcmp(&w, guess, sizeof w));
                    EXPECT_EQ(frames, frames64);
                    EXPECT_EQ(dataAt, offset64);
                    EXPECT_EQ(5u, SetFilePointer(file.h(), 0, nullptr, FILE_CURRENT));
                    free(guess);
                    ++files;
                }
            }
        }
    }
    EXPECT_EQ(168, files);
}

TEST(AiffFixture, CompressedAifcAndWaveFilesAreRefused) {
    const struct {
        const char *name;
        const char *compression;  // as the test reads it from "COMM", or null
    } rows[] = {
        {"aifc_f32_44100_2ch.aifc", "fl32"},
        {"aifc_f64_8000_1ch.aifc", "fl64"},
        {"wav_16b_44100_2ch.wav", nullptr},
        {"w64_24b_48000_6ch.w64", nullptr},
        {"wav_f32_44100_2ch.wav", nullptr},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        const Bytes b = ReadWhole(FixtureDir() + r.name);
        ASSERT_GT(b.size(), 12u);
        if (r.compression) {
            const Seen *comm = Find(Walk(b), "COMM");
            ASSERT_TRUE(comm);
            EXPECT_EQ(std::string(r.compression), std::string(b.begin() + comm->at + 26, b.begin() + comm->at + 30));
        }
        Handle file(FixtureDir() + r.name);
        ASSERT_NE(INVALID_HANDLE_VALUE, file.h());
        BOOL compressed = 7;
        EXPECT_FALSE(iff_IsAIFFFileEx(file.h(), nullptr, &compressed));
        EXPECT_EQ(r.compression ? TRUE : FALSE, compressed);
        tWAVEFORMATEX w;
        DWORD frames = 0xAAAA;
        EXPECT_EQ(LXIFF_E_NOTAIFF, iff_GetAIFFWfx(file.h(), &w, &frames, nullptr));
        EXPECT_EQ(0xAAAAu, frames);
        tWAVEFORMATEX *guess = &w;
        EXPECT_EQ(LXIFF_E_NOTAIFF, Aiff_GetFileWfx(file.h(), &guess, nullptr, nullptr));
        EXPECT_EQ(nullptr, guess);
    }
}

// ---- Rewrites of sox files --------------------------------------------------------

// A copy of a fixture to rewrite. With LXTEST_AIFF_KEEP set, the result is
// also left in aiff-rewritten\ beside the program for sox to read.
class Scratch {
public:
    Scratch(const char *fixture, const char *keepAs) : keepAs_(keepAs) {
        path_ = lxtest::ExeDir() + lxtest::UniqueName("aiff") + ".aif";
        CopyFileA((FixtureDir() + fixture).c_str(), path_.c_str(), FALSE);
        h_ = CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
    }
    ~Scratch() {
        if (h_ != INVALID_HANDLE_VALUE) CloseHandle(h_);
        if (getenv("LXTEST_AIFF_KEEP")) {
            const std::string dir = lxtest::ExeDir() + "aiff-rewritten";
            CreateDirectoryA(dir.c_str(), nullptr);
            CopyFileA(path_.c_str(), (dir + "\\" + keepAs_).c_str(), FALSE);
        }
        DeleteFileA(path_.c_str());
    }
    HANDLE h() const { return h_; }
    Bytes Contents() const {
        const DWORD pos = SetFilePointer(h_, 0, nullptr, FILE_CURRENT);
        Bytes b(GetFileSize(h_, nullptr));
        SetFilePointer(h_, 0, nullptr, FILE_BEGIN);
        DWORD got = 0;
        if (!b.empty()) ReadFile(h_, b.data(), (DWORD)b.size(), &got, nullptr);
        b.resize(got);
        SetFilePointer(h_, (LONG)pos, nullptr, FILE_BEGIN);
        return b;
    }

private:
    std::string path_, keepAs_;
    HANDLE h_ = INVALID_HANDLE_VALUE;
};

TEST(AiffRewrite, SoxFileTakesANewRate) {
    Scratch s("aiff_16b_44100_2ch.aiff", "rate22050.aiff");
    ASSERT_NE(INVALID_HANDLE_VALUE, s.h());
    const Bytes before = s.Contents();
    tWAVEFORMATEX pcm = {};
    pcm.wFormatTag = 1;
    pcm.nChannels = 2;
    pcm.nSamplesPerSec = 22050;
    pcm.wBitsPerSample = 16;
    ASSERT_EQ(LX_S_OK, Aiff_SetFileWfx(s.h(), &pcm));

    // Only the rate's ten bytes changed.
    Bytes expected = before;
    const Seen *comm = Find(Walk(before), "COMM");
    ASSERT_TRUE(comm);
    const BYTE rate22050[10] = {0x40, 0x0D, 0xAC, 0x44, 0, 0, 0, 0, 0, 0};
    std::copy(rate22050, rate22050 + 10, expected.begin() + comm->at + 16);
    EXPECT_EQ(expected, s.Contents());

    tWAVEFORMATEX w;
    DWORD frames = 0, offset = 0;
    ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(s.h(), &w, &frames, &offset));
    EXPECT_EQ(22050u, +w.nSamplesPerSec);
    EXPECT_EQ(88200u, +w.nAvgBytesPerSec);
    EXPECT_EQ(FramesFor(44100, 2, 16), frames);
    EXPECT_EQ(88u, offset);
}

TEST(AiffRewrite, SoxFileTakesMarkersAndLoops) {
    Scratch s("aiff_24b_48000_1ch.aiff", "loops.aiff");
    ASSERT_NE(INVALID_HANDLE_VALUE, s.h());
    const Bytes before = s.Contents();
    const tAIFFMARK first[] = {{1, 10, "start"}, {2, 300, "end"}};
    const tAIFFMARK second[] = {{1, 20, "loop start"}, {2, 400, "loop end"}};
    const tAIFFINST inst = {60, 0, 0, 127, 1, 127, 0, {1, 1, 2}, {0, 0, 0}};
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(s.h(), first, 2));
    ASSERT_EQ(LX_S_OK, Aiff_WriteInst(s.h(), &inst));
    ASSERT_EQ(LX_S_OK, Aiff_WriteMarkers(s.h(), second, 2));  // another size: moved to the end

    // The original bytes, the pad byte that sox left out of its odd SSND,
    // then INST and the new MARK; the FORM grows by all three.
    ASSERT_EQ(1u, before.size() & 1);
    Image tail;
    tail.U8(0)
        .Chunk("INST", Inst(60, 0, 0, 127, 1, 127, 0, 1, 1, 2, 0, 0, 0))
        .Chunk("MARK", Marks({{1, 20, "loop start"}, {2, 400, "loop end"}}));
    Bytes expected = before;
    const Bytes t = tail.Body();
    expected.insert(expected.end(), t.begin(), t.end());
    PutBE32At(expected, 4, (DWORD)expected.size() - 8);
    EXPECT_EQ(expected, s.Contents());

    const struct {
        WORD id;
        DWORD position;
        const char *name;
    } rows[] = {{1, 20, "loop start"}, {2, 400, "loop end"}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        tIFFMARKER m;
        ASSERT_EQ(LX_S_OK, iff_FindMarker(s.h(), &m, r.id));
        EXPECT_EQ(r.position, m.position);
        char name[256] = {0};
        DWORD got = 0;
        ASSERT_TRUE(ReadFile(s.h(), name, m.nameLength, &got, nullptr));
        EXPECT_STREQ(r.name, name);
    }
    tAIFFINST back;
    ASSERT_EQ(LX_S_OK, Aiff_ReadInst(s.h(), &back));
    EXPECT_EQ(60, back.baseNote);
    EXPECT_EQ(1, back.sustainLoop.playMode);
    EXPECT_EQ(1, back.sustainLoop.beginMarker);
    EXPECT_EQ(2, back.sustainLoop.endMarker);
    DWORD frames = 0, offset = 0;
    tWAVEFORMATEX w;
    ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(s.h(), &w, &frames, &offset));
    EXPECT_EQ(FramesFor(48000, 1, 24), frames);
    EXPECT_EQ(88u, offset);
}

TEST(AiffRewrite, AifcKeepsItsCompressionName) {
    Scratch s("aifc_16b_8000_1ch.aifc", "aifc11025.aifc");
    ASSERT_NE(INVALID_HANDLE_VALUE, s.h());
    const Bytes before = s.Contents();
    tAIFFCOMM comm;
    ASSERT_EQ(LX_S_OK, Aiff_ReadComm(s.h(), &comm));
    EXPECT_EQ(FramesFor(8000, 1, 16), comm.frames);
    ASSERT_EQ(LX_S_OK, aiff_CreateRate(11025, &comm.rate));
    ASSERT_EQ(LX_S_OK, Aiff_WriteComm(s.h(), &comm));

    Bytes expected = before;
    const Seen *c = Find(Walk(before), "COMM");
    ASSERT_TRUE(c);
    const BYTE rate11025[10] = {0x40, 0x0C, 0xAC, 0x44, 0, 0, 0, 0, 0, 0};
    std::copy(rate11025, rate11025 + 10, expected.begin() + c->at + 16);
    EXPECT_EQ(expected, s.Contents());
    BOOL compressed = FALSE;
    EXPECT_TRUE(iff_IsAIFFFileEx(s.h(), nullptr, &compressed));
    EXPECT_TRUE(compressed);
}

}  // namespace
