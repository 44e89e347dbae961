/*
 * AIFF on a file handle. Reads stay inside the chunk they belong to: a
 * "COMM", "SSND" head or marker that is shorter than what is read from it
 * fails instead of borrowing the next chunk's bytes. Rewrites keep the file
 * readable: same-size chunks are overwritten in place, others are removed
 * and appended at the end with the FORM size patched.
 */
#include "aiff.h"

#include "wave.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

using namespace lxio;

namespace {

const DWORD kCommBytes = 18;      /* channels, frames, bits, rate */
const DWORD kCommBytesAifc = 22;  /* and the compression type */
const DWORD kInstBytes = 20;
const DWORD kMarkerHead = 7;      /* id, position, name length */

/* Whether the file holds size bytes from the cursor: an overwrite must not
   lengthen a chunk that claims more than the file has. */
bool Fits(HANDLE h, DWORD size) {
    ULONGLONG left;
    return BytesLeft(h, &left) && size <= left;
}

void ExtendedFromBE(const BYTE *p, tAIFFEXTENDED *x) {
    x->exponent = GetBE16(p);
    for (int i = 0; i < 4; ++i) x->mantissa[i] = GetBE16(p + 2 + 2 * i);
}

void ExtendedToBE(const tAIFFEXTENDED *x, BYTE *p) {
    PutBE16(p, x->exponent);
    for (int i = 0; i < 4; ++i) PutBE16(p + 2 + 2 * i, x->mantissa[i]);
}

void ParseComm(const BYTE *p, tAIFFCOMM *c) {
    c->channels = (SHORT)GetBE16(p);
    c->frames = GetBE32(p + 2);
    c->bits = (SHORT)GetBE16(p + 6);
    ExtendedFromBE(p + 8, &c->rate);
}

bool AddToFormSize(HANDLE h, DWORD delta) {
    BYTE b[4];
    if (!SeekTo(h, 4) || !ReadExact(h, b, 4)) return false;
    PutBE32(b, GetBE32(b) + delta);
    return SeekTo(h, 4) && WriteExact(h, b, 4);
}

/* Finds id under the bound the FORM's size sets; cursor on the payload. */
HRESULT FindInForm(HANDLE h, DWORD formSize, DWORD id, DWORD *pSize) {
    LONG remaining = (LONG)(formSize - 4);
    return iff_FindChunkHeader(h, id, pSize, &remaining);
}

/* The first count bytes of a payload of size bytes; one shorter is a failed
   read, so that nothing is borrowed from the next chunk. */
HRESULT ReadHead(HANDLE h, DWORD size, BYTE *b, DWORD count) {
    return size >= count && ReadExact(h, b, count) ? LX_S_OK : LX_E_READ;
}

/* Finds id in a file that iff_IsAIFFFile takes; cursor on the payload. */
HRESULT FindInAiff(HANDLE h, DWORD id, DWORD *pSize) {
    if (!iff_IsAIFFFile(h, nullptr)) return LXIFF_E_NOTAIFF;
    return iff_FindChunkFromStart(h, id, pSize);
}

/* Puts payload in the file as the one chunk of id that readers find first;
   a null payload only removes. */
HRESULT ReplaceChunk(HANDLE h, DWORD id, const BYTE *payload, DWORD size) {
    DWORD oldSize = 0;
    HRESULT hr = FindInAiff(h, id, &oldSize);
    if (hr != LX_S_OK && hr != LX_E_NOTFOUND) return hr;
    if (hr == LX_S_OK && payload && oldSize == size && Fits(h, size))
        return WriteExact(h, payload, size) ? LX_S_OK : LX_E_WRITE;

    /* Each deletion takes at least 8 bytes, which bounds the loop. */
    ULONGLONG length;
    if (!Length(h, &length)) return LX_E_READ;
    for (ULONGLONG round = length / 8 + 1; hr == LX_S_OK; --round) {
        if (!round) return LX_E_WRITE;
        DWORD removed;
        hr = iff_DeleteChunk(h, id, &removed);
        if (hr < 0) return hr;
        hr = iff_FindChunkFromStart(h, id, nullptr);
    }
    if (hr != LX_E_NOTFOUND) return hr;
    if (!payload) return LX_S_OK;

    if (!Length(h, &length) || !Seek(h, 0, FILE_END)) return LX_E_READ;
    const BYTE zero = 0;
    DWORD added = 0;
    /* A last chunk that lost its pad byte gets it back first, so that the
       new chunk starts on an even offset. */
    if (length & 1) {
        if (!WriteExact(h, &zero, 1)) return LX_E_WRITE;
        added = 1;
    }
    tIFFCHUNKHDR hdr = {id, size};
    hr = iff_WriteChunk(h, &hdr);
    if (hr < 0) return hr;
    if (size && !WriteExact(h, payload, size)) return LX_E_WRITE;
    if ((size & 1) && !WriteExact(h, &zero, 1)) return LX_E_WRITE;
    added += 8 + size + (size & 1);
    return AddToFormSize(h, added) ? LX_S_OK : LX_E_WRITE;
}

}  // namespace

LXEXPORT(void) aiff_WriteByteSwap16(void *buffer, DWORD count) { iff_ByteSwap16(buffer, count); }

LXEXPORT(void) aiff_WriteByteSwap32(void *buffer, DWORD count) { iff_ByteSwap32(buffer, count); }

LXEXPORT(DWORD) aiff_ConvertRate(const tAIFFEXTENDED *pRate) {
    if (!pRate) return 0;
    if (pRate->exponent & 0x8000) return 44100;
    double v = 0.0;
    for (int i = 3; i >= 1; --i) v = (v + pRate->mantissa[i]) / 65536.0;
    v = (v + (pRate->mantissa[0] & 0x7FFF)) / 32768.0;
    if (pRate->mantissa[0] & 0x8000) v += 1.0;
    /* v is below 2 and stops doubling once past 96000, so the result stays
       below 192001 whatever the exponent: infinities and NaNs included. */
    const int steps = (int)pRate->exponent - 0x3FFF;
    for (int i = 0; i < steps && v <= 96000.0; ++i) v *= 2.0;
    return (DWORD)v;
}

LXEXPORT(HRESULT) aiff_CreateRate(double rate, tAIFFEXTENDED *pRate) {
    if (!pRate) return LX_E_POINTER;
    memset(pRate, 0, sizeof *pRate);
    if (isnan(rate)) {
        pRate->exponent = 0x7FFF;
        pRate->mantissa[0] = 0xC000;
        return LX_E_INVALIDARG;
    }
    const WORD sign = rate < 0.0 ? 0x8000 : 0;
    double m = fabs(rate);
    if (isinf(m)) {
        pRate->exponent = (WORD)(sign | 0x7FFF);
        pRate->mantissa[0] = 0x8000;
        return LX_E_INVALIDARG;
    }
    /* Halving is exact and ends within 1024 steps for any finite double. */
    int count = 0;
    while (m >= 2.0) {
        m *= 0.5;
        ++count;
    }
    pRate->exponent = (WORD)(sign | (16383 + count));
    WORD top = 0;
    if (m >= 1.0) {
        m -= 1.0;
        top = 0x8000;
    }
    /* Each product lies in [0, 32768) or [0, 65536): the casts are safe. */
    m *= 32768.0;
    WORD w = (WORD)m;
    pRate->mantissa[0] = (WORD)(top | w);
    m -= w;
    for (int i = 1; i < 4; ++i) {
        m *= 65536.0;
        w = (WORD)m;
        pRate->mantissa[i] = w;
        m -= w;
    }
    return sign ? LX_E_INVALIDARG : LX_S_OK;
}

LXEXPORT(HRESULT) iff_FindMarker(HANDLE hFile, tIFFMARKER *pMarker, WORD id) {
    if (!pMarker) return LX_E_POINTER;
    DWORD size;
    HRESULT hr = iff_FindChunkFromStart(hFile, LXIFF_ID_MARK, &size);
    if (hr < 0) return hr;
    BYTE b[kMarkerHead];
    if (size < 2 || !ReadExact(hFile, b, 2)) return LXIFF_E_NOTFORM;
    const WORD count = GetBE16(b);
    if (count == 0) return LX_E_NOTFOUND;
    LONGLONG left = (LONGLONG)size - 2;
    for (WORD i = 0; i < count; ++i) {
        if (left < (LONGLONG)kMarkerHead || !ReadExact(hFile, b, kMarkerHead)) return LXIFF_E_NOTFORM;
        left -= kMarkerHead;
        const BYTE nameLength = b[6];
        if (GetBE16(b) == id) {
            pMarker->id = id;
            pMarker->position = GetBE32(b + 2);
            pMarker->nameLength = nameLength;
            return LX_S_OK;
        }
        /* Head and name together make an even size. */
        const DWORD skip = nameLength + ((kMarkerHead + nameLength) & 1);
        if (!Seek(hFile, skip, FILE_CURRENT)) return LXIFF_E_NOTFORM;
        left -= skip;
    }
    return LX_E_NOTFOUND;
}

LXEXPORT(BOOL) iff_IsAIFFFile(HANDLE hFile, DWORD *pSize) { return iff_IsAIFFFileEx(hFile, pSize, nullptr); }

LXEXPORT(BOOL) iff_IsAIFFFileEx(HANDLE hFile, DWORD *pSize, BOOL *pCompressed) {
    if (pSize) *pSize = 0;
    if (pCompressed) *pCompressed = FALSE;
    if (!SeekTo(hFile, 0)) return FALSE;
    tIFFCHUNKHDR hdr;
    DWORD form;
    if (iff_ReadFormType(hFile, &hdr, &form) < 0) return FALSE;
    if (pSize) *pSize = hdr.size;
    if (form == LXIFF_ID_AIFF) return TRUE;
    if (form != LXIFF_ID_AIFC) return FALSE;

    if (pCompressed) *pCompressed = TRUE;
    ULONGLONG at;
    if (!Tell(hFile, &at)) return FALSE;
    DWORD size;
    BYTE comm[kCommBytesAifc];
    const bool plain = FindInForm(hFile, hdr.size, LXIFF_ID_COMM, &size) == LX_S_OK &&
                       ReadHead(hFile, size, comm, kCommBytesAifc) == LX_S_OK &&
                       GetBE32(comm + kCommBytes) == LXIFF_ID_NONE;
    SeekTo(hFile, at);
    return plain ? TRUE : FALSE;
}

LXEXPORT(HRESULT) iff_GetAIFFWfx(HANDLE hFile, tWAVEFORMATEX *pwfx, DWORD *pFrames, DWORD *pDataOffset) {
    if (!pwfx) return LX_E_POINTER;
    DWORD formSize;
    BOOL aifc;
    if (!iff_IsAIFFFileEx(hFile, &formSize, &aifc)) return LXIFF_E_NOTAIFF;
    ULONGLONG body;
    if (!Tell(hFile, &body)) return LX_E_READ;

    DWORD size;
    BYTE b[kCommBytesAifc];
    HRESULT hr = FindInForm(hFile, formSize, LXIFF_ID_COMM, &size);
    if (hr >= 0) hr = ReadHead(hFile, size, b, aifc ? kCommBytesAifc : kCommBytes);
    if (hr < 0) return hr;
    tAIFFCOMM comm;
    ParseComm(b, &comm);

    const WORD channels = (WORD)comm.channels, bits = (WORD)comm.bits;
    const DWORD rate = aiff_ConvertRate(&comm.rate);
    WORD align = (WORD)((DWORD)(bits >> 3) * channels);
    if (align == 0) align = 1;
    pwfx->wFormatTag = bits == 8 ? LXWAVE_FORMAT_SIGNED : LXWAVE_FORMAT_BIGENDIAN;
    pwfx->nChannels = channels;
    pwfx->nSamplesPerSec = rate;
    pwfx->nAvgBytesPerSec = (DWORD)align * rate;
    pwfx->nBlockAlign = align;
    pwfx->wBitsPerSample = bits;
    pwfx->cbSize = 0;

    if (!SeekTo(hFile, body)) return LX_E_READ;
    hr = FindInForm(hFile, formSize, LXIFF_ID_SSND, &size);
    if (hr >= 0) hr = ReadHead(hFile, size, b, 8);
    if (hr < 0) return hr;
    const DWORD offset = GetBE32(b);
    ULONGLONG head;
    if (!Tell(hFile, &head)) return LX_E_READ;

    /* An offset past the chunk leaves no sound data rather than a wrapped
       count. */
    const LONGLONG dataBytes = (LONGLONG)size - 8 - (LONGLONG)offset;
    const ULONGLONG fromData = dataBytes > 0 ? (ULONGLONG)dataBytes / align : 0;
    if (pFrames) *pFrames = fromData < comm.frames ? (DWORD)fromData : comm.frames;
    const ULONGLONG at = head + offset;
    if (pDataOffset) *pDataOffset = at > 0xFFFFFFFFull ? 0xFFFFFFFFu : (DWORD)at;
    return LX_S_OK;
}

LXEXPORT(HRESULT) iff_DeleteChunk(HANDLE hFile, DWORD id, DWORD *pRemoved) {
    if (pRemoved) *pRemoved = 0;
    ULONGLONG length;
    if (!Length(hFile, &length)) return LX_E_READ;
    DWORD formSize;
    if (!iff_IsAIFFFile(hFile, &formSize)) return LXIFF_E_NOTAIFF;
    DWORD size;
    HRESULT hr = FindInForm(hFile, formSize, id, &size);
    if (hr < 0) return hr;

    ULONGLONG payload;
    if (!Tell(hFile, &payload)) return LX_E_READ;
    const ULONGLONG total = Padded(size) + 8;
    const ULONGLONG dest = payload - 8, source = dest + total;
    /* A chunk that claims more than the file holds cannot be cut out by its
       size: nothing is changed. */
    if (source > length) return LX_E_READ;
    hr = CutOut(hFile, dest, source, length);
    if (hr < 0) return hr;
    if (!AddToFormSize(hFile, 0u - (DWORD)total)) return LX_E_WRITE;
    Seek(hFile, 0, FILE_END);
    if (pRemoved) *pRemoved = (DWORD)total;
    return LX_S_OK;
}

HRESULT Aiff_GetFileWfx(HANDLE file, tWAVEFORMATEX **ppwfx, ULONGLONG *pFrames, ULONGLONG *pDataOffset) {
    if (!ppwfx) return LX_E_POINTER;
    *ppwfx = nullptr;
    KeepCursor keep(file);
    if (!keep.ok()) return LX_E_READ;
    tWAVEFORMATEX *wfx = (tWAVEFORMATEX *)calloc(1, sizeof(tWAVEFORMATEX));
    if (!wfx) return LX_E_OUTOFMEMORY;
    DWORD frames = 0, offset = 0;
    HRESULT hr = iff_GetAIFFWfx(file, wfx, &frames, &offset);
    /* The block align is never 0 here, so this is the wave reader's check
       exactly. */
    if (hr >= 0 && !LxWave_IsAudioFormat(wfx)) hr = LXIFF_E_NOTAIFF;
    if (hr < 0) {
        free(wfx);
        return hr;
    }
    LxAudio_FixBadWfx(wfx);
    if (pFrames) *pFrames = frames;
    if (pDataOffset) *pDataOffset = offset;
    *ppwfx = wfx;
    return LX_S_OK;
}

HRESULT Aiff_SetFileWfx(HANDLE file, const tWAVEFORMATEX *wfx) {
    if (!wfx) return LX_E_POINTER;
    KeepCursor keep(file);
    if (!keep.ok()) return LX_E_READ;
    tWAVEFORMATEX current;
    DWORD frames = 0;
    HRESULT hr = iff_GetAIFFWfx(file, &current, &frames, nullptr);
    if (hr >= 0 && wfx->wFormatTag != LXWAVE_FORMAT_PCM) hr = LXAIFF_E_NOTPCM;
    if (hr >= 0) {
        tAIFFCOMM comm;
        comm.channels = (SHORT)wfx->nChannels;
        comm.frames = frames;
        comm.bits = (SHORT)wfx->wBitsPerSample;
        aiff_CreateRate(wfx->nSamplesPerSec, &comm.rate);
        hr = Aiff_WriteComm(file, &comm);
    }
    return hr;
}

HRESULT Aiff_ReadComm(HANDLE file, tAIFFCOMM *comm) {
    if (!comm) return LX_E_POINTER;
    DWORD size;
    HRESULT hr = FindInAiff(file, LXIFF_ID_COMM, &size);
    if (hr < 0) return hr;
    BYTE b[kCommBytes];
    hr = ReadHead(file, size, b, kCommBytes);
    if (hr >= 0) ParseComm(b, comm);
    return hr;
}

HRESULT Aiff_WriteComm(HANDLE file, const tAIFFCOMM *comm) {
    if (!comm) return LX_E_POINTER;
    DWORD size;
    HRESULT hr = FindInAiff(file, LXIFF_ID_COMM, &size);
    if (hr < 0) return hr;
    if (size < kCommBytes || !Fits(file, kCommBytes)) return LX_E_WRITE;
    BYTE b[kCommBytes];
    PutBE16(b, (WORD)comm->channels);
    PutBE32(b + 2, comm->frames);
    PutBE16(b + 6, (WORD)comm->bits);
    ExtendedToBE(&comm->rate, b + 8);
    return WriteExact(file, b, kCommBytes) ? LX_S_OK : LX_E_WRITE;
}

HRESULT Aiff_ReadInst(HANDLE file, tAIFFINST *inst) {
    if (!inst) return LX_E_POINTER;
    DWORD size;
    HRESULT hr = FindInAiff(file, LXIFF_ID_INST, &size);
    if (hr < 0) return hr;
    BYTE b[kInstBytes];
    hr = ReadHead(file, size, b, kInstBytes);
    if (hr < 0) return hr;
    inst->baseNote = (CHAR)b[0];
    inst->detune = (CHAR)b[1];
    inst->lowNote = (CHAR)b[2];
    inst->highNote = (CHAR)b[3];
    inst->lowVelocity = (CHAR)b[4];
    inst->highVelocity = (CHAR)b[5];
    inst->gain = (SHORT)GetBE16(b + 6);
    tAIFFLOOP *loops[2] = {&inst->sustainLoop, &inst->releaseLoop};
    for (int i = 0; i < 2; ++i) {
        const BYTE *p = b + 8 + 6 * i;
        loops[i]->playMode = (SHORT)GetBE16(p);
        loops[i]->beginMarker = GetBE16(p + 2);
        loops[i]->endMarker = GetBE16(p + 4);
    }
    return LX_S_OK;
}

HRESULT Aiff_WriteInst(HANDLE file, const tAIFFINST *inst) {
    if (!inst) return ReplaceChunk(file, LXIFF_ID_INST, nullptr, 0);
    BYTE b[kInstBytes];
    b[0] = (BYTE)inst->baseNote;
    b[1] = (BYTE)inst->detune;
    b[2] = (BYTE)inst->lowNote;
    b[3] = (BYTE)inst->highNote;
    b[4] = (BYTE)inst->lowVelocity;
    b[5] = (BYTE)inst->highVelocity;
    PutBE16(b + 6, (WORD)inst->gain);
    const tAIFFLOOP *loops[2] = {&inst->sustainLoop, &inst->releaseLoop};
    for (int i = 0; i < 2; ++i) {
        BYTE *p = b + 8 + 6 * i;
        PutBE16(p, (WORD)loops[i]->playMode);
        PutBE16(p + 2, loops[i]->beginMarker);
        PutBE16(p + 4, loops[i]->endMarker);
    }
    return ReplaceChunk(file, LXIFF_ID_INST, b, kInstBytes);
}

HRESULT Aiff_WriteMarkers(HANDLE file, const tAIFFMARK *marks, UINT count) {
    if (count == 0) return ReplaceChunk(file, LXIFF_ID_MARK, nullptr, 0);
    if (!marks) return LX_E_POINTER;
    if (count > 0xFFFF) return LX_E_INVALIDARG;
    DWORD size = 2;
    for (UINT i = 0; i < count; ++i) {
        const size_t n = marks[i].name ? strnlen(marks[i].name, 255) : 0;
        size += kMarkerHead + (DWORD)n + ((kMarkerHead + (DWORD)n) & 1);
    }
    BYTE *payload = (BYTE *)calloc(1, size);
    if (!payload) return LX_E_OUTOFMEMORY;
    BYTE *p = payload;
    PutBE16(p, (WORD)count);
    p += 2;
    for (UINT i = 0; i < count; ++i) {
        const size_t n = marks[i].name ? strnlen(marks[i].name, 255) : 0;
        PutBE16(p, marks[i].id);
        PutBE32(p + 2, marks[i].position);
        p[6] = (BYTE)n;
        if (n) memcpy(p + kMarkerHead, marks[i].name, n);
        p += kMarkerHead + n + ((kMarkerHead + n) & 1);
    }
    const HRESULT hr = ReplaceChunk(file, LXIFF_ID_MARK, payload, size);
    free(payload);
    return hr;
}
