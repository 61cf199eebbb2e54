// Demultiplexes MP4 files through the public header, in layouts made by another program.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "command_output.h"
#include "error_lines.h"
#include "file_contents.h"
#include "file_layouts.h"
#include "playback_fixture.h"
#include "sanitizers.h"
#include "scratch_folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr int kAdtsHeader = 7;

using Demux = recordings_test::ScratchFolder;

class DemuxLayout : public Demux, public testing::WithParamInterface<FileLayout> {
  protected:
    DemuxLayout() { makeFile(file_, GetParam().options); }

    const std::string file_ = path("made.mp4");
};

TEST_P(DemuxLayout, DeliversEachPacketOnceAtTheTimesAnotherProgramReports) {
    Playback playback;
    ASSERT_TRUE(playback.playAll(file_));
    for (const bool video : {true, false}) {
        std::vector<ProbedPacket> probed = probedPackets(file_);
        std::erase_if(probed, [&](const ProbedPacket& packet) { return packet.video != video; });
        // Two tracks in one sink each keep their order.
        std::vector<PlayedPacket> played = playback.packets(video);
        std::ranges::stable_sort(played, {}, &PlayedPacket::media);
        ASSERT_EQ(played.size(), probed.size());
        const bool twice = std::string(GetParam().name) == "TwoSounds" && !video;
        for (std::size_t i = 0; i < (twice ? 0 : played.size()); ++i) {
            SCOPED_TRACE((video ? "picture " : "sound ") + std::to_string(i));
            const long long delay = video ? GetParam().pictureDelay : 0;
            const long long expected = probed[i].microseconds - delay;
            if (delay) {
                EXPECT_NEAR(static_cast<double>(played[i].milliseconds), static_cast<double>(expected) / 1000,
                            1);
            } else {
                EXPECT_EQ(played[i].milliseconds, expected / 1000);
            }
            EXPECT_EQ(played[i].key, probed[i].key);
            if (!video) {
                EXPECT_EQ(played[i].size(), probed[i].size + kAdtsHeader);
            }
        }
    }
}

TEST_P(DemuxLayout, DeliversStreamsThatDecodeToTheSame) {
    Playback playback;
    ASSERT_TRUE(playback.playAll(file_));
    const auto checksum = [](const std::string& file, const std::string& options) {
        return outputOf("ffmpeg -nostdin -v error -i " + file + " " + options + " -f md5 -");
    };
    const auto made = [this](const char* name, const std::string& bytes) {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    };
    if (!playback.packets(true).empty()) {
        const std::string options = "-map 0:v:0 -fps_mode passthrough -c:v rawvideo";
        EXPECT_EQ(checksum(made("played.h264", playback.stream(true)), options), checksum(file_, options));
    }
    if (playback.packets(false).empty() || std::string(GetParam().name) == "TwoSounds") return;
    outputOf("ffmpeg -nostdin -v error -i " + file_ + " -map 0:a:0 -c copy " + path("copied.aac"));
    EXPECT_TRUE(contentsOf(path("copied.aac")) == playback.stream(false));
}

TEST_P(DemuxLayout, SeeksToTheKeyFrameAtOrBeforeTheTimeAsked) {
    Playback playback;
    ASSERT_EQ(playback.open(file_), VNRES_SUCCEED);
    playback.start();
    ASSERT_TRUE(playback.waitForEnd());
    const std::vector<PlayedPacket> all = playback.packets();
    const bool hasPictures = !playback.packets(true).empty();
    for (const std::int64_t asked : {0, 1, 499, 500, 501, 1733, 3000, 6200, 2600, 100}) {
        SCOPED_TRACE(asked);
        playback.clear();
        ASSERT_EQ(VNDemuxSeek(playback.id(), asked), VNRES_SUCCEED);
        ASSERT_TRUE(playback.waitForEnd());
        std::int64_t expected = 0;
        std::size_t rest = 0;
        bool found = false;
        for (const PlayedPacket& packet : all) {
            if (packet.video != hasPictures) continue;
            ++rest;
            if (!packet.key || (packet.milliseconds > asked && found)) continue;
            expected = packet.milliseconds;
            found = true;
            rest = 1;
        }
        const std::vector<PlayedPacket> leading = playback.packets(hasPictures);
        ASSERT_FALSE(leading.empty());
        EXPECT_TRUE(leading.front().key);
        EXPECT_EQ(leading.front().milliseconds, expected);
        if (hasPictures) {
            EXPECT_EQ(leading.size(), rest);
        }
        if (!hasPictures || playback.packets(false).empty()) continue;
        // Sound starts with the picture, or with the oldest left in its fragment.
        EXPECT_GE(playback.packets(false).front().milliseconds, expected - 50);
    }
}

/** The threads are the same for each layout, so a few are enough for the thread sanitizer. */
std::vector<FileLayout> demuxedLayouts() {
    std::vector<FileLayout> layouts = playedLayouts();
    if (kThreadSanitizer) layouts.resize(3);
    return layouts;
}

INSTANTIATE_TEST_SUITE_P(Files, DemuxLayout, testing::ValuesIn(demuxedLayouts()),
                         [](const testing::TestParamInfo<FileLayout>& layout) {
                             return std::string(layout.param.name);
                         });

/** Six seconds of pictures and sound, with a key frame every half second. */
class DemuxFile : public Demux {
  protected:
    DemuxFile() {
        makeFile(file_, "-c:v libx264 -preset ultrafast -c:a aac -movflags frag_keyframe+empty_moov", 6);
    }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }

    const std::string file_ = path("made.mp4");
};

TEST_F(DemuxFile, ReportsTracksAndLengthAndUsesOneThreadPerSink) {
    Playback playback;
    ASSERT_EQ(playback.open(file_), VNRES_SUCCEED);
    EXPECT_NEAR(static_cast<double>(playback.duration()), 6000, 35);
    playback.start();
    ASSERT_TRUE(playback.waitForEnd());
    EXPECT_EQ(playback.threads(), 2u);
    EXPECT_THAT(playback.tracks(),
                UnorderedElementsAre("type=video,codec=h264,width=160,height=90,timebase=1/15360",
                                     "type=audio,codec=aac,samplerate=44100,channels=1,timebase=1/44100"));
}

TEST_F(DemuxFile, BeginsWhereTheRecordSays) {
    Playback playback;
    ASSERT_TRUE(playback.playAll(file_, 3100));
    EXPECT_EQ(playback.packets(true).front().milliseconds, 3023);
}

TEST_F(DemuxFile, PutsParameterSetsBeforeEachKeyFrameOnce) {
    outputOf("ffmpeg -v error -i " + file_ +
             " -c copy -bsf:v dump_extra -movflags frag_keyframe+empty_moov " + path("in-band.mp4"));
    for (const std::string& file : {file_, path("in-band.mp4")}) {
        Playback playback;
        ASSERT_TRUE(playback.playAll(file));
        for (const PlayedPacket& packet : playback.packets(true)) {
            const std::string sequence("\0\0\1\x67", 4);
            std::size_t count = 0;
            for (std::size_t at = packet.data.find(sequence); at != std::string::npos;
                 at = packet.data.find(sequence, at + 1))
                ++count;
            EXPECT_EQ(count, packet.key ? 1u : 0u);
        }
    }
}

TEST_F(DemuxFile, ContinuesAfterItsEndAndAfterAStop) {
    Playback playback;
    ASSERT_TRUE(playback.playAll(file_));
    EXPECT_EQ(playback.packets(true).size(), 180u);
    playback.clear();
    EXPECT_EQ(VNDemuxSeek(playback.id(), 5600), VNRES_SUCCEED);
    ASSERT_TRUE(playback.waitForEnd());
    EXPECT_EQ(playback.packets(true).size(), 15u);
    EXPECT_EQ(VNStop(playback.id()), VNRES_SUCCEED);
    playback.clear();
    ErrorLines lines;
    EXPECT_EQ(VNDemuxSeek(playback.id(), 0), VNRES_FAIL);
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("no file is open"), HasSubstr("!obj->Set(\"seek\"")));
}

TEST_F(DemuxFile, DropsWhatWasQueuedBeforeASeek) {
    Playback playback;
    std::atomic<int> seen{0};
    std::atomic<bool> go{false};
    playback.onPacket = [&](const VNDemuxPacket&) {
        // Blocks both sinks at their second packet until the seek is done.
        if (++seen > 2)
            while (!go) std::this_thread::yield();
    };
    ASSERT_EQ(playback.open(file_), VNRES_SUCCEED);
    playback.start();
    while (seen < 4) std::this_thread::yield();
    ASSERT_EQ(VNDemuxSeek(playback.id(), 4000), VNRES_SUCCEED);
    go = true;
    ASSERT_TRUE(playback.waitForEnd());
    std::vector<PlayedPacket> early = playback.packets();
    std::erase_if(early, [](const PlayedPacket& packet) { return packet.milliseconds > 3500; });
    EXPECT_LE(early.size(), 4u);
    EXPECT_EQ(playback.packets(true).back().milliseconds, 5989);
}

TEST_F(DemuxFile, RefusesPositionsOutsideTheFile) {
    Playback playback;
    ErrorLines lines;
    EXPECT_EQ(playback.open(file_, -1), VNRES_FAIL);
    EXPECT_EQ(playback.open(file_, playback.duration() + 1), VNRES_FAIL);
    EXPECT_EQ(VNDemuxSeek(playback.id(), 99999), VNRES_FAIL);
    EXPECT_EQ(lines.count("is not from 0 to " + std::to_string(playback.duration())), 3);
    EXPECT_EQ(VNDemuxSeek(playback.id(), playback.duration()), VNRES_SUCCEED);
}

TEST_F(DemuxFile, ReleasesFromAnotherThreadWhilePacketsFlow) {
    for (int i = 0; i < 1000; ++i) {
        Playback playback;
        std::atomic<int> seen{0};
        playback.onPacket = [&](const VNDemuxPacket&) { ++seen; };
        ASSERT_EQ(playback.open(file_), VNRES_SUCCEED);
        playback.start();
        while (seen < i % 50) std::this_thread::yield();
        playback.release();
        const int atRelease = seen;
        std::this_thread::yield();
        ASSERT_EQ(seen, atRelease);
        ASSERT_EQ(playback.calledLate(), 0);
    }
}

TEST_F(DemuxFile, MayBeReleasedStoppedAndMovedByItsCallbacks) {
    enum class Action { release, stop, seek };
    for (const Action action : {Action::release, Action::stop, Action::seek}) {
        for (const bool byVideo : {true, false}) {
            SCOPED_TRACE(static_cast<int>(action));
            Playback playback;
            std::atomic<bool> done{false};
            std::atomic<int> result{VNRES_SUCCEED};
            playback.onPacket = [&](const VNDemuxPacket& packet) {
                const bool video = *static_cast<const char*>(packet.data) == 0;
                if (video != byVideo || packet.pts_ms < 1000 || done) return;
                if (action == Action::release) playback.release();
                if (action == Action::stop) result = VNStop(playback.id());
                if (action == Action::seek) result = VNDemuxSeek(playback.id(), 0);
                done = true;
            };
            ASSERT_EQ(playback.open(file_), VNRES_SUCCEED);
            playback.start();
            while (!done) std::this_thread::yield();
            EXPECT_EQ(result, VNRES_SUCCEED);
            if (action == Action::seek) {
                ASSERT_TRUE(playback.waitForEnd());
                EXPECT_GT(playback.packets(byVideo).size(), 180u);
            }
            playback.release();
            EXPECT_EQ(playback.calledLate(), 0);
        }
    }
}

TEST_F(Demux, SkipsUnsupportedTracks) {
    const std::string pictures = "-c:v libx265 -preset ultrafast -x265-params log-level=error ";
    makeFile(path("sound.mp4"), pictures + "-c:a aac -movflags frag_keyframe+empty_moov", 2);
    makeFile(path("neither.mp4"), pictures + "-c:a libopus -strict -2 -movflags frag_keyframe+empty_moov", 2);
    Playback playback;
    ASSERT_TRUE(playback.playAll(path("sound.mp4")));
    EXPECT_THAT(playback.packets(true), IsEmpty());
    EXPECT_GT(playback.packets(false).size(), 80u);
    Playback other;
    ErrorLines lines;
    EXPECT_EQ(other.open(path("neither.mp4")), VNRES_FAIL);
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr(path("neither.mp4") + ": no H.264 or AAC track"),
                                              HasSubstr("!app->Set")));
}

TEST_F(DemuxFile, RefusesOtherFormats) {
    const auto expectRefusal = [](const std::string& file, const std::string& reason) {
        Playback playback;
        ErrorLines lines;
        EXPECT_EQ(playback.open(file), VNRES_FAIL);
        EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr(file + ": " + reason),
                                                  HasSubstr("!app->Set(\"statusup\",\"ready\")")));
    };
    expectRefusal(path("missing.mp4"), "cannot open: No such file or directory");
    expectRefusal(folder().string(), "cannot open: Is a directory");
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    expectRefusal(path("pipe"), "cannot open: not a regular file");
    write("empty.mp4", "");
    expectRefusal(path("empty.mp4"), "not an MP4 file");
    write("text.mp4", "The quick brown fox jumps over the lazy dog.");
    expectRefusal(path("text.mp4"), "not an MP4 file");
    const std::string bytes = contentsOf(file_);
    write("head.mp4", bytes.substr(0, bytes.find("moof") - 4));
    expectRefusal(path("head.mp4"), "no complete fragment in this MP4");
}

TEST_F(DemuxFile, EndsWithALineWhereTheFileWasTruncated) {
    Playback playback;
    ASSERT_EQ(playback.open(file_), VNRES_SUCCEED);
    const std::string bytes = contentsOf(file_);
    ASSERT_EQ(truncate(file_.c_str(), static_cast<off_t>(bytes.size() / 2)), 0);
    ErrorLines lines;
    playback.start();
    ASSERT_TRUE(playback.waitForEnd());
    EXPECT_LE(lines.count(file_ + ": truncated while being read"), 1);
    EXPECT_LT(playback.packets(true).size(), 180u);
    EXPECT_GT(playback.packets(true).size(), 30u);
}

}  // namespace
