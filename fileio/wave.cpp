/*
 * WAVE and Wave64 files. Sizes read from a file are trusted only as far as
 * the file reaches: a chunk is allocated only when its bytes are there, a
 * format block is never shorter than the fields that are looked at, and a
 * format with no bytes per frame is not audio, so no division meets zero.
 */
#include "wave.h"

#include "aiff.h"
#include "fileio_internal.h"
#include "riff64.h"

#include <stdlib.h>
#include <string.h>

using namespace lxio;

namespace {

const DWORD kFormatBytes = 18; /* the record as files carry it */
const DWORD kJunkId = LXRIFF_FOURCC('J', 'U', 'N', 'K');
const DWORD kScanBlock = 4096;
const DWORD kW64ChunkLimit = 4096;

/* ---- Handles ------------------------------------------------------------ */

HANDLE OpenRead(LPCSTR path) {
    return CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE OpenWrite(LPCSTR path, DWORD disposition) {
    return CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

/* By a seek to the end, which is where it leaves the cursor. */
bool SeekEnd(HANDLE h, ULONGLONG *pLength) { return Seek(h, 0, FILE_END, pLength); }

/* ---- Formats ------------------------------------------------------------ */

/* The caller's 18 bytes in a whole record, tail cleared. */
tWAVEFORMATEX Copy18(const tWAVEFORMATEX *format) {
    tWAVEFORMATEX copy;
    memset(&copy, 0, sizeof copy);
    memcpy(&copy, format, kFormatBytes);
    return copy;
}

/* The test every writer makes: no extra bytes, nothing to mend. */
HRESULT CheckWritable(const tWAVEFORMATEX *format, tWAVEFORMATEX *pCopy) {
    if (!format) return LX_E_POINTER;
    *pCopy = Copy18(format);
    if (pCopy->cbSize != 0) return LXWAVE_E_FORMAT;
    tWAVEFORMATEX probe = *pCopy;
    if (LxAudio_FixBadWfx(&probe)) return LXWAVE_E_FORMAT;
    return LX_S_OK;
}

/* A block for a format chunk of size bytes, never shorter than the record
   the checks read; null when the bytes cannot be in the file. */
tWAVEFORMATEX *AllocFormat(HANDLE h, ULONGLONG size) {
    ULONGLONG left;
    if (!BytesLeft(h, &left)) left = 0;
    if (size > left) return nullptr;
    return (tWAVEFORMATEX *)calloc(1, (size_t)(size > kFormatBytes ? size : kFormatBytes));
}

/* ---- Walking either layout ---------------------------------------------- */

/* Either layout walked with its layer's own calls, sizes and the bound
   widened to 64 bits; a WAVE bound still wraps as 32 bits. */
struct Walk {
    HANDLE h;
    bool w64;
    LONGLONG remaining;
};

/* From the start of the file: true for a WAVE form, the bound then set to
   the room behind its form type. */
bool OpenForm(Walk *walk) {
    if (!SeekTo(walk->h, 0)) return false;
    if (walk->w64) {
        ULONGLONG room = 0;
        GUID form = {};
        if (riff64_ReadFileID(walk->h, &room, &form) < 0 || !LxW64_IsEqualId(&form, &LXW64_ID_WAVE)) return false;
        walk->remaining = (LONGLONG)room;
    } else {
        DWORD room = 0, form = 0;
        if (riff_ReadFileID(walk->h, &room, &form) < 0 || form != LXRIFF_ID_WAVE) return false;
        walk->remaining = (LONG)room;
    }
    return true;
}

/* "fmt " or "data" under the bound; the cursor is left on its payload. */
bool Find(Walk *walk, bool data, ULONGLONG *pSize) {
    if (walk->w64)
        return riff64_FindChunkHeader(walk->h, data ? LXW64_ID_DATA : LXW64_ID_FMT, pSize, &walk->remaining) >= 0;
    LONG remaining = (LONG)walk->remaining;
    DWORD size = 0;
    const HRESULT hr = riff_FindChunkHeader(walk->h, data ? LXRIFF_ID_DATA : LXRIFF_ID_FMT, &size, &remaining);
    walk->remaining = remaining;
    *pSize = size;
    return hr >= 0;
}

/* Reads a payload and charges it, pad included, to the bound. */
bool ReadPayload(Walk *walk, void *buffer, ULONGLONG size) {
    if (walk->w64) {
        walk->remaining = (LONGLONG)((ULONGLONG)walk->remaining - Round8(size));
        return riff64_ReadData(walk->h, buffer, size) == LX_S_OK;
    }
    walk->remaining = (LONG)((DWORD)walk->remaining - (DWORD)Padded((DWORD)size));
    return riff_ReadData(walk->h, buffer, (DWORD)size) == LX_S_OK;
}

/* ---- Reading the format ------------------------------------------------- */

/* ---- Reading the format ------------------------------------------------- */

struct Found {
    ULONGLONG frames;
    ULONGLONG offset;
};

tWAVEFORMATEX *TryWave(HANDLE h, bool w64, Found *out) {
    KeepCursor keep(h);
    Walk walk = {h, w64, 0};
    ULONGLONG size = 0, dataSize = 0;
    if (!OpenForm(&walk) || !Find(&walk, false, &size)) return nullptr;
    if (w64 && size > kW64ChunkLimit) return nullptr;
    tWAVEFORMATEX *w = AllocFormat(h, size);
    if (!w) return nullptr;
    /* The walk to "data" goes on from the end of "fmt " under the same
       bound, charged with the chunk just read. */
    if (!ReadPayload(&walk, w, size) || !LxWave_IsAudioFormat(w) || !Find(&walk, true, &dataSize) ||
        !Tell(h, &out->offset)) {
        free(w);
        return nullptr;
    }
    LxAudio_FixBadWfx(w);
    out->frames = dataSize / w->nBlockAlign;
    return w;
}

tWAVEFORMATEX *ReadFormat(HANDLE h, Found *out) {
    tWAVEFORMATEX *w = TryWave(h, false, out);
    if (!w) w = TryWave(h, true, out);
    /* The AIFF reader makes the same audio check and mends alike; on a
       failure it leaves w null. */
    if (!w) Aiff_GetFileWfx(h, &w, &out->frames, &out->offset);
    return w;
}

/* ---- Recognition -------------------------------------------------------- */

int IsWave(HANDLE h, bool w64, BOOL anyFormat) {
    Walk walk = {h, w64, 0};
    ULONGLONG size = 0;
    if (!OpenForm(&walk) || !Find(&walk, false, &size)) return 0;
    /* Wave64 reads at least the record's 18 bytes, from the chunk and beyond. */
    if (w64 && size < kFormatBytes) size = kFormatBytes;
    tWAVEFORMATEX *w = AllocFormat(h, size);
    if (!w) return 0;
    const int answer = ReadPayload(&walk, w, size) && (anyFormat || LxWave_IsAudioFormat(w)) ? 1 : 0;
    free(w);
    return answer;
}

int FileIsWave(LPCSTR path, bool w64, BOOL anyFormat) {
    HANDLE h = OpenRead(path);
    if (h == INVALID_HANDLE_VALUE) return 0;
    const int answer = IsWave(h, w64, anyFormat);
    CloseHandle(h);
    return answer;
}

/* ---- Repair ------------------------------------------------------------- */

struct Layout {
    ULONGLONG candidateAt; /* where the format record should stand */
    ULONGLONG walkFrom;    /* the first chunk behind it */
    const BYTE *marker;    /* the data id as stored */
    DWORD markerLength;
    DWORD headerLength;    /* from the id to the first sample */
};

const BYTE kWaveData[4] = {'d', 'a', 't', 'a'};

/* The candidate mended field by field towards the fallback. */
tWAVEFORMATEX MendFormat(const tWAVEFORMATEX &candidate, const tWAVEFORMATEX &fallback) {
    tWAVEFORMATEX f = candidate;
    if (f.nSamplesPerSec < 2000 || f.nSamplesPerSec > 192000) f.nSamplesPerSec = fallback.nSamplesPerSec;
    if (f.nChannels != 1 && f.nChannels != 2) f.nChannels = fallback.nChannels;
    if (f.wFormatTag != LXWAVE_FORMAT_PCM && f.wFormatTag != LXWAVE_FORMAT_IEEE_FLOAT)
        f.wFormatTag = fallback.wFormatTag;
    if (f.wFormatTag == LXWAVE_FORMAT_IEEE_FLOAT) {
        if (f.wBitsPerSample != 32 && f.wBitsPerSample != 64) f.wBitsPerSample = fallback.wBitsPerSample > 32 ? 64 : 32;
    } else if (f.wBitsPerSample != 8 && f.wBitsPerSample != 16 && f.wBitsPerSample != 24 &&
               f.wBitsPerSample != 32) {
        f.wBitsPerSample = fallback.wBitsPerSample < 32 ? fallback.wBitsPerSample : 32;
    }
    f.cbSize = 0;
    f.nBlockAlign = (WORD)((DWORD)(f.wBitsPerSample >> 3) * f.nChannels);
    f.nAvgBytesPerSec = (DWORD)f.nBlockAlign * f.nSamplesPerSec;
    return f;
}

/* Byte-wise search for the data id from walkFrom, block by block with an
   overlap, testing only what each read delivered. A marker whose audio
   would start beyond limit does not count. */
HRESULT ScanForData(HANDLE h, const Layout &lay, ULONGLONG limit, ULONGLONG *pStart) {
    BYTE block[kScanBlock];
    ULONGLONG pos = lay.walkFrom;
    for (;;) {
        DWORD got = 0;
        if (!SeekTo(h, pos) || !ReadFile(h, block, kScanBlock, &got, nullptr)) return LX_E_READ;
        for (DWORD at = 0; at + lay.markerLength <= got; ++at) {
            if (memcmp(block + at, lay.marker, lay.markerLength) != 0) continue;
            const ULONGLONG start = pos + at + lay.headerLength;
            if (start > limit) break;
            *pStart = start;
            return LX_S_OK;
        }
        if (pos + got >= limit) {
            *pStart = limit;
            return LX_S_OK;
        }
        if (got < kScanBlock) return LX_E_NOTFOUND;
        pos += got - lay.markerLength;
    }
}

HRESULT FixTrashed(HANDLE h, const tWAVEFORMATEX *fallbackArg, ULONGLONG limit, bool w64) {
    static const Layout kWave = {20, 38, kWaveData, 4, 8};
    static const Layout kW64 = {64, 88, (const BYTE *)&LXW64_ID_DATA, 16, 24};
    const Layout &lay = w64 ? kW64 : kWave;

    tWAVEFORMATEX fallback;
    memset(&fallback, 0, sizeof fallback);
    if (fallbackArg) {
        fallback = Copy18(fallbackArg);
    } else {
        fallback.wFormatTag = LXWAVE_FORMAT_PCM;
        fallback.nChannels = 2;
        fallback.nSamplesPerSec = 44100;
        fallback.wBitsPerSample = 16;
    }

    ULONGLONG length;
    if (!SeekEnd(h, &length)) return LX_E_READ;
    if (w64) limit &= ~7ULL;
    if (limit > length) limit = length;

    tWAVEFORMATEX candidate;
    memset(&candidate, 0, sizeof candidate);
    if (!SeekTo(h, lay.candidateAt) || !ReadExact(h, &candidate, kFormatBytes)) return LX_E_READ;
    const tWAVEFORMATEX format = MendFormat(candidate, fallback);
    /* Only a fallback without channels or bytes gets here. */
    if (format.nBlockAlign == 0) return LXWAVE_E_FORMAT;

    ULONGLONG start = 0, stored;
    if (!SeekTo(h, lay.walkFrom)) return LX_E_READ;
    Walk walk = {h, w64, w64 ? (LONGLONG)limit : (LONG)(DWORD)limit};
    if (Find(&walk, true, &stored)) {
        if (!Tell(h, &start)) return LX_E_READ;
    } else {
        const HRESULT hr = ScanForData(h, lay, limit, &start);
        if (hr < 0) return hr;
    }

    /* The stored size is never believed: the file's end is. */
    const ULONGLONG bytes = length - start;
    const ULONGLONG dataSize = bytes - bytes % format.nBlockAlign;
    if (w64) return LxInsertW64Header(h, &format, dataSize, start);
    return LxInsertWavHeader(h, &format, (DWORD)dataSize, (DWORD)start);
}

/* ---- Writing ------------------------------------------------------------ */

DWORD MapDisposition(DWORD disposition) {
    if (disposition == OPEN_EXISTING) return TRUNCATE_EXISTING;
    if (disposition == OPEN_ALWAYS) return CREATE_ALWAYS;
    return disposition;
}

HRESULT WriteWaveFmt(HANDLE h, const tWAVEFORMATEX &format) {
    return riff_WriteChunk(h, LXRIFF_ID_FMT, &format, kFormatBytes, nullptr);
}

/* A WAVE header of H bytes at the cursor: the least one, or from 54 bytes
   on one with a "JUNK" chunk that fills the room up to the audio. */
HRESULT WriteWaveHeader(HANDLE h, const tWAVEFORMATEX &format, DWORD dataSize, DWORD H) {
    HRESULT hr = riff_WriteFileID(h, LXRIFF_ID_WAVE, dataSize + H - 8);
    if (hr >= 0) hr = WriteWaveFmt(h, format);
    if (hr >= 0 && H > LXWAVE_HEADER) {
        hr = riff_WriteChunkHeader(h, kJunkId, H - LXWAVE_JUNK_HEADER);
        if (hr >= 0) hr = WriteZeros(h, H - LXWAVE_JUNK_HEADER);
    }
    if (hr >= 0) hr = riff_WriteChunkHeader(h, LXRIFF_ID_DATA, dataSize);
    return hr;
}

HRESULT WriteW64Fmt(HANDLE h, const tWAVEFORMATEX &format) {
    return riff64_WriteChunk(h, LXW64_ID_FMT, &format, kFormatBytes, nullptr);
}

}  // namespace

BOOL LxWave_IsAudioFormat(const tWAVEFORMATEX *format) {
    if (!format || !SampleType_IsOwnTag(format->wFormatTag)) return FALSE;
    const DWORD align = (DWORD)(format->wBitsPerSample >> 3) * format->nChannels;
    return format->nBlockAlign != 0 && format->nBlockAlign == align;
}

LXEXPORT(int) LxFileIsWave(LPCSTR path, BOOL anyFormat) { return FileIsWave(path, false, anyFormat); }

LXEXPORT(int) LxFileIsWave64(LPCSTR path, BOOL anyFormat) { return FileIsWave(path, true, anyFormat); }

LXEXPORT(tWAVEFORMATEX *) LxGetFileWfx(LPCSTR path, ULONGLONG *pFrames, ULONGLONG *pDataOffset) {
    HANDLE h = OpenRead(path);
    if (h == INVALID_HANDLE_VALUE) return nullptr;
    Found found = {0, 0};
    tWAVEFORMATEX *w = ReadFormat(h, &found);
    CloseHandle(h);
    if (w) {
        if (pFrames) *pFrames = found.frames;
        if (pDataOffset) *pDataOffset = found.offset;
    }
    return w;
}

LXEXPORT(HRESULT) LxSetFileWfx(LPCSTR path, const tWAVEFORMATEX *format) {
    if (!format) return LX_E_POINTER;
    tWAVEFORMATEX copy = Copy18(format);
    if (LxAudio_FixBadWfx(&copy)) return LXWAVE_E_FORMAT;
    HANDLE h = OpenWrite(path, OPEN_EXISTING);
    if (h == INVALID_HANDLE_VALUE) return LXWAVE_E_OPEN;

    Found found;
    tWAVEFORMATEX *current = TryWave(h, false, &found);
    if (current) {
        free(current);
        /* The read put the cursor back at 0, and the chunk goes there: no
           caller of the Kernel's uses this on WAVE. */
        const HRESULT hr = WriteWaveFmt(h, copy);
        CloseHandle(h);
        return hr;
    }

    /* Otherwise AIFF. On its failures the handle stays open, as it always
       has: callers of old count on nothing else. */
    const HRESULT hr = Aiff_SetFileWfx(h, &copy);
    if (hr < 0) return hr;
    CloseHandle(h);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxInitializeWav(LPCSTR path, const tWAVEFORMATEX *format, DWORD disposition) {
    tWAVEFORMATEX copy;
    HRESULT hr = CheckWritable(format, &copy);
    if (hr < 0) return hr;
    HANDLE h = OpenWrite(path, MapDisposition(disposition));
    if (h == INVALID_HANDLE_VALUE) return LXWAVE_E_OPEN;
    hr = WriteWaveHeader(h, copy, 0, LXWAVE_HEADER);
    CloseHandle(h);
    return hr;
}

LXEXPORT(HRESULT) LxInitializeWav64(LPCSTR path, const tWAVEFORMATEX *format, DWORD disposition) {
    tWAVEFORMATEX copy;
    HRESULT hr = CheckWritable(format, &copy);
    if (hr < 0) return hr;
    HANDLE h = OpenWrite(path, MapDisposition(disposition));
    if (h == INVALID_HANDLE_VALUE) return LXWAVE_E_OPEN;
    /* The field reads 130, not the 112 that stand: the first header rewrite
       sets it right. */
    hr = riff64_WriteFileID(h, LXW64_ID_WAVE, 106);
    if (hr >= 0) hr = WriteW64Fmt(h, copy);
    if (hr >= 0) hr = riff64_WriteChunkHeader(h, LXW64_ID_DATA, 0);
    CloseHandle(h);
    return hr;
}

LXEXPORT(HRESULT) LxInitializeWavWithJunk(LPCSTR path, const tWAVEFORMATEX *format, DWORD disposition,
                                          DWORD headerSize) {
    tWAVEFORMATEX copy;
    HRESULT hr = CheckWritable(format, &copy);
    if (hr < 0) return hr;
    const DWORD header = (headerSize + 1) & ~1u;
    HANDLE h = OpenWrite(path, MapDisposition(disposition));
    if (h == INVALID_HANDLE_VALUE) return LXWAVE_E_OPEN;
    /* Refused only now: the file has been created or cut, and stays so. */
    if (header < LXWAVE_JUNK_HEADER) {
        CloseHandle(h);
        return LX_E_INVALIDARG;
    }
    hr = WriteWaveHeader(h, copy, 0, header);
    CloseHandle(h);
    return hr;
}

LXEXPORT(HRESULT) LxInsertWavHeader(HANDLE hFile, const tWAVEFORMATEX *format, DWORD dataSize, DWORD headerSize) {
    KeepCursor keep(hFile);
    if (!keep.ok()) return LX_E_READ;
    ULONGLONG length;
    if (!SeekEnd(hFile, &length)) return LX_E_READ;
    tWAVEFORMATEX copy;
    HRESULT hr = CheckWritable(format, &copy);
    if (hr < 0) return hr;
    const DWORD H = headerSize;
    if ((H & 1) || length < LXWAVE_HEADER || H < LXWAVE_HEADER) return LXRIFF_E_NEGSIZE;
    if (H > LXWAVE_HEADER && H < LXWAVE_JUNK_HEADER) return LXRIFF_E_NEGSIZE;

    if (!SeekTo(hFile, 0)) return LX_E_WRITE;
    return WriteWaveHeader(hFile, copy, dataSize, H);
}

LXEXPORT(HRESULT) LxInsertW64Header(HANDLE hFile, const tWAVEFORMATEX *format, ULONGLONG dataSize,
                                    ULONGLONG headerSize) {
    KeepCursor keep(hFile);
    if (!keep.ok()) return LX_E_READ;
    ULONGLONG length;
    if (!SeekEnd(hFile, &length)) return LX_E_READ;
    tWAVEFORMATEX copy;
    HRESULT hr = CheckWritable(format, &copy);
    if (hr < 0) return hr;
    const ULONGLONG H = headerSize;
    if ((H & 7) || length < LXW64_HEADER || H < LXW64_HEADER) return LXRIFF_E_NEGSIZE;
    if (H != LXW64_HEADER && H < LXW64_JUNK_HEADER) return LXRIFF_E_NEGSIZE;

    if (!SeekTo(hFile, 0)) return LX_E_WRITE;
    hr = riff64_WriteFileID(hFile, LXW64_ID_WAVE, dataSize + H - LXW64_CHUNK_HEADER);
    if (hr >= 0) hr = WriteW64Fmt(hFile, copy);
    if (hr >= 0 && H > LXW64_HEADER) {
        hr = riff64_WriteChunkHeader(hFile, LXW64_ID_JUNK, H - LXW64_JUNK_HEADER);
        /* The zeros are counted from the low word of H. */
        if (hr >= 0) hr = WriteZeros(hFile, (DWORD)((DWORD)H - LXW64_JUNK_HEADER));
    }
    if (hr >= 0) hr = riff64_WriteChunkHeader(hFile, LXW64_ID_DATA, dataSize);
    return hr;
}

LXEXPORT(HRESULT) LxFixTrashedWav(HANDLE hFile, const tWAVEFORMATEX *fallback, DWORD limit) {
    KeepCursor keep(hFile);
    if (!keep.ok()) return LX_E_READ;
    return FixTrashed(hFile, fallback, limit, false);
}

LXEXPORT(HRESULT) LxFixTrashedW64(HANDLE hFile, const tWAVEFORMATEX *fallback, ULONGLONG limit) {
    KeepCursor keep(hFile);
    if (!keep.ok()) return LX_E_READ;
    return FixTrashed(hFile, fallback, limit, true);
}

/* ---- The growing file writer --------------------------------------------- */

namespace {

bool Automatic(const tLXWAVEWRITER *w) { return w->kind != LXWAVEWRITER_WAVE && w->kind != LXWAVEWRITER_WAVE64; }

/* The setting is sign-extended and compared with the 64-bit count. */
bool PastLimit(const tLXWAVEWRITER *w) { return (LONGLONG)w->dataBytes > (LONGLONG)w->sizeLimit; }

HRESULT WriteHeaderAs(tLXWAVEWRITER *w, int kind) {
    if (kind == LXWAVEWRITER_WAVE64) return LxInsertW64Header(w->file, &w->format, w->dataBytes, w->headerSize);
    return LxInsertWavHeader(w->file, &w->format, (DWORD)w->dataBytes, (DWORD)w->headerSize);
}

}  // namespace

HRESULT LxWaveWriter_Create(tLXWAVEWRITER *w, LPCSTR path, const tWAVEFORMATEX *format, int kind, BOOL hidden,
                            LONG sizeLimit) {
    if (!w) return LX_E_POINTER;
    memset(w, 0, sizeof *w);
    w->file = INVALID_HANDLE_VALUE;
    if (!format) return LX_E_POINTER;
    w->kind = kind;
    w->sizeLimit = sizeLimit;
    w->format = Copy18(format);
    HRESULT hr;
    if (kind == LXWAVEWRITER_WAVE)
        hr = LxInitializeWav(path, &w->format, CREATE_ALWAYS);
    else if (kind == LXWAVEWRITER_WAVE64)
        hr = LxInitializeWav64(path, &w->format, CREATE_ALWAYS);
    else
        hr = LxInitializeWavWithJunk(path, &w->format, CREATE_ALWAYS, LXWAVE_RESERVED_HEADER);
    if (hr < 0) return hr;
    if (hidden) {
        const DWORD attributes = GetFileAttributesA(path);
        if (attributes != INVALID_FILE_ATTRIBUTES) SetFileAttributesA(path, attributes | FILE_ATTRIBUTE_HIDDEN);
    }
    w->file = OpenWrite(path, OPEN_EXISTING);
    if (w->file == INVALID_HANDLE_VALUE) return LXWAVE_E_OPEN;
    if (!SeekEnd(w->file, &w->headerSize)) {
        CloseHandle(w->file);
        w->file = INVALID_HANDLE_VALUE;
        return LX_E_READ;
    }
    return LX_S_OK;
}

HRESULT LxWaveWriter_Write(tLXWAVEWRITER *w, const void *data, DWORD size) {
    if (!w || (!data && size)) return LX_E_POINTER;
    if (w->file == INVALID_HANDLE_VALUE) return LX_E_FAIL;
    DWORD done = 0;
    if (size && (!WriteFile(w->file, data, size, &done, nullptr) || done != size)) return LX_E_WRITE;
    w->dataBytes += size;
    if (!Automatic(w)) return LX_S_OK;
    return WriteHeaderAs(w, PastLimit(w) ? LXWAVEWRITER_WAVE64 : LXWAVEWRITER_WAVE);
}

HRESULT LxWaveWriter_Close(tLXWAVEWRITER *w) {
    if (!w) return LX_E_POINTER;
    if (w->file == INVALID_HANDLE_VALUE) return LX_E_FAIL;
    HRESULT hr = SetEndOfFile(w->file) ? LX_S_OK : LX_E_WRITE;
    int kind = w->kind;
    if (Automatic(w)) kind = PastLimit(w) ? LXWAVEWRITER_WAVE64 : LXWAVEWRITER_WAVE;
    const HRESULT header = WriteHeaderAs(w, kind);
    if (hr >= 0) hr = header;
    CloseHandle(w->file);
    w->file = INVALID_HANDLE_VALUE;
    return hr;
}
