/*
 * RIFF chunks appended to a growable memory stream. The block doubles up to
 * 16 KB and then grows 16 KB at a time, so that undo records of a few
 * hundred bytes cost one or two allocations and long ones stay linear.
 */
#include "memstream.h"

#include "fileio_internal.h"

#include <string.h>

static_assert(sizeof(tLXMEMSTREAM) == 16, "four 32-bit words");

namespace {

const DWORD kSmallGrowth = 64;
const DWORD kMaxGrowth = 16384;

bool Consistent(const tLXMEMSTREAM *s) {
    return s->used <= s->capacity && s->position <= s->capacity && (s->data || s->capacity == 0);
}

/* Grows the block once if n bytes at position would pass capacity;
   minGrowth raises the step for a large payload. */
HRESULT Reserve(tLXMEMSTREAM *s, DWORD n, DWORD minGrowth) {
    if ((ULONGLONG)s->position + n <= s->capacity) return LX_S_OK;
    DWORD growth = s->capacity < kSmallGrowth ? kSmallGrowth
                 : s->capacity < kMaxGrowth   ? s->capacity
                                              : kMaxGrowth;
    if (minGrowth > growth) growth = minGrowth;
    ULONGLONG bigger = (ULONGLONG)s->capacity + growth;
    if (bigger > 0x7FFFFFFF) return LX_E_OUTOFMEMORY;
    BYTE *p = (BYTE *)lxio::AllocBlock((SIZE_T)bigger);
    if (!p) return LX_E_OUTOFMEMORY;
    if (s->used) memcpy(p, s->data, s->used);
    lxio::FreeBlock(s->data);
    s->data = p;
    s->capacity = (DWORD)bigger;
    return LX_S_OK;
}

/* Copies what fits at position; after Reserve that is all of n. */
void Put(tLXMEMSTREAM *s, const void *bytes, DWORD n) {
    DWORD room = s->capacity - s->position;
    DWORD k = n < room ? n : room;
    if (k) memcpy(s->data + s->position, bytes, k);
    s->position += k;
    if (s->position > s->used) s->used = s->position;
}

HRESULT Append(tLXMEMSTREAM *s, const void *bytes, DWORD n, DWORD minGrowth) {
    HRESULT hr = Reserve(s, n, minGrowth);
    if (hr < 0) return hr;
    Put(s, bytes, n);
    return LX_S_OK;
}

HRESULT AppendWords(tLXMEMSTREAM *s, const DWORD *words, DWORD count) {
    BYTE bytes[12];
    memcpy(bytes, words, count * 4);
    return Append(s, bytes, count * 4, 0);
}

}  // namespace

void MemStream_Free(tLXMEMSTREAM *stream) {
    if (!stream) return;
    lxio::FreeBlock(stream->data);
    stream->data = nullptr;
    stream->capacity = stream->used = stream->position = 0;
}

HRESULT LXAPI ms_WriteChunkHeader(tLXMEMSTREAM *stream, DWORD id, DWORD size) {
    if (!stream) return LX_E_POINTER;
    if (!Consistent(stream)) return LX_E_INVALIDARG;
    const DWORD words[2] = {id, size};
    return AppendWords(stream, words, 2);
}

HRESULT LXAPI ms_WriteChunk(tLXMEMSTREAM *stream, DWORD id, const void *data, DWORD size) {
    if (!stream || (!data && size)) return LX_E_POINTER;
    if (!Consistent(stream)) return LX_E_INVALIDARG;
    HRESULT hr = ms_WriteChunkHeader(stream, id, size);
    if (hr >= 0) hr = Append(stream, data, size, size);
    if (hr >= 0 && (size & 1)) {
        const BYTE pad = 0;
        hr = Append(stream, &pad, 1, 0);
    }
    return hr;
}

HRESULT LXAPI ms_WriteListHeader(tLXMEMSTREAM *stream, DWORD listType, DWORD size) {
    if (!stream) return LX_E_POINTER;
    if (!Consistent(stream)) return LX_E_INVALIDARG;
    const DWORD words[3] = {LXRIFF_ID_LIST, size, listType};
    return AppendWords(stream, words, 3);
}

HRESULT LXAPI ms_WriteFileID(tLXMEMSTREAM *stream, DWORD formType, DWORD) {
    if (!stream) return LX_E_POINTER;
    if (!Consistent(stream)) return LX_E_INVALIDARG;
    /* Never the caller's size: the one user patches it in data. */
    const DWORD words[3] = {LXRIFF_ID_RIFF, 4, formType};
    return AppendWords(stream, words, 3);
}
