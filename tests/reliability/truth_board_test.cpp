// The truth run with the engine on an emulated Cortex-M3 at the far end, without faults and with damaged bytes in both
// directions.
#include "BoardHostSide.h"
#include "EmulatedBoard.h"
#include "TruthTest.h"

namespace truth {

namespace {

std::vector<TruthCase> byteNoise() {
    std::vector<TruthCase> cases = casesOf({LinkKind::Uart});
    cases.erase(std::remove_if(cases.begin(), cases.end(),
                               [](const TruthCase& each) {
                                   const auto& faults = each.kind.faults;
                                   return !std::all_of(faults.begin(), faults.end(), faultywire::hitsByte);
                               }),
                cases.end());
    return cases;
}

class BoardTruth : public testing::TestWithParam<TruthCase> {};

INSTANTIATE_TEST_SUITE_P(Faults, BoardTruth, testing::ValuesIn(byteNoise()),
                         [](const auto& test) { return nameOf(test.param); });

TEST_P(BoardTruth, WrongOutcomesHaveARecordedCause) {
    const std::string hindrance = EmulatedBoard::hindrance();
    if (!hindrance.empty()) GTEST_SKIP() << hindrance;
    expectTruth(GetParam(), makeBoardHost);
}

} // namespace

} // namespace truth
