// Sets a state of the host and tells what came of it: hostlink-set /dev/ttyS1 PlayerVolume 40
#include <cstdlib>
#include <iostream>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: hostlink-set DEVICE STATE VALUE\n"
                     "VALUE is a number, or the name of one: hostlink-set /dev/ttyS1 PlayerPlayStatus Playing\n";
        return 2;
    }
    const hostlink::StateId state = argv[2];
    char* end = nullptr;
    const hostlink::Value number = std::strtoll(argv[3], &end, 0);
    const auto value = *end == '\0' ? number : hostlink::Value::named(state, argv[3]);
    if (!value) {
        std::cerr << value.text() << '\n';
        return 2;
    }
    hostlink::Client host(hostlink::Uart{argv[1], 115200});

    // Reads the state back, and sets it again where it arrived damaged: a packet carries no checksum. Leave `Confirm`
    // away for a state that is a command, which must not be given twice.
    const auto set = host.set(state, *value, hostlink::Confirm);
    if (set) {
        std::cout << state.name() << " is " << value->print(state) << '\n';
        return 0;
    }
    std::cerr << set.text() << '\n';
    switch (set.outcome()) {
    case hostlink::Outcome::HoldsAnother: std::cerr << "(the host has limits of its own)\n"; break;
    case hostlink::Outcome::Unanswered: std::cerr << "(perhaps it is set)\n"; break;
    default: break;
    }
    return 1;
}
