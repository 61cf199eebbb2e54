#include "media/pipeline/element.h"

#include "core/log.h"

namespace kep::host {

Element::Element() {
    properties().add<std::string>(
        "caps", [this] { return caps_; },
        [this](const std::string& caps) {
            if (!caps.empty() && caps != "video" && caps != "audio") {
                KEP_HOST_ERROR(label() + ": caps=" + caps + " is neither video nor audio");
                return false;
            }
            caps_ = caps;
            return true;
        });
    properties().add<bool>(
        "dbg", [this] { return traced_; },
        [this](bool traced) {
            traced_ = traced;
            return true;
        });
}

bool Element::link(Element& next) {
    next_.push_back(&next);
    return true;
}

void Element::unlink() {
    next_.clear();
}

void Element::give(const SharedPacket& packet) const {
    const char* kind = packet->isVideo() ? "video" : "audio";
    for (Element* next : next_)
        if (next->caps_.empty() || next->caps_ == kind) next->take(packet, *this);
}

void Element::giveCut() const {
    for (Element* next : next_) next->takeCut(*this);
}

void Element::trace(std::string_view text) const {
    if (traced_) KEP_HOST_INFO(label() + ": " + std::string(text));
}

}  // namespace kep::host
