#ifndef VORNISA_TESTS_TWIN_STATE_H
#define VORNISA_TESTS_TWIN_STATE_H

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "framework.h"

namespace twin {

using PacketFunction = std::function<bool(kep::stream::Packet*&)>;
using OpenFunction = std::function<bool(kep::base::object*, kep::stream::IMedia*&)>;
using CodecFunction = bool (*)(kep::object_base* codec, const void* in, int& inLength, void* out,
                               int& outLength);

/** What tests let the framework return, and what the plug-in has passed to it. */
struct State {
    kep::State stream = kep::State::null;     /**< of every stream */
    std::deque<std::string> frames;           /**< to be pulled */
    std::map<std::string, std::string> texts; /**< values of attributes and replies, by key */
    bool playing = false;
    bool attaches = true; /**< shared memory has an address */
    int slot = 0;         /**< of shared memory */
    std::vector<char> segment = std::vector<char>(3 * 396, '\x11');
    CodecFunction codec = nullptr;

    std::shared_ptr<kep::api::streaming::common::frame_t> pushed;
    std::function<bool(const char*)> onText;
    std::function<bool(kep::base::Message&)> onMessage;
    int (*handler)(const char*) = nullptr;
    std::map<std::string, PacketFunction> packetFunctions; /**< by element and key */
    std::map<std::string, OpenFunction> openFunctions;
    kep::object_base* codecCalledWith = nullptr;
};

State& state();

}  // namespace twin

#endif
