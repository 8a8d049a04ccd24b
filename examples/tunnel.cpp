// Lets programs on the module reach a TCP server behind the host:
//     hostlink-tunnel /dev/ttyS1 8080 &    curl http://127.0.0.1:8080/
#include <cstdlib>
#include <iostream>
#include <string>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "usage: hostlink-tunnel DEVICE [PORT [MILLISECONDS]]\n";
        return 2;
    }
    hostlink::Uart port{argv[1], 115200};
    if (argc > 3) port.responseTimeout = std::chrono::milliseconds(std::atoi(argv[3]));
    hostlink::Client host(port);

    hostlink::TunnelSettings settings;
    settings.port = static_cast<uint16_t>(argc > 2 ? std::atoi(argv[2]) : 0);
    const auto tunnel = host.tunnel(settings);
    if (!tunnel) {
        std::cerr << tunnel.text() << '\n';
        return 1;
    }
    std::cout << "listening at 127.0.0.1 port " << tunnel->port() << std::endl;

    for (std::string line; std::getline(std::cin, line);) { // until Ctrl-D; Enter tells how it goes
        const hostlink::TunnelStatistics now = tunnel->statistics();
        std::cout << now.open << " open, " << now.bytesToHost << " bytes to the host, " << now.bytesFromHost
                  << " from it, " << now.repeated << " requests repeated" << std::endl;
    }
    return 0;
}
