/*
 * The handle primitives and file edits of the chunk layers.
 */
#include "fileio_internal.h"

namespace lxio {

namespace {

const DWORD kCopyRound = 4096;

}  // namespace

bool Seek(HANDLE h, LONGLONG distance, DWORD method, ULONGLONG *pNew) {
    LONG high = (LONG)(distance >> 32);
    SetLastError(NO_ERROR);
    DWORD low = SetFilePointer(h, (LONG)(DWORD)distance, &high, method);
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR) return false;
    if (pNew) *pNew = ((ULONGLONG)(DWORD)high << 32) | low;
    return true;
}

bool Length(HANDLE h, ULONGLONG *pLength) {
    DWORD high = 0;
    SetLastError(NO_ERROR);
    DWORD low = GetFileSize(h, &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return false;
    *pLength = ((ULONGLONG)high << 32) | low;
    return true;
}

bool BytesLeft(HANDLE h, ULONGLONG *pLeft) {
    ULONGLONG pos, end;
    if (!Length(h, &end) || !Tell(h, &pos)) return false;
    *pLeft = pos < end ? end - pos : 0;
    return true;
}

bool ReadExact(HANDLE h, void *buffer, DWORD count) {
    DWORD got = 0;
    return ReadFile(h, buffer, count, &got, nullptr) && got == count;
}

bool WriteExact(HANDLE h, const void *buffer, DWORD count) {
    DWORD done = 0;
    return WriteFile(h, buffer, count, &done, nullptr) && done == count;
}

bool WriteCalled(HANDLE h, const void *buffer, DWORD count) {
    DWORD done = 0;
    return WriteFile(h, buffer, count, &done, nullptr) != 0;
}

HRESULT WriteZeros(HANDLE h, ULONGLONG count) {
    static const BYTE zeros[kCopyRound] = {0};
    while (count) {
        const DWORD n = count < kCopyRound ? (DWORD)count : kCopyRound;
        if (!WriteExact(h, zeros, n)) return LX_E_WRITE;
        count -= n;
    }
    return LX_S_OK;
}

void *AllocBlock(SIZE_T size) {
    HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
    void *p = h ? GlobalLock(h) : nullptr;
    if (!p && h) GlobalFree(h);
    return p;
}

void FreeBlock(void *p) {
    if (!p) return;
    HGLOBAL h = GlobalHandle(p);
    if (!h) return;
    GlobalUnlock(h);
    GlobalFree(h);
}

HRESULT PatchField(HANDLE h, ULONGLONG offset, DWORD width, ULONGLONG value, bool add) {
    ULONGLONG saved;
    if (!Tell(h, &saved)) return LX_E_READ;
    HRESULT hr = LX_S_OK;
    BYTE field[8] = {0};
    if (add && (!SeekTo(h, offset) || !ReadExact(h, field, width))) {
        hr = LX_E_READ;
    } else {
        PutLE64(field, GetLE64(field) + value);
        if (!SeekTo(h, offset) || !WriteExact(h, field, width)) hr = LX_E_WRITE;
    }
    SeekTo(h, saved);
    return hr;
}

HRESULT CutOut(HANDLE h, ULONGLONG dest, ULONGLONG source, ULONGLONG length) {
    BYTE buffer[kCopyRound];
    ULONGLONG rest = source >= dest && source < length ? length - source : 0;
    while (rest) {
        const DWORD n = rest < kCopyRound ? (DWORD)rest : kCopyRound;
        if (!SeekTo(h, source) || !ReadExact(h, buffer, n)) return LX_E_READ;
        if (!SeekTo(h, dest) || !WriteExact(h, buffer, n)) return LX_E_WRITE;
        source += n;
        dest += n;
        rest -= n;
    }
    if (!SeekTo(h, dest) || !SetEndOfFile(h)) return LX_E_WRITE;
    return LX_S_OK;
}

DWORD SkipPadded(HANDLE h, DWORD size) {
    Seek(h, (LONGLONG)Padded(size), FILE_CURRENT);
    return size + (size & 1);
}

HRESULT FindChunk32(HANDLE h, DWORD id, bool bigEndian, DWORD *pSize, LONG *pRemaining) {
    DWORD count = pRemaining ? (DWORD)*pRemaining : 0;
    for (;;) {
        if (pRemaining && (LONG)count < 8) {
            *pRemaining = (LONG)count;
            return LX_E_NOTFOUND;
        }
        BYTE head[8];
        if (!ReadExact(h, head, 8)) return LX_E_READ;
        const DWORD chunkId = bigEndian ? GetBE32(head) : GetLE32(head);
        const DWORD chunkSize = bigEndian ? GetBE32(head + 4) : GetLE32(head + 4);
        count -= 8;
        if (chunkId == id) {
            if (pSize) *pSize = chunkSize;
            if (pRemaining) *pRemaining = (LONG)count;
            return LX_S_OK;
        }
        count -= SkipPadded(h, chunkSize);
    }
}

}  // namespace lxio
