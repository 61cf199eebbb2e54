#include "vision/people_tracks.h"

#include <algorithm>
#include <bit>

namespace kep::host {
namespace {

constexpr unsigned kMemory = 0b111;  /**< a bit for each picture that a track remembers */
constexpr int kConfirmations = 2;    /**< more lose walking people, fewer let single errors through */
constexpr double kSameOverlap = 0.3; /**< smaller confuses neighbours, larger loses fast walkers */
constexpr double kSpeedWeight = 0.5; /**< of the newest step; larger follows the jitter of the boxes */

/** Intersection over union of two boxes. */
double overlap(const PersonBox& a, const PersonBox& b) {
    const double w = std::min(a.x + a.w, b.x + b.w) - std::max(a.x, b.x);
    const double h = std::min(a.y + a.h, b.y + b.h) - std::max(a.y, b.y);
    if (w <= 0 || h <= 0) return 0;
    return w * h / (a.w * a.h + b.w * b.h - w * h);
}

}  // namespace

void PeopleTracks::follow(const std::vector<PersonBox>& boxes, std::vector<bool>& isTaken) {
    for (Track& track : tracks_) {
        PersonBox expected = track.box;
        expected.x += track.speedX;
        expected.y += track.speedY;
        std::size_t best = boxes.size();
        double most = kSameOverlap;
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            const double shared = overlap(expected, boxes[i]);
            if (isTaken[i] || shared < most) continue;
            most = shared;
            best = i;
        }
        track.seen = track.seen << 1 & kMemory;
        if (best == boxes.size()) {
            track.box = expected;
            continue;
        }
        const PersonBox& box = boxes[best];
        isTaken[best] = true;
        track.seen |= 1;
        const auto step = [](double from, double fromSize, double to, double toSize) {
            return to + toSize / 2 - from - fromSize / 2;
        };
        track.speedX += kSpeedWeight * (step(track.box.x, track.box.w, box.x, box.w) - track.speedX);
        track.speedY += kSpeedWeight * (step(track.box.y, track.box.h, box.y, box.h) - track.speedY);
        track.box = box;
        track.isConfirmed = track.isConfirmed || std::popcount(track.seen) >= kConfirmations;
    }
}

std::vector<PersonBox> PeopleTracks::update(const std::vector<PersonBox>& boxes) {
    std::vector<bool> isTaken(boxes.size());
    // Confirmed tracks choose first: an unconfirmed one must not take their box.
    std::stable_partition(tracks_.begin(), tracks_.end(),
                          [](const Track& track) { return track.isConfirmed; });
    follow(boxes, isTaken);
    std::erase_if(tracks_, [](const Track& track) { return track.seen == 0; });
    for (std::size_t i = 0; i < boxes.size(); ++i)
        if (!isTaken[i]) tracks_.push_back({boxes[i], 0, 0, 1, false});
    std::vector<PersonBox> people;
    for (const Track& track : tracks_)
        if (track.isConfirmed) people.push_back(track.box);
    return people;
}

}  // namespace kep::host
