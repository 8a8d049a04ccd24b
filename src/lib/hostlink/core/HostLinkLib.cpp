// The function core as one translation unit: the one file that firmware on the host micro-controller adds to its build
// (freestanding, without exceptions or a C++ library), and one unit within which the compiler sees every call.
#if !__has_include("Packet.cpp") || !__has_include("../HostLinkLib.h")
#error HostLinkLib.cpp was copied alone. It includes the other files of its folder, src/lib/hostlink/core, and the headers \
of src/lib/hostlink. A folder with all that a firmware needs is made by: scripts/pack-firmware.py FOLDER
#else
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
#endif
