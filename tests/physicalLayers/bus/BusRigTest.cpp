#include "BusRigTest.h"

#include <algorithm>
#include <exception>
#include <iostream>

HostLinkPhysicalLayer::Properties propertiesOf(Wire wire, const busrig::RigBoard& board) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, devicePathOf(wire, board));
    properties.setInt(GpioNumber, board.gpio);
    if (wire == Wire::I2c) properties.setInt(I2cSlaveAddress, board.i2cAddress);
    if (wire == Wire::Spi) properties.setInt(SpiSpeed, 1000000);
    return properties;
}

void Received::add(ByteArray bytes) {
    {
        const std::lock_guard lock(mutex);
        received.push_back(std::move(bytes));
    }
    grown.notify_all();
}

std::vector<ByteArray> Received::all() const {
    const std::lock_guard lock(mutex);
    return received;
}

size_t Received::count() const {
    const std::lock_guard lock(mutex);
    return received.size();
}

bool Received::waitForCount(size_t minimum) const {
    std::unique_lock lock(mutex);
    return grown.wait_for(lock, patience, [&] { return received.size() >= minimum; });
}

bool Received::waitFor(const ByteArray& bytes) const {
    std::unique_lock lock(mutex);
    return grown.wait_for(lock, patience,
                          [&] { return std::find(received.begin(), received.end(), bytes) != received.end(); });
}

// What the link said, and how often the host has asked, tell apart what the test alone cannot.
BusRigTest::~BusRigTest() {
    if (!HasFailure()) return;
    for (const LogLine& line : log.lines()) std::cout << testing::PrintToString(line) << '\n';
    try {
        std::cout << "interrupts " << rig.count("interrupts") << ", edges " << rig.count("edges") << std::endl;
    } catch (const std::exception& reason) {
        std::cout << "the rig: " << reason.what() << std::endl;
    }
}

void BusRigTest::make(const HostLinkPhysicalLayer::Properties& all) {
    link.reset();
    link.reset(dynamic_cast<SyncSerialLayer*>(HostLinkPhysicalLayer::create(nameOf(GetParam()).c_str(), all)));
    ASSERT_TRUE(link);
    link->addDataReceivedObserver([this](ByteArray packet) { delivered.add(std::move(packet)); });
}

void BusRigTest::start(const HostLinkPhysicalLayer::Properties& all) {
    ASSERT_NO_FATAL_FAILURE(make(all));
    ASSERT_TRUE(link->serialOk());
    ASSERT_NO_FATAL_FAILURE(init());
}

void BusRigTest::init() {
    ASSERT_TRUE(link->init());
    ASSERT_NE(linkThreads.polling(), -1);
}

void BusRigTest::startManual() {
    rig.slaveManual();
    ASSERT_NO_FATAL_FAILURE(start());
}

void BusRigTest::edge() {
    ASSERT_NE(linkThreads.polling(), -1);
    rig.line(gpio, false);
    ASSERT_TRUE(log.waitFor("IRQ GPIO falling edge (rdbuf = 0)", ++edges));
    ASSERT_NE(linkThreads.polling(), -1); // it logs the edge before it queues it, and waits for the next one after
    rig.line(gpio, true);
}

// An exchange of several rounds is logged as calls that are nested: it has ended when each entry has its exit.
bool BusRigTest::waitForExchanges(size_t count) const {
    static const std::string name = dbglog_scopedFunction("void SyncSerialLayer::readFromSlave(int)", linkLogger);
    return log.waitUntil([count](const std::vector<LogLine>& lines) {
        size_t ended = 0;
        int depth = 0;
        for (const LogLine& line : lines) {
            if (line.text.find(name) == std::string::npos) continue;
            depth += line.text.compare(0, 6, "Enter ") == 0 ? 1 : -1;
            ended += depth == 0 ? 1U : 0U;
        }
        return ended >= count;
    });
}

std::vector<std::string> BusRigTest::busTexts() {
    std::vector<std::string> texts;
    const std::string prefix = nameOf(GetParam()) + " ";
    for (const std::string& entry : rig.busLog()) {
        EXPECT_EQ(entry.compare(0, prefix.size(), prefix), 0) << entry;
        texts.push_back(entry.substr(prefix.size()));
    }
    return texts;
}

size_t BusRigTest::irqFrames() {
    const std::vector<std::string> texts = busTexts();
    return static_cast<size_t>(std::count_if(
        texts.begin(), texts.end(), [](const std::string& text) { return text.compare(0, 12, "w fffe0e0022") == 0; }));
}
