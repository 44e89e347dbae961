/*
 * AIFF and uncompressed AIFC on a file handle: recognising a file, its
 * format, frames and data offset, markers, chunk deletion and the 80-bit
 * sample rate; and, for the Kernel's own callers, the format guess of the
 * wave reader and rewrites of "COMM", "INST" and "MARK".
 */
#ifndef AIFF_H
#define AIFF_H

#include "iff.h"
#include "../dsp/lxsampletype.h"

/* An 80-bit extended number as five host-order words: sign and exponent,
   then the mantissa from its most significant word. In a file each word is
   big-endian (iff_ByteSwap16 over five words). */
typedef struct tAIFFEXTENDED {
    WORD exponent;
    WORD mantissa[4];
} tAIFFEXTENDED;

/* A marker head; iff_FindMarker leaves the cursor on its name. */
typedef struct tIFFMARKER {
    WORD id;
    DWORD position;
    BYTE nameLength;
} tIFFMARKER;

#define LXAIFF_E_NOTPCM ((HRESULT)0x8004E016L) /* a format other than PCM for a COMM rewrite */

LXEXPORT(void) aiff_WriteByteSwap16(void *buffer, DWORD count);
LXEXPORT(void) aiff_WriteByteSwap32(void *buffer, DWORD count);

/* Samples per second, truncated; a negative value reads as 44100, and the
   doubling stops once it passes 96000. 0 for a null pointer. */
LXEXPORT(DWORD) aiff_ConvertRate(const tAIFFEXTENDED *pRate);
/* LX_E_INVALIDARG for NaN, infinities and negative rates, which are still
   encoded as such; LX_E_POINTER for a null out. */
LXEXPORT(HRESULT) aiff_CreateRate(double rate, tAIFFEXTENDED *pRate);

/* LX_E_NOTFOUND for a count of 0 or no such id, LXIFF_E_NOTFORM when a
   head or name would pass the chunk or the read comes back short. */
LXEXPORT(HRESULT) iff_FindMarker(HANDLE hFile, tIFFMARKER *pMarker, WORD id);
/* Out size is the FORM size. A recognised file leaves the cursor behind
   the form type. */
LXEXPORT(BOOL) iff_IsAIFFFile(HANDLE hFile, DWORD *pSize);
/* The compressed flag is set for every AIFC form; only "NONE" counts. */
LXEXPORT(BOOL) iff_IsAIFFFileEx(HANDLE hFile, DWORD *pSize, BOOL *pCompressed);
/* Fills the first 18 bytes of the record. Frames are the smaller of the
   sound data and the "COMM" count; the data offset is where the first frame
   stands (saturating at 0xFFFFFFFF). */
LXEXPORT(HRESULT) iff_GetAIFFWfx(HANDLE hFile, tWAVEFORMATEX *pwfx, DWORD *pFrames, DWORD *pDataOffset);
/* Removes the first chunk of id, moving what follows down and patching the
   FORM size; out removed is its padded size + 8. */
LXEXPORT(HRESULT) iff_DeleteChunk(HANDLE hFile, DWORD id, DWORD *pRemoved);

#ifdef __cplusplus

/* The third guess of the wave reader: a zeroed tWAVEFORMATEX got with
   calloc that passes the audio check, released by the caller with free.
   The file position is restored; the outs are written on success only. */
HRESULT Aiff_GetFileWfx(HANDLE file, tWAVEFORMATEX **ppwfx, ULONGLONG *pFrames, ULONGLONG *pDataOffset);

/* The AIFF branch of a format change: tag 1 only (else LXAIFF_E_NOTPCM);
   channels, bits and rate replace those of "COMM", the frame count stays as
   iff_GetAIFFWfx reads it. */
HRESULT Aiff_SetFileWfx(HANDLE file, const tWAVEFORMATEX *wfx);

/* The fields of "COMM" in host order; an AIFC compression type is neither
   read nor touched. */
typedef struct tAIFFCOMM {
    SHORT channels;
    DWORD frames;
    SHORT bits;
    tAIFFEXTENDED rate;
} tAIFFCOMM;

typedef struct tAIFFLOOP {
    SHORT playMode; /* 0 none, 1 forward, 2 forward and backward */
    WORD beginMarker;
    WORD endMarker;
} tAIFFLOOP;

typedef struct tAIFFINST {
    CHAR baseNote;
    CHAR detune;
    CHAR lowNote;
    CHAR highNote;
    CHAR lowVelocity;
    CHAR highVelocity;
    SHORT gain;
    tAIFFLOOP sustainLoop;
    tAIFFLOOP releaseLoop;
} tAIFFINST;

/* A marker to write; names are cut to 255 bytes, null is an empty name. */
typedef struct tAIFFMARK {
    WORD id;
    DWORD position;
    const char *name;
} tAIFFMARK;

/* Reads are bounded by the chunk: one too short gives LX_E_READ, and a
   rewrite over one too short, or cut off by the end of the file,
   LX_E_WRITE with nothing written. Every call wants a file that
   iff_IsAIFFFile takes (else LXIFF_E_NOTAIFF). */
HRESULT Aiff_ReadComm(HANDLE file, tAIFFCOMM *comm);
HRESULT Aiff_WriteComm(HANDLE file, const tAIFFCOMM *comm);
HRESULT Aiff_ReadInst(HANDLE file, tAIFFINST *inst);
/* Null removes "INST". */
HRESULT Aiff_WriteInst(HANDLE file, const tAIFFINST *inst);
/* A count of 0 removes "MARK"; more than 65535 is LX_E_INVALIDARG. */
HRESULT Aiff_WriteMarkers(HANDLE file, const tAIFFMARK *marks, UINT count);

#endif

#endif
