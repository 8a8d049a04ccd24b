// Sets the volume to each number that is typed, whatever becomes of the host: hostlink-reconnect /dev/ttyS1
// Unplug the host, or end the simulator with kill -9, type a number, and let it come back.
#include <iostream>
#include <string>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: hostlink-reconnect DEVICE\n";
        return 2;
    }
    hostlink::Options options;
    options.whileDown = hostlink::WhileDown::Wait; // requests wait for the host, as long as their deadline
    options.deadline = std::chrono::minutes(1);
    options.longestPause = std::chrono::seconds(1); // between two attempts to open the device
    hostlink::Client host(hostlink::Uart{argv[1], 115200}, options);

    const auto link = host.onLink([](hostlink::LinkState state, const std::string& why) {
        const std::string now = state == hostlink::LinkState::Up ? "up: " : "not up: ";
        std::cout << now + why + "\n" << std::flush; // in one piece: the other callback prints, too
    });
    // Subscribed again by the client whenever the host is back, and told when it holds something else then.
    const auto changes = host.subscribe({STA_PlayerVolume}, [](const hostlink::Change& change) {
        std::cout << "the volume is " + change.value.print() + "\n" << std::flush;
    });

    for (int volume = 0; std::cin >> volume;) {
        const auto set = host.set(STA_PlayerVolume, volume, hostlink::Confirm);
        if (!set) std::cerr << set.text() << '\n';
    }
    return 0;
}
