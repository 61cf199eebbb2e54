#include "inbox.h"

#include <condition_variable>
#include <deque>
#include <mutex>

#include "resource.h"

namespace vncam {
namespace {

// A C callback has no user pointer.
std::mutex mutex;
std::condition_variable arrived;
std::deque<std::string> messages;

void take(const char* message) {
    {
        const std::lock_guard lock(mutex);
        messages.emplace_back(message);
    }
    arrived.notify_all();
}

}  // namespace

Inbox::Inbox(int id) {
    check(VNRegisterMessageCallback(id, take), "VNRegisterMessageCallback");
}

std::optional<std::string> Inbox::next(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex);
    if (!arrived.wait_until(lock, std::chrono::steady_clock::now() + limit, [] { return !messages.empty(); }))
        return std::nullopt;
    std::string message = std::move(messages.front());
    messages.pop_front();
    return message;
}

}  // namespace vncam
