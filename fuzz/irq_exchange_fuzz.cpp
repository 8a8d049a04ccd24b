// What the bus link makes of the host's replies, one after another.
#include <hostlink/machines/IrqExchange.h>

#include "support/ExpectedDecisions.h"
#include "support/Input.h"
#include "support/Replies.h"
#include "support/Require.h"

using Verdict = IrqExchange::Verdict;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    IrqExchange exchange;
    ExpectedDecisions expected;
    bool retried = false; // since a good frame
    while (!input.empty()) {
        const ByteArray reply = replyFrom(input);
        const IrqExchange::Decision decision = exchange.decide(reply);
        const IrqExchange::Decision wanted = expected.of(reply);
        require(decision.verdict == wanted.verdict, "the verdict");
        require(decision.value == wanted.value, "the size, acknowledgement or frame type that comes with it");
        require(decision.alreadyRetried == wanted.alreadyRetried, "whether a retry was made");

        require(decision.verdict != Verdict::Retry || !retried, "one retry until the host sends a good frame");
        if (decision.verdict == Verdict::Retry) retried = true;
        if (decision.verdict == Verdict::Message || decision.verdict == Verdict::Announcement) retried = false;
    }
    return 0;
}
