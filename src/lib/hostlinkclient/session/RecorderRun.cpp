// Threads
//
//   whoever reads or writes a wire       the recorder's thread
//   record                               run
//     mutex: into the buffer   ------>     sleeps until there is something, then at most a quarter of a second
//                                          mutex: exchanges the buffers
//                                          no lock: writes the file
//
// Stopping: the destructor takes the recorder away from who records, has the thread write the rest, and joins it.
#include "hostlinkclient/session/RecorderRun.h"

#include <chrono>
#include <ctime>
#include <exception>
#include <utility>

#include "hostlinkclient/session/Log.h"
#include "hostlinkclient/session/QuietThread.h"

namespace hostlink {

namespace {

// A process that is killed loses what is younger, and what is being written.
constexpr std::chrono::milliseconds interval{250};

uint64_t nanosecondsNow() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(now.tv_nsec);
}

} // namespace

bool Recorder::Run::Wire::is(const RecordedPiece& piece) const {
    return form == piece.form && device == piece.device && kind == piece.kind;
}

Recorder::Run::Run(RecordedFiles into) : files(std::move(into)), room(files.longestPiece()) {
    incoming.reserve(room);
    outgoing.reserve(room);
    noteProblem(files.begin());
    path = files.path();
    serialCalls.enter();
    thread = startQuietThread([this] { run(); });
}

Recorder::Run::~Run() {
    serialCalls.leave();
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    wake.notify_all();
    thread.join();
}

void Recorder::Run::record(const RecordedPiece& piece) noexcept {
    bool isWorthWaking = false;
    {
        const std::lock_guard lock(mutex);
        const std::size_t before = incoming.size();
        try {
            keep(piece);
        } catch (const std::exception&) { // no memory for another wire
            ++left;
        }
        const bool isFirst = before == 0;
        const bool isHalfFull = before < room / 2 && incoming.size() >= room / 2;
        isWorthWaking = isFirst || isHalfFull;
        hurry = hurry || isHalfFull;
    }
    if (isWorthWaking) wake.notify_all();
}

// With the lock: so packets stand in the order of their times.
void Recorder::Run::keep(const RecordedPiece& piece) {
    constexpr std::size_t lossRoom = 256;
    const uint32_t interface = interfaceOf(piece);
    const capture::PacketView packet{interface,   nanosecondsNow(), piece.direction,
                                     piece.bytes, piece.size,       piece.comment};
    if (incoming.size() + capture::sizeOf(packet) + lossRoom > room) {
        ++left;
        return;
    }
    if (left > told) tellLoss(interface, packet.time);
    capture::appendPacket(incoming, packet);
    ++incomingPackets;
}

void Recorder::Run::tellLoss(uint32_t interface, uint64_t now) {
    const std::string words = std::to_string(left - told) + " pieces before this were not recorded";
    capture::appendPacket(incoming, {interface, now, capture::Direction::Unknown, nullptr, 0, words});
    told = left;
}

uint32_t Recorder::Run::interfaceOf(const RecordedPiece& piece) {
    for (std::size_t i = 0; i < wires.size(); ++i)
        if (wires[i].is(piece)) return static_cast<uint32_t>(i);
    // Whatever there is no memory for, both keep the same numbers.
    capture::Interface interface = capture::interfaceOf({piece.kind, piece.form, piece.device, piece.words});
    Wire wire{piece.kind, piece.form, piece.device};
    interfaces.reserve(interfaces.size() + 1);
    wires.reserve(wires.size() + 1);
    interfaces.push_back(std::move(interface));
    wires.push_back(std::move(wire));
    return static_cast<uint32_t>(wires.size() - 1);
}

void Recorder::Run::run() {
    std::unique_lock lock(mutex);
    while (!ending || !incoming.empty()) {
        wake.wait(lock, [this] { return ending || !incoming.empty(); });
        wake.wait_for(lock, interval, [this] { return ending || hurry; });
        if (!incoming.empty()) writeOut(lock);
    }
}

void Recorder::Run::writeOut(std::unique_lock<std::mutex>& lock) {
    incoming.swap(outgoing);
    const std::size_t packets = std::exchange(incomingPackets, 0);
    const std::vector<capture::Interface> known = interfaces;
    hurry = false;
    isWriting = true;
    lock.unlock();
    const std::string problem = files.write(outgoing, known);
    noteProblem(problem);
    lock.lock();
    isWriting = false;
    if (!problem.empty()) left += packets;
    outgoing.clear();
    path = files.path();
    ++writes;
    wrote.notify_all();
}

// Told when it begins, and once: a full disk stays full for long.
void Recorder::Run::noteProblem(const std::string& now) {
    bool isNews = false;
    {
        const std::lock_guard lock(mutex);
        isNews = trouble.empty() && !now.empty();
        trouble = now;
    }
    if (isNews) writeLog(LogLevel::Error, "The recorder " + now + "; it tries again with whatever comes");
}

std::string Recorder::Run::file() const {
    const std::lock_guard lock(mutex);
    return path;
}

std::string Recorder::Run::problem() const {
    const std::lock_guard lock(mutex);
    return trouble;
}

uint64_t Recorder::Run::lost() const {
    const std::lock_guard lock(mutex);
    return left;
}

void Recorder::Run::flush() {
    std::unique_lock lock(mutex);
    const uint64_t needed = writes + (isWriting ? 1 : 0) + (incoming.empty() ? 0 : 1);
    hurry = !incoming.empty();
    wake.notify_all();
    wrote.wait(lock, [&] { return writes >= needed; });
}

} // namespace hostlink
