// The GPIO class of the rig, through the system calls that a program makes. The expected values are those of Linux'
// gpiolib-sysfs.c and kernfs (a value file counts events, an open file remembers the count at its last read). The same
// tests run on a real kernel: `make test-kernel`.

#include <algorithm>
#include <atomic>
#include <thread>

#include <sys/epoll.h>
#include <sys/stat.h>

#include "RawCalls.h"

namespace {

using raw::File;
using raw::pendingEvents;
using raw::readFile;
using raw::readFromStart;
using raw::waitForEvent;
using raw::writeFile;

const std::string gpioClass = "/sys/class/gpio/";
const std::string gpio17 = gpioClass + "gpio17/";
constexpr int edgeEvent = POLLPRI | POLLERR;

class GpioExport : public RigTest {};

class GpioLine : public RigTest {
protected:
    void SetUp() override {
        RigTest::SetUp();
        rig.slaveManual();
        ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    }
};

class GpioEdge : public GpioLine {
protected:
    void SetUp() override {
        GpioLine::SetUp();
        ASSERT_EQ(writeFile(gpio17 + "direction", "in"), 0);
        ASSERT_EQ(writeFile(gpio17 + "edge", "falling"), 0);
    }
    void high() { rig.line(17, true); }
    void low() { rig.line(17, false); }
    void pulse() {
        low();
        high();
    }
};

TEST_F(GpioExport, MakesTheFilesOfTheLine) {
    EXPECT_EQ(readFile(gpio17 + "value"), "ENOENT");
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(readFile(gpio17 + "direction"), "in\n");
    EXPECT_EQ(readFile(gpio17 + "edge"), "none\n");
    EXPECT_EQ(readFile(gpio17 + "value"), "1\n");
}

TEST_F(GpioExport, IsBusyTheSecondTime) {
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), EBUSY);
}

TEST_F(GpioExport, RefusesWhatIsNoLine) {
    for (const char* text : {"abc", "-1", "99999", "17x", " "}) {
        EXPECT_EQ(writeFile(gpioClass + "export", text), EINVAL) << text;
    }
    EXPECT_EQ(writeFile(gpioClass + "unexport", "17"), EINVAL);
}

TEST_F(GpioExport, TakesANewlineAndTheFlagsOfAStream) {
    EXPECT_EQ(writeFile(gpioClass + "export", "17\n", O_WRONLY | O_CREAT | O_TRUNC), 0);
    EXPECT_EQ(readFile(gpio17 + "value"), "1\n");
}

TEST_F(GpioExport, CannotBeReadEvenByRoot) {
    EXPECT_EQ(File(gpioClass + "export", O_RDONLY).error, EACCES);
    EXPECT_EQ(File(gpioClass + "export", O_RDWR).error, EACCES);
    struct stat attributes {};
    ASSERT_EQ(stat((gpioClass + "export").c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode, S_IFREG | 0200U);
}

TEST_F(GpioExport, CreatesNoOtherFiles) {
    EXPECT_EQ(writeFile(gpioClass + "another", "17", O_WRONLY | O_CREAT), EACCES);
    EXPECT_EQ(writeFile(gpio17 + "direction", "in", O_WRONLY | O_CREAT), ENOENT);
}

TEST_F(GpioExport, IsUndoneByUnexport) {
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(writeFile(gpioClass + "unexport", "17"), 0);
    EXPECT_EQ(readFile(gpio17 + "value"), "ENOENT");
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(readFile(gpio17 + "edge"), "none\n");
}

TEST_F(GpioLine, TakesDirectionsAndRefusesOthers) {
    EXPECT_EQ(writeFile(gpio17 + "direction", "in\n"), 0);
    EXPECT_EQ(writeFile(gpio17 + "direction", "sideways"), EINVAL);
    EXPECT_EQ(writeFile(gpio17 + "direction", "low"), 0);
    EXPECT_EQ(readFile(gpio17 + "direction"), "out\n");
    EXPECT_EQ(readFile(gpio17 + "value"), "0\n");
    EXPECT_EQ(writeFile(gpio17 + "value", "1"), 0);
    EXPECT_EQ(readFile(gpio17 + "value"), "1\n");
    EXPECT_EQ(writeFile(gpio17 + "edge", "falling"), EIO); // an output gives no interrupts
}

TEST_F(GpioLine, TakesEdgesAndRefusesOthers) {
    for (const char* edge : {"none", "rising", "falling", "both"}) {
        EXPECT_EQ(writeFile(gpio17 + "edge", edge), 0);
        EXPECT_EQ(readFile(gpio17 + "edge"), edge + std::string("\n"));
    }
    EXPECT_EQ(writeFile(gpio17 + "edge", "falls"), EINVAL);
}

// The kernel does not keep a line with an interrupt an input here, and does not take the interrupt away either.
TEST_F(GpioLine, BecomesAnOutputAlthoughItHasAnEdge) {
    ASSERT_EQ(writeFile(gpio17 + "edge", "falling"), 0);
    EXPECT_EQ(writeFile(gpio17 + "direction", "out"), 0);
    EXPECT_EQ(readFile(gpio17 + "direction"), "out\n");
    EXPECT_EQ(readFile(gpio17 + "edge"), "falling\n");
    EXPECT_EQ(readFile(gpio17 + "value"), "0\n");
}

TEST_F(GpioLine, KeepsItsDirectionAndForgetsItsEdgeWhenItIsGivenBack) {
    ASSERT_EQ(writeFile(gpio17 + "edge", "rising"), 0);
    ASSERT_EQ(writeFile(gpio17 + "direction", "high"), 0);
    ASSERT_EQ(writeFile(gpioClass + "unexport", "17"), 0);
    ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(readFile(gpio17 + "direction"), "out\n");
    EXPECT_EQ(readFile(gpio17 + "value"), "1\n");
    EXPECT_EQ(readFile(gpio17 + "edge"), "none\n");
}

TEST_F(GpioLine, CannotBeExportedWithoutItsController) {
    rig.command("controller 0");
    EXPECT_EQ(readFile(gpio17 + "value"), "ENOENT");
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), EINVAL);
    EXPECT_EQ(writeFile(gpioClass + "unexport", "17"), EINVAL);
    rig.command("controller 1");
    EXPECT_EQ(readFile(gpio17 + "value"), "ENOENT");
    EXPECT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(readFile(gpio17 + "value"), "1\n");
}

TEST_F(GpioLine, CannotBeWrittenAsInput) {
    EXPECT_EQ(writeFile(gpio17 + "value", "1"), EPERM);
}

TEST_F(GpioLine, ShowsTheLevelAtEachReadFromTheStart) {
    const File value(gpio17 + "value", O_RDONLY);
    EXPECT_EQ(readFromStart(value.descriptor), "1\n");
    rig.line(17, false);
    EXPECT_EQ(readFromStart(value.descriptor), "0\n");
    EXPECT_EQ(readFromStart(value.descriptor), "0\n");
}

TEST_F(GpioLine, EndsAfterItsTwoBytes) {
    const File value(gpio17 + "value", O_RDONLY);
    char buffer[4];
    EXPECT_EQ(read(value.descriptor, buffer, sizeof buffer), 2);
    EXPECT_EQ(read(value.descriptor, buffer, sizeof buffer), 0);
    EXPECT_EQ(lseek(value.descriptor, 0, SEEK_SET), 0);
    EXPECT_EQ(read(value.descriptor, buffer, 1), 1);
    EXPECT_EQ(buffer[0], '1');
}

TEST_F(GpioEdge, FirstPollAfterOpeningReportsWithoutAnEdge) {
    const File value(gpio17 + "value", O_RDONLY);
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), edgeEvent);
    EXPECT_EQ(readFromStart(value.descriptor), "1\n");
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), 0);
}

TEST_F(GpioEdge, EventStaysUntilTheNextReadWhereverThatIs) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    low();
    EXPECT_EQ(waitForEvent(value.descriptor, POLLPRI), edgeEvent);
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), edgeEvent);
    char buffer[4];
    EXPECT_EQ(pread(value.descriptor, buffer, sizeof buffer, 2), 0); // behind the end: shows nothing, covers the event
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), 0);
    EXPECT_EQ(readFromStart(value.descriptor), "0\n");
}

TEST_F(GpioEdge, ErrorIsReportedWithoutBeingAskedFor) {
    const File value(gpio17 + "value", O_RDONLY);
    EXPECT_EQ(pendingEvents(value.descriptor, 0), POLLERR);
}

TEST_F(GpioEdge, ReadingNeverBlocks) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    EXPECT_EQ(pendingEvents(value.descriptor, POLLIN), POLLIN);
}

TEST_F(GpioEdge, OtherEdgeIsNoEvent) {
    low();
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    high();
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), 0);
}

TEST_F(GpioEdge, BothEdgesAreEventsWhenBothAreAskedFor) {
    ASSERT_EQ(writeFile(gpio17 + "edge", "both"), 0);
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    low();
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), edgeEvent);
    readFromStart(value.descriptor);
    high();
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), edgeEvent);
}

TEST_F(GpioEdge, PulsesCoalesceAndTheLineIsSeenHigh) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    pulse();
    pulse();
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), edgeEvent);
    EXPECT_EQ(readFromStart(value.descriptor), "1\n");
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), 0);
    EXPECT_EQ(rig.count("edges"), 2U);
}

TEST_F(GpioEdge, ArmingWhileTheLineIsLowIsNoEdge) {
    ASSERT_EQ(writeFile(gpio17 + "edge", "none"), 0);
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    low();
    ASSERT_EQ(writeFile(gpio17 + "edge", "falling"), 0);
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), 0);
    EXPECT_EQ(readFromStart(value.descriptor), "0\n");
}

TEST_F(GpioEdge, EachOpenFileHasItsOwnMemoryOfEvents) {
    const File first(gpio17 + "value", O_RDONLY);
    const File second(gpio17 + "value", O_RDONLY);
    readFromStart(first.descriptor);
    EXPECT_EQ(pendingEvents(first.descriptor, POLLPRI), 0);
    EXPECT_EQ(pendingEvents(second.descriptor, POLLPRI), edgeEvent);
}

TEST_F(GpioEdge, DuplicatedDescriptorSharesTheMemoryOfEvents) {
    const File value(gpio17 + "value", O_RDONLY);
    const int duplicate = dup(value.descriptor);
    readFromStart(value.descriptor);
    low();
    EXPECT_EQ(pendingEvents(duplicate, POLLPRI), edgeEvent);
    readFromStart(duplicate);
    EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), 0);
    close(duplicate);
}

TEST_F(GpioEdge, WakesABlockedPoll) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    std::atomic<int> seen{-1};
    std::thread watcher([&] { seen = waitForEvent(value.descriptor, POLLPRI); });
    low();
    watcher.join();
    EXPECT_EQ(seen, edgeEvent);
    EXPECT_EQ(readFromStart(value.descriptor), "0\n");
}

TEST_F(GpioEdge, EdgeTriggeredEpollReportsOnce) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    epoll_event wanted{};
    wanted.events = EPOLLPRI | EPOLLET;
    ASSERT_EQ(epoll_ctl(epoll, EPOLL_CTL_ADD, value.descriptor, &wanted), 0);
    epoll_event event{};
    EXPECT_EQ(epoll_wait(epoll, &event, 1, 0), 0);
    low();
    ASSERT_EQ(epoll_wait(epoll, &event, 1, 20000), 1);
    EXPECT_EQ(event.events, static_cast<uint32_t>(EPOLLPRI | EPOLLERR));
    EXPECT_EQ(epoll_wait(epoll, &event, 1, 0), 0);
    close(epoll);
}

TEST_F(GpioEdge, ThousandEdgesWithAHandshakeAreAllSeen) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    for (int i = 0; i < 1000; ++i) {
        low();
        ASSERT_EQ(waitForEvent(value.descriptor, POLLPRI), edgeEvent) << i;
        ASSERT_EQ(readFromStart(value.descriptor), "0\n") << i;
        high();
        ASSERT_EQ(pendingEvents(value.descriptor, POLLPRI), 0) << i;
    }
    EXPECT_EQ(rig.count("edges"), 1000U);
}

/// Somebody who has gone to sleep waiting for an event of the file, as far as the kernel is concerned.
class Sleeper {
public:
    explicit Sleeper(int descriptor) {
        epoll_event wanted{};
        wanted.events = EPOLLPRI;
        EXPECT_EQ(epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &wanted), 0);
        EXPECT_FALSE(isWoken());
    }
    ~Sleeper() { close(epoll); }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    bool isWoken(int withinMs = 0) const {
        epoll_event event{};
        return epoll_wait(epoll, &event, 1, withinMs) == 1;
    }

private:
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
};

/// How the file of a line that has gone answers, again and again.
void expectGone(const File& value) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pendingEvents(value.descriptor, POLLPRI), edgeEvent);
        EXPECT_EQ(readFromStart(value.descriptor), "ENODEV");
    }
}

TEST_F(GpioEdge, WakesASleeper) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    const Sleeper sleeper(value.descriptor);
    low();
    EXPECT_TRUE(sleeper.isWoken(20000));
}

TEST_F(GpioEdge, UnexportEndsTheFileAndWakesNobody) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    const Sleeper sleeper(value.descriptor);
    EXPECT_EQ(writeFile(gpioClass + "unexport", "17"), 0);
    low();
    EXPECT_FALSE(sleeper.isWoken());
    expectGone(value);
}

TEST_F(GpioEdge, RemovalOfTheControllerEndsTheFileAndWakesNobody) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    const Sleeper sleeper(value.descriptor);
    rig.command("controller 0");
    EXPECT_FALSE(sleeper.isWoken());
    expectGone(value);
    rig.command("controller 1");
    EXPECT_FALSE(sleeper.isWoken());
    expectGone(value);
}

// A sleeper whose time is up looks once more, and finds it then.
TEST_F(GpioEdge, PollThatEndsByItselfTellsOfAnUnexportMeanwhile) {
    const File value(gpio17 + "value", O_RDONLY);
    readFromStart(value.descriptor);
    std::thread other([] { EXPECT_EQ(writeFile(gpioClass + "unexport", "17"), 0); });
    pollfd waits{value.descriptor, POLLPRI, 0};
    int polled = 0;
    for (int i = 0; i < 200 && polled == 0; ++i) polled = poll(&waits, 1, 100);
    other.join();
    EXPECT_EQ(polled, 1);
    EXPECT_EQ(waits.revents, edgeEvent);
}

TEST_F(GpioEdge, FileOfAnEarlierExportStaysDead) {
    const File value(gpio17 + "value", O_RDONLY);
    ASSERT_EQ(writeFile(gpioClass + "unexport", "17"), 0);
    ASSERT_EQ(writeFile(gpioClass + "export", "17"), 0);
    EXPECT_EQ(readFromStart(value.descriptor), "ENODEV");
    EXPECT_EQ(readFile(gpio17 + "value"), "1\n");
}

TEST_F(GpioEdge, LinesAreIndependent) {
    ASSERT_EQ(writeFile(gpioClass + "export", "27"), 0);
    ASSERT_EQ(writeFile(gpioClass + "gpio27/edge", "falling"), 0);
    const File other(gpioClass + "gpio27/value", O_RDONLY);
    readFromStart(other.descriptor);
    low();
    EXPECT_EQ(pendingEvents(other.descriptor, POLLPRI), 0);
    EXPECT_EQ(readFromStart(other.descriptor), "1\n");
}

} // namespace
