// The transport over a link that the input plays: packets in any order, and every answer to what it sends.
#include <deque>
#include <vector>

#include <hostlink/HostLinkTransportLayer.h>

#include "support/ExpectedTraffic.h"
#include "support/FakeLink.h"
#include "support/Input.h"
#include "support/Logging.h"
#include "support/Replies.h"
#include "support/Require.h"
#include "support/SkippedSleeps.h"

namespace {

class Conversation {
public:
    explicit Conversation(size_t payloadRoom)
        : room(payloadRoom), link(FakeLink::packetSize(static_cast<int>(payloadRoom + 10))), transport(&link) {
        for (std::vector<ByteArray>* list : {&delivered, &deliveredAgain})
            transport.addMessageReceivedObserver([list](const ByteArray& message) { list->push_back(message); });
        takeSkippedSleep();
    }

    void receive(Input& input) {
        const ByteArray packet = replyFrom(input);
        link.deliver(packet);
        expected.take(packet);
        require(delivered == expected.messages, "messages are the payloads of their frame in order of arrival");
        require(deliveredAgain == expected.messages, "every observer has every message");
    }

    void send(Input& input) {
        const unsigned answers = input.byte();
        std::deque<WriteDataResponse> script;
        for (unsigned i = 0; i < answers % 16; ++i) script.push_back(static_cast<WriteDataResponse>(input.below(4)));
        const ByteArray message = input.bytes(answers);
        const ExpectedSending sending(message, room, static_cast<unsigned>(link.frameId),
                                      [&script, next = size_t{0}](const ByteArray&) mutable {
                                          return next < script.size() ? script[next++] : Accepted;
                                      });
        const size_t before = link.written().size();
        link.answers = script;
        require(transport.writeMessage(message) == sending.success, "a message is sent when each packet is accepted");
        link.answers.clear();
        const std::vector<ByteArray> written = link.written();
        require(std::vector<ByteArray>(written.begin() + static_cast<std::ptrdiff_t>(before), written.end()) ==
                    sending.written,
                "packets carry slices of the message, those that are rejected up to four times");
        require(takeSkippedSleep() == sending.waited, "10 ms lie between two attempts");
    }

private:
    size_t room;
    FakeLink link;
    HostLinkTransportLayer transport;
    ExpectedMessages expected;
    std::vector<ByteArray> delivered;
    std::vector<ByteArray> deliveredAgain;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    formatLog(input.below(4) == 3);
    Conversation conversation(1 + input.below(256));
    for (int step = 0; step < 64 && !input.empty(); ++step) {
        if (input.below(4) == 3) {
            conversation.send(input);
        } else {
            conversation.receive(input);
        }
    }
    return 0;
}
