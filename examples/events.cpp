// Prints the keys that are pressed on the host, until Enter is pressed here: hostlink-events /dev/ttyS1
#include <iostream>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: hostlink-events DEVICE\n";
        return 2;
    }
    hostlink::Client host(hostlink::Uart{argv[1], 115200});

    const auto keys = host.onInputEvent([](const hostlink::InputEvent& event) {
        const char* what = event.event == BUT_KeyPressed ? "pressed" : event.event == BUT_KeyReleased ? "released" : "";
        std::cout << "key " << event.key.print() << ' ' << what << std::endl;
    });
    if (!host.waitUntilUp(std::chrono::seconds(5))) {
        std::cerr << host.linkText() << '\n';
        return 1;
    }
    std::cout << "waiting for keys" << std::endl;
    std::cin.get();
    return 0;
}
