// Clips made through the public API, checked as files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>

#include "kep/streaming.h"
#include "media/pipeline/outlet.h"
#include "recorded_file.h"
#include "vornisa_api.h"
#include "wait_until.h"
#include "watched_disk.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kRate = 30;
/** Pictures per group in the board's pipeline. */
constexpr int kGroup = 15;

/** The messages of all resources: a callback of the API has no user pointer. */
class Messages {
  public:
    static Messages& instance() {
        // Never destroyed: a service left playing sends messages until its process ends.
        static Messages& messages = *new Messages;
        return messages;
    }
    static void take(const char* message) {
        Messages& self = instance();
        const std::lock_guard lock(self.mutex_);
        self.texts_.emplace_back(message);
    }
    int count(const std::string& part) {
        const std::lock_guard lock(mutex_);
        return static_cast<int>(std::count_if(texts_.begin(), texts_.end(), [&](const std::string& text) {
            return text.find(part) != std::string::npos;
        }));
    }
    /** Pictures reported as lost. */
    int lostPictures() {
        const std::lock_guard lock(mutex_);
        int lost = 0;
        for (const std::string& text : texts_) {
            const std::size_t at = text.find("media=video,lost=");
            if (at != std::string::npos) lost += std::atoi(text.c_str() + at + 17);
        }
        return lost;
    }
    void clear() {
        const std::lock_guard lock(mutex_);
        texts_.clear();
    }

  private:
    std::mutex mutex_;
    std::vector<std::string> texts_;
};

/**
 * Listens to the board's video and audio beside the service under test, to count what a loaded machine has
 * not produced: that cannot be in any clip.
 */
class BoardStreams {
  public:
    void listen() {
        pictures_.listen();
        sound_.listen();
    }
    int missingPictures() { return pictures_.missing(1.0 / kRate); }
    bool lacksSound() { return sound_.missing(kUnit) > 0; }

  private:
    static constexpr double kUnit = 1024.0 / 48000;

    class Stream {
      public:
        explicit Stream(const char* name) : name_(name) {}
        ~Stream() {
            if (outlet_) outlet_->detach(inlet_);
        }
        void listen() {
            if (outlet_) return;
            outlet_ = kep::host::OutletNames::instance().find(name_);
            ASSERT_TRUE(outlet_ && outlet_->attach(inlet_));
        }
        /** Counts missing items, each `each` seconds long. */
        int missing(double each) {
            for (kep::host::SharedPacket packet; inlet_.queue().pull(packet, false);) {
                const std::chrono::duration<double> step = packet->stamp - last_;
                if (begun_) missing_ += static_cast<int>(std::lround(step.count() / each)) - 1;
                last_ = packet->stamp;
                begun_ = true;
            }
            return missing_;
        }

      private:
        const char* const name_;
        std::shared_ptr<kep::host::Outlet> outlet_;
        kep::host::Inlet inlet_;
        Clock::time_point last_;
        bool begun_ = false;
        int missing_ = 0;
    };

    Stream pictures_{"plPreRecordH264"};
    Stream sound_{"plPreRecordAac"};
};

/** Logs the steps on files whose path contains `part`. Active during its lifetime. */
class DiskNotes final : public kep::host::WatchedDisk {
  public:
    explicit DiskNotes(std::string part) : part_(std::move(part)) { use(this); }
    ~DiskNotes() override { use(nullptr); }

    std::vector<Step> steps() {
        const std::lock_guard lock(mutex_);
        return steps_;
    }

  private:
    bool pass(Step step, const std::string& path, std::string&) override {
        const std::lock_guard lock(mutex_);
        if (path.find(part_) != path.npos) steps_.push_back(step);
        return true;
    }

    const std::string part_;
    std::mutex mutex_;
    std::vector<Step> steps_;
};

/** Maps a time to the number of the picture that the running camera makes then. */
class CameraClock {
  public:
    CameraClock() {
        namespace streaming = kep::api::streaming;
        auto* const source = streaming::IYuvSource::CreateNew("vornisa");
        source->SetWidth(640);
        source->SetHeight(360);
        std::shared_ptr<streaming::common::frame_t> frame;
        if (source->ChangeUp(kep::State::play) && source->PullFrame(frame, true)) {
            stamp_ = frame->stamp;
            number_ = frame->index;
        }
        frame.reset();
        delete static_cast<kep::object_base*>(source);
        EXPECT_NE(number_, -1);
    }

    int numberAt(Clock::time_point time) const {
        const auto away = std::chrono::duration<double>(time - stamp_).count() * kRate;
        return number_ + static_cast<int>(std::floor(away + 0.001));
    }

  private:
    Clock::time_point stamp_;
    int number_ = -1;
};

class ClipsTest : public testing::Test {
  protected:
    ClipsTest() {
        setenv("KEP_HOST_VIDEO", "test", 1);
        setenv("KEP_HOST_AUDIO", "test", 1);
        setenv("KEP_HOST_PRERECORD", "always", 1);
        char name[] = "/tmp/clips-XXXXXX";
        folder_ = mkdtemp(name);
        Messages::instance().clear();
    }
    ~ClipsTest() override {
        if (service_) {
            EXPECT_EQ(VNStop(service_), VNRES_SUCCEED);
            EXPECT_EQ(VNRelease(service_), VNRES_SUCCEED);
        }
        std::filesystem::remove_all(folder_);
    }

    /** Removes the folder when the process exits, for a test that does not return. */
    void removeAtExit() const {
        static std::filesystem::path folder;
        folder = folder_;
        std::atexit([] { std::filesystem::remove_all(folder); });
    }

    void startService() {
        ASSERT_EQ(VNAcquire(VNRES_EVENT_SERVICE, &service_), VNRES_SUCCEED);
        ASSERT_EQ(VNRegisterMessageCallback(service_, Messages::take), VNRES_SUCCEED);
        ASSERT_EQ(VNStart(service_), VNRES_SUCCEED);
    }

    /** Waits until the board has buffered `past` of video and audio. */
    void waitForPast(milliseconds past) {
        for (const char* const name : {"plPreRecordH264", "plPreRecordAac"}) {
            ASSERT_TRUE(waitUntil([&] {
                const auto outlet = kep::host::OutletNames::instance().find(name);
                kep::host::Inlet inlet;
                if (!outlet || !outlet->attach(inlet)) return false;
                kep::host::SharedPacket first;
                const bool has = inlet.queue().pull(first, false) && first->stamp < Clock::now() - past;
                outlet->detach(inlet);
                return has;
            })) << name;
        }
        board_.listen();
    }

    std::string path(const std::string& name) const { return folder_ / name; }
    std::string url(const std::string& name) const { return "file://" + path(name); }

    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    /** The warnings of ffprobe and ffmpeg about a file. */
    std::string warningsOf(const std::string& name) const {
        const std::string to = path(name) + ".warnings";
        const std::string command = "ffprobe -v warning '" + path(name) + "' >'" + to +
                                    "' 2>&1 && ffmpeg -v warning -xerror -i '" + path(name) +
                                    "' -map 0 -c copy -f null - >>'" + to + "' 2>&1";
        const int status = std::system(command.c_str());
        std::stringstream text;
        text << std::ifstream(to).rdbuf();
        std::filesystem::remove(to);
        if (status != 0) text << "status " << status;
        return text.str();
    }

    /**
     * Reads the pictures of an intact file; expects correct times and no picture missing that the board has
     * made.
     */
    std::vector<RecordedPicture> picturesOf(const std::string& name) {
        std::vector<RecordedPicture> pictures = intactPicturesOf(name);
        if (!pictures.empty()) {
            EXPECT_LE(missingIn(pictures), board_.missingPictures()) << name;
        }
        return pictures;
    }

    static int missingIn(const std::vector<RecordedPicture>& pictures) {
        return static_cast<int>(*pictures.back().number - *pictures.front().number + 1) -
               static_cast<int>(pictures.size());
    }

    std::vector<RecordedPicture> intactPicturesOf(const std::string& name) const {
        EXPECT_EQ(warningsOf(name), "") << name;
        RecordedFile file(path(name));
        std::vector<RecordedPicture> pictures = file.decodePictures();
        EXPECT_THAT(file.errors(), testing::IsEmpty()) << name;
        EXPECT_FALSE(pictures.empty()) << name;
        for (std::size_t i = 1; i < pictures.size(); ++i) {
            const auto step =
                static_cast<int>(*pictures[i].number) - static_cast<int>(*pictures[i - 1].number);
            EXPECT_GE(step, 1) << name << ", picture " << i;
            EXPECT_NEAR(pictures[i].time - pictures[i - 1].time, double(step) / kRate, 0.001)
                << name << ", picture " << i;
        }
        return pictures;
    }

    /** Checks a clip: intact, begins at a key frame no later than `begin`, ends at `end`, audio in sync. */
    void expectClip(const std::string& name, int begin, int end, int spare) {
        SCOPED_TRACE(name);
        const std::vector<RecordedPicture> pictures = picturesOf(name);
        ASSERT_FALSE(pictures.empty());
        EXPECT_TRUE(pictures.front().key);
        const int first = static_cast<int>(*pictures.front().number);
        const int last = static_cast<int>(*pictures.back().number);
        EXPECT_LE(first, begin + spare);
        // A group has a fixed number of pictures, so it spans more time when some were never made.
        EXPECT_GT(first, begin - kGroup - 1 - board_.missingPictures());
        EXPECT_LE(last, end + spare);
        EXPECT_GE(last, end - 1);
        expectSound(RecordedFile(path(name)), flashesOf(pictures));
    }

    void expectSound(RecordedFile clip, const std::vector<double>& flashes) {
        const RecordedSound sound = clip.decodeSound();
        EXPECT_THAT(clip.errors(), testing::IsEmpty());
        // A machine too slow for its video drops audio as well.
        if (board_.lacksSound() || board_.missingPictures() > 0) return;
        ASSERT_TRUE(clip.audio());
        const double unit = 1024.0 / sound.rate;
        EXPECT_NEAR(clip.audio().begin(), clip.video().begin(), unit);
        EXPECT_NEAR(clip.audio().end(), clip.video().end(), unit + 0.04);
        const std::vector<double> beeps = beepsOf(sound);
        ASSERT_FALSE(flashes.empty());
        for (const double flash : flashes) {
            const bool heard = std::any_of(beeps.begin(), beeps.end(),
                                           [&](double beep) { return std::abs(beep - flash) < 0.001; });
            EXPECT_TRUE(heard || flash > clip.audio().end() - 0.1 || flash < clip.audio().begin() + 0.1)
                << "no beep at " << flash;
        }
    }

    std::filesystem::path folder_;
    int service_ = 0;
    BoardStreams board_;
};

TEST_F(ClipsTest, AClipHasItsPastItsFutureAndTheirSound) {
    startService();
    waitForPast(milliseconds(3'000));
    const CameraClock camera;
    const auto before = Clock::now();
    ASSERT_EQ(VNRecordEventServiceTrigger(service_, url("a.mp4").c_str(), 2, 2), VNRES_SUCCEED);
    const auto after = Clock::now();
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("name=recordStop") == 1; }));
    EXPECT_EQ(Messages::instance().count("a.mp4"), 2) << "recordStart and recordStop both have the URL";
    EXPECT_THAT(files(), ElementsAre("a.mp4"));
    const int spare = camera.numberAt(after) - camera.numberAt(before);
    expectClip("a.mp4", camera.numberAt(before - seconds(2)), camera.numberAt(before + seconds(2)), spare);
    // On an overloaded machine the board's encoder drops pictures and reports them.
    EXPECT_TRUE(Messages::instance().count("name=frameLost") == 0 || board_.missingPictures() > 0);
}

TEST_F(ClipsTest, AClipIsSyncedBeforeItsRenameAndItsFolderAfter) {
    using Step = DiskNotes::Step;
    DiskNotes notes(folder_);
    startService();
    waitForPast(milliseconds(1'500));
    ASSERT_EQ(VNRecordEventServiceTrigger(service_, url("a.mp4").c_str(), 1, 0), VNRES_SUCCEED);
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("name=recordStop") == 1; }));
    const std::vector<Step> steps = notes.steps();
    ASSERT_GT(steps.size(), 4U);
    EXPECT_THAT(std::vector<Step>(steps.end() - 4, steps.end()),
                ElementsAre(Step::sync, Step::close, Step::rename, Step::syncFolder));
    // The service is still running and must not outlive the notes.
    EXPECT_EQ(VNStop(service_), VNRES_SUCCEED);
}

TEST_F(ClipsTest, ClipsOverlapBesideARecordingThatLosesNothing) {
    ASSERT_EQ(VNRecMan2(230400, "codec=h264,framerate=30,bitrate=1000000,goptype=ippp,gop=15",
                        "codec=aac,channels=2,bitrate=128000", 60, folder_.c_str(), "recording.mp4",
                        "PowerFailProtection=true"),
              VNRES_SUCCEED);
    int recording = 0;
    ASSERT_EQ(VNAcquire(VNRES_REC_MAN, &recording), VNRES_SUCCEED);
    ASSERT_EQ(VNRegisterMessageCallback(recording, Messages::take), VNRES_SUCCEED);
    startService();
    waitForPast(milliseconds(2'000));
    const CameraClock camera;
    const auto first = Clock::now();
    ASSERT_EQ(VNRecordEventServiceTrigger(service_, url("a.mp4").c_str(), 1, 3), VNRES_SUCCEED);
    const auto firstDone = Clock::now();
    // Counts by name: the recording has messages of its own.
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("a.mp4") == 1; }));
    const auto second = Clock::now();
    ASSERT_EQ(VNRecordEventServiceTrigger(service_, url("b.mp4").c_str(), 1, 2), VNRES_SUCCEED);
    const auto secondDone = Clock::now();
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("name=recordStop") == 2; }));
    ASSERT_EQ(VNStop(recording), VNRES_SUCCEED);
    ASSERT_EQ(VNRelease(recording), VNRES_SUCCEED);
    ASSERT_THAT(files(), ElementsAre("a.mp4", "b.mp4", "recording.mp4"));
    expectClip("a.mp4", camera.numberAt(first - seconds(1)), camera.numberAt(first + seconds(3)),
               camera.numberAt(firstDone) - camera.numberAt(first));
    expectClip("b.mp4", camera.numberAt(second - seconds(1)), camera.numberAt(second + seconds(2)),
               camera.numberAt(secondDone) - camera.numberAt(second));
    const std::vector<RecordedPicture> recorded = intactPicturesOf("recording.mp4");
    ASSERT_GT(recorded.size(), kRate / 1U);
    EXPECT_LE(missingIn(recorded), Messages::instance().lostPictures());
}

TEST_F(ClipsTest, AnExistingFileIsNeverOverwritten) {
    startService();
    waitForPast(milliseconds(1'500));
    for (int round = 1; round <= 2; ++round) {
        ASSERT_EQ(VNRecordEventServiceTrigger(service_, url("a.mp4").c_str(), 1, 0), VNRES_SUCCEED);
        ASSERT_TRUE(waitUntil([=] { return Messages::instance().count("name=recordStop") == round; }));
    }
    EXPECT_THAT(files(), ElementsAre("a-1.mp4", "a.mp4"));
    picturesOf("a.mp4");
    picturesOf("a-1.mp4");
}

TEST_F(ClipsTest, AServiceThatIsStoppedCompletesItsClips) {
    startService();
    waitForPast(milliseconds(1'500));
    ASSERT_EQ(VNRecordEventServiceTrigger(service_, url("a.mp4").c_str(), 1, 100), VNRES_SUCCEED);
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("name=recordStart") == 1; }));
    ASSERT_EQ(VNStop(service_), VNRES_SUCCEED);
    EXPECT_THAT(files(), ElementsAre("a.mp4"));
    picturesOf("a.mp4");
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("name=recordStop") == 1; }));
    // It can be restarted, and has the past buffered meanwhile.
    ASSERT_EQ(VNStart(service_), VNRES_SUCCEED);
    ASSERT_EQ(VNRecordEventServiceTrigger(service_, url("b.mp4").c_str(), 1, 1), VNRES_SUCCEED);
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("name=recordStop") == 2; }));
    picturesOf("b.mp4");
}

TEST_F(ClipsTest, WrongTriggersAreReportedAndHarmless) {
    startService();
    waitForPast(milliseconds(1'500));
    testing::internal::CaptureStderr();
    const std::pair<std::string, int> wrong[] = {
        {url("a.mp4"), -1}, {"ftp://camera/a.mp4", 1}, {"a.mp4", 1}, {"", 1}, {url("a,b.mp4"), 1}};
    // The call succeeds like VNSetParams even if the trigger is refused; the framework logs the refusal.
    for (const auto& [target, pre] : wrong)
        EXPECT_EQ(VNRecordEventServiceTrigger(service_, target.c_str(), pre, 1), VNRES_SUCCEED) << target;
    EXPECT_EQ(VNRecordEventServiceTrigger(service_, url("none/a.mp4").c_str(), 1, 0), VNRES_SUCCEED);
    EXPECT_EQ(VNRecordEventServiceTrigger(0, url("a.mp4").c_str(), 1, 1), VNRES_INVALID_ARG);
    EXPECT_EQ(VNRecordEventServiceTrigger(service_, url("good.mp4").c_str(), 1, 1), VNRES_SUCCEED);
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("name=recordStop") == 1; }));
    const std::string lines = testing::internal::GetCapturedStderr();
    for (const char* const part : {"pre=-1s is negative", "ftp://camera/a.mp4",
                                   "not a URL: scheme:// missing", "lacks url", "b.mp4", "none/a.mp4"})
        EXPECT_THAT(lines, HasSubstr(part));
    // Each is also reported by one message, which is all that an application gets.
    ASSERT_EQ(VNStop(service_), VNRES_SUCCEED);
    ASSERT_TRUE(waitUntil([] { return Messages::instance().count("name=stopped") == 1; }));
    EXPECT_EQ(Messages::instance().count("name=failed,media=file"), 6);
    EXPECT_EQ(Messages::instance().count("url=" + url("a.mp4") + ",reason=invalid trigger"), 1);
    EXPECT_EQ(Messages::instance().count("url=ftp://camera/a.mp4,reason=not a valid URL"), 1);
    EXPECT_EQ(Messages::instance().count("url=a.mp4,reason=not a valid URL"), 1);
    EXPECT_EQ(Messages::instance().count("url=" + url("none/a.mp4") + ","), 1);
    EXPECT_THAT(files(), ElementsAre("good.mp4"));
}

// The plug-in waits only for the first clip of a process, so this test needs its own process.
TEST_F(ClipsTest, AOneShotClipThatCannotBeWrittenDoesNotBlockTheCall) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto record = [this] {
        removeAtExit();
        std::exit(VNRecordEventTrigger("file:///nowhere/a.mp4") == VNRES_SUCCEED ? 0 : 1);
    };
    EXPECT_EXIT(record(), testing::ExitedWithCode(0), "nowhere/a.mp4");
}

TEST_F(ClipsTest, AServiceLeftPlayingDoesNotBlockProcessExit) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto leave = [this] {
        removeAtExit();
        startService();
        waitForPast(milliseconds(1'000));
        const bool records =
            VNRecordEventServiceTrigger(service_, url("left.mp4").c_str(), 1, 100) == VNRES_SUCCEED &&
            waitUntil([] { return Messages::instance().count("name=recordStart") == 1; });
        std::exit(records ? 0 : 1);
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(0), "");
}

TEST_F(ClipsTest, TheFirstOneShotCallWaitsForItsClipAndLaterCallsDoNot) {
    const auto home = std::filesystem::current_path();
    std::filesystem::current_path(folder_);
    int first = 0;
    ASSERT_EQ(VNAcquire(VNRES_YUV_SOURCE, &first), VNRES_SUCCEED);
    waitForPast(milliseconds(4'000));
    const CameraClock camera;
    const auto point = Clock::now();
    ASSERT_EQ(VNRecordEventTrigger(nullptr), VNRES_SUCCEED);
    EXPECT_GE(Clock::now() - point, seconds(7));
    std::vector<std::string> made = files();
    ASSERT_EQ(made.size(), 1U);
    EXPECT_THAT(made[0], testing::MatchesRegex("EVT_....-..-.._..-..-..\\.mp4"));
    // The call reads its clock first; it needs no longer than a few pictures to get there.
    expectClip(made[0], camera.numberAt(point - seconds(3)), camera.numberAt(point + seconds(7)), 2);

    const auto again = Clock::now();
    ASSERT_EQ(VNRecordEventTrigger(url("again.mp4").c_str()), VNRES_SUCCEED);
    EXPECT_LT(Clock::now() - again, seconds(7));
    made = files();
    ASSERT_EQ(made.size(), 2U);
    EXPECT_EQ(made[1], "again.mp4");
    picturesOf("again.mp4");
    EXPECT_EQ(VNRecordEventTrigger("ftp://camera/a.mp4"), VNRES_FAIL);
    EXPECT_EQ(files().size(), 2U);
    EXPECT_EQ(VNRelease(first), VNRES_SUCCEED);
    std::filesystem::current_path(home);
}

}  // namespace
