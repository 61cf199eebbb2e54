#include "board/board_pipelines.h"

#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include "media/common/filming.h"
#include "media/common/retry_pause.h"
#include "media/pipeline/pipeline.h"
#include "media/threads.h"
#include "objects/creation.h"
#include "objects/log.h"
#include "objects/process_end.h"

namespace kep::host {
namespace {

constexpr const char* kAac =
    "type=pipeline,name=plAacSource,ondemand=true,layout={MicSrc+encoder-aac:name=aac}";
// Shares the encoder of plAacSource, which encodes the same microphone.
constexpr const char* kPreRecordAac =
    "type=pipeline,name=plPreRecordAac,ondemand=true,past=30000,"
    "layout={ShmSource:connect={type=pipeline,name=plAacSource},name=src}";
constexpr const char* kPreRecordH264 =
    "type=pipeline,name=plPreRecordH264,ondemand=true,past=30000,"
    "layout={pv-yuv-src-adv:name=src+encoder-h264:name=enc,goptype=ippp,gop=15,br=4000000,fr=30}";

const struct FilmingHook {
    FilmingHook() { filmingHook = &BoardPipelines::begin; }
    ~FilmingHook() { filmingHook = nullptr; }
} hook;

/** Whether pre-recording runs even if no application is attached. */
bool runsAlways() {
    const char* const set = std::getenv("KEP_HOST_PRERECORD");
    const std::string_view choice = set ? set : "";
    if (choice == "attached") return false;
    if (!choice.empty() && choice != "always")
        KEP_HOST_ERROR("KEP_HOST_PRERECORD=" + std::string(choice) + " is neither always nor attached");
    return true;
}

}  // namespace

void BoardPipelines::begin() {
    // The pipelines' own camera and microphone call this again through the hook.
    thread_local bool making = false;
    if (std::exchange(making, true)) return;
    // Never destroyed: a recording left running may read from them while the process ends.
    static const BoardPipelines* const pipelines = new BoardPipelines;
    static_cast<void>(pipelines);
    making = false;
}

BoardPipelines::BoardPipelines() {
    ProcessEnd::addStep([this] { stopHolding(); });
    make(kAac);
    std::vector<std::shared_ptr<Outlet>> preRecorded = {make(kPreRecordAac), make(kPreRecordH264)};
    if (runsAlways()) startHolding(std::move(preRecorded));
}

void BoardPipelines::startHolding(std::vector<std::shared_ptr<Outlet>> outlets) try {
    holding_ = startThread(Thread::prerecord, [this, outlets = std::move(outlets)] { hold(outlets); });
} catch (const std::system_error& failure) {
    KEP_HOST_ERROR(std::string("no pre-recording: cannot start a thread: ") + failure.what());
}

void BoardPipelines::stopHolding() {
    {
        const MutexLock lock(mutex_);
        ending_ = true;
    }
    changed_.notifyAll();
    if (holding_.joinable()) holding_.join();
}

std::shared_ptr<Outlet> BoardPipelines::make(const char* text) {
    pipelines_.push_back(makeObject(text));
    auto* const made = dynamic_cast<Pipeline*>(pipelines_.back().get());
    return made ? made->outlet() : nullptr;
}

void BoardPipelines::hold(std::vector<std::shared_ptr<Outlet>> outlets) {
    for (RetryPause pause;;) {
        std::erase_if(outlets, [](const auto& outlet) { return !outlet || outlet->hold(true); });
        if (outlets.empty()) return;
        MutexLock lock(mutex_);
        const auto until = std::chrono::steady_clock::now() + pause.next();
        if (changed_.waitUntil(lock, until, [this]() REQUIRES(mutex_) { return ending_; })) return;
    }
}

}  // namespace kep::host
