#include "CallLog.h"

#include <utility>

#include "Allocations.h"

namespace sweep {

namespace {

thread_local bool counted = false;

} // namespace

UnderTest::UnderTest(bool count) : before(std::exchange(counted, count)) {}

UnderTest::~UnderTest() {
    counted = before;
}

bool UnderTest::isCounted() {
    return counted;
}

// Never destroyed: threads of a failed test may still make calls.
CallLog& CallLog::instance() {
    const UnwatchedAllocations own;
    static CallLog& log = *new CallLog;
    return log;
}

void CallLog::begin(std::optional<Fault> fault) {
    const std::lock_guard lock(mutex);
    made.clear();
    counts.clear();
    planned = std::move(fault);
    hit.reset();
    currentStep = 0;
}

void CallLog::nextStep() {
    const std::lock_guard lock(mutex);
    ++currentStep;
}

std::size_t CallLog::step() const {
    const std::lock_guard lock(mutex);
    return currentStep;
}

std::vector<Call> CallLog::calls() const {
    const std::lock_guard lock(mutex);
    return made;
}

std::optional<Call> CallLog::failed() const {
    const std::lock_guard lock(mutex);
    return hit;
}

std::optional<Failure> CallLog::plannedFailure() const {
    const std::lock_guard lock(mutex);
    return planned ? std::optional<Failure>(planned->failure) : std::nullopt;
}

std::size_t CallLog::count(const std::string& call) const {
    const std::lock_guard lock(mutex);
    const auto found = counts.find(call);
    return found == counts.end() ? 0 : found->second;
}

bool CallLog::waitFor(const std::string& call, std::size_t number) const {
    std::unique_lock lock(mutex);
    return grown.wait_for(lock, patience, [&] {
        const auto found = counts.find(call);
        return found != counts.end() && found->second >= number;
    });
}

void CallLog::mark(const char* name) {
    const UnwatchedAllocations own;
    const std::lock_guard lock(mutex);
    ++counts[name];
    grown.notify_all();
}

std::optional<Failure> CallLog::record(const char* name, unsigned long request, const char* path) {
    const UnwatchedAllocations own;
    const std::lock_guard lock(mutex);
    made.push_back({name, request, path, currentStep});
    const std::size_t number = ++counts[name];
    grown.notify_all();
    if (!planned || planned->call != name || planned->number != number) return std::nullopt;
    hit = made.back();
    return planned->failure;
}

} // namespace sweep
