// hostlink-ten-lines [DEVICE]: sets the volume on the host and prints what the host says of it, until Enter is pressed.
#include <cstdlib>
#include <iostream>

#include <hostlinkclient/Client.h>

namespace {

// Ends the program unless it was called with a device, or with nothing.
void readArguments(int argc, char** argv) {
    if (argc == 1 || (argc == 2 && argv[1][0] != '-')) return;
    const std::string option = argv[1];
    const bool isHelp = option == "--help" || option == "-h";
    (isHelp ? std::cout : std::cerr) << "usage: hostlink-ten-lines [DEVICE]\n"
                                        "Sets the volume on the host at this serial port (/dev/ttyS1) and prints what "
                                        "the host says of it, until Enter is pressed.\n";
    std::exit(isHelp ? 0 : 2);
}

} // namespace

int main(int argc, char** argv) {
    readArguments(argc, argv);
    hostlink::Client host(hostlink::Uart{argc > 1 ? argv[1] : "/dev/ttyS1", 115200});
    const auto changes = host.subscribe({STA_PlayerVolume}, [](const hostlink::Change& change) {
        std::cout << change.state.name() << " is " << change.value.print() << std::endl; // may ask the host, too
    });
    const auto set = host.set(STA_PlayerVolume, 40, hostlink::Confirm); // set and read back
    if (!set) std::cerr << set.text() << std::endl; // what happened, whether the host may have done it, what to do
    std::cin.get();                                 // a host that goes meanwhile is subscribed again when it is back
    return 0;
}
