// Does the serial link tell the truth about what it has delivered, whatever happens on the wire?
#include "TruthTest.h"

namespace truth {

namespace {

class UartTruth : public testing::TestWithParam<TruthCase> {};

INSTANTIATE_TEST_SUITE_P(Faults, UartTruth, testing::ValuesIn(casesOf({LinkKind::Uart})),
                         [](const auto& test) { return nameOf(test.param); });

TEST_P(UartTruth, WrongOutcomesHaveARecordedCause) {
    expectTruth(GetParam(), makeUartHost);
}

} // namespace

} // namespace truth
