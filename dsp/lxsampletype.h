/*
 * Sample types: the closed enumeration that the conversion, mixing and
 * resampling tables are indexed by, and the format record that files and
 * devices describe audio with, with the mapping between the two, the repair
 * of damaged records, silence and the texts shown for a format.
 */
#ifndef LXSAMPLETYPE_H
#define LXSAMPLETYPE_H

#include "../kernel/lxbase.h"

#include <mmreg.h>

/* High nibble: family; low nibble: member. 0 is "no sample type". */
typedef enum LXSAMPLETYPE {
    LXSAMPLETYPE_NONE = 0,
    LXSAMPLETYPE_PCM8 = 0x10,
    LXSAMPLETYPE_PCM16 = 0x11,
    LXSAMPLETYPE_PCM24 = 0x12,
    LXSAMPLETYPE_PCM32 = 0x13,
    LXSAMPLETYPE_FLOAT32 = 0x20,
    LXSAMPLETYPE_FLOAT64 = 0x21,
    LXSAMPLETYPE_UNPACKED24 = 0x30,
    LXSAMPLETYPE_SIGNED8 = 0x31,
    LXSAMPLETYPE_BE16 = 0x40,
    LXSAMPLETYPE_BE24 = 0x41,
    LXSAMPLETYPE_BE32 = 0x42,
} LXSAMPLETYPE;

/* Format tags. The three private ones describe memory buffers and raw file
   reads; no public registry knows them. */
#define LXWAVE_FORMAT_PCM         0x0001
#define LXWAVE_FORMAT_IEEE_FLOAT  0x0003
#define LXWAVE_FORMAT_UNPACKED    0xFE00 /* 24 bits in a sign-extended 32-bit word */
#define LXWAVE_FORMAT_SIGNED      0xFE01 /* signed at 8 bits, plain PCM wider */
#define LXWAVE_FORMAT_BIGENDIAN   0xFE02 /* 8 bits stay unsigned */
#define LXWAVE_FORMAT_EXTENSIBLE  0xFFFE

/* tWAVEFORMATEX is the platform's own format record (18 bytes, cbSize
   last); its extensible form is WAVEFORMATEXTENSIBLE, whose tail
   (valid bits, channel mask, SubFormat) exists only for tag 0xFFFE with
   cbSize of at least 22. Records of tags 1 and 3 may end before cbSize. */
#ifndef __cplusplus
typedef struct tWAVEFORMATEX tWAVEFORMATEX;
#endif
#define LXWFX_BASE_SIZE        18
#define LXWFX_EXTENSIBLE_EXTRA 22

/* The per-format companion record of file templates. */
typedef struct tLXAUDIOEXTENSION tLXAUDIOEXTENSION;

/* The one extensible subtype accepted: 00000001-0000-0010-8000-00AA00389B71.
   Kept in the header so that clients of the DLL need no import for it. */
static const GUID LXKSDATAFORMAT_SUBTYPE_PCM = {
    0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

/* Mapping between records and types. */
LXEXPORT(LXSAMPLETYPE) LxAudio_GetSampleType(const tWAVEFORMATEX *wfx);
LXEXPORT(UINT) LxAudio_FormatTagFromSampleType(LXSAMPLETYPE type);
LXEXPORT(int) LxAudio_BitsFromSampleType(LXSAMPLETYPE type);
LXEXPORT(int) LxAudio_BytesFromSampleType(LXSAMPLETYPE type);
LXEXPORT(double) LxAudio_GetNormalizeFactor(int bits);

/* Records. */
LXEXPORT(BOOL) LxAudio_FixBadWfx(tWAVEFORMATEX *wfx);
LXEXPORT(BOOL) LxAudio_IsEqualFormat(const tWAVEFORMATEX *a, const tWAVEFORMATEX *b);

/* Silence. */
LXEXPORT(HRESULT) LxAudio_FillSilence(const tWAVEFORMATEX *wfx, void *buffer, UINT frames);
LXEXPORT(HRESULT) LxAudio_FillSilenceChannel(const tWAVEFORMATEX *wfx, void *buffer,
                                             UINT channel, UINT frames);

/* Texts; a null text asks for the result code only. */
LXEXPORT(HRESULT) LxAudio_GetTagText(UINT tag, char *text, UINT size);
LXEXPORT(HRESULT) LxAudio_GetAttribsText(const tWAVEFORMATEX *wfx, char *text, UINT size);

#ifdef __cplusplus
/* Kernel-internal. */

/* The value that maps to 1.0 in the type's own scale: 2^(precision - 1)
   for integers (2^23 for unpacked 24-bit), 1.0 for floats, 0.0 for none. */
double SampleType_FullScale(LXSAMPLETYPE type);

/* The tags whose layout this family knows without asking anyone: PCM,
   float and the three private ones. */
bool SampleType_IsOwnTag(UINT tag);
#endif

#endif
