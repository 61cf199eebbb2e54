#include <gtest/gtest.h>

#include <atomic>
#include <initializer_list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "callbacks.h"
#include "error_lines.h"
#include "kep/entry_points.h"
#include "kep/hash.h"
#include "parts.h"

namespace {

using kep::base::object;
using Texts = std::vector<std::string>;

std::unique_ptr<Part> make(const std::string& name) {
    return std::unique_ptr<Part>(kepCreate(("type=TestPart,name=" + name).c_str())->AsType<Part>());
}

std::unique_ptr<Part> make(const std::string& name, std::initializer_list<Part*> children) {
    auto made = make(name);
    for (Part* const child : children) EXPECT_TRUE(made->addChild(child));
    return made;
}

TEST(Object, IsReachedFromItsRootByACheckedCast) {
    kep::object_base* const base = kepCreate("type=TestPart,name=Demux");
    ASSERT_NE(base, nullptr);
    object* const plain = base->AsType<object>();
    ASSERT_NE(plain, nullptr);
    EXPECT_NE(base->AsType<kep::base::IParam>(), nullptr);
    EXPECT_NE(base->AsType<kep::base::IMessageProcesser>(), nullptr);
    EXPECT_NE(base->AsType<kep::stream::IStatus>(), nullptr);
    EXPECT_EQ(plain->NameId(), kep::Hash("demux"));
    EXPECT_EQ(Part().NameId(), 0u);
    delete base;
    EXPECT_EQ(partsAlive, 0);
}

TEST(Object, FindsChildrenByNameAndDepth) {
    const auto root = make("root", {make("a", {make("inner").release()}).release(), make("b").release()});
    EXPECT_EQ(root->findChild("B", false), root->children()[1]);
    EXPECT_EQ(root->findChild("inner", false), nullptr);
    ASSERT_NE(root->findChild("INNER", true), nullptr);
    EXPECT_EQ(root->findChild("INNER", true)->NameId(), kep::Hash("inner"));
    EXPECT_EQ(root->findChild("root", true), nullptr);
    EXPECT_EQ(root->findChild("", true), nullptr);
    EXPECT_EQ(root->findChild(nullptr, true), nullptr);
    Texts visited;
    EXPECT_EQ(root->FindChild(
                  [&](const object& child) {
                      visited.push_back(dynamic_cast<const Part&>(child).name());
                      return false;
                  },
                  true),
              nullptr);
    EXPECT_EQ(visited, (Texts{"a", "inner", "b"}));
}

TEST(Object, OwnsItsChildren) {
    auto root = make("root", {make("a", {make("inner").release()}).release(), make("b").release()});
    EXPECT_EQ(partsAlive, 4);
    delete root->children()[1];
    EXPECT_EQ(root->children().size(), 1u);
    root.reset();
    EXPECT_EQ(partsAlive, 0);
}

TEST(Object, RefusesChildrenThatBreakTheTree) {
    const ErrorLines lines;
    const auto root = make("root", {make("a").release()});
    ASSERT_EQ(root->children().size(), 1u);
    const auto other = make("other");
    EXPECT_FALSE(root->addChild(nullptr));
    EXPECT_FALSE(root->addChild(root.get()));
    EXPECT_FALSE(root->children()[0]->addChild(root.get()));
    EXPECT_FALSE(other->addChild(root->children()[0]));
    EXPECT_EQ(lines.messages(), (Texts{"TestPart \"root\": the child is not an object",
                                       "TestPart \"root\" cannot be a child of itself",
                                       "TestPart \"root\" cannot be a child of itself",
                                       "TestPart \"a\" already belongs to TestPart \"root\""}));
}

TEST(Object, MessagesReachTheCallbacksOfAllAncestors) {
    Messages atMiddle;
    Messages atRoot;
    std::atomic<std::thread::id> thread{};
    Part* const inner = make("inner").release();
    Part* const middle = make("middle", {inner}).release();
    const auto root = make("root", {middle});
    middle->RegisterMessageProcessCallback([&](kep::base::Message& message) {
        thread = std::this_thread::get_id();
        message.Attributes().Add("id", 7);
        atMiddle.take(message.ToString());
        return true;
    });
    root->RegisterMessageProcessCallback(atRoot.processor());
    EXPECT_TRUE(inner->send("name=recordStop,url={file:///a,b.mp4}"));
    EXPECT_TRUE(atMiddle.waitFor("name=recordStop,url={file:///a,b.mp4},id=7"));
    EXPECT_TRUE(atRoot.waitFor("name=recordStop,url={file:///a,b.mp4}"));
    EXPECT_NE(thread.load(), std::this_thread::get_id());
    root->RegisterMessageProcessCallback(nullptr);
    EXPECT_TRUE(inner->send("name=again"));
    EXPECT_TRUE(atMiddle.waitFor("name=again,id=7"));
    root->RegisterMessageProcessCallback(atRoot.processor());
    EXPECT_TRUE(inner->send("name=end"));
    EXPECT_TRUE(atRoot.waitFor("name=end"));
    EXPECT_EQ(atRoot.all().size(), 2u) << "a message posted without a callback is dropped";
}

TEST(Object, OnlyTheRootReportsStartAndStop) {
    Messages atChild;
    Messages atRoot;
    const auto root = make("root", {make("a").release()});
    root->RegisterMessageProcessCallback(atRoot.processor());
    root->children()[0]->RegisterMessageProcessCallback(atChild.processor());
    EXPECT_TRUE(root->changeUp(kep::State::ready));
    EXPECT_TRUE(root->changeUp(kep::State::play));
    EXPECT_TRUE(root->changeDown(kep::State::null));
    EXPECT_TRUE(dynamic_cast<Part&>(*root->children()[0]).send("name=end"));
    EXPECT_TRUE(atRoot.waitFor("name=end"));
    EXPECT_TRUE(atChild.waitFor("name=end"));
    EXPECT_EQ(atRoot.all(), (Texts{"name=started", "name=stopped", "name=end"}));
    EXPECT_EQ(atChild.all(), (Texts{"name=end"}));
}

TEST(Object, MessagesOfManyThreadsArrive) {
    std::atomic<int> seen{0};
    const auto root = make("root");
    std::vector<Part*> children;
    for (int i = 0; i < 4; ++i)
        root->addChild(children.emplace_back(make("c" + std::to_string(i)).release()));
    root->RegisterMessageProcessCallback([&](kep::base::Message&) { return ++seen, true; });
    std::vector<std::thread> senders;
    for (Part* const child : children) {
        senders.emplace_back([child] {
            for (int i = 0; i < 200; ++i) child->send("name=x");
        });
    }
    for (std::thread& sender : senders) sender.join();
    EXPECT_TRUE(waitUntil([&] { return seen == 800; }));
}

TEST(Object, NoMessageArrivesOnceItIsDeleted) {
    for (int round = 0; round < 100; ++round) {
        std::atomic<bool> alive{true};
        std::atomic<bool> ranLate{false};
        auto part = make("p");
        part->RegisterMessageProcessCallback([&](kep::base::Message&) {
            if (!alive) ranLate = true;
            return true;
        });
        for (int i = 0; i < 5; ++i) part->send("name=x");
        part.reset();
        alive = false;
        ASSERT_FALSE(ranLate);
    }
}

}  // namespace
