// What a recorder writes, read back. Whether other programs can read it, tests/system/recording_test.py asks.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <sys/file.h>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <capture/PcapngReader.h>
#include <capture/RecordedWire.h>
#include <capture/RingName.h>
#include <descriptor/Descriptor.h>
#include <hostlinkclient/Client.h>
#include <hostlinkclient/Recorder.h>
#include <serialcomm/Uart.h>

#include "PlayedHost.h"
#include "QuickOptions.h"
#include "hostlinkclient/session/LinkRecording.h"
#include "hostlinkclient/session/RecorderRun.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"
#include "support/Pty.h"

using capture::Direction;
using hostlink::Recorder;
using hostlink::RecordingFile;
using hostlink::RecordingRing;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace {

struct Recording {
    std::vector<capture::Interface> interfaces{};
    std::vector<capture::Packet> packets{};
    std::string problem{};
    size_t waiting = 0;
};

Recording readRecording(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    const ByteArray content(std::istreambuf_iterator<char>(file), {});
    capture::PcapngReader reader;
    reader.append(content.data(), content.size());
    Recording recording;
    while (auto packet = reader.next()) recording.packets.push_back(*packet);
    recording.interfaces = reader.interfaces();
    recording.problem = reader.problem();
    recording.waiting = reader.waiting();
    return recording;
}

// "out FF FE", "in 01", "in verdict Accepted"
std::vector<std::string> linesOf(const Recording& recording, const std::string& description = "") {
    std::vector<std::string> lines;
    for (const capture::Packet& packet : recording.packets) {
        if (recording.interfaces[packet.interface].description.find(description) == std::string::npos) continue;
        std::string line = packet.direction == Direction::Outbound  ? "out"
                           : packet.direction == Direction::Inbound ? "in"
                                                                    : "?";
        if (!packet.bytes.empty()) line += " " + hex(packet.bytes);
        for (const std::string& comment : packet.comments) line += " " + comment;
        lines.push_back(line);
    }
    return lines;
}

class ARecorder : public testing::Test {
protected:
    ARecorder() {
        std::string name = (fs::temp_directory_path() / "recorder-XXXXXX").string();
        folder = ::mkdtemp(name.data());
    }
    ~ARecorder() override { fs::remove_all(folder); }

    fs::path path(const std::string& name) const { return folder / name; }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    uint64_t bytesInFolder() const {
        uint64_t bytes = 0;
        for (const auto& entry : fs::directory_iterator(folder)) bytes += entry.file_size();
        return bytes;
    }
    static void record(const Recorder& recorder, const ByteArray& bytes) {
        recorder.run()->record(
            {"uart", capture::Form::Pieces, "/dev/x", "", Direction::Inbound, bytes.data(), bytes.size()});
    }

    fs::path folder;
};

} // namespace

TEST_F(ARecorder, TakesTheBytesOfASerialLineBothWays) {
    Pty line;
    const Recorder recorder(RecordingFile{path("one.pcapng")});
    EXPECT_EQ(recorder.problem(), "");
    EXPECT_EQ(recorder.file(), path("one.pcapng"));
    Uart port(line.slavePath(), 115200, 0, "none", true);
    ASSERT_TRUE(port.init());
    ASSERT_TRUE(port.write(bytes("FF FE 08")));
    ASSERT_EQ(hex(line.read(3)), "FF FE 08");
    ASSERT_TRUE(line.write(bytes("A3 09")));
    bool error = false;
    ASSERT_EQ(hex(port.read(2, &error)), "A3 09");
    recorder.flush();

    const Recording recording = readRecording(path("one.pcapng"));
    EXPECT_THAT(linesOf(recording), ElementsAre("out FF FE 08", "in A3 09"));
    ASSERT_EQ(recording.interfaces.size(), 1u);
    EXPECT_EQ(recording.interfaces[0].name, line.slavePath());
    EXPECT_EQ(recording.interfaces[0].description, "uart bytes, 115200 baud");
    EXPECT_LE(recording.packets[0].time, recording.packets[1].time);
    EXPECT_EQ(recorder.lost(), 0u);
}

TEST_F(ARecorder, TellsThatAWriteFailed) {
    Pty line;
    const Recorder recorder(RecordingFile{path("one.pcapng")});
    Uart port(line.slavePath(), 115200, 0, "none", true);
    ASSERT_TRUE(port.init());
    line.close();
    ASSERT_FALSE(port.write(bytes("FF FE 08")));
    recorder.flush();
    EXPECT_THAT(linesOf(readRecording(path("one.pcapng"))), ElementsAre("out FF FE 08", "in the call failed"));
}

TEST_F(ARecorder, IsToldNothingMoreOnceItIsGone) {
    Pty line;
    Uart port(line.slavePath(), 115200, 0, "none", true);
    ASSERT_TRUE(port.init());
    const Recorder other(RecordingFile{path("other.pcapng")});
    { const Recorder recorder(RecordingFile{path("one.pcapng")}); }
    ASSERT_TRUE(port.write(bytes("01")));
    other.flush();
    EXPECT_THAT(linesOf(readRecording(path("one.pcapng"))), IsEmpty());
    EXPECT_THAT(linesOf(readRecording(path("other.pcapng"))), ElementsAre("out 01"));
}

// A link of the program's own: GetState of PlayerVolume, accepted, and GetStateResponse with 30.
TEST_F(ARecorder, TakesThePacketsOfALinkWhoseBytesNobodyTells) {
    PlayedHost host;
    {
        hostlink::Options options = quick();
        options.recorder = Recorder(RecordingFile{path("one.pcapng")});
        hostlink::Client client(host.wire(), options);
        ASSERT_TRUE(client.get(STA_PlayerVolume));
        host.does([](const ByteArray&) { return PlayedHost::Reaction{Rejected}; });
        ASSERT_FALSE(client.get(STA_PlayerVolume));
    }
    const Recording recording = readRecording(path("one.pcapng"));
    ASSERT_EQ(recording.interfaces.size(), 1u);
    EXPECT_EQ(recording.interfaces[0].name, "played");
    EXPECT_EQ(recording.interfaces[0].description, "link packets, as the link has them");
    const auto lines = linesOf(recording);
    ASSERT_GE(lines.size(), 6u);
    // The host is asked for its firmware's version first.
    EXPECT_THAT(lines[0], StartsWith("out FF FE 0F 00 23"));
    EXPECT_THAT(lines, testing::Contains("in verdict Accepted"));
    EXPECT_THAT(lines, testing::Contains(HasSubstr("02 80 01 09 00 CC 1E 00 00")));
    EXPECT_THAT(lines, testing::Contains("in verdict Rejected"));
}

TEST_F(ARecorder, TellsVerdictsAndEdgesOfABus) {
    const Recorder recorder(RecordingFile{path("one.pcapng")});
    const hostlink::Wire wire(hostlink::I2c{"/dev/i2c-1", 0x28, 3});
    hostlink::LinkRecording recording(recorder, wire.inside());
    LinkCounts counts;
    recording.recordEdges(counts);
    counts.add(LinkCounter::Edges, 2);
    counts.add(LinkCounter::Exchanges);
    recording.packetOut(bytes("01"));
    recording.packetIn(bytes("02"));
    for (const WriteDataResponse verdict : {Accepted, Rejected, Error, NoResponse}) recording.verdict(verdict);
    recorder.flush();
    const Recording written = readRecording(path("one.pcapng"));
    EXPECT_EQ(written.interfaces.at(0).description, "i2c transactions");
    EXPECT_THAT(linesOf(written), ElementsAre("in line low", "in line low", "in verdict Accepted",
                                              "in verdict Rejected", "in verdict Error", "in verdict NoResponse"));
}

TEST_F(ARecorder, KeepsTheEndInARingOfFiles) {
    const ByteArray piece(4000, 0x55);
    {
        const Recorder recorder(RecordingRing{folder / "made", 1 << 18}); // four files of 65536
        for (int i = 0; i < 200; ++i) {
            record(recorder, piece);
            recorder.flush();
        }
        record(recorder, bytes("0E 0D"));
        EXPECT_EQ(recorder.lost(), 0u);
    }
    folder /= "made";
    EXPECT_LE(bytesInFolder(), uint64_t{1} << 18);
    EXPECT_GT(bytesInFolder(), uint64_t{3} << 16);
    const auto names = files();
    size_t packets = 0;
    for (const std::string& name : names) {
        const Recording recording = readRecording(path(name));
        EXPECT_EQ(recording.problem, "") << name;
        EXPECT_EQ(recording.waiting, 0u) << name;
        packets += recording.packets.size();
    }
    // 16 blocks of 4036 bytes, with a section and an interface, are a file; three or four of them are kept.
    EXPECT_GE(packets, 3u * 15);
    EXPECT_EQ(hex(readRecording(path(names.back())).packets.back().bytes), "0E 0D");
    folder = folder.parent_path();
}

// Of the 60 files that stand there none is removed before there is need, and one that is being written never.
TEST_F(ARecorder, GoesOnBehindTheFilesOfOthers) {
    for (int number = 1; number <= 60; ++number)
        std::ofstream(path(capture::nameOf(capture::RingFile{static_cast<uint64_t>(number), "7"})));
    std::ofstream(path("notes.txt")) << "are not of the ring";
    descriptor::Descriptor written(::open(path("hostlink-000002-7.pcapng").c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(written.get(), LOCK_EX), 0);
    const Recorder recorder(RecordingRing{folder, 1 << 18});
    EXPECT_THAT(recorder.file(), HasSubstr("hostlink-000061-"));
    // Each counts for a block of 4096 bytes: 60 of them and 65536 are 12 blocks too many.
    const auto names = files();
    EXPECT_EQ(names.size(), 60u - 12 + 2);
    EXPECT_THAT(names, testing::Contains("notes.txt"));
    EXPECT_THAT(names, testing::Contains("hostlink-000002-7.pcapng"));
    EXPECT_THAT(names, testing::Not(testing::Contains("hostlink-000013-7.pcapng")));
    EXPECT_THAT(names, testing::Contains("hostlink-000014-7.pcapng"));
}

TEST_F(ARecorder, IsListedByTheKernelWhileItRuns) {
    const auto isListed = [&] {
        std::ifstream sockets("/proc/net/unix");
        const std::string all(std::istreambuf_iterator<char>(sockets), {});
        return all.find("@hostlink-recorder/" + std::to_string(::getpid())) != std::string::npos &&
               all.find(folder.string()) != std::string::npos;
    };
    {
        const Recorder recorder(RecordingRing{folder});
        // A list that is read while sockets of other programs go may pass one over.
        mustBecomeTrue(isListed, "it is listed");
    }
    EXPECT_FALSE(isListed());
    const Recorder inADeepFolder(RecordingRing{folder / std::string(120, 'd')});
    EXPECT_EQ(inADeepFolder.problem(), "");
}

TEST_F(ARecorder, SaysWhatItCannotWriteAndGoesOnWhenItCan) {
    const LogCapture log("HostLinkClient");
    std::ofstream(path("folder")) << "is a file";
    const Recorder recorder(RecordingRing{path("folder")});
    EXPECT_THAT(recorder.problem(), HasSubstr(": Not a directory"));
    EXPECT_EQ(log.count("The recorder cannot make " + path("folder").string()), 1u);
    record(recorder, bytes("01"));
    recorder.flush();
    EXPECT_EQ(recorder.lost(), 1u);
    EXPECT_EQ(log.count("The recorder cannot"), 1u);
    fs::remove(path("folder"));
    record(recorder, bytes("02"));
    recorder.flush();
    EXPECT_EQ(recorder.problem(), "");
    EXPECT_THAT(linesOf(readRecording(recorder.file())),
                ElementsAre("? 1 pieces before this were not recorded", "in 02"));
}

// What a full disk is to others, to a process is the limit of its files.
TEST_F(ARecorder, LeavesAWholeFileWhereTheDiskIsFull) {
    struct Limit {
        explicit Limit(rlim_t bytes) {
            std::signal(SIGXFSZ, SIG_IGN);
            getrlimit(RLIMIT_FSIZE, &before);
            const rlimit low{bytes, before.rlim_max};
            setrlimit(RLIMIT_FSIZE, &low);
        }
        ~Limit() {
            setrlimit(RLIMIT_FSIZE, &before);
            std::signal(SIGXFSZ, SIG_DFL);
        }
        rlimit before{};
    };
    const Recorder recorder(RecordingFile{path("one.pcapng")});
    record(recorder, bytes("01"));
    recorder.flush();
    {
        const Limit limit(300);
        record(recorder, ByteArray(500, 0x02));
        recorder.flush();
        EXPECT_THAT(recorder.problem(), HasSubstr("cannot write "));
        EXPECT_LE(fs::file_size(path("one.pcapng")), 300u);
        EXPECT_EQ(readRecording(path("one.pcapng")).waiting, 0u);
    }
    record(recorder, bytes("03"));
    recorder.flush();
    EXPECT_THAT(linesOf(readRecording(path("one.pcapng"))),
                ElementsAre("in 01", "? 1 pieces before this were not recorded", "in 03"));
}

TEST_F(ARecorder, SaysThatItsOneFileCannotBeMade) {
    const Recorder recorder(RecordingFile{path("no/one.pcapng")});
    EXPECT_THAT(recorder.problem(), HasSubstr("cannot make " + path("no/one.pcapng").string()));
    EXPECT_THAT(Recorder(RecordingFile{"/dev/full"}).problem(), HasSubstr("cannot write /dev/full"));
    fs::create_directory(path("no"));
    record(recorder, bytes("01"));
    recorder.flush();
    EXPECT_THAT(linesOf(readRecording(path("no/one.pcapng"))), ElementsAre("in 01"));
}

TEST_F(ARecorder, LeavesOutWhatDoesNotFitAndSaysSo) {
    const Recorder recorder(RecordingFile{path("one.pcapng")});
    record(recorder, ByteArray(2 << 20)); // more than the buffer
    EXPECT_EQ(recorder.lost(), 1u);
    record(recorder, bytes("01"));
    recorder.flush();
    EXPECT_THAT(linesOf(readRecording(path("one.pcapng"))),
                ElementsAre("? 1 pieces before this were not recorded", "in 01"));
}

TEST_F(ARecorder, WritesByItself) {
    const Recorder recorder(RecordingRing{folder, 1 << 18});
    record(recorder, ByteArray(20000)); // of 32768
    mustBecomeTrue([&] { return fs::file_size(recorder.file()) > 20000; }, "it is written");
}

TEST_F(ARecorder, IsAskedForByTheEnvironment) {
    PlayedHost host;
    PlayedHost otherHost;
    ::setenv("HOSTLINK_RECORD", folder.c_str(), 1);
    ::setenv("HOSTLINK_RECORD_MIB", "1", 1);
    {
        hostlink::Client one(host.wire(), quick());
        const hostlink::Client other(otherHost.wire(), quick());
        ASSERT_TRUE(one.get(STA_PlayerVolume));
    }
    ::unsetenv("HOSTLINK_RECORD");
    ::unsetenv("HOSTLINK_RECORD_MIB");
    ASSERT_EQ(files().size(), 1u);
    EXPECT_THAT(linesOf(readRecording(path(files()[0]))), testing::Contains("in verdict Accepted"));
    const hostlink::Client without(host.wire(), quick());
    EXPECT_EQ(files().size(), 1u);
}

TEST_F(ARecorder, IsOneWithItsCopies) {
    std::unique_ptr<Recorder> first = std::make_unique<Recorder>(RecordingFile{path("one.pcapng")});
    Recorder copy(RecordingFile{path("other.pcapng")});
    copy = *first;
    first.reset();
    record(copy, bytes("01"));
    copy.flush();
    EXPECT_THAT(linesOf(readRecording(path("one.pcapng"))), ElementsAre("in 01"));
}
