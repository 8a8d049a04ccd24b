// zent-soak: watches links for a long time, and asks them for the truth for a long time. scripts/soak.sh starts it.
#include <cstdio>
#include <exception>
#include <random>

#include <CLI/CLI.hpp>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include "ClientAnswers.h"
#include "ClientSets.h"
#include "Matrix.h"
#include "Watch.h"

namespace {

int run(int argc, char** argv) {
    CLI::App app("Links over a long time: the serial link, inside the bus rig I2C and SPI as well, and the client.");
    app.require_subcommand(1);
    truth::WatchOptions watch;
    truth::MatrixOptions matrix;
    matrix.seed = std::random_device()();
    long idle = 30;
    long traffic = 30;
    long time = 15;
    CLI::App* soak = app.add_subcommand("watch", "All links idle, then with traffic; nothing may grow");
    soak->add_option("--idle", idle, "Seconds")->check(CLI::Range(10L, 1000000L));
    soak->add_option("--traffic", traffic, "Seconds")->check(CLI::Range(10L, 1000000L));
    CLI::App* truth = app.add_subcommand("truth", "Every kind of fault at every rate, on all links at once");
    truth->add_option("--time", time, "Seconds")->check(CLI::Range(1L, 1000000L));
    truth->add_option("--seed", matrix.seed, "Of messages and faults; a random one when absent");
    truth->add_option("--csv", matrix.csvPath, "File for the figures");
    truth::RoundOptions one;
    CLI::App* round = app.add_subcommand("round", "One round of the truth run again, as its WRONG line says");
    round->add_option("--link", one.link, "uart, i2c, spi")->required();
    round->add_option("--kind", one.kind, "For example LostByte")->required();
    round->add_option("--rate", one.rate, "Share of the packets that are hit")->required();
    round->add_option("--seed", one.seed, "Of messages and faults")->required();
    round->add_option("--segments", one.segments, "Times with faults");
    round->add_option("--messages", one.messages, "Of each of them");
    uint64_t sets = 1000000;
    uint32_t setsSeed = std::random_device()();
    CLI::App* client =
        app.add_subcommand("client", "What a set's \"done\" is worth through a client, by damaged packets");
    client->add_option("--sets", sets, "Confirmed ones at the highest rate")->check(CLI::Range(1000UL, 1000000000UL));
    client->add_option("--seed", setsSeed, "Of values and faults; a random one when absent");
    uint64_t requests = 100000;
    uint32_t requestsSeed = std::random_device()();
    CLI::App* answers =
        app.add_subcommand("answers", "Whose answer it is, while answers are late, lost, repeated, swapped");
    answers->add_option("--requests", requests, "In all")->check(CLI::Range(1000UL, 1000000000UL));
    answers->add_option("--seed", requestsSeed, "Of requests and faults; a random one when absent");
    CLI11_PARSE(app, argc, argv);

    const log4cplus::Initializer initializer;
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    watch.idle = std::chrono::seconds(idle);
    watch.traffic = std::chrono::seconds(traffic);
    matrix.time = std::chrono::seconds(time);
    if (round->parsed()) return truth::runRound(one) ? 0 : 1;
    if (client->parsed()) return truth::runClientCurve(sets, setsSeed) ? 0 : 1;
    if (answers->parsed()) return truth::runClientAnswers(requests, requestsSeed) ? 0 : 1;
    const bool good = soak->parsed() ? truth::runWatch(watch) : truth::runMatrix(matrix);
    return good ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& reason) {
        std::fprintf(stderr, "zent-soak: %s\n", reason.what());
        return 2;
    }
}
