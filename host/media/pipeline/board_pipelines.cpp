#include "media/pipeline/board_pipelines.h"

#include <atomic>
#include <cstdlib>
#include <string_view>

#include "core/creation.h"
#include "core/log.h"
#include "core/process_end.h"
#include "media/common/retry_pause.h"
#include "media/pipeline/pipeline.h"

namespace kep::host {
namespace {

constexpr const char* kAac =
    "type=pipeline,name=plAacSource,ondemand=true,layout={MicSrc+encoder-aac:name=aac}";
// Encoded once for both: of the same microphone nobody needs two streams.
constexpr const char* kPreRecordAac =
    "type=pipeline,name=plPreRecordAac,ondemand=true,past=30000,"
    "layout={ShmSource:connect={type=pipeline,name=plAacSource},name=src}";
constexpr const char* kPreRecordH264 =
    "type=pipeline,name=plPreRecordH264,ondemand=true,past=30000,"
    "layout={pv-yuv-src-adv:name=src+encoder-h264:name=enc,goptype=ippp,gop=15,br=4000000,fr=30}";

std::atomic<bool> used{false};

const struct FirstObject {
    FirstObject() { setCreationHook(&BoardPipelines::firstUse); }
    ~FirstObject() { setCreationHook(nullptr); }
} firstObject;

bool chosenAlways() {
    const char* const set = std::getenv("KEP_HOST_PRERECORD");
    const std::string_view choice = set ? set : "";
    if (choice == "attached") return false;
    if (!choice.empty() && choice != "always")
        KEP_HOST_ERROR("KEP_HOST_PRERECORD=" + std::string(choice) + " is none of always, attached");
    return true;
}

/** Whether pre-recording is to run although nobody is attached. Chosen once in a process. */
bool runsAlways() {
    static const bool always = chosenAlways();
    return always;
}

}  // namespace

BoardPipelines& BoardPipelines::instance() {
    // Never destroyed: a recording that the program forgot may still listen to them while the process ends.
    static BoardPipelines& pipelines = *new BoardPipelines;
    return pipelines;
}

void BoardPipelines::firstUse() {
    if (!used.exchange(true) && runsAlways()) instance();
}

BoardPipelines::BoardPipelines() {
    used = true;
    ProcessEnd::addStep([this] { stopHolding(); });
    make(kAac);
    std::vector<std::shared_ptr<Outlet>> preRecorded = {make(kPreRecordAac), make(kPreRecordH264)};
    if (runsAlways()) holding_ = std::thread([this, preRecorded] { keepRunning(preRecorded); });
}

void BoardPipelines::stopHolding() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    if (holding_.joinable()) holding_.join();
}

std::shared_ptr<Outlet> BoardPipelines::make(const char* text) {
    pipelines_.push_back(makeObject(text));
    auto* const made = dynamic_cast<Pipeline*>(pipelines_.back().get());
    return made ? made->outlet() : nullptr;
}

void BoardPipelines::keepRunning(std::vector<std::shared_ptr<Outlet>> outlets) {
    for (RetryPause pause;;) {
        std::erase_if(outlets, [](const auto& outlet) { return !outlet || outlet->hold(); });
        if (outlets.empty()) return;
        std::unique_lock lock(mutex_);
        const auto until = std::chrono::steady_clock::now() + pause.next();
        if (changed_.wait_until(lock, until, [this] { return ending_; })) return;
    }
}

}  // namespace kep::host
