#include "record.h"

#include <algorithm>
#include <mutex>
#include <set>

#include "framework.h"
#include "state.h"

namespace twin {
namespace {

std::mutex mutex;
Events happened;
std::set<std::string> refused;
std::vector<kep::object_base*> living;

}  // namespace

void note(const std::string& event) {
    const std::lock_guard<std::mutex> lock(mutex);
    happened.push_back(event);
}

Events events() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(happened, {});
}

void refuse(const std::string& operation) {
    const std::lock_guard<std::mutex> lock(mutex);
    refused.insert(operation);
}

bool granted(const std::string& operation, const std::string& arguments) {
    note(operation + "(" + arguments + ")");
    const std::lock_guard<std::mutex> lock(mutex);
    return refused.count(operation) == 0;
}

void objectCreated(kep::object_base* object) {
    const std::lock_guard<std::mutex> lock(mutex);
    living.push_back(object);
}

void objectDestroyed(kep::object_base* object) {
    const std::lock_guard<std::mutex> lock(mutex);
    living.erase(std::remove(living.begin(), living.end(), object), living.end());
}

kep::object_base* newestObject() {
    const std::lock_guard<std::mutex> lock(mutex);
    return living.empty() ? nullptr : living.back();
}

int liveObjects() {
    const std::lock_guard<std::mutex> lock(mutex);
    return static_cast<int>(living.size());
}

void reset() {
    while (kep::object_base* const object = newestObject()) delete object;
    state() = State();
    const std::lock_guard<std::mutex> lock(mutex);
    happened.clear();
    refused.clear();
}

State& state() {
    static State all;
    return all;
}

}  // namespace twin
