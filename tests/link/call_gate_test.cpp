#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/link/CallGate.h>

#include "support/MustEnd.h"
#include "support/ProcessWatch.h"

namespace {

TEST(CallGate, OpenGateLetsCallsIn) {
    CallGate gate;
    const CallGate::Pass first(gate);
    const CallGate::Pass second(gate);
    EXPECT_TRUE(static_cast<bool>(first));
    EXPECT_TRUE(static_cast<bool>(second));
}

TEST(CallGate, CloseReturnsAtOnceWhenNobodyIsInside) {
    CallGate gate;
    gate.closeAndWait();
    { const CallGate::Pass refused(gate); }
    gate.closeAndWait();
}

TEST(CallGate, ClosedGateRefusesCalls) {
    CallGate gate;
    gate.closeAndWait();
    const CallGate::Pass refused(gate);
    EXPECT_FALSE(static_cast<bool>(refused));
}

TEST(CallGate, CloseWithoutWaitingRefusesCallsWhileOthersAreInside) {
    CallGate gate;
    const CallGate::Pass inside(gate);
    gate.close();
    EXPECT_FALSE(static_cast<bool>(CallGate::Pass(gate)));
    EXPECT_TRUE(static_cast<bool>(inside));
}

TEST(CallGate, CloseWaitsForASingleCallInside) {
    CallGate gate;
    std::optional<CallGate::Pass> call(std::in_place, gate);
    std::promise<pid_t> closer;
    const std::future<void> closing = std::async(std::launch::async, [&] {
        closer.set_value(currentThread());
        gate.closeAndWait();
    });
    const pid_t thread = closer.get_future().get();
    const auto isThrough = [&] { return closing.wait_for(std::chrono::seconds(0)) == std::future_status::ready; };
    mustBecomeTrue([&] { return !CallGate::Pass(gate); }, "the gate refuses a call");
    mustBecomeTrue([&] { return isThrough() || sleepsOnFutex(thread); }, "closing waits or is through");
    EXPECT_FALSE(isThrough());
    call.reset();
    mustEnd(closing, "closing");
}

TEST(CallGate, CloseWaitsForTheLastCallInside) {
    CallGate gate;
    std::optional<CallGate::Pass> first(std::in_place, gate);
    std::optional<CallGate::Pass> second(std::in_place, gate);
    std::atomic<bool> closed{false};
    std::future<void> closing = std::async(std::launch::async, [&] {
        gate.closeAndWait();
        closed = true;
    });
    // The gate refuses from the moment on that somebody waits for it.
    mustBecomeTrue([&] { return !CallGate::Pass(gate); }, "the gate refuses a call");
    first.reset();
    EXPECT_FALSE(closed);
    second.reset();
    mustEnd(closing, "closing");
    EXPECT_TRUE(closed);
}

TEST(CallGate, ObjectGoesWhileThreadsCallIt) {
    for (int round = 0; round < 100; ++round) {
        const auto gate = std::make_shared<CallGate>();
        auto object = std::make_unique<std::atomic<int>>(0);
        std::vector<std::future<void>> callers;
        for (int i = 0; i < 3; ++i) {
            callers.push_back(std::async(std::launch::async, [gate, target = object.get()] {
                for (;;) {
                    const CallGate::Pass pass(*gate);
                    if (!pass) return;
                    ++*target;
                }
            }));
        }
        while (*object == 0) std::this_thread::yield();
        gate->closeAndWait();
        object.reset(); // a call that were still inside would touch what is gone
        for (const std::future<void>& caller : callers) {
            mustEnd(caller, "a call that is made again until it is refused");
        }
    }
}

TEST(CallGate, GateMayGoWithTheCloser) {
    for (int round = 0; round < 100; ++round) {
        auto gate = std::make_unique<CallGate>();
        std::promise<void> inside;
        std::thread caller([&inside, target = gate.get()] {
            const CallGate::Pass pass(*target);
            inside.set_value();
        });
        inside.get_future().wait();
        const std::future<void> closing = std::async(std::launch::async, [&] { gate->closeAndWait(); });
        mustEnd(closing, "closing");
        gate.reset();
        caller.join();
    }
}

} // namespace
