#include "parts.h"

#include <stdexcept>

#include "objects/class_registry.h"
#include "objects/state_text.h"
#include "objects/text_message.h"

using kep::host::ClassRegistration;
using kep::host::Naming;

std::vector<std::string> partEvents;
int partsAlive = 0;

namespace {

class Thrower : public kep::host::ObjectImpl {
  public:
    Thrower() { throw std::runtime_error("no memory left"); }
};

const ClassRegistration<Part> part("TestPart");
const ClassRegistration<Part> found("TestFound", Naming::found);
const ClassRegistration<Thrower> thrower("TestThrower");

}  // namespace

Part::Part() {
    ++partsAlive;
    properties().add<int>(
        "rate", [this] { return rate; },
        [this](const int& value) {
            if (value < 0) return false;
            rate = value;
            return true;
        });
    properties().add<std::int64_t>(
        "position", [this] { return position; },
        [this](const std::int64_t& value) { return position = value, true; });
    properties().add<std::uint16_t>(
        "port", [this] { return port; }, [this](const std::uint16_t& value) { return port = value, true; });
    properties().add<bool>(
        "loud", [this] { return loud; }, [this](const bool& value) { return loud = value, true; });
    properties().add<std::string>(
        "title", [this] { return title; }, [this](const std::string& value) { return title = value, true; });
    properties().add<std::string>("refuses", nullptr,
                                  [this](const std::string& value) { return refuses = value, true; });
    properties().add<std::function<int(int)>>(
        "call", nullptr, [this](const std::function<int(int)>& value) { return call = value, true; });
    properties().add<std::int64_t>(
        "duration", [] { return std::int64_t{5'000'000'000}; }, nullptr);
}

Part::~Part() {
    retire();
    --partsAlive;
}

bool Part::send(const char* text) {
    kep::host::TextMessage message(text);
    return sendMessage(message);
}

bool Part::up(kep::State target) {
    if (refuses == kep::host::toText(target)) return false;
    partEvents.push_back(name() + " up " + kep::host::toText(target));
    return ObjectImpl::up(target);
}

bool Part::down(kep::State target) {
    partEvents.push_back(name() + " down " + kep::host::toText(target));
    return ObjectImpl::down(target) && refuses != std::string("down ") + kep::host::toText(target);
}
