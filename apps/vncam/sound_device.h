#ifndef VNCAM_SOUND_DEVICE_H
#define VNCAM_SOUND_DEVICE_H

#include <string>

namespace vncam {

/** The microphone or the speaker of the camera, with volume and mute as this process has set them. */
class SoundDevice {
  public:
    static constexpr int kMostVolume = 100;

    static SoundDevice& microphone();
    static SoundDevice& speaker();
    /** Throws UsageError for any name but "mic" and "speaker". */
    static SoundDevice& named(const std::string& name);

    // Each throws Failure when the device refuses it.
    void setVolume(int volume);
    void setMute(bool mute);

    int volume() const { return volume_; }
    bool isMuted() const { return isMuted_; }
    /** "mic 80 %", "speaker muted". */
    std::string text() const;

  private:
    struct Calls {
        const char* name; /**< of the device */
        const char* volumeName;
        int (*setVolume)(int);
        const char* muteName;
        int (*setMute)(int);
    };

    explicit SoundDevice(const Calls& calls) : calls_(calls) {}

    const Calls& calls_;
    int volume_ = kMostVolume;
    bool isMuted_ = false;
};

}  // namespace vncam

#endif
