#ifndef VORNISA_TESTS_FIXTURE_H
#define VORNISA_TESTS_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects.h"
#include "script.h"
#include "streams.h"
#include "vornisa_api.h"
#include "vornisa_registry.h"

namespace unit {

using Events = std::vector<std::string>;
using namespace scripted;

const char control[] = "api/vornisa_control.cpp";
const char red[] = "\033[31m";
const char green[] = "\033[32m";
const char magenta[] = "\033[35m";

/** A number that was never given out as a handle. On a board, where a handle is an address, only 0 is certain
 * not to be one. */
constexpr int madeUpHandle = 0x00c0ffee;

inline std::string error(const std::string& function, const std::string& text) {
    return line(8, red, control, function, text);
}

inline std::string trace(const std::string& function, const std::string& text) {
    return line(28, magenta, control, function, text);
}

/** A pointer as the framework's streams show it. */
inline std::string shown(const void* pointer) {
    std::string text;
    kep::base::ostream_string(text) << const_cast<void*>(pointer);
    return text;
}

/** A handle as log lines show it when they treat it as a pointer. */
inline std::string shownHandle(int handle) {
    return shown(reinterpret_cast<const void*>(static_cast<std::uintptr_t>(static_cast<unsigned>(handle))));
}

class PluginTest : public ::testing::Test {
  protected:
    PluginTest() { script.reset(); }

    ~PluginTest() override {
        script.reset();
        for (const int handle : acquired_) VNRelease(handle);
        EXPECT_TRUE(_vornisa_maps.empty());
        EXPECT_EQ(script.liveObjects(), 0);
        script.reset();
    }

    /** Acquires a handle of `object`, which is released after the test. Discards the events so far. */
    int handleOf(kep::object_base* object) {
        script.offer(object);
        int handle = 0;
        EXPECT_EQ(VNAcquire(VNRES_STAMP, &handle), VNRES_SUCCEED);
        EXPECT_NE(handle, 0);
        acquired_.push_back(handle);
        script.takeEvents();
        return handle;
    }

    /** The events since the last call. */
    Events happened() { return script.takeEvents(); }

    Script& script = Script::instance();

  private:
    std::vector<int> acquired_;
};

}  // namespace unit

#endif
