// How the port of a UART link goes, with the serial library of the project: the reader held between the moment when it
// has fetched the port and the port itself, where no lock and no log line could hold it. This program stands in front
// of the calls that the link makes of the serial library.
#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <hostlink/physicalLayers/UartPhysicalLayer.h>
#include <serialcomm/UartEnding.h>

#include "support/LinkThreads.h"
#include "support/MustEnd.h"
#include "support/ProcessWatch.h"
#include "support/Pty.h"
#include "support/Signal.h"

namespace {

constexpr std::chrono::seconds patience{20};

// What happens at the port. The reader is held where it sleeps, as it would inside the port.
struct Door {
    std::atomic<bool> holds{false};
    Signal readerIsThere;
    Signal readerMayEnter;
    Signal portHasEnded;
    std::atomic<bool> portIsGone{false};
    std::atomic<bool> enteredWhatIsGone{false};
};
Door& door() {
    static Door theDoor;
    return theDoor;
}

template <typename Function> Function next(const char* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// The library's own calls, under the names that the linker knows them by. An object pointer is passed as the first
// argument.
#define EXPORTED [[gnu::visibility("default"), gnu::used]]
EXPORTED ByteArray readHeld(Uart* port, unsigned long size, bool* error) __asm__("_ZN4Uart4readEmPb");
EXPORTED void endWatched(Uart* port) __asm__("_Z7uartEndR4Uart");
EXPORTED void destroyWatched(Uart* port) __asm__("_ZN4UartD1Ev");

ByteArray readHeld(Uart* port, unsigned long size, bool* error) {
    if (door().holds) {
        door().readerIsThere.raise();
        door().readerMayEnter.wait(patience);
        if (door().portIsGone) {
            door().enteredWhatIsGone = true;
            *error = true;
            return {};
        }
    }
    return next<ByteArray (*)(Uart*, unsigned long, bool*)>("_ZN4Uart4readEmPb")(port, size, error);
}

void endWatched(Uart* port) {
    next<void (*)(Uart*)>("_Z7uartEndR4Uart")(port);
    door().portHasEnded.raise();
}

void destroyWatched(Uart* port) {
    door().portIsGone = true;
    next<void (*)(Uart*)>("_ZN4UartD1Ev")(port);
}

namespace {

TEST(PortGuard, ReaderOnItsWayInFindsThePortAlive) {
    Pty pty;
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, pty.slavePath());
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, 120000);
    auto link = std::make_unique<UartPhysicalLayer>(properties);
    door().holds = true;
    ASSERT_TRUE(link->init());
    ASSERT_TRUE(door().readerIsThere.wait(patience));

    std::promise<pid_t> destroyer;
    std::future<void> going = std::async(std::launch::async, [&] {
        destroyer.set_value(currentThread());
        link.reset();
    });
    const pid_t thread = destroyer.get_future().get();
    EXPECT_TRUE(door().portHasEnded.wait(patience));
    // From here on the destructor waits for the reader, or goes on and takes the port away.
    mustBecomeTrue([&] { return door().portIsGone || sleepsOnFutex(thread); }, "the destructor waits or is through");
    EXPECT_FALSE(door().portIsGone);
    door().readerMayEnter.raise();
    mustEnd(going, "destroying the link");
    EXPECT_TRUE(door().portIsGone);
    EXPECT_FALSE(door().enteredWhatIsGone);
}

} // namespace
