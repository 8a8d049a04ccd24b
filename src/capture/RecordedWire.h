/// @file
/// What a recording says of a wire, as docs/dissector.md defines it.
#pragma once

#include <optional>

#include "Pcapng.h"

namespace capture {

/// How a wire's bytes stand in a recording.
enum class Form {
    Pieces,       ///< pieces of a serial line, cut anywhere
    Transactions, ///< a phase of a bus transaction each
    Packets       ///< a packet of the link each
};

/// A wire in one form.
struct RecordedWire {
    std::string kind; ///< "uart", "i2c", "spi", or "link" for one of a program's own making
    Form form = Form::Pieces;
    std::string device;  ///< "/dev/ttyS1"
    std::string words{}; ///< for people: "115200 baud"
};

/// Its interface: "uart bytes, 115200 baud".
Interface interfaceOf(const RecordedWire& wire);
/// The wire of an interface; none when that does not say what it holds.
std::optional<RecordedWire> wireOf(const Interface& interface);

/// "bytes", "transactions", "packets".
std::string_view nameOf(Form form);

/// Comments that mean something.
constexpr std::string_view lineLow = "line low";
constexpr std::string_view verdictWord = "verdict ";

/// What stands behind "verdict " in one of the packet's comments; empty when none does.
std::string verdictOf(const Packet& packet);
/// Whether the packet is an edge of the interrupt line.
bool isEdge(const Packet& packet);

} // namespace capture
