// Records into the folder of the second argument and ends in the way that the first one names.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "vornisa_api.h"

namespace {

std::filesystem::path folder;

bool isRecorded(const std::string& name) {
    std::error_code missing;
    const auto bytes = std::filesystem::file_size(folder / (name + ".part"), missing);
    return !missing && bytes > 50'000;
}

/** Without a timeout: the caller of this program has one. */
void waitFor(const std::string& name) {
    while (!isRecorded(name)) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

void record(const char* name, const char* param) {
    if (VNRecMan2(230400, "bitrate=500000", "", 600, folder.c_str(), name, param) != VNRES_SUCCEED)
        std::_Exit(90);
}

void recordProtected(const char* name) {
    record(name, "PowerFailProtection=true");
}

int startService() {
    int id = 0;
    if (VNAcquire(VNRES_EVENT_SERVICE, &id) != VNRES_SUCCEED || VNStart(id) != VNRES_SUCCEED) std::_Exit(91);
    return id;
}

std::string url(const char* name) {
    return "file://" + (folder / name).string();
}

void exitAtStop(const char* message) {
    if (std::string(message).find("name=stopped") != std::string::npos) std::exit(3);
}

std::atomic<bool> ending{false};

void tellLate(const char* message) {
    if (ending) std::fprintf(stderr, "late: %s\n", message);
}

}  // namespace

int main(int, char** arguments) {
    const std::string how = arguments[1];
    folder = arguments[2];
    if (how == "return") {
        // A file without protection: unusable unless it is finished with an index.
        record("plain.mp4", nullptr);
        recordProtected("protected.mp4");
        int id = 0;
        VNAcquire(VNRES_REC_MAN, &id);
        VNRegisterMessageCallback(id, tellLate);
        waitFor("plain.mp4");
        waitFor("protected.mp4");
        // Runs before the handlers registered earlier.
        std::atexit([] { ending = true; });
        return 0;
    }
    if (how == "first-function") {
        if (VNRecMan(230400, "codec=h264,framerate=30,bitrate=500000,goptype=ippp,gop=15", "codec=aac", 600,
                     folder.c_str(), "a.mp4") != VNRES_SUCCEED)
            return 92;
        waitFor("a.mp4");
        return 0;
    }
    if (how == "clip") {
        const int service = startService();
        VNRecordEventServiceTrigger(service, url("clip.mp4").c_str(), 0, 600);
        waitFor("clip.mp4");
        return 0;
    }
    if (how == "one-shot") {
        std::thread([] { VNRecordEventTrigger(url("clip.mp4").c_str()); }).detach();
        waitFor("clip.mp4");
        return 0;
    }
    if (how == "exit-in-callback") {
        recordProtected("a.mp4");
        waitFor("a.mp4");
        const int service = startService();
        VNRegisterMessageCallback(service, exitAtStop);
        VNStop(service);
        while (true) pause();
    }
    if (how == "fork") {
        recordProtected("a.mp4");
        waitFor("a.mp4");
        const pid_t child = fork();
        if (child == 0) std::exit(0);
        int status = 1;
        waitpid(child, &status, 0);
        return status;
    }
    if (how == "hung-disk") {
        recordProtected("a.mp4");
        waitFor("a.mp4");
        std::ofstream(std::getenv("HUNG_DISK")) << "hangs";
        return 0;
    }
    return 99;
}
