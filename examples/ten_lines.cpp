// hostlink-ten-lines [DEVICE]: sets the volume on the host and prints what the host says, until Enter is pressed.
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabulary.h>

namespace {

// The exit code when the program is to end at once.
std::optional<int> readArguments(int argc, char** argv) {
    constexpr char usage[] =
        "usage: hostlink-ten-lines [DEVICE]\n"
        "Sets the volume on the host at this serial port (/dev/ttyS1) and prints what the host says, "
        "until Enter is pressed.\n";
    const std::string argument = argc > 1 ? argv[1] : "";
    if (argument == "--help" || argument == "-h") {
        std::cout << usage;
        return 0;
    }
    if (argc <= 2 && argument.rfind('-', 0) != 0) return std::nullopt;
    std::cerr << usage;
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    if (const auto exitCode = readArguments(argc, argv)) return *exitCode;
    const log4cplus::Initializer logging; // one for the whole program
    log4cplus::BasicConfigurator::doConfigure();
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::WARN_LOG_LEVEL);

    HostLinkPhysicalLayer::Properties port;
    port.setString(DevicePath, argc > 1 ? argv[1] : "/dev/ttyS1");
    port.setInt(UartBaudRate, 115200);
    port.setInt(UartResponseTimeout, 500); // milliseconds
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("uart", port));
    HostLinkTransportLayer transport(link.get());
    transport.addMessageReceivedObserver([](const ByteArray& message) {
        std::cout << HostLinkPrinter::printHostLinkMessage(message) << std::flush; // on the link's own thread
    });
    if (!link->init()) std::exit(1); // the log says why; a UART link that never started must not be destroyed
    const auto setVolume = HostLinkValueMessage(MSG_SetState).addValueUint8(STA_PlayerVolume, 30);
    if (!transport.writeMessage(setVolume.serialize())) return 1;
    std::cin.get();
    return 0;
}
