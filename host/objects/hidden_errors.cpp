#include "objects/hidden_errors.h"

#include <deque>
#include <string>
#include <utility>

#include "objects/mutex.h"

namespace kep::host {
namespace {

constexpr std::size_t kKept = 4;

constinit Mutex mutex;
/** Never deleted: the framework still writes lines while the process ends. */
std::deque<std::string>* lines GUARDED_BY(mutex) = nullptr;

}  // namespace

void keepHiddenError(std::string_view text) noexcept try {
    const MutexLock lock(mutex);
    if (!lines) lines = new std::deque<std::string>;
    lines->emplace_back(text);
    if (lines->size() > kKept) lines->pop_front();
} catch (...) {
    // No memory: drop the line.
}

}  // namespace kep::host

const char* kepHostHiddenErrors() noexcept try {
    using namespace kep::host;
    thread_local std::string text;
    text.clear();
    const MutexLock lock(mutex);
    if (!lines) return "";
    for (const std::string& line : *lines) text += line + "\n";
    lines->clear();
    return text.c_str();
} catch (...) {
    return "";
}
