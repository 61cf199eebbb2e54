#include "core/message_port.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "error_lines.h"

namespace {

using kep::host::MessagePort;
using Texts = std::vector<std::string>;

constexpr std::chrono::seconds kLimit(30);

/** Waits until everything posted before has been delivered. */
void drain() {
    MessagePort port;
    std::promise<void> reached;
    port.setCallback([&](const std::string&) { reached.set_value(); });
    port.post("end");
    ASSERT_EQ(reached.get_future().wait_for(kLimit), std::future_status::ready);
}

TEST(MessagePort, DeliversInOrderOnAThreadOfItsOwn) {
    MessagePort port;
    Texts seen;
    std::thread::id thread;
    port.setCallback([&](const std::string& message) {
        seen.push_back(message);
        thread = std::this_thread::get_id();
    });
    Texts sent;
    for (int i = 0; i < 100; ++i) sent.push_back("name=" + std::to_string(i));
    for (const std::string& message : sent) port.post(message);
    drain();
    EXPECT_EQ(seen, sent);
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(MessagePort, KeepsTheOrderAcrossPorts) {
    MessagePort first;
    MessagePort second;
    Texts seen;
    for (MessagePort* port : {&first, &second}) {
        port->setCallback([&](const std::string& message) { seen.push_back(message); });
    }
    first.post("1");
    second.post("2");
    first.post("3");
    drain();
    EXPECT_EQ(seen, (Texts{"1", "2", "3"}));
}

TEST(MessagePort, DropsWhatIsPostedWithoutACallback) {
    MessagePort port;
    Texts seen;
    port.post("early");
    port.setCallback([&](const std::string& message) { seen.push_back(message); });
    port.post("kept");
    drain();
    port.setCallback(nullptr);
    port.post("late");
    drain();
    EXPECT_EQ(seen, (Texts{"kept"}));
}

TEST(MessagePort, NoCallbackRunsOnceItIsDestroyed) {
    for (int round = 0; round < 300; ++round) {
        auto alive = std::make_unique<std::atomic<bool>>(true);
        std::atomic<bool> ranLate{false};
        {
            MessagePort port;
            port.setCallback([&](const std::string&) {
                if (!*alive) ranLate = true;
                std::this_thread::yield();
                if (!*alive) ranLate = true;
            });
            for (int i = 0; i < 8; ++i) port.post("m");
        }
        *alive = false;
        alive.reset();
        ASSERT_FALSE(ranLate);
    }
    drain();
}

TEST(MessagePort, CanBeDestroyedInItsOwnCallback) {
    auto port = std::make_unique<MessagePort>();
    std::promise<void> gone;
    std::atomic<int> calls{0};
    port->setCallback([&](const std::string&) {
        ++calls;
        port.reset();
        gone.set_value();
    });
    // Held back until both are queued.
    MessagePort gate;
    std::promise<void> open;
    gate.setCallback([&](const std::string&) { open.get_future().wait_for(kLimit); });
    gate.post("wait");
    port->post("1");
    port->post("2");
    open.set_value();
    ASSERT_EQ(gone.get_future().wait_for(kLimit), std::future_status::ready);
    drain();
    EXPECT_EQ(calls, 1);
}

TEST(MessagePort, CanBeDestroyedInTheCallbackOfAnother) {
    auto first = std::make_unique<MessagePort>();
    MessagePort second;
    std::atomic<int> calls{0};
    first->setCallback([&](const std::string&) { ++calls; });
    second.setCallback([&](const std::string&) {
        first->post("never");
        first.reset();
    });
    second.post("x");
    drain();
    drain();
    EXPECT_EQ(calls, 0);
}

TEST(MessagePort, AReplacedCallbackHasEndedWhenTheReplacementReturns) {
    for (int round = 0; round < 100; ++round) {
        MessagePort port;
        std::promise<void> entered;
        std::promise<void> leave;
        std::atomic<bool> ended{false};
        port.setCallback([&](const std::string&) {
            entered.set_value();
            leave.get_future().wait_for(kLimit);
            ended = true;
        });
        port.post("x");
        ASSERT_EQ(entered.get_future().wait_for(kLimit), std::future_status::ready);
        std::promise<void> replacing;
        std::thread replacer([&] {
            replacing.set_value();
            port.setCallback(nullptr);
            EXPECT_TRUE(ended);
        });
        replacing.get_future().wait();
        std::this_thread::yield();
        leave.set_value();
        replacer.join();
    }
}

TEST(MessagePort, WhatACallbackOwnsGoesWithIt) {
    MessagePort port;
    auto owned = std::make_shared<int>(1);
    port.setCallback([owned](const std::string&) {});
    port.post("x");
    drain();
    EXPECT_EQ(owned.use_count(), 2);
    port.setCallback(nullptr);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(MessagePort, ACallbackThatThrowsGetsALineAndTheNextMessageArrives) {
    const ErrorLines lines;
    MessagePort port;
    Texts seen;
    port.setCallback([&](const std::string& message) {
        if (message == "bad") throw std::runtime_error("no use");
        seen.push_back(message);
    });
    port.post("bad");
    port.post("good");
    drain();
    EXPECT_EQ(seen, (Texts{"good"}));
    EXPECT_EQ(lines.messages(), (Texts{"a message callback failed on \"bad\": no use"}));
}

TEST(MessagePort, ASlowCallbackBoundsItsOwnQueue) {
    const ErrorLines lines;
    MessagePort port;
    std::promise<void> entered;
    std::promise<void> leave;
    int calls = 0;
    port.setCallback([&](const std::string&) {
        if (++calls > 1) return;
        entered.set_value();
        leave.get_future().wait_for(kLimit);
    });
    port.post("first");
    ASSERT_EQ(entered.get_future().wait_for(kLimit), std::future_status::ready);
    for (int i = 0; i < 10000; ++i) port.post("m");
    leave.set_value();
    drain();
    EXPECT_EQ(calls, 4097);
    EXPECT_EQ(lines.messages(), (Texts{"a callback takes its messages too slowly: new ones are dropped"}));
    port.post("again");
    drain();
    EXPECT_EQ(calls, 4098);
}

TEST(MessagePort, ManyThreadsPostAtOnce) {
    MessagePort port;
    int calls = 0;
    port.setCallback([&](const std::string&) { ++calls; });
    std::vector<std::thread> posters;
    for (int i = 0; i < 4; ++i) {
        posters.emplace_back([&] {
            for (int message = 0; message < 500; ++message) port.post("m");
        });
    }
    for (std::thread& poster : posters) poster.join();
    drain();
    EXPECT_EQ(calls, 2000);
}

TEST(MessagePort, SignalsAreLeftToTheApplicationsThreads) {
    MessagePort port;
    int blocked = -1;
    port.setCallback([&](const std::string&) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked = sigismember(&mask, SIGINT);
    });
    port.post("x");
    drain();
    EXPECT_EQ(blocked, 1);
    sigset_t here;
    pthread_sigmask(SIG_SETMASK, nullptr, &here);
    EXPECT_EQ(sigismember(&here, SIGINT), 0);
}

}  // namespace
