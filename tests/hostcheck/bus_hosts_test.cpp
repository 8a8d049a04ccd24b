// The same proof on a bus: hosts that break one rule each, and the check that is to catch each of them.
#include <memory>
#include <set>

#include <gtest/gtest.h>

#include "BusWorld.h"
#include "Checker.h"

using hostcheck::Outcome;
using hostcheck::Result;
using hostsim::HostOptions;
using std::chrono::milliseconds;

namespace {

struct Case {
    HostOptions options;
    BusWrongs wrongs;
};

struct WrongBusHost {
    const char* name;
    const char* caughtBy; // the check
    void (*make)(Case&);
};

bool isOfFormat(const ByteArray& bytes, unsigned format, size_t length) {
    return bytes.size() >= 8 && bytes[0] == 0xFF && bytes[1] == 0xFE && bytes[2] == length && (bytes[4] & 7U) == format;
}

const WrongBusHost wrongHosts[] = {
    {"never pulls its line", "bus-line-held",
     [](Case& host) { host.wrongs.low = [](bool, hostsim::Time) { return false; }; }},
    {"gives a pulse", "bus-line-held",
     [](Case& host) {
         host.wrongs.low = [since = hostsim::Time(-1)](bool isLow, hostsim::Time now) mutable {
             if (!isLow) since = hostsim::Time(-1);
             if (isLow && since < hostsim::Time(0)) since = now;
             return isLow && now - since < milliseconds(5);
         };
     }},
    {"keeps the line low", "bus-one-edge",
     [](Case& host) {
         host.wrongs.low = [stays = false](bool isLow, hostsim::Time) mutable {
             stays = stays || isLow;
             return stays;
         };
     }},
    {"lets the line go late", "bus-one-edge",
     [](Case& host) {
         host.wrongs.low = [until = hostsim::Time(0)](bool isLow, hostsim::Time now) mutable {
             if (isLow) until = now + milliseconds(40);
             return isLow || now < until;
         };
     }},
    {"announces a byte too many", "bus-announce",
     [](Case& host) {
         host.wrongs.read = [](ByteArray bytes) {
             if (isOfFormat(bytes, 2, 14)) ++bytes[8];
             return bytes;
         };
     }},
    {"announces packets that fit", "bus-announce", [](Case& host) { host.options.faults.irqAnnounceFirst = 1; }},
    {"goes on in the middle when it is read again", "bus-read-again",
     [](Case& host) {
         host.wrongs.read = [last = ByteArray()](const ByteArray& bytes) mutable {
             const bool isAgain = bytes == last;
             last = bytes;
             return isAgain ? ByteArray(bytes.begin() + 1, bytes.end()) : bytes;
         };
     }},
    {"fills reads with start marks", "bus-idle-bytes",
     [](Case& host) {
         host.wrongs.read = [](ByteArray bytes) {
             if (bytes.size() > 1 && bytes[0] == 0xFF && bytes[1] == 0xFF) bytes[1] = 0xFE;
             return bytes;
         };
     }},
    {"needs more than four reads", "bus-in-time", [](Case& host) { host.options.faults.lateTransfers = 5; }},
    {"needs four reads", "bus-in-3-ms", [](Case& host) { host.options.faults.lateTransfers = 3; }},
    {"takes a nack for an ack", "bus-after-nack",
     [](Case& host) {
         host.wrongs.write = [](ByteArray bytes) {
             if (isOfFormat(bytes, 3, 8) && bytes[4] == 0x63) bytes[4] = 0xA3;
             return bytes;
         };
     }},
    {"says nothing when it has nothing to say", "bus-nothing-to-say",
     [](Case& host) {
         const auto isAsked = std::make_shared<bool>(false);
         host.wrongs.write = [isAsked](const ByteArray& bytes) {
             *isAsked = isOfFormat(bytes, 2, 14);
             return bytes;
         };
         host.wrongs.read = [isAsked](const ByteArray& bytes) {
             return *isAsked && isOfFormat(bytes, 3, 8) ? ByteArray(bytes.size(), 0xFF) : bytes;
         };
     }},
    {"does not hear writes while it pulls its line", "bus-write-while-low",
     [](Case& host) {
         const auto isLowNow = std::make_shared<bool>(false);
         host.wrongs.low = [isLowNow](bool isLow, hostsim::Time) { return *isLowNow = isLow; };
         host.wrongs.write = [isLowNow](const ByteArray& bytes) {
             const bool isMessage = bytes.size() > 10 && (bytes[4] & 7U) == 3;
             return *isLowNow && isMessage ? ByteArray() : bytes;
         };
     }},
    {"says nothing to damaged writes", "bus-bad-write",
     [](Case& host) {
         host.wrongs.write = [](const ByteArray& bytes) {
             const bool isWhole = bytes.size() >= 8 && bytes[0] == 0xFF && bytes[1] == 0xFE && bytes[2] == bytes.size();
             return isWhole ? bytes : ByteArray();
         };
     }},
    {"carries repetitions out", "repeated-packet", [](Case& host) { host.options.repeatWindow = milliseconds(0); }},
    {"repeats refused packets for ever", "refused-always", [](Case& host) { host.options.outgoing.attempts = 200; }},
};

struct BusChecker {
    BusWorld world;
    hostcheck::Transcript transcript;
    hostcheck::BusLink link{world, transcript};
    hostcheck::Setup setup = everything();
    hostcheck::Bench bench;
    hostcheck::Runner runner{bench, transcript};

    explicit BusChecker(const HostOptions& options = {}, const BusWrongs& wrongs = {})
        : world(options, wrongs), bench(link, nullptr, &link, &world, setup) {}
};

} // namespace

TEST(WrongBusHosts, EachIsCaughtByTheCheckThatIsNamedForIt) {
    for (const WrongBusHost& host : wrongHosts) {
        Case wrong;
        host.make(wrong);
        BusChecker checker(wrong.options, wrong.wrongs);
        const Result result = checker.runner.run(checkNamed(host.caughtBy));
        EXPECT_EQ(result.outcome, Outcome::Failed) << "a host that " << host.name << " gets through " << host.caughtBy;
    }
}

TEST(WrongBusHosts, ThereIsOneForEachCheckOfTheBus) {
    std::set<std::string> caught;
    for (const WrongBusHost& host : wrongHosts) caught.insert(host.caughtBy);
    for (const hostcheck::Check& check : hostcheck::allChecks()) {
        if (check.wires != hostcheck::Wires::Bus) continue;
        EXPECT_EQ(caught.count(check.name), 1u) << check.name;
    }
}

TEST(RightBusHost, PassesAllChecks) {
    BusChecker checker;
    for (const hostcheck::Check& check : hostcheck::allChecks()) {
        const Result result = checker.runner.run(check);
        const bool isForLines = check.wires == hostcheck::Wires::Serial;
        EXPECT_EQ(result.outcome, isForLines ? Outcome::Skipped : Outcome::Passed) << hostcheck::asText(result);
    }
}

TEST(RightBusHost, PassesWhenItsAnswersComeInTheSecondRead) {
    HostOptions options;
    options.faults.lateTransfers = 1;
    BusChecker checker(options);
    for (const char* name : {"response-form", "own-form", "bus-in-3-ms", "bus-announce", "both-directions"}) {
        const Result result = checker.runner.run(checkNamed(name));
        EXPECT_EQ(result.outcome, Outcome::Passed) << hostcheck::asText(result);
    }
}

TEST(BusFaults, OfTheSimulatorAreTold) {
    const std::pair<const char*, void (*)(HostOptions&)> faults[] = {
        {"bus-announce", [](HostOptions& options) { options.faults.irqNackFirst = 1; }},
        {"bus-announce", [](HostOptions& options) { options.faults.irqAnnounceFirst = 1; }},
        {"bus-in-time", [](HostOptions& options) { options.faults.lateTransfers = 4; }},
        {"bus-in-3-ms", [](HostOptions& options) { options.faults.lateTransfers = 3; }},
        {"both-directions", [](HostOptions& options) { options.faults.silentEvery = 40; }},
        {"taken-at-once", [](HostOptions& options) { options.faults.nackFirst = 2; }},
    };
    for (const auto& [caughtBy, make] : faults) {
        HostOptions options;
        make(options);
        BusChecker checker(options);
        EXPECT_EQ(checker.runner.run(checkNamed(caughtBy)).outcome, Outcome::Failed) << caughtBy;
    }
}

// Bytes that begin with no start mark are read again.
TEST(RightBusHost, PassesAlthoughFirstReadsGiveAnything) {
    HostOptions options;
    options.faults.garbageEvery = 2;
    BusChecker checker(options);
    for (const hostcheck::Check& check : hostcheck::allChecks()) {
        const Result result = checker.runner.run(check);
        EXPECT_NE(result.outcome, Outcome::Failed) << hostcheck::asText(result);
    }
}

TEST(SilentBusHost, PassesNoCheck) {
    BusWrongs silent;
    silent.read = [](const ByteArray& bytes) { return ByteArray(bytes.size(), 0xFF); };
    silent.low = [](bool, hostsim::Time) { return false; };
    BusChecker checker({}, silent);
    for (const hostcheck::Check& check : hostcheck::allChecks())
        EXPECT_NE(checker.runner.run(check).outcome, Outcome::Passed) << check.name;
}
