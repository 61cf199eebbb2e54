#include "media/audio/block_builder.h"

#include <algorithm>

namespace kep::host {

namespace {

constexpr auto kJump = std::chrono::milliseconds(100);
constexpr int kSmoothing = 64;

}  // namespace

void BlockBuilder::add(const AudioBlock& captured) {
    const auto deviation = captured.stamp - end_;
    if (!started_ || deviation > kJump || deviation < -kJump)
        end_ = captured.stamp;
    else
        end_ += deviation / kSmoothing;
    started_ = true;
    // Nothing is captured later than it is delivered: a stamp that says so was late itself.
    end_ = std::min(end_ + format_.duration(captured.frames()), std::chrono::steady_clock::now());
    pending_.insert(pending_.end(), captured.samples.begin(), captured.samples.end());
}

std::shared_ptr<AudioBlock> BlockBuilder::take() {
    const std::size_t samples = static_cast<std::size_t>(format_.blockFrames()) * format_.channels;
    if (pending_.size() < samples) return nullptr;
    auto block = std::make_shared<AudioBlock>();
    block->format = format_;
    block->stamp = end_ - format_.duration(static_cast<std::int64_t>(pending_.size()) / format_.channels);
    const auto cut = pending_.begin() + static_cast<std::ptrdiff_t>(samples);
    block->samples.assign(pending_.begin(), cut);
    pending_.erase(pending_.begin(), cut);
    return block;
}

}  // namespace kep::host
