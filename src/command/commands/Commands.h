/// @file
/// The program's commands, a file for each family. Each declares its options with the parser and, when it is the one
/// that was given, puts what is to be done into `chosen`, which lives as long as the parser.
#pragma once

#include "command/Program.h"

namespace CLI {
class App;
} // namespace CLI

namespace command {

void declareGet(CLI::App& app, Run& chosen);
void declareSet(CLI::App& app, Run& chosen);
void declareWatch(CLI::App& app, Run& chosen);
void declareEvents(CLI::App& app, Run& chosen);
void declarePress(CLI::App& app, Run& chosen);
void declareLed(CLI::App& app, Run& chosen);
void declareSend(CLI::App& app, Run& chosen);
void declareReceive(CLI::App& app, Run& chosen);
void declareTunnel(CLI::App& app, Run& chosen);
void declarePing(CLI::App& app, Run& chosen);
void declareStates(CLI::App& app, Run& chosen);
void declareProfiles(CLI::App& app, Run& chosen);
void declareExplain(CLI::App& app, Run& chosen);
void declareDecode(CLI::App& app, Run& chosen);
void declareRecord(CLI::App& app, Run& chosen);
void declareExtcap(CLI::App& app, Run& chosen);
void declareReplay(CLI::App& app, Run& chosen);
void declareDoctor(CLI::App& app, Run& chosen);
void declareCompletion(CLI::App& app, Run& chosen);
void declareManual(CLI::App& app, Run& chosen);

} // namespace command
