/// @file
/// The UART link above the scripted serial library.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/Packets.h"
#include "support/scripted/ScriptedPort.h"

inline constexpr auto linkLogger = "HostLinkPhysicalLayer";
inline constexpr auto devicePath = "/dev/scripted";

/// A response timeout that a test never waits for: where it would be waited for, the test fails.
inline constexpr int never = 120000;
/// One that a test does wait for.
inline constexpr int shortly = 50;

/// A message packet of 15 bytes from the host.
inline const ByteArray incoming = bytes("FF FE 0F 00 23 07 00 00 02 00 01 15 00 00 00");

inline HostLinkPhysicalLayer::Properties propertiesOf(int timeout) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, devicePath);
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, timeout);
    return properties;
}

inline std::vector<std::string> errorsOf(const LogCapture& log) {
    return log.texts(log4cplus::ERROR_LOG_LEVEL);
}

class ScriptedUartLink : public testing::Test {
protected:
    // Made, not started. Such a link must be started, or handed to `keep`.
    void make(const HostLinkPhysicalLayer::Properties& properties) {
        link = std::make_unique<UartPhysicalLayer>(properties);
        link->addDataReceivedObserver([this](ByteArray packet) {
            const std::lock_guard lock(deliveredMutex);
            delivered.push_back(std::move(packet));
        });
    }

    // Started and idle, with an empty log.
    void start(int timeout = never) {
        make(propertiesOf(timeout));
        ASSERT_TRUE(link->init());
        ASSERT_TRUE(port.waitForIdleReader());
        log.clear();
    }

    // For links that never started: destroying one ends the process, on purpose. It stays reachable instead.
    void keep() {
        static auto& kept = *new std::vector<std::unique_ptr<UartPhysicalLayer>>;
        kept.push_back(std::move(link));
    }

    // The reader has dealt with everything before.
    void supply(const ByteArray& chunk) {
        port.supply(chunk);
        ASSERT_TRUE(port.waitForIdleReader());
    }

    // From now on the host answers each packet, acknowledgements excepted, with these bytes.
    void answerWith(const ByteArray& response) {
        port.onWrite([this, response](const ByteArray& packet) {
            if (packet.size() > 8) port.supply(response);
        });
    }

    std::vector<ByteArray> deliveredPackets() {
        const std::lock_guard lock(deliveredMutex);
        return delivered;
    }

    ScriptedPort port{devicePath};
    LogCapture log{linkLogger};
    std::mutex deliveredMutex; // guards delivered
    std::vector<ByteArray> delivered;
    std::unique_ptr<UartPhysicalLayer> link; // goes first
};
