/// @file
/// What others make of the same payloads. Each proves first that it reproduces every sample.
#pragma once

#include "cases/Case.h"

namespace bench {

void addMsgpack(Cases* cases);
void addNanopb(Cases* cases);
void addFlatbuffers(Cases* cases);
void addChecksumPeers(Cases* cases); ///< Boost.CRC, zlib
void addPrintPeers(Cases* cases);    ///< fmt

/// All of the above.
Cases peerCases();

} // namespace bench
