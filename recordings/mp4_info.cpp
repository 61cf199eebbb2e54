#include "recordings/mp4_info.h"

#include "recordings/mp4_reader.h"

namespace recordings {

namespace {

/** Whether the file has an index of all its fragments, at its end or in front of them. */
bool isIndexed(const FileBytes& file, std::uint64_t firstBox) {
    constexpr std::uint64_t kMaxIndex = 1 << 20;
    BoxWindow window(file);
    if (findFragmentIndex(file, window, firstBox)) return true;
    return std::ranges::any_of(readSegmentIndexes(file, window, firstBox, kMaxIndex), [&](const auto& index) {
        return index.references.back().offset + index.references.back().bytes == file.size();
    });
}

}  // namespace

Mp4Info mp4Info(const std::string& path) {
    const Mp4Reader reader(path);
    Mp4Info info;
    info.milliseconds = reader.milliseconds();
    info.tracks = reader.tracks();
    const FileBytes& file = reader.file();
    FragmentWalk walk(file, reader.beginning());
    while (walk.next(file.size())) ++info.fragments;
    info.isFinished = info.fragments == 0 || isIndexed(file, reader.beginning().firstBox);
    return info;
}

}  // namespace recordings
