#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/class_registry.h"
#include "core/creation.h"
#include "error_lines.h"
#include "kep/entry_points.h"
#include "kep/reflect.h"
#include "parts.h"

namespace {

using kep::base::AttrSet;
using kep::base::IClass;
using kep::host::makeObject;
using Texts = std::vector<std::string>;

TEST(Classes, AreFoundWithoutRegardToCaseAndSpelling) {
    const kep::host::ClassRegistration<Part> source("pv-test-src");
    IClass* const found = IClass::Find("pv-test-src");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(IClass::Find("PvTestSrc"), found);
    EXPECT_EQ(IClass::Find("pvtestSRC"), found);
    EXPECT_EQ(IClass::FindBeforeNew("PvTestSrc"), found);
    EXPECT_EQ(IClass::Find("PvTest"), nullptr);
    EXPECT_EQ(IClass::Find(""), nullptr);
    EXPECT_EQ(IClass::Find(nullptr), nullptr);
    EXPECT_EQ(IClass::FindBeforeNew(nullptr), nullptr);
}

TEST(Classes, LeaveTheRegistryWithTheirRegistration) {
    { const kep::host::ClassRegistration<Part> passing("TestPassing"); }
    EXPECT_EQ(IClass::Find("TestPassing"), nullptr);
}

TEST(Classes, ANameIsTakenOnce) {
    const ErrorLines lines;
    IClass* const first = IClass::Find("TestPart");
    { const kep::host::ClassRegistration<Part> second("test-part"); }
    EXPECT_EQ(IClass::Find("TestPart"), first);
    EXPECT_EQ(lines.messages(), (Texts{"class test-part is registered twice"}));
}

TEST(Classes, AnUnknownOneGetsOneLine) {
    const ErrorLines lines;
    AttrSet attributes("type=NoSuchElement");
    EXPECT_EQ(kep::base::Object::New<kep::base::object>(attributes), nullptr);
    EXPECT_EQ(lines.messages(), (Texts{"unknown class NoSuchElement"}));
}

TEST(Creation, TakesTheAttributesOfTheDescription) {
    const std::unique_ptr<kep::base::object> made(kep::base::Object::New<kep::base::object>(
        "type=testpart,name=a,rate=15,title={x,y},link=null,dbg=false"));
    ASSERT_NE(made, nullptr);
    const Part& part = dynamic_cast<Part&>(*made);
    EXPECT_EQ(part.name(), "a");
    EXPECT_EQ(part.className(), "TestPart");
    EXPECT_EQ(part.rate, 15);
    EXPECT_EQ(part.title, "x,y");
    EXPECT_EQ(made->ToString().substr(0, 21), "type=TestPart,name=a,");
}

TEST(Creation, WithoutConfigurationTheOthersAreNotTaken) {
    const std::unique_ptr<kep::host::ObjectImpl> made(
        makeObject("type=TestPart,name=a,rate=15,bad=1,noconfigure=true").object);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(dynamic_cast<Part&>(*made).rate, 0);
    EXPECT_EQ(made->name(), "a");
}

TEST(Creation, WhatIsRefusedLeavesNothingBehind) {
    const ErrorLines lines;
    for (const char* text : {"type=TestPart,name=a,speed=1", "type=TestPart,name=a,rate=x",
                             "type=TestShared,name=a,speed=1", "type=TestThrower", "name=unknown", "type="}) {
        EXPECT_EQ(makeObject(text).object, nullptr) << text;
    }
    EXPECT_EQ(partsAlive, 0);
    EXPECT_EQ(lines.messages(),
              (Texts{"TestPart \"a\" has no property \"speed\"",
                     "property \"rate\" of TestPart \"a\" is not of a type that \"x\" can stand for",
                     "TestShared \"a\" has no property \"speed\"", "cannot make TestThrower: no memory left",
                     "there is no type in \"name=unknown\"", "unknown class  at position 6 of \"type=\""}));
    const std::unique_ptr<kep::host::ObjectImpl> made(makeObject("type=TestShared,name=a").object);
    EXPECT_NE(made, nullptr) << "the name is free";
}

TEST(Creation, NamesOfScopedClassesMayRepeat) {
    const std::unique_ptr<kep::host::ObjectImpl> first(makeObject("type=TestPart,name=a").object);
    const std::unique_ptr<kep::host::ObjectImpl> second(makeObject("type=TestPart,name=a").object);
    EXPECT_NE(first, second);
}

TEST(Creation, ASharedNameGivesTheSameObjectConfiguredAnew) {
    const std::unique_ptr<kep::host::ObjectImpl> first(
        makeObject("type=TestShared,name=Plan,rate=1,port=5").object);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(makeObject("type=test-shared,name=pLAN,rate=2").object, first.get());
    const Part& part = dynamic_cast<Part&>(*first);
    EXPECT_EQ(part.rate, 2);
    EXPECT_EQ(part.port, 5);
    EXPECT_EQ(part.name(), "Plan");
    EXPECT_EQ(makeObject("type=TestShared,name=plan,rate=3,noconfigure=true").object, first.get());
    EXPECT_EQ(part.rate, 2);
    EXPECT_EQ(makeObject("name=plan,rate=4").object, first.get()) << "a name alone is enough";
    EXPECT_EQ(part.rate, 4);
    {
        const ErrorLines lines;
        EXPECT_EQ(makeObject("type=TestShared,name=plan,speed=3").object, nullptr);
    }
    EXPECT_EQ(makeObject("type=TestShared,name=plan").object, first.get()) << "a refusal does not harm it";
}

TEST(Creation, ANameIsFreeOnceItsObjectIsDeleted) {
    std::unique_ptr<kep::host::ObjectImpl> first(makeObject("type=TestShared,name=plan,rate=1").object);
    first.reset();
    const std::unique_ptr<kep::host::ObjectImpl> second(makeObject("type=TestShared,name=plan").object);
    EXPECT_EQ(dynamic_cast<Part&>(*second).rate, 0);
}

TEST(Creation, ObjectsWithoutANameAreNeverShared) {
    const std::unique_ptr<kep::host::ObjectImpl> first(makeObject("type=TestShared").object);
    const std::unique_ptr<kep::host::ObjectImpl> second(makeObject("type=TestShared,name=").object);
    const std::unique_ptr<kep::host::ObjectImpl> third(makeObject("type=TestShared,name=").object);
    EXPECT_NE(second, first);
    EXPECT_NE(second, third);
}

TEST(Creation, OneNameFromManyThreadsIsOneObject) {
    std::vector<kep::host::ObjectImpl*> made(8);
    std::vector<std::thread> threads;
    for (auto& object : made) {
        threads.emplace_back([&object] { object = makeObject("type=TestShared,name=plan,rate=3").object; });
    }
    for (std::thread& thread : threads) thread.join();
    for (auto* object : made) EXPECT_EQ(object, made[0]);
    EXPECT_EQ(partsAlive, 1);
    delete made[0];
}

/** Lingers in its making until another one is made, or for long enough that it would have been. */
class Lingering : public kep::host::ObjectImpl {
  public:
    Lingering() { ++made; }

    bool Configure(kep::base::AttrSet&) override {
        entered.set_value();
        for (int wait = 0; wait < 100 && made < 2; ++wait)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return true;
    }

    static inline std::atomic<int> made{0};
    static inline std::promise<void> entered;
};

TEST(Creation, ASecondThreadWaitsForTheOneThatMakesTheName) {
    const kep::host::ClassRegistration<Lingering> lingering("TestLingering", kep::host::Naming::shared);
    kep::host::ObjectImpl* first = nullptr;
    std::thread maker([&] { first = makeObject("type=TestLingering,name=one").object; });
    Lingering::entered.get_future().wait();
    const std::unique_ptr<kep::host::ObjectImpl> second(
        makeObject("type=TestLingering,name=one,noconfigure=true").object);
    maker.join();
    EXPECT_EQ(second.get(), first);
    EXPECT_EQ(Lingering::made, 1);
}

}  // namespace
