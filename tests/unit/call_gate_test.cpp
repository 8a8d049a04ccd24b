#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <hostlink/CallGate.h>

namespace {

constexpr std::chrono::seconds patience{20};

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
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (CallGate::Pass(gate) && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    EXPECT_FALSE(static_cast<bool>(CallGate::Pass(gate)));
    first.reset();
    EXPECT_FALSE(closed);
    second.reset();
    EXPECT_EQ(closing.wait_for(patience), std::future_status::ready);
    EXPECT_TRUE(closed);
}

TEST(CallGate, ObjectGoesWhileThreadsCallIt) {
    for (int round = 0; round < 100; ++round) {
        const auto gate = std::make_shared<CallGate>();
        auto object = std::make_unique<std::atomic<int>>(0);
        std::vector<std::thread> callers;
        for (int i = 0; i < 3; ++i)
            callers.emplace_back([gate, target = object.get()] {
                for (;;) {
                    const CallGate::Pass pass(*gate);
                    if (!pass) return;
                    ++*target;
                }
            });
        while (*object == 0) std::this_thread::yield();
        gate->closeAndWait();
        object.reset(); // a call that were still inside would touch what is gone
        for (std::thread& caller : callers) caller.join();
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
        gate->closeAndWait();
        gate.reset();
        caller.join();
    }
}

} // namespace
