#ifndef VORNISA_SEGMENT_H
#define VORNISA_SEGMENT_H

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "recorded_file.h"

namespace kep::host {

/** Seconds that a picture of these recordings stands for. */
constexpr double kPicture = 1.0 / 30;

/** A finished file of a recording of the test sources, decoded. Fails the test when it does not play. */
struct Segment {
    explicit Segment(const std::filesystem::path& where);

    /** From its first picture to the end of the last. */
    double length() const { return file.video().end() - file.video().begin(); }
    /** Whether there is sound with its pictures from the first to the last, without a gap. */
    testing::AssertionResult isHeardThroughout() const;

    std::filesystem::path path;
    RecordedFile file;
    std::vector<RecordedPicture> pictures;
    RecordedSound sound;
};

/**
 * The pictures' numbers go on from segment to segment, and lack as many as were told of as lost; all segments
 * but the last are as long as they should be.
 */
void expectToFollow(const std::vector<Segment>& segments, double length, int lost);

/** Whether flashes and beeps come at the same time, by the millisecond; how many of them there are. */
int expectInStep(const Segment& segment);

}  // namespace kep::host

#endif
