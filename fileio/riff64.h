/*
 * Wave64 chunks on a Windows file handle: the 64-bit twin of the riff_
 * family. Chunk ids are 16-byte GUIDs, sizes are 64-bit and count their own
 * 24-byte header, chunks align to 8. Callers always speak of payload: read
 * functions take 24 off a stored size, write functions add it.
 */
#ifndef RIFF64_H
#define RIFF64_H

#include "riff.h"

#include <string.h>

/* The ids, byte for byte as they stand in files. The junk id differs from
   its group in bytes 6 and 7 (3D 11): files written here carry it, and
   readers skip unknown chunks, so it stays. */
static const GUID LXW64_ID_RIFF = {0x66666972, 0x912E, 0x11CF, {0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00}};
static const GUID LXW64_ID_LIST = {0x7473696C, 0x912F, 0x11CF, {0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00}};
static const GUID LXW64_ID_WAVE = {0x65766177, 0xACF3, 0x11D3, {0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A}};
static const GUID LXW64_ID_FMT  = {0x20746D66, 0xACF3, 0x11D3, {0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A}};
static const GUID LXW64_ID_DATA = {0x61746164, 0xACF3, 0x11D3, {0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A}};
static const GUID LXW64_ID_JUNK = {0x6B6E756A, 0xACF3, 0x113D, {0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A}};

#define LXW64_CHUNK_HEADER 24 /* GUID + u64 size */
#define LXW64_LIST_HEADER  40 /* chunk header + list type */
#define LXW64_FILE_HEADER  40 /* chunk header + form type */

/* Compares the four 32-bit words of two ids. */
static inline BOOL LxW64_IsEqualId(const GUID *a, const GUID *b) {
    return memcmp(a, b, sizeof(GUID)) == 0;
}

/* An id argument is the GUID by value: four 32-bit words on the stack.
   remaining is an optional signed 64-bit count of bytes still allowed,
   updated in place. Required pointers that are null give LX_E_POINTER. */

/* The size as given: low word with any of bits 0-2, or high word with
   bit 3, gives LXRIFF_E_NEGSIZE; 0 gives LXRIFF_E_ZEROSIZE. */
LXEXPORT(HRESULT) riff64_ValidateChunkHeader(HANDLE hFile, GUID id, ULONGLONG size);
LXEXPORT(HRESULT) riff64_SaveLocation(HANDLE hFile, ULONGLONG *pPosition);
LXEXPORT(HRESULT) riff64_RestoreLocation(HANDLE hFile, ULONGLONG position);
/* Moves forward size rounded up to 8; returns that amount, not a status. */
LXEXPORT(ULONGLONG) riff64_SkipChunk(HANDLE hFile, ULONGLONG size);
LXEXPORT(HRESULT) riff64_SeekDataStart(HANDLE hFile);
/* Reads the low word of count, then steps over the pad to 8. */
LXEXPORT(HRESULT) riff64_ReadData(HANDLE hFile, void *buffer, ULONGLONG count);
/* Reads min(chunkSize, bufferSize); then skips chunkSize - read +
   (bufferSize & 7), the pad taken from the buffer's size. */
LXEXPORT(HRESULT) riff64_ReadDataBounded(HANDLE hFile, void *buffer, ULONGLONG chunkSize, DWORD bufferSize);
LXEXPORT(HRESULT) riff64_ReadDataAlloc(HANDLE hFile, tLXRIFFDATA *data);
/* Patch the size at offset 16 (8 bytes), cursor kept; the absolute form
   adds 24 to its argument. */
LXEXPORT(HRESULT) riff64_SetRIFFSize(HANDLE hFile, ULONGLONG size);
LXEXPORT(HRESULT) riff64_UpdateRIFFSize(HANDLE hFile, LONGLONG delta);
/* The length that the file header declares. */
LXEXPORT(HRESULT) riff64_GetFileSize(HANDLE hFile, ULONGLONG *pSize);
LXEXPORT(HRESULT) riff64_WriteChunkHeader(HANDLE hFile, GUID id, ULONGLONG size);
/* Header, data, zeros to 8; out = payload with pad + 24. */
LXEXPORT(HRESULT) riff64_WriteChunk(HANDLE hFile, GUID id, const void *data, ULONGLONG size, ULONGLONG *pWritten);
LXEXPORT(HRESULT) riff64_WriteListHeader(HANDLE hFile, GUID listType, ULONGLONG size);
LXEXPORT(HRESULT) riff64_WriteFileID(HANDLE hFile, GUID formType, ULONGLONG size);
LXEXPORT(HRESULT) riff64_ReadChunkHeader(HANDLE hFile, GUID *pId, ULONGLONG *pSize);
/* Out size is the list's payload less its 16 type bytes. */
LXEXPORT(HRESULT) riff64_ReadListHeader(HANDLE hFile, GUID *pListType, ULONGLONG *pSize);
/* Out size is the room behind the form type: stored size - 40. */
LXEXPORT(HRESULT) riff64_ReadFileID(HANDLE hFile, ULONGLONG *pSize, GUID *pFormType);
LXEXPORT(HRESULT) riff64_FindChunkHeader(HANDLE hFile, GUID id, ULONGLONG *pSize, LONGLONG *pRemaining);
LXEXPORT(HRESULT) riff64_FindChunkHeaderInRIFF(HANDLE hFile, GUID id, ULONGLONG *pSize, LONGLONG *pRemaining);
LXEXPORT(HRESULT) riff64_FindListChunk(HANDLE hFile, GUID listType, ULONGLONG *pSize, LONGLONG *pRemaining);
LXEXPORT(HRESULT) riff64_FindListChunkFromStart(HANDLE hFile, GUID listType, ULONGLONG *pSize);
LXEXPORT(HRESULT) riff64_GetNumListEntries(HANDLE hFile, DWORD *pCount, LONGLONG *pRemaining);
LXEXPORT(HRESULT) riff64_SeekListEntry(HANDLE hFile, DWORD index, LONGLONG *pRemaining);
/* Removes the first chunk of that id under the file header's bound and
   moves what follows down; out = bytes removed. */
LXEXPORT(HRESULT) riff64_DeleteChunk(HANDLE hFile, GUID id, ULONGLONG *pDeleted);

/* Chunks whose size is learnt at the end: Prepare, write, Complete. The
   size Complete stores includes the pad; readers round up either way. */
LXEXPORT(HRESULT) riff64_PrepareChunk(HANDLE hFile, GUID id, ULONGLONG *pStart);
LXEXPORT(HRESULT) riff64_PrepareList(HANDLE hFile, GUID listType, ULONGLONG *pStart);
/* The low word's worth of bytes, no pad. */
LXEXPORT(HRESULT) riff64_WriteToFile(HANDLE hFile, const void *data, ULONGLONG size);
LXEXPORT(ULONGLONG) riff64_AmountWritten(HANDLE hFile, ULONGLONG start);
LXEXPORT(HRESULT) riff64_Pad(HANDLE hFile, ULONGLONG start);
LXEXPORT(HRESULT) riff64_CompleteChunk(HANDLE hFile, ULONGLONG start);
LXEXPORT(HRESULT) riff64_WriteChunkToFile(HANDLE hFile, GUID id, const void *data, ULONGLONG size);
/* Writes, pads to 8; out = bytes with the pad. */
LXEXPORT(HRESULT) riff64_WriteData(HANDLE hFile, const void *data, ULONGLONG size, ULONGLONG *pWritten);

#endif
