// Reads states of the host: hostlink-get /dev/ttyS1 PlayerVolume PlayerPlayStatus
#include <iostream>
#include <vector>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: hostlink-get DEVICE STATE...\n"
                     "STATE is a name, for example PlayerVolume, or a number.\n";
        return 2;
    }
    hostlink::Client host(hostlink::Uart{argv[1], 115200});

    const auto values = host.getMany(std::vector<hostlink::StateId>(argv + 2, argv + argc));
    if (!values) {
        std::cerr << values.text() << '\n'; // what happened, and what to do
        return 1;
    }
    for (const auto& [state, value] : *values)
        std::cout << state.name() << " is " << value.print(state) << '\n'; // a name where the value has one: "Playing"
    return 0;
}
