/**
 * @file
 * Microphone and speaker of the camera. Include vornisa_api.h.
 *
 * The library looks up each device at the first call that needs it, and again at each call until there is
 * one.
 */
#ifndef VORNISA_SOUND_DEVICE_H
#define VORNISA_SOUND_DEVICE_H

#include "vornisa_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sets the volume of the microphone.
 *
 * @param vol volume on the device's own scale; passed on unchecked
 *
 * @retval VNRES_SUCCEED      passed on; the device reports no result
 * @retval VNRES_WRONG_DEVICE there is no microphone
 * @retval VNRES_UNSUPPORTED  the microphone has no volume control
 */
VN_API int VNSetMicVol(int vol);

/**
 * Mutes or unmutes the microphone.
 *
 * @param b_mute 0 unmutes, any other value mutes
 *
 * @retval VNRES_SUCCEED      passed on; the device reports no result
 * @retval VNRES_WRONG_DEVICE there is no microphone
 * @retval VNRES_UNSUPPORTED  the microphone cannot be muted
 */
VN_API int VNSetMicMute(int b_mute);

/**
 * Sets the volume of the speaker.
 *
 * @param vol volume on the device's own scale; passed on unchecked
 *
 * @retval VNRES_SUCCEED      passed on; the device reports no result
 * @retval VNRES_WRONG_DEVICE there is no speaker
 * @retval VNRES_UNSUPPORTED  the speaker has no volume control
 */
VN_API int VNSetSpeakerVol(int vol);

/**
 * Mutes or unmutes the speaker.
 *
 * @param b_mute 0 unmutes, any other value mutes
 *
 * @retval VNRES_SUCCEED      passed on; the device reports no result
 * @retval VNRES_WRONG_DEVICE there is no speaker
 * @retval VNRES_UNSUPPORTED  the speaker cannot be muted
 */
VN_API int VNSetSpeakerMute(int b_mute);

#ifdef __cplusplus
}
#endif

#endif
