#include "message.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "command.h"
#include "resource.h"

namespace vncam {
namespace {

/** Removes the first item from the text; commas within braces belong to the item. */
std::string_view takeItem(std::string_view& text) {
    int depth = 0;
    std::size_t end = 0;
    for (; end < text.size() && (depth > 0 || text[end] != ','); ++end) {
        if (text[end] == '{') ++depth;
        if (text[end] == '}') --depth;
    }
    const std::string_view item = text.substr(0, end);
    text.remove_prefix(end < text.size() ? end + 1 : end);
    return item;
}

std::string withoutBraces(std::string_view value) {
    const bool braced = value.size() >= 2 && value.front() == '{' && value.back() == '}';
    return std::string(braced ? value.substr(1, value.size() - 2) : value);
}

/** Inboxes at a time: one per recording. */
constexpr std::size_t kMostInboxes = 4;

struct Slot {
    bool isUsed = false;
    std::deque<std::string> messages;
};

std::mutex mutex;
std::condition_variable arrived;
std::array<Slot, kMostInboxes> slots;

/** A C callback has no user pointer, so each inbox has one of its own. */
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

std::string messageValue(std::string_view message, std::string_view key) {
    while (!message.empty()) {
        const std::string_view item = takeItem(message);
        const std::size_t equals = item.find('=');
        if (equals != std::string_view::npos && item.substr(0, equals) == key)
            return withoutBraces(item.substr(equals + 1));
    }
    return {};
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
