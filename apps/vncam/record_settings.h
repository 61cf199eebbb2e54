#ifndef VNCAM_RECORD_SETTINGS_H
#define VNCAM_RECORD_SETTINGS_H

#include <optional>
#include <string>

#include "values.h"

namespace vncam {

/** Settings of `vncam record`. */
struct RecordSettings {
    Size size{1920, 1080};
    int fps = 30;
    int bps = 2000000;
    int gop = 15;
    int segment = 60;   /**< seconds */
    bool plain = false; /**< an index at the end instead of fragments */
    std::string folder = ".";
    std::string name = "rec_%Y-%m-%d_%H-%M-%S.mp4";
    double seconds = 0; /**< 0: no end */
    bool quiet = false;
};

/** Parses the command line; nothing when help or version was printed. Throws UsageError. */
std::optional<RecordSettings> parseRecord(int argc, char** argv);

}  // namespace vncam

#endif
