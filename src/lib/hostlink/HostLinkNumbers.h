// Written by protocol/generate.py from protocol/hostlink.toml, do not edit: `make protocol` writes it anew.
/// @file
/// The numbers of packets, frames and messages, and the result codes of the function core. Reads as C99 and as C++17.
#ifndef HOSTLINK_NUMBERS_H
#define HOSTLINK_NUMBERS_H

#include <stdint.h>

#ifdef __cplusplus
#define HOSTLINK_OF_8_BITS : uint8_t
#define HOSTLINK_OF_16_BITS : uint16_t
#define HOSTLINK_OF_32_BITS : uint32_t
#define HOSTLINK_OF_SIGNED_32_BITS : int32_t
#else
/* C99 enumerations have no fixed width: the constants stand alone and the name is an integer of that width. */
#define HOSTLINK_OF_8_BITS
#define HOSTLINK_OF_16_BITS
#define HOSTLINK_OF_32_BITS
#define HOSTLINK_OF_SIGNED_32_BITS
#endif

/// Result codes of the fallible functions: unsigned 32-bit, 0 is success.
enum {
    HOSTLINK_SUCCESS = 0,                  ///< done
    HOSTLINK_NO_MORE_ITEMS = 1,            ///< the iterator has returned every item
    HOSTLINK_TOO_SHORT = 10,               ///< message of 2 bytes or fewer; packet length field below 8, or 9, or 10
    HOSTLINK_BAD_START_OF_PACKET = 11,     ///< a packet that does not start with FF FE
    HOSTLINK_NOT_INITIALIZED = 13,         ///< message buffer without a header (fewer than 3 bytes)
    HOSTLINK_NO_ROOM = 16,                 ///< the buffer cannot take the item or payload
    HOSTLINK_ITEM_COUNT_FULL = 17,         ///< the message already holds 255 items
    HOSTLINK_MESSAGE_ID_OUT_OF_RANGE = 18, ///< (id & 0x7FFF) > 63
    HOSTLINK_MESSAGE_ID_WRONG_KIND = 19,   ///< a list id where a variant message is expected, or the reverse
    HOSTLINK_BAD_ENCODING = 20,            ///< an encoding that is unknown or has no fixed length
    HOSTLINK_TRUNCATED = 21,               ///< the bytes end before what a header or item declares; index out of range
    HOSTLINK_HEADER_TRUNCATED = 22,        ///< fewer than 8 bytes for a packet
    HOSTLINK_NO_STORAGE = 24,              ///< the message buffer has no bytes attached
};

/// What `hostLinkPacketHasSop` returns when there is no start-of-packet mark.
#define HOSTLINK_NO_SOP UINT32_C(0xFFFFFFFF)

/// The 16-bit start-of-packet mark; on the wire FF FE.
#define HOSTLINK_SOP UINT16_C(0xFEFF)

/// Widths of the packet layout, in bytes.
enum {
    HOSTLINK_PACKET_HEADER_SIZE = 8,  ///< start mark, length, flags, frame id, packet id, padding
    HOSTLINK_PACKET_TRAILER_SIZE = 2, ///< two zero bytes behind a payload; a header-only packet has none
    HOSTLINK_IRQ_FRAME_SIZE = 14,     ///< header, 32-bit value, trailer
    HOSTLINK_RSP_FRAME_SIZE = 8,      ///< header only
    HOSTLINK_RST_FRAME_SIZE = 8,      ///< header only
};

/// Control flags in bits 5 to 7 of a packet's flags byte.
enum LinkPacketCtrlFlags HOSTLINK_OF_8_BITS {
    PKT_Last = 0x20, ///< last packet of its frame
    PKT_Nack = 0x40, ///< negative acknowledgement (response packets)
    PKT_Ack = 0x80,  ///< positive acknowledgement; on a message packet: the sender asks for one
};
#ifndef __cplusplus
typedef uint8_t LinkPacketCtrlFlags;
#endif

/// Frame format in bits 0 to 2 of a packet's flags byte; a response packet carries `FMT_Message` too.
enum LinkFrameFormat HOSTLINK_OF_32_BITS {
    FMT_Reset = 1,
    FMT_Irq = 2,
    FMT_Message = 3,
};
#ifndef __cplusplus
typedef uint32_t LinkFrameFormat;
#endif

/// Frame types as `hostLinkPacketGetFrameType` tells them; 4 to 7 are never written and come back as received.
enum LinkFrameType HOSTLINK_OF_32_BITS {
    FRT_Response = 0,
    FRT_Reset = 1,
    FRT_Irq = 2,
    FRT_Message = 3,
};
#ifndef __cplusplus
typedef uint32_t LinkFrameType;
#endif

/// What a response frame says; the value sits in flag bits 6 and 7.
#ifdef __cplusplus
enum class AcknowledgeType : uint8_t {
    None = 0,
    Nack = 1,
    Ack = 2,
    AckNack = 3,
};
#else
typedef uint8_t AcknowledgeType;
enum {
    AcknowledgeType_None = 0,
    AcknowledgeType_Nack = 1,
    AcknowledgeType_Ack = 2,
    AcknowledgeType_AckNack = 3,
};
#endif

/// Message ids. Bit 15 marks a response; the low 15 bits must not exceed 63.
enum MessageId HOSTLINK_OF_16_BITS {
    MSG_Invalid = 0x0000,
    MSG_SetState = 0x0001,
    MSG_GetState = 0x0002,       ///< list
    MSG_SubscribeState = 0x0003, ///< list
    MSG_StateChanged = 0x0004,
    MSG_UnsubscribeState = 0x0005, ///< list
    MSG_InputEvent = 0x0006,
    MSG_DataTransfer = 0x0007,
    MSG_TcpTunneling = 0x0008,
    MSG_SetLedApi = 0x0009,
    MSG_UnsupportedMessageResponse = 0x8000,
    MSG_SetStateResponse = 0x8001,
    MSG_GetStateResponse = 0x8002,
    MSG_SubscribeStateResponse = 0x8003,   ///< list
    MSG_UnsubscribeStateResponse = 0x8005, ///< list
    MSG_DataTransferResponse = 0x8007,
    MSG_TcpTunnelingResponse = 0x8009, ///< paired with request 8 on purpose; there is no 0x8008
};
#ifndef __cplusplus
typedef uint16_t MessageId;
#endif

/// Type codes of tagged values.
enum Encoding HOSTLINK_OF_8_BITS {
    ENC_Nil = 192,
    ENC_Bin16 = 197, ///< 16-bit length, then that many bytes
    ENC_Uint8 = 204,
    ENC_Uint16 = 205,
    ENC_Uint32 = 206,
    ENC_Uint64 = 207,
    ENC_Int8 = 208,
    ENC_Int16 = 209,
    ENC_Int32 = 210,
    ENC_Int64 = 211,
};
#ifndef __cplusplus
typedef uint8_t Encoding;
#endif

#endif
