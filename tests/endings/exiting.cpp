// exiting LINK WAY MICROSECONDS: a program that ends while its link is alive and busy. "uart" plays its own host at the
// other end of a pseudo terminal; "i2c" and "spi" run in the rig. The ways:
//
//   exit       main calls exit(), link and transport are never destroyed
//   return     main returns, and a log4cplus::Initializer that is its local goes first
//   static     link and transport are destroyed by exit() as static objects
//   appender   exit() is called within a log line of the link's own thread
//   observer   exit() is called by an observer, on the link's own thread
//
// Exit code 7 when all is well. With HOSTLINK_SCHEDULE_SEED in the environment its threads are held up by that seed.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include <poll.h>
#include <unistd.h>

#include <log4cplus/configurator.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkTransportLayer.h>

#include "rig/RigControl.h"
#include "support/Bytes.h"
#include "support/Packets.h"
#include "support/Pause.h"
#include "support/Pty.h"
#include "support/Sanitizers.h"
#include "support/schedule/HostileScheduler.h"
#include "support/schedule/Hunt.h"

// ThreadSanitizer holds exit() up for a second, in which threads may show a race. Here they have been at it before, and
// write on meanwhile as fast as they can: a twentieth is enough.
#if HOSTLINK_THREAD_SANITIZER
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
const char* __tsan_default_options() {
    return "atexit_sleep_ms=50";
}
#endif

namespace {

constexpr int wellEnded = 7;
constexpr size_t packetHeader = 8;

// What the threads of this program share lives until the very end of the process, whatever exit() destroys.
struct Shared {
    std::atomic<bool> exitWhereALinkThreadIs{false};
    std::atomic<bool> exiting{false};
    std::atomic<bool> writerStops{false};
    std::atomic<int> delivered{0};
    std::atomic<int> written{0};
    Pty* pty = nullptr; // these three reachable to the end
    void* stack = nullptr;
    schedule::HostileScheduler* scheduler = nullptr;
};
Shared& shared = *new Shared;

// On the first call that finds the time has come.
void exitIfTold() {
    if (shared.exitWhereALinkThreadIs && !shared.exiting.exchange(true)) std::exit(wellEnded);
}

class ExitingAppender : public log4cplus::Appender {
public:
    ~ExitingAppender() override { destructorImpl(); }
    void close() override { closed = true; }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        if (event.getMessage().find("Received full packet") != std::string::npos ||
            event.getMessage().find("Received packet") != std::string::npos)
            exitIfTold();
    }
};

// Acknowledges each message packet and sends one of its own behind it.
void playHost(int master) {
    ByteArray pending;
    for (;;) {
        pollfd wait{master, POLLIN, 0};
        ::poll(&wait, 1, -1);
        unsigned char chunk[512];
        const ssize_t count = ::read(master, chunk, sizeof chunk);
        if (count > 0) pending.insert(pending.end(), chunk, chunk + count);
        while (pending.size() >= packetHeader) {
            const size_t length = pending[2] + 256U * pending[3];
            if (length < packetHeader || pending.size() < length) break;
            if (length > packetHeader) {
                const ByteArray answer = responseFrame(0xA3, 0) + messageEnd(9, 0, bytes("02 00 01 15 00"));
                if (::write(master, answer.data(), answer.size()) < 0) return;
            }
            pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(length));
        }
    }
}

HostLinkPhysicalLayer* makeLink(const std::string& name) {
    HostLinkPhysicalLayer::Properties properties;
    if (name == "uart") {
        shared.pty = new Pty;
        properties.setString(DevicePath, shared.pty->slavePath());
        properties.setInt(UartBaudRate, 115200);
        properties.setInt(UartResponseTimeout, 10000);
        std::thread(playHost, shared.pty->master()).detach();
    } else {
        // A host that waits for the answer of who has just ended would tell nothing for so long.
        busrig::RigControl().reset();
        const busrig::RigBoard& board = busrig::firstBoard;
        properties.setString(DevicePath, name == "i2c" ? board.i2cPath : board.spiPath);
        properties.setInt(GpioNumber, board.gpio);
        properties.setInt(I2cSlaveAddress, board.i2cAddress);
        properties.setInt(SpiSpeed, 1000000);
    }
    return HostLinkPhysicalLayer::create(name.c_str(), properties);
}

// A link, a transport and a thread that writes message after message.
class Stack {
public:
    explicit Stack(const std::string& name)
        : bus(name != "uart"), link(makeLink(name)), transport(new HostLinkTransportLayer(link.get())) {
        transport->addMessageReceivedObserver([](const ByteArray&) {
            ++shared.delivered;
            if (std::getenv("EXIT_IN_OBSERVER") != nullptr) exitIfTold();
        });
        transport->initTransportLayer();
        if (bus) busrig::RigControl().burst(2000);
        writer = std::thread([this] {
            for (; !shared.writerStops; ++shared.written) transport->writeMessage(bytes("02 00 01 15 00"));
        });
    }
    // In the order that programs are asked to keep.
    ~Stack() {
        shared.writerStops = true;
        writer.join();
        transport->shutdown();
        transport.reset();
        link.reset();
    }

private:
    const bool bus;
    std::unique_ptr<HostLinkPhysicalLayer> link;
    std::unique_ptr<HostLinkTransportLayer> transport;
    std::thread writer;
};

void startLog(bool exitsInAppender) {
    log4cplus::SharedAppenderPtr appender(exitsInAppender ? static_cast<log4cplus::Appender*>(new ExitingAppender)
                                                          : new log4cplus::ConsoleAppender);
    log4cplus::Logger::getRoot().addAppender(appender);
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::TRACE_LOG_LEVEL);
}

// In both directions.
void awaitTraffic() {
    while (shared.delivered < 1 || shared.written < 1) pauseBetweenLooks();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const std::string name = argv[1];
    const std::string way = argv[2];
    const std::chrono::microseconds delay(std::atol(argv[3]));
    if (way == "observer") ::setenv("EXIT_IN_OBSERVER", "1", 1);
    if (const auto seed = schedule::firstSeed()) shared.scheduler = new schedule::HostileScheduler(*seed);

    if (way == "return") {
        const log4cplus::Initializer initializer;
        startLog(false);
        shared.stack = new Stack(name);
        awaitTraffic();
        std::this_thread::sleep_for(delay);
        return wellEnded;
    }
    startLog(way == "appender");
    if (way == "static") {
        static const Stack stack(name);
        awaitTraffic();
        std::this_thread::sleep_for(delay);
        std::exit(wellEnded);
    }
    shared.stack = new Stack(name);
    awaitTraffic();
    std::this_thread::sleep_for(delay);
    if (way == "exit") std::exit(wellEnded);
    shared.exitWhereALinkThreadIs = true;
    for (;;) ::pause();
}
