#include "message.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "command.h"
#include "resource.h"
#include "vornisa_message.h"

namespace vncam {
namespace {

/** Inboxes that may exist at a time; each recording has one. */
constexpr std::size_t kMostInboxes = 4;

struct Slot {
    bool isUsed = false;
    std::deque<std::string> messages;
};

std::mutex mutex;
std::condition_variable arrived;
std::array<Slot, kMostInboxes> slots;

/** A C callback has no user pointer, so each inbox has a callback of its own. */
template <std::size_t slot>
void take(const char* message) {
    {
        const std::lock_guard lock(mutex);
        slots[slot].messages.emplace_back(message);
    }
    arrived.notify_all();
}

template <std::size_t... slot>
constexpr std::array<VNMessageCallback, kMostInboxes> callbacksOf(std::index_sequence<slot...>) {
    return {take<slot>...};
}
constexpr auto kCallbacks = callbacksOf(std::make_index_sequence<kMostInboxes>());

std::size_t takeSlot() {
    const std::lock_guard lock(mutex);
    const auto unused = std::ranges::find(slots, false, &Slot::isUsed);
    if (unused == slots.end()) throw Failure("too many resources send messages");
    *unused = {true, {}};
    return static_cast<std::size_t>(unused - slots.begin());
}

}  // namespace

std::string messageValue(const std::string& message, const std::string& key) {
    const int length = VNMessageValue(message.c_str(), key.c_str(), nullptr, 0);
    if (length <= 0) return {};
    std::string value(static_cast<std::size_t>(length), '\0');
    VNMessageValue(message.c_str(), key.c_str(), value.data(), length + 1);
    return value;
}

Inbox::Inbox(int id) : slot_(takeSlot()) {
    check(VNRegisterMessageCallback(id, kCallbacks[slot_]), "VNRegisterMessageCallback");
}

Inbox::~Inbox() {
    const std::lock_guard lock(mutex);
    slots[slot_].isUsed = false;
}

std::optional<std::string> Inbox::next(std::chrono::milliseconds limit) {
    std::deque<std::string>& messages = slots[slot_].messages;
    std::unique_lock lock(mutex);
    if (!arrived.wait_until(lock, std::chrono::steady_clock::now() + limit,
                            [&] { return !messages.empty(); }))
        return std::nullopt;
    std::string message = std::move(messages.front());
    messages.pop_front();
    return message;
}

}  // namespace vncam
