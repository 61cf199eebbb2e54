#include "recordings/recording_check.h"

#include "recordings/container_checks.h"

namespace recordings {

RecordingCheck checkRecording(const std::string& path) {
    const FileBytes file(path);
    if (file.size() == 0) return {RecordingCheck::State::unplayable, 0, 0, "empty file", {}, {}};
    if (isTs(file)) return checkTs(file);
    if (isMp4(file)) return checkMp4(file);
    return {RecordingCheck::State::noRecording, 0, 0, "neither MP4 nor MPEG-TS", {}, {}};
}

}  // namespace recordings
