/**
 * @file
 * Sound in blocks: samples of the microphone, and AAC in memory. Include vornisa_api.h.
 */
#ifndef VORNISA_AUDIO_H
#define VORNISA_AUDIO_H

#include "vornisa_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads samples of a playing VNRES_PCM_SOURCE in blocks of the caller's size. What a block leaves of a frame
 * is kept with the handle and comes first in the next one; only when nothing is kept is a frame taken from
 * the source, for which the call blocks. A block is therefore shorter than asked for where a frame ends: that
 * is no failure, but writes one line. To read in blocks of a fixed size, go on until the sum of `len` is
 * reached.
 *
 * Calls on one handle must not overlap. What is kept for all handles is in one table that nothing guards: no
 * call may run beside an acquisition or release of any handle (VNAcquire, VNRelease, the first call of a
 * stamp function without a handle), nor beside the first read of another handle.
 *
 * @param id       handle; not 0
 * @param buf      out: room for the samples, interleaved 16-bit little-endian; not null (not checked)
 * @param buf_size bytes wanted, from 1 to 131072; with 0 or less frames are taken, and kept, until one no
 * longer fits
 * @param len      out: bytes put into `buf`, written only on success; may be null
 *
 * @retval VNRES_SUCCEED       there are samples in `buf`, not more than were asked for
 * @retval VNRES_INVALID_ARG   `id` is 0, or `buf_size` is above 131072
 * @retval VNRES_WRONG_DEVICE  the object gives no frames
 * @retval VNRES_UNSUPPORTED   the object does not let frames be taken from it
 * @retval VNRES_FAIL          there was no further frame, as when the stream is stopped
 * @retval VNRES_BUF_TOO_SMALL a frame did not fit into the 131072 bytes that are kept, and is lost; those
 * kept stay
 * @retval VNRES_BUFFER_ERROR  a frame could not be kept, and is lost; those kept stay
 */
VN_API int VNReadPcm(int id, void* buf, int buf_size, int* len);

/**
 * Configures an AAC codec: sample rate, channels, ADTS, bit rate and band width, in this order. The values
 * are the codec's to accept; those before a refused one stay set.
 *
 * @param id        handle of a VNRES_AAC_ENCODER or VNRES_AAC_DECODER; not 0
 * @param rate      sample rate in hertz
 * @param ch        number of channels
 * @param hasAdts   0 for bare AAC frames, any other value for frames with ADTS headers
 * @param bitrate   bit rate, in the codec's unit; bits per second on a workstation
 * @param bandWidth audio band width, in the codec's unit
 *
 * @retval VNRES_SUCCEED     all five are set
 * @retval VNRES_INVALID_ARG `id` is 0, the object has no such settings, or it refused one
 */
VN_API int VNAacCodecSet(int id, int rate, int ch, int hasAdts, int bitrate, int bandWidth);

/**
 * Encodes one block of samples. The encoder is looked up once in a process, on the first handle used that
 * offers one, whatever comes of that call; later calls use it with any handle and do not check the kind of
 * theirs. Calls on one handle must not overlap.
 *
 * @param id       handle of a VNRES_AAC_ENCODER; not 0
 * @param in       in: the samples; checked by the codec alone, as `out` and the lengths
 * @param in_len   bytes at `in`
 * @param consumed out: bytes of `in` that were used, written only on success; may be null
 * @param out      out: room for the encoded block
 * @param out_len  bytes at `out`
 *
 * @return bytes put into `out`, which may be 0, or a code:
 * @retval VNRES_INVALID_ARG `id` is 0, or the object offers no AAC encoder
 * @retval VNRES_UNSUPPORTED the encoder failed
 */
VN_API int VNAacEncode(int id, const void* in, int in_len, int* consumed, void* out, int out_len);

/**
 * Decodes one block of AAC. The decoder is looked up once in a process, on the first handle used that offers
 * one, whatever comes of that call; later calls use it with any handle and do not check the kind of theirs.
 * Calls on one handle must not overlap.
 *
 * @param id       handle of a VNRES_AAC_DECODER; not 0
 * @param in       in: AAC data; checked by the codec alone, as `out` and the lengths
 * @param in_len   bytes at `in`
 * @param consumed out: bytes of `in` that were used, written only on success; may be null
 * @param out      out: room for the samples
 * @param out_len  bytes at `out`
 *
 * @return bytes put into `out`, which may be 0, or a code:
 * @retval VNRES_INVALID_ARG `id` is 0, or the object offers no AAC decoder
 * @retval VNRES_UNSUPPORTED the decoder failed
 */
VN_API int VNAacDecode(int id, const void* in, int in_len, int* consumed, void* out, int out_len);

#ifdef __cplusplus
}
#endif

#endif
