/*
 * RIFF chunks on a memory block. The cursor never leaves [base, dataEnd] on
 * a move and every copy is cut to the bytes that are there, so hostile sizes
 * can end a walk early but never make it read outside the block. Positions
 * are worked out as integers from base before a pointer is formed.
 */
#include "mriff.h"

#include "fileio_internal.h"

#include <stdint.h>
#include <string.h>

static_assert(sizeof(tMRIFFSTREAM) == 24, "six 32-bit words");
static_assert(sizeof(WAVEFORMATEX) == 18, "the format record is 18 bytes");

using lxio::GetLE32;
using lxio::Padded;

namespace {

bool Valid(const tMRIFFSTREAM *s) {
    return s && s->base <= s->current && s->current <= s->dataEnd && s->dataEnd <= s->limit;
}

HRESULT BadCursor(const tMRIFFSTREAM *s) { return s ? LX_E_INVALIDARG : LX_E_POINTER; }

DWORD Offset(const tMRIFFSTREAM *s) { return (DWORD)(s->current - s->base); }
DWORD Avail(const tMRIFFSTREAM *s) { return (DWORD)(s->dataEnd - s->current); }
DWORD DataLength(const tMRIFFSTREAM *s) { return (DWORD)(s->dataEnd - s->base); }

/* Forward by n, stopping at dataEnd. */
void Forward(tMRIFFSTREAM *s, ULONGLONG n) {
    DWORD a = Avail(s);
    s->current += n < a ? (DWORD)n : a;
}

/* To an offset from base, clamped to [base, dataEnd]. */
DWORD MoveTo(tMRIFFSTREAM *s, LONGLONG offset) {
    DWORD end = DataLength(s);
    DWORD to = offset < 0 ? 0 : offset > (LONGLONG)end ? end : (DWORD)offset;
    s->current = s->base + to;
    return to;
}

bool ReadExact(tMRIFFSTREAM *s, void *buffer, DWORD count) {
    DWORD done;
    return mriff_ReadFile(s, buffer, count, &done, nullptr) != 0;
}

/* The header writers go four bytes at a time and want all four. */
HRESULT WriteWords(tMRIFFSTREAM *s, const DWORD *words, int n) {
    for (int i = 0; i < n; ++i) {
        DWORD done = 0;
        mriff_WriteFile(s, &words[i], 4, &done, nullptr);
        if (done != 4) return LX_E_WRITE;
    }
    return LX_S_OK;
}

}  // namespace

LXEXPORT(HRESULT) mriff_Init(tMRIFFSTREAM *s, void *block, DWORD size, DWORD capacity) {
    if (!s) return LX_E_POINTER;
    if (size > capacity) return LX_E_INVALIDARG;
    if (!block && capacity) return LX_E_INVALIDARG;
    if ((uintptr_t)block + capacity < (uintptr_t)block) return LX_E_INVALIDARG;
    BYTE *b = (BYTE *)block;
    s->base = s->current = b;
    s->dataEnd = b + size;
    s->limit = b + capacity;
    s->size = size;
    s->capacity = capacity;
    return LX_S_OK;
}

LXEXPORT(BYTE *) mriff_GetFilePointer(tMRIFFSTREAM *s) { return Valid(s) ? s->current : nullptr; }

LXEXPORT(DWORD) mriff_SetFilePointer(tMRIFFSTREAM *s, LONG distance, LONG *, DWORD method) {
    if (!Valid(s)) return INVALID_SET_FILE_POINTER;
    LONGLONG origin;
    switch (method) {
    case FILE_BEGIN: origin = 0; break;
    case FILE_CURRENT: origin = Offset(s); break;
    case FILE_END: origin = DataLength(s); break;
    default: return MoveTo(s, Offset(s));
    }
    return MoveTo(s, origin + distance);
}

LXEXPORT(DWORD) mriff_LxSetFilePointer(tMRIFFSTREAM *s, LONG distance, DWORD method) {
    return mriff_SetFilePointer(s, distance, nullptr, method);
}

LXEXPORT(BOOL) mriff_ReadFile(tMRIFFSTREAM *s, void *buffer, DWORD count, DWORD *pDone, void *) {
    if (pDone) *pDone = 0;
    if (!Valid(s) || (!buffer && count)) return FALSE;
    /* The test below is signed; a negative count cannot be honoured. */
    if ((LONG)count < 0) return FALSE;
    DWORD a = Avail(s);
    DWORD n = count < a ? count : a;
    if (n) memcpy(buffer, s->current, n);
    s->current += n;
    if (pDone) *pDone = n;
    return (LONG)count <= (LONG)a;
}

LXEXPORT(BOOL) mriff_WriteFile(tMRIFFSTREAM *s, const void *buffer, DWORD count, DWORD *pDone, void *) {
    if (pDone) *pDone = 0;
    if (!Valid(s) || (!buffer && count)) return FALSE;
    if ((LONG)count < 0) return TRUE;
    DWORD room = (DWORD)(s->limit - s->current);
    DWORD n = count < room ? count : room;
    if (n) memcpy(s->current, buffer, n);
    s->current += n;
    if (s->current > s->dataEnd) s->dataEnd = s->current;
    if (pDone) *pDone = n;
    return TRUE;
}

LXEXPORT(DWORD) mriff_UpdateDataSize(tMRIFFSTREAM *s, DWORD count) {
    if (!Valid(s)) return 0;
    DWORD room = (DWORD)(s->limit - s->dataEnd);
    DWORD n = count < room ? count : room;
    s->dataEnd += n;
    return n;
}

LXEXPORT(HRESULT) mriff_SaveLocation(tMRIFFSTREAM *s, DWORD *pPosition) {
    if (!Valid(s)) return BadCursor(s);
    if (!pPosition) return LX_E_POINTER;
    *pPosition = Offset(s);
    return LX_S_OK;
}

LXEXPORT(HRESULT) mriff_RestoreLocation(tMRIFFSTREAM *s, DWORD position) {
    if (!Valid(s)) return BadCursor(s);
    MoveTo(s, (LONGLONG)position);
    return LX_S_OK;
}

LXEXPORT(DWORD) mriff_SkipChunk(tMRIFFSTREAM *s, DWORD size) {
    if (!Valid(s)) return 0;
    Forward(s, Padded(size));
    return size + (size & 1);
}

LXEXPORT(HRESULT) mriff_SeekDataStart(tMRIFFSTREAM *s) {
    if (!Valid(s)) return BadCursor(s);
    MoveTo(s, 12);
    return LX_S_OK;
}

LXEXPORT(HRESULT) mriff_ReadData(tMRIFFSTREAM *s, void *buffer, DWORD count) {
    if (!Valid(s)) return BadCursor(s);
    if (!buffer && count) return LX_E_POINTER;
    if (!ReadExact(s, buffer, count)) return LX_E_READ;
    if (count & 1) Forward(s, 1);
    return LX_S_OK;
}

LXEXPORT(HRESULT) mriff_ReadDataBounded(tMRIFFSTREAM *s, void *buffer, DWORD bufferSize, DWORD chunkSize) {
    if (!Valid(s)) return BadCursor(s);
    DWORD n = bufferSize < chunkSize ? bufferSize : chunkSize;
    if (!buffer && n) return LX_E_POINTER;
    if (!ReadExact(s, buffer, n)) return LX_E_READ;
    Forward(s, (ULONGLONG)(chunkSize - n) + (chunkSize & 1));
    return LX_S_OK;
}

LXEXPORT(HRESULT) mriff_ReadDataAlloc(tMRIFFSTREAM *s, tLXRIFFDATA *data) {
    if (!Valid(s)) return BadCursor(s);
    if (!data) return LX_E_POINTER;
    data->data = nullptr;
    if (data->size == 0) return LX_S_OK;
    /* More than the block holds would only read short. */
    if (data->size > Avail(s)) return LX_E_READ;
    void *p = lxio::AllocBlock(data->size);
    if (!p) return LX_E_OUTOFMEMORY;
    data->data = p;
    HRESULT hr = mriff_ReadData(s, p, data->size);
    if (hr < 0) LxRiff_FreeData(data);
    return hr;
}

LXEXPORT(HRESULT) mriff_WriteChunkHeader(tMRIFFSTREAM *s, DWORD id, DWORD size) {
    if (!Valid(s)) return BadCursor(s);
    const DWORD words[2] = {id, size};
    return WriteWords(s, words, 2);
}

LXEXPORT(HRESULT) mriff_WriteListHeader(tMRIFFSTREAM *s, DWORD listType, DWORD size) {
    if (!Valid(s)) return BadCursor(s);
    const DWORD words[3] = {LXRIFF_ID_LIST, size, listType};
    return WriteWords(s, words, 3);
}

LXEXPORT(HRESULT) mriff_WriteFileID(tMRIFFSTREAM *s, DWORD formType, DWORD size) {
    if (!Valid(s)) return BadCursor(s);
    const DWORD words[3] = {LXRIFF_ID_RIFF, size, formType};
    return WriteWords(s, words, 3);
}

LXEXPORT(HRESULT) mriff_ReadChunkHeader(tMRIFFSTREAM *s, DWORD *pId, DWORD *pSize) {
    if (!Valid(s)) return BadCursor(s);
    if (!pId || !pSize) return LX_E_POINTER;
    BYTE head[8];
    if (!ReadExact(s, head, 8)) return LX_E_READ;
    *pId = GetLE32(head);
    *pSize = GetLE32(head + 4);
    return LX_S_OK;
}

LXEXPORT(HRESULT) mriff_ReadListHeader(tMRIFFSTREAM *s, DWORD *pListType, DWORD *pSize) {
    if (!Valid(s)) return BadCursor(s);
    if (!pListType || !pSize) return LX_E_POINTER;
    BYTE head[8], type[4];
    if (!ReadExact(s, head, 8)) return LX_E_READ;
    if (GetLE32(head) != LXRIFF_ID_LIST) return LXRIFF_E_NOTLIST;
    *pSize = GetLE32(head + 4) - 4;
    if (!ReadExact(s, type, 4)) return LX_E_READ;
    *pListType = GetLE32(type);
    return LX_S_OK;
}

LXEXPORT(HRESULT) mriff_ReadFileID(tMRIFFSTREAM *s, DWORD *pSize, DWORD *pFormType) {
    if (!Valid(s)) return BadCursor(s);
    BYTE head[8] = {0}, form[4];
    DWORD done;
    mriff_ReadFile(s, head, 8, &done, nullptr); /* a short read shows as a wrong id */
    if (pSize) *pSize = GetLE32(head + 4) - 4;
    if (GetLE32(head) != LXRIFF_ID_RIFF) return LXRIFF_E_NOTRIFF;
    if (!ReadExact(s, form, 4)) return LX_E_READ;
    if (pFormType) *pFormType = GetLE32(form);
    return LX_S_OK;
}

LXEXPORT(HRESULT) mriff_FindChunkHeader(tMRIFFSTREAM *s, DWORD id, DWORD *pSize, LONG *pRemaining) {
    if (!Valid(s)) return BadCursor(s);
    DWORD count = pRemaining ? (DWORD)*pRemaining : 0;
    for (;;) {
        /* Unsigned: a count driven negative keeps the walk going until the
           block runs out, unlike the file family. */
        if (pRemaining && count < 8) {
            *pRemaining = (LONG)count;
            return LX_E_NOTFOUND;
        }
        DWORD chunkId, chunkSize;
        HRESULT hr = mriff_ReadChunkHeader(s, &chunkId, &chunkSize);
        if (hr < 0) return hr;
        count -= 8;
        if (chunkId == id) {
            if (pSize) *pSize = chunkSize;
            if (pRemaining) *pRemaining = (LONG)count;
            return LX_S_OK;
        }
        count -= mriff_SkipChunk(s, chunkSize);
    }
}

LXEXPORT(HRESULT) mriff_FindChunkHeaderInRIFF(tMRIFFSTREAM *s, DWORD id, DWORD *pSize, LONG *pRemaining) {
    if (!Valid(s)) return BadCursor(s);
    if (pRemaining && (DWORD)*pRemaining < 12) return LX_E_NOTFOUND;
    HRESULT hr = mriff_ReadFileID(s, nullptr, nullptr);
    if (hr < 0) return hr;
    if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - 12);
    return mriff_FindChunkHeader(s, id, pSize, pRemaining);
}

LXEXPORT(HRESULT) mriff_FindListChunk(tMRIFFSTREAM *s, DWORD listType, DWORD *pSize, LONG *pRemaining) {
    if (!Valid(s)) return BadCursor(s);
    for (;;) {
        DWORD size;
        HRESULT hr = mriff_FindChunkHeader(s, LXRIFF_ID_LIST, &size, pRemaining);
        if (hr < 0) return hr;
        if (pRemaining && (DWORD)*pRemaining < 4) return LX_E_NOTFOUND;
        BYTE type[4];
        if (!ReadExact(s, type, 4)) return LX_E_READ;
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - 4);
        if (GetLE32(type) == listType) {
            if (pSize) *pSize = size - 4;
            return LX_S_OK;
        }
        /* Charged four bytes too many, as in the file family. */
        ULONGLONG rounded = Padded(size);
        MoveTo(s, (LONGLONG)Offset(s) + (LONGLONG)rounded - 4);
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - (DWORD)rounded);
    }
}

LXEXPORT(HRESULT) mriff_FindListChunkFromStart(tMRIFFSTREAM *s, DWORD listType, DWORD *pSize) {
    if (!Valid(s)) return BadCursor(s);
    MoveTo(s, 0);
    DWORD room;
    HRESULT hr = mriff_ReadFileID(s, &room, nullptr);
    if (hr < 0) return hr;
    LONG remaining = (LONG)room;
    return mriff_FindListChunk(s, listType, pSize, &remaining);
}

LXEXPORT(HRESULT) mriff_GetNumListEntries(tMRIFFSTREAM *s, DWORD *pCount, LONG *pRemaining) {
    if (!Valid(s)) return BadCursor(s);
    if (!pCount) return LX_E_POINTER;
    const DWORD saved = Offset(s);
    DWORD count = 0;
    HRESULT hr = LX_S_OK;
    while (!pRemaining || (DWORD)*pRemaining >= 8) {
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - 8);
        DWORD id, size;
        hr = mriff_ReadChunkHeader(s, &id, &size);
        if (hr < 0) break;
        DWORD amount = mriff_SkipChunk(s, size);
        if (pRemaining) *pRemaining = (LONG)((DWORD)*pRemaining - amount);
        ++count;
    }
    MoveTo(s, saved);
    *pCount = count;
    return hr;
}

LXEXPORT(HRESULT) mriff_GetInfoString(tMRIFFSTREAM *s, DWORD id, char *buffer, DWORD bufferSize, LONG *pRemaining) {
    if (!Valid(s)) return BadCursor(s);
    if (!buffer && bufferSize) return LX_E_POINTER;
    const DWORD saved = Offset(s);
    DWORD listSize, chunkSize;
    HRESULT hr = mriff_FindListChunk(s, LXRIFF_ID_INFO, &listSize, pRemaining);
    if (hr >= 0) {
        LONG inList = (LONG)listSize;
        hr = mriff_FindChunkHeader(s, id, &chunkSize, &inList);
    }
    if (hr >= 0) hr = mriff_ReadData(s, buffer, chunkSize < bufferSize ? chunkSize : bufferSize);
    MoveTo(s, saved);
    return hr;
}

LXEXPORT(HRESULT) mriff_WriteWaveHeader(tMRIFFSTREAM *s, const WAVEFORMATEX *format, DWORD dataSize, DWORD extraSize) {
    if (!Valid(s)) return BadCursor(s);
    if (!format) return LX_E_POINTER;
    BYTE fmt[18];
    DWORD fmtSize;
    if (format->wFormatTag == WAVE_FORMAT_PCM) {
        /* The derived fields are recomputed: callers hand in records with
           only channels, rate and bits filled. */
        const DWORD bytes = (DWORD)(format->wBitsPerSample >> 3);
        const WORD align = (WORD)(bytes * format->nChannels);
        const DWORD avg = bytes * format->nChannels * format->nSamplesPerSec;
        const WORD tag = WAVE_FORMAT_PCM;
        memcpy(fmt, &tag, 2);
        memcpy(fmt + 2, &format->nChannels, 2);
        memcpy(fmt + 4, &format->nSamplesPerSec, 4);
        memcpy(fmt + 8, &avg, 4);
        memcpy(fmt + 12, &align, 2);
        memcpy(fmt + 14, &format->wBitsPerSample, 2);
        fmtSize = 16;
    } else {
        /* Extra format bytes are never written here, whatever cbSize says. */
        memcpy(fmt, format, 18);
        fmtSize = 18;
    }
    DWORD riffSize = dataSize + fmtSize + extraSize + 20;
    riffSize += riffSize & 1;
    HRESULT hr = mriff_WriteFileID(s, LXRIFF_ID_WAVE, riffSize);
    if (hr >= 0) hr = mriff_WriteChunkHeader(s, LXRIFF_ID_FMT, fmtSize);
    if (hr >= 0) {
        DWORD done = 0;
        mriff_WriteFile(s, fmt, fmtSize, &done, nullptr);
        if (done != fmtSize) hr = LX_E_WRITE;
    }
    if (hr >= 0) hr = mriff_WriteChunkHeader(s, LXRIFF_ID_DATA, dataSize);
    return hr;
}

LXEXPORT(HRESULT) mriff_GetWfx(WAVEFORMATEX *format, const void *block, DWORD blockSize, DWORD *pDataSize) {
    if (!format || !block) return LX_E_POINTER;
    tMRIFFSTREAM s;
    HRESULT hr = mriff_Init(&s, const_cast<void *>(block), blockSize, blockSize);
    if (hr < 0) return hr;
    DWORD start = 0, room = 0, form = 0;
    mriff_SaveLocation(&s, &start);
    hr = mriff_ReadFileID(&s, &room, &form);
    if (hr < 0) return hr;
    if (form != LXRIFF_ID_WAVE) return LX_E_FAIL;

    DWORD fmtSize = 0, fmtAt = 0, dataSize = 0;
    mriff_RestoreLocation(&s, start);
    mriff_SeekDataStart(&s);
    LONG remaining = (LONG)room;
    hr = mriff_FindChunkHeader(&s, LXRIFF_ID_FMT, &fmtSize, &remaining);
    if (hr < 0) return hr;
    mriff_SaveLocation(&s, &fmtAt);

    mriff_RestoreLocation(&s, start);
    mriff_SeekDataStart(&s);
    remaining = (LONG)room;
    hr = mriff_FindChunkHeader(&s, LXRIFF_ID_DATA, &dataSize, &remaining);
    if (hr < 0) return hr;
    if (pDataSize) *pDataSize = dataSize;

    memset(format, 0, sizeof *format);
    mriff_RestoreLocation(&s, fmtAt);
    return ReadExact(&s, format, fmtSize < 18 ? fmtSize : 18) ? LX_S_OK : LX_E_READ;
}
