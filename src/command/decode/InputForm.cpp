#include "InputForm.h"

#include "HexText.h"
#include "LogText.h"
#include "RecordedPieces.h"
#include "command/recording/Recording.h"

namespace command {

namespace {

struct InputForm {
    bool (*isIt)(const std::string& input);
    std::vector<Piece> (*read)(const std::string& input);
};

bool anything(const std::string&) {
    return true;
}

std::vector<Piece> oneStream(const std::string& input) {
    Piece all;
    all.bytes = bytesOf(input);
    return {all};
}

// The first that fits is it.
constexpr InputForm forms[] = {
    {isRecording, piecesOfRecording},
    {isLog, piecesOfLog},
    {anything, oneStream},
};

} // namespace

std::vector<Piece> piecesOf(const std::string& input) {
    for (const InputForm& form : forms) {
        if (form.isIt(input)) return form.read(input);
    }
    return {};
}

} // namespace command
