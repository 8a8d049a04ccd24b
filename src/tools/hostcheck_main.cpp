// zent-hostcheck: plays the module against a host and tells what it does right and wrong.
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include <unistd.h>

#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include <hostcheck/Report.h>
#include <hostcheck/Rules.h>

#include "CheckerPorts.h"
#include "CheckerSocket.h"
#include "HostcheckOptions.h"

using hostcheck::Check;
using hostcheck::Outcome;
using hostcheck::Result;

namespace {

constexpr int checkFailed = 1;
constexpr int noDevice = 2;
constexpr int wasInterrupted = 130;

std::unique_ptr<hostcheck::SerialWire> openSerial(const HostcheckOptions& options) {
    if (SocketPort::isSocket(options.device)) return std::make_unique<SocketPort>(options);
    return std::make_unique<SerialPort>(options);
}

// One wire, whichever was asked for, and the bench on it.
struct Workplace {
    hostcheck::Transcript transcript;
    std::unique_ptr<hostcheck::SerialWire> serial;
    std::unique_ptr<BusPort> bus;
    std::unique_ptr<hostcheck::Link> link;
    std::unique_ptr<hostcheck::Bench> bench;

    explicit Workplace(const HostcheckOptions& options) {
        hostcheck::BusLink* busLink = nullptr;
        if (options.link == "uart") {
            serial = openSerial(options);
            link = std::make_unique<hostcheck::SerialLink>(*serial, transcript);
        } else {
            bus = std::make_unique<BusPort>(options);
            auto packets = std::make_unique<hostcheck::BusLink>(*bus, transcript);
            busLink = packets.get();
            link = std::move(packets);
        }
        bench = std::make_unique<hostcheck::Bench>(*link, serial.get(), busLink, bus.get(), options.setup);
    }
};

// What is being done, for a person at a terminal; gone when it is done.
class Progress {
public:
    Progress(const char* name, size_t number, size_t all) {
        if (isShown) std::cerr << "[" << number << "/" << all << "] " << name << std::flush;
    }
    ~Progress() {
        if (isShown) std::cerr << "\r\x1b[K" << std::flush;
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    bool isShown = ::isatty(STDERR_FILENO) == 1;
};

class Session {
public:
    Session(const HostcheckOptions& checkOptions, Workplace& workplace)
        : options(checkOptions), runner(*workplace.bench, workplace.transcript) {}

    /// False when it was interrupted.
    bool run(const std::vector<const Check*>& checks) {
        try {
            for (unsigned turn = 0; turn < options.repeat; ++turn) {
                for (const Check* check : checks) make(*check, checks.size() * options.repeat);
            }
        } catch (const hostcheck::Interrupted&) {
            std::cerr << "\nInterrupted: leaving the host in order\n";
            leave();
            return false;
        }
        leave();
        return true;
    }

    const std::vector<Result>& results() const { return made; }

private:
    void make(const Check& check, size_t all) {
        made.push_back(runWithProgress(check, all));
        if (!options.json) std::cout << hostcheck::asText(made.back()) << std::flush;
    }

    Result runWithProgress(const Check& check, size_t all) {
        const Progress progress(check.name, made.size() + 1, all);
        return runner.run(check);
    }

    void leave() {
        try {
            if (!runner.leaveInOrder()) std::cerr << "zent-hostcheck: a state could not be put back\n";
        } catch (const hostcheck::Interrupted&) {
            std::cerr << "zent-hostcheck: interrupted again, the host is left as it is\n";
        }
    }

    const HostcheckOptions& options;
    hostcheck::Runner runner;
    std::vector<Result> made;
};

bool anyFailed(const std::vector<Result>& results) {
    for (const Result& one : results) {
        if (one.outcome == Outcome::Failed) return true;
    }
    return false;
}

// False when the file cannot be written.
bool report(const HostcheckOptions& options, const std::vector<Result>& results) {
    if (options.json) {
        std::cout << hostcheck::asJson(results);
    } else {
        std::cout << '\n' << hostcheck::summary(results);
    }
    std::cout << std::flush;
    if (options.junit.empty()) return true;
    std::ofstream file(options.junit);
    file << hostcheck::asJunit(results) << std::flush;
    if (!file) std::cerr << "zent-hostcheck: cannot write " << options.junit << '\n';
    return file.good();
}

int checkHost(const HostcheckOptions& options) {
    const auto checks = hostcheck::selected(options.only, options.mustsOnly);
    if (options.list) {
        std::cout << hostcheck::checkList(checks);
        return 0;
    }
    if (options.rules) {
        std::cout << hostcheck::rulesAsMarkdown();
        return 0;
    }
    if (options.device.empty()) throw std::invalid_argument("--device is required; --help tells more");
    Interruption::takeSignals();
    Workplace workplace(options);
    Session session(options, workplace);
    bool isWhole = false;
    try {
        isWhole = session.run(checks);
    } catch (const hostcheck::LineLost&) {
        report(options, session.results());
        throw;
    }
    if (!report(options, session.results())) return noDevice;
    if (!isWhole) return wasInterrupted;
    return anyFailed(session.results()) ? checkFailed : 0;
}

} // namespace

int main(int argc, char** argv) {
    HostcheckOptions options;
    if (const auto code = parseCommandLine(argc, argv, options)) return *code;
    const log4cplus::Initializer logging;
    log4cplus::BasicConfigurator(log4cplus::Logger::getDefaultHierarchy(), true).configure(); // true: standard error
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::ERROR_LOG_LEVEL);
    try {
        return checkHost(options);
    } catch (const std::exception& error) {
        std::cerr << "zent-hostcheck: " << error.what() << '\n';
        return noDevice;
    }
}
