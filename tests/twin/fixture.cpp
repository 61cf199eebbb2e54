#include "fixture.h"

#include <dlfcn.h>

#include <fstream>
#include <regex>
#include <set>

namespace twin {
namespace {

std::set<std::string>& called() {
    static std::set<std::string> names;
    return names;
}

/** Fails a run of all tests that never called some function of the plug-in. */
class EveryFunction : public ::testing::Environment {
  public:
    void TearDown() override {
        if (::testing::GTEST_FLAG(filter) != "*") return;
        std::set<std::string> exported;
        std::ifstream list(EXPORTS_LIST);
        for (std::string name; std::getline(list, name);)
            if (name.rfind("VN", 0) == 0) exported.insert(name);
        EXPECT_EQ(exported.size(), 50u);
        EXPECT_EQ(called(), exported);
    }
};

[[maybe_unused]] ::testing::Environment* const everyFunction =
    ::testing::AddGlobalTestEnvironment(new EveryFunction);

std::string colourOf(int stream) {
    return stream == 8 ? "31" : stream == 12 ? "32" : stream == 28 ? "35" : "36";
}

}  // namespace

TwinTest::TwinTest() {
    reset();
}

TwinTest::~TwinTest() {
    // Destroys what the plug-in has registered, before its code is unloaded.
    reset();
    if (library_) {
        EXPECT_EQ(dlclose(library_), 0);
    }
}

void TwinTest::SetUp() {
    library_ = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library_, nullptr) << dlerror();
    loading_ = events();
}

void* TwinTest::symbol(const char* name) {
    void* const found = dlsym(library_, name);
    if (!found) throw std::runtime_error(std::string("not exported: ") + name);
    if (std::string(name).rfind("VN", 0) == 0) called().insert(name);
    return found;
}

int TwinTest::acquire(int type) {
    int id = 0;
    EXPECT_EQ(VN(VNAcquire)(type, &id), 0);
    EXPECT_NE(id, 0);
    events();
    return id;
}

std::string line(int stream, const std::string& source, const std::string& function,
                 const std::string& text) {
    return std::to_string(stream) + " " + colourOf(stream) + " " + source + " " + function + ": " + text;
}

Events happened() {
    static const std::regex form(
        "(\\d+):\\x1b\\[(\\d+)m(?:api/(\\w+)\\.cpp|framework/kep/(\\w+)\\.h)/[1-9]\\d*/"
        "(\\w+):\t([^\\n]*)\\n\\x1b\\[0m");
    Events all = events();
    for (std::string& event : all) {
        std::smatch part;
        if (std::regex_match(event, part, form)) event = part.format("$1 $2 $3$4 $5: $6");
    }
    return all;
}

std::string shown(const void* pointer) {
    std::string text;
    kep::base::ostream_string(text) << const_cast<void*>(pointer);
    return text;
}

}  // namespace twin
