// press and led: what is told to the host and not answered.
#include <chrono>
#include <string>
#include <vector>

#include <hostlink/HostLinkVocabulary.h>

#include "Declare.h"
#include "command/StateText.h"
#include "command/UsageError.h"

namespace command {

namespace {

struct PressOptions {
    std::string key;
    bool press = false;
    bool release = false;
    bool repeat = false;
};

struct LedOptions {
    std::string command;
    std::string value;
    int refusalTime = 100; ///< milliseconds
};

hostlink::Value keyFrom(const std::string& text) {
    const auto number = numberFrom(text);
    return number ? *number : hostlink::Value(text);
}

std::vector<ButtonState> eventsOf(const PressOptions& options) {
    if (!options.press && !options.release && !options.repeat) return {BUT_KeyPressed, BUT_KeyReleased};
    std::vector<ButtonState> events;
    if (options.press) events.push_back(BUT_KeyPressed);
    if (options.repeat) events.push_back(BUT_KeyRepeated);
    if (options.release) events.push_back(BUT_KeyReleased);
    return events;
}

ExitCode press(Program& program, const PressOptions& options) {
    const hostlink::Value key = keyFrom(options.key);
    for (const ButtonState event : eventsOf(options)) {
        const auto sent = program.host().sendInputEvent(event, key, program.call());
        if (!sent) return program.output().failed(sent);
        const std::string& name = buttonStateToString.at(event);
        json::Object object;
        object.text("event", name).raw("key", key.isNumber() ? key.print() : json::quoted(key.print()));
        program.output().line(name + " " + key.print(), object);
    }
    return ExitCode::Good;
}

LedApiCmd ledCommandNamed(const std::string& text) {
    std::string known;
    for (const auto& [command, name] : ledApiCmdToString) {
        const bool isNamed = name == text || name == "LED_" + text;
        if (isNamed || std::to_string(static_cast<unsigned>(command)) == text) return command;
        known += (known.empty() ? "" : ", ") + name;
    }
    throw UsageError("there is no LED command '" + text + "'; there is " + known);
}

ExitCode led(Program& program, const LedOptions& options) {
    const LedApiCmd command = ledCommandNamed(options.command);
    const hostlink::Value value = keyFrom(options.value);
    program.waitForRefusals(std::chrono::milliseconds(options.refusalTime));
    const auto sent = program.host().setLed(command, value, program.call());
    if (!sent) return program.output().failed(sent);
    const std::string& name = ledApiCmdToString.at(command);
    json::Object object;
    object.text("led", name).raw("value", value.isNumber() ? value.print() : json::quoted(value.print()));
    program.output().line(name + " " + value.print(), object);
    return ExitCode::Good;
}

} // namespace

void declarePress(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<PressOptions>();
    const auto command =
        declareCommand(app, chosen, "press", "Tell the host of a key: pressed and released", options, press);
    command.option("KEY", options->key, "The key's number").required().plain();
    command.flag("--down", options->press, "Pressed");
    command.flag("--repeat", options->repeat, "Held so long that it repeats");
    command.flag("--up", options->release, "Released");
}

void declareLed(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<LedOptions>();
    const auto command = declareCommand(app, chosen, "led", "Send a command for the host's LEDs", options, led);
    command.option("COMMAND", options->command, "SetPalette, SetPattern, or its number").required().plain();
    command.option("VALUE", options->value, "A number, or a text").required().plain();
    command
        .option("--refusal-time", options->refusalTime,
                "How long the host may take to say that it does not support it, in milliseconds: nothing else "
                "answers it")
        .argument("MS")
        .positive()
        .showPreset();
}

} // namespace command
