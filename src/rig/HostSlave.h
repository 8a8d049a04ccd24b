/// @file
/// The host of the simulator as slave on the rig's buses.
#pragma once

#include <memory>
#include <optional>

#include <hostsim/HostOnBus.h>
#include <hostsim/SimulatedHost.h>

#include "BusSlave.h"

namespace busrig {

/// Sets a host up from "name=value,name=value", the names being the members of `hostsim::FaultOptions` ("nackFirst",
/// "toHost.dropRate", "seed", ...), with "lateByMs" in place of `lateBy`, "interruptRepeatMs", "responseTimeoutMs",
/// "repeatWindowMs", "byteByByte" (not 0: the host is driven from the interrupts of an I2C peripheral), and
/// "inputEventEveryMs".
/// Throws std::invalid_argument for anything else.
struct HostSetup {
    hostsim::HostOptions host;
    hostsim::BusOptions bus;
    std::optional<hostsim::Time> inputEventEvery; ///< a button is pressed in this interval while the module answers

    static HostSetup fromText(const std::string& text);
};

/// Commands:
/// - "send HEX": the host queues a message for the module.
/// - "press N": the host's button N is pressed and released.
/// - "burst N": the host tells N events that nobody asked for.
/// - "set ID VALUE": the host changes a state by itself, "get ID" gives its value; as in zent-hostsim.
/// - "send-file PATH": the host sends a file to the module, "abort-file" ends it; "files" tells how those have ended
/// that
///   did so since the last call, one a line.
/// - "wire NAME=RATE,...": faults of the wire, by the names in wire/WireFault.h, "late-by-ms" and "seed".
/// - "journal": what has been on the wire since the last call, see wire/WireJournal.h. Kept from the first call on,
///   until "journal off".
/// - "host-options TEXT": a new host with these options, as freshly switched on.
class HostSlave : public BusSlave {
public:
    explicit HostSlave(const HostSetup& setup);
    ~HostSlave() override;

    void write(const Bytes& bytes, Time now) override;
    Bytes read(size_t count, Time now) override;
    void advance(Time now) override;
    bool wantsInterrupt(Time now) const override;
    std::optional<Time> nextDeadline(Time now) const override;
    std::optional<std::string> command(const std::string& name, const std::string& argument, Time now) override;
    std::map<std::string, uint64_t> counts() const override;

private:
    struct Host;
    std::unique_ptr<Host> host;
};

} // namespace busrig
