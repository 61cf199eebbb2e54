#include "recordings/mp4_info.h"

#include "recordings/mp4_reader.h"

namespace recordings {

Mp4Info mp4Info(const std::string& path) {
    const Mp4Reader reader(path);
    Mp4Info info;
    info.milliseconds = reader.milliseconds();
    info.tracks = reader.tracks();
    const FileBytes& file = reader.file();
    FragmentWalk walk(file, reader.beginning());
    while (walk.next(file.size())) ++info.fragments;
    BoxWindow window(file);
    info.isFinished =
        info.fragments == 0 || findFragmentIndex(file, window, reader.beginning().firstBox).has_value();
    return info;
}

}  // namespace recordings
