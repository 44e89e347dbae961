/*
 * Sample conversion and channel copy: the converter table indexed by
 * (destination, source) sample type, the single-channel copier table, and
 * the whole-buffer channel operations built on them.
 */
#ifndef LXCONVERT_H
#define LXCONVERT_H

#include "lxsampletype.h"

/* Converts count samples (frames times channels). Every member works with
   dest equal to src. A gain of exactly 1.0 moves bits where it can. */
typedef void (LXAPI *LxAudioCopyFunc)(void *dest, const void *src, int count, float gain);

/* Copies one channel of an interleaved buffer into one channel of another;
   the channel counts are the strides in samples. */
typedef void (LXAPI *LxAudioCopyChannelsFunc)(void *dest, int destChannels, int destChannel,
                                              const void *src, int srcChannels, int srcChannel,
                                              UINT frames);

/* Null for an unsupported pair. Picks the member for this processor, so a
   result is not to be kept beyond the process. */
LXEXPORT(LxAudioCopyFunc) LxAudio_GetCopyFunction2(LXSAMPLETYPE dest, LXSAMPLETYPE src);
LXEXPORT(HRESULT) LxAudio_Copy(const tWAVEFORMATEX *destFormat, void *dest,
                               const tWAVEFORMATEX *srcFormat, const void *src, int frames,
                               float gain);

/* Only types 16 to 19, 32, 33, 48 and 49 have copiers. */
LXEXPORT(LxAudioCopyChannelsFunc) LxAudio_GetCopyChannelsFunction(const tWAVEFORMATEX *dest,
                                                                  const tWAVEFORMATEX *src);
/* channelMap[i] names the destination channel of source channel i; a
   negative or too large entry skips it. */
LXEXPORT(HRESULT) LxAudio_CopyChannels(const tWAVEFORMATEX *destFormat, void *dest,
                                       const tWAVEFORMATEX *srcFormat, const void *src,
                                       UINT frames, const int *channelMap);

LXEXPORT(HRESULT) LxAudio_ChannelChange(void *dest, int destChannels, const void *src,
                                        const tWAVEFORMATEX *srcFormat, int frames);
LXEXPORT(HRESULT) LxAudio_ChannelChangeAvg(void *dest, int destChannels, const void *src,
                                           const tWAVEFORMATEX *srcFormat, int frames);
LXEXPORT(HRESULT) LxAudio_ExtractChannel(void *dest, UINT channel, const void *src,
                                         const tWAVEFORMATEX *srcFormat, int frames);
LXEXPORT(HRESULT) LxAudio_MonoChannel(void *dest, const void *src, const tWAVEFORMATEX *format,
                                      int frames);
LXEXPORT(HRESULT) LxAudio_CopyChannelToChannel(void *buffer, const tWAVEFORMATEX *format,
                                               UINT fromChannel, UINT toChannel, int frames);
LXEXPORT(HRESULT) LxAudio_MuteChannel(void *buffer, const tWAVEFORMATEX *format, UINT channel,
                                      int frames);
LXEXPORT(HRESULT) LxAudio_SwapStereoChannels(void *buffer, const tWAVEFORMATEX *format,
                                             int frames);
LXEXPORT(HRESULT) LxAudio_CopyChannelToMultiMono(void *dest, const tWAVEFORMATEX *destFormat,
                                                 const void *src,
                                                 const tWAVEFORMATEX *srcFormat, UINT channel,
                                                 int frames);

#endif
