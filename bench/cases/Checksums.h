/// @file
/// What the library's checksum and its competitors are given.
#pragma once

#include "Case.h"

namespace bench {

const std::vector<size_t>& checksumSizes();
std::vector<uint8_t> checksumData(size_t size);

/// The checksum bit by bit, with no table and none of the library's code: what every competitor must give.
uint32_t checksumByBits(const std::vector<uint8_t>& data);

/// Gets ready for the data and returns what computes its checksum.
using MakeChecksum = std::function<std::function<uint32_t()>(const std::vector<uint8_t>&)>;
void addChecksum(Cases* cases, const std::string& subject, const MakeChecksum& make);

} // namespace bench
