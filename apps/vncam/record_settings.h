#ifndef VNCAM_RECORD_SETTINGS_H
#define VNCAM_RECORD_SETTINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

    /** A further recording of the same camera. */
    struct Also {
        Size size;
        int bps;
    };
    std::vector<Also> also;

    // Limits beyond which finished files are deleted; 0: no limit.
    std::int64_t keepBytes = 0;
    std::int64_t keepSeconds = 0;
    std::int64_t freeBytes = 0;
    bool isLimited() const { return keepBytes > 0 || keepSeconds > 0 || freeBytes > 0; }

    /** All recordings, this one first. Files of the others have their size in the name: a_640x360.mp4. */
    std::vector<RecordSettings> recordings() const;
};

/** Parses the command line; nothing when help or version was printed. Throws UsageError. */
std::optional<RecordSettings> parseRecord(int argc, char** argv);

}  // namespace vncam

#endif
