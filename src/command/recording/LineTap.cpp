#include "LineTap.h"

#include <atomic>
#include <thread>

#include <serialcomm/Uart.h>
#include <serialcomm/UartEnding.h>

#include "command/UsageError.h"

namespace command {

class LineTap::Line {
public:
    Line(const std::string& device, const TapOptions& options, CaptureSink& to, uint32_t interface,
         capture::Direction direction)
        : port(device, options.baud, 0, options.parity, true) {
        if (!port.init()) throw UsageError("cannot open " + device + "; --log-level error says why");
        reader = std::thread([this, &to, interface, direction] { run(to, interface, direction); });
    }
    ~Line() {
        uartEnd(port);
        reader.join();
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    bool isLost() const { return lost; }

private:
    void run(CaptureSink& sink, uint32_t interface, capture::Direction direction) {
        constexpr unsigned long most = 4096;
        for (bool error = false; !error;) {
            const ByteArray bytes = port.read(most, &error);
            if (!error) sink.write(interface, direction, bytes);
        }
        lost = true;
    }

    Uart port;
    std::atomic<bool> lost{false};
    std::thread reader;
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
