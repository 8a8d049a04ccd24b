// What a bus link does and says when the files of its interrupt line refuse.
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <hostlink/physicalLayers/I2cPhysicalLayer.h>

#include "FaultTest.h"
#include "PlayedBoard.h"
#include "support/ProcessWatch.h"

using namespace sweep;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const auto never = hours(1);

// By number, the order in which a link opens and writes the files.
enum File : std::size_t { Export = 1, Direction, Edge, Value };

std::string noExport(const std::string& reason) {
    return "Gpio 17: could not be exported: " + reason + "; harmless: it is there already";
}
std::string noDirection(const std::string& reason) {
    return "Gpio 17: direction could not be set to in: " + reason +
           "; harmless: it is an input, or its edge could not have been set";
}
std::string noEdge(const std::string& reason) {
    return "Gpio 17: edge could not be set to falling: " + reason +
           "; the link is deaf, the host's packets are not read until /sys/class/gpio/gpio17/edge says falling";
}
std::string noValue(const std::string& reason) {
    return "Gpio 17: its level cannot be read: " + reason + "; the link cannot start";
}

class BusLinkLine : public FaultTest<PlayedBoard> {
protected:
    BusLinkLine() : FaultTest("HostLinkPhysicalLayer") {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, PlayedBoard::i2cPath);
        properties.setInt(GpioNumber, PlayedBoard::gpio);
        properties.setInt(I2cSlaveAddress, 0x42);
        underTest([&] { link = std::make_unique<I2cPhysicalLayer>(properties); });
        log.clear();
    }
    ~BusLinkLine() override {
        underTest([this] { link.reset(); });
    }

    bool init() {
        return underTest([this] { return link->init(); });
    }
    std::vector<std::string> complaints() const { return log.texts(log4cplus::WARN_LOG_LEVEL); }
    void expectSetUp() const {
        EXPECT_EQ(kernel.content("export"), "17");
        EXPECT_EQ(kernel.content("direction"), "in");
        EXPECT_EQ(kernel.content("edge"), "falling");
    }

    std::unique_ptr<SyncSerialLayer> link;
};

// --- Files that are given to the user's group a moment after the export ---

TEST_F(BusLinkLine, FilesThatComeLateAreWaitedFor) {
    kernel.giveAccessAfter("direction", milliseconds(300));
    kernel.giveAccessAfter("edge", milliseconds(600));
    kernel.giveAccessAfter("value", milliseconds(990));
    EXPECT_TRUE(init());
    EXPECT_THAT(complaints(), IsEmpty());
    expectSetUp();
    EXPECT_LT(kernel.timePassed(), seconds(1));
}

TEST_F(BusLinkLine, NothingIsWaitedForWhenNothingIsRefused) {
    EXPECT_TRUE(init());
    EXPECT_EQ(kernel.timePassed(), seconds(0));
}

TEST_F(BusLinkLine, DirectionThatStaysClosedIsReportedAfterASecond) {
    kernel.giveAccessAfter("direction", never);
    EXPECT_TRUE(init());
    EXPECT_THAT(complaints(), ElementsAre("Gpio direction failed: 17", noDirection("Permission denied")));
    EXPECT_EQ(kernel.content("edge"), "falling");
    EXPECT_EQ(kernel.timePassed(), seconds(1));
}

TEST_F(BusLinkLine, EdgeThatStaysClosedIsReportedWithWhatItMeans) {
    kernel.giveAccessAfter("edge", never);
    EXPECT_TRUE(init());
    EXPECT_THAT(log.texts(log4cplus::WARN_LOG_LEVEL), ElementsAre("Gpio edge failed: 17", noEdge("Permission denied")));
    EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL, "Gpio edge failed: 17"));
    EXPECT_TRUE(log.contains(log4cplus::WARN_LOG_LEVEL, noEdge("Permission denied")));
    EXPECT_EQ(kernel.timePassed(), seconds(1));
}

TEST_F(BusLinkLine, ValueThatStaysClosedFailsInitAfterASecond) {
    const auto open = openDescriptors();
    kernel.giveAccessAfter("value", never);
    EXPECT_FALSE(init());
    EXPECT_THAT(complaints(), ElementsAre("Open failed: 17", noValue("Permission denied")));
    EXPECT_EQ(kernel.timePassed(), seconds(1));
    EXPECT_EQ(openDescriptors(), open);
}

TEST_F(BusLinkLine, AllFilesTogetherAreWaitedForASecond) {
    for (const char* file : {"direction", "edge", "value"}) kernel.giveAccessAfter(file, never);
    EXPECT_FALSE(init());
    EXPECT_THAT(complaints(), ElementsAre("Gpio direction failed: 17", "Gpio edge failed: 17", "Open failed: 17",
                                          noValue("Permission denied")));
    EXPECT_EQ(kernel.timePassed(), seconds(1));
}

TEST_F(BusLinkLine, AnotherInitWaitsAgain) {
    kernel.giveAccessAfter("value", milliseconds(1500));
    EXPECT_FALSE(init());
    EXPECT_TRUE(init());
    EXPECT_EQ(kernel.timePassed(), milliseconds(1500));
}

TEST_F(BusLinkLine, FilesThatAreMissingAreNotWaitedFor) {
    for (const File file : {Direction, Edge, Value}) {
        failNext("open", ENOENT, file);
        EXPECT_EQ(init(), file != Value);
        underTest([this] { link->shutdown(); });
    }
    EXPECT_EQ(kernel.timePassed(), seconds(0));
}

// It is not the export that changes whose file it is.
TEST_F(BusLinkLine, ExportThatMayNotBeOpenedIsNotWaitedFor) {
    failNext("open", EACCES, Export);
    EXPECT_TRUE(init());
    EXPECT_THAT(complaints(), ElementsAre("Gpio export failed: 17", noExport("Permission denied")));
    EXPECT_EQ(kernel.timePassed(), seconds(0));
}

// --- Values that the kernel refuses ---

TEST_F(BusLinkLine, LineThatIsExportedAlreadyIsNothingToWorryAbout) {
    failNext("write", EBUSY, Export);
    EXPECT_TRUE(init());
    EXPECT_THAT(complaints(), IsEmpty());
    EXPECT_TRUE(log.contains(log4cplus::DEBUG_LOG_LEVEL, "Writing 17 to /sys/class/gpio/export: "
                                                         "Device or resource busy"));
}

TEST_F(BusLinkLine, ExportThatIsRefusedIsToldWithWhatItMeans) {
    failNext("write", EPERM, Export);
    EXPECT_TRUE(init());
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_THAT(complaints(), ElementsAre(noExport("Operation not permitted")));
}

TEST_F(BusLinkLine, DirectionThatIsRefusedIsToldWithWhatItMeans) {
    failNext("write", EIO, Direction);
    EXPECT_TRUE(init());
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_THAT(complaints(), ElementsAre(noDirection("Input/output error")));
    EXPECT_EQ(kernel.content("edge"), "falling");
}

TEST_F(BusLinkLine, EdgeThatIsRefusedIsToldWithWhatItMeans) {
    failNext("write", EBUSY, Edge);
    EXPECT_TRUE(init());
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_THAT(complaints(), ElementsAre(noEdge("Device or resource busy")));
}

// --- Lines that are not there ---

TEST_F(BusLinkLine, LineThatAnotherHoldsIsToldToBeHeld) {
    for (const char* file : {"direction", "edge", "value"}) std::filesystem::remove(kernel.lineFiles() / file);
    failNext("write", EBUSY, Export);
    EXPECT_FALSE(init());
    EXPECT_THAT(complaints(),
                ElementsAre("Gpio direction failed: 17", "Gpio edge failed: 17", "Open failed: 17",
                            "Gpio 17: a driver or another program holds the line (gpioinfo names it): it cannot be "
                            "exported, and the link cannot start until it is free"));
}

TEST_F(BusLinkLine, LineThatCannotBeExportedIsToldWithTheReason) {
    for (const char* file : {"direction", "edge", "value"}) std::filesystem::remove(kernel.lineFiles() / file);
    failNext("write", EINVAL, Export);
    EXPECT_FALSE(init());
    EXPECT_EQ(complaints().back(), "Gpio 17: could not be exported: Invalid argument (no controller has a line of this "
                                   "number); the link cannot start until it is");
    failNext("open", ENOENT, Export);
    EXPECT_FALSE(init());
    EXPECT_EQ(complaints().back(), "Gpio 17: could not be exported: No such file or directory (a kernel without sysfs "
                                   "GPIO? GpioChip needs none); the link cannot start until it is");
}

TEST_F(BusLinkLine, LineThatIsMissingAfterItsExportIsNotSaidToBeHeld) {
    std::filesystem::remove(kernel.lineFiles() / "value");
    EXPECT_FALSE(init());
    EXPECT_THAT(complaints(), ElementsAre("Open failed: 17", noValue("No such file or directory")));
}

TEST_F(BusLinkLine, LineWithoutAnEdgeIsToldToBeDeaf) {
    std::filesystem::remove(kernel.lineFiles() / "edge");
    EXPECT_TRUE(init());
    EXPECT_THAT(complaints(),
                ElementsAre("Gpio edge failed: 17",
                            "Gpio 17: edge could not be set to falling: No such file or directory; its controller "
                            "cannot interrupt: the link is deaf, the host's packets are not read"));
}

TEST_F(BusLinkLine, LineWithoutADirectionMayHaveOneAlready) {
    std::filesystem::remove(kernel.lineFiles() / "direction");
    EXPECT_TRUE(init());
    EXPECT_THAT(complaints(), ElementsAre("Gpio direction failed: 17", noDirection("No such file or directory")));
    EXPECT_EQ(kernel.content("edge"), "falling");
}

TEST_F(BusLinkLine, LineWithoutBothIsToldInOneLine) {
    for (const char* file : {"direction", "edge"}) std::filesystem::remove(kernel.lineFiles() / file);
    EXPECT_TRUE(init());
    EXPECT_THAT(complaints(),
                ElementsAre("Gpio direction failed: 17", "Gpio edge failed: 17",
                            "Gpio 17: edge could not be set to falling: No such file or directory; its controller "
                            "cannot interrupt: the link is deaf, the host's packets are not read"));
}

// A file of the line takes its value whole.
TEST_F(BusLinkLine, EdgeThatIsTakenInPartIsToldToo) {
    failNext("write", {Failure::Kind::Half, 0}, Edge);
    EXPECT_TRUE(init());
    EXPECT_THAT(complaints(), ElementsAre(noEdge("Input/output error")));
}

} // namespace
