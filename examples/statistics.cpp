// Asks the host a hundred times, and prints what has happened on the wire: hostlink-statistics /dev/ttyS1 [--json]
#include <iostream>
#include <string>

#include <hostlinkclient/Client.h>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "usage: hostlink-statistics DEVICE [--json]\n";
        return 2;
    }
    hostlink::Client host(hostlink::Uart{argv[1], 115200});

    int answered = 0;
    for (int i = 0; i < 100; ++i)
        if (host.get(STA_PlayerVolume)) ++answered;
    const hostlink::Statistics statistics = host.statistics(); // any time, from any thread
    if (argc > 2 && std::string(argv[2]) == "--json") {
        std::cout << statistics.json() << '\n';
    } else {
        std::cout << answered << " of 100 answered, 90 of 100 answers within "
                  << statistics.responseTimes.percentile(90).count() << " us\n"
                  << statistics.text();
    }
    return answered == 100 ? 0 : 1;
}
