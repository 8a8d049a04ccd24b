// A recorder above a serial library that cannot be looked on at, as a product may have one.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include <capture/PcapngReader.h>
#include <hostlinkclient/Recorder.h>
#include <hostlinkclient/Wire.h>

#include "hostlinkclient/session/LinkRecording.h"
#include "hostlinkclient/session/SerialRecording.h"
#include "support/Bytes.h"

TEST(RecorderAboveAnotherLibrary, TakesThePacketsOfTheLinkAndSaysSo) {
    ASSERT_FALSE(hostlink::canRecordSerialCalls());
    const auto path = std::filesystem::temp_directory_path() / ("other-" + std::to_string(::getpid()) + ".pcapng");
    {
        const hostlink::Wire wire(hostlink::Uart{"/dev/ttyS1"});
        const hostlink::LinkRecording link(hostlink::Recorder(hostlink::RecordingFile{path}), wire.inside());
        link.packetOut(bytes("FF FE 08"));
        link.verdict(Accepted);
        link.packetIn(bytes("FF FE 0F"));
    }
    std::ifstream file(path, std::ios::binary);
    const ByteArray content(std::istreambuf_iterator<char>(file), {});
    std::filesystem::remove(path);
    capture::PcapngReader reader;
    reader.append(content.data(), content.size());
    const auto out = reader.next();
    const auto verdict = reader.next();
    const auto in = reader.next();
    ASSERT_TRUE(out && verdict && in && !reader.next());
    EXPECT_EQ(reader.interfaces().at(0).name, "/dev/ttyS1");
    EXPECT_EQ(reader.interfaces().at(0).description, "uart packets, as the link has them");
    EXPECT_EQ(hex(out->bytes), "FF FE 08");
    EXPECT_EQ(verdict->comments, std::vector<std::string>{"verdict Accepted"});
    EXPECT_EQ(hex(in->bytes), "FF FE 0F");
}
