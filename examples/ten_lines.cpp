// hostlink-ten-lines: sets the volume on the host and prints what the host says, until Enter is pressed.
#include <cstdlib>
#include <iostream>
#include <memory>

#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>

#include <hostlink/HostLinkPrinter.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabulary.h>
#include <hostlink/physicalLayers/UartPhysicalLayer.h>

int main(int, char** argv) {
    const log4cplus::Initializer logging; // one for the whole program
    log4cplus::BasicConfigurator::doConfigure();

    HostLinkPhysicalLayer::Properties port;
    port.setString(DevicePath, argv[1] != nullptr ? argv[1] : "/dev/ttyS1");
    port.setInt(UartBaudRate, 115200);
    port.setInt(UartResponseTimeout, 500); // milliseconds
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("uart", port));
    HostLinkTransportLayer transport(link.get());
    transport.addMessageReceivedObserver(
        [](const ByteArray& m) { std::cout << HostLinkPrinter::printHostLinkMessage(m); });
    if (!link->init()) std::exit(1); // the log says why
    if (!transport.writeMessage(HostLinkValueMessage(MSG_SetState).addValueUint8(STA_PlayerVolume, 30).serialize()))
        return 1;
    std::cin.get(); // messages arrive on the link's own thread
    return 0;
}
