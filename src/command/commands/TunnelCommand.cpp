// tunnel: TCP connections through the host.
#include <string>

#include "Declare.h"
#include "LinkWatch.h"
#include "command/StateText.h"
#include "command/UsageError.h"

namespace command {

namespace {

struct TunnelOptions {
    std::string listen = "127.0.0.1:0";
};

hostlink::TunnelSettings settingsFrom(const std::string& listen) {
    const std::size_t colon = listen.rfind(':');
    hostlink::TunnelSettings settings;
    if (colon != std::string::npos) settings.address = listen.substr(0, colon);
    const auto port = numberFrom(listen.substr(colon == std::string::npos ? 0 : colon + 1));
    const auto fits =
        port ? port->to<uint16_t>() : hostlink::Result<uint16_t>(hostlink::Failure(hostlink::Outcome::BadArgument, ""));
    if (!fits || settings.address.empty()) throw UsageError("'" + listen + "' is not PORT or ADDRESS:PORT");
    settings.port = *fits;
    return settings;
}

ExitCode tunnel(Program& program, const TunnelOptions& options) {
    const hostlink::TunnelSettings settings = settingsFrom(options.listen);
    const hostlink::Listening link = tellLosses(program);
    auto made = program.host().tunnel(settings);
    if (!made) return program.output().failed(made);
    json::Object ready;
    ready.text("listening", settings.address).number("port", made->port());
    program.output().line("listening at " + settings.address + " port " + std::to_string(made->port()), ready);
    program.stop().wait();
    const hostlink::TunnelStatistics all = made->statistics();
    json::Object object;
    object.number("opened", all.opened).number("refused", all.refused).number("finished", all.finished);
    object.number("broken", all.broken).number("bytesToHost", all.bytesToHost);
    object.number("bytesFromHost", all.bytesFromHost).number("repeated", all.repeated);
    program.output().line(std::to_string(all.opened) + " connections, " + std::to_string(all.refused) + " refused, " +
                              std::to_string(all.bytesToHost) + " bytes to the host, " +
                              std::to_string(all.bytesFromHost) + " from it",
                          object);
    return endOf(program);
}

} // namespace

void declareTunnel(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<TunnelOptions>();
    const auto command = declareCommand(app, chosen, "tunnel",
                                        "Listen for TCP connections and carry them through the host", options, tunnel);
    command
        .option("--listen,LISTEN", options->listen,
                "PORT, or ADDRESS:PORT; whoever reaches the address reaches what is behind the host")
        .argument("ADDRESS:PORT")
        .showPreset();
}

} // namespace command
