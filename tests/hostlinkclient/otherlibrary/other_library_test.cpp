// A recorder above a serial library that cannot be looked on at, as a product may have one; and one without memory.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include <capture/PcapngReader.h>
#include <hostlinkclient/Recorder.h>
#include <hostlinkclient/Wire.h>

#include "hostlinkclient/session/LinkRecording.h"
#include "hostlinkclient/session/RecorderRun.h"
#include "hostlinkclient/session/SerialRecording.h"
#include "support/Bytes.h"
#include "sweep/Allocations.h"

namespace {

std::filesystem::path fileOfThisTest() {
    return std::filesystem::temp_directory_path() / ("other-" + std::to_string(::getpid()) + ".pcapng");
}

std::vector<capture::Packet> packetsOf(capture::PcapngReader& reader) {
    std::ifstream file(fileOfThisTest(), std::ios::binary);
    const ByteArray content(std::istreambuf_iterator<char>(file), {});
    std::filesystem::remove(fileOfThisTest());
    reader.append(content.data(), content.size());
    std::vector<capture::Packet> packets;
    while (const auto packet = reader.next()) packets.push_back(*packet);
    return packets;
}

} // namespace

TEST(RecorderAboveAnotherLibrary, TakesThePacketsOfTheLinkAndSaysSo) {
    ASSERT_FALSE(hostlink::canRecordSerialCalls());
    {
        const hostlink::Wire wire(hostlink::Uart{"/dev/ttyS1"});
        const hostlink::LinkRecording link(hostlink::Recorder(hostlink::RecordingFile{fileOfThisTest()}),
                                           wire.inside());
        link.packetOut(bytes("FF FE 08"));
        link.verdict(Accepted);
        link.packetIn(bytes("FF FE 0F"));
    }
    capture::PcapngReader reader;
    const auto packets = packetsOf(reader);
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(reader.interfaces().at(0).name, "/dev/ttyS1");
    EXPECT_EQ(reader.interfaces().at(0).description, "uart packets, as the link has them");
    EXPECT_EQ(hex(packets[0].bytes), "FF FE 08");
    EXPECT_EQ(packets[1].comments, std::vector<std::string>{"verdict Accepted"});
    EXPECT_EQ(hex(packets[2].bytes), "FF FE 0F");
}

// Each allocation fails in turn, until none does.
TEST(RecorderWithoutMemory, LeavesOutThePieceOfANewWireAndKeepsItsNumbers) {
    unsigned failures = 0;
    {
        const hostlink::Recorder recorder(hostlink::RecordingFile{fileOfThisTest()});
        const ByteArray content = bytes("01");
        const hostlink::RecordedPiece piece{"uart",
                                            capture::Form::Pieces,
                                            "/dev/serial/by-id/a-name-that-no-string-holds-without-memory",
                                            "",
                                            capture::Direction::Inbound,
                                            content.data(),
                                            content.size()};
        for (bool failed = true; failed && failures < 100;) {
            const sweep::Allocations memory(failures + 1);
            recorder.run()->record(piece);
            failed = recorder.lost() > failures;
            failures += failed ? 1 : 0;
        }
    }
    EXPECT_GE(failures, 4u); // two texts at least, and two lists
    capture::PcapngReader reader;
    const auto packets = packetsOf(reader);
    EXPECT_EQ(reader.interfaces().size(), 1u);
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[0].comments,
              std::vector<std::string>{std::to_string(failures) + " pieces before this were not recorded"});
    EXPECT_EQ(hex(packets[1].bytes), "01");
}
