/*
 * RIFF chunks appended to a growable memory stream. These carry the stream
 * type in their signature, so they have C++ linkage (still __cdecl); the
 * export list names them by their mangled names.
 */
#ifndef MEMSTREAM_H
#define MEMSTREAM_H

#include "riff.h"

/* data is a locked, zero-filled global block (null while the stream is
   empty); used is the high-water mark. A zeroed record is an empty stream.
   Whoever made the stream frees data: see MemStream_Free. */
typedef struct tLXMEMSTREAM {
    BYTE *data;
    DWORD capacity;
    DWORD used;
    DWORD position;
} tLXMEMSTREAM;

#ifdef __cplusplus
HRESULT LXAPI ms_WriteChunkHeader(tLXMEMSTREAM *stream, DWORD id, DWORD size);
HRESULT LXAPI ms_WriteChunk(tLXMEMSTREAM *stream, DWORD id, const void *data, DWORD size);
HRESULT LXAPI ms_WriteListHeader(tLXMEMSTREAM *stream, DWORD listType, DWORD size);
/* Writes 4 as the RIFF size whatever size says; patch it in data. */
HRESULT LXAPI ms_WriteFileID(tLXMEMSTREAM *stream, DWORD formType, DWORD size);

/* Releases data and zeroes the record. Not exported. */
void MemStream_Free(tLXMEMSTREAM *stream);
#endif

#endif
