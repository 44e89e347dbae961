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

// ---- Seed images --------------------------------------------------------------

class Builder {
public:
    Builder &Raw(const void *p, size_t n) {
        const BYTE *b = (const BYTE *)p;
        b_.insert(b_.end(), b, b + n);
        return *this;
    }
    Builder &Tag(const char *s) { return Raw(s, 4); }
    Builder &LE16(WORD v) { return Raw(&v, 2); }
    Builder &LE32(DWORD v) { return Raw(&v, 4); }
    Builder &LE64(ULONGLONG v) { return Raw(&v, 8); }
    Builder &BE16(WORD v) {
        const BYTE b[2] = {(BYTE)(v >> 8), (BYTE)v};
        return Raw(b, 2);
    }
    Builder &BE32(DWORD v) {
        const BYTE b[4] = {(BYTE)(v >> 24), (BYTE)(v >> 16), (BYTE)(v >> 8), (BYTE)v};
        return Raw(b, 4);
    }
    Builder &Fill(size_t n, BYTE first) {
        for (size_t i = 0; i < n; ++i) b_.push_back((BYTE)(first + i * 7));
        return *this;
    }
    Builder &Align(size_t to) {
        while (b_.size() % to) b_.push_back(0);
        return *this;
    }
    // A RIFF chunk with its pad; size counts the payload.
    Builder &Chunk(const char *id, const Bytes &payload) {
        Tag(id).LE32((DWORD)payload.size()).Raw(payload.data(), payload.size());
        return Align(2);
    }
    Builder &W64Chunk(const GUID &id, const Bytes &payload) {
        Raw(&id, 16).LE64(payload.size() + 24).Raw(payload.data(), payload.size());
        return Align(8);
    }
    size_t Size() const { return b_.size(); }
    Bytes Get() const { return b_; }
    void PatchLE32(size_t at, DWORD v) { memcpy(&b_[at], &v, 4); }
    void PatchLE64(size_t at, ULONGLONG v) { memcpy(&b_[at], &v, 8); }
    void PatchBE32(size_t at, DWORD v) {
        for (int i = 0; i < 4; ++i) b_[at + i] = (BYTE)(v >> (24 - 8 * i));
    }

private:
    Bytes b_;
};

inline Bytes Format18(WORD tag, WORD channels, DWORD rate, WORD bits) {
    const WORD align = (WORD)((bits >> 3) * channels);
    return Builder().LE16(tag).LE16(channels).LE32(rate).LE32(align * rate).LE16(align).LE16(bits).LE16(0).Get();
}

inline Bytes Filled(size_t n, BYTE first) { return Builder().Fill(n, first).Get(); }

inline std::vector<Bytes> Seeds() {
    std::vector<Bytes> seeds;
    {  // canonical WAVE
        Builder b;
        b.Tag("RIFF").LE32(0).Tag("WAVE").Chunk("fmt ", Format18(1, 2, 44100, 16)).Chunk("data", Filled(64, 3));
        b.PatchLE32(4, (DWORD)b.Size() - 8);
        seeds.push_back(b.Get());
    }
    {  // WAVE with lists, a short fmt, fact, cue and labels
        Builder info;
        info.Tag("INFO").Chunk("INAM", Bytes{'t', 'a', 'k', 'e', 0}).Chunk("ISFT", Bytes{'x', 0});
        Builder adtl;
        adtl.Tag("adtl").Chunk("labl", Bytes{1, 0, 0, 0, 'm', 0});
        Bytes fmt16 = Format18(3, 1, 22050, 32);
        fmt16.resize(16);
        Builder b;
        b.Tag("RIFF").LE32(0).Tag("WAVE").Chunk("LIST", info.Get()).Chunk("fmt ", fmt16).Chunk("fact", Bytes{5, 0, 0, 0})
            .Chunk("data", Filled(21, 9)).Chunk("cue ", Filled(28, 0)).Chunk("LIST", adtl.Get());
        b.PatchLE32(4, (DWORD)b.Size() - 8);
        seeds.push_back(b.Get());
    }
    {  // WAVE with a reservation
        Builder b;
        b.Tag("RIFF").LE32(0).Tag("WAVE").Chunk("fmt ", Format18(1, 1, 48000, 24)).Chunk("JUNK", Bytes(30))
            .Chunk("data", Filled(33, 1));
        b.PatchLE32(4, (DWORD)b.Size() - 8);
        seeds.push_back(b.Get());
    }
    {  // canonical Wave64
        Builder b;
        b.Raw(&LXW64_ID_RIFF, 16).LE64(0).Raw(&LXW64_ID_WAVE, 16).W64Chunk(LXW64_ID_FMT, Format18(1, 2, 44100, 16))
            .W64Chunk(LXW64_ID_DATA, Filled(40, 5));
        b.PatchLE64(16, b.Size());
        seeds.push_back(b.Get());
    }
    {  // Wave64 with a list and a reservation
        Builder inner;
        inner.Raw(&LXW64_ID_WAVE, 16).W64Chunk(LXW64_ID_JUNK, Filled(5, 2));
        Builder b;
        b.Raw(&LXW64_ID_RIFF, 16).LE64(0).Raw(&LXW64_ID_WAVE, 16).W64Chunk(LXW64_ID_LIST, inner.Get())
            .W64Chunk(LXW64_ID_FMT, Format18(3, 2, 96000, 64)).W64Chunk(LXW64_ID_JUNK, Bytes(24))
            .W64Chunk(LXW64_ID_DATA, Filled(48, 7));
        b.PatchLE64(16, b.Size());
        seeds.push_back(b.Get());
    }
    {  // AIFF: COMM, SSND with an offset
        Builder b;
        b.Tag("FORM").BE32(0).Tag("AIFF").Tag("COMM").BE32(18).BE16(2).BE32(10).BE16(16).BE16(0x400E).BE32(0xAC440000)
            .BE32(0).Tag("SSND").BE32(8 + 4 + 40).BE32(4).BE32(0).Fill(44, 1);
        b.PatchBE32(4, (DWORD)b.Size() - 8);
        seeds.push_back(b.Get());
    }
    {  // AIFC, uncompressed, with markers and an instrument
        Builder b;
        b.Tag("FORM").BE32(0).Tag("AIFC").Tag("FVER").BE32(4).BE32(0xA2805140).Tag("COMM").BE32(24).BE16(1).BE32(20)
            .BE16(8).BE16(0x400B).BE32(0xFA000000).BE32(0).Tag("NONE").BE16(0).Tag("MARK").BE32(2 + 8 + 10).BE16(2)
            .BE16(1).BE32(3).Raw("\1a", 2).BE16(2).BE32(9).Raw("\3abc", 4).Tag("INST").BE32(20).Fill(20, 0)
            .Tag("SSND").BE32(8 + 21).BE32(0).BE32(0).Fill(21, 4).Align(2);
        b.PatchBE32(4, (DWORD)b.Size() - 8);
        seeds.push_back(b.Get());
    }
    {  // plain RIFF with nested lists
        Builder innr;
        innr.Tag("innr").Chunk("a   ", Filled(1, 1)).Chunk("b   ", Bytes{});
        Builder outr;
        outr.Tag("outr").Chunk("LIST", innr.Get()).Chunk("c   ", Filled(3, 2));
        Builder b;
        b.Tag("RIFF").LE32(0).Tag("TEST").Chunk("LIST", outr.Get()).Chunk("d   ", Filled(9, 3));
        b.PatchLE32(4, (DWORD)b.Size() - 8);
        seeds.push_back(b.Get());
    }
    return seeds;
}

// ---- Mutations -------------------------------------------------------------------

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

// ---- Readers ------------------------------------------------------------------------

inline bool LayerStatus(HRESULT hr) {
    return hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXRIFF_E_NOTRIFF ||
           hr == LXRIFF_E_NOTLIST;
}
inline bool AiffStatus(HRESULT hr) {
    return hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXIFF_E_NOTAIFF || hr == LXIFF_E_NOTFORM;
}
inline bool RepairStatus(HRESULT hr) {
    return hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXRIFF_E_NEGSIZE;
}

class Runner {
public:
    explicit Runner(const std::string &path) : path_(path) {}

    // Every reader over one input; the number of faults found, the first
    // of them described in *why.
    int Run(const Bytes &input, bool files, bool repair, std::string *why) {
        faults_ = 0;
        why_ = why;
        Memory(input, lxtest::GuardBuffer::kEnd);
        Memory(input, lxtest::GuardBuffer::kStart);
        if (files && Write(input)) {
            Paths(input.size(), input.size() >= 4 && memcmp(input.data(), "FORM", 4) == 0);
            Handles(input.size());
            if (repair) Repair(input.size());
        }
        return faults_;
    }

private:
    void Fault(const char *what, HRESULT hr = 0) {
        if (faults_++ == 0 && why_) {
            char text[96];
            snprintf(text, sizeof text, "%s (0x%08lX)", what, (unsigned long)hr);
            *why_ = text;
        }
    }
    void Check(bool ok, const char *what, HRESULT hr = 0) {
        if (!ok) Fault(what, hr);
    }

    bool Write(const Bytes &b) {
        HANDLE h = CreateFileA(path_.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h == INVALID_HANDLE_VALUE) {
            Fault("scratch file");
            return false;
        }
        DWORD done = 0;
        if (!b.empty()) WriteFile(h, b.data(), (DWORD)b.size(), &done, nullptr);
        SetEndOfFile(h);
        CloseHandle(h);
        return done == b.size();
    }

    void Memory(const Bytes &input, lxtest::GuardBuffer::Flush flush) {
        lxtest::GuardBuffer g(input.data(), input.size(), flush);
        if (!g.ok()) return Fault("guard buffer");
        const DWORD len = (DWORD)input.size();
        tMRIFFSTREAM s;
        if (mriff_Init(&s, g.data(), len, len) != LX_S_OK) return Fault("mriff_Init");
        auto cursor = [&](const char *call) {
            Check(s.base <= s.current && s.current <= s.dataEnd && s.dataEnd == s.base + len, call);
        };
        DWORD room = 0, form = 0, size = 0, count = 0;
        HRESULT hr = mriff_ReadFileID(&s, &room, &form);
        Check(LayerStatus(hr), "mriff_ReadFileID", hr);
        static const DWORD ids[] = {LXRIFF_ID_FMT, LXRIFF_ID_DATA, LXRIFF_ID_LIST};
        for (DWORD id : ids) {
            mriff_SetFilePointer(&s, 0, nullptr, FILE_BEGIN);
            LONG left = (LONG)len;
            hr = mriff_FindChunkHeaderInRIFF(&s, id, &size, &left);
            Check(LayerStatus(hr), "mriff_FindChunkHeaderInRIFF", hr);
            cursor("mriff_FindChunkHeaderInRIFF");
            if (hr == LX_S_OK) {
                BYTE buf[32];
                hr = mriff_ReadDataBounded(&s, buf, sizeof buf, size);
                Check(LayerStatus(hr), "mriff_ReadDataBounded", hr);
                cursor("mriff_ReadDataBounded");
            }
        }
        hr = mriff_FindListChunkFromStart(&s, LXRIFF_ID_INFO, &size);
        Check(LayerStatus(hr), "mriff_FindListChunkFromStart", hr);
        cursor("mriff_FindListChunkFromStart");
        if (hr == LX_S_OK) {
            LONG left = (LONG)size;
            hr = mriff_GetNumListEntries(&s, &count, &left);
            Check(LayerStatus(hr) && count <= len / 8, "mriff_GetNumListEntries", hr);
        }
        mriff_SetFilePointer(&s, 12, nullptr, FILE_BEGIN);
        hr = mriff_GetNumListEntries(&s, &count, nullptr);
        Check(LayerStatus(hr) && count <= len / 8, "mriff_GetNumListEntries unbounded", hr);
        char text[16];
        hr = mriff_GetInfoString(&s, LXRIFF_FOURCC('I', 'N', 'A', 'M'), text, sizeof text, nullptr);
        Check(LayerStatus(hr), "mriff_GetInfoString", hr);
        cursor("mriff_GetInfoString");
        WAVEFORMATEX w;
        hr = mriff_GetWfx(&w, g.data(), len, &size);
        Check(LayerStatus(hr) || hr == LX_E_FAIL, "mriff_GetWfx", hr);
    }

    void Paths(size_t len, bool aiff) {
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
            Check(LxWave_IsAudioFormat(f) && offset >= 12 && (offset <= len || aiff), "LxGetFileWfx");
            free(f);
        }
    }

    void Handles(size_t len) {
        HANDLE h = CreateFileA(path_.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h == INVALID_HANDLE_VALUE) return Fault("open");
        DWORD size32 = 0, count = 0;
        LONG left32 = 0;
        HRESULT hr;
        for (DWORD id : {LXRIFF_ID_FMT, LXRIFF_ID_DATA}) {
            hr = riff_FindChunkHeaderInRIFF(h, id, &size32, &left32);
            Check(LayerStatus(hr), "riff_FindChunkHeaderInRIFF", hr);
        }
        hr = riff_FindListChunkFromStart(h, LXRIFF_ID_INFO, &size32);
        Check(LayerStatus(hr), "riff_FindListChunkFromStart", hr);
        riff_SeekDataStart(h);
        hr = riff_GetNumListEntries(h, &count, nullptr);
        Check(LayerStatus(hr) && count <= len / 8, "riff_GetNumListEntries", hr);

        ULONGLONG size = 0;
        LONGLONG left = 0;
        for (const GUID &id : {LXW64_ID_FMT, LXW64_ID_DATA, LXW64_ID_JUNK}) {
            hr = riff64_FindChunkHeaderInRIFF(h, id, &size, &left);
            Check(LayerStatus(hr), "riff64_FindChunkHeaderInRIFF", hr);
        }
        hr = riff64_FindListChunkFromStart(h, LXW64_ID_WAVE, &size);
        Check(LayerStatus(hr), "riff64_FindListChunkFromStart", hr);
        if (hr == LX_S_OK) {
            left = (LONGLONG)size;
            hr = riff64_GetNumListEntries(h, &count, &left);
            Check(LayerStatus(hr) && count <= len / 24, "riff64_GetNumListEntries", hr);
        }
        riff64_SeekDataStart(h);
        hr = riff64_GetNumListEntries(h, &count, nullptr);
        Check(LayerStatus(hr) && count <= len / 24, "riff64_GetNumListEntries unbounded", hr);

        DWORD formSize = 0, frames = 0, offset = 0;
        BOOL compressed = FALSE;
        iff_IsAIFFFileEx(h, &formSize, &compressed);
        tWAVEFORMATEX w;
        hr = iff_GetAIFFWfx(h, &w, &frames, &offset);
        Check(AiffStatus(hr), "iff_GetAIFFWfx", hr);
        tWAVEFORMATEX *guess = nullptr;
        ULONGLONG frames64 = 0, offset64 = 0;
        hr = Aiff_GetFileWfx(h, &guess, &frames64, &offset64);
        Check(AiffStatus(hr) && (hr == LX_S_OK) == (guess != nullptr), "Aiff_GetFileWfx", hr);
        free(guess);
        tAIFFCOMM comm;
        hr = Aiff_ReadComm(h, &comm);
        Check(AiffStatus(hr), "Aiff_ReadComm", hr);
        tAIFFINST inst;
        hr = Aiff_ReadInst(h, &inst);
        Check(AiffStatus(hr), "Aiff_ReadInst", hr);
        tIFFMARKER marker;
        hr = iff_FindMarker(h, &marker, 2);
        Check(AiffStatus(hr), "iff_FindMarker", hr);
        CloseHandle(h);
    }

    // Alternately the WAVE and the Wave64 repair; what it writes must read
    // back, and a refusal leaves the file alone.
    void Repair(size_t len) {
        HANDLE h = CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h == INVALID_HANDLE_VALUE) return Fault("open for repair");
        const bool w64 = (++repairs_ & 1) != 0;
        const HRESULT hr = w64 ? LxFixTrashedW64(h, nullptr, ~0ULL) : LxFixTrashedWav(h, nullptr, 0xFFFFFFFF);
        const DWORD after = GetFileSize(h, nullptr);
        CloseHandle(h);
        Check(RepairStatus(hr), w64 ? "LxFixTrashedW64" : "LxFixTrashedWav", hr);
        Check(after == len, "repair changed the length");
        if (hr != LX_S_OK) return;
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *f = LxGetFileWfx(path_.c_str(), &frames, &offset);
        Check(f && offset <= len && frames == (len - offset) / f->nBlockAlign, "repaired file reads back");
        free(f);
    }

    std::string path_;
    std::string *why_ = nullptr;
    int faults_ = 0;
    unsigned repairs_ = 0;
};

}  // namespace mutation

#endif
