/**
 * @file
 * Audio: microphone samples in blocks, and AAC encoding and decoding in memory. Include vornisa_api.h.
 */
#ifndef VORNISA_AUDIO_H
#define VORNISA_AUDIO_H

#include "vornisa_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads samples of a playing VNRES_PCM_SOURCE in blocks of the caller's size. The handle stores the rest of a
 * frame that does not fit into a block, and the next call returns it first; only when nothing is stored does
 * a call read a frame from the source, and blocks until there is one. A block is therefore shorter than
 * requested where a frame ends: this is not a failure, but writes one line. To read blocks of a fixed size,
 * repeat the call until the sum of `len` is reached.
 *
 * Calls on one handle must not overlap. The stores of all handles are in one table without a lock: no call
 * may run at the same time as an acquisition or release of any handle (VNAcquire, VNRelease, the first call
 * of a stamp function without a handle), or as the first read of another handle.
 *
 * @param id       handle; not 0
 * @param buf      out: the samples, interleaved 16-bit little-endian; not null (not checked)
 * @param buf_size bytes requested, from 1 to 131072; with 0 or less the call reads and stores frames until
 * one no longer fits
 * @param len      out: bytes written to `buf`, set only on success; may be null
 *
 * @retval VNRES_SUCCEED       `buf` has samples, at most as many as requested
 * @retval VNRES_INVALID_ARG   `id` is 0, or `buf_size` is above 131072
 * @retval VNRES_WRONG_DEVICE  the object does not output frames
 * @retval VNRES_UNSUPPORTED   the object does not support reading frames
 * @retval VNRES_FAIL          no further frame, for example because the stream is stopped
 * @retval VNRES_BUF_TOO_SMALL a frame did not fit into the store of 131072 bytes and is lost; stored samples
 * remain
 * @retval VNRES_BUFFER_ERROR  a frame could not be stored and is lost; stored samples remain
 */
VN_API int VNReadPcm(int id, void* buf, int buf_size, int* len);

/**
 * Configures an AAC codec: sets sample rate, channels, ADTS, bit rate and bandwidth, in this order. The codec
 * decides which values it accepts; those set before a refused one remain set.
 *
 * @param id        handle of a VNRES_AAC_ENCODER or VNRES_AAC_DECODER; not 0
 * @param rate      sample rate in hertz
 * @param ch        number of channels
 * @param hasAdts   0 for bare AAC frames, any other value for frames with ADTS headers
 * @param bitrate   bit rate, in the codec's unit; bits per second on a workstation
 * @param bandWidth audio bandwidth, in the codec's unit
 *
 * @retval VNRES_SUCCEED     all five are set
 * @retval VNRES_INVALID_ARG `id` is 0, the object has no such settings, or it refused a value
 */
VN_API int VNAacCodecSet(int id, int rate, int ch, int hasAdts, int bitrate, int bandWidth);

/**
 * Encodes one block of samples. The library looks up the encoding function once in a process, on the first
 * handle that offers one, and keeps it even if that call fails; later calls use it with any handle and do not
 * check the kind of its object. Calls on one handle must not overlap.
 *
 * @param id       handle of a VNRES_AAC_ENCODER; not 0
 * @param in       in: the samples. Only the codec checks this pointer, `out` and the lengths
 * @param in_len   bytes at `in`
 * @param consumed out: bytes of `in` that were consumed, set only on success; may be null
 * @param out      out: the encoded block
 * @param out_len  bytes at `out`
 *
 * @return bytes written to `out`, possibly 0, or a code:
 * @retval VNRES_INVALID_ARG `id` is 0, or the object offers no AAC encoder
 * @retval VNRES_UNSUPPORTED the encoder failed
 */
VN_API int VNAacEncode(int id, const void* in, int in_len, int* consumed, void* out, int out_len);

/**
 * Decodes one block of AAC. The library looks up the decoding function once in a process, on the first handle
 * that offers one, and keeps it even if that call fails; later calls use it with any handle and do not check
 * the kind of its object. Calls on one handle must not overlap.
 *
 * @param id       handle of a VNRES_AAC_DECODER; not 0
 * @param in       in: AAC data. Only the codec checks this pointer, `out` and the lengths
 * @param in_len   bytes at `in`
 * @param consumed out: bytes of `in` that were consumed, set only on success; may be null
 * @param out      out: the samples
 * @param out_len  bytes at `out`
 *
 * @return bytes written to `out`, possibly 0, or a code:
 * @retval VNRES_INVALID_ARG `id` is 0, or the object offers no AAC decoder
 * @retval VNRES_UNSUPPORTED the decoder failed
 */
VN_API int VNAacDecode(int id, const void* in, int in_len, int* consumed, void* out, int out_len);

#ifdef __cplusplus
}
#endif

#endif
