#ifndef KEP_HOST_SETTINGS_H
#define KEP_HOST_SETTINGS_H

#include "media/audio/audio_block.h"

namespace kep::host {

// Whether a setting of an application makes sense; a line names it and its value when it does not.

bool isSetting(const char* name, int value, int low, int high);
/** A side of a picture. */
bool isSideSetting(const char* name, int pixels);
/** The format of uncompressed sound. */
bool isPcmSetting(AudioFormat format, int mostChannels);

}  // namespace kep::host

#endif
