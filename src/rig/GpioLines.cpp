#include "GpioLines.h"

#include <cerrno>
#include <utility>

#include <poll.h>

namespace busrig {

namespace {

/// sysfs compares its words with or without the newline that `echo` appends.
std::string withoutNewline(std::string text) {
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

} // namespace

void wakeAll(Wakeups& wakeups) {
    for (auto& waiter : wakeups) waiter->wake();
    wakeups.clear();
}

int GpioLines::exportLine(int line) {
    if (!exists(line)) return -EINVAL;
    Line& exported = at(line);
    if (exported.exported) return -EBUSY;
    exported.exported = true;
    ++exported.exportSerial;
    exported.edge = "none";
    exported.fallingEdges = 0;
    return 0;
}

int GpioLines::unexportLine(int line) {
    if (!isExported(line)) return -EINVAL;
    if (kernel != nullptr) {
        kernel->unexport(line);
    } else {
        at(line).giveBack();
    }
    return 0;
}

int GpioLines::unexportAtAnEdge(int line, Wakeups& wakeups) {
    if (isExported(line)) notify(at(line), wakeups);
    return unexportLine(line);
}

bool GpioLines::isExported(int line) const {
    return exists(line) && at(line).exported;
}

void GpioLines::setController(bool there) {
    if (there == controller) return;
    controller = there;
    for (Line& line : lines) line.giveBack();
    if (kernel == nullptr) return;
    kernel->setController(there);
    if (there) countEdges();
}

void GpioLines::reset() {
    setController(true);
    for (int line = 0; line < lineCount; ++line) {
        if (isExported(line)) unexportLine(line);
        at(line).output = false;
        if (kernel != nullptr) at(line).fallingEdges = 0;
    }
}

void GpioLines::lead(KernelSide& kernelSide) {
    kernel = &kernelSide;
    for (int line = 0; line < lineCount; ++line) kernel->setLevel(line, levelOf(at(line)));
    countEdges();
}

void GpioLines::countEdges() {
    for (Line& line : lines) {
        line.exported = true;
        line.edge = "falling";
    }
}

void GpioLines::drive(int line, bool high, Wakeups& wakeups) {
    Line& driven = at(line);
    const bool wasHigh = levelOf(driven);
    const bool moves = driven.drivenHigh != high;
    driven.drivenHigh = high;
    levelChanged(driven, wasHigh, wakeups);
    if (moves && kernel != nullptr) kernel->setLevel(line, high);
}

void GpioLines::levelChanged(Line& line, bool wasHigh, Wakeups& wakeups) {
    const bool isHigh = levelOf(line);
    const bool fell = wasHigh && !isHigh && (line.edge == "falling" || line.edge == "both");
    const bool rose = !wasHigh && isHigh && (line.edge == "rising" || line.edge == "both");
    if (fell) ++line.fallingEdges;
    if (fell || rose) notify(line, wakeups);
}

void GpioLines::open(GpioFile& file, int line, GpioAttribute attribute) {
    file.line = line;
    file.attribute = attribute;
    file.exportSerial = at(line).exportSerial;
    if (attribute == GpioAttribute::Value) at(line).open.insert(&file);
}

void GpioLines::close(GpioFile& file) {
    at(file.line).closedFiles += at(file.line).open.erase(&file);
}

int GpioLines::read(GpioFile& file, char* buffer, size_t size, size_t offset) {
    if (isGone(file)) return -ENODEV;
    file.seenEvents = at(file.line).events; // even by a read behind the end, which shows nothing
    const std::string content = text(file);
    if (offset >= content.size()) return 0;
    return static_cast<int>(content.copy(buffer, size, offset));
}

int GpioLines::write(GpioFile& file, const std::string& text) {
    if (isGone(file)) return -ENODEV;
    Line& line = at(file.line);
    const std::string word = withoutNewline(text);
    int result = 0;
    if (file.attribute == GpioAttribute::Direction) {
        result = writeDirection(line, word);
    } else if (file.attribute == GpioAttribute::Edge) {
        result = writeEdge(line, word);
    } else if (!line.output) {
        result = -EPERM;
    } else if (word != "0" && word != "1") {
        result = -EINVAL;
    } else {
        line.outputHigh = word == "1"; // an output gives no interrupts
    }
    return result < 0 ? result : static_cast<int>(text.size());
}

unsigned GpioLines::poll(GpioFile& file, std::unique_ptr<PollWaiter> waiter) {
    if (waiter) file.waiter = std::move(waiter);
    // sysfs files always read and write without blocking; POLLERR accompanies every POLLPRI.
    const unsigned always = POLLIN | POLLOUT;
    const bool pending =
        isGone(file) || (file.attribute == GpioAttribute::Value && file.seenEvents != at(file.line).events);
    return pending ? always | POLLPRI | POLLERR : always;
}

bool GpioLines::isGone(const GpioFile& file) const {
    const Line& line = at(file.line);
    return !line.exported || line.exportSerial != file.exportSerial;
}

std::string GpioLines::text(const GpioFile& file) const {
    const Line& line = at(file.line);
    switch (file.attribute) {
    case GpioAttribute::Direction: return line.output ? "out\n" : "in\n";
    case GpioAttribute::Edge: return line.edge + "\n";
    case GpioAttribute::Value: break;
    }
    return levelOf(line) ? "1\n" : "0\n";
}

int GpioLines::writeDirection(Line& line, const std::string& text) {
    if (text == "in") {
        line.output = false;
        return 0;
    }
    if (text != "out" && text != "low" && text != "high") return -EINVAL;
    line.output = true; // although it may serve as an interrupt: what comes of that is the controller's
    line.outputHigh = text == "high";
    return 0;
}

int GpioLines::writeEdge(Line& line, const std::string& text) {
    if (text != "none" && text != "rising" && text != "falling" && text != "both") return -EINVAL;
    if (text != "none" && line.output) return -EIO; // the kernel grants no interrupt on an output
    line.edge = text;
    return 0;
}

void GpioLines::notify(Line& line, Wakeups& wakeups) {
    ++line.events;
    for (GpioFile* file : line.open) {
        if (file->waiter) wakeups.push_back(std::move(file->waiter));
    }
}

} // namespace busrig
