/// @file
/// The receiving end of a file that the module sends. The bytes are counted and checked, not kept.
#ifndef FIRMWARE_TRANSFER_H
#define FIRMWARE_TRANSFER_H

#include <hostlink/HostLinkLib.h>

void transferInit(void);

/// Takes one "DataTransfer" and answers it: the sequence number, the checksum of the chunk as it came, and behind the
/// last chunk the number of bytes and the checksum of the file. A chunk whose own checksum is another one is not taken;
/// the chunk taken last is answered again and not taken twice; a chunk out of sequence ends the transfer.
void transferTake(const HostLinkLL* message);

#endif
