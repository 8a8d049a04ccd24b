// zent-busrig-say [@BOARD] COMMAND [ARGUMENT...]: one command to the rig around this program, as README.md lists them.
// Prints the answer.

#include <cstdio>
#include <exception>
#include <string>

#include "RigControl.h"

int main(int argc, char** argv) {
    int at = 1;
    const bool second = argc > 1 && std::string(argv[1]) == "@2";
    if (second || (argc > 1 && std::string(argv[1]) == "@1")) at = 2;
    std::string line;
    for (int i = at; i < argc; ++i) line += (line.empty() ? "" : " ") + std::string(argv[i]);
    if (line.empty() || line.find('\n') != std::string::npos) {
        fputs("usage: zent-busrig-say [@BOARD] COMMAND [ARGUMENT...]\n", stderr);
        return 2;
    }
    try {
        const std::string answer = busrig::RigControl(second ? busrig::secondBoard : busrig::firstBoard).command(line);
        if (!answer.empty()) puts(answer.c_str());
        return 0;
    } catch (const std::exception& reason) {
        fprintf(stderr, "%s\n", reason.what());
        return 1;
    }
}
