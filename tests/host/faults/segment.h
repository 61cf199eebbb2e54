#ifndef VORNISA_SEGMENT_H
#define VORNISA_SEGMENT_H

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "recorded_file.h"

namespace kep::host {

/** Duration of a picture in seconds. */
constexpr double kPicture = 1.0 / 30;

/** A finished file recorded from the test sources, decoded. Fails the test if it does not play. */
struct Segment {
    explicit Segment(const std::filesystem::path& where);

    /** From the first picture to the end of the last one, in seconds. */
    double length() const { return file.video().end() - file.video().begin(); }
    /** Whether there is audio from the first picture to the last, without a gap. */
    testing::AssertionResult isHeardThroughout() const;

    std::filesystem::path path;
    RecordedFile file;
    std::vector<RecordedPicture> pictures;
    RecordedSound sound;
};

/**
 * Expects picture numbers to increase across the segments with exactly `lost` missing, and every segment but
 * the last to be `length` seconds long.
 */
void expectToFollow(const std::vector<Segment>& segments, double length, int lost);

/** Expects flashes and beeps to coincide within a millisecond; returns how many pairs it compared. */
int expectInStep(const Segment& segment);

}  // namespace kep::host

#endif
