/*
 * The processor-specific members of the hot converter pairs and the plain
 * members they fall back on. Not a public header.
 */
#ifndef LXCONVERT_SSE_H
#define LXCONVERT_SSE_H

#include "lxconvert.h"

namespace lxconvert {

/* The member of (dest, src) for a processor level (0 to 6); the exported
   lookup passes the level LxGetCPUSupport reports at that moment. */
LxAudioCopyFunc SelectMember(int dest, int src, int level);

/* Plain members: double precision, truncating conversion per sample. */
void LXAPI Plain16From32(void *dest, const void *src, int count, float gain);
void LXAPI Plain17From32(void *dest, const void *src, int count, float gain);
void LXAPI Plain18From32(void *dest, const void *src, int count, float gain);
void LXAPI Plain16From33(void *dest, const void *src, int count, float gain);
void LXAPI Plain17From33(void *dest, const void *src, int count, float gain);
void LXAPI Plain18From33(void *dest, const void *src, int count, float gain);
void LXAPI Plain32From17(void *dest, const void *src, int count, float gain);

/* Paired members: two samples a pass. */
void LXAPI Paired16From32(void *dest, const void *src, int count, float gain);
void LXAPI Paired17From32(void *dest, const void *src, int count, float gain);
void LXAPI Paired18From32(void *dest, const void *src, int count, float gain);
void LXAPI Paired16From33(void *dest, const void *src, int count, float gain);
void LXAPI Paired17From33(void *dest, const void *src, int count, float gain);
void LXAPI Paired18From33(void *dest, const void *src, int count, float gain);

/* SSE members (single-precision multiplier); SSE2 members (double). */
void LXAPI Sse16From32(void *dest, const void *src, int count, float gain);
void LXAPI Sse17From32(void *dest, const void *src, int count, float gain);
void LXAPI Sse18From32(void *dest, const void *src, int count, float gain);
void LXAPI Sse32From17(void *dest, const void *src, int count, float gain);
void LXAPI Sse2_16From33(void *dest, const void *src, int count, float gain);
void LXAPI Sse2_17From33(void *dest, const void *src, int count, float gain);
void LXAPI Sse2_18From33(void *dest, const void *src, int count, float gain);
void LXAPI Sse2_32From17(void *dest, const void *src, int count, float gain);

}  // namespace lxconvert

#endif
