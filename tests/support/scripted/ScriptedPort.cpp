#include "ScriptedPort.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

#include "ScriptedPortUse.h"

namespace {

std::mutex portsMutex; // guards the ports
std::map<std::string, ScriptedPort*>& ports() {
    static std::map<std::string, ScriptedPort*> ports;
    return ports;
}

ScriptedPort& portAt(const std::string& path) {
    const std::lock_guard lock(portsMutex);
    const auto port = ports().find(path);
    if (port == ports().end()) throw std::logic_error("no scripted port at " + path);
    return *port->second;
}

} // namespace

ScriptedPort::ScriptedPort(std::string devicePath) : path(std::move(devicePath)) {
    const std::lock_guard lock(portsMutex);
    ports()[path] = this;
}

ScriptedPort::~ScriptedPort() {
    const std::lock_guard lock(portsMutex);
    ports().erase(path);
}

void ScriptedPort::supply(const ByteArray& bytes) {
    const std::lock_guard lock(mutex);
    input.push_back({false, bytes});
    changed.notify_all();
}

void ScriptedPort::failRead() {
    const std::lock_guard lock(mutex);
    input.push_back({true, {}});
    changed.notify_all();
}

void ScriptedPort::setInitResult(bool result) {
    const std::lock_guard lock(mutex);
    initResult = result;
}

void ScriptedPort::failWrites(bool fail) {
    const std::lock_guard lock(mutex);
    writesFail = fail;
}

void ScriptedPort::holdWrites(bool hold) {
    const std::lock_guard lock(mutex);
    writesHeld = hold;
    changed.notify_all();
}

void ScriptedPort::onWrite(std::function<void(const ByteArray&)> action) {
    const std::lock_guard lock(mutex);
    writeAction = std::move(action);
}

std::vector<ScriptedPort::Settings> ScriptedPort::constructions() const {
    const std::lock_guard lock(mutex);
    return made;
}

int ScriptedPort::inits() const {
    const std::lock_guard lock(mutex);
    return initCalls;
}

int ScriptedPort::destructions() const {
    const std::lock_guard lock(mutex);
    return destroyed;
}

std::vector<unsigned long> ScriptedPort::readSizes() const {
    const std::lock_guard lock(mutex);
    return sizesAsked;
}

std::vector<ByteArray> ScriptedPort::writes() const {
    const std::lock_guard lock(mutex);
    return written;
}

template <typename Condition> bool ScriptedPort::waitFor(Condition condition) const {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience, condition);
}

bool ScriptedPort::waitForWrites(size_t count) const {
    return waitFor([&] { return written.size() >= count; });
}

bool ScriptedPort::waitForHeldWrites(int count) const {
    return waitFor([&] { return heldWrites >= count; });
}

bool ScriptedPort::waitForIdleReader() const {
    return waitFor([&] { return blockedReads > 0 && input.empty(); });
}

bool ScriptedPort::waitForDestructions(int count) const {
    return waitFor([&] { return destroyed >= count; });
}

ScriptedPortUse::ScriptedPortUse(const std::string& path, const ScriptedPort::Settings& settings) : port(portAt(path)) {
    const std::lock_guard lock(port.mutex);
    port.made.push_back(settings);
}

ScriptedPortUse::~ScriptedPortUse() {
    std::unique_lock lock(port.mutex);
    going = true;
    ++port.destroyed;
    port.changed.notify_all();
    port.changed.wait(lock, [this] { return inside == 0; });
}

bool ScriptedPortUse::init() {
    const std::lock_guard lock(port.mutex);
    ++port.initCalls;
    return port.initResult;
}

ByteArray ScriptedPortUse::read(unsigned long size, bool* error) {
    ++inside;
    std::unique_lock lock(port.mutex);
    port.sizesAsked.push_back(size);
    ++port.blockedReads;
    port.changed.notify_all();
    port.changed.wait(lock, [this] { return going || !port.input.empty(); });
    --port.blockedReads;
    ByteArray bytes;
    if (going || port.input.front().error) {
        *error = true;
    } else {
        ByteArray& first = port.input.front().bytes;
        const auto end = first.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(size, first.size()));
        bytes.assign(first.begin(), end);
        first.erase(first.begin(), end);
    }
    if (!going && port.input.front().bytes.empty()) port.input.pop_front();
    --inside;
    port.changed.notify_all();
    return bytes;
}

bool ScriptedPortUse::write(const ByteArray& data) {
    ++inside;
    std::unique_lock lock(port.mutex);
    port.written.push_back(data);
    ++port.heldWrites;
    port.changed.notify_all();
    port.changed.wait(lock, [this] { return going || !port.writesHeld; });
    --port.heldWrites;
    const bool success = !going && !port.writesFail;
    const auto action = port.writeAction;
    lock.unlock();
    if (action) action(data);
    lock.lock();
    --inside;
    port.changed.notify_all();
    return success;
}
