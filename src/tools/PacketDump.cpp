#include "PacketDump.h"

#include <iomanip>
#include <sstream>
#include <string>

#include <hostlink/HostLinkPrinter.h>

using hostsim::TraceEvent;

namespace {

const char* titleOf(TraceEvent event) {
    switch (event) {
    case TraceEvent::PacketReceived: return "packet received";
    case TraceEvent::PacketSent: return "packet sent";
    case TraceEvent::MessageReceived: return "message received";
    case TraceEvent::MessageSent: return "message sent and acknowledged";
    case TraceEvent::BadBytesReceived: return "bad packet received";
    }
    return "";
}

std::string textOf(TraceEvent event, const ByteArray& bytes) {
    const bool isMessage = event == TraceEvent::MessageReceived || event == TraceEvent::MessageSent;
    return isMessage ? HostLinkPrinter::printHostLinkMessage(bytes) : HostLinkPrinter::printHostLinkPacket(bytes);
}

} // namespace

void dump(std::ostream& out, hostsim::Time now, TraceEvent event, const ByteArray& bytes) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(3) << std::chrono::duration<double>(now).count() << " s  " << titleOf(event)
         << ", " << bytes.size() << " bytes\n";
    std::istringstream lines(textOf(event, bytes));
    for (std::string line; std::getline(lines, line);) text << "    " << line << '\n';
    out << text.str() << std::flush;
}
