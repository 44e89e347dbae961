// WAVE, Wave64 and AIFF files written by sox at build time (tools/fixtures)
// read back through the wave reader: format, frames and data offset exactly.
// What to expect comes from the generator's parameters in the manifest and
// from the test's own walk over the bytes, never from the reader under test.
// Extensible and compressed files are refused.
#include "wavetest.h"

#include "fileio/wave.h"

#include <fstream>
#include <sstream>

using namespace wavetest;

namespace {

std::string FixtureDir() { return lxtest::ExeDir() + "fixtures\\audio\\"; }

struct Line {
    std::string name, type, encoding;
    WORD bits, channels;
    DWORD rate, frames;
};

std::vector<Line> Manifest() {
    std::vector<Line> lines;
    std::ifstream in(FixtureDir() + "manifest.txt");
    for (std::string text; std::getline(in, text);) {
        std::istringstream s(text);
        Line l;
        s >> l.name >> l.type >> l.encoding >> l.bits >> l.rate >> l.channels >> l.frames;
        if (s) lines.push_back(l);
    }
    return lines;
}

// The first sample of "SSND", by a big-endian walk of the test's own.
ULONGLONG AiffDataOffset(const Bytes &b) {
    auto be32 = [&](size_t at) {
        return ((DWORD)b[at] << 24) | ((DWORD)b[at + 1] << 16) | ((DWORD)b[at + 2] << 8) | b[at + 3];
    };
    size_t at = 12;
    while (at + 16 <= b.size()) {
        const DWORD size = be32(at + 4);
        if (std::memcmp(&b[at], "SSND", 4) == 0) return at + 16 + be32(at + 8);
        at += 8 + (size_t)size + (size & 1);
    }
    return 0;
}

TEST(WaveFixture, SoxFilesReadBackExactly) {
    const std::vector<Line> lines = Manifest();
    ASSERT_FALSE(lines.empty()) << "no fixtures in " << FixtureDir() << ": the build writes them with sox";
    int accepted = 0, refused = 0;
    for (const Line &l : lines) {
        SCOPED_TRACE(l.name);
        const std::string path = FixtureDir() + l.name;
        const Bytes b = ReadFileBytes(path);
        ASSERT_GT(b.size(), 12u);
        const bool w64 = l.type == "w64", aiff = l.type == "aiff" || l.type == "aifc";
        const bool isFloat = l.encoding == "floating-point";
        const WORD align = (WORD)(l.bits / 8 * l.channels);

        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *got = LxGetFileWfx(path.c_str(), &frames, &offset);
        if (aiff) {
            // Compressed AIFC (the float files) is no AIFF to this reader.
            if (isFloat) {
                EXPECT_EQ(nullptr, got);
                ++refused;
                continue;
            }
            ASSERT_NE(nullptr, got);
            EXPECT_EQ(l.bits == 8 ? 0xFE01 : 0xFE02, +got->wFormatTag);
            EXPECT_EQ(l.channels, +got->nChannels);
            EXPECT_EQ(l.rate, +got->nSamplesPerSec);
            EXPECT_EQ(align, +got->nBlockAlign);
            EXPECT_EQ((DWORD)align * l.rate, +got->nAvgBytesPerSec);
            EXPECT_EQ(l.bits, +got->wBitsPerSample);
            EXPECT_EQ(l.frames, frames);
            EXPECT_EQ(AiffDataOffset(b), offset);
            EXPECT_EQ(0, LxFileIsWave(path.c_str(), TRUE));
            EXPECT_EQ(0, LxFileIsWave64(path.c_str(), TRUE));
            free(got);
            ++accepted;
            continue;
        }

        const DataChunk d = w64 ? WalkW64(b) : WalkWave(b);
        ASSERT_GE(d.fmt.size(), 16u);
        ASSERT_NE(0u, d.offset);
        const WORD tag = Get16(d.fmt, 0);
        EXPECT_EQ(1, w64 ? LxFileIsWave64(path.c_str(), TRUE) : LxFileIsWave(path.c_str(), TRUE));
        EXPECT_EQ(0, w64 ? LxFileIsWave(path.c_str(), TRUE) : LxFileIsWave64(path.c_str(), TRUE));
        if (tag == 0xFFFE) {
            // The extensible form is not in the audio table.
            EXPECT_EQ(nullptr, got);
            EXPECT_EQ(0, w64 ? LxFileIsWave64(path.c_str(), FALSE) : LxFileIsWave(path.c_str(), FALSE));
            ++refused;
            continue;
        }
        EXPECT_EQ(isFloat ? 3 : 1, tag);
        ASSERT_NE(nullptr, got);
        EXPECT_EQ(1, w64 ? LxFileIsWave64(path.c_str(), FALSE) : LxFileIsWave(path.c_str(), FALSE));
        EXPECT_EQ(isFloat ? 3 : 1, +got->wFormatTag);
        EXPECT_EQ(l.channels, +got->nChannels);
        EXPECT_EQ(l.rate, +got->nSamplesPerSec);
        EXPECT_EQ(align, +got->nBlockAlign);
        EXPECT_EQ((DWORD)align * l.rate, +got->nAvgBytesPerSec);
        EXPECT_EQ(l.bits, +got->wBitsPerSample);
        EXPECT_EQ(l.frames, frames);
        EXPECT_EQ((ULONGLONG)l.frames * align, d.size);
        EXPECT_EQ(d.offset, offset);
        // The block carries the whole chunk: a fmt of 16 reads with no
        // extra size, one of 18 or more with what it holds.
        EXPECT_EQ(d.fmt.size() >= 18 ? Get16(d.fmt, 16) : 0, +got->cbSize);
        free(got);
        ++accepted;
    }
    // Every file of the generator's main loops, and the cases added behind.
    EXPECT_GE(accepted + refused, 4 * 4 * 7 * 3 + 4);
    EXPECT_GT(accepted, 200);
    EXPECT_GT(refused, 50);
}

// The repair finds the audio of sox files whose header lost its sizes when
// a chunk stands between the format and the data (the float files carry
// "fact"); the samples stay where they are.
TEST(WaveFixture, FloatFilesRepairedAfterTheirSizesAreLost) {
    const struct {
        const char *name;
        bool w64;
    } rows[] = {{"wav_f32_44100_2ch.wav", false}, {"wav_f64_22050_1ch.wav", false},
                {"w64_f32_48000_2ch.w64", true}, {"w64_f64_96000_2ch.w64", true}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        Bytes b = ReadFileBytes(FixtureDir() + r.name);
        ASSERT_GT(b.size(), 112u);
        const DataChunk d = r.w64 ? WalkW64(b) : WalkWave(b);
        ASSERT_NE(0u, d.offset);
        if (r.w64) {
            Put64(b, 16, 0);
            Put64(b, d.offset - 8, 0);
        } else {
            Put32(b, 4, 0);
            Put32(b, d.offset - 4, 0);
        }
        ScratchPath p;
        WriteFileBytes(p.path(), b);
        EXPECT_EQ(nullptr, LxGetFileWfx(p.c_str(), nullptr, nullptr));
        HANDLE h = OpenRW(p.path());
        ASSERT_EQ(LX_S_OK, r.w64 ? LxFixTrashedW64(h, nullptr, ~0ULL) : LxFixTrashedWav(h, nullptr, 0xFFFFFFFF));
        CloseHandle(h);
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, got);
        EXPECT_EQ(0, memcmp(got, d.fmt.data(), 16));
        EXPECT_EQ(d.offset, offset);
        EXPECT_EQ(d.size / +got->nBlockAlign, frames);
        const Bytes after = ReadFileBytes(p.path());
        EXPECT_TRUE(std::equal(b.begin() + (size_t)d.offset, b.end(), after.begin() + (size_t)d.offset));
        free(got);
    }
}

}  // namespace
