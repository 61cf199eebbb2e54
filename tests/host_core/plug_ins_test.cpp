#include "objects/plug_ins.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "error_lines.h"
#include "kep/reflect.h"

namespace {

bool called = false;
void callback(const char*) {
    called = true;
}

std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const auto& plugIn : kep::host::plugIns()) all.push_back(plugIn.name);
    return all;
}

TEST(PlugIns, AreListedByPriority) {
    std::string passing = "late";
    const int late = ReflectAdd(callback, 9999, passing.c_str(), "late@version:1");
    passing = "gone";
    const int early = ReflectAdd(callback, 5, "early", "early@version:2");
    const int same = ReflectAdd(nullptr, 9999, "same", nullptr);
    EXPECT_EQ(names(), (std::vector<std::string>{"early", "late", "same"}));
    EXPECT_GT(late, 0);
    EXPECT_GT(early, late);
    EXPECT_GT(same, early);
    EXPECT_EQ(kep::host::plugIns()[0].version, "early@version:2");
    EXPECT_EQ(kep::host::plugIns()[0].index, early);

    // A plug-in that is loaded again keeps its place.
    EXPECT_EQ(ReflectAdd(callback, 9999, "late", "late@version:3"), late);
    EXPECT_EQ(names().size(), 3u);
    EXPECT_EQ(kep::host::plugIns()[1].version, "late@version:3");
    EXPECT_EQ(kep::host::plugIns()[1].entered, 2);

    const ErrorLines lines;
    EXPECT_EQ(ReflectAdd(callback, 1, nullptr, "x"), 0);
    EXPECT_EQ(ReflectAdd(callback, 1, "", "x"), 0);
    EXPECT_EQ(lines.messages().size(), 2u);
    EXPECT_EQ(names().size(), 3u);
    EXPECT_FALSE(called);
}

}  // namespace
