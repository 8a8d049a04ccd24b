/// @file
/// A packet over a serial line and its answer back, with nothing but system calls and a hand-over between two threads.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace bench {

/// As a link does it: the caller writes and waits with a time limit for what a reader thread, which polls the port
/// beside a descriptor that ends it, hands over.
class RawExchange {
public:
    /// When the reader wakes the caller: while it still holds the lock that the caller then needs, as such code is
    /// first written, or afterwards.
    enum class Wake { UnderTheLock, Unlocked };

    RawExchange(const std::string& path, Wake when);
    ~RawExchange();
    RawExchange(const RawExchange&) = delete;
    RawExchange& operator=(const RawExchange&) = delete;

    /// Whether the answer is a response frame that accepts the packet.
    bool exchange(const std::vector<uint8_t>& packet);

private:
    void readLoop();
    void handOver();

    const Wake wake;
    int port;
    int end;
    std::mutex mutex; // guards answer and answered
    std::condition_variable arrived;
    std::array<uint8_t, 8> answer{};
    bool answered = false;
    std::array<uint8_t, 64> pending{}; // the reader's
    size_t held = 0;
    std::thread reader;
};

} // namespace bench
