// RIFF images built by hand, a scratch file to hold them, and the mutation engine's chunk
// families each on a target of its own.
#ifndef RIFFIMAGE_H
#define RIFFIMAGE_H

#include <gtest/gtest.h>

#include "mutation.h"
#include "testsupport.h"

#include <memory>

namespace rifftest {

using Bytes = std::vector<BYTE>;
using Image = mutation::Image;

inline Bytes Filled(size_t n, BYTE first = 1) { return mutation::Fill(n, first, 1); }

// Odd chunks, an INFO list, a zero-size chunk, chunks behind the data. Offsets: fmt header 12,
// INFO list 36 (INAM 48, ISFT 62), zero 72, data 80, cue 96, adtl list 132 (labl 144), end 162.
inline Bytes WaveLike() {
    return Image().Riff("WAVE")
        .Chunk("fmt ", Bytes{1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0})
        .List("INFO").Chunk("INAM", Bytes{'N', 'a', 'm', 'e', 0}).Chunk("ISFT", Bytes{'x', 0}).Close()
        .Chunk("zero", Bytes{}).Chunk("data", Filled(7)).Chunk("cue ", Filled(28, 0x40))
        .List("adtl").Chunk("labl", Filled(9, 0x60)).Finish();
}

inline ULONGLONG Pos64(HANDLE h) { return mutation::Chunks(mutation::Chunks::kFile, h, nullptr).Pos(); }

// A scratch file beside the test program, deleted at the end.
class TempFile {
public:
    TempFile() : path_(lxtest::ExeDir() + lxtest::UniqueName("riff") + ".tmp") {
        Reopen(GENERIC_READ | GENERIC_WRITE);
    }
    ~TempFile() {
        CloseHandle(h_);
        DeleteFileA(path_.c_str());
    }
    HANDLE h() const { return h_; }
    // Replaces the contents and rewinds.
    void Reset(const Bytes &bytes) {
        DWORD done = 0;
        Seek(0);
        if (!bytes.empty()) WriteFile(h_, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
        SetEndOfFile(h_);
        Seek(0);
    }
    Bytes Contents() const {
        Bytes b(GetFileSize(h_, nullptr));
        DWORD done = 0, pos = Pos();
        Seek(0);
        if (!b.empty()) ReadFile(h_, b.data(), (DWORD)b.size(), &done, nullptr);
        b.resize(done);
        Seek(pos);
        return b;
    }
    DWORD Pos() const { return SetFilePointer(h_, 0, nullptr, FILE_CURRENT); }
    void Seek(DWORD pos) const { SetFilePointer(h_, (LONG)pos, nullptr, FILE_BEGIN); }
    // Reopens with other access rights, to make reads or writes fail.
    void Reopen(DWORD access) {
        if (h_ != INVALID_HANDLE_VALUE) CloseHandle(h_);
        h_ = CreateFileA(path_.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, 0,
                         nullptr);
    }

private:
    std::string path_;
    HANDLE h_ = INVALID_HANDLE_VALUE;
};

// A chunk family on a scratch file, or on a block flush against a guard page.
struct Layer : mutation::Chunks {
    explicit Layer(Family family) : Chunks(family, INVALID_HANDLE_VALUE, &st) { h = f.h(); }
    void Load(const Bytes &b) {
        if (!Memory()) return f.Reset(b);
        g.reset(new lxtest::GuardBuffer(b.data(), b.size()));
        mriff_Init(&st, g->data(), (DWORD)b.size(), (DWORD)b.size());
    }
    TempFile f;
    tMRIFFSTREAM st = {};
    std::unique_ptr<lxtest::GuardBuffer> g;
};

}  // namespace rifftest

#endif
