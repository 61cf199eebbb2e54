#include "recorder_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "picture/frame_code.h"

extern char** environ;

namespace {

using kep::host::FrameCode;
using Clock = std::chrono::steady_clock;

constexpr int kWidth = 640;
constexpr int kHeight = 360;

/** Paints a picture with its number, and enough detail to keep an encoder busy. */
void paint(std::vector<std::uint8_t>& picture, std::uint32_t number) {
    for (std::size_t i = 0; i < picture.size(); ++i)
        picture[i] = static_cast<std::uint8_t>((i * 2654435761U >> 27) + i / kWidth / 2 + number);
    std::memset(picture.data() + kWidth * kHeight, 128, kWidth * kHeight / 2);
    const std::uint64_t code = FrameCode::encode(number);
    const auto x = [](int at) { return at * kWidth / FrameCode::pictureWidth; };
    const auto y = [](int at) { return at * kHeight / FrameCode::pictureHeight; };
    for (int row = 0; row < FrameCode::rows; ++row) {
        for (int column = 0; column < FrameCode::columns; ++column) {
            const int left = x(FrameCode::left + column * FrameCode::blockWidth);
            const int right = x(FrameCode::left + (column + 1) * FrameCode::blockWidth);
            for (int line = y(FrameCode::top + row * FrameCode::blockHeight);
                 line < y(FrameCode::top + (row + 1) * FrameCode::blockHeight); ++line)
                std::memset(picture.data() + line * kWidth + left,
                            FrameCode::isWhite(code, row, column) ? 235 : 16,
                            static_cast<std::size_t>(right - left));
        }
    }
}

std::vector<std::string> commandOf(Recorder recorder, const std::string& folder, int secondsOfFile,
                                   const std::string& microphone) {
    const std::string file = folder + "/rec.mp4";
    switch (recorder) {
        case Recorder::ffmpeg:
            return {"ffmpeg",
                    "-v",
                    "error",
                    "-f",
                    "rawvideo",
                    "-pix_fmt",
                    "yuv420p",
                    "-s",
                    "640x360",
                    "-r",
                    "30",
                    "-i",
                    "-",
                    "-c:v",
                    "libx264",
                    "-preset",
                    "ultrafast",
                    "-tune",
                    "zerolatency",
                    "-threads",
                    "1",
                    "-b:v",
                    "1000000",
                    "-g",
                    "30",
                    "-flush_packets",
                    "1",
                    "-f",
                    "mp4",
                    "-movflags",
                    "frag_keyframe+empty_moov+default_base_moof",
                    file};
        case Recorder::gstreamer:
            return {"gst-launch-1.0",
                    "-q",
                    "fdsrc",
                    "fd=0",
                    "blocksize=345600",
                    "!",
                    "rawvideoparse",
                    "width=640",
                    "height=360",
                    "format=i420",
                    "framerate=30/1",
                    "!",
                    "x264enc",
                    "speed-preset=ultrafast",
                    "tune=zerolatency",
                    "threads=1",
                    "bitrate=1000",
                    "key-int-max=30",
                    "!",
                    "h264parse",
                    "!",
                    "mp4mux",
                    "fragment-duration=1000",
                    "!",
                    "filesink",
                    "location=" + file};
        default:
            return {RECORDING_CHILD, folder, std::to_string(secondsOfFile), microphone};
    }
}

}  // namespace

RecorderProcess::RecorderProcess(Recorder recorder, const std::string& folder, int secondsOfFile,
                                 const std::string& microphone) {
    start(commandOf(recorder, folder, secondsOfFile, microphone), recorder != Recorder::ours);
    if (feeds_) feeder_ = std::thread([this] { feed(); });
}

RecorderProcess::~RecorderProcess() {
    kill();
}

void RecorderProcess::start(const std::vector<std::string>& command, bool feeds) {
    feeds_ = feeds;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error(std::strerror(errno));
    pipe_ = ends[feeds ? 1 : 0];
    const int theirs = ends[feeds ? 0 : 1];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (feeds) {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    posix_spawn_file_actions_adddup2(&actions, theirs, feeds ? STDIN_FILENO : STDOUT_FILENO);
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const int failed = posix_spawnp(&process_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(theirs);
    if (failed == 0) return;
    process_ = -1;
    close(pipe_);
    throw std::runtime_error(command[0] + ": " + std::strerror(failed));
}

void RecorderProcess::feed() {
    std::vector<std::uint8_t> picture(kWidth * kHeight * 3 / 2);
    const auto begin = Clock::now();
    for (std::uint32_t number = 0; !stopping_; ++number) {
        paint(picture, number);
        std::this_thread::sleep_until(begin + std::chrono::nanoseconds(1'000'000'000) * number / 30);
        // A picture counts as captured when it is offered, as with a camera that does not wait.
        newest_ = number;
        for (std::size_t at = 0; at < picture.size();) {
            const ssize_t written = write(pipe_, picture.data() + at, picture.size() - at);
            if (written < 0) return;
            at += static_cast<std::size_t>(written);
        }
    }
}

bool RecorderProcess::takeNumbers(bool wait, std::chrono::milliseconds limit) {
    pollfd ready = {pipe_, POLLIN, 0};
    while (poll(&ready, 1, wait ? static_cast<int>(limit.count()) : 0) > 0) {
        char bytes[4096];
        const ssize_t count = read(pipe_, bytes, sizeof bytes);
        if (count <= 0) break;
        rest_.append(bytes, static_cast<std::size_t>(count));
        const std::size_t whole = rest_.size() / 4;
        for (std::size_t i = 0; i < whole; ++i) {
            std::uint32_t number = 0;
            std::memcpy(&number, rest_.data() + i * 4, 4);
            captured_.insert(number);
            newest_ = number;
        }
        rest_.erase(0, whole * 4);
        wait = false;
    }
    return newest_ >= 0;
}

bool RecorderProcess::waitForFirst(std::chrono::seconds limit) {
    if (!feeds_) return takeNumbers(true, limit);
    const auto end = Clock::now() + limit;
    while (newest_ < 0 && Clock::now() < end) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return newest_ >= 0;
}

std::optional<std::uint32_t> RecorderProcess::kill() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        const std::int64_t newest = newest_;
        stopping_ = true;
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = -1;
        if (feeder_.joinable()) {
            feeder_.join();
            newest_ = newest;
        } else {
            takeNumbers(false, {});
        }
        close(pipe_);
        // If the process was no longer running, its recording cannot be judged.
        if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL) newest_ = -1;
    }
    const std::int64_t newest = newest_;
    if (newest < 0) return std::nullopt;
    return static_cast<std::uint32_t>(newest);
}
