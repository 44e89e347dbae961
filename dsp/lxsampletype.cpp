/*
 * Sample types and format records: classification, the columns of each
 * type, repair of damaged PCM records, silence, and the texts shown for a
 * format. Everything but the two text functions is stateless and safe on
 * device callbacks; the text functions read the Kernel's strings and ask
 * the audio compression manager, so they belong on interface threads.
 *
 * A record is only read as far as its tag says it reaches: tags 1 and 3 may
 * come as 16-byte records without cbSize, and the extensible tail is only
 * read when cbSize says it is there.
 */
#include "lxsampletype.h"

#include "kernel/kernel_internal.h"
#include "kernel/lxprintf.h"

#include <msacm.h>

#include <cstring>

static_assert(sizeof(tWAVEFORMATEX) == LXWFX_BASE_SIZE, "packed 18-byte record");
static_assert(sizeof(WAVEFORMATEXTENSIBLE) == LXWFX_BASE_SIZE + LXWFX_EXTENSIBLE_EXTRA,
              "extensible record is 40 bytes");
static_assert(sizeof(ACMFORMATTAGDETAILSA) == 72, "tag details record");
static_assert(sizeof(ACMFORMATDETAILSA) == 152, "format details record");

namespace {

/* Kernel string ids of this family. */
enum : UINT {
    kStrPcm = 4154,
    kStrFloat = 4155,
    kStrUnpacked = 4156,
    kStrSigned = 4157,
    kStrBigEndian = 4158,
    kStrPcmUnknown = 4159,
    kStrUnknown = 4160,
    kStrMono = 4161,
    kStrStereo = 4162,
    kStrChannels = 4163,
    kStrAttribs = 4164,
    kStrAttribsFloat = 4165,
};

struct TypeRow {
    LXSAMPLETYPE type;
    UINT tag;
    int bits;
    int bytes;
    double fullScale;
};

const TypeRow kTypes[] = {
    {LXSAMPLETYPE_PCM8, LXWAVE_FORMAT_PCM, 8, 1, 128.0},
    {LXSAMPLETYPE_PCM16, LXWAVE_FORMAT_PCM, 16, 2, 32768.0},
    {LXSAMPLETYPE_PCM24, LXWAVE_FORMAT_PCM, 24, 3, 8388608.0},
    {LXSAMPLETYPE_PCM32, LXWAVE_FORMAT_PCM, 32, 4, 2147483648.0},
    {LXSAMPLETYPE_FLOAT32, LXWAVE_FORMAT_IEEE_FLOAT, 32, 4, 1.0},
    {LXSAMPLETYPE_FLOAT64, LXWAVE_FORMAT_IEEE_FLOAT, 64, 8, 1.0},
    /* Reports its container; its scale is that of its 24 bits. */
    {LXSAMPLETYPE_UNPACKED24, LXWAVE_FORMAT_UNPACKED, 32, 4, 8388608.0},
    {LXSAMPLETYPE_SIGNED8, LXWAVE_FORMAT_SIGNED, 8, 1, 128.0},
    {LXSAMPLETYPE_BE16, LXWAVE_FORMAT_BIGENDIAN, 16, 2, 32768.0},
    {LXSAMPLETYPE_BE24, LXWAVE_FORMAT_BIGENDIAN, 24, 3, 8388608.0},
    {LXSAMPLETYPE_BE32, LXWAVE_FORMAT_BIGENDIAN, 32, 4, 2147483648.0},
};

const TypeRow *FindType(LXSAMPLETYPE type) {
    for (const TypeRow &row : kTypes)
        if (row.type == type) return &row;
    return nullptr;
}

/* Extensible with the PCM subtype. A record whose cbSize doesn't reach the
   subtype has none, and counts as another subtype. */
bool IsExtensiblePcm(const tWAVEFORMATEX *wfx) {
    if (wfx->wFormatTag != LXWAVE_FORMAT_EXTENSIBLE) return false;
    if (wfx->cbSize < LXWFX_EXTENSIBLE_EXTRA) return false;
    const WAVEFORMATEXTENSIBLE *ext = reinterpret_cast<const WAVEFORMATEXTENSIBLE *>(wfx);
    return memcmp(&ext->SubFormat, &LXKSDATAFORMAT_SUBTYPE_PCM, sizeof(GUID)) == 0;
}

/* Index of a depth in the columns 8, 16, 24, 32, 64; -1 for the rest. */
int DepthColumn(UINT bits) {
    switch (bits) {
    case 8: return 0;
    case 16: return 1;
    case 24: return 2;
    case 32: return 3;
    case 64: return 4;
    default: return -1;
    }
}

const char *KernelString(UINT id) {
    const char *text = LxGetString2(g_hKernelLang, id);
    return text ? text : "";
}

/* Copies at most size bytes of source, terminator included, and forces the
   buffer's last byte to zero whatever the length. */
void CopyOut(char *text, UINT size, const char *source) {
    if (!text || size == 0) return;
    size_t n = strlen(source) + 1;
    if (n > size) n = size;
    memcpy(text, source, n);
    text[size - 1] = 0;
}

HRESULT CopyUnknown(char *text, UINT size) {
    if (text) CopyOut(text, size, KernelString(kStrUnknown));
    return LX_E_FAIL;
}

void FillBytes(BYTE *p, size_t count, BYTE value) {
    const DWORD word = value * 0x01010101u;
    for (; count >= 4; count -= 4, p += 4) memcpy(p, &word, 4);
    for (; count; --count) *p++ = value;
}

/* Formatted texts here are a few short fields around a string of at most
   1024 characters, so these bounds are never reached. */
const size_t kTextRoom = 4096;

}  // namespace

LXEXPORT(LXSAMPLETYPE) LxAudio_GetSampleType(const tWAVEFORMATEX *wfx) {
    if (!wfx) return LXSAMPLETYPE_NONE;
    const int column = DepthColumn(wfx->wBitsPerSample);
    if (column < 0) return LXSAMPLETYPE_NONE;

    static const LXSAMPLETYPE kPcm[5] = {LXSAMPLETYPE_PCM8, LXSAMPLETYPE_PCM16,
                                         LXSAMPLETYPE_PCM24, LXSAMPLETYPE_PCM32,
                                         LXSAMPLETYPE_NONE};
    static const LXSAMPLETYPE kFloat[5] = {LXSAMPLETYPE_NONE, LXSAMPLETYPE_NONE,
                                           LXSAMPLETYPE_NONE, LXSAMPLETYPE_FLOAT32,
                                           LXSAMPLETYPE_FLOAT64};
    static const LXSAMPLETYPE kUnpacked[5] = {LXSAMPLETYPE_NONE, LXSAMPLETYPE_NONE,
                                              LXSAMPLETYPE_UNPACKED24,
                                              LXSAMPLETYPE_UNPACKED24, LXSAMPLETYPE_NONE};
    static const LXSAMPLETYPE kSigned[5] = {LXSAMPLETYPE_SIGNED8, LXSAMPLETYPE_PCM16,
                                            LXSAMPLETYPE_PCM24, LXSAMPLETYPE_PCM32,
                                            LXSAMPLETYPE_NONE};
    /* No big-endian 8-bit type: those bytes are unsigned. */
    static const LXSAMPLETYPE kBigEndian[5] = {LXSAMPLETYPE_PCM8, LXSAMPLETYPE_BE16,
                                               LXSAMPLETYPE_BE24, LXSAMPLETYPE_BE32,
                                               LXSAMPLETYPE_NONE};

    switch (wfx->wFormatTag) {
    case LXWAVE_FORMAT_PCM: return kPcm[column];
    case LXWAVE_FORMAT_IEEE_FLOAT: return kFloat[column];
    case LXWAVE_FORMAT_UNPACKED: return kUnpacked[column];
    case LXWAVE_FORMAT_SIGNED: return kSigned[column];
    case LXWAVE_FORMAT_BIGENDIAN: return kBigEndian[column];
    case LXWAVE_FORMAT_EXTENSIBLE:
        if (!IsExtensiblePcm(wfx)) return LXSAMPLETYPE_NONE;
        /* 24 valid bits in a 32-bit word are read at full 32-bit scale. */
        if (column == 3) {
            const WORD valid =
                reinterpret_cast<const WAVEFORMATEXTENSIBLE *>(wfx)->Samples.wValidBitsPerSample;
            return valid == 24 || valid == 32 ? LXSAMPLETYPE_PCM32 : LXSAMPLETYPE_NONE;
        }
        return kPcm[column];
    default: return LXSAMPLETYPE_NONE;
    }
}

LXEXPORT(UINT) LxAudio_FormatTagFromSampleType(LXSAMPLETYPE type) {
    const TypeRow *row = FindType(type);
    return row ? row->tag : 0;
}

LXEXPORT(int) LxAudio_BitsFromSampleType(LXSAMPLETYPE type) {
    const TypeRow *row = FindType(type);
    return row ? row->bits : 0;
}

LXEXPORT(int) LxAudio_BytesFromSampleType(LXSAMPLETYPE type) {
    const TypeRow *row = FindType(type);
    return row ? row->bytes : 0;
}

double SampleType_FullScale(LXSAMPLETYPE type) {
    const TypeRow *row = FindType(type);
    return row ? row->fullScale : 0.0;
}

bool SampleType_IsOwnTag(UINT tag) {
    return tag == LXWAVE_FORMAT_PCM || tag == LXWAVE_FORMAT_IEEE_FLOAT || tag == LXWAVE_FORMAT_UNPACKED ||
           tag == LXWAVE_FORMAT_SIGNED || tag == LXWAVE_FORMAT_BIGENDIAN;
}

LXEXPORT(double) LxAudio_GetNormalizeFactor(int bits) {
    switch (bits) {
    case 8: return 128.0;
    case 16: return 32768.0;
    case 24: return 8388608.0;
    case 32: return 2147483648.0;
    default: return 1.0;
    }
}

/* Only PCM is mended. The data rate is deliberately left as stored, also
   when the alignment changes. */
LXEXPORT(BOOL) LxAudio_FixBadWfx(tWAVEFORMATEX *wfx) {
    if (!wfx) return FALSE;
    if (wfx->wFormatTag != LXWAVE_FORMAT_PCM) return FALSE;
    BOOL changed = FALSE;
    if (wfx->wBitsPerSample == 20) {
        wfx->wBitsPerSample = 24;
        changed = TRUE;
    }
    const WORD align = (WORD)((wfx->wBitsPerSample / 8) * wfx->nChannels);
    if (align != wfx->nBlockAlign) {
        wfx->nBlockAlign = align;
        changed = TRUE;
    }
    return changed;
}

LXEXPORT(BOOL) LxAudio_IsEqualFormat(const tWAVEFORMATEX *a, const tWAVEFORMATEX *b) {
    if (!a || !b) return FALSE;
    return a->nChannels == b->nChannels && a->nSamplesPerSec == b->nSamplesPerSec &&
           a->wBitsPerSample == b->wBitsPerSample && a->wFormatTag == b->wFormatTag;
}

LXEXPORT(HRESULT) LxAudio_FillSilence(const tWAVEFORMATEX *wfx, void *buffer, UINT frames) {
    if (!wfx) return LX_E_FAIL;
    const ULONGLONG count = (ULONGLONG)wfx->nBlockAlign * frames;
    if (count == 0) return LX_S_OK;
    if (!buffer || count > (ULONGLONG)(size_t)-1) return LX_E_FAIL;

    BYTE fill;
    switch (wfx->wFormatTag) {
    case LXWAVE_FORMAT_PCM:
    case LXWAVE_FORMAT_BIGENDIAN:
        fill = wfx->wBitsPerSample == 8 ? 0x80 : 0;
        break;
    case LXWAVE_FORMAT_IEEE_FLOAT:
    case LXWAVE_FORMAT_UNPACKED:
    case LXWAVE_FORMAT_SIGNED:
        fill = 0;
        break;
    case LXWAVE_FORMAT_EXTENSIBLE:
        /* Another subtype is left alone without complaint. */
        if (!IsExtensiblePcm(wfx)) return LX_S_OK;
        fill = wfx->wBitsPerSample == 8 ? 0x80 : 0;
        break;
    default: return LX_E_FAIL;
    }
    FillBytes(static_cast<BYTE *>(buffer), (size_t)count, fill);
    return LX_S_OK;
}

/* Refuses the extensible tag with two or more channels, though
   LxAudio_FillSilence takes it: callers depend on that difference. */
LXEXPORT(HRESULT) LxAudio_FillSilenceChannel(const tWAVEFORMATEX *wfx, void *buffer,
                                             UINT channel, UINT frames) {
    if (!wfx) return LX_E_FAIL;
    if (channel >= wfx->nChannels) return LX_E_FAIL;
    if (frames == 0) return LX_S_OK;
    if (wfx->nChannels < 2) return LxAudio_FillSilence(wfx, buffer, frames);
    if (!buffer) return LX_E_FAIL;

    const UINT tag = wfx->wFormatTag;
    const UINT bits = wfx->wBitsPerSample;
    UINT width;
    BYTE fill = 0;
    if (tag == LXWAVE_FORMAT_IEEE_FLOAT) {
        if (bits != 32 && bits != 64) return LX_E_FAIL;
        width = bits / 8;
    } else if (SampleType_IsOwnTag(tag)) {
        if (bits != 8 && bits != 16 && bits != 24 && bits != 32) return LX_E_FAIL;
        width = bits / 8;
        if (bits == 8 && tag != LXWAVE_FORMAT_SIGNED) fill = 0x80;
        /* Unpacked 24-bit samples sit in four bytes. */
        if (tag == LXWAVE_FORMAT_UNPACKED && bits == 24) width = 4;
    } else {
        return LX_E_FAIL;
    }

    const size_t step = (size_t)width * wfx->nChannels;
    BYTE *p = static_cast<BYTE *>(buffer) + (size_t)channel * width;
    for (UINT i = 0; i < frames; ++i, p += step) memset(p, fill, width);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxAudio_GetTagText(UINT tag, char *text, UINT size) {
    if (SampleType_IsOwnTag(tag)) {
        UINT id;
        switch (tag) {
        case LXWAVE_FORMAT_PCM: id = kStrPcm; break;
        case LXWAVE_FORMAT_IEEE_FLOAT: id = kStrFloat; break;
        case LXWAVE_FORMAT_UNPACKED: id = kStrUnpacked; break;
        case LXWAVE_FORMAT_SIGNED: id = kStrSigned; break;
        case LXWAVE_FORMAT_BIGENDIAN: id = kStrBigEndian; break;
        default: id = kStrPcmUnknown; break;
        }
        CopyOut(text, size, KernelString(id));
        return LX_S_OK;
    }

    ACMFORMATTAGDETAILSA details;
    memset(&details, 0, sizeof details);
    details.cbStruct = sizeof details;
    details.dwFormatTag = tag;
    if (acmFormatTagDetailsA(nullptr, &details, ACM_FORMATTAGDETAILSF_FORMATTAG) != 0)
        return CopyUnknown(text, size);
    details.szFormatTag[sizeof details.szFormatTag - 1] = 0;
    CopyOut(text, size, details.szFormatTag);
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxAudio_GetAttribsText(const tWAVEFORMATEX *wfx, char *text, UINT size) {
    if (!wfx) return CopyUnknown(text, size);
    const UINT tag = wfx->wFormatTag;

    if (SampleType_IsOwnTag(tag) &&
        wfx->nBlockAlign == (UINT)(wfx->wBitsPerSample / 8) * wfx->nChannels) {
        char channels[kTextRoom];
        if (wfx->nChannels == 1)
            lstrcpynA(channels, KernelString(kStrMono), sizeof channels);
        else if (wfx->nChannels == 2)
            lstrcpynA(channels, KernelString(kStrStereo), sizeof channels);
        else
            LxPrintF(channels, KernelString(kStrChannels), (int)wfx->nChannels);
        if (!text) return LX_S_OK;

        char line[kTextRoom];
        const UINT id = tag == LXWAVE_FORMAT_IEEE_FLOAT ? kStrAttribsFloat : kStrAttribs;
        LxPrintF(line, KernelString(id), (int)wfx->nSamplesPerSec, (int)wfx->wBitsPerSample,
                 channels);
        CopyOut(text, size, line);
        return LX_S_OK;
    }

    ACMFORMATDETAILSA details;
    memset(&details, 0, sizeof details);
    details.cbStruct = sizeof details;
    details.dwFormatTag = tag;
    /* The manager takes a writable pointer but only reads the record. */
    details.pwfx = const_cast<tWAVEFORMATEX *>(wfx);
    details.cbwfx = (tag == LXWAVE_FORMAT_PCM || tag == LXWAVE_FORMAT_IEEE_FLOAT)
                        ? 16
                        : (DWORD)wfx->cbSize + LXWFX_BASE_SIZE;
    if (acmFormatDetailsA(nullptr, &details, ACM_FORMATDETAILSF_FORMAT) != 0)
        return CopyUnknown(text, size);
    details.szFormat[sizeof details.szFormat - 1] = 0;
    CopyOut(text, size, details.szFormat);
    return LX_S_OK;
}
