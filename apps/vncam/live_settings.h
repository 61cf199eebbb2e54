#ifndef VNCAM_LIVE_SETTINGS_H
#define VNCAM_LIVE_SETTINGS_H

#include <deque>
#include <optional>
#include <string>

#include "values.h"

namespace vncam {

/** Settings of `vncam live`. */
struct LiveSettings {
    Size size{1920, 1080};
    std::deque<SizeSwitch> switches; /**< in the order of their seconds */
    int fps = 30;
    int bps = 2000000;
    int gop = 30;
    int rate = 48000;
    int channels = 1;
    int audioBps = 64000;
    double seconds = 0; /**< 0: no end */
    std::string video;  /**< file, "-" or empty for none */
    std::string audio;
    bool quiet = false;
};

/** Parses the command line; nothing when help or version was printed. Throws UsageError. */
std::optional<LiveSettings> parseLive(int argc, char** argv);

}  // namespace vncam

#endif
