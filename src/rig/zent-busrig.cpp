// zent-busrig: buses and an interrupt line without hardware, with the simulated host behind them.

#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include <unistd.h>

#include <commandline/CommandLine.h>
#include <descriptor/Descriptor.h>

#include "HostSlave.h"
#include "Rig.h"
#include "RigCommands.h"
#include "RigControlServer.h"
#include "RigFs.h"
#include "RigSandbox.h"

namespace {

using descriptor::Descriptor;

sigset_t endSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, number);
    return signals;
}

struct Places {
    std::string mountPoint;
    std::string controlPath;
    int readyDescriptor = -1;
};

void tellReady(const Descriptor& waiting) {
    if (!waiting) return;
    const char byte = 1;
    if (::write(waiting.get(), &byte, 1) != 1) throw std::runtime_error("nobody waits for the rig");
}

/// Until one of the end signals comes. They must be blocked in every thread that is started here.
void serve(const busrig::HostSetup& setup, const Places& places) {
    const sigset_t signals = endSignals();
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    busrig::Rig rig([&setup] { return std::make_unique<busrig::HostSlave>(setup); });
    const busrig::RigFs fileSystem(rig, places.mountPoint, [] { ::kill(::getpid(), SIGTERM); });
    busrig::RigCommands commands(rig);
    const busrig::RigControlServer control(commands, places.controlPath);
    tellReady(Descriptor(places.readyDescriptor));
    int received = 0;
    ::sigwait(&signals, &received);
    rig.stop();
}

} // namespace

int main(int argc, char** argv) {
    commandline::CommandLine app(
        "Serves GPIO lines and bus devices without hardware, with a simulated host behind them, until SIGTERM.");
    std::string hostOptions;
    Places places;
    app.option("--host-options", hostOptions, "Behaviour of the host: name=value,name=value");
    app.option("mountpoint", places.mountPoint, "An existing folder; gpio/ and dev/ appear in it").required();
    app.option("control", places.controlPath, "Path of the control socket to make").required();
    app.option("ready", places.readyDescriptor, "Descriptor that gets one byte once everything is there");
    if (const auto code = app.read(argc, argv)) return *code;

    try {
        serve(busrig::HostSetup::fromText(hostOptions), places);
        return 0;
    } catch (const std::invalid_argument& wrong) {
        fprintf(stderr, "zent-busrig: %s\n", wrong.what());
        return 2;
    } catch (const std::exception& reason) {
        fprintf(stderr, "zent-busrig: %s\n", reason.what());
        return busrig::skipExitCode;
    }
}
