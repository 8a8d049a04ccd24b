#include "hostlinkclient/session/Line.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <new>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <hostlink/physicalLayers/SyncSerialLayer.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "hostlinkclient/session/Log.h"

namespace hostlink {

namespace {

// What is being written when the end comes, a last unsubscription at most times, is a message that a host takes at
// once.
constexpr std::chrono::milliseconds farewell{100};

const char* adviceOn(int error) {
    return error == EACCES ? " (is this user in the group of the device file?)" : "";
}

// A serial link that was never opened cannot be destroyed: its destructor ends the process. It is kept, for good.
void keepForGood(std::unique_ptr<HostLinkPhysicalLayer> link) {
    static std::mutex mutex;
    static auto& kept = *new std::vector<HostLinkPhysicalLayer*>;
    const std::lock_guard lock(mutex);
    kept.push_back(link.release());
}

} // namespace

Line::Line(const Wire& to, Events tells, Counters& counted, const LinkRecording* recordedBy, Worker& watching)
    : wire(to), events(std::move(tells)), counters(counted), recording(recordedBy), watcher(watching) {}

Line::~Line() {
    close();
    drop();
}

std::string Line::open() {
    std::string problem;
    const FirstError reason;
    try {
        problem = prepare();
        if (problem.empty() && !start())
            problem = "cannot open " + name() +
                      (reason.text().empty() ? "; the log of the link says why" : ": " + reason.text());
    } catch (const std::exception& failure) {
        problem = "cannot open " + name() + ": " + failure.what();
    }
    if (!problem.empty()) stopWatching();
    return problem;
}

bool Line::start() {
    if (tap->init() && tap->isOpen()) {
        isRunning = true;
        countUp(counters.links);
        const std::lock_guard lock(mutex);
        isOpen = true;
        return true;
    }
    // A port that failed to open is opened again by the next init(); a bus is opened by the link's constructor only.
    if (dynamic_cast<const UartPhysicalLayer*>(tap->link()) == nullptr) end();
    return false;
}

std::string Line::prepare() {
    std::string problem = watchDevice();
    if (!problem.empty() || tap) return problem;
    auto link = wire.inside().make();
    if (!link) return "there is no such link: " + name();
    auto made = std::make_shared<Tap>(std::move(link), wire.inside().maxPacketSize, counters, repeated, recording,
                                      events.lastPacketGoesOut);
    {
        const std::lock_guard lock(mutex);
        tap = std::move(made);
    }
    transport = std::make_unique<HostLinkTransportLayer>(tap.get());
    transport->addMessageReceivedObserver(events.received);
    return "";
}

// The link tells of its device's end in the log only. The kernel tells whoever holds the device open.
std::string Line::watchDevice() {
    const Wire::Data& to = wire.inside();
    if (to.device.empty() || sentinel >= 0) return "";
    const int fd = ::open(to.device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return "cannot open " + name() + ": " + std::strerror(errno) + adviceOn(errno);
    if (!to.tellsHangUp) {
        ::close(fd);
        return "";
    }
    sentinel = fd;
    watcher.watch(fd, [this] { events.hungUp(name() + " is gone"); });
    return "";
}

void Line::close() {
    {
        const std::lock_guard lock(mutex);
        isOpen = false;
    }
    stopWatching();
    if (isRunning) end();
}

void Line::stopWriting() {
    std::shared_ptr<Tap> present;
    {
        std::unique_lock lock(mutex);
        isOpen = false;
        wrote.wait_for(lock, farewell, [this] { return !isWriting; });
        if (isWriting) present = tap;
    }
    if (present) present->stopWriters();
}

void Line::stopWatching() {
    if (sentinel < 0) return;
    watcher.watch(-1, nullptr);
    ::close(sentinel);
    sentinel = -1;
}

void Line::end() {
    isRunning = false;
    tap->end();
    std::unique_lock lock(mutex);
    wrote.wait(lock, [this] { return !isWriting; });
    transport.reset();
    tap.reset();
}

void Line::drop() {
    if (!tap) return;
    transport.reset();
    keepForGood(tap->release());
    tap.reset();
}

// Without memory for it, what of the message has gone out is the tap's to tell.
bool Line::give(const ByteArray& message) {
    try {
        return transport->writeMessage(message);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

Line::Sent Line::write(const ByteArray& message) {
    {
        const std::lock_guard lock(mutex);
        if (message.empty()) return {Written::Refused, 0}; // the transport would call that accepted
        if (!isOpen) return {Written::Unknown, 0};
        isWriting = true;
    }
    tap->beginMessage();
    const bool accepted = give(message);
    const Tap::Written written = tap->ofMessage();
    const std::lock_guard lock(mutex);
    isWriting = false;
    wrote.notify_all();
    countUp(accepted ? counters.messagesOut : counters.unansweredWrites);
    if (accepted) return {Written::Accepted, written.refusals};
    return {written.refusedLast ? Written::Refused : Written::Unknown, written.refusals};
}

} // namespace hostlink
