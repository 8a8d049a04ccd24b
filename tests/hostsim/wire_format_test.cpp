// The examples of docs/wire-format.md that say what a host does, as they stand there.
#include <gtest/gtest.h>

#include <hostsim/HostApplication.h>
#include <hostsim/HostOnLine.h>

#include "support/Bytes.h"

using std::chrono::milliseconds;

namespace {

using Texts = std::vector<std::string>;

/// A host on a serial line; every packet that the module has for it, and what the host writes then.
struct Line {
    hostsim::SimulatedHost endpoint;
    hostsim::HostOnLine host{endpoint};

    Texts after(const std::string& packet, milliseconds now) {
        host.receive(bytes(packet), now);
        Texts texts;
        for (ByteArray written = host.nextWrite(now); !written.empty(); written = host.nextWrite(now))
            texts.push_back(hex(written));
        return texts;
    }
};

/// The one answer to a message.
std::string answerTo(hostsim::HostApplication& host, const std::string& message) {
    const std::vector<ByteArray> answers = host.handle(bytes(message));
    return answers.size() == 1 ? hex(answers[0]) : std::to_string(answers.size()) + " answers";
}

std::string oneBlank(const std::string& text) {
    return hex(bytes(text));
}

constexpr char hell[] = "07 00 05  00 00 C5 05 00 61 2E 62 69 6E   06 00 CE 06 00 00 00"
                        "01 00 CE 00 00 00 00   02 00 C5 04 00 48 65 6C 6C"
                        "04 00 CE 04 9F 2E D9";

} // namespace

TEST(WireFormatPage, UnsupportedHasNoItems) {
    hostsim::HostApplication host;
    EXPECT_EQ(answerTo(host, "09 00   01   00 00 CC 01"), "00 80 00");
}

TEST(WireFormatPage, ATunnelWithoutAConnectionIsRefused) {
    hostsim::HostApplication host;
    EXPECT_EQ(answerTo(host, "08 00   01   01 00 C5 00 00"), "09 80 01 01 00 CC 02");
}

TEST(WireFormatPage, AFileInTwoChunks) {
    hostsim::HostApplication host;
    EXPECT_EQ(answerTo(host, hell), oneBlank("07 80 02  01 00 CE 00 00 00 00   04 00 CE 04 9F 2E D9"));
    EXPECT_EQ(answerTo(host, "07 00 04  01 00 CE 01 00 00 00   02 00 C5 02 00 6F 21"
                             "04 00 CE AB 51 54 A1   03 00 C0"),
              oneBlank("07 80 05  01 00 CE 01 00 00 00   04 00 CE AB 51 54 A1"
                       "03 00 C0   06 00 CE 06 00 00 00   04 00 CE 33 19 6B CE"));
}

TEST(WireFormatPage, AChunkOutOfSequenceIsRefused) {
    hostsim::HostApplication host;
    answerTo(host, hell);
    EXPECT_EQ(answerTo(host, "07 00 03  01 00 CE 05 00 00 00   02 00 C5 02 00 6F 21   04 00 CE AB 51 54 A1"),
              oneBlank("07 80 03  01 00 CE 05 00 00 00   04 00 CE AB 51 54 A1   05 00 C0"));
}

TEST(WireFormatPage, AnAbortIsAnsweredAlone) {
    hostsim::HostApplication host;
    EXPECT_EQ(answerTo(host, "07 00 01 05 00 C0"), "07 80 01 05 00 C0");
}

TEST(WireFormatPage, ARepetitionIsNotAnsweredTwice) {
    constexpr char question[] = "FF FE 0F 00 23 11 00 00  02 00 01 09 00  00 00";
    constexpr char ack[] = "FF FE 08 00 A3 11 00 00";
    Line line;
    EXPECT_EQ(line.after(question, milliseconds(0)),
              (Texts{ack, "FF FE 11 00 23 00 00 00 02 80 01 09 00 CC 1E 00 00"}));
    EXPECT_EQ(line.after(question, milliseconds(10)), Texts{ack});
}

TEST(WireFormatPage, ARestartIsHeard) {
    constexpr char question[] = "FF FE 0F 00 23 00 00 00  02 00 01 09 00  00 00";
    constexpr char ack[] = "FF FE 08 00 A3 00 00 00";
    Line line;
    EXPECT_EQ(line.after(question, milliseconds(0)),
              (Texts{ack, "FF FE 11 00 23 00 00 00 02 80 01 09 00 CC 1E 00 00"}));
    EXPECT_EQ(line.after("FF FE 08 00 A3 01 00 00", milliseconds(1)), Texts{});
    EXPECT_EQ(line.after(question, milliseconds(10)),
              (Texts{ack, "FF FE 11 00 23 01 00 00 02 80 01 09 00 CC 1E 00 00"}));
}
