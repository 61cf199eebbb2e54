#include "media/common/filming.h"

#include <atomic>

namespace kep::host {
namespace {

std::atomic<void (*)()> filmingHook{nullptr};

}  // namespace

void filmingBegins() {
    if (const auto hook = filmingHook.load()) hook();
}

void setFilmingHook(void (*hook)()) {
    filmingHook = hook;
}

}  // namespace kep::host
