// Helpers of the WAVE and Wave64 tests: format records, images of both
// layouts spelled out byte by byte (the ids from their stored bytes, not from
// the library's constants), scratch files by path and a small chunk walker
// of the tests' own.
#ifndef WAVETEST_H
#define WAVETEST_H

#include <gtest/gtest.h>

#include "dsp/lxsampletype.h"
#include "testsupport.h"
#include "watchdog.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace wavetest {

using Bytes = std::vector<BYTE>;

// ---- Format records ------------------------------------------------------

inline tWAVEFORMATEX Fmt(WORD tag, WORD channels, DWORD rate, WORD bits) {
    tWAVEFORMATEX f;
    std::memset(&f, 0, sizeof f);
    f.wFormatTag = tag;
    f.nChannels = channels;
    f.nSamplesPerSec = rate;
    f.wBitsPerSample = bits;
    f.nBlockAlign = (WORD)((bits >> 3) * channels);
    f.nAvgBytesPerSec = f.nBlockAlign * rate;
    return f;
}

inline Bytes Record18(const tWAVEFORMATEX &f) {
    const BYTE *p = (const BYTE *)&f;
    return Bytes(p, p + 18);
}

// ---- Little-endian fields ------------------------------------------------

inline void Put16(Bytes &b, size_t at, WORD v) { std::memcpy(b.data() + at, &v, 2); }
inline void Put32(Bytes &b, size_t at, DWORD v) { std::memcpy(b.data() + at, &v, 4); }
inline void Put64(Bytes &b, size_t at, ULONGLONG v) { std::memcpy(b.data() + at, &v, 8); }
inline WORD Get16(const Bytes &b, size_t at) {
    WORD v;
    std::memcpy(&v, b.data() + at, 2);
    return v;
}
inline DWORD Get32(const Bytes &b, size_t at) {
    DWORD v;
    std::memcpy(&v, b.data() + at, 4);
    return v;
}
inline ULONGLONG Get64(const Bytes &b, size_t at) {
    ULONGLONG v;
    std::memcpy(&v, b.data() + at, 8);
    return v;
}

// Samples that tell their own position: byte i is (i * 7 + 3) mod 251.
inline Bytes Samples(size_t n, size_t from = 0) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = (BYTE)(((from + i) * 7 + 3) % 251);
    return b;
}

// ---- Wave64 ids, as the stored bytes --------------------------------------

struct Id16 {
    BYTE b[16];
};
// A four-letter tag and the twelve stored bytes that follow it.
inline Id16 W64Id(const char *tag, const BYTE (&tail)[12]) {
    Id16 id;
    std::memcpy(id.b, tag, 4);
    std::memcpy(id.b + 4, tail, 12);
    return id;
}
const BYTE kRiffTail[12] = {0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
const BYTE kListTail[12] = {0x2F, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
const BYTE kWaveTail[12] = {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
const BYTE kJunkTail[12] = {0xF3, 0xAC, 0x3D, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
// clang-format off
inline const Id16 &W64Riff() { static const Id16 id = W64Id("riff", kRiffTail); return id; }
inline const Id16 &W64List() { static const Id16 id = W64Id("list", kListTail); return id; }
inline const Id16 &W64Wave() { static const Id16 id = W64Id("wave", kWaveTail); return id; }
inline const Id16 &W64Fmt() { static const Id16 id = W64Id("fmt ", kWaveTail); return id; }
inline const Id16 &W64Data() { static const Id16 id = W64Id("data", kWaveTail); return id; }
inline const Id16 &W64Junk() { static const Id16 id = W64Id("junk", kJunkTail); return id; }
// clang-format on

// ---- Images ---------------------------------------------------------------

// RIFF WAVE with 4-byte ids; Close patches the RIFF size to the image.
class WaveImage {
public:
    WaveImage &Tag(const char *s) {
        b_.insert(b_.end(), s, s + 4);
        return *this;
    }
    WaveImage &Word(DWORD v) {
        BYTE w[4];
        std::memcpy(w, &v, 4);
        b_.insert(b_.end(), w, w + 4);
        return *this;
    }
    WaveImage &Raw(const Bytes &x) {
        b_.insert(b_.end(), x.begin(), x.end());
        return *this;
    }
    WaveImage &Header() { return Tag("RIFF").Word(0).Tag("WAVE"); }
    WaveImage &Chunk(const char *id, const Bytes &payload) {
        Tag(id).Word((DWORD)payload.size()).Raw(payload);
        if (payload.size() & 1) b_.push_back(0);
        return *this;
    }
    Bytes Close() {
        Put32(b_, 4, (DWORD)(b_.size() - 8));
        return b_;
    }
    Bytes Get() const { return b_; }
    size_t Size() const { return b_.size(); }

private:
    Bytes b_;
};

// Wave64 with GUID ids; sizes count their 24-byte header, chunks pad to 8.
class W64Image {
public:
    W64Image &Id(const Id16 &id) {
        b_.insert(b_.end(), id.b, id.b + 16);
        return *this;
    }
    W64Image &Quad(ULONGLONG v) {
        BYTE q[8];
        std::memcpy(q, &v, 8);
        b_.insert(b_.end(), q, q + 8);
        return *this;
    }
    W64Image &Raw(const Bytes &x) {
        b_.insert(b_.end(), x.begin(), x.end());
        return *this;
    }
    W64Image &Header() { return Id(W64Riff()).Quad(0).Id(W64Wave()); }
    W64Image &Chunk(const Id16 &id, const Bytes &payload) {
        Id(id).Quad(payload.size() + 24).Raw(payload);
        while (b_.size() % 8) b_.push_back(0);
        return *this;
    }
    Bytes Close() {
        Put64(b_, 16, b_.size());
        return b_;
    }
    Bytes Get() const { return b_; }
    size_t Size() const { return b_.size(); }

private:
    Bytes b_;
};

// AIFF: big-endian "FORM" of "COMM" (18 bytes, the rate as an 80-bit number
// built here for rates that are whole powers of two times a 16-bit
// mantissa) and "SSND" with offset and block size 0.
inline Bytes AiffImage(WORD channels, DWORD frames, WORD bits, DWORD rate, const Bytes &samples) {
    auto be16 = [](Bytes &b, WORD v) {
        b.push_back((BYTE)(v >> 8));
        b.push_back((BYTE)v);
    };
    auto be32 = [](Bytes &b, DWORD v) {
        for (int i = 3; i >= 0; --i) b.push_back((BYTE)(v >> (8 * i)));
    };
    auto tag = [](Bytes &b, const char *s) { b.insert(b.end(), s, s + 4); };
    int exponent = 31;
    while (exponent > 0 && !(rate & (1u << exponent))) --exponent;
    const DWORD mantissaHigh = rate << (31 - exponent);
    Bytes b;
    tag(b, "FORM");
    be32(b, 0);
    tag(b, "AIFF");
    tag(b, "COMM");
    be32(b, 18);
    be16(b, channels);
    be32(b, frames);
    be16(b, bits);
    be16(b, (WORD)(0x3FFF + exponent));
    be32(b, mantissaHigh);
    be32(b, 0);
    tag(b, "SSND");
    be32(b, (DWORD)(8 + samples.size()));
    be32(b, 0);
    be32(b, 0);
    b.insert(b.end(), samples.begin(), samples.end());
    if (samples.size() & 1) b.push_back(0);
    const DWORD form = (DWORD)(b.size() - 8);
    b[4] = (BYTE)(form >> 24);
    b[5] = (BYTE)(form >> 16);
    b[6] = (BYTE)(form >> 8);
    b[7] = (BYTE)form;
    return b;
}

// ---- Files by path --------------------------------------------------------

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

inline Bytes ReadFileBytes(const std::string &path) {
    Bytes b;
    HANDLE h = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return b;
    b.resize(GetFileSize(h, nullptr));
    DWORD done = 0;
    if (!b.empty()) ReadFile(h, b.data(), (DWORD)b.size(), &done, nullptr);
    b.resize(done);
    CloseHandle(h);
    return b;
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

// ---- The tests' own walker ---------------------------------------------------

// Where the first sample of "data" stands and how many bytes it declares,
// found by walking chunks from the file header; 0 offset when absent.
struct DataChunk {
    ULONGLONG offset = 0;
    ULONGLONG size = 0;
    Bytes fmt;
};

inline DataChunk WalkWave(const Bytes &b) {
    DataChunk d;
    size_t at = 12;
    while (at + 8 <= b.size()) {
        const DWORD size = Get32(b, at + 4);
        if (std::memcmp(&b[at], "fmt ", 4) == 0 && at + 8 + size <= b.size())
            d.fmt.assign(b.begin() + at + 8, b.begin() + at + 8 + size);
        if (std::memcmp(&b[at], "data", 4) == 0) {
            d.offset = at + 8;
            d.size = size;
            return d;
        }
        at += 8 + (ULONGLONG)size + (size & 1);
    }
    return d;
}

inline DataChunk WalkW64(const Bytes &b) {
    DataChunk d;
    size_t at = 40;
    while (at + 24 <= b.size()) {
        const ULONGLONG size = Get64(b, at + 16);
        if (size < 24) break;
        if (std::memcmp(&b[at], W64Fmt().b, 16) == 0 && at + size <= b.size())
            d.fmt.assign(b.begin() + at + 24, b.begin() + at + (size_t)size);
        if (std::memcmp(&b[at], W64Data().b, 16) == 0) {
            d.offset = at + 24;
            d.size = size - 24;
            return d;
        }
        at += (size_t)((size + 7) & ~7ULL);
    }
    return d;
}

// ---- Watchdog ----------------------------------------------------------------

using lxtest::Watchdog;

}  // namespace wavetest

#endif
