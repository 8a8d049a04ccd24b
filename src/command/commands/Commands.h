/// @file
/// The program's commands, a file for each family. Each declares its options with the parser and, when it is the one
/// that was given, puts what is to be done into `chosen`, which lives as long as the parser.
#pragma once

#include "command/Program.h"

namespace commandline {
class Command;
} // namespace commandline

namespace command {

void declareGet(const commandline::Command& app, Run& chosen);
void declareSet(const commandline::Command& app, Run& chosen);
void declareWatch(const commandline::Command& app, Run& chosen);
void declareEvents(const commandline::Command& app, Run& chosen);
void declarePress(const commandline::Command& app, Run& chosen);
void declareLed(const commandline::Command& app, Run& chosen);
void declareSend(const commandline::Command& app, Run& chosen);
void declareReceive(const commandline::Command& app, Run& chosen);
void declareTunnel(const commandline::Command& app, Run& chosen);
void declarePing(const commandline::Command& app, Run& chosen);
void declareStates(const commandline::Command& app, Run& chosen);
void declareProfiles(const commandline::Command& app, Run& chosen);
void declareExplain(const commandline::Command& app, Run& chosen);
void declareDecode(const commandline::Command& app, Run& chosen);
void declareRecord(const commandline::Command& app, Run& chosen);
void declareExtcap(const commandline::Command& app, Run& chosen);
void declareReplay(const commandline::Command& app, Run& chosen);
void declareDoctor(const commandline::Command& app, Run& chosen);
void declareCompletion(const commandline::Command& app, Run& chosen);
void declareManual(const commandline::Command& app, Run& chosen);

} // namespace command
