// exit_under_traffic LINK DEVICE SEED: a program that ends while its link is at work: a reader that delivers, a writer
// that writes, a log that takes everything from DEBUG up. It says "ended" and exits with 0, or dies of what it did.
//
// The moment follows from SEED. With HOSTLINK_SCHEDULE_SEED in the environment its threads are held up by that seed.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <random>
#include <string>
#include <thread>

#include <log4cplus/configurator.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkTransportLayer.h>

#include "support/schedule/HostileScheduler.h"
#include "support/schedule/Hunt.h"

namespace {

constexpr std::chrono::seconds patience{20};
constexpr int baudRate = 115200;
constexpr int gpio = 17;
constexpr int slaveAddress = 0x42;

HostLinkPhysicalLayer::Properties propertiesOf(const std::string& device) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, device);
    properties.setInt(UartBaudRate, baudRate);
    properties.setInt(UartResponseTimeout, 1000);
    properties.setInt(GpioNumber, gpio);
    properties.setInt(I2cSlaveAddress, slaveAddress);
    properties.setInt(SpiSpeed, 1000000);
    return properties;
}

void logEverythingToNowhere() {
    log4cplus::initialize();
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::FileAppender("/dev/null", std::ios_base::app)));
    root.setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
}

// Nothing of it is ever destroyed: that is the point.
schedule::HostileScheduler* scheduler; // to the very end
struct Traffic {
    HostLinkPhysicalLayer* link;
    HostLinkTransportLayer* transport;
    std::atomic<bool> delivered{false};
    std::promise<void> firstDelivery;
};
Traffic* traffic; // keeps it all in the sight of leak checkers

bool startTraffic(const char* name, const std::string& device) {
    traffic = new Traffic;
    traffic->link = HostLinkPhysicalLayer::create(name, propertiesOf(device));
    traffic->transport = new HostLinkTransportLayer(traffic->link);
    traffic->transport->addMessageReceivedObserver([all = traffic](const ByteArray& /*message*/) {
        if (!all->delivered.exchange(true)) all->firstDelivery.set_value();
    });
    traffic->transport->initTransportLayer();
    std::thread([all = traffic] {
        for (;;) all->transport->writeMessage({0x3F, 0x80, 0});
    }).detach();
    return traffic->firstDelivery.get_future().wait_for(patience) == std::future_status::ready;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    std::mt19937 generator(static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)));
    if (const auto seed = schedule::firstSeed()) scheduler = new schedule::HostileScheduler(*seed);
    logEverythingToNowhere();
    if (!startTraffic(argv[1], argv[2])) return 3;
    std::this_thread::sleep_for(std::chrono::microseconds(generator() % 20000));
    std::cout << "ended" << std::endl;
    if (generator() % 2 == 0) std::exit(0);
    return 0;
}
