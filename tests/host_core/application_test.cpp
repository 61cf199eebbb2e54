#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "error_lines.h"
#include "kep/entry_points.h"
#include "objects/creation.h"
#include "objects/message_port.h"
#include "parts.h"

namespace {

using kep::host::makeObject;
using kep::host::ObjectImpl;
using Texts = std::vector<std::string>;

std::unique_ptr<ObjectImpl> make(const std::string& text) {
    return makeObject(text.c_str());
}

Texts childNames(const ObjectImpl& object) {
    Texts names;
    for (const ObjectImpl* child : object.children())
        names.push_back(child->className() + " " + child->name());
    return names;
}

TEST(Application, CreatesStartsStopsAndReleasesAPlainOne) {
    kep::object_base* const handle = kepCreate("type=Application,name=appVornisaRecMan,noconfigure=true");
    ASSERT_NE(handle, nullptr);
    std::vector<std::promise<std::string>> messages(2);
    std::size_t count = 0;
    ASSERT_TRUE(handle->AsType<kep::base::IMessageProcesser>()->RegisterMessageProcessCallback(
        [&](kep::base::Message& message) {
            messages.at(count++).set_value(message.Attributes().GetOrDef("name", ""));
            return true;
        }));
    const auto* const status = handle->AsType<kep::stream::IStatus>();
    EXPECT_FALSE(status->StatusIsPlay());
    EXPECT_TRUE(handle->AsType<kep::base::IParam>()->SetStr("statusup", "play"));
    EXPECT_TRUE(status->StatusIsPlay());
    EXPECT_TRUE(handle->AsType<kep::base::IParam>()->SetStr("statusdown", "null"));
    EXPECT_FALSE(status->StatusIsPlay());
    for (std::size_t i = 0; i < messages.size(); ++i) {
        auto message = messages[i].get_future();
        ASSERT_EQ(message.wait_for(std::chrono::seconds(30)), std::future_status::ready);
        EXPECT_EQ(message.get(), i == 0 ? "started" : "stopped");
    }
    delete handle;
}

TEST(Application, ALayoutIsAChainOrOneObject) {
    EXPECT_EQ(
        childNames(*make("type=Application,layout={TestPart:name=a,rate=1+test-part+TestFound:name=c}")),
        (Texts{"TestPart a", "TestPart ", "TestFound c"}));
    EXPECT_EQ(childNames(*make("type=Application,layout={type=TestPart,name=a,rate=2}")),
              (Texts{"TestPart a"}));
    EXPECT_EQ(childNames(*make("type=Application,layout={}")), Texts{});
    EXPECT_EQ(partsAlive, 0);
}

TEST(Application, StartsAndStopsItsChildren) {
    const auto application = make("type=Application,layout={TestPart:name=a+TestPart:name=b}");
    partEvents.clear();
    EXPECT_TRUE(application->changeUp(kep::State::ready));
    EXPECT_TRUE(application->changeDown(kep::State::null));
    EXPECT_EQ(partEvents, (Texts{"b up ready", "a up ready", "a down null", "b down null"}));
}

TEST(Application, ForwardsUnknownPropertiesToItsChildren) {
    const auto application = make("type=Application,layout={TestPart:name=a+TestPart:name=b}");
    std::int64_t position = 1500;
    EXPECT_TRUE(application->Set("position", &position, &typeid(position)));
    EXPECT_EQ(dynamic_cast<Part&>(*application->children()[0]).position, 1500);
    EXPECT_EQ(*application->text("position"), "1500");
    const ErrorLines lines;
    EXPECT_FALSE(application->SetStr("speed", "1"));
    EXPECT_EQ(lines.messages(), (Texts{"Application has no property \"speed\""}));
}

bool configure(ObjectImpl& object, const char* text) {
    kep::base::AttrSet attributes(text);
    return object.Configure(attributes);
}

TEST(Application, ANewLayoutReplacesTheOld) {
    const auto application = make("type=Application,name=app,layout={TestPart:name=a+TestPart:name=b}");
    application->changeUp(kep::State::play);
    EXPECT_TRUE(configure(*application, "layout={TestPart:name=c}"));
    EXPECT_EQ(childNames(*application), (Texts{"TestPart c"}));
    EXPECT_EQ(application->state(), kep::State::null);
    EXPECT_EQ(partsAlive, 1);
}

TEST(Application, ARefusedLayoutLeavesTheRunningOneUnchanged) {
    const auto application = make("type=Application,name=app,layout={TestPart:name=a}");
    application->changeUp(kep::State::play);
    const ErrorLines lines;
    for (const char* text : {"layout={TestPart:name=c+TestPart:rate=x}", "layout={TestPart:name=c+}",
                             "layout={TestPart:name=c},speed=1"}) {
        EXPECT_FALSE(configure(*application, text)) << text;
    }
    EXPECT_EQ(lines.messages().size(), 3u);
    EXPECT_EQ(childNames(*application), (Texts{"TestPart a"}));
    EXPECT_EQ(application->state(), kep::State::play);
    EXPECT_EQ(application->children()[0]->state(), kep::State::play);
    EXPECT_EQ(partsAlive, 1);
}

TEST(Application, NamesAreScopedToTheirLayout) {
    const auto first = make("type=Application,name=first,layout={TestFound:name=s,rate=1}");
    const auto second =
        make("type=Application,layout={type=Application,name=first,layout={TestFound:name=s}}");
    EXPECT_NE(second->children()[0], first.get());
    EXPECT_EQ(dynamic_cast<Part&>(*first->children()[0]).rate, 1);
    EXPECT_EQ(partsAlive, 2);
}

TEST(Application, LogsThePositionOfAnUnknownClass) {
    struct Refusal {
        std::string text;
        std::string what;
        std::string at;
    };
    for (const Refusal& refusal :
         {Refusal{"type=NoSuch,layout={A}", "NoSuch", "NoSuch,"},
          Refusal{"type=Application,layout={TestPart:name=a+NoSuch:fr=1}", "NoSuch", "NoSuch:"},
          Refusal{"type=Application,layout={type=no-such,layout={TestPart}}", "no-such", "no-such,"},
          Refusal{"name=NoSuch,type=Application,layout={TestPart:title={NoSuch}+NoSuch}", "NoSuch",
                  "NoSuch}\""},
          Refusal{"type=Application,layout={type=Application,layout={TestPart+ NoSuch :name=a}}", "NoSuch",
                  "NoSuch :"}}) {
        const ErrorLines lines;
        EXPECT_EQ(kepCreate(refusal.text.c_str()), nullptr) << refusal.text;
        const std::size_t place = (refusal.text + "\"").find(refusal.at);
        ASSERT_NE(place, std::string::npos);
        const Texts messages = lines.messages();
        ASSERT_EQ(messages.size(), 1u);
        const std::string start =
            "unknown class " + refusal.what + " at position " + std::to_string(place + 1) + " of \"";
        EXPECT_EQ(messages[0].substr(0, start.size()), start) << messages[0];
    }
    EXPECT_EQ(partsAlive, 0);
}

TEST(Application, LogsThePositionOfASyntaxError) {
    const ErrorLines lines;
    EXPECT_EQ(kepCreate("type=Application,layout={TestPart:name=a+TestPart:b}"), nullptr);
    EXPECT_EQ(kepCreate("type=Application,layout={type=Application,layout}"), nullptr);
    EXPECT_EQ(kepCreate("type=Application,layout={TestPart"), nullptr);
    EXPECT_EQ(lines.messages(),
              (Texts{"'=' is missing after \"b\" at position 52 of "
                     "\"type=Application,layout={TestPart:name=a+TestPart:b}\"",
                     "'=' is missing after \"layout\" at position 49 of "
                     "\"type=Application,layout={type=Application,layout}\"",
                     "'{' is never closed at position 25 of \"type=Application,layout={TestPart\""}));
    EXPECT_EQ(partsAlive, 0);
}

TEST(Application, QuotesLongTextsAroundThePosition) {
    const ErrorLines lines;
    const std::string before(500, 'x');
    EXPECT_EQ(kepCreate(("title=" + before + ",type=NoSuch,rest=" + before).c_str()), nullptr);
    const Texts messages = lines.messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_LT(messages[0].size(), 250u);
    EXPECT_NE(messages[0].find("at position 513 of \"...xxx"), std::string::npos) << messages[0];
    EXPECT_NE(messages[0].find("xxx,type=NoSuch,rest=xxx"), std::string::npos) << messages[0];
}

}  // namespace
