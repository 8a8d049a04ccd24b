// decode: bytes in words.
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "Declare.h"
#include "command/UsageError.h"
#include "command/decode/InputForm.h"
#include "command/decode/Words.h"

namespace command {

namespace {

struct DecodeOptions {
    std::string file;
    std::string bytes;
};

std::string readAll(const DecodeOptions& options) {
    if (!options.bytes.empty()) return options.bytes;
    const auto contentOf = [](std::istream& input) { return std::string(std::istreambuf_iterator<char>(input), {}); };
    if (options.file.empty() || options.file == "-") return contentOf(std::cin);
    std::ifstream file(options.file, std::ios::binary);
    if (!file) throw UsageError("cannot read " + options.file);
    return contentOf(file);
}

ExitCode decode(Program& program, const DecodeOptions& options) {
    const std::vector<Piece> pieces = piecesOf(readAll(options));
    Words words(program.output());
    for (const Piece& piece : pieces) words.tellAll(piece);
    return words.wereAllPackets() ? ExitCode::Good : ExitCode::HostSaidNo;
}

} // namespace

void declareDecode(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<DecodeOptions>();
    const auto command =
        declareCommand(app, chosen, "decode",
                       "Print packets and messages in words; exit code 1 when there were bytes that belong "
                       "to none",
                       options, decode);
    const auto file =
        command.option("FILE", options->file,
                       "Hexadecimal digits, a dump as xxd or hexdump -C print it, a log of the library at TRACE, "
                       "or the bytes themselves; without it the standard input");
    file.plain();
    command.option("--bytes", options->bytes, "The bytes, in place of a file: \"FF FE 08 00 A3 09 00 00\"")
        .argument("HEX")
        .excludes(file);
}

} // namespace command
