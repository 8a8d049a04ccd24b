// Prints states of the host, and each change, until Enter is pressed: hostlink-watch /dev/ttyS1 PlayerVolume
#include <iostream>
#include <vector>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: hostlink-watch DEVICE STATE...\n";
        return 2;
    }
    hostlink::Client host(hostlink::Uart{argv[1], 115200});

    // On a thread of the subscription's own: it may take its time, and may ask the host.
    const auto print = [](const hostlink::Change& change) {
        std::cout << change.state.name() << " is " << change.value.print(change.state)
                  << (change.wasRead ? "" : ", says the host") << std::endl;
    };
    const auto changes = host.subscribe(std::vector<hostlink::StateId>(argv + 2, argv + argc), print);

    const auto established = changes.established(std::chrono::seconds(5));
    if (!established) {
        std::cerr << established.text() << '\n';
        return 1;
    }
    std::cin.get();
    return 0;
}
