#include "media/pipeline/element.h"

#include <algorithm>

#include "media/pipeline/outlet.h"
#include "objects/log.h"
#include "objects/text_message.h"
#include "text/attr_text.h"
#include "text/time_span.h"

namespace kep::host {

namespace {
/** Indexed by Caps. */
constexpr std::array<std::string_view, 3> kCaps = {"", "video", "audio"};
}  // namespace

Element::Element() {
    // The pipeline reads it, as it knows the elements by their names.
    reserveAttributes({"link"});
    properties().add<std::string>(
        "caps", [this] { return std::string(kCaps[static_cast<std::size_t>(caps_.load())]); },
        [this](const std::string& text) {
            const auto* const caps = std::ranges::find(kCaps, text);
            if (caps == kCaps.end()) {
                KEP_HOST_ERROR(label() + ": caps=" + text + " is neither video nor audio");
                return false;
            }
            caps_ = static_cast<Caps>(caps - kCaps.begin());
            return true;
        });
    properties().add("dbg", traced_);
}

Element::~Element() {
    for (Element* const after : next_) std::erase(after->previous_, this);
    for (Element* const before : previous_) std::erase(before->next_, this);
}

void Element::link(Element& next) {
    next_.push_back(&next);
    next.previous_.push_back(this);
}

bool Element::takes(Media::Kind kind) const {
    const Caps caps = caps_;
    return caps == Caps::both || (caps == Caps::video) == (kind == Media::Kind::video);
}

void Element::requestKeyFrame(SteadyTime at) {
    for (Element* const before : previous_) before->requestKeyFrame(at);
}

void Element::give(const SharedPacket& packet) {
    for (Element* next : next_)
        if (next->takes(packet->media->kind)) next->take(packet, *this);
    if (!outlet_) return;
    outlet_->give(packet);
    for (const SteadyTime at : outlet_->takeKeyFrameRequests()) requestKeyFrame(at);
}

void Element::giveDue() {
    for (Element* const before : previous_) before->giveDue();
}

void Element::discard(bool discards) {
    for (Element* const after : next_) after->discard(discards);
}

bool Element::nextTakeAtOnce() const {
    return std::all_of(next_.begin(), next_.end(), [](const Element* after) { return after->takesAtOnce(); });
}

void Element::announce(const MediaPtr& media) const {
    for (Element* const after : next_) {
        if (after->takes(media->kind)) after->expect(media);
    }
}

void Element::giveCut() const {
    for (Element* next : next_) next->takeCut(*this);
}

void Element::tell(const char* name, const std::string& attributes) {
    TextMessage message(("name=" + std::string(name) + "," + attributes).c_str());
    sendMessage(message);
}

void Element::tellLost(Media::Kind kind, std::size_t lost) {
    if (!lost) return;
    const std::size_t total = lost_[static_cast<std::size_t>(kind)] += lost;
    tell("frameLost", std::string("media=") + Media::nameOf(kind) + ",lost=" + std::to_string(lost) +
                          ",total=" + std::to_string(total));
}

void Element::tellLost(const std::vector<SharedPacket>& lost) {
    PacketCounts counts;
    for (const SharedPacket& packet : lost) {
        if (packet) counts.add(*packet);
    }
    tellLost(counts);
}

void Element::tellLost(const PacketCounts& lost) {
    tellLost(Media::Kind::video, lost.video);
    tellLost(Media::Kind::audio, lost.audio);
}

void Element::tellDeviceLost(Media::Kind kind, const std::string& device) {
    tell("deviceLost", std::string("media=") + Media::nameOf(kind) + ",device={" + device + "}");
}

std::string FileFailure::text() const {
    std::string attributes;
    if (!url.empty()) attributes += "url={" + url + "},";
    if (!kept.empty()) attributes += "kept={" + kept + "},";
    attributes += "reason=";
    appendValue(attributes, reason);
    return attributes;
}

bool Element::readSpan(const char* name, const std::string& text, std::chrono::milliseconds& span) const {
    std::string reason;
    if (readTimeSpan(text, span, reason)) return true;
    KEP_HOST_ERROR(label() + ": " + name + "=" + text + " " + reason);
    return false;
}

void Element::trace(std::string_view text) const {
    if (traced_) KEP_HOST_INFO(label() + ": " + std::string(text));
}

}  // namespace kep::host
