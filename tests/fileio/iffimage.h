// IFF and AIFF images built by hand, big-endian, and a small walker over them that shares no code with the reader
// under test.
#ifndef IFFIMAGE_H
#define IFFIMAGE_H

#include "riffimage.h"
#include "wavetest.h"

#include "fileio/aiff.h"

#include <array>
#include <string>
#include <vector>

namespace ifftest {

using rifftest::Bytes;
using rifftest::Filled;
using rifftest::TempFile;
using wavetest::Fields;

inline DWORD Id(const char *s) { return LXIFF_FOURCC(s[0], s[1], s[2], s[3]); }

inline DWORD BE32At(const Bytes &b, size_t at) {
    return ((DWORD)b[at] << 24) | ((DWORD)b[at + 1] << 16) | ((DWORD)b[at + 2] << 8) | b[at + 3];
}
inline WORD BE16At(const Bytes &b, size_t at) { return (WORD)((b[at] << 8) | b[at + 1]); }
inline void PutBE32At(Bytes &b, size_t at, DWORD v) {
    for (int i = 0; i < 4; ++i) b[at + i] = (BYTE)(v >> (24 - 8 * i));
}
inline void PutBE16At(Bytes &b, size_t at, WORD v) { b[at] = (BYTE)(v >> 8), b[at + 1] = (BYTE)v; }
inline Bytes WithBE32(Bytes b, size_t at, DWORD v) { PutBE32At(b, at, v); return b; }
using wavetest::Cut;

// Big-endian fields, chunks with their pad, and one FORM whose size Finish patches.
class Image {
public:
    Image &Raw(const Bytes &bytes) { b_.insert(b_.end(), bytes.begin(), bytes.end()); return *this; }
    Image &U32(DWORD v) { return U16((WORD)(v >> 16)).U16((WORD)v); }
    Image &U16(WORD v) { return U8((BYTE)(v >> 8)).U8((BYTE)v); }
    Image &U8(BYTE v) { b_.push_back(v); return *this; }
    Image &Tag(const char *id) { return Raw(Bytes(id, id + 4)); }
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
const Ext kRate22050 = {0x400D, 0xAC44, 0, 0, 0};
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

inline Bytes Aiff(const Bytes &comm, const Bytes &ssnd) {
    return Image().Form("AIFF").Chunk("COMM", comm).Chunk("SSND", ssnd).Finish();
}

// FVER, then COMM with its compression type, then SSND.
inline Bytes Aifc(const Bytes &comm, const Bytes &ssnd) {
    return Image().Form("AIFC").Chunk("FVER", Image().U32(0xA2805140).Body()).Chunk("COMM", comm)
        .Chunk("SSND", ssnd).Finish();
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
        i.U16(m.id).U32(m.position).U8((BYTE)m.name.size()).Raw(Bytes(m.name.begin(), m.name.end()));
        if ((7 + m.name.size()) & 1) i.U8(0);
    }
    return i.Body();
}

// INST: notes and velocities, gain, sustain and release loops.
inline Bytes Inst(BYTE base, BYTE detune, BYTE low, BYTE high, BYTE lowVel, BYTE highVel, WORD gain, WORD sMode,
                  WORD sBegin, WORD sEnd, WORD rMode, WORD rBegin, WORD rEnd) {
    return Image().U8(base).U8(detune).U8(low).U8(high).U8(lowVel).U8(highVel).U16(gain).U16(sMode)
        .U16(sBegin).U16(sEnd).U16(rMode).U16(rBegin).U16(rEnd).Body();
}

// Where the header of the first chunk of id stands, by the test's own walk behind the form type; 0 when absent.
inline size_t Find(const Bytes &b, const char *id) {
    for (size_t at = 12; at + 8 <= b.size(); at += 8 + (size_t)BE32At(b, at + 4) + (b[at + 7] & 1))
        if (std::memcmp(&b[at], id, 4) == 0) return at;
    return 0;
}

// A scratch file for each test.
class FileTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(INVALID_HANDLE_VALUE, f.h()); }
    HANDLE h() const { return f.h(); }
    TempFile f;
};

}  // namespace ifftest

#endif
