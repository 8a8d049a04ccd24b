/// @file
/// The commands of the control interface. README.md lists them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Rig.h"

namespace busrig {

class RigCommands {
public:
    explicit RigCommands(Rig& sharedRig) : rig(sharedRig) {}

    /// Carries out one line and gives the answer, one line without its end: "ok", "ok TEXT", "error TEXT", or
    /// "timeout" from "wait", which blocks as long as it says. Any thread.
    std::string execute(const std::string& line);

private:
    using Words = std::vector<std::string>;
    std::string carryOut(size_t board, const Words& words);
    std::string carryOutFault(size_t board, const Words& words);
    std::string carryOutReply(size_t board, const Words& words);
    std::string askSlave(size_t board, const Words& words);
    std::string wait(size_t board, const Words& words);
    std::string phase(size_t board, const Words& words);

    Rig& rig;
};

} // namespace busrig
