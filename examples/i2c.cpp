// Over I2C: hostlink-i2c /dev/i2c-1 0x42 17, or with a line of a chip: hostlink-i2c /dev/i2c-1 0x42 17 /dev/gpiochip0
// The line is the one that the host pulls down when it has something to say.
#include <cstdlib>
#include <iostream>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc < 4) {
        std::cerr << "usage: hostlink-i2c DEVICE ADDRESS LINE [CHIP]\n";
        return 2;
    }
    hostlink::I2c bus;
    bus.device = argv[1];
    bus.address = static_cast<int>(std::strtol(argv[2], nullptr, 0));
    bus.gpio = std::atoi(argv[3]);
    if (argc > 4) bus.watch.chip = argv[4]; // else the line is exported by sysfs
    hostlink::Client host(bus);

    // From here on nothing differs from a serial port.
    const auto volume = host.get(STA_PlayerVolume);
    if (!volume) {
        std::cerr << volume.text() << '\n';
        return 1;
    }
    std::cout << "the volume is " << volume->print() << '\n';
    return 0;
}
