/// @file
/// The module, as the checks play it.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include <hostlink/HostLinkLib.h>

#include "Link.h"

namespace hostcheck {

/// What answers a packet; none is silence.
using Answer = std::optional<AcknowledgeType>;

/// All waits of the checker, in one place. They are bounds: what comes sooner ends the wait.
struct Waits {
    Time answer = milliseconds(500);    ///< for a response frame, besides what the line takes
    Time message = milliseconds(2000);  ///< for a message that answers one
    Time quiet = milliseconds(300);     ///< in which nothing more must come
    Time recovery = milliseconds(5000); ///< in which a host is to answer again, whatever was done to it
    Time giveUp = milliseconds(2000);   ///< in which a host that gets no answer would repeat a packet
    Time retry = milliseconds(10);      ///< before a refused packet is sent again
    Time shortPause = milliseconds(40); ///< within a packet, to be bridged
    Time cutPause = milliseconds(250);  ///< after which a packet that stopped has been given up
};

/// A packet of the host's own, and what became of it.
struct OwnPacket {
    Time at;
    ByteArray bytes;
    Answer answered;
};

/// Sends what it is told and answers the host's packets as planned, with ack where nothing is planned; keeps what it
/// sees. Own messages of the host are put together from the packets that were acknowledged. One thread.
class Module {
public:
    struct Reply {
        Answer answer;
        Time after{0}; ///< from the end of the packet on the line
    };

    Module(Link& hostLink, const Waits& theWaits) : link(hostLink), waits(theWaits) {}

    Time now() { return link.now(); }
    uint8_t nextId() { return frameId++; }
    /// The id that `nextId` gives next.
    void setNextId(uint8_t id) { frameId = id; }

    /// Bytes that nobody answers.
    void put(const ByteArray& bytes) { link.put(bytes, false); }
    /// A packet, or bytes in its place, and the response frame to it.
    /// @param patience waited for besides
    Reply send(const ByteArray& bytes, Time patience = Time(0));
    /// The next response frame; none when it does not come in time.
    Answer awaitAnswer();
    Answer awaitAnswer(Time span);
    /// A message in packets of so many bytes, refused packets again, as the module does. False when it was not taken.
    bool sendMessage(const ByteArray& message, uint16_t packetSize = usualPacket);
    /// Packet for packet, in the frame given.
    bool sendPackets(const std::vector<ByteArray>& packets);

    /// Takes what comes for so long.
    void listen(Time span);
    /// Takes what comes until so many packets of the host's own have since `forget`; false when the time is over.
    bool awaitOwn(size_t count, Time span);
    /// The next message of the host; none when it does not come in time.
    std::optional<ByteArray> nextMessage(Time span);
    /// Takes what comes until nothing has for so long, at most for `longest`.
    void settle(Time quiet, Time longest);

    /// The next packets of the host are answered so.
    void plan(const std::vector<Answer>& next) { planned.assign(next.begin(), next.end()); }
    /// A response frame now. The packet of the host that came last and was not answered is then its.
    void respond(AcknowledgeType type);

    /// Forgets what it has seen, and the plan.
    void forget();

    /// Packets of the host's own, but for input events, which come when they like and are acknowledged.
    std::vector<OwnPacket> own;          ///< since `forget`
    std::deque<ByteArray> inbox;         ///< whole messages not yet taken
    std::vector<AcknowledgeType> strays; ///< response frames that nobody waited for
    std::vector<ByteArray> odd;          ///< packets of other kinds
    std::vector<uint8_t> ownFrames;      ///< ids of all own frames, those of events too, repetitions once
    ByteArray lastResponse;              ///< as it came
    unsigned eventsAnswered = 0;         ///< since `forget`
    size_t takeSkipped() { return link.takeSkipped(); }

    /// Attempts of each packet.
    static constexpr unsigned attempts = 4;
    static constexpr uint16_t usualPacket = 64;

private:
    bool takeNext(Time until);
    void take(const ByteArray& packet);
    void takeOwn(const ByteArray& packet);
    void append(const ByteArray& packet);
    void noteFrame(const ByteArray& packet);

    Link& link;
    const Waits& waits;
    uint8_t frameId = 1;
    std::deque<Answer> planned;
    std::deque<AcknowledgeType> answers; // that came, and that nobody has taken
    std::map<uint8_t, ByteArray> parts;
    ByteArray lastOwn;       // first packet of the latest own frame
    bool wasRefused = false; // the latest own packet
};

} // namespace hostcheck
