// WAVE, Wave64 and AIFF images built byte by byte (ids as stored, not the library's constants)
// and the checks that a file reads back clean.
#ifndef WAVETEST_H
#define WAVETEST_H

#include <gtest/gtest.h>

#include "fileio/aiff.h"
#include "fileio/wave.h"
#include "riffimage.h"
#include "watchdog.h"

#include <algorithm>
#include <array>
#include <fstream>

namespace wavetest {

using rifftest::Bytes;

inline tWAVEFORMATEX Fmt(WORD tag, WORD channels, DWORD rate, WORD bits) {
    const WORD align = (WORD)((bits >> 3) * channels);
    return {tag, channels, rate, align * rate, align, bits, 0};
}
inline Bytes Record18(const tWAVEFORMATEX &f) { return Bytes((const BYTE *)&f, (const BYTE *)&f + 18); }
inline std::vector<DWORD> Fields(const tWAVEFORMATEX &f) {
    return {f.wFormatTag, f.nChannels, f.nSamplesPerSec, f.nAvgBytesPerSec, f.nBlockAlign, f.wBitsPerSample,
            f.cbSize};
}

inline ULONGLONG LE(const Bytes &b, size_t at, int width = 4) {
    ULONGLONG v = 0;
    std::memcpy(&v, &b[at], width);
    return v;
}
inline Bytes With(Bytes b, size_t at, ULONGLONG v, int width = 4) {
    std::memcpy(&b[at], &v, width);
    return b;
}
inline Bytes WithBE(Bytes b, size_t at, ULONGLONG v, int width = 4) {
    for (int i = 0; i < width; ++i) b[at + i] = (BYTE)(v >> (8 * (width - 1 - i)));
    return b;
}
inline Bytes Cut(Bytes b, size_t n) {
    b.resize(std::min(n, b.size()));
    return b;
}
inline Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes b;
    for (const Bytes &p : parts) b.insert(b.end(), p.begin(), p.end());
    return b;
}

inline Bytes Samples(size_t n, size_t from = 0) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = (BYTE)(((from + i) * 7 + 3) % 251);
    return b;
}

inline rifftest::Image Wave() { return rifftest::Image().Riff("WAVE"); }

// Wave64 ids as stored: the tag, then the twelve bytes of its group.
inline Bytes W64Id(const char *tag, const char *g) { return Cat({Bytes(tag, tag + 4), Bytes(g, g + 12)}); }
const char *const kWaveGroup = "\xF3\xAC\xD3\x11\x8C\xD1\0\xC0\x4F\x8E\xDB\x8A";
inline Bytes W64Riff() { return W64Id("riff", "\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\0\0"); }
inline Bytes W64Wave() { return W64Id("wave", kWaveGroup); }
inline Bytes W64Fmt() { return W64Id("fmt ", kWaveGroup); }
inline Bytes W64Data() { return W64Id("data", kWaveGroup); }
inline Bytes W64Junk() { return W64Id("junk", "\xF3\xAC\x3D\x11\x8C\xD1\0\xC0\x4F\x8E\xDB\x8A"); }
inline Bytes W64Chunk(const Bytes &id, const Bytes &p) {
    return Cat({id, With(Bytes(8), 0, p.size() + 24, 8), p, Bytes(-p.size() & 7)});
}
inline Bytes W64(std::initializer_list<Bytes> chunks) {
    const Bytes b = Cat({W64Riff(), Bytes(8), W64Wave(), Cat(chunks)});
    return With(b, 16, b.size(), 8);
}

// Rewrites in place and cuts: far cheaper under Wine than creating anew.
inline void WriteFileBytes(const std::string &path, const Bytes &b) {
    HANDLE h = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
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

inline HANDLE Open(const std::string &path) {
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, 0);
}
inline std::string FixtureDir() { return lxtest::ExeDir() + "fixtures\\audio\\"; }

struct ScratchPath {
    explicit ScratchPath(const char *prefix = "wave") : path_(lxtest::ExeDir() + lxtest::UniqueName(prefix)) {}
    ~ScratchPath() { DeleteFileA(path_.c_str()); }
    const std::string &path() const { return path_; }
    const char *c_str() const { return path_.c_str(); }
    const std::string path_;
};

// The file reads back exactly so, the offset right behind a "data" header of those frames.
inline void ExpectReads(const std::string &path, const std::vector<DWORD> &format, ULONGLONG frames,
                        ULONGLONG offset) {
    ULONGLONG got[2] = {7, 7};
    tWAVEFORMATEX *f = LxGetFileWfx(path.c_str(), &got[0], &got[1]);
    ASSERT_NE(nullptr, f) << path;
    const ULONGLONG bytes = frames * f->nBlockAlign;
    EXPECT_EQ(std::make_pair(format, std::vector<ULONGLONG>({frames, offset})),
              std::make_pair(Fields(*f), std::vector<ULONGLONG>(got, got + 2)));
    free(f);
    const Bytes b = ReadFileBytes(path);
    const Bytes head = b[0] == 'r' ? Cat({W64Data(), With(Bytes(8), 0, bytes + 24, 8)})
                                   : With(Cut(W64Data(), 8), 4, bytes);  // "data" is the Wave64 id's tag
    ASSERT_TRUE(offset >= head.size() && offset <= b.size());
    EXPECT_EQ(head, Bytes(b.begin() + offset - head.size(), b.begin() + offset));
}

struct Repaired {
    HRESULT hr;
    ULONGLONG offset;  // where the audio starts, as read back
    std::vector<DWORD> format = {};
};

// A repair keeps the cursor, every byte from the audio on, and reads back clean: the audio in
// whole frames to the end. A refusal changes nothing.
inline Repaired RepairChecked(const std::string &path, bool w64, const tWAVEFORMATEX *fallback = nullptr,
                              ULONGLONG limit = ~0ULL) {
    const Bytes before = ReadFileBytes(path);
    HANDLE h = Open(path);
    SetFilePointer(h, 7, nullptr, FILE_BEGIN);
    Repaired r = {w64 ? LxFixTrashedW64(h, fallback, limit) : LxFixTrashedWav(h, fallback, (DWORD)limit), 0};
    EXPECT_EQ(7u, rifftest::Pos64(h));
    CloseHandle(h);
    const Bytes after = ReadFileBytes(path);
    tWAVEFORMATEX *f = r.hr == LX_S_OK ? LxGetFileWfx(path.c_str(), nullptr, &r.offset) : nullptr;
    if (!f || r.offset > after.size() || after.size() != before.size()) {
        EXPECT_TRUE(r.hr && before == after) << "a repair that does not read back, or a refusal that changed";
        free(f);
        return r;
    }
    r.format = Fields(*f);
    EXPECT_EQ(Bytes(before.begin() + r.offset, before.end()), Bytes(after.begin() + r.offset, after.end()));
    ExpectReads(path, r.format, (after.size() - r.offset) / f->nBlockAlign, r.offset);
    free(f);
    return r;
}

}  // namespace wavetest

namespace ifftest {

using namespace wavetest;
using rifftest::Filled;

inline DWORD BE(const Bytes &b, size_t at) { return LXIFF_FOURCC(b[at], b[at + 1], b[at + 2], b[at + 3]); }
inline Bytes BEBytes(DWORD v, int width = 4) { return WithBE(Bytes(width), 0, v, width); }
inline Bytes Chunk(const char *id, const Bytes &p) {
    return Cat({Bytes(id, id + 4), BEBytes(p.size()), p, Bytes(p.size() & 1)});
}
// Sized sets the FORM's size to the image's.
inline Bytes Sized(const Bytes &form) { return WithBE(form, 4, form.size() - 8); }
inline Bytes Form(const char *type, std::initializer_list<Bytes> chunks) {
    return Sized(Cat({{'F', 'O', 'R', 'M', 0, 0, 0, 0}, Bytes(type, type + 4), Cat(chunks)}));
}

using Ext = std::array<WORD, 5>;
const Ext kRate44100 = {0x400E, 0xAC44, 0, 0, 0}, kRate8000 = {0x400B, 0xFA00, 0, 0, 0};

inline Bytes Comm(WORD channels, DWORD frames, WORD bits, const Ext &rate, const char *compression = nullptr) {
    Bytes b = Cat({BEBytes(channels, 2), BEBytes(frames), BEBytes(bits, 2)});
    for (WORD w : rate) b = Cat({b, BEBytes(w, 2)});
    // An AIFC's compression type, and an empty name.
    return compression ? Cat({b, Bytes(compression, compression + 4), Bytes(2)}) : b;
}
inline Bytes Ssnd(DWORD offset, const Bytes &data) { return Cat({BEBytes(offset), Bytes(4), data}); }
inline Bytes Aifc(const Bytes &comm, const Bytes &ssnd) {
    return Form("AIFC", {Chunk("FVER", Filled(4)), Chunk("COMM", comm), Chunk("SSND", ssnd)});
}

}  // namespace ifftest

#endif
