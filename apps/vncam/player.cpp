#include "player.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <thread>
#include <vector>

#include "command.h"
#include "interrupt.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;

constexpr auto kEndPollInterval = 20ms;
/** Between SIGTERM and SIGKILL. */
constexpr auto kShutdownTimeout = 2s;
/** Of the player's output, quoted when it fails: the reason may take several lines. */
constexpr off_t kLastBytes = 512;

constexpr const char* kTitle = "vncam watch";

/** The path of a program in PATH; empty when it is not found. */
std::string onPath(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        const std::string program = (folder.empty() ? "." : folder) + "/" + name;
        std::error_code error;
        if (std::filesystem::is_regular_file(program, error) && access(program.c_str(), X_OK) == 0)
            return program;
    }
    return "";
}

}  // namespace

struct Player::Kind {
    const char* name;
    const char* package; /**< on Debian */
    /** Play without delay and without a terminal, and exit at the end of the stream. */
    std::vector<const char*> options;
};

const Player::Kind Player::kKinds[] = {
    {"ffplay",
     "ffmpeg",
     {"-loglevel", "error", "-nostats", "-window_title", kTitle, "-autoexit", "-fflags", "nobuffer", "-flags",
      "low_delay", "-framedrop", "-analyzeduration", "100000", "-f", "mpegts", "-i", "-"}},
    {"mpv",
     "mpv",
     {"--profile=low-latency", "--no-input-terminal", "--msg-level=all=error", "--title=vncam watch",
      "--idle=no", "--keep-open=no", "-"}},
};

std::string Player::known() {
    std::string names;
    for (const Kind& kind : kKinds) names += (names.empty() ? "" : " or ") + std::string(kind.name);
    return names;
}

Player::Player(const std::string& name) {
    const std::string wanted = std::filesystem::path(name).filename();
    for (const Kind& kind : kKinds) {
        if (!name.empty() && wanted != kind.name) continue;
        kind_ = &kind;
        path_ = wanted == name ? onPath(kind.name) : name;
        if (!path_.empty()) return;
    }
    if (!kind_) throw UsageError("--player '" + name + "': not " + known() + ", nor the path of one of them");
    if (!name.empty()) throw Failure(name + ": not installed; on Debian: apt install " + kind_->package);
    throw Failure("no player installed: install " + known() + "; on Debian: apt install ffmpeg");
}

Player::~Player() {
    if (process_ > 0) end();
    if (printed_ >= 0) close(printed_);
}

std::unique_ptr<Output> Player::start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw Failure(std::string("cannot create a pipe: ") + std::strerror(errno));
    auto input = std::make_unique<Output>(kind_->name, ends[1]);
    printed_ = memfd_create("player", MFD_CLOEXEC);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[0], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&files, printed_, STDERR_FILENO);
    // Restores SIGPIPE, which vncam ignores: a broken pipe should end the player.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

    std::vector<char*> arguments{path_.data()};
    for (const char* const option : kind_->options) arguments.push_back(const_cast<char*>(option));
    arguments.push_back(nullptr);
    const int error = posix_spawn(&process_, path_.c_str(), &files, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    close(ends[0]);
    if (error != 0) {
        process_ = -1;
        throw Failure(path_ + ": cannot run: " + std::strerror(error));
    }
    return input;
}

void Player::finish() {
    std::optional<int> status;
    while (!status && !stopRequested()) status = ended(kEndPollInterval);
    if (!status) end();
    // A signal from the terminal reaches the player as well, and it may end before us.
    if (!status || stopRequested()) return;
    if (WIFEXITED(*status) && WEXITSTATUS(*status) == 0) return;
    std::string text = std::string(kind_->name) + ": ";
    if (WIFSIGNALED(*status))
        text += std::string("terminated by signal: ") + strsignal(WTERMSIG(*status));
    else
        text += "exit status " + std::to_string(WEXITSTATUS(*status));
    throw Failure(text + lastOutput());
}

std::optional<int> Player::ended(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        int status = 0;
        const pid_t found = waitpid(process_, &status, WNOHANG);
        if (found == process_) {
            process_ = -1;
            return status;
        }
        if (std::chrono::steady_clock::now() >= end) return std::nullopt;
        std::this_thread::sleep_for(kEndPollInterval);
    }
}

void Player::end() {
    kill(process_, SIGTERM);
    if (ended(kShutdownTimeout)) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

/** The last lines that the player printed, joined into one. */
std::string Player::lastOutput() const {
    const off_t size = lseek(printed_, 0, SEEK_END);
    char bytes[kLastBytes];
    const ssize_t count = pread(printed_, bytes, sizeof bytes, std::max<off_t>(0, size - kLastBytes));
    std::istringstream lines(std::string(bytes, static_cast<std::size_t>(std::max<ssize_t>(0, count))));
    std::string joined;
    for (std::string line; std::getline(lines, line);) {
        std::erase_if(line, [](unsigned char byte) { return byte < ' ' || byte == 0x7f; });
        if (!line.empty()) joined += (joined.empty() ? ": " : "; ") + line;
    }
    return joined;
}

}  // namespace vncam
