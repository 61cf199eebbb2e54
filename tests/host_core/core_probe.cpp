// Runs one scenario and exits, for tests of a whole process.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "kep/debug_line.h"
#include "kep/entry_points.h"
#include "objects/hidden_errors.h"
#include "objects/log.h"
#include "objects/message_port.h"

namespace {

using kep::host::MessagePort;

constexpr int kThreads = 4;
constexpr int kLines = 500;

void writeOnEveryStream() {
    for (int stream = 0; stream < 32; ++stream) {
        *kep::stream::__dbg_couts[stream] << "stream " << stream << '\n';
    }
}

void writeFromManyThreads() {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < kLines; ++line) {
                auto& out = kep::stream::BeginDebugLine(8, "\033[31m", "/", thread, "f");
                for (int piece = 0; piece < 20; ++piece) out << thread << '.' << line << ' ';
                kep::stream::EndDebugLine(out);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

/** Posts a message and returns once the callback runs. */
void startCallback(MessagePort& port, const MessagePort::Callback& callback) {
    auto running = std::make_shared<std::promise<void>>();
    port.setCallback([running, callback](const std::string& message) {
        running->set_value();
        callback(message);
    });
    port.post("name=x");
    running->get_future().wait();
}

[[noreturn]] void blockForEver() {
    while (true) pause();
}

/** Posts during the destruction of objects with static storage. */
struct LatePoster {
    MessagePort port;
    ~LatePoster() {
        port.setCallback([](const std::string&) {});
        port.post("name=late");
    }
};

LatePoster latePoster;

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "streams") {
        writeOnEveryStream();
    } else if (what == "threads") {
        writeFromManyThreads();
    } else if (what == "nested") {
        auto& outer = *kep::stream::__dbg_couts[8] << "ou";
        *kep::stream::__dbg_couts[12] << "inner" << '\n';
        outer << "ter" << '\n';
    } else if (what == "place") {
        KEP_HOST_ERROR("here");
    } else if (what == "hidden") {
        for (int line = 1; line <= 6; ++line) KEP_HOST_ERROR("error " + std::to_string(line));
        KEP_HOST_INFO("information");
        for (int call = 0; call < 2; ++call) std::printf("[%s]\n", kepHostHiddenErrors());
    } else if (what == "plug-in") {
        auto& out = kep::stream::BeginDebugLine(8, "\033[31m", __FILE__, __LINE__, __func__);
        kep::stream::EndDebugLine(out << "here");
    } else if (what == "unfinished") {
        *kep::stream::__dbg_couts[8] << "no end";
    } else if (what == "blocked-callback") {
        static MessagePort* const neverDestroyed = new MessagePort;
        startCallback(*neverDestroyed, [](const std::string&) { blockForEver(); });
    } else if (what == "exit-in-callback") {
        static MessagePort* const neverDestroyed = new MessagePort;
        startCallback(*neverDestroyed, [](const std::string&) { std::exit(3); });
        blockForEver();
    } else if (what == "late-post") {
        latePoster.port.setCallback([](const std::string&) {});
        latePoster.port.post("name=early");
    } else if (what == "application-left-playing") {
        kep::object_base* const application = kepCreate("type=Application,name=left");
        return kepStatusUp(application, "play") ? 0 : 1;
    } else {
        std::fprintf(stderr, "unknown: %s\n", what.c_str());
        return 2;
    }
    return 0;
}
