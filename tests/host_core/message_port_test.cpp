#include "objects/message_port.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "callbacks.h"
#include "error_lines.h"

namespace {

using kep::host::MessagePort;
using Texts = std::vector<std::string>;

TEST(MessagePort, DeliversInOrderOnAnotherThread) {
    Messages messages;
    std::thread::id thread;
    MessagePort port;
    port.setCallback([&](const std::string& message) {
        thread = std::this_thread::get_id();
        messages.take(message);
    });
    Texts sent;
    for (int i = 0; i < 100; ++i) sent.push_back("name=" + std::to_string(i));
    for (const std::string& message : sent) port.post(message);
    EXPECT_TRUE(messages.waitFor("name=99"));
    EXPECT_EQ(messages.all(), sent);
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(MessagePort, ABlockedCallbackDoesNotDelayOtherPorts) {
    Gate gate;
    MessagePort port;
    port.setCallback(gate.callback());
    port.post("block");
    ASSERT_TRUE(gate.waitEntered());
    std::vector<Messages> messages(4);
    std::vector<std::unique_ptr<MessagePort>> others;
    for (Messages& each : messages) {
        others.push_back(std::make_unique<MessagePort>());
        others.back()->setCallback(each.callback());
        others.back()->post("1");
        others.back()->post("2");
    }
    for (Messages& each : messages) {
        EXPECT_TRUE(each.waitFor("2"));
        EXPECT_EQ(each.all(), (Texts{"1", "2"}));
    }
    EXPECT_FALSE(gate.isLeft());
    gate.open();
}

TEST(MessagePort, CallbacksMayWaitForEachOther) {
    // Each callback waits for that of the next port.
    constexpr std::size_t kDepth = 5;
    std::vector<std::promise<void>> reached(kDepth);
    std::atomic<int> waited{0};
    std::vector<std::unique_ptr<MessagePort>> ports(kDepth);
    for (auto& port : ports) port = std::make_unique<MessagePort>();
    for (std::size_t i = 0; i < kDepth; ++i) {
        ports[i]->setCallback([&, i](const std::string&) {
            if (i + 1 < kDepth) {
                ports[i + 1]->post("go");
                if (reached[i + 1].get_future().wait_for(Gate::limit) == std::future_status::ready) ++waited;
            }
            reached[i].set_value();
        });
    }
    ports[0]->post("go");
    ASSERT_EQ(reached[0].get_future().wait_for(Gate::limit), std::future_status::ready);
    EXPECT_EQ(waited, static_cast<int>(kDepth) - 1);
}

TEST(MessagePort, ABlockedPortKeepsItsOrder) {
    Gate gate;
    Messages messages;
    Messages passed;
    MessagePort port;
    port.setCallback([&](const std::string& message) {
        if (message == "0") gate.pass();
        messages.take(message);
    });
    for (int i = 0; i < 50; ++i) port.post(std::to_string(i));
    ASSERT_TRUE(gate.waitEntered());
    // The thread that delivers this message meets those queued for the blocked callback.
    MessagePort other;
    other.setCallback(passed.callback());
    other.post("x");
    EXPECT_TRUE(passed.waitFor("x"));
    for (int i = 50; i < 100; ++i) port.post(std::to_string(i));
    EXPECT_EQ(messages.all(), Texts{});
    gate.open();
    EXPECT_TRUE(messages.waitFor("99"));
    Texts expected;
    for (int i = 0; i < 100; ++i) expected.push_back(std::to_string(i));
    EXPECT_EQ(messages.all(), expected);
}

TEST(MessagePort, ACallbackCanReplaceItselfAndThenBlock) {
    Gate gate;
    Messages messages;
    MessagePort port;
    port.setCallback([&](const std::string&) {
        port.setCallback(messages.callback());
        gate.pass();
    });
    port.post("1");
    port.post("2");
    ASSERT_TRUE(gate.waitEntered());
    port.post("3");
    EXPECT_TRUE(messages.waitFor("3"));
    EXPECT_EQ(messages.all(), (Texts{"2", "3"})) << "the messages that the replaced callback did not receive";
    EXPECT_FALSE(gate.isLeft());
    gate.open();
    EXPECT_TRUE(waitUntil([&] { return gate.isLeft(); }));
}

int deliveringThreads() {
    int found = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "comm");
        std::string name;
        std::getline(file, name);
        found += name == "kep-messages" ? 1 : 0;
    }
    return found;
}

TEST(MessagePort, IdleAdditionalThreadsEnd) {
    constexpr int kBlocked = 3;
    std::vector<Gate> gates(kBlocked);
    Messages messages;
    std::vector<std::unique_ptr<MessagePort>> ports;
    for (Gate& gate : gates) {
        ports.push_back(std::make_unique<MessagePort>());
        ports.back()->setCallback(gate.callback());
        ports.back()->post("block");
        ASSERT_TRUE(gate.waitEntered());
    }
    EXPECT_GE(deliveringThreads(), kBlocked);
    for (Gate& gate : gates) gate.open();
    EXPECT_TRUE(waitUntil([] { return deliveringThreads() <= 1; }));
    MessagePort port;
    port.setCallback(messages.callback());
    port.post("after");
    EXPECT_TRUE(messages.waitFor("after"));
}

TEST(MessagePort, DropsMessagesPostedWithoutACallback) {
    Messages messages;
    MessagePort port;
    port.post("early");
    port.setCallback(messages.callback());
    port.post("kept");
    EXPECT_TRUE(messages.waitFor("kept"));
    port.setCallback(nullptr);
    port.post("late");
    port.setCallback(messages.callback());
    port.post("end");
    EXPECT_TRUE(messages.waitFor("end"));
    EXPECT_EQ(messages.all(), (Texts{"kept", "end"}));
}

TEST(MessagePort, NoCallbackRunsAfterDestruction) {
    for (int round = 0; round < 300; ++round) {
        std::atomic<bool> alive{true};
        std::atomic<bool> ranLate{false};
        {
            MessagePort port;
            port.setCallback([&](const std::string&) {
                if (!alive) ranLate = true;
                std::this_thread::yield();
                if (!alive) ranLate = true;
            });
            for (int i = 0; i < 8; ++i) port.post("m");
        }
        alive = false;
        ASSERT_FALSE(ranLate);
    }
}

TEST(MessagePort, CanBeDestroyedInItsOwnCallback) {
    Gate gate;
    std::atomic<bool> gone{false};
    std::atomic<int> calls{0};
    auto port = std::make_unique<MessagePort>();
    port->setCallback([&](const std::string&) {
        ++calls;
        gate.pass();
        port.reset();
        gone = true;
    });
    port->post("1");
    port->post("2");
    ASSERT_TRUE(gate.waitEntered());
    gate.open();
    ASSERT_TRUE(waitUntil([&] { return gone.load(); }));
    EXPECT_EQ(calls, 1);
}

TEST(MessagePort, CanBeDestroyedInTheCallbackOfAnother) {
    std::atomic<int> calls{0};
    std::atomic<bool> gone{false};
    auto first = std::make_unique<MessagePort>();
    MessagePort second;
    first->setCallback([&](const std::string&) { ++calls; });
    second.setCallback([&](const std::string&) {
        first->post("never");
        first.reset();
        gone = true;
    });
    second.post("x");
    ASSERT_TRUE(waitUntil([&] { return gone.load(); }));
    EXPECT_EQ(calls, 0);
}

TEST(MessagePort, DestructionWaitsForARunningCallbackOfAnotherPort) {
    Gate gate;
    std::atomic<bool> leftBefore{false};
    std::atomic<bool> destroying{false};
    std::atomic<bool> gone{false};
    auto first = std::make_unique<MessagePort>();
    MessagePort second;
    first->setCallback(gate.callback());
    second.setCallback([&](const std::string&) {
        destroying = true;
        first.reset();
        leftBefore = gate.isLeft();
        gone = true;
    });
    first->post("x");
    ASSERT_TRUE(gate.waitEntered());
    second.post("x");
    ASSERT_TRUE(waitUntil([&] { return destroying.load(); }));
    gate.open();
    ASSERT_TRUE(waitUntil([&] { return gone.load(); }));
    EXPECT_TRUE(leftBefore);
}

TEST(MessagePort, CallbacksThatDestroyEachOthersPortsDoNotWaitForEachOther) {
    for (int round = 0; round < 10; ++round) {
        std::vector<std::unique_ptr<MessagePort>> ports(3);
        std::atomic<int> entered{0};
        std::atomic<int> ended{0};
        for (auto& port : ports) port = std::make_unique<MessagePort>();
        for (std::size_t i = 0; i < ports.size(); ++i) {
            ports[i]->setCallback([&, i](const std::string&) {
                ++entered;
                waitUntil([&] { return entered == 3; });
                ports[(i + 1) % ports.size()].reset();
                ++ended;
            });
        }
        for (auto& port : ports) port->post("x");
        ASSERT_TRUE(waitUntil([&] { return ended == 3; }));
    }
}

TEST(MessagePort, SetCallbackWaitsForTheReplacedCallback) {
    for (int round = 0; round < 100; ++round) {
        Gate gate;
        MessagePort port;
        port.setCallback(gate.callback());
        port.post("x");
        ASSERT_TRUE(gate.waitEntered());
        std::promise<void> replacing;
        std::thread replacer([&] {
            replacing.set_value();
            port.setCallback(nullptr);
            EXPECT_TRUE(gate.isLeft());
        });
        replacing.get_future().wait();
        std::this_thread::yield();
        gate.open();
        replacer.join();
    }
}

TEST(MessagePort, ReplacingACallbackDestroysIt) {
    auto owned = std::make_shared<int>(1);
    Messages messages;
    MessagePort port;
    port.setCallback([owned, &messages](const std::string& message) { messages.take(message); });
    port.post("x");
    EXPECT_TRUE(messages.waitFor("x"));
    EXPECT_EQ(owned.use_count(), 2);
    port.setCallback(nullptr);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(MessagePort, ACallbackThatThrowsIsLoggedAndTheNextMessageArrives) {
    const ErrorLines lines;
    Messages messages;
    MessagePort port;
    port.setCallback([&](const std::string& message) {
        if (message == "bad") throw std::runtime_error("no use");
        messages.take(message);
    });
    port.post("bad");
    port.post("good");
    EXPECT_TRUE(messages.waitFor("good"));
    EXPECT_EQ(lines.messages(), (Texts{"a message callback failed on \"bad\": no use"}));
}

TEST(MessagePort, TheQueueOfASlowCallbackIsBounded) {
    const ErrorLines lines;
    Gate gate;
    std::atomic<int> calls{0};
    MessagePort port;
    port.setCallback([&](const std::string&) {
        if (++calls == 1) gate.pass();
    });
    port.post("first");
    ASSERT_TRUE(gate.waitEntered());
    for (int i = 0; i < 10000; ++i) port.post("m");
    gate.open();
    EXPECT_TRUE(waitUntil([&] { return calls == 4097; }));
    EXPECT_EQ(lines.messages(), (Texts{"a message callback is too slow: dropping new messages"}));
    port.post("again");
    EXPECT_TRUE(waitUntil([&] { return calls == 4098; }));
}

TEST(MessagePort, ManyThreadsPostWhileSomePortsBlock) {
    constexpr int kPorts = 6;
    constexpr int kPosters = 4;
    constexpr int kEach = 300;
    std::vector<std::vector<int>> last(kPorts, std::vector<int>(kPosters, -1));
    std::vector<std::atomic<int>> calls(kPorts);
    std::vector<std::atomic<bool>> inside(kPorts);
    std::atomic<int> wrong{0};
    std::vector<std::unique_ptr<MessagePort>> ports(kPorts);
    for (std::size_t i = 0; i < kPorts; ++i) {
        ports[i] = std::make_unique<MessagePort>();
        ports[i]->setCallback([&, i](const std::string& message) {
            if (inside[i].exchange(true)) ++wrong;
            const int poster = message[0] - '0';
            const int number = std::stoi(message.substr(1));
            int& before = last[i][static_cast<std::size_t>(poster)];
            if (number != before + 1) ++wrong;
            before = number;
            // Every other port blocks now and then.
            if (i % 2 && number % 100 == 50) std::this_thread::sleep_for(std::chrono::milliseconds(80));
            inside[i] = false;
            ++calls[i];
        });
    }
    std::vector<std::thread> posters;
    for (int poster = 0; poster < kPosters; ++poster) {
        posters.emplace_back([&, poster] {
            for (int number = 0; number < kEach; ++number) {
                for (auto& port : ports) port->post(std::to_string(poster) + std::to_string(number));
            }
        });
    }
    for (std::thread& poster : posters) poster.join();
    for (const auto& count : calls) EXPECT_TRUE(waitUntil([&] { return count == kPosters * kEach; }));
    EXPECT_EQ(wrong, 0);
}

TEST(MessagePort, DeliveringThreadsBlockSignals) {
    std::atomic<int> blocked{-1};
    MessagePort port;
    port.setCallback([&](const std::string&) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked = sigismember(&mask, SIGINT);
    });
    port.post("x");
    EXPECT_TRUE(waitUntil([&] { return blocked != -1; }));
    EXPECT_EQ(blocked, 1);
    sigset_t here;
    pthread_sigmask(SIG_SETMASK, nullptr, &here);
    EXPECT_EQ(sigismember(&here, SIGINT), 0);
}

}  // namespace
