#include "LineTap.h"

#include <atomic>

#include "UartReader.h"

namespace command {

class LineTap::Line {
public:
    Line(const std::string& device, const TapOptions& options, CaptureSink& sink, uint32_t interface,
         capture::Direction direction)
        : reader(device, options.baud, options.parity, [this, &sink, interface, direction](const ByteArray& bytes) {
              if (bytes.empty())
                  lost = true;
              else
                  sink.write(interface, direction, bytes);
          }) {}

    bool isLost() const { return lost; }

private:
    std::atomic<bool> lost{false};
    UartReader reader; // the last: its thread uses the other
};

LineTap::LineTap(const TapOptions& options, CaptureSink& into) {
    const uint32_t interface =
        into.add(capture::interfaceOf({"uart", capture::Form::Pieces, options.toHost + " " + options.fromHost,
                                       std::to_string(options.baud) + " baud, a tap of both lines"}));
    toHost = std::make_unique<Line>(options.toHost, options, into, interface, capture::Direction::Outbound);
    fromHost = std::make_unique<Line>(options.fromHost, options, into, interface, capture::Direction::Inbound);
}

LineTap::~LineTap() = default;

bool LineTap::isLost() const {
    return toHost->isLost() || fromHost->isLost();
}

} // namespace command
