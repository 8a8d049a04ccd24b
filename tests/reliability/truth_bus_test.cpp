// Do the bus links tell the truth about what they have delivered, whatever happens on the wire?
#include "BusHostSide.h"
#include "TruthTest.h"

namespace truth {

namespace {

class BusTruth : public testing::TestWithParam<TruthCase> {
protected:
    void SetUp() override { busrig::RigControl().reset(); }
};

INSTANTIATE_TEST_SUITE_P(Faults, BusTruth, testing::ValuesIn(casesOf({LinkKind::I2c, LinkKind::Spi})),
                         [](const auto& test) { return nameOf(test.param); });

TEST_P(BusTruth, WrongOutcomesHaveARecordedCause) {
    const LinkKind link = GetParam().link;
    const auto& board = link == LinkKind::I2c ? busrig::firstBoard : busrig::secondBoard;
    expectTruth(GetParam(), [&](const Timing& timing) { return makeBusHost(link, board, timing); });
}

} // namespace

} // namespace truth
