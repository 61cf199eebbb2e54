#include "recording_check.h"

#include "mp4_check.h"
#include "ts_check.h"

namespace vncam {

RecordingCheck checkRecording(const std::string& path) {
    const FileBytes file(path);
    if (file.size() == 0) return {RecordingCheck::State::unplayable, 0, 0, "it is empty"};
    if (beginsLikeMp4(file)) return checkMp4(file);
    if (beginsLikeTs(file)) return checkTs(file);
    return {RecordingCheck::State::noRecording, 0, 0, "it is neither MP4 nor MPEG-TS"};
}

}  // namespace vncam
