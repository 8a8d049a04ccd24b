// The client against the simulator program at the other end of a pseudo terminal.
#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <hostlinkclient/Client.h>

#include "support/Folder.h"
#include "support/MustEnd.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;

/// One run of the program; ends with the object.
class Simulator {
public:
    Simulator(const std::string& path, std::vector<std::string> options) : link(path) {
        options.insert(options.begin(), {ZENT_HOSTSIM, "--link", link});
        std::vector<char*> arguments;
        for (std::string& option : options) arguments.push_back(option.data());
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        const int failed = ::posix_spawn(&process, ZENT_HOSTSIM, &files, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&files);
        if (failed != 0) throw std::runtime_error("the simulator cannot be started");
        mustBecomeTrue([&] { return ::access(link.c_str(), F_OK) == 0; }, "the simulator's terminal");
    }
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;
    ~Simulator() { end(SIGTERM); }

    /// The link goes first, as a killed one cannot remove it: left behind, it would lead to whatever terminal gets the
    /// number next, and that may be the one of a test that runs beside this.
    void kill() {
        ::unlink(link.c_str());
        end(SIGKILL);
    }

private:
    void end(int signal) {
        if (process == 0) return;
        ::kill(process, signal);
        ::waitpid(process, nullptr, 0);
        process = 0;
    }

    std::string link;
    pid_t process = 0;
};

Options quick() {
    Options options;
    options.deadline = 20s;
    options.answerTime = 100ms;
    options.sendings = 100; // the program's answers take long on a busy machine
    options.lateFor = 100ms;
    options.firstPause = 20ms;
    options.longestPause = 100ms;
    options.whileDown = WhileDown::Wait;
    return options;
}

struct Case {
    const char* name;
    std::vector<std::string> faults;
};

void PrintTo(const Case& one, std::ostream* out) {
    *out << one.name;
}

class ClientOverATerminal : public testing::TestWithParam<Case> {};

TEST_P(ClientOverATerminal, SetsAndGetsItsOwnValues) {
    const Folder folder;
    const std::string link = folder.path + "/host";
    const Simulator simulator(link, GetParam().faults);
    const bool hasGarbage = GetParam().name == std::string("Garbage") || GetParam().name == std::string("AllOfThem");
    Options options = quick();
    // Without garbage there is no reason to make the link anew, whose first bytes could be the rest of a packet.
    if (!hasGarbage) options.unansweredWrites = 1000000;
    Client client(Uart{link, 115200, 100ms}, options);
    for (int i = 0; i < 40; ++i) {
        const auto set = client.set(0x4000 + i % 3, i, Confirm);
        ASSERT_TRUE(set) << i << ": " << set.text();
        const auto value = client.get(0x4000 + i % 3);
        ASSERT_TRUE(value) << i << ": " << value.text();
        EXPECT_EQ(*value, Value(i));
    }
    const Statistics counts = client.statistics();
    EXPECT_EQ(counts.garbageBytes > 0, hasGarbage) << counts.text();
}

INSTANTIATE_TEST_SUITE_P(Under, ClientOverATerminal,
                         testing::Values(Case{"NoFault", {}}, Case{"Refusals", {"--nack-first", "2"}},
                                         Case{"Silence", {"--silent-every", "9"}},
                                         Case{"Errors", {"--ack-nack-every", "9"}},
                                         Case{"LateAcknowledgements", {"--late-every", "7", "--late", "150"}},
                                         Case{"RepeatedPackets", {"--repeat-every", "2"}},
                                         Case{"Garbage", {"--garbage-every", "3"}}, Case{"Bursts", {"--burst", "5"}},
                                         Case{"SplitWrites", {"--split-writes"}},
                                         Case{"AllOfThem",
                                              {"--silent-every", "29", "--late-every", "31", "--late", "150",
                                               "--repeat-every", "3", "--garbage-every", "7", "--burst", "2"}}),
                         [](const auto& tested) { return tested.param.name; });

/// Content that has its place in each byte.
std::string content(size_t size) {
    std::string bytes(size, ' ');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
}

class FileOverATerminal : public testing::TestWithParam<Case> {};

TEST_P(FileOverATerminal, ComesFromTheHostAsItIs) {
    const Folder folder;
    const std::string sent = content(20000);
    std::ofstream(folder.path + "/a.bin", std::ios::binary) << sent;
    std::vector<std::string> options = GetParam().faults;
    options.insert(options.end(), {"--send", folder.path + "/a.bin"});
    const Simulator simulator(folder.path + "/host", options);
    std::string got;
    std::promise<ReceivedFile> end;
    ReceiveOptions receive;
    receive.write = [&](const unsigned char* data, size_t size) {
        got.append(reinterpret_cast<const char*>(data), size);
        return true;
    };
    receive.end = [&](const ReceivedFile& file) { end.set_value(file); };
    Client client(Uart{folder.path + "/host", 115200, 100ms}, quick());
    const auto receiving = client.receiveFiles(receive);
    ASSERT_TRUE(receiving) << receiving.text();
    auto ended = end.get_future();
    mustEnd(ended, "the file");
    const ReceivedFile file = ended.get();
    EXPECT_EQ(file.end, FileEnd::Complete) << nameOf(file.end);
    EXPECT_EQ(file.name, "a.bin");
    EXPECT_EQ(file.bytes, sent.size());
    EXPECT_EQ(got, sent);
}

INSTANTIATE_TEST_SUITE_P(Under, FileOverATerminal,
                         testing::Values(Case{"NoFault", {}}, Case{"WrongChecksums", {"--damage-chunk-every", "2"}},
                                         Case{"LostChunks", {"--lose-chunk-every", "11"}},
                                         Case{"AllOfThem",
                                              {"--damage-chunk-every", "5", "--lose-chunk-every", "19",
                                               "--repeat-every", "3", "--garbage-every", "7", "--nack-first", "1"}}),
                         [](const auto& tested) { return tested.param.name; });

TEST(ClientAndSimulator, OutlivesAHostThatIsKilled) {
    const Folder folder;
    const std::string link = folder.path + "/host";
    auto simulator = std::make_unique<Simulator>(link, std::vector<std::string>());
    Options options = quick();
    options.answerTime = 10s; // nothing gets lost but with the host
    Client client(Uart{link, 115200, 200ms}, options);
    std::atomic<int> told{0};
    const Subscription changes =
        client.subscribe({STA_PlayerVolume}, [&](const Change& change) { told = change.value.to<int>().valueOr(-1); });
    ASSERT_TRUE(changes.established(20s));
    EXPECT_EQ(client.set(STA_PlayerVolume, 44).text(), "");
    mustBecomeTrue([&] { return told == 44; }, "told of the first host");
    simulator->kill();
    mustBecomeTrue([&] { return client.linkState() == LinkState::Down; }, "down");
    simulator.reset();
    simulator = std::make_unique<Simulator>(link, std::vector<std::string>());
    EXPECT_TRUE(client.get(STA_PlayerVolume, Call().whileDown(WhileDown::Wait)));
    mustBecomeTrue([&] { return told == 30; }, "the new host's volume was told");
    EXPECT_EQ(client.set(STA_PlayerVolume, 45).text(), "");
    mustBecomeTrue([&] { return told == 45; }, "told of the new host");
}

} // namespace
