// RIFF images built by hand for the chunk-layer tests, and a scratch file
// that holds them: the expected bytes are spelled out here independently of
// the writers under test.
#ifndef RIFFIMAGE_H
#define RIFFIMAGE_H

#include <gtest/gtest.h>

#include "fileio/riff.h"
#include "testsupport.h"

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace rifftest {

using Bytes = std::vector<BYTE>;

inline DWORD Id(const char *s) { return LXRIFF_FOURCC(s[0], s[1], s[2], s[3]); }

inline DWORD WordAt(const Bytes &b, size_t at) {
    DWORD v = 0;
    std::memcpy(&v, b.data() + at, 4);
    return v;
}

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
    Image &Word(DWORD v) {
        BYTE w[4];
        std::memcpy(w, &v, 4);
        b_.insert(b_.end(), w, w + 4);
        return *this;
    }
    Image &Tag(const char *id) { return Word(Id(id)); }
    Image &Raw(const Bytes &bytes) {
        b_.insert(b_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Image &Riff(const char *form) {
        open_.push_back(b_.size() + 4);
        return Tag("RIFF").Word(0).Tag(form);
    }
    // A chunk with its pad byte when the payload is odd.
    Image &Chunk(const char *id, const Bytes &payload) {
        Tag(id).Word((DWORD)payload.size()).Raw(payload);
        if (payload.size() & 1) b_.push_back(0);
        return *this;
    }
    Image &List(const char *type) {
        open_.push_back(b_.size() + 4);
        return Tag("LIST").Word(0).Tag(type);
    }
    // Closes the innermost list (or the RIFF form): its size counts
    // everything behind its size field.
    Image &Close() {
        size_t at = open_.back();
        open_.pop_back();
        PutWordAt(b_, at, (DWORD)(b_.size() - at - 4));
        return *this;
    }
    Bytes Finish() {
        while (!open_.empty()) Close();
        return b_;
    }
    size_t Size() const { return b_.size(); }

private:
    Bytes b_;
    std::vector<size_t> open_;
};

// A small WAVE-like image: odd chunks, an INFO list, a zero-size chunk,
// chunks behind the data.
inline Bytes WaveLike() {
    return Image()
        .Riff("WAVE")
        .Chunk("fmt ", Bytes{1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0})
        .List("INFO")
        .Chunk("INAM", Text("Name"))
        .Chunk("ISFT", Text("x"))
        .Close()
        .Chunk("zero", Bytes{})
        .Chunk("data", Filled(7))
        .Chunk("cue ", Filled(28, 0x40))
        .List("adtl")
        .Chunk("labl", Filled(9, 0x60))
        .Close()
        .Finish();
}

// A scratch file beside the test program, deleted at the end.
class TempFile {
public:
    TempFile() : path_(lxtest::ExeDir() + lxtest::UniqueName("riff") + ".tmp") { Open(); }
    ~TempFile() {
        Close();
        DeleteFileA(path_.c_str());
    }
    HANDLE h() const { return h_; }
    const std::string &path() const { return path_; }

    // Replaces the contents and rewinds.
    void Reset(const Bytes &bytes) {
        SetFilePointer(h_, 0, nullptr, FILE_BEGIN);
        DWORD done = 0;
        if (!bytes.empty()) WriteFile(h_, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
        SetEndOfFile(h_);
        SetFilePointer(h_, 0, nullptr, FILE_BEGIN);
    }
    Bytes Contents() const {
        DWORD pos = Pos();
        DWORD size = GetFileSize(h_, nullptr);
        Bytes b(size);
        SetFilePointer(h_, 0, nullptr, FILE_BEGIN);
        DWORD done = 0;
        if (size) ReadFile(h_, b.data(), size, &done, nullptr);
        b.resize(done);
        SetFilePointer(h_, (LONG)pos, nullptr, FILE_BEGIN);
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
    void Open() {
        h_ = CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
    }
    void Close() {
        if (h_ != INVALID_HANDLE_VALUE) CloseHandle(h_);
        h_ = INVALID_HANDLE_VALUE;
    }
    std::string path_;
    HANDLE h_ = INVALID_HANDLE_VALUE;
};

}  // namespace rifftest

#endif
