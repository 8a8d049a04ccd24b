#include "hostlinkclient/session/Sources.h"

#include <utility>

namespace hostlink {

StreamSource::StreamSource(std::shared_ptr<std::istream> from) : stream(std::move(from)), first(stream->tellg()) {
    if (first == std::istream::pos_type(-1) || !stream->seekg(0, std::ios::end)) {
        stream->clear();
        first = -1;
        return;
    }
    bytes = static_cast<uint64_t>(stream->tellg() - first);
    stream->seekg(first);
}

std::optional<size_t> StreamSource::read(uint8_t* to, size_t room) {
    stream->read(reinterpret_cast<char*>(to), static_cast<std::streamsize>(room));
    if (stream->bad()) return std::nullopt;
    return static_cast<size_t>(stream->gcount());
}

bool StreamSource::rewind() {
    if (first == std::istream::pos_type(-1)) return false;
    stream->clear();
    return static_cast<bool>(stream->seekg(first));
}

} // namespace hostlink
