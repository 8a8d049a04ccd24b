// zent-kernelrig CONTROL [HOST_OPTIONS]: the rig's host and its control socket behind a real kernel's I2C adapters, SPI
// devices and GPIO lines, whose hardware the modules rigbus and riggpio leave to this program. Until it is killed. Once
// the control socket appears, all of it is there.

#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include <descriptor/Descriptor.h>
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
    const descriptor::Descriptor first = kernelrig::openBoard(0);
    const descriptor::Descriptor second = kernelrig::openBoard(1);
    busrig::RigCommands commands(rig);
    // A socket has its name before anybody listens there, and who has waited for the name connects at once.
    const std::string hidden = std::string(control) + ".new";
    const busrig::RigControlServer server(commands, hidden);
    if (std::rename(hidden.c_str(), control) != 0) throw std::system_error(errno, std::generic_category(), control);
    std::thread other([&] { kernelrig::serveBoard(rig, 1, second); });
    kernelrig::serveBoard(rig, 0, first);
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
