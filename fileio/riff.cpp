/*
 * RIFF chunks on a file handle. Every walk moves forward: skips are done
 * with 64-bit distances, so a size that is negative as a signed number
 * never turns into a step backwards, and a read past the end ends the walk.
 * Counts of remaining bytes wrap as 32-bit values the way callers expect.
 */
#include "riff.h"

#include "fileio_internal.h"

#include <string.h>

using namespace lxio;

namespace {

/* Takes amount off an optional bound. */
void Charge(LONG *pRemaining, DWORD amount) {
    if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - amount);
}

/* Passes the chunk at the cursor, charging its header and padded size. */
HRESULT PassChunk(HANDLE h, LONG *pRemaining) {
    Charge(pRemaining, 8);
    DWORD id, size;
    HRESULT hr = riff_ReadChunkHeader(h, &id, &size);
    if (hr < 0) return hr;
    Charge(pRemaining, riff_SkipChunk(h, size));
    return LX_S_OK;
}

}  // namespace

void LxRiff_FreeData(tLXRIFFDATA *data) {
    if (!data) return;
    FreeBlock(data->data);
    data->data = nullptr;
}

LXEXPORT(HRESULT) riff_ValidateChunkHeader(HANDLE, DWORD, LONG size) {
    if (size < 0) return LXRIFF_E_NEGSIZE;
    if (size == 0) return LXRIFF_E_ZEROSIZE;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_SaveLocation(HANDLE hFile, DWORD *pPosition) {
    if (!pPosition) return LX_E_POINTER;
    ULONGLONG pos;
    if (!Tell(hFile, &pos)) return LX_E_READ;
    *pPosition = (DWORD)pos;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_RestoreLocation(HANDLE hFile, DWORD position) {
    return SeekTo(hFile, position) ? LX_S_OK : LX_E_READ;
}

LXEXPORT(DWORD) riff_SkipChunk(HANDLE hFile, DWORD size) { return SkipPadded(hFile, size); }

LXEXPORT(HRESULT) riff_SeekDataStart(HANDLE hFile) {
    return SeekTo(hFile, 12) ? LX_S_OK : LX_E_READ;
}

LXEXPORT(HRESULT) riff_ReadData(HANDLE hFile, void *buffer, DWORD count) {
    if (!buffer && count) return LX_E_POINTER;
    if (!ReadExact(hFile, buffer, count)) return LX_E_READ;
    /* A missing pad at the end of the file is no error. */
    if (count & 1) Seek(hFile, 1, FILE_CURRENT);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_ReadDataBounded(HANDLE hFile, void *buffer, DWORD chunkSize, DWORD bufferSize) {
    DWORD n = chunkSize < bufferSize ? chunkSize : bufferSize;
    if (!buffer && n) return LX_E_POINTER;
    if (!ReadExact(hFile, buffer, n)) return LX_E_READ;
    /* The pad comes from the buffer's parity, not the chunk's: callers
       count with that, and the memory family differs on purpose. */
    Seek(hFile, (LONGLONG)((ULONGLONG)(chunkSize - n) + (bufferSize & 1)), FILE_CURRENT);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_ReadDataAlloc(HANDLE hFile, tLXRIFFDATA *data) {
    if (!data) return LX_E_POINTER;
    data->data = nullptr;
    if (data->size == 0) return LX_S_OK;
    /* A size beyond the file would only read short: refuse it before a
       hostile size asks for gigabytes. A length that cannot be learnt is left
       to the read to find out. */
    ULONGLONG left;
    if (BytesLeft(hFile, &left) && data->size > left) return LX_E_READ;
    void *p = AllocBlock(data->size);
    if (!p) return LX_E_OUTOFMEMORY;
    data->data = p;
    HRESULT hr = riff_ReadData(hFile, p, data->size);
    if (hr < 0) LxRiff_FreeData(data);
    return hr;
}

LXEXPORT(HRESULT) riff_SetRIFFSize(HANDLE hFile, DWORD size) {
    return PatchField(hFile, 4, 4, size, false);
}

LXEXPORT(HRESULT) riff_UpdateRIFFSize(HANDLE hFile, LONG delta) {
    return PatchField(hFile, 4, 4, (DWORD)delta, true);
}

LXEXPORT(HRESULT) riff_GetFileSize(HANDLE hFile, DWORD *pSize) {
    if (!pSize) return LX_E_POINTER;
    if (!SeekTo(hFile, 0)) return LX_E_READ;
    HRESULT hr = riff_ReadFileID(hFile, pSize, nullptr);
    /* Callers know this is four short of the true length. */
    *pSize += 8;
    return hr;
}

LXEXPORT(HRESULT) riff_WriteChunkHeader(HANDLE hFile, DWORD id, DWORD size) {
    BYTE head[8];
    PutLE32(head, id);
    PutLE32(head + 4, size);
    return WriteCalled(hFile, head, 8) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) riff_WriteChunk(HANDLE hFile, DWORD id, const void *data, DWORD size, DWORD *pWritten) {
    if (!data && size) return LX_E_POINTER;
    HRESULT hr = riff_WriteChunkHeader(hFile, id, size);
    if (hr < 0) return hr;
    if (size && !WriteCalled(hFile, data, size)) return LX_E_WRITE;
    if (size & 1) {
        const BYTE pad = 0;
        if (!WriteCalled(hFile, &pad, 1)) return LX_E_WRITE;
    }
    if (pWritten) *pWritten = size + (size & 1) + 8;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_WriteListHeader(HANDLE hFile, DWORD listType, DWORD size) {
    BYTE head[12];
    PutLE32(head, LXRIFF_ID_LIST);
    PutLE32(head + 4, size);
    PutLE32(head + 8, listType);
    return WriteCalled(hFile, head, 12) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) riff_WriteFileID(HANDLE hFile, DWORD formType, DWORD size) {
    BYTE head[8], form[4];
    PutLE32(head, LXRIFF_ID_RIFF);
    PutLE32(head + 4, size);
    PutLE32(form, formType);
    WriteCalled(hFile, head, 8); /* only the form type's write is reported */
    return WriteCalled(hFile, form, 4) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) riff_ReadChunkHeader(HANDLE hFile, DWORD *pId, DWORD *pSize) {
    if (!pId || !pSize) return LX_E_POINTER;
    BYTE head[8];
    if (!ReadExact(hFile, head, 8)) return LX_E_READ;
    *pId = GetLE32(head);
    *pSize = GetLE32(head + 4);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_ReadListHeader(HANDLE hFile, DWORD *pListType, DWORD *pSize) {
    if (!pListType || !pSize) return LX_E_POINTER;
    BYTE head[8], type[4];
    if (!ReadExact(hFile, head, 8)) return LX_E_READ;
    if (GetLE32(head) != LXRIFF_ID_LIST) return LXRIFF_E_NOTLIST;
    *pSize = GetLE32(head + 4) - 4;
    if (!ReadExact(hFile, type, 4)) return LX_E_READ;
    *pListType = GetLE32(type);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_ReadFileID(HANDLE hFile, DWORD *pSize, DWORD *pFormType) {
    BYTE head[8] = {0}, form[4];
    DWORD got = 0;
    ReadFile(hFile, head, 8, &got, nullptr); /* a short read shows as a wrong id */
    if (pSize) *pSize = GetLE32(head + 4) - 4;
    if (GetLE32(head) != LXRIFF_ID_RIFF) return LXRIFF_E_NOTRIFF;
    if (!ReadExact(hFile, form, 4)) return LX_E_READ;
    if (pFormType) *pFormType = GetLE32(form);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_FindChunkHeader(HANDLE hFile, DWORD id, DWORD *pSize, LONG *pRemaining) {
    return FindChunk32(hFile, id, false, pSize, pRemaining);
}

LXEXPORT(HRESULT) riff_FindChunkHeaderInRIFF(HANDLE hFile, DWORD id, DWORD *pSize, LONG *pRemaining) {
    if (!SeekTo(hFile, 0)) return LX_E_READ;
    DWORD room;
    HRESULT hr = riff_ReadFileID(hFile, &room, nullptr);
    if (hr < 0) return hr;
    LONG count = (LONG)room;
    hr = riff_FindChunkHeader(hFile, id, pSize, &count);
    if (pRemaining) *pRemaining = count;
    return hr;
}

LXEXPORT(HRESULT) riff_FindListChunk(HANDLE hFile, DWORD listType, DWORD *pSize, LONG *pRemaining) {
    for (;;) {
        DWORD size;
        HRESULT hr = riff_FindChunkHeader(hFile, LXRIFF_ID_LIST, &size, pRemaining);
        if (hr < 0) return hr;
        if (pRemaining && *pRemaining < 4) return LX_E_NOTFOUND;
        BYTE type[4];
        if (!ReadExact(hFile, type, 4)) return LX_E_READ;
        Charge(pRemaining, 4);
        if (GetLE32(type) == listType) {
            if (pSize) *pSize = size - 4;
            return LX_S_OK;
        }
        /* The type's four bytes are charged again with the whole size: a
           list passed over costs four bytes too many, and callers' bounds
           were set with that in mind. The step itself is exact, and never
           backwards overall: header and type came first. */
        const ULONGLONG rounded = Padded(size);
        Seek(hFile, (LONGLONG)rounded - 4, FILE_CURRENT);
        Charge(pRemaining, (DWORD)rounded);
    }
}

LXEXPORT(HRESULT) riff_FindListChunkFromStart(HANDLE hFile, DWORD listType, DWORD *pSize) {
    if (!SeekTo(hFile, 0)) return LX_E_READ;
    DWORD room;
    HRESULT hr = riff_ReadFileID(hFile, &room, nullptr);
    if (hr < 0) return hr;
    LONG remaining = (LONG)room;
    return riff_FindListChunk(hFile, listType, pSize, &remaining);
}

LXEXPORT(HRESULT) riff_GetNumListEntries(HANDLE hFile, DWORD *pCount, LONG *pRemaining) {
    if (!pCount) return LX_E_POINTER;
    ULONGLONG saved;
    if (!Tell(hFile, &saved)) return LX_E_READ;
    DWORD count = 0;
    HRESULT hr = LX_S_OK;
    while (!pRemaining || *pRemaining >= 8) {
        hr = PassChunk(hFile, pRemaining);
        if (hr < 0) break;
        ++count;
    }
    SeekTo(hFile, saved);
    *pCount = count;
    return hr;
}

LXEXPORT(HRESULT) riff_SeekListEntry(HANDLE hFile, DWORD index, LONG *pRemaining) {
    for (DWORD i = 0; i < index; ++i) {
        if (pRemaining && *pRemaining < 8) return LX_E_NOTFOUND;
        HRESULT hr = PassChunk(hFile, pRemaining);
        if (hr < 0) return hr;
    }
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_DeleteChunk(HANDLE hFile, DWORD id, DWORD *pDeleted, BOOL fList) {
    if (pDeleted) *pDeleted = 0;
    if (!SeekTo(hFile, 0)) return LX_E_READ;
    DWORD room = 0;
    riff_ReadFileID(hFile, &room, nullptr);
    LONG remaining = (LONG)room;
    DWORD size;
    HRESULT hr = fList ? riff_FindListChunk(hFile, id, &size, &remaining)
                       : riff_FindChunkHeader(hFile, id, &size, &remaining);
    if (hr < 0) return hr;

    const DWORD head = fList ? 12 : 8;
    ULONGLONG cursor, length;
    if (!Tell(hFile, &cursor) || !Length(hFile, &length)) return LX_E_READ;
    const DWORD total = size + (size & 1) + head;
    const ULONGLONG dest = cursor - head;
    hr = CutOut(hFile, dest, dest + Padded(size) + head, length);
    if (hr < 0) return hr;
    hr = riff_UpdateRIFFSize(hFile, (LONG)(0u - total));
    if (hr < 0) return hr;
    if (pDeleted) *pDeleted = total;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_WriteANSIString(HANDLE hFile, const char *text, DWORD *pWritten) {
    if (!text || !pWritten) return LX_E_POINTER;
    const DWORD count = (DWORD)strlen(text) + 1;
    const DWORD even = count + (count & 1);
    if (!WriteExact(hFile, text, count) || WriteZeros(hFile, even - count) < 0) return LX_E_WRITE;
    *pWritten = even;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_ReadANSIString(HANDLE hFile, char *buffer, DWORD bufferSize, DWORD *pChunkSize) {
    if (!pChunkSize || (!buffer && bufferSize)) return LX_E_POINTER;
    const DWORD chunkSize = *pChunkSize;
    const DWORD n = chunkSize < bufferSize ? chunkSize : bufferSize;
    ULONGLONG noted;
    if (!Tell(hFile, &noted)) return LX_E_READ;
    char *temp = (char *)AllocBlock(n ? n : 1);
    if (!temp) return LX_E_OUTOFMEMORY;
    HRESULT hr = LX_S_OK;
    if (!ReadExact(hFile, temp, n)) {
        hr = LX_E_READ;
        if (bufferSize) buffer[0] = 0;
    } else {
        /* The temporary always holds a zero: the forced last byte, or the
           zero fill when nothing was read. */
        if (n) temp[n - 1] = 0;
        if (bufferSize) memcpy(buffer, temp, strlen(temp) + 1);
        SeekTo(hFile, noted + Padded(chunkSize));
        /* Every caller counts with this one, odd size or even. */
        *pChunkSize = chunkSize + 1;
    }
    FreeBlock(temp);
    return hr;
}
