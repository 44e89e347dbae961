/*
 * IFF chunks on a Windows file handle: the big-endian cousin of the RIFF
 * layer. Identifiers are held as the number their four bytes make in
 * big-endian order; sizes and words are swapped to host order on the way in
 * and back on the way out. Positions are saved and restored with
 * riff_SaveLocation and riff_RestoreLocation.
 */
#ifndef IFF_H
#define IFF_H

#include "riff.h"

#define LXIFF_FOURCC(a, b, c, d) \
    (((DWORD)(BYTE)(a) << 24) | ((DWORD)(BYTE)(b) << 16) | ((DWORD)(BYTE)(c) << 8) | (DWORD)(BYTE)(d))
#define LXIFF_ID_FORM LXIFF_FOURCC('F', 'O', 'R', 'M')
#define LXIFF_ID_AIFF LXIFF_FOURCC('A', 'I', 'F', 'F')
#define LXIFF_ID_AIFC LXIFF_FOURCC('A', 'I', 'F', 'C')
#define LXIFF_ID_COMM LXIFF_FOURCC('C', 'O', 'M', 'M')
#define LXIFF_ID_SSND LXIFF_FOURCC('S', 'S', 'N', 'D')
#define LXIFF_ID_MARK LXIFF_FOURCC('M', 'A', 'R', 'K')
#define LXIFF_ID_INST LXIFF_FOURCC('I', 'N', 'S', 'T')
#define LXIFF_ID_NONE LXIFF_FOURCC('N', 'O', 'N', 'E')

#define LXIFF_E_NOTAIFF ((HRESULT)0x8004E00BL) /* not "FORM", or a form this reader does not take */
#define LXIFF_E_NOTFORM ((HRESULT)0x8004E080L) /* no "FORM" at the start; a marker read came back short */

/* A chunk header in host order. */
typedef struct tIFFCHUNKHDR {
    DWORD id;
    DWORD size;
} tIFFCHUNKHDR;

/* In place; count is in items of the width named. */
LXEXPORT(void) iff_ByteSwap16(void *buffer, DWORD count);
LXEXPORT(void) iff_ByteSwap32(void *buffer, DWORD count);

LXEXPORT(HRESULT) iff_ReadChunkHdr(HANDLE hFile, tIFFCHUNKHDR *pHdr);
LXEXPORT(HRESULT) iff_ReadDWORD(HANDLE hFile, DWORD *pValue);
LXEXPORT(HRESULT) iff_ReadWORD(HANDLE hFile, WORD *pValue);
/* "FORM", size, form type; any failure LX_E_WRITE. */
LXEXPORT(HRESULT) iff_WriteFileID(HANDLE hFile, DWORD formType, DWORD size);
LXEXPORT(HRESULT) iff_WriteChunk(HANDLE hFile, const tIFFCHUNKHDR *pHdr);
LXEXPORT(HRESULT) iff_WriteDWORD(HANDLE hFile, DWORD value);
LXEXPORT(HRESULT) iff_WriteWORD(HANDLE hFile, WORD value);
/* Reads a file header at the cursor; an id other than "FORM" gives
   LXIFF_E_NOTAIFF. Both outs are optional. */
LXEXPORT(HRESULT) iff_ReadFormType(HANDLE hFile, tIFFCHUNKHDR *pHdr, DWORD *pFormType);
/* Moves forward size plus its pad; returns that amount, not a status. */
LXEXPORT(DWORD) iff_SkipChunk(HANDLE hFile, DWORD size);
/* As riff_FindChunkHeader: remaining is optional, the bound test signed. */
LXEXPORT(HRESULT) iff_FindChunkHeader(HANDLE hFile, DWORD id, DWORD *pSize, LONG *pRemaining);
LXEXPORT(HRESULT) iff_SeekChunkHeader(HANDLE hFile, DWORD id, DWORD *pSize);
/* From offset 0 under the FORM's size: LXIFF_E_NOTFORM without "FORM",
   LX_E_NOTFOUND for every other failure. */
LXEXPORT(HRESULT) iff_FindChunkFromStart(HANDLE hFile, DWORD id, DWORD *pSize);

#ifdef __cplusplus
#include "fileio_internal.h"
/* The name the IFF and AIFF sources first knew the shared helpers by. */
namespace lxiff = lxio;
#endif

#endif
