/*
 * RIFF chunks on a file handle. Every walk moves forward: skips are done
 * with 64-bit distances, so a size that is negative as a signed number
 * never turns into a step backwards, and a read past the end ends the walk.
 * Counts of remaining bytes wrap as 32-bit values the way callers expect.
 */
#include "riff.h"

#include <string.h>

namespace {

const DWORD kCopyRound = 4096;

bool Seek(HANDLE h, LONGLONG distance, DWORD method, ULONGLONG *pNew = nullptr) {
    LONG high = (LONG)(distance >> 32);
    SetLastError(NO_ERROR);
    DWORD low = SetFilePointer(h, (LONG)(DWORD)distance, &high, method);
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR) return false;
    if (pNew) *pNew = ((ULONGLONG)(DWORD)high << 32) | low;
    return true;
}

bool Tell(HANDLE h, ULONGLONG *pPos) { return Seek(h, 0, FILE_CURRENT, pPos); }

bool ReadExact(HANDLE h, void *buffer, DWORD count) {
    DWORD got = 0;
    return ReadFile(h, buffer, count, &got, nullptr) && got == count;
}

/* Header writers look at the call's result only, not at the count. */
bool WriteCalled(HANDLE h, const void *buffer, DWORD count) {
    DWORD done = 0;
    return WriteFile(h, buffer, count, &done, nullptr) != 0;
}

bool WriteExact(HANDLE h, const void *buffer, DWORD count) {
    DWORD done = 0;
    return WriteFile(h, buffer, count, &done, nullptr) && done == count;
}

void PutWord(BYTE *p, DWORD v) { memcpy(p, &v, 4); }
DWORD GetWord(const BYTE *p) {
    DWORD v;
    memcpy(&v, p, 4);
    return v;
}

/* Bytes from the cursor to the end of the file, or all ones if unknown. */
ULONGLONG BytesLeft(HANDLE h) {
    ULONGLONG pos;
    DWORD high = 0;
    SetLastError(NO_ERROR);
    DWORD low = GetFileSize(h, &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return ~0ULL;
    ULONGLONG size = ((ULONGLONG)high << 32) | low;
    if (!Tell(h, &pos)) return ~0ULL;
    return pos < size ? size - pos : 0;
}

/* Size and pad as the skip moves it, without 32-bit wrap. */
ULONGLONG Padded(DWORD size) { return (ULONGLONG)size + (size & 1); }

}  // namespace

void LxRiff_FreeData(tLXRIFFDATA *data) {
    if (!data || !data->data) return;
    HGLOBAL h = GlobalHandle(data->data);
    if (h) {
        GlobalUnlock(h);
        GlobalFree(h);
    }
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
    return Seek(hFile, (LONGLONG)position, FILE_BEGIN) ? LX_S_OK : LX_E_READ;
}

LXEXPORT(DWORD) riff_SkipChunk(HANDLE hFile, DWORD size) {
    Seek(hFile, (LONGLONG)Padded(size), FILE_CURRENT);
    return size + (size & 1);
}

LXEXPORT(HRESULT) riff_SeekDataStart(HANDLE hFile) {
    return Seek(hFile, 12, FILE_BEGIN) ? LX_S_OK : LX_E_READ;
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
       hostile size asks for gigabytes. */
    if (data->size > BytesLeft(hFile)) return LX_E_READ;
    HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, data->size);
    void *p = h ? GlobalLock(h) : nullptr;
    if (!p) {
        if (h) GlobalFree(h);
        return LX_E_OUTOFMEMORY;
    }
    data->data = p;
    HRESULT hr = riff_ReadData(hFile, p, data->size);
    if (hr < 0) LxRiff_FreeData(data);
    return hr;
}

LXEXPORT(HRESULT) riff_SetRIFFSize(HANDLE hFile, DWORD size) {
    ULONGLONG saved;
    if (!Tell(hFile, &saved)) return LX_E_READ;
    HRESULT hr = LX_S_OK;
    BYTE word[4];
    PutWord(word, size);
    if (!Seek(hFile, 4, FILE_BEGIN) || !WriteExact(hFile, word, 4)) hr = LX_E_WRITE;
    Seek(hFile, (LONGLONG)saved, FILE_BEGIN);
    return hr;
}

LXEXPORT(HRESULT) riff_UpdateRIFFSize(HANDLE hFile, LONG delta) {
    ULONGLONG saved;
    if (!Tell(hFile, &saved)) return LX_E_READ;
    HRESULT hr = LX_S_OK;
    BYTE word[4];
    if (!Seek(hFile, 4, FILE_BEGIN) || !ReadExact(hFile, word, 4)) {
        hr = LX_E_READ;
    } else {
        PutWord(word, GetWord(word) + (DWORD)delta);
        if (!Seek(hFile, 4, FILE_BEGIN) || !WriteExact(hFile, word, 4)) hr = LX_E_WRITE;
    }
    Seek(hFile, (LONGLONG)saved, FILE_BEGIN);
    return hr;
}

LXEXPORT(HRESULT) riff_GetFileSize(HANDLE hFile, DWORD *pSize) {
    if (!pSize) return LX_E_POINTER;
    if (!Seek(hFile, 0, FILE_BEGIN)) return LX_E_READ;
    HRESULT hr = riff_ReadFileID(hFile, pSize, nullptr);
    /* Callers know this is four short of the true length. */
    *pSize += 8;
    return hr;
}

LXEXPORT(HRESULT) riff_WriteChunkHeader(HANDLE hFile, DWORD id, DWORD size) {
    BYTE head[8];
    PutWord(head, id);
    PutWord(head + 4, size);
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
    PutWord(head, LXRIFF_ID_LIST);
    PutWord(head + 4, size);
    PutWord(head + 8, listType);
    return WriteCalled(hFile, head, 12) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) riff_WriteFileID(HANDLE hFile, DWORD formType, DWORD size) {
    BYTE head[8], form[4];
    PutWord(head, LXRIFF_ID_RIFF);
    PutWord(head + 4, size);
    PutWord(form, formType);
    WriteCalled(hFile, head, 8); /* only the form type's write is reported */
    return WriteCalled(hFile, form, 4) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(HRESULT) riff_ReadChunkHeader(HANDLE hFile, DWORD *pId, DWORD *pSize) {
    if (!pId || !pSize) return LX_E_POINTER;
    BYTE head[8];
    if (!ReadExact(hFile, head, 8)) return LX_E_READ;
    *pId = GetWord(head);
    *pSize = GetWord(head + 4);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_ReadListHeader(HANDLE hFile, DWORD *pListType, DWORD *pSize) {
    if (!pListType || !pSize) return LX_E_POINTER;
    BYTE head[8], type[4];
    if (!ReadExact(hFile, head, 8)) return LX_E_READ;
    if (GetWord(head) != LXRIFF_ID_LIST) return LXRIFF_E_NOTLIST;
    *pSize = GetWord(head + 4) - 4;
    if (!ReadExact(hFile, type, 4)) return LX_E_READ;
    *pListType = GetWord(type);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_ReadFileID(HANDLE hFile, DWORD *pSize, DWORD *pFormType) {
    BYTE head[8] = {0}, form[4];
    DWORD got = 0;
    ReadFile(hFile, head, 8, &got, nullptr); /* a short read shows as a wrong id */
    if (pSize) *pSize = GetWord(head + 4) - 4;
    if (GetWord(head) != LXRIFF_ID_RIFF) return LXRIFF_E_NOTRIFF;
    if (!ReadExact(hFile, form, 4)) return LX_E_READ;
    if (pFormType) *pFormType = GetWord(form);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_FindChunkHeader(HANDLE hFile, DWORD id, DWORD *pSize, LONG *pRemaining) {
    DWORD count = pRemaining ? (DWORD)*pRemaining : 0;
    for (;;) {
        /* Signed: a chunk running past the bound ends the search. */
        if (pRemaining && (LONG)count < 8) {
            *pRemaining = (LONG)count;
            return LX_E_NOTFOUND;
        }
        DWORD chunkId, chunkSize;
        HRESULT hr = riff_ReadChunkHeader(hFile, &chunkId, &chunkSize);
        if (hr < 0) return hr;
        count -= 8;
        if (chunkId == id) {
            if (pSize) *pSize = chunkSize;
            if (pRemaining) *pRemaining = (LONG)count;
            return LX_S_OK;
        }
        count -= riff_SkipChunk(hFile, chunkSize);
    }
}

LXEXPORT(HRESULT) riff_FindChunkHeaderInRIFF(HANDLE hFile, DWORD id, DWORD *pSize, LONG *pRemaining) {
    if (!Seek(hFile, 0, FILE_BEGIN)) return LX_E_READ;
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
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - 4);
        if (GetWord(type) == listType) {
            if (pSize) *pSize = size - 4;
            return LX_S_OK;
        }
        /* The type's four bytes are charged again with the whole size: a
           list passed over costs four bytes too many, and callers' bounds
           were set with that in mind. The step itself is exact, and never
           backwards overall: header and type came first. */
        ULONGLONG rounded = Padded(size);
        Seek(hFile, (LONGLONG)rounded - 4, FILE_CURRENT);
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - (DWORD)rounded);
    }
}

LXEXPORT(HRESULT) riff_FindListChunkFromStart(HANDLE hFile, DWORD listType, DWORD *pSize) {
    if (!Seek(hFile, 0, FILE_BEGIN)) return LX_E_READ;
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
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - 8);
        DWORD id, size;
        hr = riff_ReadChunkHeader(hFile, &id, &size);
        if (hr < 0) break;
        DWORD amount = riff_SkipChunk(hFile, size);
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - amount);
        ++count;
    }
    Seek(hFile, (LONGLONG)saved, FILE_BEGIN);
    *pCount = count;
    return hr;
}

LXEXPORT(HRESULT) riff_SeekListEntry(HANDLE hFile, DWORD index, LONG *pRemaining) {
    for (DWORD i = 0; i < index; ++i) {
        if (pRemaining && *pRemaining < 8) return LX_E_NOTFOUND;
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - 8);
        DWORD id, size;
        HRESULT hr = riff_ReadChunkHeader(hFile, &id, &size);
        if (hr < 0) return hr;
        DWORD amount = riff_SkipChunk(hFile, size);
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - amount);
    }
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_DeleteChunk(HANDLE hFile, DWORD id, DWORD *pDeleted, BOOL fList) {
    if (pDeleted) *pDeleted = 0;
    if (!Seek(hFile, 0, FILE_BEGIN)) return LX_E_READ;
    DWORD room = 0;
    riff_ReadFileID(hFile, &room, nullptr);
    LONG remaining = (LONG)room;
    DWORD size;
    HRESULT hr = fList ? riff_FindListChunk(hFile, id, &size, &remaining)
                       : riff_FindChunkHeader(hFile, id, &size, &remaining);
    if (hr < 0) return hr;

    const DWORD head = fList ? 12 : 8;
    ULONGLONG cursor;
    if (!Tell(hFile, &cursor)) return LX_E_READ;
    const DWORD total = size + (size & 1) + head;
    ULONGLONG dest = cursor - head;
    ULONGLONG source = dest + Padded(size) + head;

    BYTE buffer[kCopyRound];
    for (;;) {
        DWORD got = 0;
        if (!Seek(hFile, (LONGLONG)source, FILE_BEGIN) ||
            !ReadFile(hFile, buffer, kCopyRound, &got, nullptr))
            return LX_E_READ;
        source += got;
        if (!Seek(hFile, (LONGLONG)dest, FILE_BEGIN) || !WriteExact(hFile, buffer, got))
            return LX_E_WRITE;
        dest += got;
        if (got < kCopyRound) break;
    }
    if (!Seek(hFile, (LONGLONG)dest, FILE_BEGIN) || !SetEndOfFile(hFile)) return LX_E_WRITE;
    hr = riff_UpdateRIFFSize(hFile, (LONG)(0u - total));
    if (hr < 0) return hr;
    if (pDeleted) *pDeleted = total;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff_WriteANSIString(HANDLE hFile, const char *text, DWORD *pWritten) {
    if (!text || !pWritten) return LX_E_POINTER;
    DWORD count = (DWORD)strlen(text) + 1;
    HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, count + 1);
    char *copy = h ? (char *)GlobalLock(h) : nullptr;
    if (!copy) {
        if (h) GlobalFree(h);
        return LX_E_OUTOFMEMORY;
    }
    memcpy(copy, text, count);
    /* The temporary has one zero byte to spare: that is the pad. */
    DWORD even = count + (count & 1);
    HRESULT hr = WriteExact(hFile, copy, even) ? LX_S_OK : LX_E_WRITE;
    GlobalUnlock(h);
    GlobalFree(h);
    if (hr >= 0) *pWritten = even;
    return hr;
}

LXEXPORT(HRESULT) riff_ReadANSIString(HANDLE hFile, char *buffer, DWORD bufferSize, DWORD *pChunkSize) {
    if (!pChunkSize || (!buffer && bufferSize)) return LX_E_POINTER;
    const DWORD chunkSize = *pChunkSize;
    const DWORD n = chunkSize < bufferSize ? chunkSize : bufferSize;
    ULONGLONG noted;
    if (!Tell(hFile, &noted)) return LX_E_READ;
    HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, n ? n : 1);
    char *temp = h ? (char *)GlobalLock(h) : nullptr;
    if (!temp) {
        if (h) GlobalFree(h);
        return LX_E_OUTOFMEMORY;
    }
    HRESULT hr = LX_S_OK;
    if (!ReadExact(hFile, temp, n)) {
        hr = LX_E_READ;
        if (bufferSize) buffer[0] = 0;
    } else {
        /* The temporary always holds a zero: the forced last byte, or the
           zero fill when nothing was read. */
        if (n) temp[n - 1] = 0;
        if (bufferSize) memcpy(buffer, temp, strlen(temp) + 1);
        Seek(hFile, (LONGLONG)(noted + Padded(chunkSize)), FILE_BEGIN);
        /* Every caller counts with this one, odd size or even. */
        *pChunkSize = chunkSize + 1;
    }
    GlobalUnlock(h);
    GlobalFree(h);
    return hr;
}
