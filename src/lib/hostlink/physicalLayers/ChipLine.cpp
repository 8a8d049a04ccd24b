#include "ChipLine.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <optional>
#include <utility>

#include <linux/gpio.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "ChipFile.h"
#include "Reason.h"
#include "hostlink/link/LinkLogger.h"

// What the state machine reads by its own offsets.
static_assert(sizeof(gpio_v2_line_event) == LineEvents::eventBytes && offsetof(gpio_v2_line_event, timestamp_ns) == 0 &&
              offsetof(gpio_v2_line_event, id) == 8 && offsetof(gpio_v2_line_event, line_seqno) == 20);

namespace {

constexpr char consumer[] = "zent-hostlink"; // how others see who holds the line
constexpr int minute = 60000;                // milliseconds
// The host lets the line fall again only after it was asked for its packet, so that a few events would do.
constexpr std::uint32_t queueLength = 64;
constexpr std::size_t eventsAtOnce = 16;

struct Bias {
    const char* name;
    std::uint64_t flag;
};

constexpr std::array<Bias, 4> biases{{{"", 0},
                                      {"pull-up", GPIO_V2_LINE_FLAG_BIAS_PULL_UP},
                                      {"pull-down", GPIO_V2_LINE_FLAG_BIAS_PULL_DOWN},
                                      {"disabled", GPIO_V2_LINE_FLAG_BIAS_DISABLED}}};

std::optional<std::uint64_t> flagOf(const std::string& name) {
    for (const Bias& bias : biases) {
        if (name == bias.name) return bias.flag;
    }
    return std::nullopt;
}

// The clock of the kernel's events.
std::uint64_t now() {
    return static_cast<std::uint64_t>(
        std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
}

int ask(int fd, unsigned long request, void* argument) {
    return descriptor::repeatInterrupted([&] { return ::ioctl(fd, request, argument); });
}

// The level of the one line of a request; none, with errno, when it cannot be read.
std::optional<bool> levelIsLow(int fd) {
    gpio_v2_line_values values{};
    values.mask = 1;
    if (ask(fd, GPIO_V2_LINE_GET_VALUES_IOCTL, &values) < 0) return std::nullopt;
    return (values.bits & 1) == 0;
}

gpio_v2_line_request requestOf(int offset, std::uint64_t flags, int debounce) {
    gpio_v2_line_request request{};
    request.offsets[0] = static_cast<std::uint32_t>(offset);
    request.num_lines = 1;
    request.event_buffer_size = queueLength;
    std::memcpy(request.consumer, consumer, sizeof consumer);
    request.config.flags = GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_EDGE_FALLING | flags;
    if (debounce > 0) {
        request.config.num_attrs = 1;
        request.config.attrs[0].mask = 1;
        request.config.attrs[0].attr.id = GPIO_V2_LINE_ATTR_ID_DEBOUNCE;
        request.config.attrs[0].attr.debounce_period_us = static_cast<std::uint32_t>(debounce);
    }
    return request;
}

} // namespace

ChipLine::ChipLine(Settings lineSettings) : settings(std::move(lineSettings)) {}

bool ChipLine::open() {
    const std::optional<std::uint64_t> bias = flagOf(settings.bias);
    if (!bias) {
        LOG4CPLUS_ERROR(logger, "Gpio bias " << settings.bias
                                             << " is not known; use pull-up, pull-down or disabled, or leave it out");
        return false;
    }
    if (settings.debounce < 0) {
        LOG4CPLUS_ERROR(logger, "Gpio debounce " << settings.debounce << " is not possible; give microseconds");
        return false;
    }
    if (request(*bias) && countLevel()) return true;
    close();
    return false;
}

bool ChipLine::request(std::uint64_t flags) {
    ChipFile chip;
    if (!chip.open(settings.chip)) return false;
    const int offset = settings.name.empty() ? settings.offset : chip.findLine(settings.name);
    if ((!settings.name.empty() && offset < 0) || !chip.hasLine(offset)) return false;
    line = "Gpio line " + std::to_string(offset) + " of " + chip.path();
    gpio_v2_line_request asked = requestOf(offset, flags, settings.debounce);
    if (ask(chip.descriptor(), GPIO_V2_GET_LINE_IOCTL, &asked) >= 0) {
        watched = descriptor::Descriptor(asked.fd);
        return true;
    }
    const int error = errno;
    const std::string holder = error == EBUSY ? chip.holderOf(offset) : std::string();
    if (!holder.empty()) {
        LOG4CPLUS_ERROR(logger, line << ": is held by " << holder
                                     << "; \"sysfs\" gives it back when its number goes to /sys/class/gpio/unexport");
    } else if (error == ENXIO || error == EOPNOTSUPP || error == EBUSY) { // EBUSY: so gpiolib says it, too
        LOG4CPLUS_ERROR(logger, line << ": its controller cannot interrupt; choose another line: " << reasonOf(error));
    } else {
        LOG4CPLUS_ERROR(logger, line << ": cannot be watched for falling edges"
                                     << (error == EINVAL || error == ENOTTY ? " (Linux before 5.10?)" : "") << ": "
                                     << reasonOf(error));
    }
    return false;
}

// A line that is low already has fallen before anybody watched it.
bool ChipLine::countLevel() {
    events = {};
    const std::uint64_t before = now();
    const std::optional<bool> low = levelIsLow(watched.get());
    if (low) {
        untold = events.look(*low, before);
        return true;
    }
    const int error = errno;
    LOG4CPLUS_ERROR(logger, line << ": its level cannot be read: " << reasonOf(error));
    return false;
}

InterruptLine::Wait ChipLine::beforeWait() {
    return {watched.get(), POLLIN, untold > 0 ? 0 : minute};
}

InterruptLine::Seen ChipLine::afterWait(short reported) {
    const std::size_t edges = std::exchange(untold, 0);
    if ((reported & POLLIN) != 0) return readEvents(edges);
    if ((reported & (POLLERR | POLLHUP | POLLNVAL)) != 0) return lost(ENODEV, edges);
    return {true, edges};
}

InterruptLine::Seen ChipLine::readEvents(std::size_t edges) {
    std::array<unsigned char, eventsAtOnce * LineEvents::eventBytes> bytes; // no memory: the watcher cannot do without
    const ssize_t count = ::read(watched.get(), bytes.data(), bytes.size());
    if (count < 0) return errno == EINTR || errno == EAGAIN ? Seen{true, edges} : lost(errno, edges);
    if (count == 0) return lost(ENODEV, edges);
    const LineEvents::Decision decision = events.take(bytes.data(), static_cast<std::size_t>(count));
    if (decision.edges > 0) LOG4CPLUS_TRACE(logger, "IRQ GPIO falling edges: " << decision.edges);
    edges += decision.edges;
    if (decision.lost == 0) return {true, edges};
    const std::uint64_t before = now();
    const bool low = isLow();
    LOG4CPLUS_WARN(logger, line << ": " << decision.lost
                                << " interrupts were lost, the kernel's queue was full; the line is "
                                << (low ? "low: one exchange more" : "high: nothing is waiting"));
    return {true, edges + events.look(low, before)};
}

InterruptLine::Seen ChipLine::lost(int error, std::size_t edges) const {
    LOG4CPLUS_ERROR(logger, line << ": lost: " << reasonOf(error)
                                 << "; no interrupts: the host's packets are not read until the link is started again");
    return {false, edges};
}

bool ChipLine::isLow() {
    return levelIsLow(watched.get()).value_or(false);
}

void ChipLine::close() {
    watched.reset();
    untold = 0;
}
