// Prints the keys that are pressed on the host, until Enter is pressed here: hostlink-events /dev/ttyS1
#include <iostream>

#include <hostlinkclient/Client.h>

namespace {

const char* nameOf(ButtonState event) {
    switch (event) {
    case BUT_KeyReleased: return "released";
    case BUT_KeyPressed: return "pressed";
    case BUT_KeyRepeated: return "repeated";
    }
    return "something else";
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: hostlink-events DEVICE\n";
        return 2;
    }
    hostlink::Client host(hostlink::Uart{argv[1], 115200});

    const auto keys = host.onInputEvent([](const hostlink::InputEvent& event) {
        std::cout << "key " << event.key.print() << ' ' << nameOf(event.event) << std::endl;
    });
    if (!host.waitUntilUp(std::chrono::seconds(5))) {
        std::cerr << host.linkText() << '\n';
        return 1;
    }
    std::cout << "waiting for keys" << std::endl;
    std::cin.get();
    return 0;
}
