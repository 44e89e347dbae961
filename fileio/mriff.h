/*
 * RIFF chunks on a memory block of fixed capacity, through a cursor record
 * that does not own the block. Shaped after the file family: the same verbs,
 * plus the few calls that stand in for the Windows file calls.
 */
#ifndef MRIFF_H
#define MRIFF_H

#include "riff.h"

/* Invariant: base <= current <= dataEnd <= limit. size and capacity are
   as given to mriff_Init; the live end is dataEnd. */
typedef struct tMRIFFSTREAM {
    BYTE *base;
    BYTE *current;
    BYTE *dataEnd;
    BYTE *limit;
    DWORD size;
    DWORD capacity;
} tMRIFFSTREAM;

/* LX_E_POINTER for a null record, LX_E_INVALIDARG for size > capacity or a
   null block with room. */
LXEXPORT(HRESULT) mriff_Init(tMRIFFSTREAM *s, void *block, DWORD size, DWORD capacity);
LXEXPORT(BYTE *) mriff_GetFilePointer(tMRIFFSTREAM *s);
/* Origin by method (0 base, 1 current, 2 dataEnd) plus distance, clamped to
   [base, dataEnd]; another method only clamps. Returns the offset from base. */
LXEXPORT(DWORD) mriff_SetFilePointer(tMRIFFSTREAM *s, LONG distance, LONG *pDistanceHigh, DWORD method);
LXEXPORT(DWORD) mriff_LxSetFilePointer(tMRIFFSTREAM *s, LONG distance, DWORD method);
/* TRUE only when all of count was there; a count negative as a signed
   number copies nothing. */
LXEXPORT(BOOL) mriff_ReadFile(tMRIFFSTREAM *s, void *buffer, DWORD count, DWORD *pDone, void *reserved);
/* Copies what fits below limit and answers TRUE: a short write shows only
   in *pDone. */
LXEXPORT(BOOL) mriff_WriteFile(tMRIFFSTREAM *s, const void *buffer, DWORD count, DWORD *pDone, void *reserved);
/* Lets an outside writer claim bytes behind dataEnd; returns the amount. */
LXEXPORT(DWORD) mriff_UpdateDataSize(tMRIFFSTREAM *s, DWORD count);

/* Positions are offsets from base. */
LXEXPORT(HRESULT) mriff_SaveLocation(tMRIFFSTREAM *s, DWORD *pPosition);
LXEXPORT(HRESULT) mriff_RestoreLocation(tMRIFFSTREAM *s, DWORD position);
/* Moves forward size plus its pad, no further than dataEnd; returns the
   amount asked, not a status. */
LXEXPORT(DWORD) mriff_SkipChunk(tMRIFFSTREAM *s, DWORD size);
LXEXPORT(HRESULT) mriff_SeekDataStart(tMRIFFSTREAM *s);
LXEXPORT(HRESULT) mriff_ReadData(tMRIFFSTREAM *s, void *buffer, DWORD count);
/* Note the order: buffer size, then chunk size; the pad follows the chunk. */
LXEXPORT(HRESULT) mriff_ReadDataBounded(tMRIFFSTREAM *s, void *buffer, DWORD bufferSize, DWORD chunkSize);
LXEXPORT(HRESULT) mriff_ReadDataAlloc(tMRIFFSTREAM *s, tLXRIFFDATA *data);
LXEXPORT(HRESULT) mriff_WriteChunkHeader(tMRIFFSTREAM *s, DWORD id, DWORD size);
LXEXPORT(HRESULT) mriff_WriteListHeader(tMRIFFSTREAM *s, DWORD listType, DWORD size);
LXEXPORT(HRESULT) mriff_WriteFileID(tMRIFFSTREAM *s, DWORD formType, DWORD size);
LXEXPORT(HRESULT) mriff_ReadChunkHeader(tMRIFFSTREAM *s, DWORD *pId, DWORD *pSize);
LXEXPORT(HRESULT) mriff_ReadListHeader(tMRIFFSTREAM *s, DWORD *pListType, DWORD *pSize);
LXEXPORT(HRESULT) mriff_ReadFileID(tMRIFFSTREAM *s, DWORD *pSize, DWORD *pFormType);
/* Bounds are compared unsigned in this family. */
LXEXPORT(HRESULT) mriff_FindChunkHeader(tMRIFFSTREAM *s, DWORD id, DWORD *pSize, LONG *pRemaining);
/* The cursor must stand on the file header; remaining is the bound and
   covers that header. */
LXEXPORT(HRESULT) mriff_FindChunkHeaderInRIFF(tMRIFFSTREAM *s, DWORD id, DWORD *pSize, LONG *pRemaining);
LXEXPORT(HRESULT) mriff_FindListChunk(tMRIFFSTREAM *s, DWORD listType, DWORD *pSize, LONG *pRemaining);
LXEXPORT(HRESULT) mriff_FindListChunkFromStart(tMRIFFSTREAM *s, DWORD listType, DWORD *pSize);
LXEXPORT(HRESULT) mriff_GetNumListEntries(tMRIFFSTREAM *s, DWORD *pCount, LONG *pRemaining);
/* "LIST" "INFO" from the cursor, then id inside it; the cursor is put back
   whatever happens. */
LXEXPORT(HRESULT) mriff_GetInfoString(tMRIFFSTREAM *s, DWORD id, char *buffer, DWORD bufferSize, LONG *pRemaining);
/* File header, "fmt " and the "data" header; extraSize is counted in the
   RIFF size but left for the caller to write behind the data. */
LXEXPORT(HRESULT) mriff_WriteWaveHeader(tMRIFFSTREAM *s, const WAVEFORMATEX *format, DWORD dataSize, DWORD extraSize);
/* The first 18 bytes of "fmt " of a WAVE image into *format (cleared
   first); LX_E_FAIL when the form is not "WAVE". */
LXEXPORT(HRESULT) mriff_GetWfx(WAVEFORMATEX *format, const void *block, DWORD blockSize, DWORD *pDataSize);

#endif
