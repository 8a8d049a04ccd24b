// A bus link whose interrupt line is watched through the chip's character device.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <linux/gpio.h>

#include <gmock/gmock.h>

#include <hostlink/physicalLayers/I2cPhysicalLayer.h>
#include <hostlink/physicalLayers/SpiPhysicalLayer.h>

#include "FaultTest.h"
#include "PlayedChip.h"
#include "support/Packets.h"
#include "support/ProcessCounts.h"
#include "support/ProcessWatch.h"

using namespace sweep;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr auto chipPath = "/dev/gpiochip1";
constexpr auto lineText = "Gpio line 2 of /dev/gpiochip1: ";
constexpr auto exchangeLeft = "Leave [HostLinkPhysicalLayer] void SyncSerialLayer::readFromSlave(int): readSize: 64";
constexpr auto watcherLeft = "Leave [HostLinkPhysicalLayer] void SyncSerialLayer::gpioIrqLoop(): ";
constexpr std::size_t irqBytes = 14;
const ByteArray fromHost = messageEnd(7, 0, {0x15, 0x80, 0});

class ChipLine : public FaultTest<PlayedChip> {
protected:
    ChipLine() : FaultTest("HostLinkPhysicalLayer") {
        kernel.add("gpiochip0", {"expander", {"", "", ""}});
        kernel.add("gpiochip1", {"pinctrl", {"TXD", "RXD", "HOST_IRQ", "", ""}});
        properties.setString(DevicePath, PlayedBoard::i2cPath);
        properties.setInt(I2cSlaveAddress, 0x42);
        properties.setInt(GpioNumber, 2);
        properties.setString(GpioChip, chipPath);
    }
    ~ChipLine() override { end(); }

    void make() {
        end();
        underTest([&] { link = std::make_unique<I2cPhysicalLayer>(properties); });
        link->addDataReceivedObserver([this](const ByteArray&) {
            if (--messagesLeft > 0) kernel.queue(fromHost);
        });
        log.clear();
    }
    void end() {
        underTest([this] { link.reset(); });
    }
    bool init() {
        if (!link) make();
        return underTest([this] { return link->init(); });
    }
    void shutdown() {
        underTest([this] { link->shutdown(); });
    }

    /// `init` fails with this line and leaves nothing.
    void expectRefusal(const std::string& what) {
        make();
        const auto open = openDescriptors();
        const long threads = threadCount();
        EXPECT_FALSE(init());
        EXPECT_THAT(errors(), ElementsAre(what));
        EXPECT_EQ(openDescriptors(), open);
        EXPECT_TRUE(waitUntilNoMoreThreadsThan(threads));
        EXPECT_FALSE(kernel.isLineOpen());
        end();
    }

    /// The host has so many messages, one for each exchange.
    void hostHas(int messages) {
        messagesLeft = messages;
        kernel.queue(fromHost);
    }
    bool waitForExchanges(std::size_t number) {
        return log.waitUntil([&](const std::vector<LogLine>& lines) {
            return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](const LogLine& line) {
                       return line.text == exchangeLeft;
                   })) >= number;
        });
    }
    /// All that was asked of the host when the link has stopped, which serves what is queued.
    std::size_t exchangesInAll() {
        shutdown();
        const auto written = kernel.written();
        return static_cast<std::size_t>(std::count_if(written.begin(), written.end(),
                                                      [](const ByteArray& bytes) { return bytes.size() == irqBytes; }));
    }
    std::vector<std::string> warnings() const { return log.texts(log4cplus::WARN_LOG_LEVEL); }

    HostLinkPhysicalLayer::Properties properties;
    std::unique_ptr<SyncSerialLayer> link;
    std::atomic<int> messagesLeft{0};
};

// --- Which line ---

TEST_F(ChipLine, IsRequestedByPathAndOffset) {
    ASSERT_TRUE(init());
    ASSERT_THAT(kernel.requests(), SizeIs(1));
    const PlayedChip::Request request = kernel.requests().front();
    EXPECT_EQ(request.chip, chipPath);
    EXPECT_EQ(request.offset, 2U);
    EXPECT_EQ(request.flags, GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_EDGE_FALLING);
    EXPECT_EQ(request.debounce, 0U);
    EXPECT_EQ(request.consumer, "zent-hostlink");
    EXPECT_EQ(request.queue, 64U);
    EXPECT_THAT(warnings(), IsEmpty());
    EXPECT_EQ(kernel.content("export"), "") << "nothing is done through sysfs";
    EXPECT_EQ(kernel.content("edge"), "");
}

TEST_F(ChipLine, IsFoundByTheLabelOrTheNameOfItsChip) {
    for (const char* chip : {"pinctrl", "gpiochip1"}) {
        properties.setString(GpioChip, chip);
        make();
        ASSERT_TRUE(init()) << chip;
        EXPECT_EQ(kernel.requests().back().chip, chipPath);
        shutdown();
    }
}

TEST_F(ChipLine, IsFoundByItsName) {
    HostLinkPhysicalLayer::Properties named;
    named.setString(DevicePath, PlayedBoard::i2cPath);
    named.setInt(I2cSlaveAddress, 0x42);
    named.setString(GpioChip, chipPath);
    named.setString(GpioLine, "HOST_IRQ");
    properties = named;
    make();
    EXPECT_TRUE(link->serialOk()) << "a name says which line as well as a number";
    ASSERT_TRUE(init());
    EXPECT_EQ(kernel.requests().back().offset, 2U);
    shutdown();

    properties.setInt(GpioNumber, 4);
    make();
    ASSERT_TRUE(init());
    EXPECT_EQ(kernel.requests().back().offset, 2U) << "the name goes before the number";
    shutdown();

    HostLinkPhysicalLayer::Properties spi = named;
    spi.setString(DevicePath, PlayedBoard::spiPath);
    spi.setInt(SpiSpeed, 1000000);
    const auto another = underTest([&] { return std::make_unique<SpiPhysicalLayer>(spi); });
    EXPECT_TRUE(another->serialOk());
}

TEST_F(ChipLine, NameWithoutAChipSaysNothing) {
    HostLinkPhysicalLayer::Properties named;
    named.setString(DevicePath, PlayedBoard::i2cPath);
    named.setInt(I2cSlaveAddress, 0x42);
    named.setString(GpioLine, "HOST_IRQ");
    properties = named;
    log.clear();
    const auto without = underTest([&] { return std::make_unique<I2cPhysicalLayer>(properties); });
    EXPECT_THAT(errors(),
                ElementsAre("Some of Serial device attributes not defined", "Some of I2C attributes not defined"));
    EXPECT_FALSE(without->serialOk());
}

TEST_F(ChipLine, SettingsAreToldAtTheBeginning) {
    properties.setString(GpioLine, "HOST_IRQ");
    make();
    log.clear();
    const auto another = underTest([&] { return std::make_unique<I2cPhysicalLayer>(properties); });
    EXPECT_THAT(log.texts(log4cplus::DEBUG_LOG_LEVEL),
                ElementsAre("Max packet size: 64", "Serial device path: /dev/i2c-played", "gpio: 2",
                            "gpio chip: /dev/gpiochip1", "gpio line: HOST_IRQ", "slave address: 66"));
}

TEST_F(ChipLine, BiasAndDebounceAreAskedForWhereTheyAreGiven) {
    struct Case {
        const char* bias;
        std::uint64_t flag;
    };
    for (const Case& c :
         {Case{"pull-up", GPIO_V2_LINE_FLAG_BIAS_PULL_UP}, Case{"pull-down", GPIO_V2_LINE_FLAG_BIAS_PULL_DOWN},
          Case{"disabled", GPIO_V2_LINE_FLAG_BIAS_DISABLED}}) {
        properties.setString(GpioBias, c.bias);
        properties.setInt(GpioDebounce, 250);
        make();
        ASSERT_TRUE(init());
        EXPECT_EQ(kernel.requests().back().flags, GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_EDGE_FALLING | c.flag);
        EXPECT_EQ(kernel.requests().back().debounce, 250U);
        shutdown();
    }
}

// --- What cannot be had ---

TEST_F(ChipLine, SettingsThatAreNotPossibleAreRefused) {
    properties.setString(GpioBias, "up");
    expectRefusal("Gpio bias up is not known; use pull-up, pull-down or disabled, or leave it out");
    properties.setString(GpioBias, "pull-up");
    properties.setInt(GpioDebounce, -1);
    log.clear();
    expectRefusal("Gpio debounce -1 is not possible; give microseconds");
    EXPECT_THAT(kernel.requests(), IsEmpty());
}

TEST_F(ChipLine, ChipThatIsMissingIsToldWithWhatMakesIt) {
    properties.setString(GpioChip, "/dev/gpiochip4711");
    expectRefusal(
        "Gpio chip /dev/gpiochip4711: cannot open (is the controller's driver loaded, and is it enabled in the "
        "device tree or by an overlay?): No such file or directory");
}

TEST_F(ChipLine, ChipThatMayNotBeOpenedIsTold) {
    kernel.add("gpiochip1", {"pinctrl", {"", "", ""}, EACCES});
    expectRefusal("Gpio chip /dev/gpiochip1: cannot open (is this user in the group of the device file?): Permission "
                  "denied");
    kernel.add("gpiochip1", {"pinctrl", {"", "", ""}, EMFILE});
    expectRefusal("Gpio chip /dev/gpiochip1: cannot open: Too many open files");
}

TEST_F(ChipLine, FileThatIsNoChipIsTold) {
    properties.setString(GpioChip, "/dev/null");
    expectRefusal("Gpio chip /dev/null: not a GPIO chip; give the path of one such as /dev/gpiochip0, or its label");
}

TEST_F(ChipLine, LabelThatNoChipHasIsTold) {
    properties.setString(GpioChip, "nobody");
    expectRefusal(
        "Gpio chip nobody: no chip has this label (gpiodetect lists them; is the controller's driver loaded?)");
    kernel.add("gpiochip2", {"nobody", {""}, EACCES});
    expectRefusal(
        "Gpio chip nobody: no chip that may be opened has this label, others cannot be opened (is this user in "
        "the group of the device file?): Permission denied");
}

TEST_F(ChipLine, LabelThatTwoChipsHaveIsTold) {
    kernel.add("gpiochip2", {"pinctrl", {"", "", ""}});
    properties.setString(GpioChip, "pinctrl");
    expectRefusal("Gpio chip pinctrl: 2 chips have this label; give the path of one (gpiodetect lists them)");
}

TEST_F(ChipLine, FileThatIsNoChipHasNoLabel) {
    kernel.add("gpiochip2", {"expander", {""}, 0, false});
    properties.setString(GpioChip, "expander");
    make();
    ASSERT_TRUE(init());
    EXPECT_EQ(kernel.requests().back().chip, "/dev/gpiochip0");
}

TEST_F(ChipLine, FolderOfDevicesThatCannotBeReadHasNoChip) {
    class NoFolder : public PlayedChip {
    public:
        std::string folder(const char* /*path*/) override { return "/nonexistent"; }
    } nowhere;
    properties.setString(GpioChip, "pinctrl");
    make();
    playKernel(&nowhere);
    EXPECT_FALSE(init());
    EXPECT_THAT(errors(), ElementsAre("Gpio chip pinctrl: no chip has this label (gpiodetect lists them; is the "
                                      "controller's driver loaded?)"));
    playKernel(&kernel);
}

TEST_F(ChipLine, OffsetBeyondTheChipIsTold) {
    for (const int offset : {5, 4711}) {
        properties.setInt(GpioNumber, offset);
        log.clear();
        expectRefusal("Gpio chip /dev/gpiochip1: has no line " + std::to_string(offset) + "; it has 0 to 4");
    }
    properties.setInt(GpioNumber, -1);
    expectRefusal("Gpio chip /dev/gpiochip1: has no line -1; it has 0 to 4");
}

TEST_F(ChipLine, NameThatNoLineHasIsTold) {
    properties.setString(GpioLine, "HOST");
    expectRefusal("Gpio chip /dev/gpiochip1: has no line named HOST (gpioinfo lists them)");
}

TEST_F(ChipLine, NameThatTwoLinesHaveIsTold) {
    kernel.add("gpiochip1", {"pinctrl", {"HOST_IRQ", "", "HOST_IRQ"}});
    properties.setString(GpioLine, "HOST_IRQ");
    expectRefusal("Gpio chip /dev/gpiochip1: has 2 lines named HOST_IRQ; give the offset of one as GpioNumber");
}

TEST_F(ChipLine, KernelThatKnowsNoLinesIsTold) {
    kernel.knowsLines = false;
    properties.setString(GpioLine, "HOST_IRQ");
    expectRefusal("Gpio chip /dev/gpiochip1: cannot ask for line 0 (Linux before 5.10?): Invalid argument");
}

TEST_F(ChipLine, HolderOfABusyLineIsNamed) {
    kernel.requestError = EBUSY;
    kernel.holder = "sysfs";
    const std::string advice = "; \"sysfs\" gives it back when its number goes to /sys/class/gpio/unexport";
    expectRefusal(lineText + ("is held by \"sysfs\"" + advice));
    kernel.holder = "";
    expectRefusal(lineText + ("is held by somebody" + advice));
    kernel.knowsLines = false;
    expectRefusal(lineText + ("is held by somebody" + advice));
}

TEST_F(ChipLine, ControllerThatCannotInterruptIsTold) {
    kernel.requestError = ENXIO;
    expectRefusal(lineText + std::string("its controller cannot interrupt; choose another line: No such device or "
                                         "address"));
    kernel.requestError = EBUSY; // although nobody has the line
    kernel.isUsed = false;
    log.clear();
    expectRefusal(lineText + std::string("its controller cannot interrupt; choose another line: Device or resource "
                                         "busy"));
}

TEST_F(ChipLine, RequestThatFailsIsToldWithItsReason) {
    kernel.requestError = EINVAL;
    expectRefusal(lineText + std::string("cannot be watched for falling edges (Linux before 5.10?): Invalid argument"));
    kernel.requestError = ENOMEM;
    expectRefusal(lineText + std::string("cannot be watched for falling edges: Cannot allocate memory"));
}

TEST_F(ChipLine, LevelThatCannotBeReadFailsInit) {
    make();
    failNext("ioctl", EIO, 3); // behind those of the chip and of the request
    EXPECT_FALSE(init());
    EXPECT_THAT(errors(), ElementsAre(lineText + std::string("its level cannot be read: Input/output error")));
    EXPECT_FALSE(kernel.isLineOpen());
    EXPECT_TRUE(init());
}

// --- Edges ---

TEST_F(ChipLine, EachPulseIsServedAlthoughTheLineIsHighAgain) {
    ASSERT_TRUE(init());
    hostHas(3);
    kernel.pulse(3);
    ASSERT_TRUE(waitForExchanges(3));
    EXPECT_EQ(exchangesInAll(), 3U);
    EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(ChipLine, QueueLongerThanOneReadIsServedWhole) {
    make();
    ASSERT_TRUE(init());
    hostHas(40);
    kernel.pulse(40);
    ASSERT_TRUE(waitForExchanges(40));
    EXPECT_EQ(exchangesInAll(), 40U);
    EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(ChipLine, LineThatIsLowAtTheStartIsServedOnce) {
    kernel.setLevel(false);
    hostHas(2);
    const auto fell = kernel.clock();
    ASSERT_TRUE(init());
    ASSERT_TRUE(waitForExchanges(1));
    kernel.pulseAt(fell); // the event of that edge, which came before the level was read
    kernel.passTime(seconds(1));
    kernel.pulse();
    ASSERT_TRUE(waitForExchanges(2));
    EXPECT_EQ(exchangesInAll(), 2U);
    EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(ChipLine, GapWithTheLineLowIsServedByOneExchangeMore) {
    make();
    ASSERT_TRUE(init());
    hostHas(2);
    kernel.setLevel(false);
    kernel.pulse(1, 7);
    ASSERT_TRUE(waitForExchanges(2));
    EXPECT_EQ(exchangesInAll(), 2U);
    EXPECT_THAT(warnings(),
                ElementsAre(lineText + std::string("7 interrupts were lost, the kernel's queue was full; the "
                                                   "line is low: one exchange more")));
}

TEST_F(ChipLine, GapWithTheLineHighIsToldOnly) {
    make();
    ASSERT_TRUE(init());
    hostHas(1);
    kernel.pulse(1, 7);
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_EQ(exchangesInAll(), 1U);
    EXPECT_THAT(warnings(),
                ElementsAre(lineText + std::string("7 interrupts were lost, the kernel's queue was full; the "
                                                   "line is high: nothing is waiting")));
}

// --- The end ---

TEST_F(ChipLine, IsGivenBackAtShutdown) {
    make();
    const auto open = openDescriptors();
    ASSERT_TRUE(init());
    EXPECT_TRUE(kernel.isLineOpen());
    shutdown();
    EXPECT_FALSE(kernel.isLineOpen());
    EXPECT_EQ(openDescriptors().size(), open.size() + 1) << "the test's own end of the line";
    ASSERT_TRUE(init());
    hostHas(1);
    kernel.pulse();
    EXPECT_TRUE(waitForExchanges(1));
}

// A kernel that does not wake the watcher when the controller goes lets it look when the time is over.
TEST_F(ChipLine, IsLookedAtOnceAMinute) {
    ASSERT_TRUE(init());
    hostHas(1);
    kernel.pulse();
    ASSERT_TRUE(waitForExchanges(1));
    shutdown();
    EXPECT_EQ(kernel.timeout(), 60000);
}

TEST_F(ChipLine, ControllerThatIsGoneIsToldAndEndsTheWatch) {
    make();
    ASSERT_TRUE(init());
    kernel.remove();
    ASSERT_TRUE(log.waitFor(watcherLeft));
    EXPECT_THAT(errors(),
                ElementsAre(lineText + std::string("lost: No such device; no interrupts: the host's packets are "
                                                   "not read until the link is started again")));
    EXPECT_FALSE(kernel.isLineOpen());
    shutdown();
    log.clear();
    ASSERT_TRUE(init());
    hostHas(1);
    kernel.pulse();
    EXPECT_TRUE(waitForExchanges(1));
}

TEST_F(ChipLine, ReadThatFailsEndsTheWatchAndOneThatIsInterruptedDoesNot) {
    for (const int error : {EINTR, EAGAIN, ENODEV}) {
        make();
        ASSERT_TRUE(init());
        hostHas(1);
        failNext("read", error);
        kernel.pulse();
        if (error == ENODEV) {
            EXPECT_TRUE(log.waitFor(watcherLeft));
        } else {
            EXPECT_TRUE(waitForExchanges(1));
        }
        shutdown();
    }
    EXPECT_THAT(errors(),
                ElementsAre(lineText + std::string("lost: No such device; no interrupts: the host's packets are "
                                                   "not read until the link is started again")));
}

TEST_F(ChipLine, ReadThatBringsNothingEndsTheWatch) {
    make();
    ASSERT_TRUE(init());
    failNext("read", {Failure::Kind::Nothing, 0});
    kernel.pulse();
    EXPECT_TRUE(log.waitFor(watcherLeft));
    EXPECT_THAT(errors(), SizeIs(1));
}

// --- A second look ---

class SecondLook : public ChipLine {
protected:
    SecondLook() { properties.setInt(GpioSecondLook, 20); }

    /// The host is asked once, and has nothing for that; the reader is done with it.
    void askInVain() {
        kernel.pulse();
        ASSERT_TRUE(log.waitFor("Invalid message received"));
    }
};

TEST_F(SecondLook, LeadsToOneExchangeMoreWhileTheLineIsLow) {
    ASSERT_TRUE(init());
    kernel.setLevel(false);
    askInVain();
    ASSERT_TRUE(waitForExchanges(2));
    EXPECT_EQ(exchangesInAll(), 2U) << "one more, whatever it brings";
    EXPECT_EQ(kernel.timePassed(), std::chrono::microseconds(2 * 3 * 1500 + 20000)) << "the re-reads, and the pause";
}

TEST_F(SecondLook, LeavesAHighLineAlone) {
    ASSERT_TRUE(init());
    askInVain();
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_EQ(exchangesInAll(), 1U);
}

TEST_F(SecondLook, IsNotTakenWithoutTheProperty) {
    properties.setInt(GpioSecondLook, 0);
    make();
    ASSERT_TRUE(init());
    kernel.setLevel(false);
    askInVain();
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_EQ(exchangesInAll(), 1U);
    EXPECT_EQ(kernel.timePassed(), std::chrono::microseconds(3 * 1500));
}

TEST_F(SecondLook, IsNotTakenWhenTheHostAnswers) {
    ASSERT_TRUE(init());
    kernel.setLevel(false);
    hostHas(1);
    kernel.pulse();
    ASSERT_TRUE(waitForExchanges(1));
    EXPECT_EQ(exchangesInAll(), 1U);
}

TEST_F(SecondLook, ThatIsTooLongOrNegativeIsToldAndNotTaken) {
    for (const int impossible : {101, -1}) {
        properties.setInt(GpioSecondLook, impossible);
        log.clear();
        const auto another = underTest([&] { return std::make_unique<I2cPhysicalLayer>(properties); });
        EXPECT_THAT(warnings(), ElementsAre("GpioSecondLook " + std::to_string(impossible) +
                                            " is not possible, none is taken; give 1 to 100 milliseconds"));
    }
}

// The next interrupt is there already, and leads to an exchange of its own.
TEST_F(SecondLook, IsNotTakenWhileInterruptsAreQueued) {
    ASSERT_TRUE(init());
    kernel.setLevel(false);
    kernel.pulse(2);
    ASSERT_TRUE(waitForExchanges(3));
    EXPECT_EQ(exchangesInAll(), 3U) << "the second of the two is looked at";
}

} // namespace
