// Threads that acquire, use and release their own handles of every type, including recordings and event
// services, which several threads reach by name. Prints the number of calls; the sanitizers report the
// errors.
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "own_segments.h"
#include "vornisa_api.h"

namespace {

constexpr int kThreads = 4;
constexpr std::size_t kHandles = 6;
/** Every n-th call starts or stops something, which takes far longer than other calls. */
constexpr int kChangeEvery = 20;
/** Every n-th call begins a recording; any thread with a handle of it may end it. */
constexpr int kRecordEvery = 5000;

constexpr std::array<int, 15> kTypes = {
    VNRES_REC_MAN,       VNRES_YUV_SOURCE,    VNRES_H264_SOURCE, VNRES_PCM_SOURCE, VNRES_AAC_SOURCE,
    VNRES_PCM_PLAYER,    VNRES_AAC_ENCODER,   VNRES_AAC_DECODER, VNRES_QRCODE,     VNRES_PHOTOGRAPHY,
    VNRES_EVENT_SERVICE, VNRES_SHARED_MEMORY, VNRES_STAMP,       VNRES_DEMUX,      VNRES_HUMAN_SHM};

std::filesystem::path folder;
std::atomic<long> callsLeft{0};
std::atomic<long> callsMade{0};
std::atomic<long> acquired{0};
std::atomic<long> heard{0};

/** The caller must serialise acquisition, release and attaching a store to a handle. */
std::mutex acquisition;

void hear(const char* message) {
    if (std::strstr(message, "name=")) ++heard;
}

struct Owned {
    int id = 0;
    int type = 0;
};

class Caller {
  public:
    explicit Caller(unsigned seed) : random_(seed) {}

    void run() {
        while (take()) step();
        for (Owned& owned : owned_) release(owned);
    }

  private:
    static bool take() { return callsLeft.fetch_sub(1) > 0; }
    int pick(int choices) { return std::uniform_int_distribution<int>(0, choices - 1)(random_); }

    void step() {
        ++callsMade;
        Owned& owned = owned_[static_cast<std::size_t>(pick(kHandles))];
        if (pick(kRecordEvery) == 0) {
            record();
        } else if (owned.id == 0) {
            acquire(owned);
        } else if (pick(kChangeEvery) == 0) {
            change(owned);
        } else {
            use(owned.id);
        }
    }

    void acquire(Owned& owned) {
        // Recordings and services, which may have several handles, are chosen more often.
        const int choice = pick(static_cast<int>(kTypes.size()) + 4);
        owned.type = choice < 2   ? VNRES_REC_MAN
                     : choice < 4 ? VNRES_EVENT_SERVICE
                                  : kTypes[static_cast<std::size_t>(choice - 4)];
        const std::lock_guard lock(acquisition);
        if (VNAcquire(owned.type, &owned.id) == VNRES_SUCCEED) ++acquired;
    }

    static void release(Owned& owned) {
        const std::lock_guard lock(acquisition);
        if (owned.id != 0) VNRelease(owned.id);
        owned.id = 0;
    }

    void record() {
        const std::string name = "r" + std::to_string(pick(1000)) + ".mp4";
        VNRecMan2(230400, "bitrate=200000", "", 1, folder.c_str(), name.c_str(),
                  pick(2) ? "PowerFailProtection=true" : nullptr);
    }

    void change(Owned& owned) {
        switch (pick(10)) {
            case 0:
            case 1:
                VNStart(owned.id);
                break;
            case 2:
                VNStop(owned.id);
                break;
            case 3:
                VNSwitchResolution(owned.id, 320, 180);
                break;
            case 4:
                VNTakePic2(owned.id, (folder / "picture.jpg").c_str());
                break;
            case 5:
                VNRecordEventServiceTrigger(owned.id, ("file://" + (folder / "clip.mp4").string()).c_str(), 0,
                                            0);
                break;
            case 6:
                VNRead(owned.id, room_.data(), static_cast<int>(room_.size()), 1, nullptr);
                break;
            case 7: {
                const std::lock_guard lock(acquisition);
                VNReadPcm(owned.id, room_.data(), 640, nullptr);
                break;
            }
            default:
                release(owned);
        }
    }

    void use(int id) {
        int running = 0;
        switch (pick(16)) {
            case 0:
                VNSetAudio(id, 16000, 1);
                break;
            case 1:
                VNSetBps(id, 100000 + pick(100000));
                break;
            case 2:
                VNSetFramerate(id, 10 + pick(20));
                break;
            case 3:
                VNSetResolution(id, 320, 180);
                break;
            case 4:
                VNGetKeyFrame(id);
                break;
            case 5:
                VNSetH264Gop(id, 5 + pick(20));
                break;
            case 6:
                VNSetParams(id, "br=200000,dbg=false");
                break;
            case 7:
                VNSetParams(id, pick(2) ? "max=32" : "trigger={pre=1s}");
                break;
            case 8:
                VNRegisterMessageCallback(id, hear);
                break;
            case 9:
                VNRegisterMessageCallback2(id, hear, this);
                break;
            case 10:
                VNStampEnable0(id, 1);
                break;
            case 11:
                VNFeed(id, room_.data(), 320);
                break;
            case 12:
                VNDemuxSeek(id, 0);
                break;
            default:
                VNIsRunning(id, &running);
        }
    }

    std::mt19937 random_;
    std::array<Owned, kHandles> owned_{};
    std::array<char, 640 * 360 * 2> room_{};
};

/** Ends the recordings that have no handle left. */
void endRecordings() {
    for (int running = 1; running;) {
        int id = 0;
        if (VNAcquire(VNRES_REC_MAN, &id) != VNRES_SUCCEED) return;
        VNIsRunning(id, &running);
        VNRelease(id);
    }
}

}  // namespace

int main(int count, char** arguments) {
    long calls = 10'000;
    unsigned seed = 1;
    for (int i = 1; i + 1 < count; i += 2) {
        if (std::strcmp(arguments[i], "--calls") == 0) calls = std::atol(arguments[i + 1]);
        if (std::strcmp(arguments[i], "--seed") == 0)
            seed = static_cast<unsigned>(std::atol(arguments[i + 1]));
    }
    std::string pattern = std::filesystem::temp_directory_path() / "handlesXXXXXX";
    if (!mkdtemp(pattern.data())) return 1;
    folder = pattern;
    const OwnSegments segments;
    callsLeft = calls;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back([=] { Caller(seed * kThreads + i).run(); });
    for (std::thread& thread : threads) thread.join();
    endRecordings();
    std::filesystem::remove_all(folder);
    std::printf("%ld calls, %ld handles, %ld messages\n", callsMade.load(), acquired.load(), heard.load());
    return callsMade == calls && acquired > 0 ? 0 : 1;
}
