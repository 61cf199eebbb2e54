#include "media/recording/media_file.h"

#include <gmock/gmock.h>

#include <cstring>
#include <optional>
#include <regex>

#include "faulty_layer.h"
#include "judged_file.h"
#include "recorded_file.h"
#include "recorder.h"
#include "sample_stream.h"

namespace kep::host {
namespace {

using Container = MediaFileSettings::Container;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr int kSeconds = 4;
constexpr double kTenthOfMillisecond = 0.0001;
constexpr int kWidth = 96;
constexpr int kHeight = 64;

const SampleStream& sample() {
    static const SampleStream stream(kSeconds);
    return stream;
}

SharedPacket shifted(const SharedPacket& packet, nanoseconds by) {
    auto moved = std::make_shared<MediaPacket>(*packet);
    moved->stamp += by;
    return moved;
}

class MediaFiles : public recording_test::RecordingTest, public testing::WithParamInterface<Container> {
  protected:
    std::string path(const char* name = "a.mp4") const { return (folder() / name).string(); }
    MediaFileSettings settings(bool flush = false) const { return {GetParam(), flush, "part"}; }

    std::unique_ptr<MediaFile> open(bool flush = false) {
        auto file = MediaFile::open(path(), settings(flush), sample().video, sample().audio, reason_);
        EXPECT_TRUE(file) << reason_;
        return file;
    }

    /** Writes the sample with its sound delayed by `late`, except packets for which `leftOut` is true. */
    JudgedFile write(nanoseconds late, const std::function<bool(const MediaPacket&)>& leftOut = nullptr) {
        const auto file = open();
        for (const SharedPacket& packet : sample().packets) {
            if (leftOut && leftOut(*packet)) continue;
            const SharedPacket given = packet->isVideo() ? packet : shifted(packet, late);
            EXPECT_TRUE(file->write(*given, reason_)) << reason_;
        }
        EXPECT_TRUE(file->finish(reason_)) << reason_;
        EXPECT_EQ(reason_, "");
        return JudgedFile(path(), kWidth, kHeight, false);
    }

    static double lateOf(const JudgedFile& file) {
        return file.audio().front().time - file.video().front().time;
    }
    static double lateOfSample() {
        for (const SharedPacket& packet : sample().packets) {
            if (!packet->isVideo())
                return std::chrono::duration<double>(packet->stamp - sample().packets.front()->stamp).count();
        }
        return 0;
    }

    std::string reason_;
};

TEST_P(MediaFiles, HoldEveryPacketAndPlay) {
    const JudgedFile file = write(nanoseconds(0));
    EXPECT_EQ(file.video().size() + file.audio().size(), sample().packets.size());
    EXPECT_NEAR(file.length(), kSeconds, 0.001);
    EXPECT_GT(file.parameterBytes(), 10);
    EXPECT_THAT(unfinished(), testing::IsEmpty());
}

TEST_P(MediaFiles, KeepSoundThatBeginsAfterThePicture) {
    const JudgedFile file = write(microseconds(12'300));
    EXPECT_NEAR(lateOf(file), lateOfSample() + 0.0123, kTenthOfMillisecond);
}

TEST_P(MediaFiles, KeepSoundThatBeginsBeforeThePicture) {
    const auto early = nanoseconds(static_cast<std::int64_t>((lateOfSample() + 0.0077) * 1e9));
    const auto file = open();
    std::vector<SharedPacket> packets;
    for (const SharedPacket& packet : sample().packets)
        packets.push_back(packet->isVideo() ? packet : shifted(packet, -early));
    std::stable_sort(packets.begin(), packets.end(),
                     [](const auto& one, const auto& other) { return one->stamp < other->stamp; });
    ASSERT_FALSE(packets.front()->isVideo());
    for (const SharedPacket& packet : packets) ASSERT_TRUE(file->write(*packet, reason_)) << reason_;
    ASSERT_TRUE(file->finish(reason_)) << reason_;
    const JudgedFile played(path(), kWidth, kHeight, false);
    EXPECT_NEAR(lateOf(played), -0.0077, kTenthOfMillisecond);
    EXPECT_EQ(played.audio().size() + played.video().size(), packets.size());
}

TEST_P(MediaFiles, KeepSoundInSyncAfterAGap) {
    const SteadyTime begin = sample().packets.front()->stamp;
    const auto isSilent = [&](const MediaPacket& packet) {
        const auto time = packet.stamp - begin;
        return !packet.isVideo() && time > milliseconds(500) && time < milliseconds(2700);
    };
    const JudgedFile file = write(nanoseconds(0), isSilent);
    double expected = 0;
    for (const SharedPacket& packet : sample().packets) {
        const auto time = packet->stamp - begin;
        if (!packet->isVideo() && time >= milliseconds(2700)) {
            expected = std::chrono::duration<double>(time).count();
            break;
        }
    }
    double resumed = 0;
    for (const JudgedFile::Packet& packet : file.audio()) {
        const double time = packet.time - file.video().front().time;
        if (time > 1 && resumed == 0) resumed = time;
    }
    EXPECT_NEAR(resumed, expected, kTenthOfMillisecond);
}

TEST_P(MediaFiles, ClampTimeStampsThatDoNotIncrease) {
    const auto file = open();
    for (const SharedPacket& packet : sample().packets) {
        const auto time = packet->stamp - sample().packets.front()->stamp;
        const bool jumps = time > milliseconds(1500) && time < milliseconds(1800);
        ASSERT_TRUE(file->write(*(jumps ? shifted(packet, -milliseconds(800)) : packet), reason_)) << reason_;
    }
    ASSERT_TRUE(file->finish(reason_)) << reason_;
    const JudgedFile played(path(), kWidth, kHeight, false);
    EXPECT_EQ(played.video().size() + played.audio().size(), sample().packets.size());
    EXPECT_NEAR(played.length(), kSeconds, 0.001);
    for (std::size_t i = 1; i < played.video().size(); ++i)
        EXPECT_GT(played.video()[i].time, played.video()[i - 1].time);
}

TEST_P(MediaFiles, BeginWithAKeyFrame) {
    bool sawKey = false;
    const JudgedFile file = write(nanoseconds(0), [&](const MediaPacket& packet) {
        const bool left = !sawKey && packet.isVideo() && packet.key;
        sawKey = sawKey || left;
        return left;
    });
    EXPECT_TRUE(file.video().front().key);
    EXPECT_EQ(file.video().size(), static_cast<std::size_t>((kSeconds - 1) * SampleStream::rate));
}

TEST_P(MediaFiles, MayHaveNoSoundOrNoPictures) {
    for (const bool video : {true, false}) {
        const std::string name = path(video ? "v.mp4" : "s.mp4");
        const auto file = MediaFile::open(name, settings(), video ? sample().video : nullptr,
                                          video ? nullptr : sample().audio, reason_);
        ASSERT_TRUE(file) << reason_;
        for (const SharedPacket& packet : sample().packets) ASSERT_TRUE(file->write(*packet, reason_));
        ASSERT_TRUE(file->finish(reason_)) << reason_;
        const JudgedFile played(name, kWidth, kHeight, false);
        EXPECT_EQ(played.video().empty(), !video);
        EXPECT_EQ(played.audio().empty(), video);
    }
}

TEST_P(MediaFiles, AreRefusedWhereTheyCannotBeMade) {
    EXPECT_FALSE(MediaFile::open(path("none/a.mp4"), settings(), sample().video, nullptr, reason_));
    EXPECT_EQ(reason_, path("none/a.mp4.part") + ": No such file or directory");
    EXPECT_FALSE(MediaFile::open(path(), settings(), nullptr, nullptr, reason_));
    EXPECT_EQ(reason_, path() + ": neither video nor audio to record");
}

TEST_P(MediaFiles, NeverReplaceAnother) {
    const auto file = open();
    for (const SharedPacket& packet : sample().packets) ASSERT_TRUE(file->write(*packet, reason_));
    std::filesystem::create_directory(path());
    EXPECT_FALSE(file->finish(reason_));
    EXPECT_EQ(reason_, path() + ": File exists");
    EXPECT_EQ(file->location(), path() + ".part");
    EXPECT_EQ(JudgedFile(path() + ".part", kWidth, kHeight, false).video().size(),
              static_cast<std::size_t>(kSeconds * SampleStream::rate));
}

TEST_P(MediaFiles, AreRemovedWhenNothingWasWritten) {
    {
        const auto file = open();
        EXPECT_FALSE(file->finish(reason_));
        EXPECT_EQ(reason_, path() + ".part: no packets to write");
    }
    EXPECT_THAT(filesIn(folder()), testing::IsEmpty());
}

TEST_P(MediaFiles, FailWhenTheyAreRemovedWhileOpen) {
    const auto file = open();
    bool written = true;
    for (const SharedPacket& packet : sample().packets) {
        written = file->write(*packet, reason_);
        if (!written) break;
        std::filesystem::remove(path() + ".part");
    }
    EXPECT_FALSE(written);
    EXPECT_EQ(reason_, path() + ".part: the file has been removed");
    EXPECT_FALSE(file->finish(reason_));
    EXPECT_THAT(filesIn(folder()), testing::IsEmpty());
}

/** Wherever a write fails, a file with its final name plays. */
TEST_P(MediaFiles, PlayUpToAnyWriteThatFails) {
    using Step = FaultyLayer::Step;
    int named = 0;
    bool failedOnce = true;
    for (int nth = 1; failedOnce; ++nth) {
        FaultyLayer layer([nth](Step step, int count) {
            return step == Step::write && count >= nth ? "No space left on device" : nullptr;
        });
        const std::string name = path(std::to_string(nth).append(".mp4").c_str());
        const auto file = MediaFile::open(name, settings(true), sample().video, sample().audio, reason_);
        ASSERT_TRUE(file) << reason_;
        failedOnce = false;
        std::size_t given = 0;
        for (const SharedPacket& packet : sample().packets) {
            ++given;
            failedOnce = !file->write(*packet, reason_);
            if (failedOnce) break;
        }
        EXPECT_EQ(failedOnce ? reason_ : "", failedOnce ? name + ".part: No space left on device" : "");
        const bool finished = file->finish(reason_);
        failedOnce = failedOnce || !reason_.empty();
        EXPECT_EQ(finished, file->location() == name);
        EXPECT_EQ(finished, std::filesystem::exists(name));
        const std::size_t lost = file->lost(Media::Kind::video) + file->lost(Media::Kind::audio);
        if (file->location().empty()) {
            EXPECT_EQ(lost, given);
        }
        if (!finished) continue;
        ++named;
        const JudgedFile played(name, kWidth, kHeight, false);
        EXPECT_GT(played.video().size(), 0U);
        EXPECT_EQ(played.video().size() + played.audio().size() + lost, given) << nth;
    }
    EXPECT_GE(named, GetParam() == Container::mp4 ? 1 : kSeconds - 1);
}

/** Even if later syncs succeed: data of the failed one may be lost. */
TEST_P(MediaFiles, HaveNoFinalNameWhenASyncFails) {
    using Step = FaultyLayer::Step;
    bool failed = true;
    int nth = 1;
    for (; failed; ++nth) {
        failed = false;
        FaultyLayer layer([&](Step step, int count) {
            if (step != Step::sync || count != nth) return static_cast<const char*>(nullptr);
            failed = true;
            return "Input/output error";
        });
        const auto file = open(true);
        bool written = true;
        for (const SharedPacket& packet : sample().packets)
            written = written && file->write(*packet, reason_);
        const bool named = file->finish(reason_);
        EXPECT_EQ(named, !failed) << nth;
        EXPECT_EQ(reason_, failed ? path() + ".part: Input/output error" : "") << nth;
        EXPECT_EQ(finished().size(), failed ? 0U : 1U) << nth;
        for (const auto& left : filesIn(folder())) std::filesystem::remove(left);
    }
    EXPECT_GT(nth, GetParam() == Container::mp4 ? 2 : kSeconds);
}

/** The steps of a disk, one letter each. */
char letterOf(FaultyLayer::Step step) {
    using Step = FaultyLayer::Step;
    switch (step) {
        case Step::create:
            return 'c';
        case Step::write:
            return 'w';
        case Step::sync:
            return 's';
        case Step::close:
            return 'x';
        case Step::rename:
            return 'r';
        case Step::syncFolder:
            return 'F';
        default:
            return '?';
    }
}

TEST_P(MediaFiles, AreSyncedBeforeTheirRenameAndPerFragmentOnRequest) {
    for (const bool flush : {false, true}) {
        std::string steps;
        FaultyLayer layer([&](FaultyLayer::Step step, int) {
            steps += letterOf(step);
            return nullptr;
        });
        const std::string name = path(flush ? "f.mp4" : "n.mp4");
        const auto file = MediaFile::open(name, settings(flush), sample().video, sample().audio, reason_);
        for (const SharedPacket& packet : sample().packets) ASSERT_TRUE(file->write(*packet, reason_));
        ASSERT_TRUE(file->finish(reason_)) << reason_;
        // Two fragments per second. The rename follows the first sync; the last sync includes the index, and
        // precedes filling in the header.
        const std::string between = "{" + std::to_string(2 * kSeconds - 2) + "}";
        std::string expected = "cw+sxrF";
        if (flush && GetParam() == Container::fragmentedMp4)
            expected = "cwswswswsF(wsws)" + between + "wswwswwwswwsxrF";
        if (flush && GetParam() == Container::mpegTs) expected = "cwsF(ws)" + between + "wsxrF";
        EXPECT_TRUE(std::regex_match(steps, std::regex(expected))) << steps << " is not " << expected;
    }
}

INSTANTIATE_TEST_SUITE_P(Of, MediaFiles,
                         testing::Values(Container::mp4, Container::fragmentedMp4, Container::mpegTs),
                         [](const auto& made) {
                             return made.param == Container::mp4             ? "Mp4"
                                    : made.param == Container::fragmentedMp4 ? "FragmentedMp4"
                                                                             : "MpegTs";
                         });

class FragmentedFiles : public MediaFiles {};

TEST_P(FragmentedFiles, BeginWithAPictureHoweverEarlyTheyAreFlushed) {
    const auto file = open(true);
    for (const SharedPacket& packet : sample().packets) {
        ASSERT_TRUE(file->write(*packet, reason_) && file->flush(reason_)) << reason_;
        if (file->isSafe()) break;
    }
    ASSERT_TRUE(file->isSafe());
    EXPECT_EQ(RecordedFile(file->location()).video().packets.size(), 1U);
}

TEST_P(FragmentedFiles, PlayWhileTheyAreWritten) {
    const auto file = open();
    std::size_t given = 0;
    for (const SharedPacket& packet : sample().packets) {
        ASSERT_TRUE(file->write(*packet, reason_));
        if (packet->isVideo()) ++given;
        // Just after the end of a fragment, and just before the end of the next one.
        if (packet->isVideo() && given > SampleStream::group &&
            (given % SampleStream::group == 1 || given % SampleStream::group == 0)) {
            const JudgedFile played(path() + ".part", kWidth, kHeight, false);
            EXPECT_GE(played.video().size() + SampleStream::group, given);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, FragmentedFiles, testing::Values(Container::fragmentedMp4, Container::mpegTs));

}  // namespace
}  // namespace kep::host
