#include "recordings/box_window.h"

namespace recordings {

std::optional<BoxHeader> BoxWindow::boxAt(std::uint64_t offset) {
    if (offset >= file_.size()) return std::nullopt;
    return readFinishedBox(view(offset, kLongestBoxHeader), file_.size() - offset);
}

ByteSpan BoxWindow::view(std::uint64_t offset, std::size_t count) {
    if (count > kWindow) {
        large_.resize(count);
        return ByteSpan(large_).first(file_.read(offset, large_));
    }
    if (offset < begin_ || offset - begin_ > filled_ || filled_ - (offset - begin_) < count) {
        begin_ = offset;
        filled_ = file_.read(offset, std::span(window_).first(std::max(count, step_)));
    }
    const ByteSpan rest = ByteSpan(window_).subspan(offset - begin_, filled_ - (offset - begin_));
    return rest.first(std::min(count, rest.size()));
}

}  // namespace recordings
