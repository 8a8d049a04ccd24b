// zent-busrig-run: runs a program where GPIO lines and bus devices are those of the rig.
//
// Kept apart from the rig itself because it must have one thread (see runInSandbox), which neither a sanitizer's
// runtime nor the logging library of the rig grants.

#include <cstdio>
#include <string>
#include <vector>

#include <commandline/CommandLine.h>

#include "RigSandbox.h"
#include "RigState.h"

namespace {

void printWiring() {
    fprintf(stderr, "bus rig:");
    for (size_t i = 0; i < busrig::boards.size(); ++i) {
        const busrig::Board& board = busrig::boards[i];
        fprintf(stderr, " board %zu: GPIO line %d, /dev/%s address 0x%02x, /dev/%s;", i + 1, board.interruptLine,
                board.i2cDevice, busrig::slaveAddress, board.spiDevice);
    }
    fprintf(stderr, " control socket in $ZENT_RIG_CONTROL\n");
}

} // namespace

int main(int argc, char** argv) {
    commandline::CommandLine app(
        "Runs a program where /sys/class/gpio, /dev/i2c-* and /dev/spidev* are those of the bus rig.");
    std::string server;
    std::string hostOptions;
    bool quiet = false;
    busrig::SandboxCommand command;
    app.option("--server", server, "The program zent-busrig").required();
    app.option("--host-options", hostOptions, "Behaviour of the host: name=value,name=value");
    app.flag("--quiet", quiet, "Do not print what is where");
    app.option("command", command.words, "-- and the program with its arguments").required();
    if (const auto code = app.read(argc, argv)) return *code;

    if (!quiet) printWiring();
    command.server = {server};
    if (!hostOptions.empty()) command.server.insert(command.server.end(), {"--host-options", hostOptions});
    return busrig::runInSandbox(command);
}
