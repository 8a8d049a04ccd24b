// What the kernel's GPIO character device does with an interrupt line: the facts that the link builds on and the
// documents tell. System calls only.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/gpio.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "rig/RawCalls.h"
#include "serialcomm/Descriptor.h"

namespace {

using raw::resultOf;
using serialcomm::Descriptor;

constexpr unsigned line17 = 17;
constexpr unsigned shortBuffer = 16;

/// The chip of that label; it may have any number.
Descriptor openChip(const std::string& label) {
    for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
        if (entry.path().filename().string().rfind("gpiochip", 0) != 0) continue;
        Descriptor chip(::open(entry.path().c_str(), O_RDWR | O_CLOEXEC));
        gpiochip_info info{};
        if (::ioctl(chip.get(), GPIO_GET_CHIPINFO_IOCTL, &info) == 0 && label == info.label) return chip;
    }
    return {};
}

gpio_v2_line_request requestOf(unsigned line) {
    gpio_v2_line_request request{};
    request.offsets[0] = line;
    request.num_lines = 1;
    request.event_buffer_size = shortBuffer;
    strcpy(request.consumer, "kernel_gpio");
    request.config.flags = GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_EDGE_FALLING;
    return request;
}

class GpioCharacterDevice : public RigTest {
protected:
    void SetUp() override {
        RigTest::SetUp();
        rig.slaveManual();
        chip = openChip("riggpio");
        ASSERT_TRUE(chip);
    }
    /// The line with falling edges; -errno when it is refused.
    int request(unsigned line = line17) {
        gpio_v2_line_request wanted = requestOf(line);
        if (::ioctl(chip.get(), GPIO_V2_GET_LINE_IOCTL, &wanted) != 0) return -errno;
        requested = Descriptor(wanted.fd);
        return 0;
    }
    void pulse(int times) {
        for (int i = 0; i < times; ++i) {
            rig.line(line17, false);
            rig.line(line17, true);
        }
    }
    /// Returns when the kernel's interrupt thread has made an event of the last pulse: it makes one of those that
    /// follow one another faster than it runs, and says nothing of an event that takes another's place. Giving up the
    /// edges waits for that thread; the line and its events stay.
    void letTheKernelTakeIt() {
        gpio_v2_line_config config = requestOf(line17).config;
        config.flags = GPIO_V2_LINE_FLAG_INPUT;
        ASSERT_EQ(::ioctl(requested.get(), GPIO_V2_LINE_SET_CONFIG_IOCTL, &config), 0);
        config.flags |= GPIO_V2_LINE_FLAG_EDGE_FALLING;
        ASSERT_EQ(::ioctl(requested.get(), GPIO_V2_LINE_SET_CONFIG_IOCTL, &config), 0);
    }
    /// What is there, after waiting until there is something.
    std::vector<gpio_v2_line_event> events() {
        EXPECT_EQ(raw::waitForEvent(requested.get(), POLLIN), POLLIN);
        std::vector<gpio_v2_line_event> some(shortBuffer);
        const ssize_t count = ::read(requested.get(), some.data(), some.size() * sizeof some[0]);
        EXPECT_GT(count, 0);
        some.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)) / sizeof some[0]);
        return some;
    }

    Descriptor chip;
    Descriptor requested; ///< goes before the chip
};

/// Who is told of each event as it comes, whether or not anybody reads it.
class Arrivals {
public:
    explicit Arrivals(int descriptor) {
        epoll_event wanted{};
        wanted.events = EPOLLIN | EPOLLET;
        EXPECT_EQ(::epoll_ctl(epoll.get(), EPOLL_CTL_ADD, descriptor, &wanted), 0);
    }
    bool next(int withinMs = 20000) {
        epoll_event event{};
        return ::epoll_wait(epoll.get(), &event, 1, withinMs) == 1;
    }

private:
    const Descriptor epoll{::epoll_create1(EPOLL_CLOEXEC)};
};

TEST_F(GpioCharacterDevice, EachPulseIsAnEventWithItsNumberAndTime) {
    ASSERT_EQ(request(), 0);
    Arrivals arrivals(requested.get());
    for (int i = 0; i < 3; ++i) {
        pulse(1);
        ASSERT_TRUE(arrivals.next());
    }
    const std::vector<gpio_v2_line_event> all = events();
    ASSERT_EQ(all.size(), 3U);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(all[i].id, static_cast<unsigned>(GPIO_V2_LINE_EVENT_FALLING_EDGE));
        EXPECT_EQ(all[i].offset, line17);
        EXPECT_EQ(all[i].line_seqno, i + 1);
    }
    EXPECT_LT(all[0].timestamp_ns, all[1].timestamp_ns);
    EXPECT_LT(all[1].timestamp_ns, all[2].timestamp_ns);
}

// The kernel drops the oldest, which only the numbers show.
TEST_F(GpioCharacterDevice, OverflowLeavesAGapInTheNumbers) {
    constexpr unsigned lost = 3;
    ASSERT_EQ(request(), 0);
    pulse(1);
    ASSERT_EQ(events().size(), 1U); // number 1
    for (unsigned i = 0; i < shortBuffer + lost; ++i) {
        pulse(1);
        letTheKernelTakeIt();
    }
    const std::vector<gpio_v2_line_event> all = events();
    ASSERT_EQ(all.size(), shortBuffer);
    EXPECT_EQ(all.front().line_seqno, 1 + lost + 1);
    EXPECT_EQ(all.back().line_seqno, 1 + lost + shortBuffer);
}

TEST_F(GpioCharacterDevice, LineIsHeldByOneAtATime) {
    ASSERT_EQ(request(), 0);
    gpio_v2_line_request second = requestOf(line17);
    EXPECT_EQ(resultOf(::ioctl(chip.get(), GPIO_V2_GET_LINE_IOCTL, &second)), -EBUSY);
    EXPECT_EQ(raw::writeFile("/sys/class/gpio/export", "17"), EBUSY);
    gpio_v2_line_info info{};
    info.offset = line17;
    ASSERT_EQ(::ioctl(chip.get(), GPIO_V2_GET_LINEINFO_IOCTL, &info), 0);
    EXPECT_STREQ(info.consumer, "kernel_gpio");
    requested.reset();
    EXPECT_EQ(raw::writeFile("/sys/class/gpio/export", "17"), 0);
    EXPECT_EQ(request(), -EBUSY);
    ASSERT_EQ(::ioctl(chip.get(), GPIO_V2_GET_LINEINFO_IOCTL, &info), 0);
    EXPECT_STREQ(info.consumer, "sysfs");
}

TEST_F(GpioCharacterDevice, ControllerWithoutInterruptsRefusesEdges) {
    chip = openChip("riggpio-plain");
    ASSERT_TRUE(chip);
    EXPECT_EQ(request(0), -ENXIO);
}

TEST_F(GpioCharacterDevice, LineOutOfRangeIsRefused) {
    EXPECT_EQ(request(64), -EINVAL);
}

TEST_F(GpioCharacterDevice, ShortPulsesAreNoEventsWithDebounce) {
    ASSERT_EQ(request(), 0);
    gpio_v2_line_config config = requestOf(line17).config;
    config.num_attrs = 1;
    config.attrs[0].attr.id = GPIO_V2_LINE_ATTR_ID_DEBOUNCE;
    config.attrs[0].attr.debounce_period_us = 2000000;
    config.attrs[0].mask = 1;
    ASSERT_EQ(::ioctl(requested.get(), GPIO_V2_LINE_SET_CONFIG_IOCTL, &config), 0);
    pulse(5); // each far shorter
    rig.line(line17, false);
    EXPECT_EQ(events().size(), 1U);
    EXPECT_EQ(raw::pendingEvents(requested.get(), POLLIN), 0);
}

// Who sleeps in `poll` is not told that the controller goes; whoever asks is. The last test: this kernel never gives
// the numbers of the lines free again, so that the controller comes back with others.
TEST_F(GpioCharacterDevice, RemovalOfTheControllerWakesNobody) {
    ASSERT_EQ(request(), 0);
    const Descriptor sleeper(::epoll_create1(EPOLL_CLOEXEC));
    epoll_event wanted{};
    wanted.events = EPOLLIN;
    ASSERT_EQ(::epoll_ctl(sleeper.get(), EPOLL_CTL_ADD, requested.get(), &wanted), 0);
    epoll_event event{};
    ASSERT_EQ(::epoll_wait(sleeper.get(), &event, 1, 0), 0);
    rig.command("controller 0");
    EXPECT_EQ(::epoll_wait(sleeper.get(), &event, 1, 0), 0);
    EXPECT_EQ(raw::pendingEvents(requested.get(), POLLIN), POLLERR | POLLHUP);
    gpio_v2_line_event some{};
    EXPECT_EQ(resultOf(::read(requested.get(), &some, sizeof some)), -ENODEV);
    requested.reset();
    chip.reset();
    rig.command("controller 1");
    chip = openChip("riggpio");
    ASSERT_TRUE(chip);
    EXPECT_EQ(request(), 0);
}

} // namespace
