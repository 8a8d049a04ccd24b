// Over SPI, with the questions asked at once and the answers waited for later: hostlink-spi /dev/spidev0.0 1000000 17
#include <cstdlib>
#include <future>
#include <iostream>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: hostlink-spi DEVICE HERTZ LINE\n";
        return 2;
    }
    hostlink::Spi bus;
    bus.device = argv[1];
    bus.speed = std::atoi(argv[2]);
    bus.gpio = std::atoi(argv[3]); // the line that the host pulls down when it has something to say
    hostlink::Client host(bus);

    auto set = host.setAsync(STA_PlayerVolume, 40);
    auto mute = host.getAsync(STA_PlayerMute);
    // Time for something else.
    const auto isSet = set.get();
    const auto isMute = mute.get();
    if (!isSet || !isMute) {
        std::cerr << isSet.text() << '\n' << isMute.text() << '\n';
        return 1;
    }
    std::cout << "the volume is 40, " << (isMute->to<bool>().valueOr(false) ? "muted" : "not muted") << '\n';
    return 0;
}
