// Sends a file to the host: hostlink-send-file /dev/ttyS1 firmware.bin
#include <cstdlib>
#include <iostream>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: hostlink-send-file DEVICE FILE [CHUNK]\n";
        return 2;
    }
    hostlink::Client host(hostlink::Uart{argv[1], 115200});

    hostlink::SendOptions options;
    if (argc > 3) options.chunk = static_cast<size_t>(std::atol(argv[3]));
    options.progress = [](const hostlink::Progress& far) {
        std::cout << far.bytes << " of " << far.total.value_or(0) << " bytes, " << static_cast<long>(far.bytesPerSecond)
                  << " a second" << std::endl;
    };
    const auto sent = host.sendFile(argv[2], options);
    if (!sent) {
        std::cerr << sent.text() << '\n';
        return 1;
    }
    std::cout << "the host holds " << sent->bytes << " bytes, checksum 0x" << std::hex << sent->checksum << std::dec
              << ", after " << sent->took.count() << " ms, " << sent->repeated << " chunks sent again, begun anew "
              << sent->restarts << " times" << std::endl;
    return 0;
}
