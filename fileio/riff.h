/*
 * RIFF chunks on a Windows file handle: read, walk, write and patch. The
 * file's own position is the cursor. Also the identifiers, status codes and
 * the allocated-read record that the memory families share.
 */
#ifndef RIFF_H
#define RIFF_H

#include "../kernel/lxbase.h"

/* Four-character identifiers, compared as one little-endian 32-bit value. */
#define LXRIFF_FOURCC(a, b, c, d) \
    ((DWORD)(BYTE)(a) | ((DWORD)(BYTE)(b) << 8) | ((DWORD)(BYTE)(c) << 16) | ((DWORD)(BYTE)(d) << 24))
#define LXRIFF_ID_RIFF LXRIFF_FOURCC('R', 'I', 'F', 'F')
#define LXRIFF_ID_LIST LXRIFF_FOURCC('L', 'I', 'S', 'T')
#define LXRIFF_ID_WAVE LXRIFF_FOURCC('W', 'A', 'V', 'E')
#define LXRIFF_ID_INFO LXRIFF_FOURCC('I', 'N', 'F', 'O')
#define LXRIFF_ID_FMT  LXRIFF_FOURCC('f', 'm', 't', ' ')
#define LXRIFF_ID_DATA LXRIFF_FOURCC('d', 'a', 't', 'a')

/* Statuses of the chunk layer. */
#ifndef LX_E_POINTER
#define LX_E_POINTER       ((HRESULT)0x80004003L)
#endif
#ifndef LX_E_READ
#define LX_E_READ          ((HRESULT)0x8004E008L) /* read failed or short */
#endif
#ifndef LX_E_WRITE
#define LX_E_WRITE         ((HRESULT)0x8004E009L) /* write failed or short */
#endif
#ifndef LX_E_NOTFOUND
#define LX_E_NOTFOUND      ((HRESULT)0x8004E00AL) /* not within the bytes allowed */
#endif
#define LXRIFF_E_NOTRIFF   ((HRESULT)0x8004E080L) /* file does not start with "RIFF" */
#define LXRIFF_E_NOTLIST   ((HRESULT)0x8004E081L) /* header is not "LIST" */
#define LXRIFF_E_ZEROSIZE  ((HRESULT)0x8004E082L)
#define LXRIFF_E_NEGSIZE   ((HRESULT)0x8004E083L)

/* A chunk read into a block of its own: a locked, zero-filled, moveable
   global block; release it with LxRiff_FreeData. */
typedef struct tLXRIFFDATA {
    DWORD size;
    void *data;
} tLXRIFFDATA;

/* Unlocks and frees a block handed out by the ReadDataAlloc functions and
   clears the record's pointer. Not exported: the block is plain global
   memory, so any module can release it the same way. */
void LxRiff_FreeData(tLXRIFFDATA *data);

/* Arguments behind the handle; remaining is an optional signed count of
   bytes still allowed, updated in place. Required pointers that are null
   give LX_E_POINTER. */
LXEXPORT(HRESULT) riff_ValidateChunkHeader(HANDLE hFile, DWORD id, LONG size);
LXEXPORT(HRESULT) riff_SaveLocation(HANDLE hFile, DWORD *pPosition);
LXEXPORT(HRESULT) riff_RestoreLocation(HANDLE hFile, DWORD position);
/* Moves forward size plus its pad; returns that amount, not a status. */
LXEXPORT(DWORD) riff_SkipChunk(HANDLE hFile, DWORD size);
LXEXPORT(HRESULT) riff_SeekDataStart(HANDLE hFile);
LXEXPORT(HRESULT) riff_ReadData(HANDLE hFile, void *buffer, DWORD count);
/* Reads min(chunkSize, bufferSize), skips the rest of the chunk and a pad
   byte taken from the parity of bufferSize. */
LXEXPORT(HRESULT) riff_ReadDataBounded(HANDLE hFile, void *buffer, DWORD chunkSize, DWORD bufferSize);
LXEXPORT(HRESULT) riff_ReadDataAlloc(HANDLE hFile, tLXRIFFDATA *data);
LXEXPORT(HRESULT) riff_SetRIFFSize(HANDLE hFile, DWORD size);
LXEXPORT(HRESULT) riff_UpdateRIFFSize(HANDLE hFile, LONG delta);
/* The header's size + 4: four short of the true length. */
LXEXPORT(HRESULT) riff_GetFileSize(HANDLE hFile, DWORD *pSize);
LXEXPORT(HRESULT) riff_WriteChunkHeader(HANDLE hFile, DWORD id, DWORD size);
LXEXPORT(HRESULT) riff_WriteChunk(HANDLE hFile, DWORD id, const void *data, DWORD size, DWORD *pWritten);
LXEXPORT(HRESULT) riff_WriteListHeader(HANDLE hFile, DWORD listType, DWORD size);
LXEXPORT(HRESULT) riff_WriteFileID(HANDLE hFile, DWORD formType, DWORD size);
LXEXPORT(HRESULT) riff_ReadChunkHeader(HANDLE hFile, DWORD *pId, DWORD *pSize);
/* Out size is the list's size less its four type bytes. */
LXEXPORT(HRESULT) riff_ReadListHeader(HANDLE hFile, DWORD *pListType, DWORD *pSize);
/* Out size is the header's size - 4, the room behind the form type. */
LXEXPORT(HRESULT) riff_ReadFileID(HANDLE hFile, DWORD *pSize, DWORD *pFormType);
LXEXPORT(HRESULT) riff_FindChunkHeader(HANDLE hFile, DWORD id, DWORD *pSize, LONG *pRemaining);
LXEXPORT(HRESULT) riff_FindChunkHeaderInRIFF(HANDLE hFile, DWORD id, DWORD *pSize, LONG *pRemaining);
LXEXPORT(HRESULT) riff_FindListChunk(HANDLE hFile, DWORD listType, DWORD *pSize, LONG *pRemaining);
LXEXPORT(HRESULT) riff_FindListChunkFromStart(HANDLE hFile, DWORD listType, DWORD *pSize);
LXEXPORT(HRESULT) riff_GetNumListEntries(HANDLE hFile, DWORD *pCount, LONG *pRemaining);
LXEXPORT(HRESULT) riff_SeekListEntry(HANDLE hFile, DWORD index, LONG *pRemaining);
LXEXPORT(HRESULT) riff_DeleteChunk(HANDLE hFile, DWORD id, DWORD *pDeleted, BOOL fList);
/* Writes the payload of a text chunk (no header); out is its even length. */
LXEXPORT(HRESULT) riff_WriteANSIString(HANDLE hFile, const char *text, DWORD *pWritten);
/* Reads a text payload; *pChunkSize grows by one whatever its parity. */
LXEXPORT(HRESULT) riff_ReadANSIString(HANDLE hFile, char *buffer, DWORD bufferSize, DWORD *pChunkSize);

#endif
