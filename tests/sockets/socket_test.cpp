// Addresses and sockets, over the loopback interface.
#include <stdexcept>
#include <system_error>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include <sockets/Socket.h>

using namespace hostlink::exchange;

TEST(Addresses, OfTheLoopbackInterface) {
    const auto addresses = addressesOf("127.0.0.1", 80);
    ASSERT_EQ(addresses.size(), 1u);
    EXPECT_EQ(addresses[0].bytes.ss_family, AF_INET);
}

TEST(Addresses, OfANameThatIsNoneSayWhich) {
    try {
        addressesOf("256.0.0.1.invalid", 80);
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("no address for \"256.0.0.1.invalid\": "), std::string::npos);
    }
}

TEST(Listening, GetsAPortOfTheSystem) {
    const Socket socket = listenAt("127.0.0.1", 0);
    EXPECT_NE(portOf(socket), 0);
}

TEST(Listening, WhereSomebodyDoesAlreadySaysWhere) {
    const Socket socket = listenAt("127.0.0.1", 0);
    try {
        listenAt("127.0.0.1", portOf(socket));
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EADDRINUSE);
        const std::string text = "cannot listen at 127.0.0.1 port " + std::to_string(portOf(socket));
        EXPECT_EQ(std::string(error.what()).find(text), 0u);
    }
}

TEST(Connecting, ToAnAddressOfNoKindGivesNone) {
    TcpAddress address;
    address.bytes.ss_family = 12345;
    EXPECT_FALSE(beginToConnect(address));
}

TEST(Connecting, ThatCannotBeginGivesNone) {
    TcpAddress address = addressesOf("255.255.255.255", 80).front(); // nobody listens to everybody
    EXPECT_FALSE(beginToConnect(address));
}
