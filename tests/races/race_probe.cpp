// Two threads that access the same bytes without synchronisation: in code of ours, or within a library that
// is not built here. CMakeLists.txt checks what the thread sanitizer reports of each.
extern "C" {
#include <libavformat/avio.h>
#include <libavutil/imgutils.h>
#include <libavutil/mem.h>
}

#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

int written = 0;
std::vector<unsigned char> shared(4096);

/** Runs `work` on two threads at the same time. Relaxed accesses do not synchronise them. */
void onTwoThreads(const std::function<void()>& work) {
    std::atomic<int> arrived{0};
    const auto run = [&] {
        arrived.fetch_add(1, std::memory_order_relaxed);
        while (arrived.load(std::memory_order_relaxed) < 2) std::this_thread::yield();
        work();
        arrived.fetch_add(1, std::memory_order_relaxed);
        while (arrived.load(std::memory_order_relaxed) < 4) std::this_thread::yield();
    };
    std::thread first(run);
    std::thread second(run);
    first.join();
    second.join();
}

void assign() {
    ++written;
}

void copy() {
    const std::vector<unsigned char> source(shared.size());
    std::memcpy(shared.data(), source.data(), source.size());
}

int takeBytes(void*, std::uint8_t*, int size) {
    written += size;
    return size;
}

/** libavformat calls `takeBytes`. */
void writeThroughLibrary() {
    constexpr int kBytes = 1024;
    auto* const buffer = static_cast<unsigned char*>(av_malloc(kBytes));
    AVIOContext* output = avio_alloc_context(buffer, kBytes, 1, nullptr, nullptr, takeBytes, nullptr);
    avio_w8(output, 1);
    avio_flush(output);
    av_freep(&output->buffer);
    avio_context_free(&output);
}

/** libavutil calls memcpy. */
void copyWithinLibrary() {
    const std::vector<unsigned char> source(shared.size());
    const int bytes = static_cast<int>(source.size());
    av_image_copy_plane(shared.data(), bytes, source.data(), bytes, bytes, 1);
}

}  // namespace

int main(int count, char** arguments) {
    const std::map<std::string, std::function<void()>> races = {
        {"assignment", assign},
        {"copy", copy},
        {"callback", writeThroughLibrary},
        {"library", copyWithinLibrary},
    };
    const auto race = races.find(count == 2 ? arguments[1] : "");
    if (race == races.end()) {
        std::fputs("usage: race_probe assignment|copy|callback|library\n", stderr);
        return 2;
    }
    onTwoThreads(race->second);
    std::puts("both threads are done");
    return 0;
}
