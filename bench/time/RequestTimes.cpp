#include "RequestTimes.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include <unistd.h>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlinkclient/Client.h>

#include "Exchanges.h"

namespace bench {

namespace {

constexpr std::chrono::seconds patience{5};
constexpr unsigned held = 5; // by the far side, in every state

// What a program does that needs one answer at a time and has never heard of late ones.
class ByHand {
public:
    explicit ByHand(const HostProcess& host) : link(HostLinkPhysicalLayer::create("uart", propertiesOf(host))) {
        transport = std::make_unique<HostLinkTransportLayer>(link.get());
        transport->addMessageReceivedObserver([this](const ByteArray& message) { take(message); });
        if (!link->init()) throw std::runtime_error("the UART link does not start");
    }

    std::optional<unsigned> get(uint16_t state) {
        {
            const std::lock_guard lock(mutex);
            answer.clear();
        }
        if (!transport->writeMessage(HostLinkUInt16Message(MSG_GetState).addValue(state).serialize())) return {};
        std::unique_lock lock(mutex);
        if (!came.wait_for(lock, patience, [this] { return !answer.empty(); })) return {};
        const HostLinkValueMessage message(answer);
        bool ok = false;
        const unsigned value = message.getUint8(0, &ok);
        if (!ok || HostLinkMessage::messageId(answer) != MSG_GetStateResponse) return {};
        return value;
    }

private:
    static HostLinkPhysicalLayer::Properties propertiesOf(const HostProcess& host) {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, host.slavePath());
        properties.setInt(UartBaudRate, 115200);
        properties.setInt(UartResponseTimeout, 5000);
        return properties;
    }
    void take(const ByteArray& message) {
        {
            const std::lock_guard lock(mutex);
            answer = message;
        }
        came.notify_all();
    }

    std::unique_ptr<HostLinkPhysicalLayer> link;
    std::unique_ptr<HostLinkTransportLayer> transport; // goes before the link
    std::mutex mutex;                                  // guards answer
    std::condition_variable came;
    ByteArray answer;
};

std::shared_ptr<hostlink::Client> startedClient(const HostProcess& host, const hostlink::Options& options = {}) {
    auto client = std::make_shared<hostlink::Client>(hostlink::Uart{host.slavePath(), 115200, patience}, options);
    if (!client->waitUntilUp(patience)) throw std::runtime_error("the client finds no host: " + client->linkText());
    return client;
}

bool getsWhatIsHeld(hostlink::Client& client) {
    return client.get(STA_PlayerVolume).valueOr({}) == hostlink::Value(held);
}

// A recorder records whatever the process exchanges, so there is one only while its subject runs. The other one gets
// new clients as well.
Subject withNewClients(const std::string& name, const HostProcess& host, const std::string& folder) {
    const auto client = std::make_shared<std::shared_ptr<hostlink::Client>>();
    const auto before = [client, &host, folder] {
        hostlink::Options options;
        if (!folder.empty()) options.recorder = hostlink::Recorder(hostlink::RecordingRing{folder});
        *client = startedClient(host, options);
        getsWhatIsHeld(**client);
    };
    const auto after = [client, folder] {
        client->reset();
        if (!folder.empty()) std::filesystem::remove_all(folder);
    };
    return {name, [client] { return getsWhatIsHeld(**client); }, before, after};
}

} // namespace

void registerRequestTimes(const AnsweringHosts& hosts) {
    const auto throughClient = [client = startedClient(hosts.client)] { return getsWhatIsHeld(*client); };
    const auto byHand = [program = std::make_shared<ByHand>(hosts.byHand)] {
        return program->get(STA_PlayerVolume) == held;
    };
    registerSideBySide("request over a terminal|side by side|get",
                       {{"client", throughClient}, {"transport by hand", byHand}});
    const auto folder = std::filesystem::temp_directory_path() / ("hostlink-bench-" + std::to_string(::getpid()));
    registerSideBySide("recorded request|side by side|get",
                       {withNewClients("recorded", hosts.recorded, folder.string()),
                        withNewClients("not recorded", hosts.notRecorded, "")});
    registerIdle("idle|client|half a second", [client = startedClient(hosts.idle)] { client->get(STA_PlayerVolume); });
}

} // namespace bench
