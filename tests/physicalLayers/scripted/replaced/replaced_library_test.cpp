// The host-link library as it is built, and another serial library in the place of the one that it was linked with: all
// that such a library must have is what stands in the headers of the classes.
#include <dlfcn.h>

#include <gtest/gtest.h>

#include "../ScriptedUartLink.h"

namespace {

class ReplacedSerialLibrary : public ScriptedUartLink {};

TEST_F(ReplacedSerialLibrary, HasNoWayToEndAPort) {
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "_Z7uartEndR4Uart"), nullptr);
    EXPECT_NE(::dlsym(RTLD_DEFAULT, "_ZN4Uart4readEmPb"), nullptr);
}

TEST_F(ReplacedSerialLibrary, CarriesALinkFromItsStartToItsEnd) {
    answerWith(responseFrame(0xA3, 0));
    start();
    supply(incoming);
    EXPECT_EQ(link->writeData(messageEnd(1, 0, {1})), Accepted);
    link.reset();
    EXPECT_EQ(port.destructions(), 1);
    EXPECT_EQ(deliveredPackets(), std::vector<ByteArray>{incoming});
    EXPECT_TRUE(errorsOf(log).empty());
}

} // namespace
