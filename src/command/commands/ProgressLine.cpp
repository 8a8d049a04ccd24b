#include "ProgressLine.h"

namespace command {

namespace {

constexpr std::chrono::seconds nextLine{1};

std::string textOf(const hostlink::Progress& now) {
    std::string text = std::to_string(now.bytes);
    if (now.total) text += " of " + std::to_string(*now.total);
    text += " bytes, " + std::to_string(static_cast<long>(now.bytesPerSecond)) + " a second";
    if (now.left) text += ", " + std::to_string(std::chrono::ceil<std::chrono::seconds>(*now.left).count()) + " s left";
    return text;
}

json::Object objectOf(const hostlink::Progress& now) {
    json::Object object;
    object.number("bytes", now.bytes).number("bytesPerSecond", static_cast<long>(now.bytesPerSecond));
    if (now.total) object.number("total", *now.total);
    if (now.left) object.number("leftMs", now.left->count());
    return object;
}

} // namespace

void ProgressLine::show(const hostlink::Progress& now) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (!out.isJson() && drawn.isTerminal()) {
        drawn.show(now.bytes, now.total.value_or(0), textOf(now));
        return;
    }
    const auto time = std::chrono::steady_clock::now();
    if (last == decltype(last){}) last = time; // the first line after a second: most files are sent by then
    if (time - last < nextLine) return;
    last = time;
    out.line(textOf(now), objectOf(now));
}

void ProgressLine::tell(const std::string& text, const json::Object& object) {
    const std::lock_guard<std::mutex> lock(mutex);
    drawn.end();
    out.line(text, object);
}

void ProgressLine::end() {
    const std::lock_guard<std::mutex> lock(mutex);
    drawn.end();
}

} // namespace command
