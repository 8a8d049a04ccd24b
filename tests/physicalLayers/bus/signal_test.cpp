// Which signals a bus link's threads take.
#include "BusRigTest.h"
#include "support/MaskCapture.h"

namespace {

class BusSignals : public BusRigTest {};

OVER_BOTH_WIRES(BusSignals);

TEST_P(BusSignals, ThreadsOfTheLinkTakeNoSignalMeantForTheProgram) {
    const MaskCapture masks(linkLogger);
    start();
    link.reset();
    EXPECT_EQ(masks.faultOf("SyncSerialLayer::readLoop"), "");
    EXPECT_EQ(masks.faultOf("SyncSerialLayer::gpioIrqLoop"), "");
}

} // namespace
