// Whether a confirmed set tells the truth over a wire that damages packets. Short here; long by
//     HOSTLINK_CLIENT_SETS=1000000 build/release/bin/client_session_tests --gtest_filter='ClientTruth*'
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>

#include "PlayedHost.h"
#include "support/TestSeed.h"
#include "support/Watchdog.h"

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using Reaction = PlayedHost::Reaction;

unsigned long setsToMake() {
    const char* given = std::getenv("HOSTLINK_CLIENT_SETS");
    return given == nullptr ? 2000 : std::strtoul(given, nullptr, 10);
}

struct Tally {
    unsigned long done = 0, wrong = 0, otherwise = 0;
};

// One in ten packets has a byte of its payload changed, in either direction; one answer in fifty is lost. The payload
// is what no check protects.
class ClientTruth : public testing::Test {
protected:
    ClientTruth() : generator(seededGenerator()) {
        host.damages([this](ByteArray& packet) {
            constexpr size_t header = 8;
            constexpr size_t trailer = 2;
            if (chance(10)) packet[header + generator() % (packet.size() - header - trailer)] ^= bits();
        });
        host.does([this](const ByteArray& message) {
            auto answers = host.simulated(message);
            if (chance(50)) answers.clear();
            return Reaction{Accepted, answers};
        });
    }

    bool chance(unsigned oneIn) { return generator() % oneIn == 0; }
    unsigned char bits() { return static_cast<unsigned char>(1 + generator() % 255); }

    // Sets other values, one after another, and looks at what the host holds.
    Tally run(const Call& call, unsigned long sets) {
        Options options;
        options.deadline = 10s;
        options.answerTime = 10ms;
        options.lateFor = 15ms;
        Client client(host.wire(), options);
        Tally tally;
        for (unsigned long i = 0; i < sets; ++i) {
            if (i % 500 == 0) testIsAt("set " + std::to_string(i));
            const int value = static_cast<int>(i % 200);
            if (!client.set(STA_PlayerVolume, value, call)) {
                ++tally.otherwise;
                continue;
            }
            ++tally.done;
            const auto held = hostsim::numberOf(host.host().states().get(STA_PlayerVolume));
            if (held != value) ++tally.wrong;
        }
        std::cout << sets << " sets: " << tally.done << " done, " << tally.wrong << " of them wrong, "
                  << tally.otherwise << " otherwise" << std::endl;
        return tally;
    }

    std::mt19937 generator; // under the host's lock
    PlayedHost host;
};

TEST_F(ClientTruth, OfConfirmedSetsIsNeverWrong) {
    const unsigned long sets = setsToMake();
    const Tally tally = run(Confirm, sets);
    EXPECT_EQ(tally.wrong, 0U);
    EXPECT_GT(tally.done, sets * 9 / 10); // and most of them succeed
}

TEST_F(ClientTruth, OfPlainSetsIsWorthLess) {
    const unsigned long sets = setsToMake();
    EXPECT_LT(run({}, sets).done, sets * 99 / 100);
}

} // namespace
