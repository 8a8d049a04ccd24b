/// @file
/// Which signals the threads block that write a logger's lines.
#pragma once

#include <csignal>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

/// Notes with each line of one logger the signal mask of the thread that writes it. Beside a `LogCapture` of the same
/// logger, made after it and destroyed before it.
class MaskCapture {
public:
    explicit MaskCapture(const std::string& loggerName)
        : logger(log4cplus::Logger::getInstance(loggerName)), recorder(new Recorder), attached(recorder) {
        logger.addAppender(attached);
    }
    ~MaskCapture() { logger.removeAppender(attached); }
    MaskCapture(const MaskCapture&) = delete;
    MaskCapture& operator=(const MaskCapture&) = delete;

    /// What is wrong with the mask of the thread that wrote the first line with this text in it: it must block what is
    /// sent to a process, and must not block what a thread raises itself. Empty when all is well.
    std::string faultOf(const std::string& text) const {
        const std::lock_guard lock(recorder->mutex);
        for (const auto& [line, mask] : recorder->masks)
            if (line.find(text) != std::string::npos) return faultIn(mask);
        return "no line says: " + text;
    }

private:
    struct Recorder : log4cplus::Appender {
        ~Recorder() override { destructorImpl(); }
        void close() override { closed = true; }
        void append(const log4cplus::spi::InternalLoggingEvent& event) override {
            sigset_t mask;
            pthread_sigmask(SIG_BLOCK, nullptr, &mask);
            const std::lock_guard lock(mutex);
            masks.emplace_back(event.getMessage(), mask);
        }

        std::mutex mutex; // guards masks
        std::vector<std::pair<std::string, sigset_t>> masks;
    };

    static std::string faultIn(const sigset_t& mask) {
        for (const int sent : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGCHLD, SIGPIPE, SIGWINCH,
                               SIGIO, SIGTSTP, SIGCONT, SIGVTALRM, SIGPROF, SIGXCPU, SIGRTMIN, SIGRTMAX})
            if (sigismember(&mask, sent) == 0) return "takes signal " + std::to_string(sent);
        for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
            if (sigismember(&mask, own) == 1) return "blocks signal " + std::to_string(own);
        return "";
    }

    log4cplus::Logger logger;
    Recorder* recorder; // owned by `attached`
    log4cplus::SharedAppenderPtr attached;
};
