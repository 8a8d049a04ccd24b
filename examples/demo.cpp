// hostlink-demo: a conversation with the host, from opening the link to closing it.
//
// The parts of a program that talks to a host are in `main` at the end: a link, a transport layer over it, observers,
// and messages. What it says to the host stands above, one function for each topic.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include <log4cplus/initializer.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Conversation.h"
#include "DemoOptions.h"
#include "FileTransfer.h"
#include "Items.h"
#include "OwnedLink.h"
#include "ProgressBar.h"

namespace {

constexpr double changeSeconds = 3;
constexpr double eventSeconds = 15;
constexpr int tries = 3;

void title(const std::string& text) {
    std::cout << "\n" << text << "\n";
}

HostLinkValueMessage getStates(Conversation& host, const std::vector<uint16_t>& states) {
    HostLinkUInt16Message request(MSG_GetState);
    for (const uint16_t state : states) request.addValue(state);
    const ByteArray answer =
        host.ask(request.serialize(), Conversation::withId(MSG_GetStateResponse), "reading states");
    HostLinkValueMessage values(answer);
    bool ok = false;
    for (int i = 0; i < values.size(); i++) {
        const uint16_t state = values.getTag(i, &ok);
        std::cout << "   " << nameOf(state) << " is " << describe(state, values, i) << "\n";
    }
    return values;
}

void subscribe(Conversation& host, const std::vector<uint16_t>& states) {
    HostLinkUInt16Message request(MSG_SubscribeState);
    for (const uint16_t state : states) request.addValue(state);
    host.ask(request.serialize(), Conversation::withId(MSG_SubscribeStateResponse), "subscribing to states");
    for (const uint16_t state : states) std::cout << "   the host will tell when " << nameOf(state) << " changes\n";
}

// A state that keeps its value is no change, so this moves between two values until the host tells one.
void changeState(Conversation& host, uint16_t state, unsigned char value, unsigned char otherValue) {
    for (int i = 0; i < tries; i++) {
        const HostLinkValueMessage request =
            HostLinkValueMessage(MSG_SetState).addValueUint8(state, i % 2 == 0 ? value : otherValue);
        const HostLinkValueMessage answer(
            host.ask(request.serialize(), Conversation::withId(MSG_SetStateResponse), "setting " + nameOf(state)));
        const int item = lastItem(answer, state);
        if (item < 0) continue;
        std::cout << "   set " << nameOf(state) << ": the host now holds " << describe(state, answer, item) << "\n";

        ByteArray change;
        const auto aboutState = [state](const ByteArray& message) {
            return HostLinkMessage::messageId(message) == MSG_StateChanged &&
                   lastItem(HostLinkValueMessage(message), state) >= 0;
        };
        if (!host.waitFor(aboutState, changeSeconds, &change)) continue;
        const HostLinkValueMessage changed(change);
        std::cout << "   the host tells: " << nameOf(state) << " changed to "
                  << describe(state, changed, lastItem(changed, state)) << "\n";
        return;
    }
    throw std::runtime_error("the host did not tell that " + nameOf(state) + " changed");
}

unsigned char valueIn(const HostLinkValueMessage& values, uint16_t state) {
    bool ok = false;
    const int index = lastItem(values, state);
    return static_cast<unsigned char>(index < 0 ? 0 : numberOf(values, index, &ok));
}

void waitForButton(Conversation& host) {
    ByteArray event;
    const auto pressed = [](const ByteArray& message) {
        return HostLinkMessage::messageId(message) == MSG_InputEvent &&
               lastItem(HostLinkValueMessage(message), BUT_KeyPressed) >= 0;
    };
    if (!host.waitFor(pressed, eventSeconds, &event))
        throw std::runtime_error("nobody pressed a button within 15 seconds. The simulator does it by itself with "
                                 "--input-event-every 500, or type 'press 1' there");
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
    if (result.bytes != content.size())
        throw std::runtime_error("the host received another number of bytes than were sent");
    if (result.hostChecksum != result.ownChecksum)
        throw std::runtime_error("the checksums differ: the file arrived damaged");
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
    title("Waiting for somebody to press a button on the host.");
    waitForButton(host);

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
    properties.setInt(MaxPacketSize, options.maxPacketSize);
    return properties;
}

void run(const DemoOptions& options) {
    std::cout << "Opening the " << options.link << " link on " << options.device << "\n";
    const OwnedLink link(HostLinkPhysicalLayer::create(options.link.c_str(), propertiesOf(options)));
    if (!link) throw std::runtime_error("there is no link named '" + options.link + "'");

    Conversation host; // outlives the transport, which delivers to it
    HostLinkTransportLayer transport(link.get());
    host.listenTo(transport);
    transport.initTransportLayer();
    if (!isOpen(*link)) throw std::runtime_error("cannot open " + options.device + "; the log line above says why");

    converse(host, options);
    transport.shutdown();
}

} // namespace

int main(int argc, char** argv) {
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
