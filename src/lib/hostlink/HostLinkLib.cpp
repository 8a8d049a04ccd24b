// The function core as one translation unit: the one file that firmware on the host micro-controller adds to its build
// (freestanding, without exceptions or a C++ library), and one unit within which the compiler sees every call.
// NOLINTBEGIN(bugprone-suspicious-include): the parts are sources of this unit and of nothing else.
#include "core/Checksum.cpp"
#include "core/Frame.cpp"
#include "core/ListMessage.cpp"
#include "core/Message.cpp"
#include "core/MessageBuffer.cpp"
#include "core/Packet.cpp"
#include "core/VariantMessage.cpp"
// NOLINTEND(bugprone-suspicious-include)
