// A program of somebody else: only installed headers and libraries, and a class of its own whose name a header beside
// them has in the library's sources.
struct MessageStore {
    int messages = 0;
};

#include <cstdio>
#include <memory>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkValueMessage.h>

int main() {
    const std::unique_ptr<HostLinkPhysicalLayer> link(HostLinkPhysicalLayer::create("dummy", {}));
    HostLinkTransportLayer transport(link.get());
    transport.initTransportLayer();
    // SetState, tag 9 (PlayerVolume), Uint8 40: 01 00 01 09 00 CC 28
    const ByteArray message = HostLinkValueMessage(MSG_SetState).addValueUint8(9, 40).serialize();
    MessageStore sentMessages;
    ++sentMessages.messages;
    const bool sent = transport.writeMessage(message); // the dummy link refuses every packet
    transport.shutdown();
    std::printf("%zu bytes, sent: %d\n", message.size(), sent);
    return message.size() == 7 && !sent && sentMessages.messages == 1 ? 0 : 1;
}
