// zent-soak: watches links for a long time, and asks them for the truth for a long time. scripts/soak.sh starts it.
#include <cstdio>
#include <exception>
#include <random>

#include <CLI/CLI.hpp>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include "Matrix.h"
#include "Watch.h"

namespace {

int run(int argc, char** argv) {
    CLI::App app("Links over a long time: the serial link, and inside the bus rig I2C and SPI as well.");
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
    CLI11_PARSE(app, argc, argv);

    const log4cplus::Initializer initializer;
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    watch.idle = std::chrono::seconds(idle);
    watch.traffic = std::chrono::seconds(traffic);
    matrix.time = std::chrono::seconds(time);
    if (round->parsed()) return truth::runRound(one) ? 0 : 1;
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
