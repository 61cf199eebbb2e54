#ifndef VNCAM_VOLUME_KEYS_H
#define VNCAM_VOLUME_KEYS_H

#include <termios.h>

#include <optional>

#include "sound_device.h"

namespace vncam {

/**
 * The keys + - m of the terminal on standard input, which change volume and mute of a sound device while the
 * object lives. Without a terminal it does nothing.
 */
class VolumeKeys {
  public:
    explicit VolumeKeys(SoundDevice& device);
    ~VolumeKeys();
    VolumeKeys(const VolumeKeys&) = delete;
    VolumeKeys& operator=(const VolumeKeys&) = delete;

    /** Handles the keys pressed since the last call; to be called often. Throws as SoundDevice does. */
    void poll();

    const SoundDevice& device() const { return device_; }

  private:
    void press(char key);

    SoundDevice& device_;
    std::optional<termios> before_; /**< the terminal's settings, where there is one */
};

}  // namespace vncam

#endif
