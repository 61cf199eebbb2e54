#include "media/faces/photography.h"

#include "media/faces/streams.h"
#include "media/threads.h"
#include "media/video/picture_file.h"
#include "media/video/picture_size.h"
#include "objects/log.h"
#include "text/attr_text.h"

namespace kep::host {

namespace {

constexpr int rate = 30;
constexpr std::size_t mostWaiting = 16;

/** Past this age a picture is no picture of now: the camera has stopped, or is a very slow one. */
constexpr std::chrono::seconds oldest(1);

/** A message with a text that, should it be none that a message can carry, is left out. */
std::string withText(std::string message, const char* key, const std::string& value) {
    if (isValue(value)) appendValue(message.append(",").append(key).append("="), value);
    return message;
}

}  // namespace

void Photography::SetUrl(const char* url) {
    const MutexLock lock(urlMutex_);
    url_ = url ? url : "";
}

bool Photography::checkSettings() const {
    const int width = width_;
    const int height = height_;
    const int quality = quality_;
    const int source = source_;
    if (width != unset && !isSide("width", width)) return false;
    if (height != unset && !isSide("height", height)) return false;
    if (quality < 1 || quality > 100) {
        KEP_HOST_ERROR("picture quality " + std::to_string(quality) + " is not from 1 to 100");
        return false;
    }
    if (source == 0) return true;
    KEP_HOST_ERROR("there is no picture source " + std::to_string(source) + ", only 0");
    return false;
}

bool Photography::start() {
    if (!checkSettings()) return false;
    auto opened = std::make_shared<Run>();
    // One picture is kept, and always the newest.
    opened->camera = CameraLease::open(
        rate, -1, {nullptr, [this](const std::string& device) { endedByLoss("video", device); }}, 1);
    if (!opened->camera) return false;
    const MutexLock lock(runMutex_);
    run_ = std::move(opened);
    return true;
}

void Photography::stop() {
    std::shared_ptr<Run> closed;
    {
        const MutexLock lock(runMutex_);
        closed.swap(run_);
    }
    if (closed) closed->camera->close();
    std::thread writer;
    {
        const MutexLock lock(laterMutex_);
        closing_ = true;
        laterChanged_.notifyAll();
        writer.swap(writer_);
    }
    if (writer.joinable()) writer.join();
    const MutexLock lock(laterMutex_);
    closing_ = false;
}

bool Photography::Snap(const char* url, bool wait) {
    return take(url ? url : "", wait);
}

bool Photography::Snap(bool wait) {
    std::string url;
    {
        const MutexLock lock(urlMutex_);
        url = url_;
    }
    return take(url, wait);
}

bool Photography::take(const std::string& url, bool wait) {
    const std::optional<std::string> path = pathOfFileUrl(url);
    if (!path || !checkSettings()) return false;
    Shot shot = {newestPicture(), url, *path, width_, height_, quality_};
    if (!shot.picture) return false;
    if (shot.width == unset) shot.width = shot.picture->frame->width;
    if (shot.height == unset) shot.height = shot.picture->frame->height;
    return wait ? write(shot) : writeLater(std::move(shot));
}

PicturePtr Photography::newestPicture() {
    std::shared_ptr<Run> run;
    {
        const MutexLock lock(runMutex_);
        run = run_;
    }
    if (run) {
        const MutexLock lock(cameraMutex_);
        run->camera->pull(run->newest, false);
        const auto now = std::chrono::steady_clock::now();
        if (run->newest && now - run->newest->stamp < oldest) return run->newest;
        if (run->camera->pull(run->newest, true)) return run->newest;
    }
    KEP_HOST_ERROR("there is no picture to take: the camera is not running");
    return nullptr;
}

bool Photography::write(const Shot& shot) {
    std::string reason;
    bool written = false;
    {
        const MutexLock lock(writing_);
        if (!scaler_ || shot.width != scaledWidth_ || shot.height != scaledHeight_) {
            scaler_ = SharedScaler::forSize(shot.width, shot.height);
            scaledWidth_ = shot.width;
            scaledHeight_ = shot.height;
        }
        const PicturePtr scaled = scaler_->scale(shot.picture);
        if (!scaled) reason = "no memory for a picture";
        written = scaled && encoder_.encode(*scaled->frame, shot.quality, reason) &&
                  writeWhole(shot.path, encoder_.data(), encoder_.size(), reason);
    }
    if (!written) KEP_HOST_ERROR("picture " + shot.path + ": " + reason);
    post(withText(written ? "name=pictureTaken" : "name=pictureFailed", "url", shot.url));
    return written;
}

bool Photography::writeLater(Shot shot) {
    const MutexLock lock(laterMutex_);
    if (closing_ || later_.size() == mostWaiting) {
        KEP_HOST_ERROR("picture " + shot.path + ": " + std::to_string(later_.size()) + " wait already");
        return false;
    }
    later_.push_back(std::move(shot));
    if (!writer_.joinable()) writer_ = startThread(Thread::pictureWriter, [this] { writeAll(); });
    laterChanged_.notifyAll();
    return true;
}

void Photography::writeAll() {
    MutexLock lock(laterMutex_);
    while (true) {
        laterChanged_.wait(lock, [this]() REQUIRES(laterMutex_) { return closing_ || !later_.empty(); });
        if (later_.empty()) return;
        const Shot shot = std::move(later_.front());
        later_.pop_front();
        lock.unlock();
        write(shot);
        lock.lock();
    }
}

std::unique_ptr<api::streaming::IPhotography> makePhotography() {
    return std::make_unique<Photography>();
}

}  // namespace kep::host
