/// @file
/// The system calls that the code under test makes, and the one of them that shall fail.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Failures.h"

namespace sweep {

/// Counts the calling thread's system calls while it lives; threads that this thread starts meanwhile are counted for
/// good. Stands around each call into the code under test, and nowhere else: the test's own calls do not count.
class UnderTest {
public:
    explicit UnderTest(bool counted = true);
    ~UnderTest();
    UnderTest(const UnderTest&) = delete;
    UnderTest& operator=(const UnderTest&) = delete;

    static bool isCounted();

private:
    const bool before;
};

struct Call {
    std::string name;
    unsigned long request; // of an ioctl; else 0
    std::string path;      // of an open; else empty
    std::size_t step;      // in which step of the scenario it was made
};

/// The `number`-th (from 1) call of that name fails so, once.
struct Fault {
    std::string call;
    std::size_t number;
    Failure failure;

    /// As HOSTLINK_SWEEP_CASE takes it: "read 2 EIO".
    std::string text() const { return call + " " + std::to_string(number) + " " + failure.text(); }
};

/// One for the process. Any thread.
class CallLog {
public:
    static CallLog& instance();

    /// Forgets everything and begins with step 0; `fault` from now on.
    void begin(std::optional<Fault> fault = std::nullopt);
    void nextStep();
    std::size_t step() const;

    std::vector<Call> calls() const;
    /// The call that was made to fail, if it has been made.
    std::optional<Call> failed() const;
    /// How it was to fail.
    std::optional<Failure> plannedFailure() const;
    /// Until so many calls of that name have been made; false when a very generous time is over.
    bool waitFor(const std::string& call, std::size_t count) const;
    std::size_t count(const std::string& call) const;

    /// For the interposed functions: a call that is only waited for and never fails.
    void mark(const char* name);
    /// For the interposed functions: records a call and tells how it shall fail.
    std::optional<Failure> record(const char* name, unsigned long request = 0, const char* path = "");

private:
    static constexpr std::chrono::seconds patience{60};

    mutable std::mutex mutex; // guards all below
    mutable std::condition_variable grown;
    std::vector<Call> made;
    std::map<std::string, std::size_t> counts;
    std::optional<Fault> planned;
    std::optional<Call> hit;
    std::size_t currentStep = 0;
};

} // namespace sweep
