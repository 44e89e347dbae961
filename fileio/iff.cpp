/*
 * IFF chunks on a file handle. Walks skip with 64-bit distances, so a size
 * negative as a signed number never steps backwards and a read past the
 * end ends the walk; remaining counts wrap as 32-bit values as in the RIFF
 * layer.
 */
#include "iff.h"

using namespace lxio;

LXEXPORT(void) iff_ByteSwap16(void *buffer, DWORD count) {
    if (!buffer) return;
    BYTE *p = (BYTE *)buffer;
    for (DWORD i = 0; i < count; ++i, p += 2) {
        const BYTE t = p[0];
        p[0] = p[1];
        p[1] = t;
    }
}

LXEXPORT(void) iff_ByteSwap32(void *buffer, DWORD count) {
    if (!buffer) return;
    BYTE *p = (BYTE *)buffer;
    for (DWORD i = 0; i < count; ++i, p += 4) {
        BYTE t = p[0];
        p[0] = p[3];
        p[3] = t;
        t = p[1];
        p[1] = p[2];
        p[2] = t;
    }
}

LXEXPORT(HRESULT) iff_ReadChunkHdr(HANDLE hFile, tIFFCHUNKHDR *pHdr) {
    if (!pHdr) return LX_E_POINTER;
    BYTE head[8];
    if (!ReadExact(hFile, head, 8)) return LX_E_READ;
    pHdr->id = GetBE32(head);
    pHdr->size = GetBE32(head + 4);
    return LX_S_OK;
}

LXEXPORT(HRESULT) iff_ReadDWORD(HANDLE hFile, DWORD *pValue) {
    if (!pValue) return LX_E_POINTER;
    BYTE b[4];
    if (!ReadExact(hFile, b, 4)) return LX_E_READ;
    *pValue = GetBE32(b);
    return LX_S_OK;
}

LXEXPORT(HRESULT) iff_ReadWORD(HANDLE hFile, WORD *pValue) {
    if (!pValue) return LX_E_POINTER;
    BYTE b[2];
    if (!ReadExact(hFile, b, 2)) return LX_E_READ;
    *pValue = GetBE16(b);
    return LX_S_OK;
}

LXEXPORT(HRESULT) iff_WriteFileID(HANDLE hFile, DWORD formType, DWORD size) {
    BYTE head[12];
    PutBE32(head, LXIFF_ID_FORM);
    PutBE32(head + 4, size);
    PutBE32(head + 8, formType);
    return WriteExact(hFile, head, 12) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) iff_WriteChunk(HANDLE hFile, const tIFFCHUNKHDR *pHdr) {
    if (!pHdr) return LX_E_POINTER;
    BYTE head[8];
    PutBE32(head, pHdr->id);
    PutBE32(head + 4, pHdr->size);
    return WriteExact(hFile, head, 8) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) iff_WriteDWORD(HANDLE hFile, DWORD value) {
    BYTE b[4];
    PutBE32(b, value);
    return WriteExact(hFile, b, 4) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) iff_WriteWORD(HANDLE hFile, WORD value) {
    BYTE b[2];
    PutBE16(b, value);
    return WriteExact(hFile, b, 2) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) iff_ReadFormType(HANDLE hFile, tIFFCHUNKHDR *pHdr, DWORD *pFormType) {
    tIFFCHUNKHDR hdr;
    HRESULT hr = iff_ReadChunkHdr(hFile, &hdr);
    if (hr < 0) return hr;
    if (pHdr) *pHdr = hdr;
    if (hdr.id != LXIFF_ID_FORM) return LXIFF_E_NOTAIFF;
    DWORD form;
    hr = iff_ReadDWORD(hFile, &form);
    if (hr < 0) return hr;
    if (pFormType) *pFormType = form;
    return LX_S_OK;
}

LXEXPORT(DWORD) iff_SkipChunk(HANDLE hFile, DWORD size) { return SkipPadded(hFile, size); }

LXEXPORT(HRESULT) iff_FindChunkHeader(HANDLE hFile, DWORD id, DWORD *pSize, LONG *pRemaining) {
    return FindChunk32(hFile, id, true, pSize, pRemaining);
}

LXEXPORT(HRESULT) iff_SeekChunkHeader(HANDLE hFile, DWORD id, DWORD *pSize) {
    return iff_FindChunkHeader(hFile, id, pSize, nullptr);
}

LXEXPORT(HRESULT) iff_FindChunkFromStart(HANDLE hFile, DWORD id, DWORD *pSize) {
    if (!SeekTo(hFile, 0)) return LX_E_NOTFOUND;
    /* A header too short to read is no "FORM" either. */
    BYTE head[8] = {0};
    DWORD got = 0;
    ReadFile(hFile, head, 8, &got, nullptr);
    if (got != 8 || GetBE32(head) != LXIFF_ID_FORM) return LXIFF_E_NOTFORM;
    DWORD form;
    if (iff_ReadDWORD(hFile, &form) < 0) return LX_E_NOTFOUND;
    LONG remaining = (LONG)(GetBE32(head + 4) - 4);
    return iff_FindChunkHeader(hFile, id, pSize, &remaining) < 0 ? LX_E_NOTFOUND : LX_S_OK;
}
