// IFF and AIFF images built by hand, big-endian, for the IFF and AIFF tests,
// and a small walker over them that shares no code with the reader under
// test.
#ifndef IFFIMAGE_H
#define IFFIMAGE_H

#include "riffimage.h"

#include "fileio/aiff.h"

#include <array>
#include <string>
#include <vector>

namespace ifftest {

using rifftest::Bytes;
using rifftest::Filled;
using rifftest::TempFile;

inline DWORD Id(const char *s) { return LXIFF_FOURCC(s[0], s[1], s[2], s[3]); }

inline DWORD BE32At(const Bytes &b, size_t at) {
    return ((DWORD)b[at] << 24) | ((DWORD)b[at + 1] << 16) | ((DWORD)b[at + 2] << 8) | b[at + 3];
}
inline WORD BE16At(const Bytes &b, size_t at) { return (WORD)((b[at] << 8) | b[at + 1]); }
inline void PutBE32At(Bytes &b, size_t at, DWORD v) {
    for (int i = 0; i < 4; ++i) b[at + i] = (BYTE)(v >> (24 - 8 * i));
}
inline void PutBE16At(Bytes &b, size_t at, WORD v) {
    b[at] = (BYTE)(v >> 8);
    b[at + 1] = (BYTE)v;
}

// Big-endian fields, chunks with their pad, and one FORM whose size
// Finish patches.
class Image {
public:
    Image &U32(DWORD v) {
        for (int i = 0; i < 4; ++i) b_.push_back((BYTE)(v >> (24 - 8 * i)));
        return *this;
    }
    Image &U16(WORD v) {
        b_.push_back((BYTE)(v >> 8));
        b_.push_back((BYTE)v);
        return *this;
    }
    Image &U8(BYTE v) {
        b_.push_back(v);
        return *this;
    }
    Image &Tag(const char *id) {
        b_.insert(b_.end(), id, id + 4);
        return *this;
    }
    Image &Raw(const Bytes &bytes) {
        b_.insert(b_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Image &Form(const char *type) { return Tag("FORM").U32(0).Tag(type); }
    Image &Chunk(const char *id, const Bytes &payload) {
        Tag(id).U32((DWORD)payload.size()).Raw(payload);
        if (payload.size() & 1) b_.push_back(0);
        return *this;
    }
    Bytes Finish() {
        if (b_.size() >= 8) PutBE32At(b_, 4, (DWORD)(b_.size() - 8));
        return b_;
    }
    Bytes Body() const { return b_; }

private:
    Bytes b_;
};

// The five words of an 80-bit number as they stand in a file.
using Ext = std::array<WORD, 5>;
const Ext kRate44100 = {0x400E, 0xAC44, 0, 0, 0};
const Ext kRate8000 = {0x400B, 0xFA00, 0, 0, 0};

inline Bytes Comm(WORD channels, DWORD frames, WORD bits, const Ext &rate, const char *compression = nullptr) {
    Image i;
    i.U16(channels).U32(frames).U16(bits);
    for (WORD w : rate) i.U16(w);
    if (compression) i.Tag(compression).U8(0).U8(0);  // an empty name, padded
    return i.Body();
}

inline Bytes Ssnd(DWORD offset, DWORD blockSize, const Bytes &data) {
    return Image().U32(offset).U32(blockSize).Raw(data).Body();
}

struct Mark {
    WORD id;
    DWORD position;
    std::string name;
};

inline Bytes Marks(const std::vector<Mark> &marks) {
    Image i;
    i.U16((WORD)marks.size());
    for (const Mark &m : marks) {
        i.U16(m.id).U32(m.position).U8((BYTE)m.name.size());
        i.Raw(Bytes(m.name.begin(), m.name.end()));
        if ((7 + m.name.size()) & 1) i.U8(0);
    }
    return i.Body();
}

// INST: notes and velocities, gain, sustain and release loops.
inline Bytes Inst(BYTE base, BYTE detune, BYTE low, BYTE high, BYTE lowVel, BYTE highVel, WORD gain,
                  WORD sMode, WORD sBegin, WORD sEnd, WORD rMode, WORD rBegin, WORD rEnd) {
    return Image()
        .U8(base).U8(detune).U8(low).U8(high).U8(lowVel).U8(highVel).U16(gain)
        .U16(sMode).U16(sBegin).U16(sEnd).U16(rMode).U16(rBegin).U16(rEnd)
        .Body();
}

// A chunk as the test's own walker sees it: header offset and size.
struct Seen {
    std::string id;
    size_t at;
    DWORD size;
};

// Walks the chunks behind the form type to the end of the bytes.
inline std::vector<Seen> Walk(const Bytes &b) {
    std::vector<Seen> out;
    size_t at = 12;
    while (at + 8 <= b.size()) {
        const DWORD size = BE32At(b, at + 4);
        out.push_back({std::string(b.begin() + at, b.begin() + at + 4), at, size});
        at += 8 + (size_t)size + (size & 1);
    }
    return out;
}

inline const Seen *Find(const std::vector<Seen> &chunks, const char *id) {
    for (const Seen &c : chunks)
        if (c.id == id) return &c;
    return nullptr;
}

inline Bytes ReadWhole(const std::string &path) {
    Bytes b;
    HANDLE h = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return b;
    b.resize(GetFileSize(h, nullptr));
    DWORD got = 0;
    if (!b.empty()) ReadFile(h, b.data(), (DWORD)b.size(), &got, nullptr);
    b.resize(got);
    CloseHandle(h);
    return b;
}

}  // namespace ifftest

#endif
