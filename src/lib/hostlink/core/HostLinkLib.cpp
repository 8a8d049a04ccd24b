// The function core as one translation unit: the one file that firmware on the host micro-controller adds to its build
// (freestanding, without exceptions or a C++ library), and one unit within which the compiler sees every call.
// NOLINTBEGIN(bugprone-suspicious-include): the parts are sources of this unit and of nothing else.

// The bodies that HostLinkInline.h has are this unit's too.
#define HOSTLINK_INLINE
#include "../HostLinkLib.h"

#include "Checksum.cpp"
#include "Frame.cpp"
#include "ListMessage.cpp"
#include "Message.cpp"
#include "MessageBuffer.cpp"
#include "Packet.cpp"
#include "VariantMessage.cpp"
// NOLINTEND(bugprone-suspicious-include)
