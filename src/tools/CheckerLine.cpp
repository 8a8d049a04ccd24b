#include "CheckerLine.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <descriptor/Descriptor.h>
#include <hostlink/physicalLayers/InterruptLine.h>
#include <terminal/SystemError.h>

using hostcheck::Time;

namespace {

// A signal ends it early, as nothing having happened does.
short pollFor(int file, short events, Time span) {
    pollfd line{file, events, 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(span, Time(0)));
    const int ready = ::poll(&line, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno != EINTR) throwSystemError("cannot wait for the interrupt line");
    return ready > 0 ? line.revents : short(0);
}

std::string lineFile(int gpio, const char* name) {
    return "/sys/class/gpio/gpio" + std::to_string(gpio) + "/" + name;
}

void tell(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush; // what the line was set up to before may do: the value's file tells
}

descriptor::Descriptor openValue(int gpio) {
    const std::string path = lineFile(gpio, "value");
    return descriptor::Descriptor(checked(::open(path.c_str(), O_RDONLY | O_CLOEXEC), "cannot open " + path));
}

char readValue(int file) {
    char value = '1';
    checked(static_cast<int>(::pread(file, &value, 1, 0)), "cannot read the interrupt line");
    return value;
}

class SysfsValue : public CheckerLine {
public:
    explicit SysfsValue(int gpio) {
        tell("/sys/class/gpio/export", std::to_string(gpio));
        tell(lineFile(gpio, "direction"), "in");
        tell(lineFile(gpio, "edge"), "falling");
        edges = openValue(gpio);
        level = openValue(gpio);
        isPending = readValue(edges.get()) == '0';
    }

    bool isLow() override { return readValue(level.get()) == '0'; }
    bool waitForEdge(Time span) override {
        if (std::exchange(isPending, false)) return true;
        if (pollFor(edges.get(), POLLPRI, span) == 0) return false;
        readValue(edges.get());
        return true;
    }

private:
    // Two of the same file: reading one takes its edge away, the other one's stays.
    descriptor::Descriptor edges;
    descriptor::Descriptor level;
    bool isPending = false;
};

// The line that the library's links watch, which tells each edge as an event.
class ChipEvents : public CheckerLine {
public:
    explicit ChipEvents(const HostcheckOptions& options) {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(GpioChip, options.gpioChip);
        if (!options.gpioLine.empty()) properties.setString(GpioLine, options.gpioLine);
        line = makeInterruptLine(properties, options.gpio);
        if (!line->open()) throw std::runtime_error("cannot watch the interrupt line");
    }
    ~ChipEvents() override { line->close(); }

    bool isLow() override { return line->isLow(); }
    bool waitForEdge(Time span) override {
        if (untold == 0) look(span);
        if (untold == 0) return false;
        --untold;
        return true;
    }

private:
    void look(Time span) {
        const InterruptLine::Wait wait = line->beforeWait();
        const Time longest = wait.timeout < 0 ? span : std::min(span, hostcheck::milliseconds(wait.timeout));
        const InterruptLine::Seen seen = line->afterWait(pollFor(wait.descriptor, wait.events, longest));
        if (!seen.watchable) throw hostcheck::LineLost("the interrupt line is lost");
        untold += seen.edges;
    }

    std::unique_ptr<InterruptLine> line;
    size_t untold = 0; // edges
};

} // namespace

std::unique_ptr<CheckerLine> openLine(const HostcheckOptions& options) {
    if (options.gpioChip.empty()) return std::make_unique<SysfsValue>(options.gpio);
    return std::make_unique<ChipEvents>(options);
}
