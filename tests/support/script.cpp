#include "script.h"

#include <atomic>
#include <mutex>
#include <new>
#include <set>

#include "streams.h"

namespace scripted {

struct Script::Data {
    std::mutex mutex;
    std::set<std::string> refused;
    std::set<std::string> throwing;
    std::set<std::string> throwingInt;
    std::vector<std::string> events;
    kep::object_base* offer = nullptr;
    std::atomic<int> objects{0};
};

Script::Script() : data_(new Data) {}

Script& Script::instance() {
    static Script* const script = new Script;
    return *script;
}

void Script::reset() {
    resetStreams();
    const std::lock_guard<std::mutex> lock(data_->mutex);
    data_->refused.clear();
    data_->throwing.clear();
    data_->throwingInt.clear();
    data_->events.clear();
    data_->offer = nullptr;
}

void Script::refuse(const std::string& step) {
    const std::lock_guard<std::mutex> lock(data_->mutex);
    data_->refused.insert(step);
}

void Script::throwAt(const std::string& step) {
    const std::lock_guard<std::mutex> lock(data_->mutex);
    data_->throwing.insert(step);
}

void Script::throwIntAt(const std::string& step) {
    const std::lock_guard<std::mutex> lock(data_->mutex);
    data_->throwingInt.insert(step);
}

void Script::offer(kep::object_base* object) {
    const std::lock_guard<std::mutex> lock(data_->mutex);
    data_->offer = object;
}

kep::object_base* Script::takeOffer() {
    const std::lock_guard<std::mutex> lock(data_->mutex);
    kep::object_base* const object = data_->offer;
    data_->offer = nullptr;
    return object;
}

bool Script::step(const std::string& name, const std::string& arguments) {
    note(name + "(" + arguments + ")");
    const std::lock_guard<std::mutex> lock(data_->mutex);
    if (data_->throwing.count(name)) throw std::bad_alloc();
    if (data_->throwingInt.count(name)) throw 1;
    return data_->refused.count(name) == 0;
}

void Script::note(const std::string& event) {
    const std::lock_guard<std::mutex> lock(data_->mutex);
    data_->events.push_back(event);
}

std::vector<std::string> Script::takeEvents() {
    noteUnfinishedLines();
    const std::lock_guard<std::mutex> lock(data_->mutex);
    std::vector<std::string> events;
    events.swap(data_->events);
    return events;
}

int Script::liveObjects() const {
    return data_->objects;
}

void Script::objectMade() {
    ++data_->objects;
}

void Script::objectGone() {
    --data_->objects;
}

bool step(const std::string& name, const std::string& arguments) {
    return Script::instance().step(name, arguments);
}

}  // namespace scripted
