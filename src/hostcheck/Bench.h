/// @file
/// What a check has on its table.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "BusLink.h"
#include "Module.h"

namespace hostcheck {

/// A check has found a host that does not keep to a rule.
struct Failure {
    unsigned rule;
    std::string expected;
};

/// A check cannot be made with this host, and why.
struct Skip {
    std::string why;
};

struct Setup {
    Waits waits;
    uint16_t state = 0x0009; ///< that is asked for, and changed by destructive checks
    Time loadTime = std::chrono::seconds(60);
    bool destructive = false;
    uint64_t seed = 1;
};

/// A state that no host has.
constexpr uint16_t unknownState = 0xFFF0;

/// The module and what checks have in common. One thread.
class Bench {
public:
    /// @param serialWire null on a bus; @param hostBus null on a serial line
    Bench(Link& hostLink, SerialWire* serialWire, BusLink* busPackets, BusWire* hostBus, const Setup& theSetup);

    Module module;
    SerialWire* const serial;
    BusLink* const busLink;
    BusWire* const bus;
    const Setup& setup;
    const Waits& waits;
    std::mt19937_64 random;
    std::vector<std::string> notes; ///< what a check has measured

    /// @throw Failure unless it is true
    static void require(bool isTrue, unsigned rule, const std::string& expected);
    static void requireAnswer(Answer answer, AcknowledgeType expected, unsigned rule, const std::string& to);

    /// Sends a good packet, up to four times when it is refused.
    void requireTaken(const ByteArray& packet, unsigned rule, const std::string& what);

    /// A question that every host answers without harm: "GetStateMessage" for the state.
    ByteArray question() const;
    /// The same as the packet that comes next.
    ByteArray questionPacket();
    /// A question in several packets, and an answer in several: "GetStateMessage" for the state, so many times.
    ByteArray longQuestion(size_t ids = longIds) const;
    static constexpr size_t longIds = 40;

    /// Sends a message and waits for its answer.
    ByteArray ask(const ByteArray& message, uint16_t answerId, unsigned rule,
                  uint16_t packetSize = Module::usualPacket);
    /// The next message that is none of the host's own accord; it has the id, or the check fails.
    ByteArray expectMessage(uint16_t id, unsigned rule);
    /// How many messages with this id come until it is quiet; others are dropped.
    unsigned countMessages(uint16_t id);
    void requireNoMessage(unsigned rule, const std::string& after);
    /// The host takes a question at once and answers it.
    void requireUsable(unsigned rule, const std::string& after);
    /// The host answers a question within a bound, whatever it does to the first ones.
    bool becomesUsable(Time within);

    /// What the wire takes for so many bytes and a response frame.
    Time wireTime(size_t bytes) const { return link.wireTime(bytes); }

    /// For how long the checker was kept from running so far.
    Time heldUp() const { return link.heldUp(); }

    /// The item that the host gives for the state.
    ByteArray heldItem();
    /// A number or text beside the one of the item.
    static ByteArray changed(const ByteArray& item, unsigned by);
    /// Whether it has a value.
    static bool hasValue(const ByteArray& item);
    /// "SetStateMessage" with these items.
    static ByteArray setMessage(const std::vector<ByteArray>& items);
    /// Notes what the state holds now, to be put back.
    ByteArray willChange();
    /// Sets what was changed back. False when the host does not say that it holds that.
    bool putBack();

    /// Whether this message may come at any time.
    static bool isEvent(const ByteArray& message);

private:
    Link& link;
    std::map<uint16_t, ByteArray> before; // items of states that checks change
};

} // namespace hostcheck
