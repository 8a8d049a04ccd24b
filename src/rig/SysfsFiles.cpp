#include "SysfsFiles.h"

#include <utility>

#include <poll.h>

namespace busrig {

int ExportFile::read(char*, size_t, size_t) {
    return -EIO;
}

int ExportFile::write(const char* buffer, size_t size) {
    const std::string text(buffer, size);
    return rig.access(
        [&](RigState& state, Wakeups&) { return unexports ? state.writeUnexport(text) : state.writeExport(text); });
}

unsigned ExportFile::poll(std::unique_ptr<PollWaiter>) {
    return POLLIN | POLLOUT;
}

AttributeFile::~AttributeFile() {
    if (!isOpen) return;
    std::unique_ptr<PollWaiter> forgotten; // destroyed after the lock is gone
    rig.access([&](RigState& state, Wakeups&) {
        state.lines.close(file);
        forgotten = std::move(file.waiter);
        return 0;
    });
}

int AttributeFile::open(int line, GpioAttribute attribute) {
    const int error = rig.access([&](RigState& state, Wakeups&) { return state.openAttribute(file, line, attribute); });
    isOpen = error == 0;
    return error;
}

int AttributeFile::read(char* buffer, size_t size, size_t offset) {
    return rig.access([&](RigState& state, Wakeups&) { return state.lines.read(file, buffer, size, offset); });
}

int AttributeFile::write(const char* buffer, size_t size) {
    const std::string text(buffer, size);
    return rig.access([&](RigState& state, Wakeups&) { return state.writeAttribute(file, text); });
}

unsigned AttributeFile::poll(std::unique_ptr<PollWaiter> waiter) {
    std::unique_ptr<PollWaiter> replaced; // destroyed after the lock is gone
    return rig.access([&](RigState& state, Wakeups&) {
        if (waiter) replaced = std::exchange(file.waiter, nullptr);
        return state.lines.poll(file, std::move(waiter));
    });
}

} // namespace busrig
