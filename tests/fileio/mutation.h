// Seeded mutation of WAVE, Wave64, AIFF and plain RIFF images, and one run
// of every reader over each mutant: the wave recognisers and format reader
// and the repairs on a scratch file, the 32- and 64-bit chunk walkers and
// the AIFF readers on a handle, the memory chunk readers on a block against
// guard pages. A run counts the calls that return a status outside their
// own set or break an invariant; a crash ends the process. Shared by the
// bounded test and the open-ended benchmark, so it uses no test framework.
#ifndef MUTATION_H
#define MUTATION_H

#include "fileio/aiff.h"
#include "fileio/mriff.h"
#include "fileio/riff64.h"
#include "fileio/wave.h"
#include "guardbuffer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace mutation {

using Bytes = std::vector<BYTE>;

// xorshift64*: small, fast, and the same sequence on every platform.
class Rng {
public:
    explicit Rng(ULONGLONG seed) : s_(seed ? seed : 0x9E3779B97F4A7C15ULL) {}
    ULONGLONG Next() {
        s_ ^= s_ >> 12;
        s_ ^= s_ << 25;
        s_ ^= s_ >> 27;
        return s_ * 0x2545F4914F6CDD1DULL;
    }
    size_t Below(size_t n) { return n ? (size_t)(Next() % n) : 0; }

private:
    ULONGLONG s_;
};

// The input of a given seed and index, independent of every other index.
inline ULONGLONG InputSeed(ULONGLONG seed, ULONGLONG index) {
    Rng r(seed ^ (index * 0xD1B54A32D192ED03ULL + 1));
    r.Next();
    return r.Next();
}

// Fields of either byte order, chunks with their pads; the last call patches
// the form's size (RIFF and FORM at 4, Wave64 at 16).
class Builder {
public:
    Builder &Raw(const void *p, size_t n) {
        b_.insert(b_.end(), (const BYTE *)p, (const BYTE *)p + n);
        return *this;
    }
    Builder &Raw(const Bytes &b) { return Raw(b.data(), b.size()); }
    Builder &Tag(const char *s) { return Raw(s, 4); }
    template <class T> Builder &LE(T v) { return Raw(&v, sizeof v); }
    Builder &BE(DWORD v, int bytes = 4) {
        while (bytes--) b_.push_back((BYTE)(v >> (8 * bytes)));
        return *this;
    }
    Builder &Fill(size_t n, BYTE first) {
        for (size_t i = 0; i < n; ++i) b_.push_back((BYTE)(first + i * 7));
        return *this;
    }
    Builder &Align(size_t to) {
        b_.resize((b_.size() + to - 1) / to * to);
        return *this;
    }
    Builder &Chunk(const char *id, const Bytes &data) { return Tag(id).LE((DWORD)data.size()).Raw(data).Align(2); }
    Builder &W64Chunk(const GUID &id, const Bytes &data) {
        return Raw(&id, 16).LE((ULONGLONG)data.size() + 24).Raw(data).Align(8);
    }
    Bytes Get() const { return b_; }
    Bytes Riff() { return Patch(4, (DWORD)b_.size() - 8); }
    Bytes W64() { return Patch(16, (ULONGLONG)b_.size()); }
    Bytes Form() { return Patch(4, _byteswap_ulong((DWORD)b_.size() - 8)); }

private:
    template <class T> Bytes Patch(size_t at, T v) {
        memcpy(&b_[at], &v, sizeof v);
        return b_;
    }
    Bytes b_;
};

inline Bytes Format18(WORD tag, WORD channels, DWORD rate, WORD bits) {
    const WORD align = (WORD)((bits >> 3) * channels);
    return Builder().LE(tag).LE(channels).LE(rate).LE((DWORD)(align * rate)).LE(align).LE(bits).LE((WORD)0).Get();
}

inline Bytes Filled(size_t n, BYTE first) { return Builder().Fill(n, first).Get(); }

inline std::vector<Bytes> Seeds() {
    Bytes fmt16 = Format18(3, 1, 22050, 32);
    fmt16.resize(16);
    const Bytes info =
        Builder().Tag("INFO").Chunk("INAM", Bytes{'t', 'a', 'k', 'e', 0}).Chunk("ISFT", Bytes{'x', 0}).Get();
    const Bytes adtl = Builder().Tag("adtl").Chunk("labl", Bytes{1, 0, 0, 0, 'm', 0}).Get();
    const Bytes innr = Builder().Tag("innr").Chunk("a   ", Filled(1, 1)).Chunk("b   ", Bytes{}).Get();
    const Bytes outr = Builder().Tag("outr").Chunk("LIST", innr).Chunk("c   ", Filled(3, 2)).Get();
    const Bytes w64list = Builder().Raw(&LXW64_ID_WAVE, 16).W64Chunk(LXW64_ID_JUNK, Filled(5, 2)).Get();
    return {
        // canonical WAVE; with lists, a short fmt, fact, cue and labels; with a reservation
        Builder().Tag("RIFF").LE(0).Tag("WAVE").Chunk("fmt ", Format18(1, 2, 44100, 16))
            .Chunk("data", Filled(64, 3)).Riff(),
        Builder().Tag("RIFF").LE(0).Tag("WAVE").Chunk("LIST", info).Chunk("fmt ", fmt16)
            .Chunk("fact", Bytes{5, 0, 0, 0}).Chunk("data", Filled(21, 9)).Chunk("cue ", Filled(28, 0))
            .Chunk("LIST", adtl).Riff(),
        Builder().Tag("RIFF").LE(0).Tag("WAVE").Chunk("fmt ", Format18(1, 1, 48000, 24)).Chunk("JUNK", Bytes(30))
            .Chunk("data", Filled(33, 1)).Riff(),
        // canonical Wave64; with a list and a reservation
        Builder().Raw(&LXW64_ID_RIFF, 16).LE(0ULL).Raw(&LXW64_ID_WAVE, 16)
            .W64Chunk(LXW64_ID_FMT, Format18(1, 2, 44100, 16)).W64Chunk(LXW64_ID_DATA, Filled(40, 5)).W64(),
        Builder().Raw(&LXW64_ID_RIFF, 16).LE(0ULL).Raw(&LXW64_ID_WAVE, 16).W64Chunk(LXW64_ID_LIST, w64list)
            .W64Chunk(LXW64_ID_FMT, Format18(3, 2, 96000, 64)).W64Chunk(LXW64_ID_JUNK, Bytes(24))
            .W64Chunk(LXW64_ID_DATA, Filled(48, 7)).W64(),
        // AIFF: COMM, SSND with an offset
        Builder().Tag("FORM").BE(0).Tag("AIFF").Tag("COMM").BE(18).BE(2, 2).BE(10).BE(16, 2).BE(0x400E, 2)
            .BE(0xAC440000).BE(0).Tag("SSND").BE(8 + 4 + 40).BE(4).BE(0).Fill(44, 1).Form(),
        // AIFC, uncompressed, with markers and an instrument
        Builder().Tag("FORM").BE(0).Tag("AIFC").Tag("FVER").BE(4).BE(0xA2805140).Tag("COMM").BE(24).BE(1, 2).BE(20)
            .BE(8, 2).BE(0x400B, 2).BE(0xFA000000).BE(0).Tag("NONE").BE(0, 2).Tag("MARK").BE(2 + 8 + 10).BE(2, 2)
            .BE(1, 2).BE(3).Raw("\1a", 2).BE(2, 2).BE(9).Raw("\3abc", 4).Tag("INST").BE(20).Fill(20, 0)
            .Tag("SSND").BE(8 + 21).BE(0).BE(0).Fill(21, 4).Align(2).Form(),
        // plain RIFF with nested lists
        Builder().Tag("RIFF").LE(0).Tag("TEST").Chunk("LIST", outr).Chunk("d   ", Filled(9, 3)).Riff(),
    };
}

inline ULONGLONG Interesting(Rng &r, ULONGLONG truth) {
    static const ULONGLONG values[] = {0, 1, 3, 7, 8, 23, 24, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x7FFFFFFF,
                                       0x80000000, 0xFFFFFFF8, 0xFFFFFFFF, 0x100000000ULL, 0x7FFFFFFFFFFFFFFFULL,
                                       0x8000000000000000ULL, 0xFFFFFFFFFFFFFFF8ULL, 0xFFFFFFFFFFFFFFFFULL};
    const size_t n = sizeof values / sizeof values[0];
    const size_t pick = r.Below(n + 4);
    if (pick < n) return values[pick];
    return truth + (ULONGLONG)((LONGLONG)r.Below(5) - 2);  // one or two off the truth
}

// One to four edits of a seed: bit flips, interesting numbers over words,
// cuts, and splices from any seed.
inline Bytes Mutate(const std::vector<Bytes> &seeds, Rng &r) {
    Bytes b = seeds[r.Below(seeds.size())];
    const size_t edits = 1 + r.Below(4);
    for (size_t e = 0; e < edits; ++e) {
        switch (r.Below(7)) {
        case 0:  // flip bits
            if (!b.empty()) b[r.Below(b.size())] ^= (BYTE)(1u << r.Below(8));
            break;
        case 1:  // a byte
            if (!b.empty()) b[r.Below(b.size())] = (BYTE)Interesting(r, 0);
            break;
        case 2:
        case 3: {  // a word of 2, 4 or 8 bytes, at an aligned or any place
            const size_t width = (size_t)2 << r.Below(3);
            if (b.size() < width) break;
            size_t at = r.Below(b.size() - width + 1);
            if (r.Below(2)) at &= ~(size_t)1;
            ULONGLONG truth = 0;
            memcpy(&truth, &b[at], width);
            const ULONGLONG v = Interesting(r, truth);
            memcpy(&b[at], &v, width);
            break;
        }
        case 4:  // cut
            b.resize(r.Below(b.size() + 1));
            break;
        case 5: {  // splice a piece of any seed in, inserted or over
            const Bytes &from = seeds[r.Below(seeds.size())];
            const size_t start = r.Below(from.size()), len = 1 + r.Below(from.size() - start);
            const size_t at = r.Below(b.size() + 1);
            if (r.Below(2)) {
                b.insert(b.begin() + at, from.begin() + start, from.begin() + start + len);
            } else {
                for (size_t i = 0; i < len && at + i < b.size(); ++i) b[at + i] = from[start + i];
            }
            break;
        }
        case 6: {  // remove or repeat a range
            if (b.empty()) break;
            const size_t at = r.Below(b.size()), len = 1 + r.Below(b.size() - at);
            if (r.Below(2)) {
                b.erase(b.begin() + at, b.begin() + at + len);
            } else {
                const Bytes piece(b.begin() + at, b.begin() + at + len);
                b.insert(b.begin() + at, piece.begin(), piece.end());
            }
            break;
        }
        }
    }
    return b;
}

// Checks that a call's status lies in its set, naming the call.
#define MUTATION_WANT(set, call) Want(set, call, #call)

class Runner {
public:
    explicit Runner(const std::string &path) : path_(path) {}

    // Every reader over one input; the number of faults found, the first
    // of them described in *why.
    int Run(const Bytes &input, bool files, bool repair, std::string *why) {
        faults_ = 0;
        why_ = why;
        len_ = input.size();
        Memory(input, lxtest::GuardBuffer::kEnd);
        Memory(input, lxtest::GuardBuffer::kStart);
        if (files && Write(input)) {
            Paths(input.size() >= 4 && memcmp(input.data(), "FORM", 4) == 0);
            Handles();
            if (repair) Repair();
        }
        return faults_;
    }

private:
    enum Set { kLayer, kLayerOrFail, kAiff, kRepair };

    void Check(bool ok, const char *what, HRESULT hr = 0) {
        if (ok || faults_++ || !why_) return;
        char text[160];
        snprintf(text, sizeof text, "%s (0x%08lX)", what, (unsigned long)hr);
        *why_ = text;
    }
    // The status must lie in the call's own set, and a memory cursor inside
    // [base, dataEnd] with the data's end where it was.
    HRESULT Want(Set set, HRESULT hr, const char *what) {
        bool ok = hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND;
        if (set == kLayer || set == kLayerOrFail) ok = ok || hr == LXRIFF_E_NOTRIFF || hr == LXRIFF_E_NOTLIST;
        if (set == kLayerOrFail) ok = ok || hr == LX_E_FAIL;
        if (set == kAiff) ok = ok || hr == LXIFF_E_NOTAIFF || hr == LXIFF_E_NOTFORM;
        if (set == kRepair) ok = ok || hr == LXRIFF_E_NEGSIZE;
        const tMRIFFSTREAM *s = s_;
        Check(ok && (!s || (s->base <= s->current && s->current <= s->dataEnd && s->dataEnd == s->base + len_)),
              what, hr);
        return hr;
    }

    bool Write(const Bytes &b) {
        HANDLE h =
            CreateFileA(path_.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h == INVALID_HANDLE_VALUE) {
            Check(false, "scratch file");
            return false;
        }
        DWORD done = 0;
        if (!b.empty()) WriteFile(h, b.data(), (DWORD)b.size(), &done, nullptr);
        SetEndOfFile(h);
        CloseHandle(h);
        return done == b.size();
    }
    HANDLE Open(DWORD access) {
        HANDLE h = CreateFileA(path_.c_str(), access, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        Check(h != INVALID_HANDLE_VALUE, "open");
        return h;
    }

    void Memory(const Bytes &input, lxtest::GuardBuffer::Flush flush) {
        const DWORD len = (DWORD)input.size();
        lxtest::GuardBuffer g(input.data(), len, flush);
        tMRIFFSTREAM s;
        if (!g.ok() || mriff_Init(&s, g.data(), len, len) != LX_S_OK) return Check(false, "guard buffer");
        s_ = &s;
        DWORD room = 0, form = 0, size = 0, count = 0;
        LONG left;
        MUTATION_WANT(kLayer, mriff_ReadFileID(&s, &room, &form));
        for (DWORD id : {LXRIFF_ID_FMT, LXRIFF_ID_DATA, LXRIFF_ID_LIST}) {
            mriff_SetFilePointer(&s, 0, nullptr, FILE_BEGIN);
            left = (LONG)len;
            if (MUTATION_WANT(kLayer, mriff_FindChunkHeaderInRIFF(&s, id, &size, &left)) == LX_S_OK) {
                BYTE buf[32];
                MUTATION_WANT(kLayer, mriff_ReadDataBounded(&s, buf, sizeof buf, size));
            }
        }
        if (MUTATION_WANT(kLayer, mriff_FindListChunkFromStart(&s, LXRIFF_ID_INFO, &size)) == LX_S_OK) {
            MUTATION_WANT(kLayer, mriff_GetNumListEntries(&s, &count, &(left = (LONG)size)));
            Check(count <= len / 8, "mriff_GetNumListEntries count");
        }
        mriff_SetFilePointer(&s, 12, nullptr, FILE_BEGIN);
        MUTATION_WANT(kLayer, mriff_GetNumListEntries(&s, &count, nullptr));
        Check(count <= len / 8, "mriff_GetNumListEntries unbounded count");
        char text[16];
        const DWORD inam = LXRIFF_FOURCC('I', 'N', 'A', 'M');
        MUTATION_WANT(kLayer, mriff_GetInfoString(&s, inam, text, sizeof text, nullptr));
        WAVEFORMATEX w;
        MUTATION_WANT(kLayerOrFail, mriff_GetWfx(&w, g.data(), len, &size));
        s_ = nullptr;
    }

    void Paths(bool aiff) {
        for (BOOL any : {FALSE, TRUE}) {
            const int a = LxFileIsWave(path_.c_str(), any), b = LxFileIsWave64(path_.c_str(), any);
            Check(a == 0 || a == 1, "LxFileIsWave");
            Check(b == 0 || b == 1, "LxFileIsWave64");
        }
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(path_.c_str(), &frames, &offset);
        if (f) {
            /* A wave file's samples start behind a header that was read; an
               AIFF sound chunk states where its first frame is, and a file
               cut short may end before it. */
            Check(LxWave_IsAudioFormat(f) && offset >= 12 && (offset <= len_ || aiff), "LxGetFileWfx");
            free(f);
        }
    }

    void Handles() {
        HANDLE h = Open(GENERIC_READ);
        if (h == INVALID_HANDLE_VALUE) return;
        DWORD size32 = 0, count = 0;
        LONG left32 = 0;
        for (DWORD id : {LXRIFF_ID_FMT, LXRIFF_ID_DATA})
            MUTATION_WANT(kLayer, riff_FindChunkHeaderInRIFF(h, id, &size32, &left32));
        MUTATION_WANT(kLayer, riff_FindListChunkFromStart(h, LXRIFF_ID_INFO, &size32));
        riff_SeekDataStart(h);
        MUTATION_WANT(kLayer, riff_GetNumListEntries(h, &count, nullptr));
        Check(count <= len_ / 8, "riff_GetNumListEntries count");

        ULONGLONG size = 0;
        LONGLONG left = 0;
        for (const GUID &id : {LXW64_ID_FMT, LXW64_ID_DATA, LXW64_ID_JUNK})
            MUTATION_WANT(kLayer, riff64_FindChunkHeaderInRIFF(h, id, &size, &left));
        if (MUTATION_WANT(kLayer, riff64_FindListChunkFromStart(h, LXW64_ID_WAVE, &size)) == LX_S_OK) {
            MUTATION_WANT(kLayer, riff64_GetNumListEntries(h, &count, &(left = (LONGLONG)size)));
            Check(count <= len_ / 24, "riff64_GetNumListEntries count");
        }
        riff64_SeekDataStart(h);
        MUTATION_WANT(kLayer, riff64_GetNumListEntries(h, &count, nullptr));
        Check(count <= len_ / 24, "riff64_GetNumListEntries unbounded count");

        DWORD formSize = 0, frames = 0, offset = 0;
        BOOL compressed = FALSE;
        iff_IsAIFFFileEx(h, &formSize, &compressed);
        tWAVEFORMATEX w;
        MUTATION_WANT(kAiff, iff_GetAIFFWfx(h, &w, &frames, &offset));
        tWAVEFORMATEX *guess = nullptr;
        ULONGLONG frames64 = 0, offset64 = 0;
        const HRESULT hr = MUTATION_WANT(kAiff, Aiff_GetFileWfx(h, &guess, &frames64, &offset64));
        Check((hr == LX_S_OK) == (guess != nullptr), "Aiff_GetFileWfx format", hr);
        free(guess);
        tAIFFCOMM comm;
        MUTATION_WANT(kAiff, Aiff_ReadComm(h, &comm));
        tAIFFINST inst;
        MUTATION_WANT(kAiff, Aiff_ReadInst(h, &inst));
        tIFFMARKER marker;
        MUTATION_WANT(kAiff, iff_FindMarker(h, &marker, 2));
        CloseHandle(h);
    }

    // Alternately the WAVE and the Wave64 repair; what it writes must read
    // back, and a refusal leaves the file alone.
    void Repair() {
        HANDLE h = Open(GENERIC_READ | GENERIC_WRITE);
        if (h == INVALID_HANDLE_VALUE) return;
        const bool w64 = (++repairs_ & 1) != 0;
        const HRESULT hr = w64 ? LxFixTrashedW64(h, nullptr, ~0ULL) : LxFixTrashedWav(h, nullptr, 0xFFFFFFFF);
        const DWORD after = GetFileSize(h, nullptr);
        CloseHandle(h);
        Want(kRepair, hr, w64 ? "LxFixTrashedW64" : "LxFixTrashedWav");
        Check(after == len_, "repair changed the length");
        if (hr != LX_S_OK) return;
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(path_.c_str(), &frames, &offset);
        Check(f && offset <= len_ && frames == (len_ - offset) / f->nBlockAlign, "repaired file reads back");
        free(f);
    }

    std::string path_;
    std::string *why_ = nullptr;
    const tMRIFFSTREAM *s_ = nullptr;
    size_t len_ = 0;
    int faults_ = 0;
    unsigned repairs_ = 0;
};

#undef MUTATION_WANT

}  // namespace mutation

#endif
