#include "hostlinkclient/session/TunnelRun.h"

#include <condition_variable>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "hostlinkclient/Client.h"

// Threads: the tunnel's own (Pump) holds machine and sockets; the client's hand in what comes.

namespace hostlink {

namespace {

using exchange::Delivery;
using How = Matcher::How;

constexpr auto longestWrite = std::chrono::seconds(10);         // whatever the link makes of a message by then
constexpr auto refusalTime = std::chrono::milliseconds(200);    // for a host to say that it knows no tunnels
constexpr auto longestGoodbye = std::chrono::milliseconds(300); // an end takes less than a second

exchange::TunnelOptions machineOptions(const TunnelSettings& settings, int maxPacketSize) {
    exchange::TunnelOptions options;
    options.pace = exchange::paceFor(maxPacketSize, settings.hostPacketTimeout);
    options.pace.patience = settings.patience;
    options.mostConnections = settings.connections;
    // Other ones than those of a program that was here before: the host may still hold some.
    std::random_device random;
    options.firstNumber = static_cast<uint16_t>(random());
    options.firstPosition = random();
    return options;
}

// Without a link no other message would get out either: what is called unknown lets all of them wait.
Delivery deliveryOfData(Matcher::How how) {
    switch (how) {
    case How::Taken: return Delivery::Accepted;
    case How::Refused:
    case How::TimedOut: return Delivery::Refused;
    default: return Delivery::Unknown;
    }
}

// Of descriptors or memory, which another time may have.
bool isLackOf(const std::error_code& code) {
    return code == std::errc::too_many_files_open || code == std::errc::too_many_files_open_in_system ||
           code == std::errc::not_enough_memory || code == std::errc::no_buffer_space ||
           code == std::errc::no_space_on_device;
}

Question questionOf(const ByteArray& message) {
    Question question;
    question.message = message;
    question.deadline = std::chrono::steady_clock::now() + longestWrite;
    return question;
}

} // namespace

Tunnel::Run::Run(std::shared_ptr<Core> with, const TunnelSettings& settings)
    : core(std::move(with)),
      what("the tunnel at " + settings.address),
      tunnels(machineOptions(settings, core->maxPacketSize())),
      sockets(tunnels) {
    exchange::Socket listening = exchange::listenAt(settings.address, settings.port);
    listensAt = exchange::portOf(listening);
    sockets.accept(std::move(listening));
}

std::optional<Failure> Tunnel::Run::start() {
    Keeping keeping(*core, Role::Tunnel, shared_from_this());
    if (!keeping) return Failure(Outcome::BadArgument, what + ": there is one already, or the client was closed");
    requests = listen(MSG_TcpTunneling);
    answers = listen(MSG_TcpTunnelingResponse);
    try {
        pump.start([this](exchange::Time now) { return turn(now); }, sockets.descriptor());
    } catch (const std::system_error& error) {
        return Failure(Outcome::NotSent, what + ": no thread for it: " + error.what());
    }
    keeping.goOn();
    return std::nullopt;
}

Session::Handle Tunnel::Run::listen(MessageId id) {
    return core->listen(id, [weak = weak_from_this()](const ByteArray& message) {
        if (const auto self = weak.lock())
            self->pump.post([self = self.get(), message] { self->tunnels.receive(message, Pump::now()); });
    });
}

std::optional<exchange::Time> Tunnel::Run::turn(exchange::Time now) {
    tunnels.advance(now);
    publish(); // before the programs at the sockets see what has become of their connections
    sockets.handle(now);
    if (const auto message = tunnels.nextMessage(now)) ask(*message);
    publish();
    const std::optional<exchange::Time> again = sockets.deadline();
    const std::optional<exchange::Time> due = tunnels.deadline();
    return again && (!due || *again < *due) ? again : due;
}

void Tunnel::Run::ask(const ByteArray& message) {
    const auto request = exchange::readTunnelRequest(message);
    Question question = questionOf(message);
    // A host that knows no tunnels says so of the first request; nobody waits for it to say nothing.
    const bool opens = request && request->command == exchange::TunnelCommand::Open;
    if (opens) question.answerTime = refusalTime;
    core->submit(std::move(question), nullptr, [weak = weak_from_this(), opens](const Matcher::End& end) {
        const auto self = weak.lock();
        if (!self) return;
        self->pump.post([self = self.get(), opens, how = end.how] {
            if (how == Matcher::How::Unsupported) self->tunnels.unsupported(Pump::now());
            if (!opens) self->tunnels.sent(deliveryOfData(how), Pump::now());
        });
    });
    if (opens) tunnels.sent(Delivery::Accepted, Pump::now());
}

void Tunnel::Run::publish() {
    const exchange::TunnelCounts& counts = tunnels.counts();
    const std::lock_guard lock(mutex);
    published = {tunnels.connections(), counts.opened,        counts.refused,  counts.finished, counts.broken,
                 counts.bytesSent,      counts.bytesReceived, counts.repeated, counts.damaged};
}

TunnelStatistics Tunnel::Run::statistics() const {
    const std::lock_guard lock(mutex);
    return published;
}

void Tunnel::Run::finish() {
    requests.reset();
    answers.reset();
    close();
    core->release(Role::Tunnel, this);
}

void Tunnel::Run::close() {
    pump.post([this] {
        sockets.close(Pump::now());
        publish();
        sayGoodbye();
    });
    pump.finish();
}

// A host that heard nothing would hold its ends for a long time. There may be no host, so it is not waited for long.
void Tunnel::Run::sayGoodbye() {
    struct Goodbyes {
        std::mutex mutex;
        std::condition_variable said;
        size_t left = 0;
    };
    const auto goodbyes = std::make_shared<Goodbyes>();
    std::unique_lock lock(goodbyes->mutex);
    tunnels.sent(Delivery::Accepted, Pump::now());
    while (const auto message = tunnels.nextMessage(Pump::now())) {
        tunnels.sent(Delivery::Accepted, Pump::now());
        ++goodbyes->left;
        lock.unlock();
        core->submit(questionOf(*message), nullptr, [goodbyes](const Matcher::End&) {
            const std::lock_guard guard(goodbyes->mutex);
            if (--goodbyes->left == 0) goodbyes->said.notify_all();
        });
        lock.lock();
    }
    goodbyes->said.wait_for(lock, longestGoodbye, [&] { return goodbyes->left == 0; });
}

Result<Tunnel> Client::tunnel(const TunnelSettings& settings) {
    if (settings.connections == 0 || settings.patience.count() <= 0 || settings.hostPacketTimeout.count() <= 0)
        return Failure(Outcome::BadArgument, "the tunnel at " + settings.address + ": no connections, or no patience");
    try {
        const auto run = std::make_shared<Tunnel::Run>(inside, settings);
        if (const auto failure = run->start()) return *failure;
        return Tunnel(run);
    } catch (const std::system_error& error) {
        return Failure(isLackOf(error.code()) ? Outcome::NotSent : Outcome::BadArgument,
                       "the tunnel at " + settings.address + ": " + error.what());
    } catch (const std::runtime_error& error) {
        return Failure(Outcome::BadArgument, "the tunnel at " + settings.address + ": " + error.what());
    }
}

Tunnel::Tunnel() = default;
// The client holds the run as well: what ends it is the last of the program's copies.
Tunnel::Tunnel(std::shared_ptr<Run> with) : run(with.get(), [with](Run*) { with->finish(); }) {}
Tunnel::Tunnel(const Tunnel& other) = default;
Tunnel& Tunnel::operator=(const Tunnel& other) = default;
Tunnel::~Tunnel() = default;

uint16_t Tunnel::port() const {
    return run ? run->port() : 0;
}

TunnelStatistics Tunnel::statistics() const {
    return run ? run->statistics() : TunnelStatistics{};
}

void Tunnel::end() {
    if (run) run->finish();
}

} // namespace hostlink
