// A program that exits while its serial link is at work.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <poll.h>
#include <unistd.h>

#include "ExitRun.h"
#include "support/Packets.h"
#include "support/Pty.h"
#include "support/schedule/HostileScheduler.h"

namespace {

/// Messages without a pause, and an acknowledgement with each, whether there was something to acknowledge or not.
class FarSide {
public:
    FarSide() : thread([this] { flood(); }) {}
    ~FarSide() {
        stopped = true;
        thread.join();
    }
    FarSide(const FarSide&) = delete;
    FarSide& operator=(const FarSide&) = delete;

    const std::string& device() const { return pty.slavePath(); }

private:
    void flood() {
        const ByteArray both = messageEnd(7, 0, bytes("02 00 01 15 00")) + responseFrame(0xA3, 0);
        unsigned char answers[4096];
        while (!stopped) {
            pollfd line{pty.master(), POLLIN | POLLOUT, 0};
            ::poll(&line, 1, 10);
            if (::write(pty.master(), both.data(), both.size()) < 0) std::this_thread::yield();
            if (::read(pty.master(), answers, sizeof answers) < 0) std::this_thread::yield();
        }
    }

    Pty pty;
    std::atomic<bool> stopped{false};
    std::thread thread; // last: it uses the others
};

TEST(UartExit, UnderTrafficIsClean) {
    const schedule::Undisturbed test; // the program is what is hunted
    FarSide farSide;
    const ExitOutcome outcome = exitUnderTraffic("uart", farSide.device(), schedule::HostileScheduler::seed());
    EXPECT_EQ(outcome.how, "exit code 0") << outcome.output;
    EXPECT_EQ(outcome.output.substr(0, 6), "ended\n");
    EXPECT_EQ(outcome.report, "");
}

} // namespace
