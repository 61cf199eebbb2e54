#ifndef VORNISA_TESTS_TWIN_FIXTURE_H
#define VORNISA_TESTS_TWIN_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "framework.h"
#include "objects.h"
#include "record.h"
#include "state.h"
#include "vornisa_api.h"

namespace twin {

/** Loads the plug-in against the twin for each test, with every symbol bound at once, and unloads it. */
class TwinTest : public ::testing::Test {
  protected:
    TwinTest();
    ~TwinTest() override;

    void SetUp() override;

    /** A function of the plug-in, recorded as called. */
    template <class Function>
    Function* find(const char* name) {
        return reinterpret_cast<Function*>(symbol(name));
    }
    void* symbol(const char* name);

    /** The handle of a new resource. Discards the events so far. */
    int acquire(int type);

    /** The events of loading the plug-in. */
    Events loading_;

  private:
    void* library_ = nullptr;
};

/** A call of the plug-in: `VN(VNStart)(id)`. */
#define VN(function) find<decltype(function)>(#function)

/** The event for a line of the plug-in on a debug stream. */
std::string line(int stream, const std::string& source, const std::string& function, const std::string& text);

inline std::string error(const std::string& source, const std::string& function, const std::string& text) {
    return line(8, source, function, text);
}

/** The events, lines of debug streams in the form of line(); a malformed line stays raw. */
Events happened();

/** A pointer as the twin's streams show it. */
std::string shown(const void* pointer);

}  // namespace twin

#endif
