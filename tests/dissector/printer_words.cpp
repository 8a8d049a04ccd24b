// printer_words: what the library's printer says of bytes. Each line of the input is "packet HEX" or "message HEX"; the
// words come out, then a line with a dot.
#include <iostream>
#include <sstream>
#include <string>

#include <hostlink/HostLinkPrinter.h>

#include "support/Bytes.h"

int main() {
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string what;
        std::string rest;
        words >> what;
        std::getline(words, rest);
        const ByteArray data = bytes(rest);
        std::cout << (what == "packet" ? HostLinkPrinter::printHostLinkPacket(data)
                                       : HostLinkPrinter::printHostLinkMessage(data))
                  << ".\n";
    }
    return 0;
}
