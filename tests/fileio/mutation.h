// Seeded mutation of WAVE, Wave64, AIFF and RIFF images, and a runner of the chunk readers, the
// wave readers (whose third guess is AIFF) and the deletions over an input, counting statuses
// outside a call's set and broken invariants; a crash ends the process. No test framework:
// benchmarks use it.
#ifndef MUTATION_H
#define MUTATION_H

#include "fileio/mriff.h"
#include "fileio/riff64.h"
#include "fileio/wave.h"
#include "guardbuffer.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace mutation {

using Bytes = std::vector<BYTE>;

// xorshift64*: small, fast, and the same sequence on every platform.
struct Rng {
    explicit Rng(ULONGLONG seed) : s(seed ? seed : 0x9E3779B97F4A7C15ULL) {}
    ULONGLONG Next() {
        s ^= s >> 12;
        s ^= s << 25;
        s ^= s >> 27;
        return s * 0x2545F4914F6CDD1DULL;
    }
    size_t Below(size_t n) { return n ? (size_t)(Next() % n) : 0; }
    ULONGLONG s;
};

// The input of a given seed and index, independent of every other index.
inline ULONGLONG InputSeed(ULONGLONG seed, ULONGLONG index) {
    Rng r(seed ^ (index * 0xD1B54A32D192ED03ULL + 1));
    r.Next();
    return r.Next();
}

// Images byte by byte. Riff and List open a form or list whose size Close (or
// Finish, for all still open) patches; W64 and Form patch a Wave64 or IFF form.
class Image {
public:
    Image &Raw(const void *p, size_t n) {
        b_.insert(b_.end(), (const BYTE *)p, (const BYTE *)p + n);
        return *this;
    }
    Image &Raw(const Bytes &b) { return Raw(b.data(), b.size()); }
    Image &Tag(const char *id) { return Raw(id, 4); }
    Image &Word(DWORD v) { return Raw(&v, 4); }
    Image &Quad(ULONGLONG v) { return Raw(&v, 8); }
    Image &BE(DWORD v, int bytes = 4) {
        while (bytes--) b_.push_back((BYTE)(v >> (8 * bytes)));
        return *this;
    }
    // Chunks with their pad: to 2 in RIFF, to 8 in Wave64.
    Image &Chunk(const char *id, const Bytes &p) {
        return Tag(id).Word((DWORD)p.size()).Raw(p).Raw(Bytes(p.size() & 1));
    }
    Image &W64Chunk(const GUID &id, const Bytes &p) {
        return Raw(&id, 16).Quad(p.size() + 24).Raw(p).Raw(Bytes(-p.size() & 7));
    }
    Image &Riff(const char *form) { return Open("RIFF", form); }
    Image &List(const char *type) { return Open("LIST", type); }
    Image &Close() {
        Patch(open_.back(), (DWORD)(b_.size() - open_.back() - 4));
        open_.pop_back();
        return *this;
    }
    Bytes Finish() {
        while (!open_.empty()) Close();
        return b_;
    }
    Bytes W64() { return Patch(16, (ULONGLONG)b_.size()); }
    Bytes Form() { return Patch(4, _byteswap_ulong((DWORD)b_.size() - 8)); }

private:
    Image &Open(const char *id, const char *type) {
        open_.push_back(b_.size() + 4);
        return Tag(id).Word(0).Tag(type);
    }
    template <class T> Bytes Patch(size_t at, T v) {
        memcpy(&b_[at], &v, sizeof v);
        return b_;
    }
    Bytes b_;
    std::vector<size_t> open_;
};

inline Bytes Fill(size_t n, BYTE first, BYTE step = 7) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = (BYTE)(first + i * step);
    return b;
}

inline Bytes Format18(WORD tag, WORD channels, DWORD rate, WORD bits) {
    const WORD align = (WORD)((bits >> 3) * channels);
    const WAVEFORMATEX f = {tag, channels, rate, align * rate, align, bits, 0};
    return Bytes((const BYTE *)&f, (const BYTE *)&f + 18);
}

// WAVE: plain; with lists, a short fmt, fact, cue and labels; with JUNK. Wave64: plain; with a
// list and junk. AIFF with an offset; AIFC with markers and an instrument. Nested RIFF lists.
inline std::vector<Bytes> Seeds() {
    const Bytes f = Format18(3, 1, 22050, 32), fmt16(f.begin(), f.begin() + 16);
    const Bytes w64list = Image().Raw(&LXW64_ID_WAVE, 16).W64Chunk(LXW64_ID_JUNK, Fill(5, 2)).Finish();
    const Bytes w64 = Image().Raw(&LXW64_ID_RIFF, 16).Quad(0).Raw(&LXW64_ID_WAVE, 16).Finish();
    return {
        Image().Riff("WAVE").Chunk("fmt ", Format18(1, 2, 44100, 16)).Chunk("data", Fill(64, 3)).Finish(),
        Image().Riff("WAVE").List("INFO").Chunk("INAM", Bytes{'t', 'a', 'k', 'e', 0})
            .Chunk("ISFT", Bytes{'x', 0}).Close().Chunk("fmt ", fmt16).Chunk("fact", Bytes{5, 0, 0, 0})
            .Chunk("data", Fill(21, 9)).Chunk("cue ", Fill(28, 0)).List("adtl")
            .Chunk("labl", Bytes{1, 0, 0, 0, 'm', 0}).Finish(),
        Image().Riff("WAVE").Chunk("fmt ", Format18(1, 1, 48000, 24)).Chunk("JUNK", Bytes(30))
            .Chunk("data", Fill(33, 1)).Finish(),
        Image().Raw(w64).W64Chunk(LXW64_ID_FMT, Format18(1, 2, 44100, 16))
            .W64Chunk(LXW64_ID_DATA, Fill(40, 5)).W64(),
        Image().Raw(w64).W64Chunk(LXW64_ID_LIST, w64list).W64Chunk(LXW64_ID_FMT, Format18(3, 2, 96000, 64))
            .W64Chunk(LXW64_ID_JUNK, Bytes(24)).W64Chunk(LXW64_ID_DATA, Fill(48, 7)).W64(),
        Image().Tag("FORM").BE(0).Tag("AIFF").Tag("COMM").BE(18).BE(2, 2).BE(10).BE(16, 2).BE(0x400E, 2)
            .BE(0xAC440000).BE(0).Tag("SSND").BE(8 + 4 + 40).BE(4).BE(0).Raw(Fill(44, 1)).Form(),
        Image().Tag("FORM").BE(0).Tag("AIFC").Tag("FVER").BE(4).BE(0xA2805140).Tag("COMM").BE(24).BE(1, 2)
            .BE(20).BE(8, 2).BE(0x400B, 2).BE(0xFA000000).BE(0).Tag("NONE").BE(0, 2).Tag("MARK")
            .BE(2 + 8 + 10).BE(2, 2).BE(1, 2).BE(3).Raw("\1a", 2).BE(2, 2).BE(9).Raw("\3abc", 4)
            .Tag("INST").BE(20).Raw(Fill(20, 0)).Tag("SSND").BE(8 + 21).BE(0).BE(0).Raw(Fill(21, 4))
            .Raw(Bytes(1)).Form(),
        Image().Riff("TEST").List("outr").List("innr").Chunk("a   ", Fill(1, 1)).Chunk("b   ", Bytes{})
            .Close().Chunk("c   ", Fill(3, 2)).Close().Chunk("d   ", Fill(9, 3)).Finish(),
    };
}

inline ULONGLONG Interesting(Rng &r, ULONGLONG truth) {
    static const ULONGLONG values[] = {
        0, 1, 3, 7, 8, 23, 24, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x7FFFFFFF, 0x80000000,
        0xFFFFFFF8, 0xFFFFFFFF, 0x100000000ULL, 0x7FFFFFFFFFFFFFFFULL, 0x8000000000000000ULL,
        0xFFFFFFFFFFFFFFF8ULL, 0xFFFFFFFFFFFFFFFFULL};
    const size_t n = sizeof values / sizeof values[0], pick = r.Below(n + 4);
    return pick < n ? values[pick] : truth + (ULONGLONG)((LONGLONG)r.Below(5) - 2);  // or one or two off
}

// One to four edits of a seed: bit flips, interesting numbers, cuts, splices from any seed.
inline Bytes Mutate(const std::vector<Bytes> &seeds, Rng &r) {
    Bytes b = seeds[r.Below(seeds.size())];
    for (size_t e = 0, edits = 1 + r.Below(4); e < edits; ++e) {
        const size_t kind = r.Below(7);
        if (kind < 2 && !b.empty()) {  // flip a bit, or set a byte
            const BYTE v = kind ? (BYTE)Interesting(r, 0) : (BYTE)(1u << r.Below(8));
            BYTE &x = b[r.Below(b.size())];
            x = kind ? v : (BYTE)(x ^ v);
        } else if (kind == 2 || kind == 3) {  // a word of 2, 4 or 8 bytes, at an aligned or any place
            const size_t width = (size_t)2 << r.Below(3);
            if (b.size() < width) continue;
            size_t at = r.Below(b.size() - width + 1);
            if (r.Below(2)) at &= ~(size_t)1;
            ULONGLONG v = 0;
            memcpy(&v, &b[at], width);
            v = Interesting(r, v);
            memcpy(&b[at], &v, width);
        } else if (kind == 4) {  // cut
            b.resize(r.Below(b.size() + 1));
        } else if (kind == 5) {  // a piece of any seed, inserted or over
            const Bytes &from = seeds[r.Below(seeds.size())];
            const size_t start = r.Below(from.size()), len = 1 + r.Below(from.size() - start);
            const size_t at = r.Below(b.size() + 1);
            if (r.Below(2))
                b.insert(b.begin() + at, from.begin() + start, from.begin() + start + len);
            else
                for (size_t i = 0; i < len && at + i < b.size(); ++i) b[at + i] = from[start + i];
        } else if (kind == 6 && !b.empty()) {  // remove or repeat a range
            const size_t at = r.Below(b.size()), len = 1 + r.Below(b.size() - at);
            const Bytes piece(b.begin() + at, b.begin() + at + len);
            if (r.Below(2))
                b.erase(b.begin() + at, b.begin() + at + len);
            else
                b.insert(b.begin() + at, piece.begin(), piece.end());
        }
    }
    return b;
}

// The chunk families behind one face: riff_ and riff64_ on a handle, mriff_ on a cursor record;
// positions widened, the bounded read's sizes in the file family's order, 4-byte ids 32-bit only.
#define MUT32(f, ...) (Memory() ? mriff_##f(s, ##__VA_ARGS__) : riff_##f(h, ##__VA_ARGS__))
#define MUTANY(f, ...) (W64() ? riff64_##f(h, ##__VA_ARGS__) : MUT32(f, ##__VA_ARGS__))
struct Chunks {
    enum Family { kFile, kMemory, kW64 };
    Chunks(Family family, HANDLE h, tMRIFFSTREAM *s) : family(family), h(h), s(s) {}
    bool Memory() const { return family == kMemory; }
    bool W64() const { return family == kW64; }
    ULONGLONG Pos() const {
        LONG high = 0;
        const DWORD low = Memory() ? s->current - s->base : SetFilePointer(h, 0, &high, FILE_CURRENT);
        return ((ULONGLONG)(DWORD)high << 32) | low;
    }
    // The memory cursor stops at the data's end.
    DWORD Seek(DWORD to) const {
        return Memory() ? mriff_LxSetFilePointer(s, to, 0) : SetFilePointer(h, to, nullptr, FILE_BEGIN);
    }
    HRESULT DataStart() const { return MUTANY(SeekDataStart); }
    ULONGLONG Skip(ULONGLONG n) const { return W64() ? riff64_SkipChunk(h, n) : MUT32(SkipChunk, (DWORD)n); }
    HRESULT Read(void *buf, DWORD n) const { return MUTANY(ReadData, buf, n); }
    HRESULT Bounded(void *buf, ULONGLONG chunk, DWORD size) const {
        return W64()      ? riff64_ReadDataBounded(h, buf, chunk, size)
               : Memory() ? mriff_ReadDataBounded(s, buf, size, (DWORD)chunk)
                          : riff_ReadDataBounded(h, buf, (DWORD)chunk, size);
    }
    HRESULT Alloc(tLXRIFFDATA *d) const { return MUTANY(ReadDataAlloc, d); }
    HRESULT FileID(DWORD *n, DWORD *form) const { return MUT32(ReadFileID, n, form); }
    HRESULT Find(DWORD id, DWORD *n, LONG *left) const { return MUT32(FindChunkHeader, id, n, left); }
    HRESULT FindInRiff(DWORD id, DWORD *n, LONG *l) const { return MUT32(FindChunkHeaderInRIFF, id, n, l); }
    HRESULT FindList(DWORD id, DWORD *n, LONG *left) const { return MUT32(FindListChunk, id, n, left); }
    HRESULT Count(DWORD *n, LONG *left) const { return MUT32(GetNumListEntries, n, left); }

    Family family;
    HANDLE h;
    tMRIFFSTREAM *s;
};
#undef MUTANY
#undef MUT32

// A call's status must be 0, a failed read, not found or one of those given (by default the
// layer's); the call is named.
#define MUTATION_WANT(call, ...) Want(call, #call, ##__VA_ARGS__)

class Runner {
public:
    explicit Runner(const std::string &path) : path_(path) {}

    // Every reader over one input, on a file too when files is set, then deletions when writes
    // is; the number of faults found, the first described in *why.
    int Run(const Bytes &input, bool files, bool writes, std::string *why) {
        faults_ = 0;
        why_ = why;
        len_ = input.size();
        for (auto flush : {lxtest::GuardBuffer::kEnd, lxtest::GuardBuffer::kStart}) Memory(input, flush);
        if (!files) return faults_;
        HANDLE h = Open(GENERIC_WRITE, OPEN_ALWAYS);
        DWORD done = 0;
        if (!input.empty()) WriteFile(h, input.data(), (DWORD)input.size(), &done, nullptr);
        SetEndOfFile(h);
        CloseHandle(h);
        if (done == input.size()) Files(input.size() >= 4 && !memcmp(input.data(), "FORM", 4), writes);
        return faults_;
    }

private:
    void Check(bool ok, const char *what, HRESULT hr = 0) {
        if (ok || faults_++ || !why_) return;
        char text[160];
        snprintf(text, sizeof text, "%s (0x%08lX)", what, (unsigned long)hr);
        *why_ = text;
    }
    // And a memory cursor inside [base, dataEnd], with the data's end kept.
    HRESULT Want(HRESULT hr, const char *what, std::initializer_list<HRESULT> also = {kNoRiff, kNoList}) {
        bool ok = hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND;
        for (HRESULT a : also) ok = ok || hr == a;
        const tMRIFFSTREAM *s = s_;
        Check(ok && (!s || (s->base <= s->current && s->current <= s->dataEnd && s->dataEnd == s->base + len_)),
              what, hr);
        return hr;
    }

    HANDLE Open(DWORD access, DWORD how = OPEN_EXISTING) {
        HANDLE h = CreateFileA(path_.c_str(), access, FILE_SHARE_READ, nullptr, how, 0, nullptr);
        Check(h != INVALID_HANDLE_VALUE, "scratch file");
        return h;
    }

    // A payload found, read every way from its start.
    void Reads(const Chunks &c, ULONGLONG size) {
        BYTE buf[32];
        const DWORD at = (DWORD)c.Pos();
        MUTATION_WANT(c.Bounded(buf, size, sizeof buf));
        c.Seek(at);
        tLXRIFFDATA d = {(DWORD)size, nullptr};
        MUTATION_WANT(c.Alloc(&d));
        LxRiff_FreeData(&d);
        c.Seek(at);
        MUTATION_WANT(c.Read(buf, size < sizeof buf ? (DWORD)size : (DWORD)sizeof buf));
    }
    // The 32-bit searches, bounded and not, in the memory or the file family.
    void Walk32(const Chunks &c) {
        DWORD size = 0, count = 0;
        LONG left;
        MUTATION_WANT(c.FileID(&size, &count));
        for (DWORD id : {LXRIFF_ID_FMT, LXRIFF_ID_DATA, LXRIFF_ID_LIST, LXRIFF_ID_INFO}) {
            c.Seek(12);
            MUTATION_WANT(c.Find(id, &size, nullptr));
            c.Seek(0);
            if (MUTATION_WANT(c.FindInRiff(id, &size, &(left = (LONG)len_))) == LX_S_OK) Reads(c, size);
        }
        c.Seek(12);
        MUTATION_WANT(c.FindList(LXRIFF_ID_INFO, &size, &(left = (LONG)len_)));
        c.Seek(12);
        MUTATION_WANT(c.Count(&count, nullptr));
        Check(count <= len_ / 8, "GetNumListEntries count");
    }

    void Memory(const Bytes &input, lxtest::GuardBuffer::Flush flush) {
        const DWORD len = (DWORD)input.size();
        lxtest::GuardBuffer g(input.data(), len, flush);
        tMRIFFSTREAM s;
        if (!g.ok() || mriff_Init(&s, g.data(), len, len) != LX_S_OK) return Check(false, "guard buffer");
        s_ = &s;
        Walk32(Chunks(Chunks::kMemory, nullptr, &s));
        char text[16];
        MUTATION_WANT(mriff_GetInfoString(&s, LXRIFF_FOURCC('I', 'S', 'F', 'T'), text, 16, nullptr));
        WAVEFORMATEX w;
        MUTATION_WANT(mriff_GetWfx(&w, g.data(), len, nullptr), {kNoRiff, kNoList, LX_E_FAIL});
        s_ = nullptr;
    }

    void Files(bool aiff, bool writes) {
        const char *p = path_.c_str();
        Check((unsigned)(LxFileIsWave(p, 0) | LxFileIsWave(p, 1) | LxFileIsWave64(p, 0) | LxFileIsWave64(p, 1)) < 2,
              "LxFileIsWave");
        // An AIFF file cut short may end before the first frame it states.
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(p, &frames, &offset);
        Check(!f || (LxWave_IsAudioFormat(f) && offset >= 12 && (offset <= len_ || aiff)), "LxGetFileWfx");
        free(f);
        HANDLE h = Open(GENERIC_READ);
        Walk32(Chunks(Chunks::kFile, h, nullptr));
        riff_SeekDataStart(h);
        MUTATION_WANT(riff_SeekListEntry(h, 0xFFFFFFFF, nullptr));
        DWORD count = 0;
        riff64_SeekDataStart(h);
        MUTATION_WANT(riff64_GetNumListEntries(h, &count, nullptr));
        Check(count <= len_ / 24, "riff64_GetNumListEntries count");
        CloseHandle(h);
        if (writes) Deletions();
    }

    // Deletions never grow the file.
    void Deletions() {
        HANDLE h = Open(GENERIC_READ | GENERIC_WRITE);
        MUTATION_WANT(riff_DeleteChunk(h, LXRIFF_ID_DATA, nullptr, FALSE));
        MUTATION_WANT(riff_DeleteChunk(h, LXRIFF_ID_INFO, nullptr, TRUE));
        MUTATION_WANT(riff64_DeleteChunk(h, LXW64_ID_FMT, nullptr));
        Check(GetFileSize(h, nullptr) <= len_, "a deletion grew the file");
        CloseHandle(h);
    }

    static const HRESULT kNoRiff = LXRIFF_E_NOTRIFF, kNoList = LXRIFF_E_NOTLIST;
    std::string path_;
    std::string *why_ = nullptr;
    const tMRIFFSTREAM *s_ = nullptr;
    size_t len_ = 0;
    int faults_ = 0;
};

#undef MUTATION_WANT

}  // namespace mutation

#endif
