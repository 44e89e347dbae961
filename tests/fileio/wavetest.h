// WAVE and Wave64 tests' helpers: images of both layouts byte by byte (ids as stored, not the library's constants),
// scratch files, the sox fixtures' manifest, a chunk walker of their own, and the checks of a repaired file.
#ifndef WAVETEST_H
#define WAVETEST_H

#include <gtest/gtest.h>

#include "fileio/wave.h"
#include "testsupport.h"
#include "watchdog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace wavetest {

using Bytes = std::vector<BYTE>;
using lxtest::Watchdog;

inline tWAVEFORMATEX Fmt(WORD tag, WORD channels, DWORD rate, WORD bits) {
    const WORD align = (WORD)((bits >> 3) * channels);
    return {tag, channels, rate, align * rate, align, bits, 0};
}

inline Bytes Record18(const tWAVEFORMATEX &f) { return Bytes((const BYTE *)&f, (const BYTE *)&f + 18); }

// Tag, channels, rate, bytes a second, align, bits, extra size: one comparison for a record.
inline std::vector<DWORD> Fields(const tWAVEFORMATEX &f) {
    return {f.wFormatTag, f.nChannels, f.nSamplesPerSec, f.nAvgBytesPerSec, f.nBlockAlign, f.wBitsPerSample, f.cbSize};
}

inline void Put16(Bytes &b, size_t at, WORD v) { std::memcpy(b.data() + at, &v, 2); }
inline void Put32(Bytes &b, size_t at, DWORD v) { std::memcpy(b.data() + at, &v, 4); }
inline void Put64(Bytes &b, size_t at, ULONGLONG v) { std::memcpy(b.data() + at, &v, 8); }
inline WORD Get16(const Bytes &b, size_t at) { WORD v; std::memcpy(&v, b.data() + at, 2); return v; }
inline DWORD Get32(const Bytes &b, size_t at) { DWORD v; std::memcpy(&v, b.data() + at, 4); return v; }
inline ULONGLONG Get64(const Bytes &b, size_t at) { ULONGLONG v; std::memcpy(&v, b.data() + at, 8); return v; }

// A copy of b with the width bytes at at set to v, little-endian; a copy cut to at most n bytes.
inline Bytes With(Bytes b, size_t at, ULONGLONG v, int width = 4) { std::memcpy(b.data() + at, &v, width); return b; }
inline Bytes Cut(Bytes b, size_t n) { b.resize(std::min(n, b.size())); return b; }

// Samples that tell their own position: byte i is (i * 7 + 3) mod 251.
inline Bytes Samples(size_t n, size_t from = 0) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = (BYTE)(((from + i) * 7 + 3) % 251);
    return b;
}

// Wave64 ids as stored: the tag, then the twelve bytes of its group.
struct Id16 {
    BYTE b[16];
};
inline Id16 W64Id(const char *stored) { Id16 id; std::memcpy(id.b, stored, 16); return id; }
// clang-format off
inline const Id16 &W64Riff() { static Id16 id = W64Id("riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\0\0"); return id; }
inline const Id16 &W64List() { static Id16 id = W64Id("list\x2F\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\0\0"); return id; }
inline const Id16 &W64Wave() { static Id16 id = W64Id("wave\xF3\xAC\xD3\x11\x8C\xD1\0\xC0\x4F\x8E\xDB\x8A"); return id; }
inline const Id16 &W64Fmt() { static Id16 id = W64Id("fmt \xF3\xAC\xD3\x11\x8C\xD1\0\xC0\x4F\x8E\xDB\x8A"); return id; }
inline const Id16 &W64Data() { static Id16 id = W64Id("data\xF3\xAC\xD3\x11\x8C\xD1\0\xC0\x4F\x8E\xDB\x8A"); return id; }
inline const Id16 &W64Junk() { static Id16 id = W64Id("junk\xF3\xAC\x3D\x11\x8C\xD1\0\xC0\x4F\x8E\xDB\x8A"); return id; }
// clang-format on

// RIFF WAVE with 4-byte ids; Close patches the RIFF size to the image.
class WaveImage {
public:
    WaveImage &Raw(const Bytes &x) { b_.insert(b_.end(), x.begin(), x.end()); return *this; }
    WaveImage &Tag(const char *s) { return Raw(Bytes(s, s + 4)); }
    WaveImage &Word(DWORD v) { return Raw(Bytes((BYTE *)&v, (BYTE *)&v + 4)); }
    WaveImage &Header() { return Tag("RIFF").Word(0).Tag("WAVE"); }
    WaveImage &Chunk(const char *id, const Bytes &payload) {
        Tag(id).Word((DWORD)payload.size()).Raw(payload);
        if (payload.size() & 1) b_.push_back(0);
        return *this;
    }
    Bytes Close() { Put32(b_, 4, (DWORD)(b_.size() - 8)); return b_; }
    Bytes Get() const { return b_; }

private:
    Bytes b_;
};

// Wave64 with GUID ids; sizes count their 24-byte header, chunks pad to 8.
class W64Image {
public:
    W64Image &Raw(const Bytes &x) { b_.insert(b_.end(), x.begin(), x.end()); return *this; }
    W64Image &Id(const Id16 &id) { return Raw(Bytes(id.b, id.b + 16)); }
    W64Image &Quad(ULONGLONG v) { return Raw(Bytes((BYTE *)&v, (BYTE *)&v + 8)); }
    W64Image &Header() { return Id(W64Riff()).Quad(0).Id(W64Wave()); }
    W64Image &Chunk(const Id16 &id, const Bytes &payload) {
        Id(id).Quad(payload.size() + 24).Raw(payload);
        while (b_.size() % 8) b_.push_back(0);
        return *this;
    }
    Bytes Close() { Put64(b_, 16, b_.size()); return b_; }
    Bytes Get() const { return b_; }

private:
    Bytes b_;
};

// Rewrites in place and cuts: far cheaper under Wine than creating anew.
inline void WriteFileBytes(const std::string &path, const Bytes &b) {
    HANDLE h = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, h) << path;
    DWORD done = 0;
    if (!b.empty()) WriteFile(h, b.data(), (DWORD)b.size(), &done, nullptr);
    SetEndOfFile(h);
    CloseHandle(h);
    ASSERT_EQ(b.size(), done);
}

// Through the C runtime, which shares the file with a writer that holds it open.
inline Bytes ReadFileBytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline HANDLE OpenRW(const std::string &path) {
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

inline HANDLE OpenR(const std::string &path) {
    return CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
}

inline ULONGLONG Pos(HANDLE h) {
    LONG high = 0;
    DWORD low = SetFilePointer(h, 0, &high, FILE_CURRENT);
    return ((ULONGLONG)(DWORD)high << 32) | low;
}

inline void SeekTo(HANDLE h, ULONGLONG pos) {
    LONG high = (LONG)(pos >> 32);
    SetFilePointer(h, (LONG)(DWORD)pos, &high, FILE_BEGIN);
}

// A path beside the test program, deleted at the end.
class ScratchPath {
public:
    explicit ScratchPath(const char *prefix = "wave", const char *ext = ".tmp")
        : path_(lxtest::ExeDir() + lxtest::UniqueName(prefix) + ext) {}
    ~ScratchPath() {
        SetFileAttributesA(path_.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileA(path_.c_str());
    }
    const std::string &path() const { return path_; }
    const char *c_str() const { return path_.c_str(); }

private:
    std::string path_;
};

// Where the first sample of "data" stands and the size it declares, with the "fmt " payload on the way, by a walk
// from the file header; offset 0 when absent.
struct DataChunk {
    ULONGLONG offset = 0, size = 0;
    Bytes fmt;
};

inline DataChunk Walk(const Bytes &b, bool w64) {
    const size_t head = w64 ? 24 : 8;
    DataChunk d;
    for (ULONGLONG at = w64 ? 40 : 12; at + head <= b.size();) {
        const ULONGLONG size = w64 ? Get64(b, at + 16) - 24 : Get32(b, at + 4);
        if (w64 && size > ~0ULL - 24) break;  // below its own header
        const bool fmt = w64 ? !std::memcmp(&b[at], W64Fmt().b, 16) : !std::memcmp(&b[at], "fmt ", 4);
        if (fmt && at + head + size <= b.size()) d.fmt.assign(b.begin() + at + head, b.begin() + at + head + size);
        if (w64 ? !std::memcmp(&b[at], W64Data().b, 16) : !std::memcmp(&b[at], "data", 4)) {
            d.offset = at + head;
            d.size = size;
            return d;
        }
        at += head + (w64 ? (size + 7) & ~7ULL : size + (size & 1));
    }
    return d;
}

// A field of an image to break: its name, offset, width in bytes (2, 4 or 8) and byte order.
struct Field {
    std::string name;
    size_t at;
    int width;
    bool bigEndian = false;
};

struct Variant {
    std::string name;
    Bytes bytes;
};

// Each field set to values that break walkers (0, 1, odd, one off the truth, the signed and unsigned extremes of its
// width, and for 64 bits those of 32 bits and the truth past them), then the image cut at every length.
inline std::vector<Variant> Hostile(const std::string &image, const Bytes &img, const std::vector<Field> &fields) {
    std::vector<Variant> out;
    for (const Field &f : fields) {
        auto byte = [&](int i) { return f.at + (f.bigEndian ? f.width - 1 - i : i); };
        ULONGLONG truth = 0, top = f.width == 8 ? ~0ULL : (1ULL << (8 * f.width)) - 1;
        for (int i = 0; i < f.width; ++i) truth |= (ULONGLONG)img[byte(i)] << (8 * i);
        std::vector<ULONGLONG> values = {0, 1, 3, truth - 1, truth + 1, top >> 1, (top >> 1) + 1, top - 7, top};
        if (f.width == 8)
            values.insert(values.end(), {0x7FFFFFFF, 0x80000000, 0xFFFFFFF8, 0xFFFFFFFF, (1ULL << 32) + truth});
        for (ULONGLONG v : values) {
            out.push_back({image + ", " + f.name + " = " + std::to_string(v & top), img});
            for (int i = 0; i < f.width; ++i) out.back().bytes[byte(i)] = (BYTE)(v >> (8 * i));
        }
    }
    for (size_t len = 0; len <= img.size(); ++len)
        out.push_back({image + " cut to " + std::to_string(len), Bytes(img.begin(), img.begin() + len)});
    return out;
}

// The files that tools/fixtures writes with sox at build time, as its manifest lists them.
inline std::string FixtureDir() { return lxtest::ExeDir() + "fixtures\\audio\\"; }

struct FixtureLine {
    std::string name, type, encoding;
    WORD bits, channels;
    DWORD rate, frames;
};

inline std::vector<FixtureLine> Manifest() {
    std::vector<FixtureLine> lines;
    std::ifstream in(FixtureDir() + "manifest.txt");
    for (std::string text; std::getline(in, text);) {
        std::istringstream s(text);
        FixtureLine l;
        s >> l.name >> l.type >> l.encoding >> l.bits >> l.rate >> l.channels >> l.frames;
        if (s) lines.push_back(l);
    }
    return lines;
}

// The file reads back with exactly this record, frame count and data offset.
inline void ExpectReads(const std::string &path, const std::vector<DWORD> &format, ULONGLONG frames,
                        ULONGLONG offset) {
    ULONGLONG gotFrames = 7, gotOffset = 7;
    tWAVEFORMATEX *f = LxGetFileWfx(path.c_str(), &gotFrames, &gotOffset);
    ASSERT_NE(nullptr, f) << path;
    EXPECT_EQ(format, Fields(*f));
    EXPECT_EQ(frames, gotFrames);
    EXPECT_EQ(offset, gotOffset);
    free(f);
}

struct Repaired {
    HRESULT hr;
    ULONGLONG offset;  // where the audio starts
    std::vector<DWORD> format;
};

// Repairs the file at path with the cursor at 7, which stays. A refusal leaves the file as it was. A repair keeps
// its length and every byte from the audio on, and the file reads back clean: the data where the tests' walker
// finds it, sized in whole frames to the end.
inline Repaired RepairChecked(const std::string &path, bool w64, const tWAVEFORMATEX *fallback = nullptr,
                              ULONGLONG limit = ~0ULL) {
    const Bytes before = ReadFileBytes(path);
    HANDLE h = OpenRW(path);
    SeekTo(h, 7);
    Repaired r = {w64 ? LxFixTrashedW64(h, fallback, limit) : LxFixTrashedWav(h, fallback, (DWORD)limit), 0, {}};
    EXPECT_EQ(7u, Pos(h));
    CloseHandle(h);
    const Bytes after = ReadFileBytes(path);
    EXPECT_EQ(before.size(), after.size());
    if (r.hr != LX_S_OK) { EXPECT_EQ(before, after); }
    if (r.hr != LX_S_OK || before.size() != after.size()) return r;
    EXPECT_EQ(1, (w64 ? LxFileIsWave64 : LxFileIsWave)(path.c_str(), FALSE));
    ULONGLONG frames = 0;
    tWAVEFORMATEX *f = LxGetFileWfx(path.c_str(), &frames, &r.offset);
    EXPECT_TRUE(f && r.offset <= after.size()) << "the repaired file does not read back";
    if (!f || r.offset > after.size()) {
        free(f);
        return r;
    }
    r.format = Fields(*f);
    const DataChunk d = Walk(after, w64);
    EXPECT_EQ(r.offset, d.offset);
    EXPECT_EQ((after.size() - r.offset) / f->nBlockAlign, frames);
    EXPECT_EQ(frames * f->nBlockAlign, d.size);
    EXPECT_TRUE(std::equal(before.begin() + (size_t)r.offset, before.end(), after.begin() + (size_t)r.offset));
    free(f);
    return r;
}

}  // namespace wavetest

#endif
