#include "volume_keys.h"

#include <unistd.h>

#include <algorithm>

namespace vncam {
namespace {

/** Volume per key press: ten presses cover the scale. */
constexpr int kStep = 10;

/** A job in the background would be stopped for using the terminal. */
bool hasForeground() {
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

}  // namespace

VolumeKeys::VolumeKeys(SoundDevice& device) : device_(device) {
    termios settings{};
    if (!isatty(STDIN_FILENO) || !hasForeground() || tcgetattr(STDIN_FILENO, &settings) != 0) return;
    before_ = settings;
    // Unbuffered and without echo; Ctrl-C stays a signal. Reads do not block.
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

VolumeKeys::~VolumeKeys() {
    if (before_ && hasForeground()) tcsetattr(STDIN_FILENO, TCSANOW, &*before_);
}

void VolumeKeys::poll() {
    if (!before_ || !hasForeground()) return;
    char keys[16];
    const ssize_t count = ::read(STDIN_FILENO, keys, sizeof keys);
    for (ssize_t i = 0; i < count; ++i) press(keys[i]);
}

void VolumeKeys::press(char key) {
    const int most = SoundDevice::kMostVolume;
    switch (key) {
        case '+':
        case '=':  // the same key without shift
            device_.setVolume(std::min(device_.volume() + kStep, most));
            break;
        case '-':
            device_.setVolume(std::max(device_.volume() - kStep, 0));
            break;
        case 'm':
            device_.setMute(!device_.isMuted());
            break;
        default:
            break;
    }
}

}  // namespace vncam
