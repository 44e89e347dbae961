// RIFF images built by hand for the chunk-layer tests, a scratch file that
// holds them, and the chunk families behind one face: the expected bytes are
// spelled out here independently of the writers under test.
#ifndef RIFFIMAGE_H
#define RIFFIMAGE_H

#include <gtest/gtest.h>

#include "fileio/mriff.h"
#include "fileio/riff.h"
#include "fileio/riff64.h"
#include "guardbuffer.h"
#include "testsupport.h"

#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace rifftest {

using Bytes = std::vector<BYTE>;

inline DWORD Id(const char *s) { return LXRIFF_FOURCC(s[0], s[1], s[2], s[3]); }

inline DWORD WordAt(const Bytes &b, size_t at) { DWORD v = 0; std::memcpy(&v, b.data() + at, 4); return v; }

inline void PutWordAt(Bytes &b, size_t at, DWORD v) { std::memcpy(b.data() + at, &v, 4); }

inline Bytes Text(const char *s, bool withZero = true) {
    return Bytes(s, s + std::strlen(s) + (withZero ? 1 : 0));
}

inline Bytes Filled(size_t n, BYTE first = 1) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = (BYTE)(first + i);
    return b;
}

// Appends words, tags, chunks and lists; sizes of open lists and of the
// RIFF header are patched by Close/Finish.
class Image {
public:
    Image &Word(DWORD v) { return Raw(Bytes((BYTE *)&v, (BYTE *)&v + 4)); }
    Image &Tag(const char *id) { return Word(Id(id)); }
    Image &Raw(const Bytes &bytes) { b_.insert(b_.end(), bytes.begin(), bytes.end()); return *this; }
    Image &Riff(const char *form) { open_.push_back(b_.size() + 4); return Tag("RIFF").Word(0).Tag(form); }
    // A chunk with its pad byte when the payload is odd.
    Image &Chunk(const char *id, const Bytes &payload) {
        Tag(id).Word((DWORD)payload.size()).Raw(payload);
        if (payload.size() & 1) b_.push_back(0);
        return *this;
    }
    Image &List(const char *type) { open_.push_back(b_.size() + 4); return Tag("LIST").Word(0).Tag(type); }
    // Closes the innermost list (or the RIFF form): its size counts
    // everything behind its size field.
    Image &Close() {
        PutWordAt(b_, open_.back(), (DWORD)(b_.size() - open_.back() - 4));
        open_.pop_back();
        return *this;
    }
    Bytes Finish() { while (!open_.empty()) Close(); return b_; }

private:
    Bytes b_;
    std::vector<size_t> open_;
};

// A small WAVE-like image: odd chunks, an INFO list, a zero-size chunk,
// chunks behind the data. Offsets: fmt header 12, INFO list 36 (INAM 48,
// ISFT 62), zero 72, data 80, cue 96, adtl list 132 (labl 144), end 162.
inline Bytes WaveLike() {
    return Image()
        .Riff("WAVE")
        .Chunk("fmt ", Bytes{1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0})
        .List("INFO").Chunk("INAM", Text("Name")).Chunk("ISFT", Text("x")).Close()
        .Chunk("zero", Bytes{})
        .Chunk("data", Filled(7))
        .Chunk("cue ", Filled(28, 0x40))
        .List("adtl").Chunk("labl", Filled(9, 0x60)).Close()
        .Finish();
}

// A scratch file beside the test program, deleted at the end.
class TempFile {
public:
    TempFile() : path_(lxtest::ExeDir() + lxtest::UniqueName("riff") + ".tmp") {
        h_ = CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
    }
    ~TempFile() { Close(); DeleteFileA(path_.c_str()); }
    HANDLE h() const { return h_; }
    const std::string &path() const { return path_; }

    // Replaces the contents and rewinds.
    void Reset(const Bytes &bytes) {
        Seek(0);
        DWORD done = 0;
        if (!bytes.empty()) WriteFile(h_, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
        SetEndOfFile(h_);
        Seek(0);
    }
    Bytes Contents() const {
        DWORD pos = Pos(), size = GetFileSize(h_, nullptr), done = 0;
        Bytes b(size);
        Seek(0);
        if (size) ReadFile(h_, b.data(), size, &done, nullptr);
        b.resize(done);
        Seek(pos);
        return b;
    }
    DWORD Pos() const { return SetFilePointer(h_, 0, nullptr, FILE_CURRENT); }
    void Seek(DWORD pos) const { SetFilePointer(h_, (LONG)pos, nullptr, FILE_BEGIN); }
    // Reopens with other access rights, to make reads or writes fail.
    void Reopen(DWORD access) {
        Close();
        h_ = CreateFileA(path_.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    }

private:
    void Close() { if (h_ != INVALID_HANDLE_VALUE) CloseHandle(h_); h_ = INVALID_HANDLE_VALUE; }
    std::string path_;
    HANDLE h_ = INVALID_HANDLE_VALUE;
};

inline ULONGLONG Pos64(HANDLE h) {
    LONG high = 0;
    const DWORD low = SetFilePointer(h, 0, &high, FILE_CURRENT);
    return ((ULONGLONG)(DWORD)high << 32) | low;
}

// The chunk families behind one face, positions widened and the bounded
// read's sizes in the file family's order: riff_ on a handle, mriff_ on a
// block flush against a guard page, riff64_ on a handle. The calls with
// 4-byte ids are the 32-bit families' only.
enum Family { kFile, kMemory, kW64 };

struct Layer {
    explicit Layer(Family family) : family(family) {}
    const char *Name() const { return family == kFile ? "file" : family == kMemory ? "memory" : "w64"; }
    bool Memory() const { return family == kMemory; }
    bool W64() const { return family == kW64; }
    HANDLE h() const { return f.h(); }
    // room: writable bytes behind the image, for the memory block.
    void Load(const Bytes &b, DWORD room = 0, lxtest::GuardBuffer::Flush flush = lxtest::GuardBuffer::kEnd) {
        if (!Memory()) return f.Reset(b);
        len = (DWORD)b.size();
        g.reset(new lxtest::GuardBuffer(len + room, flush));
        if (len) std::memcpy(g->data(), b.data(), len);
        mriff_Init(&s, g->data(), len, len + room);
    }
    Bytes Contents() const { return Memory() ? Bytes(s.base, s.dataEnd) : f.Contents(); }
    ULONGLONG Pos() const { return Memory() ? (ULONGLONG)(s.current - s.base) : Pos64(h()); }
    // The memory cursor stops at the data's end.
    void Seek(DWORD pos) {
        if (!Memory()) return f.Seek(pos);
        s.current = s.base + pos < s.dataEnd ? s.base + pos : s.dataEnd;
    }
    HRESULT Save(DWORD *pos) {
        ULONGLONG p = 0;
        const HRESULT hr = W64()      ? riff64_SaveLocation(h(), pos ? &p : nullptr)
                           : Memory() ? mriff_SaveLocation(&s, pos)
                                      : riff_SaveLocation(h(), pos);
        if (pos && W64()) *pos = (DWORD)p;
        return hr;
    }
    HRESULT Restore(DWORD pos) {
        return W64() ? riff64_RestoreLocation(h(), pos) : Memory() ? mriff_RestoreLocation(&s, pos)
                                                                   : riff_RestoreLocation(h(), pos);
    }
    HRESULT DataStart() {
        return W64() ? riff64_SeekDataStart(h()) : Memory() ? mriff_SeekDataStart(&s) : riff_SeekDataStart(h());
    }
    ULONGLONG Skip(DWORD size) {
        return W64() ? riff64_SkipChunk(h(), size) : Memory() ? mriff_SkipChunk(&s, size)
                                                              : riff_SkipChunk(h(), size);
    }
    HRESULT Read(void *buf, DWORD n) {
        return W64() ? riff64_ReadData(h(), buf, n) : Memory() ? mriff_ReadData(&s, buf, n)
                                                               : riff_ReadData(h(), buf, n);
    }
    HRESULT Bounded(void *buf, DWORD chunk, DWORD bufferSize) {
        return W64()      ? riff64_ReadDataBounded(h(), buf, chunk, bufferSize)
               : Memory() ? mriff_ReadDataBounded(&s, buf, bufferSize, chunk)
                          : riff_ReadDataBounded(h(), buf, chunk, bufferSize);
    }
    HRESULT Alloc(tLXRIFFDATA *d) {
        return W64() ? riff64_ReadDataAlloc(h(), d) : Memory() ? mriff_ReadDataAlloc(&s, d)
                                                               : riff_ReadDataAlloc(h(), d);
    }
    HRESULT FileID(DWORD *size, DWORD *form) {
        return Memory() ? mriff_ReadFileID(&s, size, form) : riff_ReadFileID(h(), size, form);
    }
    HRESULT ChunkHeader(DWORD *id, DWORD *size) {
        return Memory() ? mriff_ReadChunkHeader(&s, id, size) : riff_ReadChunkHeader(h(), id, size);
    }
    HRESULT ListHeader(DWORD *type, DWORD *size) {
        return Memory() ? mriff_ReadListHeader(&s, type, size) : riff_ReadListHeader(h(), type, size);
    }
    HRESULT Find(DWORD id, DWORD *size, LONG *left) {
        return Memory() ? mriff_FindChunkHeader(&s, id, size, left) : riff_FindChunkHeader(h(), id, size, left);
    }
    HRESULT FindList(DWORD type, DWORD *size, LONG *left) {
        return Memory() ? mriff_FindListChunk(&s, type, size, left) : riff_FindListChunk(h(), type, size, left);
    }
    HRESULT FindListFromStart(DWORD type, DWORD *size) {
        return Memory() ? mriff_FindListChunkFromStart(&s, type, size)
                        : riff_FindListChunkFromStart(h(), type, size);
    }
    HRESULT Count(DWORD *count, LONG *left) {
        return Memory() ? mriff_GetNumListEntries(&s, count, left) : riff_GetNumListEntries(h(), count, left);
    }

    const Family family;
    TempFile f;
    tMRIFFSTREAM s = {};
    std::unique_ptr<lxtest::GuardBuffer> g;
    DWORD len = 0;
};

// The families in Family order; the first two share the 4-byte-id layout.
inline std::vector<std::unique_ptr<Layer>> Layers(int n = 3) {
    std::vector<std::unique_ptr<Layer>> out;
    for (int i = 0; i < n; ++i) out.emplace_back(new Layer((Family)i));
    return out;
}

}  // namespace rifftest

#endif
