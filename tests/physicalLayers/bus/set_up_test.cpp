// Setting up the interrupt line, and what happens when a step of it fails.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <stdexcept>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "BusRigTest.h"
#include "support/LinkThreads.h"
#include "support/ProcessWatch.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Texts = std::vector<std::string>;

/// Limits the numbers of new descriptors, so that opening one more than fits fails with EMFILE.
class DescriptorLimit {
public:
    /// Leaves room for so many more descriptors.
    explicit DescriptorLimit(int room) {
        getrlimit(RLIMIT_NOFILE, &before);
        const std::set<int> open = openDescriptors();
        int limit = 0;
        for (int left = room; left > 0 || open.count(limit) != 0; ++limit) left -= open.count(limit) == 0 ? 1 : 0;
        set(static_cast<rlim_t>(limit));
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    void set(rlim_t limit) const {
        rlimit limited = before;
        limited.rlim_cur = limit;
        if (setrlimit(RLIMIT_NOFILE, &limited) != 0) throw std::runtime_error("cannot set the limit");
    }

    rlimit before{};
};

std::string targetOf(int descriptor) {
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string();
}

class BusSetUp : public BusRigTest {
protected:
    /// Exports the line as another program would have.
    void exportBefore() {
        std::ofstream("/sys/class/gpio/export") << gpio << std::flush;
        ASSERT_EQ(rig.sysfsLog(), Texts{"export 17"});
    }

    /// `init()` is refused with these ERROR lines and leaves nothing.
    void expectRefusal(const Texts& expected) {
        expectRefusal(expected, [this] { return link->init(); });
    }
    void expectRefusal(const Texts& expected, const std::function<bool()>& init) {
        const std::set<int> open = openDescriptors();
        const NewThreads started;
        EXPECT_FALSE(init());
        EXPECT_EQ(errors(), expected);
        EXPECT_EQ(openDescriptors(), open);
        EXPECT_TRUE(started.haveGone());
        log.clear();
        link->shutdown();
        EXPECT_THAT(log.lines(), IsEmpty());
    }

    Texts warnings() const {
        Texts texts;
        for (const LogLine& line : log.lines())
            if (line.level == log4cplus::WARN_LOG_LEVEL) texts.push_back(line.text);
        return texts;
    }

    /// `init()` with room for so many descriptors.
    bool initWithin(int room) {
        const DescriptorLimit limit(room);
        return link->init();
    }

    void expectMessagesFlow() {
        const size_t before = delivered.count();
        rig.press(1); // two messages
        EXPECT_TRUE(delivered.waitForCount(before + 2));
    }
};

OVER_BOTH_WIRES(BusSetUp);

TEST_P(BusSetUp, ConstructionTouchesNoLine) {
    make();
    EXPECT_TRUE(link->serialOk());
    EXPECT_THAT(rig.sysfsLog(), IsEmpty());
    EXPECT_EQ(rig.count("transactions"), 0U);
}

TEST_P(BusSetUp, ExportDirectionAndEdgeAreWrittenInOrder) {
    start();
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "direction in", "edge falling"));
    EXPECT_EQ(rig.count("valueFilesOpen"), 1U);
    EXPECT_THAT(errors(), IsEmpty());
    expectMessagesFlow();
}

TEST_P(BusSetUp, EachThreadLeavesItsEntryLine) {
    start();
    EXPECT_TRUE(log.waitUntil([](const std::vector<LogLine>& lines) {
        const auto has = [&](const LogLine& line) { return std::count(lines.begin(), lines.end(), line) == 1; };
        return has(entered("void SyncSerialLayer::readLoop()", linkLogger)) &&
               has(entered("void SyncSerialLayer::gpioIrqLoop()", linkLogger));
    }));
}

TEST_P(BusSetUp, ThreadsEndWithTheirExitLines) {
    start();
    link->shutdown();
    EXPECT_TRUE(log.contains(log4cplus::TRACE_LOG_LEVEL, left("void SyncSerialLayer::readLoop()", linkLogger).text));
    EXPECT_TRUE(log.contains(log4cplus::TRACE_LOG_LEVEL, left("void SyncSerialLayer::gpioIrqLoop()", linkLogger).text));
    EXPECT_EQ(log.texts(log4cplus::INFO_LOG_LEVEL), Texts{"stopping irq loop"});
}

TEST_P(BusSetUp, EveryDescriptorIsClosedOnExec) {
    const std::set<int> before = openDescriptors();
    start();
    for (const int descriptor : openDescriptors()) {
        if (before.count(descriptor) != 0) continue;
        EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << targetOf(descriptor);
    }
}

// --- A step of the set-up fails ---

TEST_P(BusSetUp, LineThatIsExportedAlreadyIsNoFailure) {
    exportBefore();
    start();
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "export 17: EBUSY", "direction in", "edge falling"));
    EXPECT_THAT(errors(), IsEmpty());
    expectMessagesFlow();
}

TEST_P(BusSetUp, ExportThatMayNotBeOpenedIsReportedAndTheRestIsDone) {
    exportBefore();
    rig.fault("export-refused EACCES open");
    start();
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "open export: EACCES", "direction in", "edge falling"));
    EXPECT_THAT(errors(), ElementsAre("Gpio export failed: 17"));
    expectMessagesFlow();
}

TEST_P(BusSetUp, DirectionThatMayNotBeOpenedIsReportedAndTheRestIsDone) {
    rig.fault("direction-refused EPERM open");
    start();
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "open direction: EPERM", "edge falling"));
    EXPECT_THAT(errors(), ElementsAre("Gpio direction failed: 17"));
    expectMessagesFlow();
}

TEST_P(BusSetUp, EdgeThatMayNotBeOpenedIsReportedAndTheRestIsDone) {
    rig.fault("edge-refused EPERM open");
    start();
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "direction in", "open edge: EPERM", "open edge: EPERM"));
    EXPECT_THAT(errors(), ElementsAre("Gpio edge failed: 17"));
    EXPECT_EQ(warnings(),
              Texts{"Gpio 17: edge could not be set to falling: Operation not permitted; the link is deaf, the host's "
                    "packets are not read until /sys/class/gpio/gpio17/edge says falling"});
    EXPECT_EQ(rig.count("valueFilesOpen"), 1U);
}

// Whoever prepared the line gave its files to nobody.
TEST_P(BusSetUp, EdgeThatMayNotBeWrittenAndIsSetAlreadyIsHarmless) {
    exportBefore();
    std::ofstream("/sys/class/gpio/gpio17/edge") << "falling" << std::flush;
    rig.fault("edge-refused EPERM open 1"); // for writing; reading comes after
    start();
    EXPECT_EQ(warnings(), Texts{"Gpio 17: edge could not be set to falling: Operation not permitted; harmless: it says "
                                "so already"});
    expectMessagesFlow();
}

// A write counts as failed only when the file cannot be opened.
TEST_P(BusSetUp, WriteThatIsRefusedIsNotReportedAsAnError) {
    exportBefore();
    for (const char* fault : {"export-refused EPERM write", "direction-refused EIO write", "edge-refused EIO write"})
        rig.fault(fault);
    start();
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "export 17: EPERM", "direction in: EIO", "edge falling: EIO"));
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_EQ(warnings(),
              Texts{"Gpio 17: edge could not be set to falling: Input/output error, and direction could not be set to "
                    "in: Input/output error; the link is deaf, the host's packets are not read until "
                    "/sys/class/gpio/gpio17/edge says falling"});
}

// A moment after the export, when its files have been given to the user's group.
TEST_P(BusSetUp, FilesThatMayBeOpenedSoonAreWaitedFor) {
    for (const char* file : {"direction", "edge", "value"}) rig.fault(file + std::string("-refused EACCES open 3"));
    start();
    EXPECT_EQ(rig.count("sysfsRefused"), 9U);
    EXPECT_THAT(log.texts(log4cplus::WARN_LOG_LEVEL), IsEmpty());
    expectMessagesFlow();
}

TEST_P(BusSetUp, LineThatIsNotThereFailsEachStepAfterTheExport) {
    rig.fault("export-refused EACCES open");
    make();
    expectRefusal({"Gpio export failed: 17", "Gpio direction failed: 17", "Gpio edge failed: 17", "Open failed: 17"});
}

TEST_P(BusSetUp, ValueFileThatIsMissingFailsInit) {
    rig.fault("no-value-file");
    make();
    expectRefusal({"Open failed: 17"});
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "direction in", "edge falling")); // not undone
}

TEST_P(BusSetUp, ValueFileThatMayNotBeOpenedFailsInit) {
    rig.fault("value-refused EPERM open");
    make();
    expectRefusal({"Open failed: 17"});
}

TEST_P(BusSetUp, InitMayBeRepeatedWhenTheCauseIsGone) {
    rig.fault("no-value-file");
    make();
    expectRefusal({"Open failed: 17"});
    rig.fault("none");
    ASSERT_TRUE(link->init());
    expectMessagesFlow();
}

TEST_P(BusSetUp, NoRoomForAnyDescriptorFailsEveryStep) {
    make();
    expectRefusal({"Gpio export failed: 17", "Gpio direction failed: 17", "Gpio edge failed: 17", "Open failed: 17"},
                  [this] { return initWithin(0); });
}

TEST_P(BusSetUp, NoRoomForTheEventCounterFailsInit) {
    make();
    expectRefusal({"Failed to create eventfd"}, [this] { return initWithin(1); });
    EXPECT_TRUE(rig.waitForCount("valueFilesClosed", 1));
}

TEST_P(BusSetUp, NoRoomForTheSecondWayToStopFailsInit) {
    make();
    for (const int room : {2, 3})
        expectRefusal({"Failed to create pipe: Too many open files"}, [this, room] { return initWithin(room); });
}

TEST_P(BusSetUp, DescriptorsThatJustFitAreEnough) {
    make();
    ASSERT_TRUE(initWithin(4));
    expectMessagesFlow();
}

// The stack of a thread that is larger than any memory cannot be had.
TEST_P(BusSetUp, ThreadThatCannotBeStartedFailsInit) {
    make();
    pthread_attr_t usual;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    pthread_attr_t huge;
    ASSERT_EQ(pthread_getattr_default_np(&huge), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&huge, size_t{1} << 62), 0);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    expectRefusal({"Failed to start the serial device threads: Resource temporarily unavailable"});
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
    pthread_attr_destroy(&huge);
    pthread_attr_destroy(&usual);
    ASSERT_TRUE(link->init());
    expectMessagesFlow();
}

// --- A link that lacks something ---

TEST_P(BusSetUp, LinkWithoutItsBusStillWatchesTheLine) {
    HostLinkPhysicalLayer::Properties incomplete;
    incomplete.setString(DevicePath, devicePathOf(GetParam()));
    incomplete.setInt(GpioNumber, gpio);
    make(incomplete);
    EXPECT_FALSE(link->serialOk());
    log.clear();
    const NewThreads started;
    ASSERT_TRUE(link->init());
    EXPECT_EQ(started.ids().size(), 2U);
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "direction in", "edge falling"));
    edge();
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_THAT(errors(), ElementsAre("Reading packet failed because the Serial device initialisation failed!",
                                      "Invalid message received",
                                      "sending of Ack packet failed because the Serial device initialisation failed!"));
    EXPECT_EQ(rig.count("transactions"), 0U);
}

TEST_P(BusSetUp, LinkWhoseBusDoesNotOpenStillWatchesTheLine) {
    HostLinkPhysicalLayer::Properties wrong = properties();
    wrong.setString(DevicePath, "/dev/no-such-bus");
    const std::set<int> open = openDescriptors();
    make(wrong);
    EXPECT_FALSE(link->serialOk());
    EXPECT_EQ(openDescriptors(), open);
    EXPECT_THAT(errors(), IsEmpty()); // the serial library's log says it
    ASSERT_TRUE(link->init());
    EXPECT_EQ(link->writeData(numberedMessage(1)), NoResponse);
    EXPECT_THAT(errors(), ElementsAre("Reading packet failed because the Serial device initialisation failed!",
                                      "Error Serial device bus master recv (ack)"));
    log.clear();
    edge();
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL, "Invalid message received"));
}

TEST_P(BusSetUp, LinkWithoutAttributesHasNoLineToWatch) {
    make({});
    log.clear();
    EXPECT_FALSE(link->init());
    EXPECT_THAT(errors(), ElementsAre("Gpio direction failed: -1", "Gpio edge failed: -1", "Open failed: -1"));
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export -1: EINVAL"));
}

// --- init again ---

TEST_P(BusSetUp, InitOfARunningLinkIsRefused) {
    start();
    const std::set<int> open = openDescriptors();
    const NewThreads started;
    EXPECT_FALSE(link->init());
    EXPECT_THAT(errors(), ElementsAre("Serial device is already initialised"));
    EXPECT_EQ(openDescriptors(), open);
    EXPECT_TRUE(started.haveGone());
    EXPECT_THAT(rig.sysfsLog(), ElementsAre("export 17", "direction in", "edge falling"));
    expectMessagesFlow();
}

TEST_P(BusSetUp, MessagesFlowAgainAfterShutdownAndInit) {
    start();
    expectMessagesFlow();
    for (int round = 0; round < 5; ++round) {
        link->shutdown();
        ASSERT_NO_FATAL_FAILURE(init());
        expectMessagesFlow();
        EXPECT_EQ(link->writeData(numberedMessage(1)), Accepted);
    }
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_EQ(delivered.count(), 12U);
}

TEST_P(BusSetUp, WhatTheHostAnnouncedMeanwhileIsReadAfterInit) {
    start();
    link->shutdown();
    rig.press(1);
    EXPECT_FALSE(rig.level(gpio));
    EXPECT_EQ(delivered.count(), 0U);
    ASSERT_TRUE(link->init());
    EXPECT_TRUE(delivered.waitForCount(2));
}

} // namespace
