/// @file
/// A link that the test plays: it answers as told and keeps what it was given.
#pragma once

#include <chrono>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include <hostlink/HostLinkPhysicalLayer.h>

/// Any thread may write; the test sets the answers before it starts them.
class FakeLink : public HostLinkPhysicalLayer {
public:
    using Clock = std::chrono::steady_clock;

    explicit FakeLink(const Properties& properties = {}) : HostLinkPhysicalLayer(properties) {}

    /// A link with that maximum packet size.
    static Properties packetSize(int size) {
        Properties properties;
        properties.setInt(MaxPacketSize, size);
        return properties;
    }

    bool init() override {
        record("init");
        return initResult;
    }
    void shutdown() override { record("shutdown"); }
    int nextFrameId() override {
        const std::lock_guard lock(mutex);
        callNames.emplace_back("nextFrameId");
        return frameId++;
    }
    WriteDataResponse writeData(const ByteArray& packet) override {
        const std::lock_guard lock(mutex);
        callNames.emplace_back("writeData");
        writtenPackets.push_back(packet);
        writeTimes.push_back(Clock::now());
        if (answers.empty()) return Accepted;
        const WriteDataResponse answer = answers.front();
        answers.pop_front();
        return answer;
    }

    /// What the receiving thread of a real link does with a good packet.
    void deliver(const ByteArray& packet) { notifyObservers(packet); }

    std::vector<ByteArray> written() const {
        const std::lock_guard lock(mutex);
        return writtenPackets;
    }
    std::vector<Clock::time_point> times() const {
        const std::lock_guard lock(mutex);
        return writeTimes;
    }
    std::vector<std::string> calls() const {
        const std::lock_guard lock(mutex);
        return callNames;
    }

    std::deque<WriteDataResponse> answers; // of writeData, one a call; `Accepted` when there is none left
    int frameId = 0;                       // the next one
    bool initResult = true;

private:
    void record(const char* call) {
        const std::lock_guard lock(mutex);
        callNames.emplace_back(call);
    }

    mutable std::mutex mutex; // guards the records, and answers and frameId while threads run
    std::vector<ByteArray> writtenPackets;
    std::vector<Clock::time_point> writeTimes;
    std::vector<std::string> callNames;
};
