/// @file
/// The function core of the host link: packets, frames, messages and the data-transfer checksum over buffers that the
/// caller owns.
///
/// The functions allocate nothing, keep no state, take no lock and call nothing but `memcpy`/`memmove` and the report
/// of the one assertion, so the same source builds for the module and, freestanding, for the host micro-controller.
/// This header reads as C99 and as C++17.
///
/// Every multi-byte field is little-endian. A fallible function makes all its checks before it writes anything and
/// returns the code of the first check that failed; the order of the codes in each description is the order of the
/// checks. Readers are the exception: what they read before the check that failed (a size, a count, the tag and
/// encoding of an item) may stand in the output. All functions are reentrant: they touch only their arguments.
///
/// The one assertion reports through the C library, which brings stdio and malloc into a firmware. A firmware that has
/// a stop of its own defines `HOSTLINK_ASSERT(condition)` where it compiles `HostLinkLib.cpp`; it must not go on when
/// the condition is false:
///
///     -D'HOSTLINK_ASSERT(condition)=((condition) ? (void)0 : __builtin_trap())'
///
/// A program that builds one list message has 1216 bytes of code and constants with it and 8548 without
/// (arm-none-eabi-g++ 12.2, newlib-nano, -mcpu=cortex-m4 -mthumb -Os -ffreestanding -fno-exceptions -fno-rtti
/// -ffunction-sections, -Wl,--gc-sections; 1320 and 9452 for cortex-m0). All functions together take 2908 bytes.
#ifndef HOSTLINK_LIB_H
#define HOSTLINK_LIB_H

#include <stdint.h>

#include "HostLinkExport.h"
#include "HostLinkNumbers.h"

#ifdef __cplusplus
extern "C" {
#endif

/// A frame being assembled from packets; owned by the caller, one thread at a time.
typedef struct HostLinkFrameRecord {
    uint8_t* data;     ///< receives the payloads in order of arrival; owned by the caller
    uint32_t capacity; ///< bytes at `data`
    uint32_t size;     ///< payload bytes gathered so far
    uint8_t frameId;   ///< of the first packet that arrived while `size` was 0
    uint8_t complete;  ///< "last" flag of the packet added most recently, 0 or 1
    uint32_t type;     ///< frame type of that first packet
} HostLinkFrameRecord;

/// A message being built or read; owned by the caller, one thread at a time.
typedef struct HostLinkLL {
    uint8_t* data;     ///< the message bytes; owned by the caller
    uint32_t capacity; ///< bytes available at `data`
    uint32_t used;     ///< bytes written so far: the message length
} HostLinkLL;

/// A read-only view of a binary value in up to two pieces; valid as long as the buffer it points into.
typedef struct HostLinkBin16 {
    const uint8_t* first;
    const uint8_t* second; ///< null when the value is in one piece
    uint16_t firstLength;
    uint16_t secondLength;
} HostLinkBin16;

/// One item of a variant message, as the readers return it.
typedef struct HostLinkVariant {
    union {
        uint8_t bytes[8];    ///< fixed-length encodings: the value's own little-endian bytes from the start
        HostLinkBin16 bin16; ///< `ENC_Bin16`: a one-piece view into the message
    } value;
    uint16_t tag;
    uint8_t encoding;
} HostLinkVariant;

/// A walk over the items of a variant message; valid while its buffer is unchanged.
typedef struct HostLinkVariantIter {
    const HostLinkLL* message;
    uint16_t size;     ///< message length at the start
    uint16_t position; ///< offset of the next item
    uint8_t count;     ///< items that the header declares
    uint8_t index;     ///< items returned so far
} HostLinkVariantIter;

/// @name Packet readers
/// `packet` must address at least 8 bytes; only `hostLinkPacketVerify` and `hostLinkPacketHasSop` check anything.
/// @{

/// The 16-bit word at offset 0.
HOSTLINK_EXPORT uint16_t hostLinkPacketGetSop(const uint8_t* packet);
/// Total length of the packet in bytes, as its length field says.
HOSTLINK_EXPORT uint16_t hostLinkPacketGetLength(const uint8_t* packet);
/// The flags byte: frame format in bits 0 to 2, control flags in bits 5 to 7.
HOSTLINK_EXPORT uint8_t hostLinkPacketGetFlags(const uint8_t* packet);
/// The frame id byte.
HOSTLINK_EXPORT uint8_t hostLinkPacketGetFrameId(const uint8_t* packet);
/// The packet id byte: the 0-based index of the packet within its frame.
HOSTLINK_EXPORT uint8_t hostLinkPacketGetPacketId(const uint8_t* packet);
/// Frame type 0 to 7: the format bits, except that format 3 with a length field of exactly 8 is a response (0).
HOSTLINK_EXPORT uint32_t hostLinkPacketGetFrameType(const uint8_t* packet);
/// The "last" flag, 0 or 1.
HOSTLINK_EXPORT uint8_t hostLinkPacketIsLast(const uint8_t* packet);
/// The payload and its length in bytes; null and 0 when the length field is exactly 8.
HOSTLINK_EXPORT const uint8_t* hostLinkPacketGetData(const uint8_t* packet, uint16_t* payloadLength);

/// Checks one packet of which `available` bytes are at hand.
/// @return 22 fewer than 8 bytes; 10 length field below 8, or 9, or 10; 21 length field above `available`;
///         11 no start mark; 0 good. Trailer, padding, flags and ids are not checked.
HOSTLINK_EXPORT uint32_t hostLinkPacketVerify(const uint8_t* packet, uint16_t available);

/// Offset of the first start-of-packet mark in `count` bytes, or `HOSTLINK_NO_SOP`.
HOSTLINK_EXPORT uint32_t hostLinkPacketHasSop(const uint8_t* bytes, uint16_t count);
/// @}

/// @name Frame writers
/// The caller provides a buffer large enough; only the message serialiser is told its size.
/// @{

/// Writes the 8 header bytes.
HOSTLINK_EXPORT void hostLinkFrameHeaderWrite(uint8_t* buffer, uint16_t length, uint8_t frameId, uint8_t packetId,
                                              uint8_t flags);

/// Writes packet number `packetIndex` of a message that is cut by `maxPacketSize`.
/// Each packet carries (maxPacketSize − 10) mod 65536 payload bytes; the last one what is left.
/// @param buffer         receives the packet
/// @param bufferSize     bytes at `buffer`
/// @param packetLength   set to the packet's length unless the index is beyond the message
/// @param ackRequest     not 0: set the "ack" flag
/// @return −1 the index is beyond the message, nothing written; a positive number: the bytes that `buffer` lacks,
///         only `packetLength` written; 0 packet written.
HOSTLINK_EXPORT int32_t hostLinkFrameMsgSerialize(uint8_t* buffer, uint16_t bufferSize, uint16_t* packetLength,
                                                  uint8_t frameId, const uint8_t* message, uint32_t messageLength,
                                                  uint16_t maxPacketSize, uint8_t packetIndex, uint32_t ackRequest);
/// Writes the 14 bytes of an IRQ frame carrying `value`.
HOSTLINK_EXPORT void hostLinkFrameIrqSerialize(uint8_t* buffer, uint8_t frameId, uint32_t value);
/// Writes the 8 bytes of a response frame; a type other than Nack, Ack or AckNack is written as None.
HOSTLINK_EXPORT void hostLinkFrameRspSerialize(uint8_t* buffer, uint8_t frameId, AcknowledgeType type);
/// Writes the 8 bytes of a reset frame.
HOSTLINK_EXPORT void hostLinkFrameRstSerialize(uint8_t* buffer, uint8_t frameId);
/// @}

/// @name Frame readers
/// @{

/// The 32-bit value of an IRQ frame; 0 when `count` is below 14.
HOSTLINK_EXPORT uint32_t hostLinkFrameIrqDeserialize(const uint8_t* packet, uint16_t count);
/// The acknowledgement that a response packet carries.
HOSTLINK_EXPORT AcknowledgeType hostLinkFrameRspDeserialize(const uint8_t* packet);
/// The number of packets that a message of `messageLength` bytes needs: 0 for an empty one, 1 for any other when a
/// packet has no room for payload.
HOSTLINK_EXPORT uint32_t hostLinkFramePacketCount(uint32_t messageLength, uint16_t maxPacketSize);
/// @}

/// @name Frame assembly
/// @{

/// Attaches `buffer` of `capacity` bytes to the record and empties it.
HOSTLINK_EXPORT void hostLinkFrameInit(HostLinkFrameRecord* frame, uint8_t* buffer, uint32_t capacity);
/// Appends the payload of one packet. The first one that arrives while the frame is empty fixes its id and type;
/// order, packet ids and later frame ids are not looked at.
/// @param count bytes at `packet`, used as 16 bits
/// @return a code of `hostLinkPacketVerify`; 16 no room, nothing changed; 0 added.
HOSTLINK_EXPORT uint32_t hostLinkFrameAddPacket(HostLinkFrameRecord* frame, const uint8_t* packet, uint32_t count);
/// 1 when the packet added most recently was the last of its frame, else 0.
HOSTLINK_EXPORT uint8_t hostLinkFrameComplete(const HostLinkFrameRecord* frame);
/// Frame type of the first packet.
HOSTLINK_EXPORT uint32_t hostLinkFrameType(const HostLinkFrameRecord* frame);
/// The gathered payload; `size` is set to its length in bytes.
HOSTLINK_EXPORT uint8_t* hostLinkFrameData(const HostLinkFrameRecord* frame, uint32_t* size);
/// @}

/// @name Message buffer
/// @{

/// Bytes free, modulo 65536; 0 when more is used than there is.
HOSTLINK_EXPORT uint16_t hostLinkLLSpaceAvailable(const HostLinkLL* buffer);
/// Appends `length` bytes. Callers check the space first; when they do not all fit, none is written.
HOSTLINK_EXPORT void hostLinkLLAddData(HostLinkLL* buffer, const uint8_t* source, uint16_t length);
/// Address of the item count byte; null when no storage is attached.
HOSTLINK_EXPORT uint8_t* hostLinkLLGetCountPtr(const HostLinkLL* buffer);
/// @return 13 when the header is not complete (2 bytes or fewer); 0 otherwise.
HOSTLINK_EXPORT uint32_t hostLinkLLIsInitialized(const HostLinkLL* buffer);
/// Message length in bytes, as 16 bits.
HOSTLINK_EXPORT uint16_t hostLinkLLMsgSize(const HostLinkLL* buffer);
/// Copies `length` bytes from `offset`; what lies beyond the storage is not copied.
HOSTLINK_EXPORT void hostLinkLLCpy(const HostLinkLL* buffer, uint8_t* destination, uint16_t offset, uint16_t length);
/// Makes `view` a one-piece view of `length` bytes at `offset`; checks nothing.
HOSTLINK_EXPORT void hostLinkLLGetData(const HostLinkLL* buffer, uint16_t length, uint16_t offset, HostLinkBin16* view);
/// @}

/// @name Messages: id and header
/// @{

/// The message id; 0 ("InvalidMessage") when there are fewer than 2 bytes.
HOSTLINK_EXPORT uint16_t hostLinkMessageId(const uint8_t* message, uint16_t count);
/// Bit 15 of the id, 0 or 1.
HOSTLINK_EXPORT uint8_t hostLinkIsResponseMessageId(uint16_t id);
/// Message length in bytes, as 16 bits.
HOSTLINK_EXPORT uint16_t hostLinkMessageDataLen(const HostLinkLL* buffer);
/// Writes the header of a list message into an empty buffer.
/// @return 18 id out of range; 19 not a list id; 16 no room for 3 bytes; 0 written.
HOSTLINK_EXPORT uint32_t hostLinkMessageUint16Init(HostLinkLL* buffer, uint16_t id);
/// Writes the header of a variant message into an empty buffer.
/// @return 18 id out of range; 19 not a variant id; 16 no room for 3 bytes; 0 written.
HOSTLINK_EXPORT uint32_t hostLinkMessageVariantInit(HostLinkLL* buffer, uint16_t id);
/// Checks the header of a list message and that its items are all there; `count` may be null.
/// @return 13 no header; 10 2 bytes or fewer; 18 id out of range; 19 not a list id; 21 items missing; 0 good.
HOSTLINK_EXPORT uint32_t hostLinkMessageUint16Verify(const HostLinkLL* buffer, uint8_t* count);
/// Checks the header of a variant message and a lower bound of its length (3 bytes an item; the iterator checks the
/// items); `size` and `count` may be null.
/// @return 13 no header; 10 2 bytes or fewer; 18 id out of range; 19 not a variant id; 21 items missing; 0 good.
HOSTLINK_EXPORT uint32_t hostLinkMessageVariantVerify(const HostLinkLL* buffer, uint16_t* size, uint8_t* count);
/// @}

/// @name List messages
/// @{

/// Appends one item. A null `self` stops the process with an assertion on "self" (`HOSTLINK_ASSERT`, see above).
/// @return 13 no header; 24 no storage; 17 already 255 items; 16 no room; 0 appended.
HOSTLINK_EXPORT uint32_t hostLinkMessageUint16AddItem(HostLinkLL* self, uint16_t value);
/// The count byte, however long the message; 0 without a header or where the storage ends before it.
HOSTLINK_EXPORT uint8_t hostLinkMessageUint16ItemsCount(const HostLinkLL* buffer);
/// The item at `index`, not checked against the count; 0 when it lies beyond the storage.
HOSTLINK_EXPORT uint16_t hostLinkMessageUint16Get(const HostLinkLL* buffer, uint8_t index);
/// Reads the item at `index`.
/// @return a code of `hostLinkMessageUint16Verify`; 21 index not below the count; 0 read.
HOSTLINK_EXPORT uint32_t hostLinkMessageUint16GetItem(const HostLinkLL* buffer, uint8_t index, uint16_t* value);
/// @}

/// @name Variant messages
/// @{

/// Appends a value of fixed length: `value` points at its little-endian bytes (null allowed for "Nil").
/// @return 13 no header; 20 encoding unknown or without a fixed length; 16 no room; 24 no storage;
///         17 already 255 items; 0 appended.
HOSTLINK_EXPORT uint32_t hostLinkMessageVariantAddValue(HostLinkLL* buffer, uint16_t tag, const void* value,
                                                        int encoding);
/// Appends a binary value of `length` bytes, 0 allowed.
/// @return 13 no header; 16 no room; 24 no storage; 17 already 255 items; 0 appended.
HOSTLINK_EXPORT uint32_t hostLinkMessageVariantAddBin16(HostLinkLL* buffer, uint16_t tag, const uint8_t* bytes,
                                                        uint16_t length);
/// The count byte, however long the message; 0 without a header or where the storage ends before it.
HOSTLINK_EXPORT uint8_t hostLinkMessageVariantItemsCount(const HostLinkLL* buffer);
/// Prepares a walk over the items.
/// @return a code of `hostLinkMessageVariantVerify`; 0 ready.
HOSTLINK_EXPORT uint32_t hostLinkVariantIterator(const HostLinkLL* buffer, HostLinkVariantIter* iterator);
/// Reads the next item and advances; `item` may be null. On failure the iterator still stands before the item.
/// @return 13 no header; 1 no more items; 21 more returned than declared, or the item is cut short;
///         20 bad encoding; 0 read.
HOSTLINK_EXPORT uint32_t hostLinkVariantIteratorGetNext(HostLinkVariantIter* iterator, HostLinkVariant* item);
/// Skips one item; results as `hostLinkVariantIteratorGetNext`.
HOSTLINK_EXPORT uint32_t hostLinkVariantIteratorNext(HostLinkVariantIter* iterator);
/// Reads the next item without advancing; results as `hostLinkVariantIteratorGetNext`.
HOSTLINK_EXPORT uint32_t hostLinkVariantIteratorGetValue(HostLinkVariantIter* iterator, HostLinkVariant* item);
/// Reads the item at `index`, walking from the first.
/// @return a code of `hostLinkVariantIterator`; 21 index not below the count; the code of the first item that cannot
///         be read; 0 read.
HOSTLINK_EXPORT uint32_t hostLinkMessageVariantGetItem(const HostLinkLL* buffer, uint8_t index, HostLinkVariant* item);
/// The byte at `index` of a binary value; 0 beyond its end.
HOSTLINK_EXPORT uint8_t hostLinkBin16Get(const HostLinkBin16* view, uint8_t index);
/// Copies up to `maximum` bytes of a binary value from `offset`; returns the number of bytes copied.
HOSTLINK_EXPORT uint16_t hostLinkBin16Copy(const HostLinkBin16* view, uint8_t* destination, uint16_t offset,
                                           uint16_t maximum);
/// @}

/// @name Data-transfer checksum
/// CRC-32 of polynomial 0x04C11DB7, most significant bit first, initial register 0xFFFFFFFF, no final XOR, over the
/// data taken as 32-bit little-endian words that are fed most significant byte first: the parameters of the published
/// CRC-32/MPEG-2 with every group of four bytes reversed.
/// @{

/// 256: the entries of the table that the caller provides.
HOSTLINK_EXPORT uint16_t dataTransferCrc32TableSize(void);
/// Fills the table.
/// @return 0 when `count` is not 256, nothing written; else 1.
HOSTLINK_EXPORT uint32_t genDataTransferCrc32Table(uint32_t* table, uint16_t count);
/// The checksum of `length` bytes, at most 65532. The data is read in whole words: the block must be padded to a
/// multiple of 4 bytes, and the padding is part of the checksum.
/// @return 0 when `count` is not 256 or `length` is above 65532; 0xFFFFFFFF when `length` is 0; else the checksum.
HOSTLINK_EXPORT uint32_t dataTransferCalcCrc32(const uint32_t* table, uint16_t count, const uint8_t* data,
                                               uint16_t length);
/// @}

#ifdef __cplusplus
}
#endif

#include "HostLinkInline.h"

#endif
