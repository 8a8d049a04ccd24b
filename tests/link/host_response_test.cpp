// What an answer to a packet means, and what is logged about one that says nothing.
#include <string>

#include <gtest/gtest.h>

#include <hostlink/link/HostResponse.h>

#include "support/Bytes.h"
#include "support/TraceLine.h"

namespace {

struct Answered {
    WriteDataResponse result;
    std::vector<LogLine> lines;
};

Answered answeredBy(const ByteArray& answer) {
    LogCapture log("HostLinkPhysicalLayer");
    const WriteDataResponse result = resultOfResponse(answer, "nothing came");
    return {result, log.lines()};
}

} // namespace

TEST(HostResponse, TellsWhatTheAcknowledgementBitsSay) {
    struct Row {
        const char* answer;
        WriteDataResponse result;
        const char* line;
    };
    const Row rows[] = {
        {"FF FE 08 00 A3 05 00 00", Accepted, "Received: 2"},
        {"FF FE 08 00 63 05 00 00", Rejected, "Received: 1"},
        {"FF FE 08 00 E3 05 00 00", Error, "Received: 3"},
        {"FF FE 08 00 23 05 00 00", NoResponse, "Received: 0"},
    };
    for (const Row& row : rows) {
        const Answered answered = answeredBy(bytes(row.answer));
        EXPECT_EQ(answered.result, row.result) << row.answer;
        EXPECT_EQ(answered.lines, std::vector<LogLine>{trace(row.line)}) << row.answer;
    }
}

TEST(HostResponse, ThatFailsToVerifyIsNoneWhateverItsBitsSay) {
    const std::vector<LogLine> complaint{error("Expected ack, got something else: 0 valid: 0")};
    for (const char* flags : {"63", "A3", "E3"}) {
        const std::string text(flags);
        for (const std::string& answer : {"FF FE 08 00 " + text + " 05 00", "FE FF 08 00 " + text + " 05 00 00",
                                          "FF FE 07 00 " + text + " 05 00 00", "FF FE 0B 00 " + text + " 05 00 00"}) {
            const Answered answered = answeredBy(bytes(answer));
            EXPECT_EQ(answered.result, NoResponse) << answer;
            EXPECT_EQ(answered.lines, complaint) << answer;
        }
    }
}

TEST(HostResponse, OfAnotherTypeIsNoneWhateverItsBitsSay) {
    struct Row {
        const char* answer;
        const char* line;
    };
    const Row rows[] = {
        {"FF FE 08 00 A1 05 00 00", "Expected ack, got something else: 1 valid: 1"},
        {"FF FE 0E 00 A2 07 00 00 78 56 34 12 00 00", "Expected ack, got something else: 2 valid: 1"},
        {"FF FE 0B 00 A3 05 00 00 55 00 00", "Expected ack, got something else: 3 valid: 1"},
    };
    for (const Row& row : rows) {
        const Answered answered = answeredBy(bytes(row.answer));
        EXPECT_EQ(answered.result, NoResponse) << row.answer;
        EXPECT_EQ(answered.lines, std::vector<LogLine>{error(row.line)}) << row.answer;
    }
}

TEST(HostResponse, ThatIsMissingIsToldInTheCallersWords) {
    const Answered answered = answeredBy({});
    EXPECT_EQ(answered.result, NoResponse);
    EXPECT_EQ(answered.lines, std::vector<LogLine>{error("nothing came")});
}
