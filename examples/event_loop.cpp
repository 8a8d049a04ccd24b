// A program with a loop of its own around poll: what is typed sets the volume, what the host says is printed, all on
// one thread: hostlink-event-loop /dev/ttyS1
#include <array>
#include <cstdlib>
#include <iostream>
#include <string>

#include <poll.h>
#include <unistd.h>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: hostlink-event-loop DEVICE\n";
        return 2;
    }
    const hostlink::Events events;
    hostlink::Options options;
    options.events = events; // callbacks wait for dispatch()
    hostlink::Client host(hostlink::Uart{argv[1], 115200}, options);

    // All of these are called by dispatch() below: no locks.
    int told = 0;
    const auto link = host.onLink([&](hostlink::LinkState, const std::string& why) { std::cout << why << std::endl; });
    const auto changes = host.subscribe({STA_PlayerVolume}, [&](const hostlink::Change& change) {
        std::cout << ++told << ": the volume is " << change.value.print() << std::endl;
    });
    const auto setVolume = [&](int volume) { // a blocking set would stop the loop
        const auto done = [](const hostlink::Result<void>& set) {
            if (!set) std::cerr << set.text() << '\n';
        };
        host.setAsync(STA_PlayerVolume, volume, done, hostlink::Confirm);
    };

    std::array<pollfd, 2> waiting{{{STDIN_FILENO, POLLIN, 0}, {events.descriptor(), POLLIN, 0}}};
    while (::poll(waiting.data(), waiting.size(), -1) > 0) {
        if (waiting[1].revents != 0) events.dispatch();
        if (waiting[0].revents == 0) continue;
        std::array<char, 100> line{};
        if (::read(STDIN_FILENO, line.data(), line.size() - 1) <= 0) break; // Ctrl-D
        setVolume(std::atoi(line.data()));
    }
    return 0;
}
