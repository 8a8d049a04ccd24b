// hostlink-demo: a conversation with the host, from opening the link to closing it.
//
// The parts of a program that talks to a host are in `main` at the end: a link, a transport layer over it, observers,
// and messages. What it says to the host stands above, one function for each topic.
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include <log4cplus/initializer.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Conversation.h"
#include "DemoOptions.h"
#include "FileTransfer.h"
#include "Items.h"
#include "LineWatch.h"
#include "OwnedLink.h"
#include "ProgressBar.h"
#include "States.h"

namespace {

constexpr double eventSeconds = 15;

void title(const std::string& text) {
    std::cout << "\n" << text << "\n";
}

// How to press a button, where the host is the simulator.
std::string buttonHelp(const std::string& link) {
    if (link == "uart") return "type 'press 1' there, or start it with --input-event-every 500";
    return "'press 1' in the shell of scripts/hostsim-bus.sh while this program runs in the background, or start that "
           "with inputEventEveryMs=500";
}

void waitForButton(Conversation& host, const std::string& link) {
    ByteArray event;
    const auto pressed = [](const ByteArray& message) {
        return HostLinkMessage::messageId(message) == MSG_InputEvent && isReadable(message) &&
               lastItem(HostLinkValueMessage(message), BUT_KeyPressed) >= 0;
    };
    if (!host.waitFor(pressed, eventSeconds, &event)) {
        throw std::runtime_error("nobody pressed a button within 15 seconds. In the simulator: " + buttonHelp(link));
    }
    bool ok = false;
    const HostLinkValueMessage message(event);
    std::cout << "   " << buttonStateToString[BUT_KeyPressed] << ": button "
              << numberOf(message, lastItem(message, BUT_KeyPressed), &ok) << "\n";
}

ByteArray readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read the file " + path);
    return ByteArray(std::istreambuf_iterator<char>(file), {});
}

// Bytes without a pattern that a shifted or repeated chunk could hide in.
ByteArray makeFile(size_t size) {
    ByteArray content(size);
    uint32_t random = 1;
    for (unsigned char& byte : content) {
        random = random * 1664525 + 1013904223; // linear congruential generator of Numerical Recipes
        byte = static_cast<unsigned char>(random >> 24);
    }
    return content;
}

void sendFileWithProgress(Conversation& host, const std::string& name, const ByteArray& content) {
    ProgressBar bar(content.size());
    const auto began = std::chrono::steady_clock::now();
    const TransferResult result = sendFile(host, name, content, [&](size_t done) { bar.show(done); });
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
    std::cout << "   the host received " << result.bytes << " bytes in " << std::fixed << std::setprecision(1)
              << took.count() << " s, checksum " << std::hex << std::setfill('0') << std::setw(8) << result.hostChecksum
              << "; ours is " << std::setw(8) << result.ownChecksum << std::dec << "\n";
    if (result.bytes != content.size()) {
        throw std::runtime_error("the host received another number of bytes than were sent");
    }
    if (result.hostChecksum != result.ownChecksum) {
        throw std::runtime_error("the checksums differ: the file arrived damaged");
    }
}

void converse(Conversation& host, const DemoOptions& options) {
    title("Who is there?");
    getStates(host, {STA_HostSystemInfo, STA_HostFirmwareVersion});
    title("How is the player?");
    const HostLinkValueMessage player = getStates(host, {STA_PlayerVolume, STA_PlayerPlayStatus});
    title("Tell me about changes.");
    subscribe(host, {STA_PlayerVolume, STA_PlayerPlayStatus});
    title("Play, a bit louder or softer.");
    constexpr unsigned char playing = 2, paused = 3;
    const bool isPlaying = valueIn(player, STA_PlayerPlayStatus) == playing;
    changeState(host, STA_PlayerPlayStatus, isPlaying ? paused : playing, isPlaying ? playing : paused);
    const bool isLouder = valueIn(player, STA_PlayerVolume) == 40;
    changeState(host, STA_PlayerVolume, isLouder ? 30 : 40, isLouder ? 40 : 30);
    title("Waiting for somebody to press a button on the host (in the simulator: type 'press 1').");
    waitForButton(host, options.link);

    const ByteArray content = options.file.empty() ? makeFile(options.fileSize) : readFile(options.file);
    const std::string name = options.file.empty() ? "demo.bin" : options.file;
    title("Sending the file " + name + ", " + std::to_string(content.size()) + " bytes.");
    sendFileWithProgress(host, name, content);
}

HostLinkPhysicalLayer::Properties propertiesOf(const DemoOptions& options) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, options.device);
    properties.setInt(UartBaudRate, options.baud);
    properties.setInt(UartResponseTimeout, options.responseTimeout);
    properties.setInt(GpioNumber, options.gpio);
    if (!options.gpioChip.empty()) properties.setString(GpioChip, options.gpioChip);
    if (!options.gpioLine.empty()) properties.setString(GpioLine, options.gpioLine);
    properties.setInt(I2cSlaveAddress, options.i2cAddress);
    properties.setInt(SpiSpeed, options.spiSpeed);
    properties.setInt(MaxPacketSize, options.maxPacketSize);
    return properties;
}

void run(const DemoOptions& options) {
    std::cout << "Opening the " << options.link << " link on " << options.device << "\n";
    Conversation host; // outlives the transport, which delivers to it, and the link, whose end it is told
    const LineWatch watch([&host](const std::string& reason) { host.lineLost(reason); });
    const OwnedLink link(HostLinkPhysicalLayer::create(options.link.c_str(), propertiesOf(options)));
    if (!link) throw std::runtime_error("there is no link named '" + options.link + "'");

    HostLinkTransportLayer transport(link.get());
    host.listenTo(transport);
    transport.initTransportLayer();
    if (!isOpen(*link)) throw std::runtime_error("cannot open " + options.device + "; a log line above says why");

    converse(host, options);
    transport.shutdown();
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // whoever reads a pipe gets each line when it is printed
    DemoOptions options;
    if (const auto exitCode = parseCommandLine(argc, argv, options)) return *exitCode;
    const log4cplus::Initializer logging; // one for the whole program
    startLogging(options.logLevel);
    try {
        run(options);
    } catch (const std::exception& error) {
        std::cout << std::flush;
        std::cerr << "hostlink-demo: " << error.what() << "\n";
        return 1;
    }
    std::cout << "\nAll went well.\n";
    return 0;
}
