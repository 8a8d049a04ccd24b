/// @file
/// A device on a bus of the scripted serial library, and everything that was done to it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <serialcomm/ByteArray.h>

/// One bus device path for as long as it lives. An `I2c` or `Spi` of that path, made meanwhile, reads what is scripted
/// here and leaves a record of what it was asked. Any thread.
class ScriptedBus {
public:
    /// Bound of the waits below: far more than anything here takes.
    static constexpr std::chrono::seconds patience{20};

    /// One call of the bus object.
    struct Call {
        std::string text; ///< "open", "write FF FE", "read 64", "writeRead FF FE, 64" or "destroyed"
        std::chrono::steady_clock::time_point at; ///< when it began
    };

    explicit ScriptedBus(std::string devicePath);
    /// After the last call of every bus object of this path; the objects may live on.
    ~ScriptedBus();
    ScriptedBus(const ScriptedBus&) = delete;
    ScriptedBus& operator=(const ScriptedBus&) = delete;

    // What the bus shall do.

    /// The next `writeRead` or `read` returns these bytes as they are, however many were asked for. Without anything
    /// scripted it returns nothing.
    void answer(const ByteArray& bytes);
    void setOpenResult(bool result);
    /// Every `write` from now on.
    void failWrites(bool fail);
    /// Calls from now on block until this is undone.
    void hold(bool held);
    /// Called within each `writeRead` and `write`, on its thread and without a lock.
    void onWrite(std::function<void(const ByteArray&)> action);

    // What happened to it.

    /// "I2c path address" or "Spi path speed mode" for each that was constructed.
    std::vector<std::string> constructions() const;
    std::vector<Call> calls() const;
    /// Their texts.
    std::vector<std::string> texts() const;
    /// Forgets the calls so far.
    void forget();
    /// How many calls were inside the bus at once, at most.
    int mostAtOnce() const { return mostInside; }
    /// Until so many calls are blocked by `hold`; false when `patience` is over.
    bool waitForHeld(int count) const;

    // What the bus objects do.

    static ScriptedBus& at(const std::string& path);
    void constructed(const std::string& what);
    void destroyed();
    bool open();
    ByteArray read(int size);
    bool write(const ByteArray& data);
    ByteArray writeRead(const ByteArray& data, int size);

private:
    void enter(const std::string& text, const ByteArray* data);
    ByteArray nextAnswer();

    const std::string path;
    std::atomic<int> inside{0};
    std::atomic<int> mostInside{0};

    mutable std::mutex mutex; // guards all below
    mutable std::condition_variable changed;
    std::deque<ByteArray> answers;
    std::function<void(const ByteArray&)> writeAction;
    bool openResult = true;
    bool writesFail = false;
    bool isHeld = false;
    int heldCalls = 0;
    std::vector<std::string> made;
    std::vector<Call> done;
};
