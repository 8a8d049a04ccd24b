#include "BoardHostSide.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <deque>
#include <stdexcept>
#include <thread>

#include <sys/socket.h>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>

#include "EmulatedBoard.h"
#include "FarHost.h"

namespace truth {

namespace {

using faultywire::EntryKind;
using hostsim::Time;

constexpr Time lookEvery =
    std::chrono::milliseconds(1); // while the board has something to do: nothing tells when it is done

uint32_t wholeMilliseconds(Duration time) {
    return static_cast<uint32_t>(std::chrono::ceil<std::chrono::milliseconds>(time).count());
}

EmulatedBoard::Times timesOf(const Timing& timing) {
    constexpr uint32_t repeatWindow = 5000;
    return {wholeMilliseconds(timing.hostResponse), wholeMilliseconds(timing.packetPause), repeatWindow};
}

class BoardFarHost : public FarHost, public hostsim::LineEnd {
public:
    BoardFarHost(const Timing& timing, faultywire::WireJournal& wireJournal)
        : board(timesOf(timing)), journal(wireJournal) {
        awaitStart();
    }

    hostsim::LineEnd& end() override { return *this; }
    void send(const ByteArray& message) override {
        if (!mailboxPut(&board.mailbox().toHost, MAILBOX_SEND, message.data(), static_cast<uint16_t>(message.size())))
            throw std::runtime_error("the board takes no more messages");
        ++ordered;
        outgoing.push_back(message);
    }
    uint64_t messagesReceived() const override { return received; }
    int descriptor() const override { return board.line(); }

    // All that was given to it has come to it, all that it gave has come here, and nothing waits in between.
    bool isIdle() const override {
        const Mailbox& mailbox = board.mailbox();
        const uint32_t generation = load(mailbox.generation);
        const bool isDone = load(mailbox.received) == written && load(mailbox.sent) == heard &&
                            load(mailbox.taken) == ordered && load(mailbox.isIdle) != 0;
        const bool isWhole = generation != 0 && generation % 2 == 0 && load(mailbox.generation) == generation;
        return isWhole && isDone && uncut.empty() && mailboxUsed(&mailbox.fromHost) == 0;
    }

    void receive(const ByteArray& bytes, Time /*now*/) override {
        if (::send(board.line(), bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("the board takes no more bytes");
        written += static_cast<uint32_t>(bytes.size());
    }
    ByteArray nextWrite(Time /*now*/) override {
        takeNews();
        hear();
        if (!HostLinkPacket::verify(uncut)) return {};
        const auto end = uncut.begin() + hostLinkPacketGetLength(uncut.data());
        ByteArray packet(uncut.begin(), end);
        uncut.erase(uncut.begin(), end);
        return packet;
    }
    void advance(Time /*now*/) override { takeNews(); }
    std::optional<Time> nextDeadline(Time now) const override {
        if (isIdle()) return std::nullopt;
        return now + lookEvery;
    }

private:
    static uint32_t load(const uint32_t& word) { return __atomic_load_n(&word, __ATOMIC_SEQ_CST); }

    void awaitStart() const {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(45); // an emulator's start
        while (load(board.mailbox().generation) == 0) {
            if (std::chrono::steady_clock::now() > limit) throw std::runtime_error("the board does not start");
            std::this_thread::sleep_for(lookEvery);
        }
    }
    void hear() {
        std::array<unsigned char, 4096> bytes{};
        ssize_t count = 0;
        while ((count = ::recv(board.line(), bytes.data(), bytes.size(), 0)) > 0) {
            uncut.insert(uncut.end(), bytes.begin(), bytes.begin() + count);
            heard += static_cast<uint32_t>(count);
        }
        if (count == 0 || (errno != EAGAIN && errno != EINTR)) throw std::runtime_error("the emulator has ended");
    }
    void takeNews() {
        ByteArray bytes(MAILBOX_LONGEST);
        uint16_t length = 0;
        while (const uint8_t kind = mailboxTake(&board.mailbox().fromHost, bytes.data(), &length)) {
            const ByteArray news(bytes.begin(), bytes.begin() + length);
            kind == MAILBOX_RECEIVED ? noteReceived(news) : noteOutcome(news.at(0));
        }
    }
    void noteReceived(const ByteArray& message) {
        ++received;
        journal.add({EntryKind::HostReceived, {}, faultywire::WireFault::None, 0, message, {}});
    }
    void noteOutcome(unsigned char outcome) {
        constexpr unsigned char arrived = 0;
        const ByteArray message = outgoing.at(0);
        outgoing.pop_front();
        if (outcome != arrived) return;
        journal.add({EntryKind::HostConfirmed, {}, faultywire::WireFault::None, 0, message, {}});
    }

    EmulatedBoard board;
    faultywire::WireJournal& journal;
    std::deque<ByteArray> outgoing; // that have had no outcome
    ByteArray uncut;                // of the board's bytes
    uint32_t written = 0;           // bytes; as the board counts them
    uint32_t heard = 0;
    uint32_t ordered = 0; // messages
    uint64_t received = 0;
};

} // namespace

std::unique_ptr<HostSide> makeBoardHost(const Timing& timing) {
    return makeLineHost(timing, [](const Timing& times, faultywire::WireJournal& journal) {
        return std::make_unique<BoardFarHost>(times, journal);
    });
}

} // namespace truth
