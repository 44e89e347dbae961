/*
 * Wave64 chunks on a file handle. Sizes are 64-bit and come from the file,
 * so all arithmetic on them is unsigned and wraps; a skip whose target
 * cannot be reached lands on the end of the file instead, so that a walk
 * never stands still or steps back and the next read ends it.
 */
#include "riff64.h"

#include "fileio_internal.h"

#include <string.h>

using namespace lxio;

namespace {

/* Positions beyond this are taken as unreachable. */
const ULONGLONG kFarthest = 1ULL << 62;

/* To from + amount; if that overflows or the seek is refused, to the end of
   the file when it lies ahead, else nowhere. */
void ForwardFrom(HANDLE h, ULONGLONG from, ULONGLONG amount) {
    const ULONGLONG to = from + amount;
    if (to >= from && to < kFarthest && SeekTo(h, to)) return;
    ULONGLONG end;
    if (Length(h, &end) && end > from) SeekTo(h, end);
}

void Forward(HANDLE h, ULONGLONG amount) {
    ULONGLONG pos;
    if (Tell(h, &pos)) ForwardFrom(h, pos, amount);
}

/* The zeros behind a size up to 8. */
DWORD PadOf(ULONGLONG size) { return (DWORD)((8 - (size & 7)) & 7); }

/* Counts of bytes still allowed: signed to the caller, kept unsigned here
   so that hostile sizes wrap instead of overflowing. */
void Charge(LONGLONG *pRemaining, ULONGLONG amount) {
    if (pRemaining) *pRemaining = (LONGLONG)((ULONGLONG)*pRemaining - amount);
}

/* Passes the chunk at the cursor, charging its header and rounded size. */
HRESULT PassChunk(HANDLE h, LONGLONG *pRemaining) {
    Charge(pRemaining, LXW64_CHUNK_HEADER);
    GUID id;
    ULONGLONG size;
    HRESULT hr = riff64_ReadChunkHeader(h, &id, &size);
    if (hr < 0) return hr;
    Charge(pRemaining, riff64_SkipChunk(h, size));
    return LX_S_OK;
}

HRESULT WriteHeader(HANDLE h, const GUID &id, ULONGLONG stored, const GUID *type) {
    BYTE head[LXW64_LIST_HEADER];
    memcpy(head, &id, 16);
    PutLE64(head + 16, stored);
    DWORD n = LXW64_CHUNK_HEADER;
    if (type) {
        memcpy(head + 24, type, 16);
        n = LXW64_LIST_HEADER;
    }
    return WriteCalled(h, head, n) ? LX_S_OK : LX_E_WRITE;
}

}  // namespace

LXEXPORT(HRESULT) riff64_ValidateChunkHeader(HANDLE, GUID, ULONGLONG size) {
    const DWORD low = (DWORD)size, high = (DWORD)(size >> 32);
    /* Bit 3 of the high word, not 0-2: that is the test wanted. */
    if ((low & 7) || (high & 8)) return LXRIFF_E_NEGSIZE;
    if (low == 0 && high == 0) return LXRIFF_E_ZEROSIZE;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_SaveLocation(HANDLE hFile, ULONGLONG *pPosition) {
    if (!pPosition) return LX_E_POINTER;
    return Tell(hFile, pPosition) ? LX_S_OK : LX_E_READ;
}

LXEXPORT(HRESULT) riff64_RestoreLocation(HANDLE hFile, ULONGLONG position) {
    return SeekTo(hFile, position) ? LX_S_OK : LX_E_READ;
}

LXEXPORT(ULONGLONG) riff64_SkipChunk(HANDLE hFile, ULONGLONG size) {
    const ULONGLONG amount = Round8(size);
    Forward(hFile, amount);
    return amount;
}

LXEXPORT(HRESULT) riff64_SeekDataStart(HANDLE hFile) {
    return SeekTo(hFile, LXW64_FILE_HEADER) ? LX_S_OK : LX_E_READ;
}

LXEXPORT(HRESULT) riff64_ReadData(HANDLE hFile, void *buffer, ULONGLONG count) {
    const DWORD n = (DWORD)count;
    if (!buffer && n) return LX_E_POINTER;
    if (!ReadExact(hFile, buffer, n)) return LX_E_READ;
    /* A missing pad at the end of the file is no error. */
    Forward(hFile, PadOf(count));
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_ReadDataBounded(HANDLE hFile, void *buffer, ULONGLONG chunkSize, DWORD bufferSize) {
    const DWORD n = chunkSize < bufferSize ? (DWORD)chunkSize : bufferSize;
    if (!buffer && n) return LX_E_POINTER;
    if (!ReadExact(hFile, buffer, n)) return LX_E_READ;
    /* The pad term comes from the buffer's size, as the 32-bit family's does. */
    Forward(hFile, (bufferSize & 7) - (ULONGLONG)n + chunkSize);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_ReadDataAlloc(HANDLE hFile, tLXRIFFDATA *data) {
    if (!data) return LX_E_POINTER;
    data->data = nullptr;
    if (data->size == 0) return LX_S_OK;
    /* A size past the file would only read short: refuse it before a hostile
       size asks for gigabytes. */
    ULONGLONG left;
    if (!BytesLeft(hFile, &left) || data->size > left) return LX_E_READ;
    void *p = AllocBlock(data->size);
    if (!p) return LX_E_OUTOFMEMORY;
    data->data = p;
    HRESULT hr = riff64_ReadData(hFile, p, data->size);
    if (hr < 0) LxRiff_FreeData(data);
    return hr;
}

LXEXPORT(HRESULT) riff64_SetRIFFSize(HANDLE hFile, ULONGLONG size) {
    return PatchField(hFile, 16, 8, size + LXW64_CHUNK_HEADER, false);
}

LXEXPORT(HRESULT) riff64_UpdateRIFFSize(HANDLE hFile, LONGLONG delta) {
    return PatchField(hFile, 16, 8, (ULONGLONG)delta, true);
}

LXEXPORT(HRESULT) riff64_GetFileSize(HANDLE hFile, ULONGLONG *pSize) {
    if (!pSize) return LX_E_POINTER;
    if (!SeekTo(hFile, 0)) return LX_E_READ;
    HRESULT hr = riff64_ReadFileID(hFile, pSize, nullptr);
    *pSize += LXW64_FILE_HEADER;
    return hr;
}

LXEXPORT(HRESULT) riff64_WriteChunkHeader(HANDLE hFile, GUID id, ULONGLONG size) {
    return WriteHeader(hFile, id, size + LXW64_CHUNK_HEADER, nullptr);
}

LXEXPORT(HRESULT) riff64_WriteData(HANDLE hFile, const void *data, ULONGLONG size, ULONGLONG *pWritten) {
    const DWORD n = (DWORD)size;
    if (!data && n) return LX_E_POINTER;
    if (n && !WriteCalled(hFile, data, n)) return LX_E_WRITE;
    HRESULT hr = WriteZeros(hFile, PadOf(size));
    if (hr < 0) return hr;
    if (pWritten) *pWritten = size + PadOf(size);
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_WriteChunk(HANDLE hFile, GUID id, const void *data, ULONGLONG size, ULONGLONG *pWritten) {
    if (!data && (DWORD)size) return LX_E_POINTER;
    HRESULT hr = riff64_WriteChunkHeader(hFile, id, size);
    if (hr < 0) return hr;
    ULONGLONG written = 0;
    hr = riff64_WriteData(hFile, data, size, &written);
    if (hr < 0) return hr;
    if (pWritten) *pWritten = written + LXW64_CHUNK_HEADER;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_WriteListHeader(HANDLE hFile, GUID listType, ULONGLONG size) {
    return WriteHeader(hFile, LXW64_ID_LIST, size + LXW64_CHUNK_HEADER, &listType);
}

LXEXPORT(HRESULT) riff64_WriteFileID(HANDLE hFile, GUID formType, ULONGLONG size) {
    return WriteHeader(hFile, LXW64_ID_RIFF, size + LXW64_CHUNK_HEADER, &formType);
}

LXEXPORT(HRESULT) riff64_ReadChunkHeader(HANDLE hFile, GUID *pId, ULONGLONG *pSize) {
    if (!pId || !pSize) return LX_E_POINTER;
    BYTE head[LXW64_CHUNK_HEADER];
    if (!ReadExact(hFile, head, sizeof head)) return LX_E_READ;
    memcpy(pId, head, 16);
    *pSize = GetLE64(head + 16) - LXW64_CHUNK_HEADER;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_ReadListHeader(HANDLE hFile, GUID *pListType, ULONGLONG *pSize) {
    if (!pListType || !pSize) return LX_E_POINTER;
    BYTE head[LXW64_CHUNK_HEADER];
    if (!ReadExact(hFile, head, sizeof head)) return LX_E_READ;
    if (!LxW64_IsEqualId((const GUID *)(const void *)head, &LXW64_ID_LIST)) return LXRIFF_E_NOTLIST;
    *pSize = GetLE64(head + 16) - LXW64_LIST_HEADER;
    if (!ReadExact(hFile, pListType, 16)) return LX_E_READ;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_ReadFileID(HANDLE hFile, ULONGLONG *pSize, GUID *pFormType) {
    BYTE head[LXW64_CHUNK_HEADER] = {0};
    DWORD got = 0;
    ReadFile(hFile, head, sizeof head, &got, nullptr); /* a short read shows as a wrong id */
    if (pSize) *pSize = GetLE64(head + 16) - LXW64_FILE_HEADER;
    GUID id;
    memcpy(&id, head, 16);
    if (!LxW64_IsEqualId(&id, &LXW64_ID_RIFF)) return LXRIFF_E_NOTRIFF;
    GUID form;
    if (!ReadExact(hFile, &form, 16)) return LX_E_READ;
    if (pFormType) *pFormType = form;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_FindChunkHeader(HANDLE hFile, GUID id, ULONGLONG *pSize, LONGLONG *pRemaining) {
    /* Stored back on a match or at the bound, not after a failed read. */
    LONGLONG count = pRemaining ? *pRemaining : 0;
    LONGLONG *const pCount = pRemaining ? &count : nullptr;
    for (;;) {
        /* Signed: a chunk running past the bound ends the search. */
        if (pCount && count < LXW64_CHUNK_HEADER) {
            *pRemaining = count;
            return LX_E_NOTFOUND;
        }
        GUID chunkId;
        ULONGLONG chunkSize;
        HRESULT hr = riff64_ReadChunkHeader(hFile, &chunkId, &chunkSize);
        if (hr < 0) return hr;
        Charge(pCount, LXW64_CHUNK_HEADER);
        if (LxW64_IsEqualId(&chunkId, &id)) {
            if (pSize) *pSize = chunkSize;
            if (pRemaining) *pRemaining = count;
            return LX_S_OK;
        }
        Charge(pCount, riff64_SkipChunk(hFile, chunkSize));
    }
}

LXEXPORT(HRESULT) riff64_FindChunkHeaderInRIFF(HANDLE hFile, GUID id, ULONGLONG *pSize, LONGLONG *pRemaining) {
    if (!SeekTo(hFile, 0)) return LX_E_READ;
    ULONGLONG room;
    HRESULT hr = riff64_ReadFileID(hFile, &room, nullptr);
    if (hr < 0) return hr;
    LONGLONG count = (LONGLONG)room;
    hr = riff64_FindChunkHeader(hFile, id, pSize, &count);
    if (pRemaining) *pRemaining = count;
    return hr;
}

LXEXPORT(HRESULT) riff64_FindListChunk(HANDLE hFile, GUID listType, ULONGLONG *pSize, LONGLONG *pRemaining) {
    for (;;) {
        ULONGLONG size;
        HRESULT hr = riff64_FindChunkHeader(hFile, LXW64_ID_LIST, &size, pRemaining);
        if (hr < 0) return hr;
        /* Eight, though sixteen type bytes follow: the read itself tells. */
        if (pRemaining && *pRemaining < 8) return LX_E_NOTFOUND;
        ULONGLONG payload;
        if (!Tell(hFile, &payload)) return LX_E_READ;
        GUID type;
        if (!ReadExact(hFile, &type, 16)) return LX_E_READ;
        Charge(pRemaining, 16);
        if (LxW64_IsEqualId(&type, &listType)) {
            if (pSize) *pSize = size - 16;
            return LX_S_OK;
        }
        /* Exact accounting; the step goes from the payload's start, so a
           list shorter than its type moves back at most into its own
           payload, never behind its header. */
        const ULONGLONG rounded = Round8(size);
        ForwardFrom(hFile, payload, rounded);
        Charge(pRemaining, rounded - 16);
    }
}

LXEXPORT(HRESULT) riff64_FindListChunkFromStart(HANDLE hFile, GUID listType, ULONGLONG *pSize) {
    if (!SeekTo(hFile, 0)) return LX_E_READ;
    ULONGLONG room;
    HRESULT hr = riff64_ReadFileID(hFile, &room, nullptr);
    if (hr < 0) return hr;
    LONGLONG remaining = (LONGLONG)room;
    return riff64_FindListChunk(hFile, listType, pSize, &remaining);
}

LXEXPORT(HRESULT) riff64_GetNumListEntries(HANDLE hFile, DWORD *pCount, LONGLONG *pRemaining) {
    if (!pCount) return LX_E_POINTER;
    ULONGLONG saved;
    if (!Tell(hFile, &saved)) return LX_E_READ;
    DWORD count = 0;
    HRESULT hr = LX_S_OK;
    while (!pRemaining || *pRemaining >= LXW64_CHUNK_HEADER) {
        hr = PassChunk(hFile, pRemaining);
        if (hr < 0) break;
        ++count;
    }
    SeekTo(hFile, saved);
    *pCount = count;
    return hr;
}

LXEXPORT(HRESULT) riff64_SeekListEntry(HANDLE hFile, DWORD index, LONGLONG *pRemaining) {
    for (DWORD i = 0; i < index; ++i) {
        if (pRemaining && *pRemaining < LXW64_CHUNK_HEADER) return LX_E_NOTFOUND;
        HRESULT hr = PassChunk(hFile, pRemaining);
        if (hr < 0) return hr;
    }
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_DeleteChunk(HANDLE hFile, GUID id, ULONGLONG *pDeleted) {
    if (pDeleted) *pDeleted = 0;
    ULONGLONG length;
    if (!Length(hFile, &length)) return LX_E_READ;
    if (!SeekTo(hFile, 0)) return LX_E_READ;
    ULONGLONG room = 0;
    riff64_ReadFileID(hFile, &room, nullptr);
    LONGLONG remaining = (LONGLONG)room;
    ULONGLONG size;
    HRESULT hr = riff64_FindChunkHeader(hFile, id, &size, &remaining);
    if (hr < 0) return hr;

    ULONGLONG cursor;
    if (!Tell(hFile, &cursor)) return LX_E_READ;
    const ULONGLONG total = Round8(size) + LXW64_CHUNK_HEADER;
    const ULONGLONG dest = cursor - LXW64_CHUNK_HEADER;
    hr = CutOut(hFile, dest, dest + total, length);
    if (hr < 0) return hr;
    hr = riff64_UpdateRIFFSize(hFile, (LONGLONG)(0 - total));
    if (hr < 0) return hr;
    if (pDeleted) *pDeleted = total;
    return LX_S_OK;
}

LXEXPORT(HRESULT) riff64_PrepareChunk(HANDLE hFile, GUID id, ULONGLONG *pStart) {
    HRESULT hr = riff64_SaveLocation(hFile, pStart);
    if (hr < 0) return hr;
    return riff64_WriteChunkHeader(hFile, id, 0);
}

LXEXPORT(HRESULT) riff64_PrepareList(HANDLE hFile, GUID listType, ULONGLONG *pStart) {
    HRESULT hr = riff64_SaveLocation(hFile, pStart);
    if (hr < 0) return hr;
    /* The type's bytes are counted, so that an unfinished list still walks
       as an empty one. */
    return riff64_WriteListHeader(hFile, listType, 16) < 0 ? LX_E_WRITE : LX_S_OK;
}

LXEXPORT(HRESULT) riff64_WriteToFile(HANDLE hFile, const void *data, ULONGLONG size) {
    const DWORD n = (DWORD)size;
    if (!data && n) return LX_E_POINTER;
    if (n == 0) return LX_S_OK;
    return WriteExact(hFile, data, n) ? LX_S_OK : LX_E_WRITE;
}

LXEXPORT(ULONGLONG) riff64_AmountWritten(HANDLE hFile, ULONGLONG start) {
    ULONGLONG pos = 0;
    Tell(hFile, &pos);
    return pos - start;
}

LXEXPORT(HRESULT) riff64_Pad(HANDLE hFile, ULONGLONG start) {
    return WriteZeros(hFile, PadOf(riff64_AmountWritten(hFile, start)));
}

LXEXPORT(HRESULT) riff64_CompleteChunk(HANDLE hFile, ULONGLONG start) {
    HRESULT hr = riff64_Pad(hFile, start);
    if (hr < 0) return hr;
    ULONGLONG end;
    if (!Tell(hFile, &end)) return LX_E_READ;
    return PatchField(hFile, start + 16, 8, end - start, false);
}

LXEXPORT(HRESULT) riff64_WriteChunkToFile(HANDLE hFile, GUID id, const void *data, ULONGLONG size) {
    if (!data && (DWORD)size) return LX_E_POINTER;
    ULONGLONG start;
    HRESULT hr = riff64_PrepareChunk(hFile, id, &start);
    if (hr < 0) return hr;
    hr = riff64_WriteToFile(hFile, data, size);
    if (hr < 0) return hr;
    return riff64_CompleteChunk(hFile, start);
}
