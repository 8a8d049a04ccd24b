/// @file
/// The loggers of transport and links, and how their lines get out.
///
/// A link's threads run on while `exit` destroys what libraries hold. The loggers are therefore never destroyed, and
/// every line of a file that includes this goes through a gate that is closed before log4cplus is.
#pragma once

#include <optional>

#include <log4cplus/loggingmacros.h>

#include <serialcomm/LogGate.h>

/// "HostLinkPhysicalLayer": the link base and every link.
log4cplus::Logger& linkLogger();
/// "HostLinkTransportLayer".
log4cplus::Logger& transportLogger();

/// What each line passes.
extern serialcomm::LogGate logGate;

/// Whether the logger's own level lets such a line through. Unlike `isEnabledFor` this looks at nothing but loggers,
/// which ours keep alive: a line that is off costs no pass and is safe at any time.
inline bool isLevelOn(const log4cplus::Logger& logger, log4cplus::LogLevel level) {
    return level >= logger.getChainedLogLevel();
}

/// One line's way out: whether it is let through, and its stay inside the gate while it is written.
class LinePass {
public:
    LinePass(const log4cplus::Logger& logger, log4cplus::LogLevel level) {
        if (!isLevelOn(logger, level)) return;
        pass.emplace(logGate);
        open = *pass && logger.isEnabledFor(level);
    }
    explicit operator bool() const { return open; }

private:
    std::optional<serialcomm::LogGate::Pass> pass;
    bool open = false;
};

// LOG4CPLUS_ERROR and its like are made of this; the gate stands in it so that no line can go past.
#undef LOG4CPLUS_MACRO_BODY
#define LOG4CPLUS_MACRO_BODY(logger, logEvent, logLevel)                                                               \
    do {                                                                                                               \
        log4cplus::Logger& lineLogger = (logger);                                                                      \
        const LinePass linePass(lineLogger, log4cplus::logLevel);                                                      \
        if (LOG4CPLUS_MACRO_LOGLEVEL_PRED(static_cast<bool>(linePass), logLevel)) {                                    \
            LOG4CPLUS_MACRO_INSTANTIATE_OSTRINGSTREAM(lineText);                                                       \
            lineText << logEvent; /* NOLINT(bugprone-macro-parentheses): a stream expression */                        \
            log4cplus::detail::macro_forced_log(lineLogger, log4cplus::logLevel, lineText.str(),                       \
                                                LOG4CPLUS_MACRO_FILE(), __LINE__, LOG4CPLUS_MACRO_FUNCTION());         \
        }                                                                                                              \
    } while (0)
