/*
 * WAVE and Wave64 files: recognising them, reading and changing their
 * format, laying out new files with room reserved for the header, rewriting
 * that header in place while audio grows behind it, and repairing files
 * whose header never got its final form. Also the Kernel's own writer of
 * growing wave files, which strings these together.
 */
#ifndef WAVE_H
#define WAVE_H

#include "../dsp/lxsampletype.h"
#include "riff.h"

#define LXWAVE_E_FORMAT    ((HRESULT)0x8004E000L) /* format refused */
#define LXWAVE_E_OPEN      ((HRESULT)0x8004E007L) /* file cannot be opened */

/* Least headers and the reservation that fits both layouts. */
#define LXWAVE_HEADER      46
#define LXWAVE_JUNK_HEADER 54  /* least header with a "JUNK" chunk */
#define LXW64_HEADER       112
#define LXW64_JUNK_HEADER  136
#define LXWAVE_RESERVED_HEADER 512

/* Tag in the audio table and block align = (bits >> 3) * channels, not 0.
   Reads the first 16 bytes of the record only. */
BOOL LxWave_IsAudioFormat(const tWAVEFORMATEX *format);

/* 1 for a WAVE file (Wave64 file) with a "fmt " chunk that reads whole
   and, unless anyFormat is set, passes the audio check; else 0. */
LXEXPORT(int) LxFileIsWave(LPCSTR path, BOOL anyFormat);
LXEXPORT(int) LxFileIsWave64(LPCSTR path, BOOL anyFormat);
/* The format of a WAVE, Wave64 or AIFF file, in that order of guesses: a
   calloc'ed block (at least 18 bytes, with any extra bytes of the chunk)
   that the caller frees with free(), or null. The outs are written only on
   success. */
LXEXPORT(tWAVEFORMATEX *) LxGetFileWfx(LPCSTR path, ULONGLONG *pFrames, ULONGLONG *pDataOffset);
/* WAVE: writes a "fmt " chunk where the format read left the cursor, which
   is the start of the file. AIFF: rewrites "COMM" for PCM formats. */
LXEXPORT(HRESULT) LxSetFileWfx(LPCSTR path, const tWAVEFORMATEX *format);

/* New files. Disposition is the Windows value, 3 taken as 5 and 4 as 2.
   The format's extra size must be 0 and the format must need no mending. */
LXEXPORT(HRESULT) LxInitializeWav(LPCSTR path, const tWAVEFORMATEX *format, DWORD disposition);
LXEXPORT(HRESULT) LxInitializeWav64(LPCSTR path, const tWAVEFORMATEX *format, DWORD disposition);
/* Audio starts at headerSize, rounded up to even; below 54 is refused after
   the file has been created. */
LXEXPORT(HRESULT) LxInitializeWavWithJunk(LPCSTR path, const tWAVEFORMATEX *format, DWORD disposition,
                                          DWORD headerSize);

/* A fresh header over the first headerSize bytes of an open file whose
   audio stands at headerSize; the samples and the cursor are kept. */
LXEXPORT(HRESULT) LxInsertWavHeader(HANDLE hFile, const tWAVEFORMATEX *format, DWORD dataSize, DWORD headerSize);
LXEXPORT(HRESULT) LxInsertW64Header(HANDLE hFile, const tWAVEFORMATEX *format, ULONGLONG dataSize,
                                    ULONGLONG headerSize);

/* A valid header for a file whose header was meant to be canonical: the
   format is mended from what stands at its place, the audio is taken from
   the "data" marker (or from limit, the largest header accepted) to the end
   of the file in whole frames. fallback may be null. The cursor is kept. */
LXEXPORT(HRESULT) LxFixTrashedWav(HANDLE hFile, const tWAVEFORMATEX *fallback, DWORD limit);
LXEXPORT(HRESULT) LxFixTrashedW64(HANDLE hFile, const tWAVEFORMATEX *fallback, ULONGLONG limit);

/* ---- The growing file writer (for renders and recordings) ---------------- */

#define LXWAVEWRITER_WAVE   3
#define LXWAVEWRITER_WAVE64 4
#define LXWAVEWRITER_AUTO   0 /* any other value too */

typedef struct tLXWAVEWRITER {
    HANDLE file;
    int kind;                /* as asked */
    LONG sizeLimit;          /* bytes up to which a WAVE header does */
    ULONGLONG headerSize;
    ULONGLONG dataBytes;
    tWAVEFORMATEX format;
} tLXWAVEWRITER;

/* Creates the file (kind 3: canonical WAVE, 4: Wave64, else the 512-byte
   reservation) and opens it at its end. hidden and sizeLimit are the host's
   settings for hiding temporary files and the WAVE size limit. */
HRESULT LxWaveWriter_Create(tLXWAVEWRITER *w, LPCSTR path, const tWAVEFORMATEX *format, int kind, BOOL hidden,
                            LONG sizeLimit);
/* Appends audio; in automatic mode the header is rewritten at once, so the
   file stays readable up to the last block. */
HRESULT LxWaveWriter_Write(tLXWAVEWRITER *w, const void *data, DWORD size);
/* Settles the file as WAVE or Wave64 and closes it. */
HRESULT LxWaveWriter_Close(tLXWAVEWRITER *w);

#endif
