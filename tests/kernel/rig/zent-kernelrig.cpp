// zent-kernelrig CONTROL [HOST_OPTIONS]: the rig's host and its control socket behind a real kernel's I2C adapters, SPI
// devices and GPIO lines, whose hardware the modules rigbus and riggpio leave to this program. Until it is killed.

#include <cstdio>
#include <exception>
#include <memory>
#include <thread>

#include <rig/HostSlave.h>
#include <rig/Rig.h>
#include <rig/RigCommands.h>
#include <rig/RigControlServer.h>

#include "KernelBus.h"
#include "KernelFiles.h"

namespace {

void serve(const char* control, const busrig::HostSetup& setup) {
    kernelrig::KernelFiles kernel;
    busrig::Rig rig([&setup] { return std::make_unique<busrig::HostSlave>(setup); });
    rig.access([&kernel](busrig::RigState& state, busrig::Wakeups&) {
        state.lead(kernel);
        return 0;
    });
    busrig::RigCommands commands(rig);
    const busrig::RigControlServer server(commands, control);
    std::thread second([&rig] { kernelrig::serveBoard(rig, 1); });
    kernelrig::serveBoard(rig, 0);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        fputs("usage: zent-kernelrig CONTROL [HOST_OPTIONS]\n", stderr);
        return 2;
    }
    try {
        serve(argv[1], busrig::HostSetup::fromText(argc > 2 ? argv[2] : ""));
    } catch (const std::exception& reason) {
        fprintf(stderr, "zent-kernelrig: %s\n", reason.what());
    }
    return 70;
}
