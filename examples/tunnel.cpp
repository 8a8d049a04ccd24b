// Lets programs on the module reach a TCP server behind the host:
//     hostlink-tunnel /dev/ttyS1 8080 &    curl http://127.0.0.1:8080/
// On a line that damages much most of the time is waiting; a host that answers within 3 ms and gives up half a packet
// after 5 ms need not be waited for longer:
//     hostlink-tunnel /dev/ttyS1 8080 3 5
#include <cstdlib>
#include <iostream>
#include <string>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "usage: hostlink-tunnel DEVICE [PORT [RESPONSE_MS [PACKET_MS]]]\n";
        return 2;
    }
    using std::chrono::milliseconds;
    hostlink::Uart port{argv[1], 115200};
    hostlink::Options options;
    hostlink::TunnelSettings settings;
    settings.port = static_cast<uint16_t>(argc > 2 ? std::atoi(argv[2]) : 0);
    if (argc > 3) port.responseTimeout = milliseconds(std::atoi(argv[3]));
    if (argc > 4) {
        settings.hostPacketTimeout = milliseconds(std::atoi(argv[4]));
        port.maxPacketSize = 128; // one is lost as easily as two of 64, and acknowledged once
        options.unansweredWrites = 3;
        options.answerTime = 4 * settings.hostPacketTimeout;
        options.firstPause = milliseconds(1);
        options.longestPause = milliseconds(20);
    }
    hostlink::Client host(port, options);
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
