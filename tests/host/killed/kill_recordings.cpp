/**
 * Kills recordings at random moments and checks what they leave:
 *
 *   kill_recordings FOLDER RECORDER RUNS [JOBS [SECONDS]]
 *
 * RECORDER is ours, ffmpeg or gstreamer, or ours with a fault of its microphone: ours-lost, ours-stalled,
 * ours-unsteady. JOBS recordings run at a time (1), each for up to SECONDS (8). The files of ours are then
 * recovered and checked again. Prints a line of figures, and a line for each damaged file; the folder with
 * damaged files is kept, and beside it a copy from before the recovery (.killed). Exits with 1 if a recording
 * of ours is damaged or lost more than a second.
 */
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <random>
#include <string_view>

#include "killed_files.h"
#include "microphone_fault.h"
#include "recorder_process.h"
#include "recordings/recovery.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using State = recordings::RecordingCheck::State;

constexpr int kSecondsOfFile = 3;
constexpr double kFps = 30;

/** In seconds: the fragment in progress, plus pictures in the encoder and in queues. */
constexpr double kMostLost = 1;

/** The recorder, and the fault of its microphone. */
struct Kind {
    Recorder recorder;
    MicrophoneFault fault = MicrophoneFault::none;
};

std::optional<Kind> kindOf(const std::string& name) {
    constexpr std::string_view kOurs = "ours";
    if (name == "ffmpeg") return Kind{Recorder::ffmpeg};
    if (name == "gstreamer") return Kind{Recorder::gstreamer};
    if (!name.starts_with(kOurs)) return std::nullopt;
    if (name == kOurs) return Kind{Recorder::ours};
    const auto fault =
        name[kOurs.size()] == '-' ? microphoneFaultOf(name.substr(kOurs.size() + 1)) : std::nullopt;
    if (!fault) return std::nullopt;
    return Kind{Recorder::ours, *fault};
}

/** A recording to make and kill. */
struct Run {
    milliseconds life;
    unsigned seed;
};

struct Tally {
    std::mutex mutex;
    std::vector<double> lost;
    int finished = 0;
    int open = 0;
    int empty = 0;
    std::vector<std::string> faults;
};

/** The copy of a folder as the killed recorder left it. */
std::string asKilled(const std::string& folder) {
    return folder + ".killed";
}

/** Recovers the open files, and adds what is wrong afterwards to `before.faults`. */
void recover(const std::string& folder, const std::set<std::int64_t>& captured, KilledFiles& before) {
    fs::copy(folder, asKilled(folder));
    for (const fs::directory_entry& file : fs::directory_iterator(folder)) {
        // Whatever the check would truncate here it would truncate in an unfinished file, too.
        if (file.path().extension() == ".mp4" &&
            recordings::checkRecording(file.path()).state != State::whole)
            before.faults.push_back(file.path().filename().string() +
                                    ": the check finds it damaged although it is finished");
    }
    for (const std::string& path : recordings::unfinishedIn(folder)) recordings::recoverFile(path);
    KilledFiles after(folder, 0, captured);
    for (const std::string& fault : after.faults) before.faults.push_back("recovered: " + fault);
    if (after.last != before.last || after.open != before.empty)
        before.faults.push_back("recovered: not every playable file was finished: up to picture " +
                                std::to_string(after.last) + " of " + std::to_string(before.last) + ", " +
                                std::to_string(after.open) + " files left open of which " +
                                std::to_string(before.empty) + " were empty");
}

void runOnce(const Kind& kind, const std::string& folder, const Run& run, Tally& tally) {
    const Recorder recorder = kind.recorder;
    fs::remove_all(folder);
    fs::remove_all(asKilled(folder));
    fs::create_directories(folder);
    FaultyMicrophone microphone(kind.fault, folder + ".sign", run.seed);
    RecorderProcess process(recorder, folder, kSecondsOfFile, microphone.device());
    if (process.waitForFirst(std::chrono::seconds(60))) microphone.live(run.life);
    const auto newest = process.kill();
    KilledFiles files(folder, recorder == Recorder::ours ? kSecondsOfFile : 0, process.captured());
    if (recorder == Recorder::ours) recover(folder, process.captured(), files);
    const std::lock_guard lock(tally.mutex);
    for (const std::string& fault : files.faults) tally.faults.push_back(folder + "/" + fault);
    tally.finished += files.finished;
    tally.open += files.open;
    tally.empty += files.empty;
    if (!newest) {
        tally.faults.push_back(folder + ": the recorder ended by itself");
        return;
    }
    // If it is killed before its first fragment is complete, all of it is lost.
    const double lost = (static_cast<double>(*newest) - static_cast<double>(files.last)) / kFps;
    tally.lost.push_back(lost);
    if (!files.faults.empty() || lost > kMostLost) return;
    fs::remove_all(folder);
    fs::remove_all(asKilled(folder));
}

int report(const char* name, Tally& tally) {
    std::sort(tally.lost.begin(), tally.lost.end());
    const auto at = [&](double share) {
        if (tally.lost.empty()) return 0.0;
        return tally.lost[static_cast<std::size_t>(share * static_cast<double>(tally.lost.size() - 1))];
    };
    std::printf(
        "%-13s %5zu runs, %5d finished files, %5d open, %4d without a picture yet, %4zu damaged; "
        "lost: median %.2f s, 99%% %.2f s, most %.2f s\n",
        name, tally.lost.size(), tally.finished, tally.open, tally.empty, tally.faults.size(), at(0.5),
        at(0.99), at(1));
    for (const std::string& fault : tally.faults) std::fprintf(stderr, "%s\n", fault.c_str());
    return tally.faults.empty() && !tally.lost.empty() && at(1) <= kMostLost ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const char* const name = argc > 2 ? argv[2] : "";
    const int runs = argc > 3 ? std::atoi(argv[3]) : 0;
    const int jobs = argc > 4 ? std::atoi(argv[4]) : 1;
    const int seconds = argc > 5 ? std::atoi(argv[5]) : 8;
    const std::optional<Kind> kind = kindOf(name);
    if (!kind || runs < 1 || jobs < 1 || seconds < 1) {
        std::fprintf(
            stderr,
            "usage: kill_recordings FOLDER ours|ours-lost|ours-stalled|ours-unsteady|ffmpeg|gstreamer "
            "RUNS [JOBS [SECONDS]]\n");
        return 2;
    }
    // Writing to a killed peer raises SIGPIPE.
    signal(SIGPIPE, SIG_IGN);
    setenv("KEP_HOST_LOG", "none", 0);
    // Pre-recording is not needed.
    setenv("KEP_HOST_PRERECORD", "attached", 0);
    std::random_device seed;
    std::mt19937 random(seed());
    std::vector<Run> planned;
    for (int run = 0; run < runs; ++run)
        planned.push_back({milliseconds(random() % static_cast<unsigned>(seconds * 1000)),
                           static_cast<unsigned>(random())});
    Tally tally;
    std::atomic<int> next{0};
    std::vector<std::thread> workers;
    for (int job = 0; job < std::min(jobs, runs); ++job) {
        workers.emplace_back([&] {
            for (int run = next++; run < runs; run = next++)
                runOnce(*kind, std::string(argv[1]) + "/" + name + std::to_string(run),
                        planned[static_cast<std::size_t>(run)], tally);
        });
    }
    for (std::thread& worker : workers) worker.join();
    const int result = report(name, tally);
    return kind->recorder == Recorder::ours ? result : 0;
}
