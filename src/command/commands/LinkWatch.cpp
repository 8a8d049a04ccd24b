#include "LinkWatch.h"

namespace command {

hostlink::Listening tellLosses(Program& program) {
    return program.host().onLink([&program](hostlink::LinkState state, const std::string& why) {
        if (state == hostlink::LinkState::Down) program.output().failed(ExitCode::NoLink, "LinkDown", why);
    });
}

// What was asked for may have come while the link was not yet known to be up.
ExitCode endOf(Program& program) {
    return program.host().linkState() == hostlink::LinkState::Down ? ExitCode::NoLink : ExitCode::Good;
}

} // namespace command
