#include "message_box.h"

#include <chrono>

namespace {
constexpr std::chrono::seconds patience(30);
}

void MessageBox::put(const std::string& text) {
    {
        const std::lock_guard lock(mutex_);
        texts_.push_back(text);
    }
    arrived_.notify_all();
}

std::string MessageBox::waitFor(const std::string& beginning, const std::string& part) {
    std::string found;
    std::unique_lock lock(mutex_);
    arrived_.wait_until(lock, std::chrono::steady_clock::now() + patience, [&] {
        for (const std::string& text : texts_) {
            if (text.starts_with(beginning) && text.find(part) != text.npos) found = text;
        }
        return !found.empty();
    });
    return found;
}

std::vector<std::string> MessageBox::all(const std::string& beginning) {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> found;
    for (const std::string& text : texts_) {
        if (text.starts_with(beginning)) found.push_back(text);
    }
    return found;
}
