#include "RecordedPieces.h"

#include <cstdio>
#include <ctime>

#include "command/recording/Recording.h"

namespace command {

namespace {

// "12:00:00.123456", of this place's day.
std::string clockText(uint64_t nanoseconds) {
    constexpr uint64_t perSecond = 1'000'000'000;
    constexpr uint64_t perMicrosecond = 1000;
    const auto seconds = static_cast<std::time_t>(nanoseconds / perSecond);
    std::tm fields{};
    ::localtime_r(&seconds, &fields);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%H:%M:%S", &fields);
    std::snprintf(text + length, sizeof text - length, ".%06u",
                  static_cast<unsigned>(nanoseconds % perSecond / perMicrosecond));
    return text;
}

Direction directionOf(capture::Direction direction) {
    switch (direction) {
    case capture::Direction::Outbound: return Direction::ToHost;
    case capture::Direction::Inbound: return Direction::FromHost;
    case capture::Direction::Unknown: break;
    }
    return Direction::Unknown;
}

} // namespace

std::vector<Piece> piecesOfRecording(const std::string& content) {
    const Recording recording = recordingOf(content);
    std::vector<Piece> pieces;
    for (Said& said : saidIn(recording)) {
        Piece piece;
        piece.bytes = std::move(said.stretch.bytes);
        piece.direction = directionOf(said.direction);
        piece.time = clockText(said.time);
        if (recording.interfaces.size() > 1) piece.time += " " + recording.interfaces[said.interface].name;
        pieces.push_back(std::move(piece));
    }
    return pieces;
}

} // namespace command
