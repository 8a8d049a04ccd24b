#include "ScriptedBus.h"

#include <map>
#include <stdexcept>
#include <utility>

namespace {

std::mutex registryMutex; // guards the registry
std::map<std::string, ScriptedBus*>& registry() {
    static std::map<std::string, ScriptedBus*> buses;
    return buses;
}

std::string hexOf(const ByteArray& data) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char byte : data) text += {' ', digits[byte >> 4], digits[byte & 15]};
    return text;
}

} // namespace

ScriptedBus::ScriptedBus(std::string devicePath) : path(std::move(devicePath)) {
    const std::lock_guard lock(registryMutex);
    registry()[path] = this;
}

ScriptedBus::~ScriptedBus() {
    const std::lock_guard lock(registryMutex);
    registry().erase(path);
}

ScriptedBus& ScriptedBus::at(const std::string& path) {
    const std::lock_guard lock(registryMutex);
    const auto bus = registry().find(path);
    if (bus == registry().end()) throw std::logic_error("no scripted bus at " + path);
    return *bus->second;
}

void ScriptedBus::answer(const ByteArray& bytes) {
    const std::lock_guard lock(mutex);
    answers.push_back(bytes);
}

void ScriptedBus::setOpenResult(bool result) {
    const std::lock_guard lock(mutex);
    openResult = result;
}

void ScriptedBus::failWrites(bool fail) {
    const std::lock_guard lock(mutex);
    writesFail = fail;
}

void ScriptedBus::hold(bool held) {
    const std::lock_guard lock(mutex);
    isHeld = held;
    changed.notify_all();
}

void ScriptedBus::onWrite(std::function<void(const ByteArray&)> action) {
    const std::lock_guard lock(mutex);
    writeAction = std::move(action);
}

std::vector<std::string> ScriptedBus::constructions() const {
    const std::lock_guard lock(mutex);
    return made;
}

std::vector<ScriptedBus::Call> ScriptedBus::calls() const {
    const std::lock_guard lock(mutex);
    return done;
}

std::vector<std::string> ScriptedBus::texts() const {
    std::vector<std::string> result;
    for (const Call& call : calls()) result.push_back(call.text);
    return result;
}

void ScriptedBus::forget() {
    const std::lock_guard lock(mutex);
    done.clear();
}

bool ScriptedBus::waitForHeld(int count) const {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience, [&] { return heldCalls >= count; });
}

void ScriptedBus::constructed(const std::string& what) {
    const std::lock_guard lock(mutex);
    made.push_back(what);
}

void ScriptedBus::destroyed() {
    enter("destroyed", nullptr);
    --inside;
}

bool ScriptedBus::open() {
    enter("open", nullptr);
    --inside;
    const std::lock_guard lock(mutex);
    return openResult;
}

ByteArray ScriptedBus::read(int size) {
    enter("read " + std::to_string(size), nullptr);
    ByteArray bytes = nextAnswer();
    --inside;
    return bytes;
}

bool ScriptedBus::write(const ByteArray& data) {
    enter("write" + hexOf(data), &data);
    --inside;
    const std::lock_guard lock(mutex);
    return !writesFail;
}

ByteArray ScriptedBus::writeRead(const ByteArray& data, int size) {
    enter("writeRead" + hexOf(data) + ", " + std::to_string(size), &data);
    ByteArray bytes = nextAnswer();
    --inside;
    return bytes;
}

void ScriptedBus::enter(const std::string& text, const ByteArray* data) {
    const int now = ++inside;
    int most = mostInside;
    while (now > most && !mostInside.compare_exchange_weak(most, now)) {
    }
    std::unique_lock lock(mutex);
    done.push_back({text, std::chrono::steady_clock::now()});
    ++heldCalls;
    changed.notify_all();
    changed.wait(lock, [this] { return !isHeld; });
    --heldCalls;
    const auto action = writeAction;
    lock.unlock();
    if (action && data != nullptr) action(*data);
}

ByteArray ScriptedBus::nextAnswer() {
    const std::lock_guard lock(mutex);
    if (answers.empty()) return {};
    ByteArray bytes = std::move(answers.front());
    answers.pop_front();
    return bytes;
}
