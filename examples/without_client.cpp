// The same as hostlink-get, with the transport by hand: what the client does for a program, and what it costs without.
//     hostlink-without-client /dev/ttyS1
// Nothing here asks again, or makes a link anew, or tells a late answer from its own.
#include <condition_variable>
#include <iostream>
#include <memory>
#include <mutex>

#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabularyNumbers.h>

int main(int argc, char** argv) {
    const log4cplus::Initializer logging; // one for the whole program; why something failed is in the log alone
    log4cplus::BasicConfigurator(log4cplus::Logger::getDefaultHierarchy(), true).configure(); // true: standard error
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::ERROR_LOG_LEVEL);

    HostLinkPhysicalLayer::Properties port;
    port.setString(DevicePath, argc > 1 ? argv[1] : "/dev/ttyS1");
    port.setInt(UartBaudRate, 115200);
    port.setInt(UartResponseTimeout, 2000); // milliseconds
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("uart", port));

    std::mutex mutex; // guards the answer; both outlive the transport, whose observer uses them
    std::condition_variable came;
    ByteArray answer;
    HostLinkTransportLayer transport(link.get());                        // destroyed before the link
    transport.addMessageReceivedObserver([&](const ByteArray& message) { // on the link's own thread: must not write
        if (HostLinkMessage::messageId(message) != MSG_GetStateResponse) return;
        const std::lock_guard<std::mutex> lock(mutex);
        answer = message;
        came.notify_all();
    });
    if (!link->init()) std::exit(1); // a UART link that never started must not be destroyed

    const auto question = HostLinkUInt16Message(MSG_GetState).addValue(STA_PlayerVolume).serialize();
    if (!transport.writeMessage(question)) return 1; // true: the host's link has accepted every packet
    std::unique_lock<std::mutex> lock(mutex);
    if (!came.wait_for(lock, std::chrono::seconds(3), [&] { return !answer.empty(); })) return 1;
    bool ok = false;
    const HostLinkValueMessage values(answer);
    std::cout << "PlayerVolume is " << int(values.getUint8(0, &ok)) << '\n'; // in this encoding, or not at all
    return ok ? 0 : 1;
}
