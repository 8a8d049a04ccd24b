// doctor: what keeps a link from working, and the command that mends it.
#include <string>

#include "Declare.h"
#include "command/doctor/WireChecks.h"

namespace command {

namespace {

struct DoctorOptions {};

void tell(Output& output, const Finding& finding) {
    json::Object object;
    object.text("finding", finding.what).text("verdict", nameOf(finding.verdict)).text("about", finding.about);
    object.text("text", finding.text);
    if (!finding.remedy.empty()) object.text("remedy", finding.remedy);
    std::string head = nameOf(finding.verdict);
    head.resize(6, ' ');
    head += finding.what;
    head.resize(head.size() < 17 ? 17 : head.size(), ' ');
    output.line(head + " " + finding.about + ": " + finding.text +
                    (finding.remedy.empty() ? "" : "\n      do: " + finding.remedy),
                object);
}

ExitCode doctor(Program& program, const DoctorOptions&) {
    Findings findings;
    const WireOptions wire = program.wire();
    if (wire.uart)
        checkPort(wire, findings);
    else if (wire.i2c)
        checkI2c(wire, findings);
    else if (wire.spi)
        checkSpi(wire, findings);
    else if (wire.gpio || wire.gpioChip)
        checkLine(wire, findings);
    else
        listDevices(findings);
    for (const Finding& finding : findings.list()) tell(program.output(), finding);
    const std::size_t good = findings.count(Verdict::Good);
    const std::size_t doubtful = findings.count(Verdict::Doubtful);
    const std::size_t bad = findings.count(Verdict::Bad);
    program.output().line(std::to_string(good) + " ok, " + std::to_string(doubtful) + " to look at, " +
                              std::to_string(bad) + " that keep a link from working",
                          json::Object().number("ok", good).number("warn", doubtful).number("fail", bad));
    return bad == 0 ? ExitCode::Good : ExitCode::NoLink;
}

} // namespace

void declareDoctor(const commandline::Command& app, Run& chosen) {
    declareCommand(app, chosen, "doctor",
                   "Look at the device and its line, or without one at what the machine offers, and tell what keeps a "
                   "link from working and what mends it; changes nothing",
                   std::make_shared<DoctorOptions>(), doctor);
}

} // namespace command
