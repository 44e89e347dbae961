/*
 * What the chunk layers share: cursor moves with 64-bit distances, exact
 * transfers, fields in either byte order, pads, the locked blocks chunks are
 * read into, and the few file edits every layer makes. Not exported.
 */
#ifndef FILEIO_INTERNAL_H
#define FILEIO_INTERNAL_H

#include "riff.h"

#include <string.h>

namespace lxio {

/* Failure is told by the last error, as a low word of all ones is a valid
   position. */
bool Seek(HANDLE h, LONGLONG distance, DWORD method, ULONGLONG *pNew = nullptr);
inline bool SeekTo(HANDLE h, ULONGLONG to) { return Seek(h, (LONGLONG)to, FILE_BEGIN); }
inline bool Tell(HANDLE h, ULONGLONG *pPos) { return Seek(h, 0, FILE_CURRENT, pPos); }
bool Length(HANDLE h, ULONGLONG *pLength);
/* From the cursor to the end of the file, 0 when past it; false when either
   is unknown, and each caller decides what that means. */
bool BytesLeft(HANDLE h, ULONGLONG *pLeft);

bool ReadExact(HANDLE h, void *buffer, DWORD count);
bool WriteExact(HANDLE h, const void *buffer, DWORD count);
/* Only the call's result, not the count: what the header writers report. */
bool WriteCalled(HANDLE h, const void *buffer, DWORD count);
HRESULT WriteZeros(HANDLE h, ULONGLONG count);

/* Puts the cursor back whichever way a function leaves. */
class KeepCursor {
public:
    explicit KeepCursor(HANDLE h) : h_(h), ok_(Tell(h, &pos_)) {}
    ~KeepCursor() {
        if (ok_) SeekTo(h_, pos_);
    }
    bool ok() const { return ok_; }

    KeepCursor(const KeepCursor &) = delete;
    KeepCursor &operator=(const KeepCursor &) = delete;

private:
    HANDLE h_;
    ULONGLONG pos_ = 0;
    bool ok_;
};

/* Sizes with their pads, in 64 bits so that the top of the 32-bit range does
   not wrap; Round8 itself wraps at the top of the 64-bit range. */
inline ULONGLONG Padded(DWORD size) { return (ULONGLONG)size + (size & 1); }
inline ULONGLONG Round8(ULONGLONG size) { return (size + 7) & ~7ULL; }

inline DWORD GetLE32(const BYTE *p) {
    DWORD v;
    memcpy(&v, p, 4);
    return v;
}
inline void PutLE32(BYTE *p, DWORD v) { memcpy(p, &v, 4); }
inline ULONGLONG GetLE64(const BYTE *p) {
    ULONGLONG v;
    memcpy(&v, p, 8);
    return v;
}
inline void PutLE64(BYTE *p, ULONGLONG v) { memcpy(p, &v, 8); }
inline WORD GetBE16(const BYTE *p) { return (WORD)((p[0] << 8) | p[1]); }
inline DWORD GetBE32(const BYTE *p) {
    return ((DWORD)p[0] << 24) | ((DWORD)p[1] << 16) | ((DWORD)p[2] << 8) | p[3];
}
inline void PutBE16(BYTE *p, WORD v) {
    p[0] = (BYTE)(v >> 8);
    p[1] = (BYTE)v;
}
inline void PutBE32(BYTE *p, DWORD v) {
    p[0] = (BYTE)(v >> 24);
    p[1] = (BYTE)(v >> 16);
    p[2] = (BYTE)(v >> 8);
    p[3] = (BYTE)v;
}

/* A locked, zero-filled, moveable global block, or null; FreeBlock takes
   the pointer back, and ignores null. */
void *AllocBlock(SIZE_T size);
void FreeBlock(void *p);

/* Adds value to the little-endian field of width bytes (4 or 8) at offset,
   or stores it when add is false, wrapping at the field's width; the cursor
   is kept. */
HRESULT PatchField(HANDLE h, ULONGLONG offset, DWORD width, ULONGLONG value, bool add);

/* Takes [dest, source) out of a file of length bytes: what follows moves
   down and the file ends behind it. A source below dest, from a size that
   wrapped, or at or past the end moves nothing. */
HRESULT CutOut(HANDLE h, ULONGLONG dest, ULONGLONG source, ULONGLONG length);

/* The 32-bit file layers' skip: size and its pad, forward only; returns
   that amount wrapped to 32 bits. */
DWORD SkipPadded(HANDLE h, DWORD size);

/* Their forward search: 8-byte headers in the byte order given, the bound
   tested signed, so that a chunk running past it ends the search. remaining
   is optional; it is stored back on a match or at the bound, not after a
   failed read. */
HRESULT FindChunk32(HANDLE h, DWORD id, bool bigEndian, DWORD *pSize, LONG *pRemaining);

}  // namespace lxio

#endif
