#include "objects/commands.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "error_lines.h"
#include "kep/reflect.h"

namespace {

using kep::base::AttrSet;
using kep::base::Factory;
using kep::host::CommandRegistration;
using Texts = std::vector<std::string>;

TEST(Commands, ReachTheirReceiverWhichMayAnswer) {
    const CommandRegistration turn("test_cmd", [](AttrSet& arguments) {
        arguments.Add("answer", arguments.GetOrDef<int>("value", 0) + 1);
        return arguments.Get("value") != nullptr;
    });
    AttrSet arguments("value=4");
    EXPECT_TRUE(Factory::Globle().Run("TEST_cmd", arguments));
    EXPECT_STREQ(arguments.Get("answer"), "5");
    AttrSet none;
    EXPECT_FALSE(Factory::Globle().Run("test_cmd", none));
}

TEST(Commands, WithoutAReceiverAreRefusedWithOneLine) {
    const ErrorLines lines;
    AttrSet arguments;
    {
        const CommandRegistration passing("passing", [](AttrSet&) { return true; });
    }
    EXPECT_FALSE(Factory::Globle().Run("passing", arguments));
    EXPECT_FALSE(Factory::Globle().Run(nullptr, arguments));
    EXPECT_EQ(lines.messages(), (Texts{"unknown command \"passing\"", "unknown command \"\""}));
}

TEST(Commands, HaveOneReceiver) {
    const ErrorLines lines;
    AttrSet arguments;
    const CommandRegistration first("once", [](AttrSet&) { return true; });
    {
        const CommandRegistration second("ONCE", [](AttrSet&) { return false; });
    }
    EXPECT_TRUE(Factory::Globle().Run("once", arguments));
    EXPECT_EQ(lines.messages(), (Texts{"command once already has a receiver"}));
}

TEST(Commands, AReceiverThatThrowsCountsAsRefusing) {
    const ErrorLines lines;
    const CommandRegistration bad("bad", [](AttrSet&) -> bool { throw std::runtime_error("broken"); });
    AttrSet arguments;
    EXPECT_FALSE(Factory::Globle().Run("bad", arguments));
    EXPECT_EQ(lines.messages(), (Texts{"command bad failed: broken"}));
}

TEST(Commands, AReceiverMayRunAnotherCommand) {
    const CommandRegistration inner("inner", [](AttrSet& arguments) { return arguments.Add("inner", "1"); });
    const CommandRegistration outer(
        "outer", [](AttrSet& arguments) { return Factory::Globle().Run("inner", arguments); });
    AttrSet arguments;
    EXPECT_TRUE(Factory::Globle().Run("outer", arguments));
    EXPECT_STREQ(arguments.Get("inner"), "1");
}

}  // namespace
