/// @file
/// What the host's answer to a packet means; the same on every wire.
#pragma once

#include "hostlink/HostLinkPhysicalLayer.h"

/// Reads the answer to a packet, logging what is wrong with it: `noAnswer` at ERROR for an empty one.
WriteDataResponse resultOfResponse(const ByteArray& answer, const char* noAnswer);
