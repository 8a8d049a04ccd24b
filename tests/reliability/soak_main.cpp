// zent-soak: watches links for a long time, and asks them for the truth for a long time. scripts/soak.sh starts it.
#include <cstdio>
#include <exception>
#include <random>

#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include <commandline/CommandLine.h>

#include "ClientAnswers.h"
#include "ClientSets.h"
#include "Matrix.h"
#include "Watch.h"

namespace {

int run(int argc, char** argv) {
    commandline::CommandLine app(
        "Links over a long time: the serial link, inside the bus rig I2C and SPI as well, and the client.");
    app.needsCommand();
    truth::WatchOptions watch;
    truth::MatrixOptions matrix;
    matrix.seed = std::random_device()();
    long idle = 30;
    long traffic = 30;
    long time = 15;
    const commandline::Command soak = app.command("watch", "All links idle, then with traffic; nothing may grow");
    soak.option("--idle", idle, "Seconds").range(10L, 1000000L);
    soak.option("--traffic", traffic, "Seconds").range(10L, 1000000L);
    const commandline::Command truth = app.command("truth", "Every kind of fault at every rate, on all links at once");
    truth.option("--time", time, "Seconds").range(1L, 1000000L);
    truth.option("--seed", matrix.seed, "Of messages and faults; a random one when absent");
    truth.option("--csv", matrix.csvPath, "File for the figures");
    truth::RoundOptions one;
    const commandline::Command round = app.command("round", "One round of the truth run again, as its WRONG line says");
    round.option("--link", one.link, "uart, i2c, spi").required();
    round.option("--kind", one.kind, "For example LostByte").required();
    round.option("--rate", one.rate, "Share of the packets that are hit").required();
    round.option("--seed", one.seed, "Of messages and faults").required();
    round.option("--segments", one.segments, "Times with faults");
    round.option("--messages", one.messages, "Of each of them");
    uint64_t sets = 1000000;
    uint32_t setsSeed = std::random_device()();
    const commandline::Command client =
        app.command("client", "What a set's \"done\" is worth through a client, by damaged packets");
    client.option("--sets", sets, "Confirmed ones at the highest rate").range(1000UL, 1000000000UL);
    client.option("--seed", setsSeed, "Of values and faults; a random one when absent");
    uint64_t requests = 100000;
    uint32_t requestsSeed = std::random_device()();
    const commandline::Command answers =
        app.command("answers", "Whose answer it is, while answers are late, lost, repeated, swapped");
    answers.option("--requests", requests, "In all").range(1000UL, 1000000000UL);
    answers.option("--seed", requestsSeed, "Of requests and faults; a random one when absent");
    if (const auto code = app.read(argc, argv)) return *code;

    const log4cplus::Initializer initializer;
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    watch.idle = std::chrono::seconds(idle);
    watch.traffic = std::chrono::seconds(traffic);
    matrix.time = std::chrono::seconds(time);
    if (round.isGiven()) return truth::runRound(one) ? 0 : 1;
    if (client.isGiven()) return truth::runClientCurve(sets, setsSeed) ? 0 : 1;
    if (answers.isGiven()) return truth::runClientAnswers(requests, requestsSeed) ? 0 : 1;
    const bool good = soak.isGiven() ? truth::runWatch(watch) : truth::runMatrix(matrix);
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
