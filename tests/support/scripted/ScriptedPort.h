/// @file
/// The far side of a port of the scripted serial library, and everything that was done to the port.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <serialcomm/ByteArray.h>

/// One device path for as long as it lives. A `Uart` of that path, made meanwhile, reads what is scripted here and
/// leaves a record of what it was asked. Any thread.
///
/// The `Uart` blocks in `read` until something is scripted, and its destructor wakes
/// whoever is inside and waits until they have left.
class ScriptedPort {
public:
    /// Bound of the waits below: far more than anything here takes.
    static constexpr std::chrono::seconds patience{20};

    /// What a `Uart` was constructed with.
    struct Settings {
        int baudRate;
        int options;
        std::string parity;
        bool exclusive;
    };

    explicit ScriptedPort(std::string devicePath);
    /// After every `Uart` of this path.
    ~ScriptedPort();
    ScriptedPort(const ScriptedPort&) = delete;
    ScriptedPort& operator=(const ScriptedPort&) = delete;

    // What the port shall do.

    /// One read returns these bytes, or as many as it was asked for; the rest goes to the next read. Nothing: a read
    /// that returns no bytes and no error.
    void supply(const ByteArray& bytes);
    /// A read sets the error flag, once everything supplied before has been read.
    void failRead();
    /// Every `init` from now on.
    void setInitResult(bool result);
    /// Every write from now on.
    void failWrites(bool fail);
    /// Writes from now on block until this is undone or the port goes; then they fail.
    void holdWrites(bool hold);
    /// Called within each write, on its thread, after the bytes are recorded and without a lock.
    void onWrite(std::function<void(const ByteArray&)> action);

    // What happened to it. The waits return false when `patience` is over.

    std::vector<Settings> constructions() const;
    int inits() const;
    int destructions() const;
    /// The byte counts that reads asked for.
    std::vector<unsigned long> readSizes() const;
    std::vector<ByteArray> writes() const;
    bool waitForWrites(size_t count) const;
    /// Until so many calls are blocked inside `write` by `holdWrites`.
    bool waitForHeldWrites(int count) const;
    /// Until a call is blocked in `read` and everything supplied has been read.
    bool waitForIdleReader() const;
    bool waitForDestructions(int count) const;

private:
    friend class ScriptedPortUse;

    struct Item {
        bool error;
        ByteArray bytes;
    };

    template <typename Condition> bool waitFor(Condition condition) const;

    const std::string path;
    mutable std::mutex mutex; // guards all below
    mutable std::condition_variable changed;
    std::deque<Item> input;
    std::function<void(const ByteArray&)> writeAction;
    bool initResult = true;
    bool writesFail = false;
    bool writesHeld = false;
    int blockedReads = 0;
    int heldWrites = 0;
    int initCalls = 0;
    int destroyed = 0;
    std::vector<Settings> made;
    std::vector<unsigned long> sizesAsked;
    std::vector<ByteArray> written;
};

/// How often the scripted `dbglog_scopedFunction` was called.
int scopedFunctionCalls();
