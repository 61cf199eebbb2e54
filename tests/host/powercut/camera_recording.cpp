#include "camera_recording.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

#include "captured_pictures.h"
#include "disk_judge.h"
#include "kep/attr_set.h"
#include "media/pipeline/element.h"
#include "objects/class_registry.h"
#include "vornisa_api.h"
#include "wait_until.h"

namespace kep::host {
namespace {

constexpr int k1080p = 1920 * 1080;
constexpr const char* kFolder = "/sd";
constexpr const char* kName = "rec.mp4";
constexpr std::string_view kRecording = "/sd/rec";
constexpr std::string_view kScheme = "file://";

std::mutex mutex;
StepLog* steps = nullptr;
std::vector<Recorded::Told> told;

/**
 * Keeps what the encoder outputs: class EncodedPictures. Only encoded pictures count as captured: otherwise a
 * slow encoder on a busy machine would look like a slow recorder.
 */
class EncodedPictures final : public Element {
  public:
    EncodedPictures() {
        for (const char* const name : {"goptype", "gop", "br", "fr", "clock"})
            properties().add<std::string>(name, nullptr, [](const std::string&) { return true; });
    }
    ~EncodedPictures() override { retire(); }

    void take(const SharedPacket& packet, const Element&) override {
        {
            const std::lock_guard lock(mutex);
            packets_.push_back(packet);
            seconds_ = std::chrono::duration<double>(packet->stamp - packets_.front()->stamp).count();
        }
        give(packet);
    }

    static void reset() {
        const std::lock_guard lock(mutex);
        packets_.clear();
        seconds_ = 0;
    }
    /** Time between the first and the newest picture. */
    static double seconds() { return seconds_; }
    static CapturedPictures all() {
        const std::lock_guard lock(mutex);
        CapturedPictures pictures;
        for (const SharedPacket& packet : packets_) pictures.add(*packet);
        return pictures;
    }

  private:
    static inline std::vector<SharedPacket> packets_;
    static inline std::atomic<double> seconds_{0};
};

const ClassRegistration<EncodedPictures> registration("EncodedPictures");

void must(bool done, const std::string& what) {
    if (!done) throw std::runtime_error(what);
}

void hear(const char* message) {
    const base::AttrSet attributes(message);
    if (attributes.GetOrDef("name", "") != std::string("recordStop")) return;
    const std::string url = attributes.GetOrDef("url", "");
    const std::lock_guard lock(mutex);
    if (steps && url.starts_with(kScheme)) told.push_back({url.substr(kScheme.size()), steps->count()});
}

bool isTold(const std::string& path) {
    const std::lock_guard lock(mutex);
    return std::any_of(told.begin(), told.end(), [&](const auto& each) { return each.path == path; });
}

}  // namespace

CameraRecording::CameraRecording(const std::string& microphone) : log_(EncodedPictures::seconds) {
    setenv("KEP_HOST_VIDEO", "test", 1);
    setenv("KEP_HOST_AUDIO", microphone.c_str(), 1);
    setenv("KEP_HOST_PRERECORD", "attached", 1);
    EncodedPictures::reset();
    const std::lock_guard lock(mutex);
    steps = &log_;
    told.clear();
}

CameraRecording::~CameraRecording() {
    stop();
    const std::lock_guard lock(mutex);
    steps = nullptr;
}

void CameraRecording::waitFor(double seconds) {
    const double until = EncodedPictures::seconds() + seconds;
    must(waitUntil([&] { return EncodedPictures::seconds() >= until; }), "no pictures encoded in time");
}

void CameraRecording::listen(int id) {
    must(VNRegisterMessageCallback(id, hear) == VNRES_SUCCEED, "cannot register the message callback");
}

void CameraRecording::record(int secondsOfFile) {
    // The encoder's remaining attributes go to the element after it, which accepts them.
    const char* const video = "codec={h264:gop=15,br=4000000,fr=30,clock=400000+EncodedPictures}";
    must(VNRecMan2(k1080p, video, "", secondsOfFile, kFolder, kName, "PowerFailProtection=true") ==
             VNRES_SUCCEED,
         "cannot start the recording");
    must(VNAcquire(VNRES_REC_MAN, &recording_) == VNRES_SUCCEED, "cannot acquire the recording");
    listen(recording_);
}

void CameraRecording::trigger(const std::string& url, int pre, int post) {
    if (service_ == 0) {
        must(VNAcquire(VNRES_EVENT_SERVICE, &service_) == VNRES_SUCCEED, "cannot acquire the event service");
        listen(service_);
        must(VNStart(service_) == VNRES_SUCCEED, "cannot start the event service");
    }
    must(VNRecordEventServiceTrigger(service_, url.c_str(), pre, post) == VNRES_SUCCEED,
         "cannot trigger a clip");
}

void CameraRecording::takePicture(const std::string& path) {
    if (photography_ == 0)
        must(VNAcquire(VNRES_PHOTOGRAPHY, &photography_) == VNRES_SUCCEED,
             "cannot acquire the picture taker");
    must(VNTakePic2(photography_, path.c_str()) == VNRES_SUCCEED, "cannot take a picture");
    const std::lock_guard lock(mutex);
    told.push_back({path, log_.count()});
}

void CameraRecording::waitForFile(const std::string& path) {
    must(waitUntil([&] { return isTold(path); }), path + " is not reported complete");
}

void CameraRecording::stop() {
    for (int* const id : {&recording_, &service_, &photography_}) {
        if (*id == 0) continue;
        VNStop(*id);
        // Wait for its last messages, which need the handle.
        const int released = *id;
        *id = 0;
        if (id == &recording_) {
            const auto& done = log_.steps();
            const auto last = std::find_if(done.rbegin(), done.rend(), [](const Step& step) {
                return step.kind == Step::Kind::rename && step.to.starts_with(kRecording);
            });
            if (last != done.rend()) waitUntil([&] { return isTold(last->to); });
        }
        VNRelease(released);
    }
}

Recorded CameraRecording::finish() {
    stop();
    inUse_.reset();
    Recorded recorded;
    recorded.steps = log_.steps();
    {
        const std::lock_guard lock(mutex);
        recorded.told = told;
    }
    const CapturedPictures captured = EncodedPictures::all();
    const auto versions = DiskJudge::versionsOf(recorded);
    std::size_t next = 0;
    for (const Step& step : recorded.steps) {
        if (step.kind != Step::Kind::rename || !step.to.starts_with(kRecording)) continue;
        const WholeFile file(versions.at(step.to).front().content->bytes, 0);
        for (std::size_t i = 0; i < file.pictures().size(); ++i) {
            const auto number = captured.find(file.picture(i));
            must(number.has_value(), step.to + ": contains a picture that was not captured");
            must(*number == next || (i == 0 && mayLose_),
                 step.to + ": a picture does not follow the previous one");
            next = *number + 1;
            if (i == 0) recorded.begins[step.to] = captured.time(*number);
        }
    }
    must(next == captured.count(), "the last pictures are missing from the files");
    return recorded;
}

}  // namespace kep::host
