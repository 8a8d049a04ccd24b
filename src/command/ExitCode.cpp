#include "ExitCode.h"

namespace command {

ExitCode exitCodeOf(hostlink::Outcome outcome) {
    using hostlink::Outcome;
    switch (outcome) {
    case Outcome::Done: return ExitCode::Good;
    case Outcome::Unsupported:
    case Outcome::WithoutState:
    case Outcome::HoldsAnother:
    case Outcome::Aborted: return ExitCode::HostSaidNo;
    case Outcome::BadArgument: return ExitCode::BadUsage;
    case Outcome::NotSent:
    case Outcome::LinkDown:
    case Outcome::TimedOutBeforeSending: return ExitCode::NoLink;
    case Outcome::Unanswered:
    case Outcome::Cancelled: break;
    }
    return ExitCode::Unknown;
}

} // namespace command
