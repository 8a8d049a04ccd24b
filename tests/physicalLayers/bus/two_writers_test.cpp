// Two writers at once on one link: what the host puts together is what they have written.
#include <algorithm>
#include <future>
#include <iterator>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostsim/wire/WireJournal.h>

#include "BusRigTest.h"
#include "support/schedule/HostileScheduler.h"

using faultywire::Entry;
using faultywire::EntryKind;
using testing::Contains;
using testing::IsSupersetOf;
using testing::Not;

namespace {

constexpr size_t packetsOfLong = 40;
constexpr size_t payload = 64 - 10; // bytes of a packet of the usual size that carry the message
constexpr int messagesOfShort = 6;
constexpr unsigned eventsOfHost = 5;

// No LogCapture here: it would order the writers one after another.
class BusTwoWriters : public testing::TestWithParam<Wire> {
protected:
    void SetUp() override {
        rig.reset();
        rig.command("host-options repeatWindowMs=5000");
        // A refused packet leaves the bus to others for 10 ms; one in a hundred and twenty is refused four times.
        rig.command("wire nack=0.3,seed=" + std::to_string(schedule::HostileScheduler::seed()));
        rig.command("journal");
        link.reset(HostLinkPhysicalLayer::create(nameOf(GetParam()).c_str(), propertiesOf(GetParam())));
        transport = std::make_unique<HostLinkTransportLayer>(link.get());
        transport->initTransportLayer();
    }
    void TearDown() override {
        transport->shutdown();
        transport.reset();
        link.reset();
    }

    /// All ids but one, so that the next one is that of the message under way, unless somebody else draws as well.
    void drawAlmostAllIds() {
        for (int i = 0; i < 255; ++i) link->nextFrameId();
    }

    busrig::RigControl rig;
    std::unique_ptr<HostLinkPhysicalLayer> link;
    std::unique_ptr<HostLinkTransportLayer> transport;
};

OVER_BOTH_WIRES(BusTwoWriters);

// A response that the host does not answer, told apart by `mark`, which no other byte of it has.
ByteArray message(unsigned char mark, size_t size) {
    ByteArray bytes(size, mark);
    std::copy_n(std::begin({0x3F, 0x80, 0x00}), 3, bytes.begin());
    return bytes;
}

bool isMessagePacket(const Entry& entry) {
    return entry.kind == EntryKind::ToHost && HostLinkPacket::frameType(entry.sent) == FRT_Message;
}

bool isOf(const ByteArray& packet, unsigned char mark) {
    return packet.at(packet.size() - 3) == mark; // two zero bytes stand behind the payload
}

/// The frame ids of the packets that others have written between the first packet with this mark and the last.
std::vector<int> idsMeanwhile(const std::vector<Entry>& journal, unsigned char mark) {
    const auto isLong = [&](const Entry& entry) { return isMessagePacket(entry) && isOf(entry.sent, mark); };
    const auto first = std::find_if(journal.begin(), journal.end(), isLong);
    const auto last = std::find_if(journal.rbegin(), std::make_reverse_iterator(first), isLong).base();
    std::vector<int> ids;
    for (auto entry = first; entry != last; ++entry)
        if (isMessagePacket(*entry) && !isLong(*entry)) ids.push_back(HostLinkPacket::frameId(entry->sent));
    return ids;
}

int idOf(const std::vector<Entry>& journal, unsigned char mark) {
    for (const Entry& entry : journal)
        if (isMessagePacket(entry) && isOf(entry.sent, mark)) return HostLinkPacket::frameId(entry.sent);
    return -1;
}

/// What the host has put together.
std::vector<ByteArray> received(const std::vector<Entry>& journal) {
    std::vector<ByteArray> messages;
    for (const Entry& entry : journal)
        if (entry.kind == EntryKind::HostReceived) messages.push_back(entry.sent);
    return messages;
}

TEST_P(BusTwoWriters, IdOfAMessageUnderWayIsNotDrawnAgain) {
    constexpr unsigned char longMark = 'l';
    std::vector<ByteArray> written{message(longMark, packetsOfLong * payload)};
    auto longOne = std::async(std::launch::async, [&, all = written.front()] { return transport->writeMessage(all); });
    ASSERT_TRUE(rig.waitForCount("transactions", 2));
    drawAlmostAllIds();
    rig.burst(eventsOfHost); // the link's own frames draw as well
    std::vector<ByteArray> confirmed;
    for (unsigned char mark = 0; mark < messagesOfShort; ++mark) {
        written.push_back(message(mark, 10));
        if (transport->writeMessage(written.back())) confirmed.push_back(written.back());
    }
    if (longOne.get()) confirmed.push_back(written.front());

    const std::vector<Entry> journal = faultywire::entriesFromText(rig.command("journal"));
    EXPECT_THAT(idsMeanwhile(journal, longMark), Not(Contains(idOf(journal, longMark))));
    EXPECT_THAT(written, IsSupersetOf(received(journal))); // each once, and nothing that nobody has written
    EXPECT_THAT(received(journal), IsSupersetOf(confirmed));
    EXPECT_FALSE(confirmed.empty());
}

} // namespace
