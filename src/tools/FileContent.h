/// @file
/// The bytes of a file that the host sends.
#pragma once

#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include <hostlink/ByteArray.h>

/// All of it; none when it cannot be read.
inline std::optional<ByteArray> contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    ByteArray content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) return std::nullopt; // a folder can be opened, but not read
    return content;
}

/// What a file is called without the folders that it is in.
inline std::string lastPartOf(const std::string& path) {
    return path.substr(path.find_last_of('/') + 1);
}
