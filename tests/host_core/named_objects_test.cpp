#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "callbacks.h"
#include "error_lines.h"
#include "kep/entry_points.h"
#include "kep/hash.h"
#include "kep/reflect.h"
#include "objects/class_registry.h"
#include "objects/face.h"
#include "parts.h"

namespace {

using Texts = std::vector<std::string>;

/** An application's handle of an object; released like VNRelease does. */
class Handle {
  public:
    explicit Handle(const std::string& text) : object_(kepCreate(text.c_str())) {}

    explicit operator bool() const { return object_ != nullptr; }
    void release() { object_.reset(); }
    kep::base::object& operator*() const { return *object_->AsType<kep::base::object>(); }
    kep::base::object* operator->() const { return object_->AsType<kep::base::object>(); }
    void listen(Messages& messages) const {
        object_->AsType<kep::base::IMessageProcesser>()->RegisterMessageProcessCallback(messages.processor());
    }
    /** The handle's object; null after its destruction. */
    Part* part() const { return dynamic_cast<Part*>(object_->AsType<kep::host::Face>()->object().get()); }
    bool plays() const { return object_->AsType<kep::stream::IStatus>()->StatusIsPlay(); }
    std::string text(const char* key) const {
        const char* const value = kepAttrGetStr(object_.get(), key);
        return value ? value : "none";
    }

  private:
    std::unique_ptr<kep::object_base> object_;
};

Handle make(const std::string& attributes) {
    return Handle("type=TestFound,name=plan" + attributes);
}
Handle find() {
    return make(",noconfigure=true");
}
/** Creates an object and drops its handle, as API calls do that leave a recording running. */
Part* abandon(const std::string& attributes) {
    auto* const made =
        kep::base::Object::New<kep::base::object>(("type=TestFound,name=plan" + attributes).c_str());
    return dynamic_cast<Part*>(dynamic_cast<kep::host::Face&>(*made).object().get());
}

TEST(NamedObjects, ReleasingOneHandleKeepsTheOtherValid) {
    Handle first = find();
    Handle second = make(",noconfigure=true");
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first.part(), second.part());
    first.release();
    EXPECT_EQ(partsAlive, 1);
    EXPECT_TRUE(second->SetStr("rate", "7"));
    EXPECT_EQ(second.text("rate"), "7");
    second.release();
    EXPECT_EQ(partsAlive, 0);
}

TEST(NamedObjects, EachConfiguringDescriptionCreatesAnObject) {
    const Handle first = make(",rate=1");
    const Handle second = make(",rate=2");
    EXPECT_NE(first.part(), second.part());
    EXPECT_EQ(first.part()->rate, 1);
    EXPECT_EQ(second.part()->rate, 2);
    EXPECT_TRUE(first->SetStr("statusup", "play"));
    EXPECT_TRUE(first.plays());
    EXPECT_FALSE(second.plays());
}

TEST(NamedObjects, FindsTheNewestIgnoringCase) {
    Handle first = make(",rate=1");
    Handle second = make(",rate=2");
    Handle found("type=test-FOUND,name=PLAN,rate=9,noconfigure=true");
    EXPECT_EQ(found.part(), second.part());
    EXPECT_EQ(found.part()->rate, 2) << "the description's attributes are ignored";
    found.release();
    EXPECT_EQ(second.part(), nullptr) << "destroyed when its last finder released it";
    EXPECT_EQ(find().part(), first.part());
}

TEST(NamedObjects, AHandleKeepsItsObject) {
    abandon(",rate=1");
    const Handle first = find();
    abandon(",rate=2");
    const Handle second = find();
    EXPECT_EQ(first.part()->rate, 1);
    EXPECT_EQ(second.part()->rate, 2);
}

TEST(NamedObjects, AnAbandonedObjectLivesUntilItsLastFinderReleasesIt) {
    Part* const abandoned = abandon(",rate=1");
    EXPECT_EQ(partsAlive, 1);
    Handle first = find();
    Handle second = find();
    EXPECT_EQ(first.part(), abandoned);
    first.release();
    EXPECT_EQ(partsAlive, 1);
    EXPECT_TRUE(second->SetStr("status", "play"));
    second.release();
    EXPECT_EQ(partsAlive, 0);
}

TEST(NamedObjects, AFoundObjectOutlivesItsCreatorsHandle) {
    Handle creator = make(",rate=3");
    Handle found = find();
    creator.release();
    EXPECT_EQ(found.part()->rate, 3);
    found.release();
    EXPECT_EQ(partsAlive, 0);
}

TEST(NamedObjects, CallsFailAfterTheObjectIsDestroyed) {
    const Handle creator = make(",rate=3");
    find().release();
    EXPECT_EQ(partsAlive, 0);
    const ErrorLines lines;
    EXPECT_FALSE(creator->SetStr("status", "play"));
    EXPECT_FALSE(creator.plays());
    EXPECT_EQ(creator.text("rate"), "none");
    EXPECT_EQ(lines.messages(), (Texts{"the object of this handle has ended"}));
}

TEST(NamedObjects, AnUnconfiguredObjectIsConfiguredByTheNextDescription) {
    Handle early = find();
    const Handle made = make(",rate=5");
    EXPECT_EQ(early.part(), made.part());
    EXPECT_EQ(early.part()->rate, 5);
    const Handle other = make(",rate=6");
    EXPECT_NE(other.part(), made.part());
}

/** Calls `hook` while it is being configured. */
class Hooked final : public kep::host::ObjectImpl {
  public:
    static inline std::function<void()> hook;

    Hooked() {
        properties().add<int>(
            "rate", [] { return 0; }, [](int) { return hook(), true; });
    }
};

TEST(NamedObjects, AnObjectBeingConfiguredOutlivesItsFinder) {
    const kep::host::ClassRegistration<Hooked> registration("TestHooked", kep::host::Naming::found);
    Handle early("type=TestHooked,name=h,noconfigure=true");
    Hooked::hook = [&] { early.release(); };
    const Handle made("type=TestHooked,name=h,rate=1");
    ASSERT_TRUE(made);
    EXPECT_FALSE(early);
    EXPECT_TRUE(made->SetStr("status", "play"));
    EXPECT_TRUE(Handle("type=TestHooked,name=h,noconfigure=true").plays());
}

TEST(NamedObjects, ARefusedDescriptionLeavesAnUnconfiguredObjectUnchanged) {
    const Handle early = find();
    {
        const ErrorLines lines;
        EXPECT_FALSE(make(",speed=1"));
        EXPECT_FALSE(Handle("type=TestFound,name=other,speed=1"));
        EXPECT_EQ(lines.messages().size(), 2u);
    }
    EXPECT_EQ(partsAlive, 1);
    const Handle made = make(",rate=5");
    EXPECT_EQ(early.part(), made.part());
}

TEST(NamedObjects, ObjectsWithoutANameAreNotFound) {
    const Handle first("type=TestFound,noconfigure=true");
    const Handle second("type=TestFound,name=,noconfigure=true");
    EXPECT_EQ(partsAlive, 2);
}

TEST(NamedObjects, EachHandleHasItsOwnMessageCallback) {
    Messages atFirst;
    Messages atSecond;
    Handle first = find();
    Handle second = find();
    first.listen(atFirst);
    second.listen(atSecond);
    EXPECT_TRUE(second.part()->send("name=one"));
    EXPECT_TRUE(atFirst.waitFor("name=one"));
    EXPECT_TRUE(atSecond.waitFor("name=one"));
    first.release();
    EXPECT_TRUE(second.part()->send("name=two"));
    EXPECT_TRUE(atSecond.waitFor("name=two"));
    EXPECT_EQ(atFirst.all(), (Texts{"name=one"}));
}

TEST(NamedObjects, AReleaseWaitsOnlyForTheHandlesOwnCallback) {
    Gate gate;
    Handle first = find();
    Handle second = find();
    dynamic_cast<kep::host::Face&>(*first).RegisterMessageProcessCallback(
        [&](kep::base::Message&) { return gate.pass(), true; });
    second.part()->send("name=x");
    ASSERT_TRUE(gate.waitEntered());
    Part* const part = second.part();
    second.release();
    EXPECT_FALSE(gate.isLeft());
    EXPECT_EQ(first.part(), part);
    std::promise<void> releasing;
    std::thread releaser([&] {
        releasing.set_value();
        first.release();
        EXPECT_TRUE(gate.isLeft());
    });
    releasing.get_future().wait();
    gate.open();
    releaser.join();
    EXPECT_EQ(partsAlive, 0);
}

TEST(NamedObjects, AFaceForwardsToItsObject) {
    const Handle application("type=Application,name=app,layout={TestPart:name=a,rate=4}");
    const std::uint32_t id = kep::Hash("a");
    kep::base::object* const child =
        application->FindChild([id](const kep::base::object& each) { return each.NameId() == id; }, true);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(application->NameId(), kep::Hash("app"));
    EXPECT_EQ(application->ToString().substr(0, 25), "type=Application,name=app");
    EXPECT_TRUE(application->fromString("position=1500,title=t"));
    std::int64_t position = 0;
    EXPECT_TRUE(application->Get("position", &position, &typeid(position)));
    EXPECT_EQ(position, 1500);
    EXPECT_TRUE(application->Set("position", &++position, &typeid(position)));
    EXPECT_EQ(dynamic_cast<Part&>(*child).position, 1501);
    EXPECT_EQ(application.text("title"), "t");
    EXPECT_TRUE(application->Enable(false));
    const ErrorLines lines;
    EXPECT_FALSE(application->SetStr("statusup", "play"));
    EXPECT_EQ(lines.messages(), (Texts{"Application \"app\" is disabled and cannot be started"}));
}

TEST(NamedObjects, ThreadsThatFindOneNameShareOneObject) {
    std::vector<std::unique_ptr<Handle>> handles(8);
    std::vector<std::thread> threads;
    for (auto& handle : handles)
        threads.emplace_back([&handle] { handle = std::make_unique<Handle>(find()); });
    for (std::thread& thread : threads) thread.join();
    for (const auto& handle : handles) EXPECT_EQ(handle->part(), handles[0]->part());
    EXPECT_EQ(partsAlive, 1);
    handles.clear();
    EXPECT_EQ(partsAlive, 0);
}

TEST(NamedObjects, HandlesMayBeCreatedAndReleasedWhileOthersAreUsed) {
    const kep::host::ClassRegistration<kep::host::ObjectImpl> plain("TestPlain", kep::host::Naming::found);
    std::vector<std::thread> threads;
    std::atomic<int> refused{0};
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            Messages messages;
            for (int round = 0; round < 500; ++round) {
                const Handle handle(number == 0 ? "type=TestPlain,name=x"
                                                : "type=TestPlain,name=x,noconfigure=true");
                handle.listen(messages);
                if (number > 0 && !handle->SetStr("status", round % 2 ? "play" : "null")) ++refused;
                handle.plays();
                handle->ToString();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(refused, 0);
}

}  // namespace
