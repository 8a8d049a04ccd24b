#include "Transfer.h"

#include <string.h>

#include <hostlink/HostLinkVocabularyNumbers.h>

#include "Host.h"
#include "StateTable.h"

enum { tableEntries = 256, wordSize = 4, pieceSize = 64 };
#define CHECKSUM_OF_NOTHING UINT32_C(0xFFFFFFFF)

/* One request, its items by name. */
typedef struct Request {
    HostLinkBin16 data;
    HostLinkVariant sequence;
    uint32_t number;  /* of the chunk */
    uint32_t claimed; /* its checksum */
    uint8_t hasName, hasSequence, hasData, hasClaim, isLast, isAborted;
} Request;

static uint32_t table[tableEntries];
static uint8_t isRunning;
static uint8_t hasTaken;      /* a chunk of this transfer */
static uint8_t wasLast;       /* that chunk */
static uint32_t lastNumber;   /* its sequence number */
static uint32_t lastChecksum; /* its own */
static uint32_t fileSize;
static uint32_t fileChecksum;

void transferInit(void) {
    genDataTransferCrc32Table(table, tableEntries);
}

/* Goes on with a chunk, padded with zeros to whole words. The core's function begins with all ones; beginning elsewhere
   is the same as turning those bits of the first word over in which the two differ. */
static uint32_t goOn(uint32_t checksum, const uint8_t* bytes, uint16_t length) {
    for (uint16_t at = 0; at < length; at = (uint16_t)(at + pieceSize)) {
        uint8_t piece[pieceSize] = {0};
        const uint16_t left = (uint16_t)(length - at);
        const uint16_t size = left < pieceSize ? left : (uint16_t)pieceSize;
        memcpy(piece, bytes + at, size);
        for (unsigned i = 0; i < wordSize; ++i) piece[i] ^= (uint8_t)((checksum ^ CHECKSUM_OF_NOTHING) >> 8 * i);
        const uint16_t whole = (uint16_t)((size + wordSize - 1) / wordSize * wordSize);
        checksum = dataTransferCalcCrc32(table, tableEntries, piece, whole);
    }
    return checksum;
}

static uint32_t uint32Of(const HostLinkVariant* item) {
    uint32_t number = 0;
    const unsigned size = item->encoding == ENC_Uint8 ? 1 : item->encoding == ENC_Uint16 ? 2 : wordSize;
    for (unsigned i = size; i-- != 0;) number = number << 8 | item->value.bytes[i];
    return number;
}

static void readItem(Request* request, const HostLinkVariant* item) {
    const uint8_t isNumber = item->encoding >= ENC_Uint8 && item->encoding <= ENC_Uint32;
    switch (item->tag) {
    case DTT_FileName: request->hasName = 1; break;
    case DTT_LastChunk: request->isLast = 1; break;
    case DTT_AbortTransfer: request->isAborted = 1; break;
    case DTT_SequenceNum:
        request->hasSequence = isNumber;
        request->sequence = *item;
        request->number = uint32Of(item);
        break;
    case DTT_Data:
        request->hasData = item->encoding == ENC_Bin16;
        request->data = item->value.bin16;
        break;
    case DTT_DataCRC:
        request->hasClaim = isNumber;
        request->claimed = uint32Of(item);
        break;
    default: break;
    }
}

static uint8_t readRequest(Request* request, const HostLinkLL* message) {
    HostLinkVariantIter items;
    HostLinkVariant item;
    memset(request, 0, sizeof *request);
    uint32_t result = hostLinkVariantIterator(message, &items);
    while (result == HOSTLINK_SUCCESS) {
        result = hostLinkVariantIteratorGetNext(&items, &item);
        if (result == HOSTLINK_SUCCESS) readItem(request, &item);
    }
    return result == HOSTLINK_NO_MORE_ITEMS;
}

static void addUint32(HostLinkLL* answer, uint16_t tag, uint32_t number) {
    hostLinkMessageVariantAddValue(answer, tag, &number, ENC_Uint32);
}

static void begin(void) {
    isRunning = 1;
    hasTaken = 0;
    fileSize = 0;
    fileChecksum = CHECKSUM_OF_NOTHING;
}

/* The sequence number counts by one in the width in which it is sent, and wraps there. */
static uint8_t isNext(const Request* request) {
    if (!request->hasSequence || !hasTaken) return 1;
    HostLinkVariant next = request->sequence;
    const uint32_t number = lastNumber + 1;
    memcpy(next.value.bytes, &number, sizeof number);
    return uint32Of(&next) == request->number;
}

static uint8_t isRepeated(const Request* request, uint32_t checksum) {
    return hasTaken && request->hasSequence && request->number == lastNumber && checksum == lastChecksum;
}

static void take(const Request* request, uint32_t checksum) {
    fileChecksum = goOn(fileChecksum, request->data.first, request->data.firstLength);
    fileSize += request->data.firstLength;
    lastNumber = request->number;
    lastChecksum = checksum;
    wasLast = request->isLast;
    hasTaken = 1;
    if (wasLast) isRunning = 0;
}

static void drop(HostLinkLL* answer) {
    isRunning = 0;
    hasTaken = 0;
    hostLinkMessageVariantAddValue(answer, DTT_AbortTransfer, NULL, ENC_Nil);
}

static void tellEnd(HostLinkLL* answer) {
    hostLinkMessageVariantAddValue(answer, DTT_LastChunk, NULL, ENC_Nil);
    addUint32(answer, DTT_FileSize, fileSize);
    addUint32(answer, DTT_DataCRC, fileChecksum);
}

/* The first chunk begins the file anew each time: it is taken once all the same. */
static void takeChunk(HostLinkLL* answer, const Request* request, uint32_t checksum) {
    if (request->hasName) begin();
    if (!isRepeated(request, checksum)) {
        if (!isRunning || !isNext(request)) {
            drop(answer);
            return;
        }
        take(request, checksum);
    }
    if (wasLast) tellEnd(answer);
}

static void answerRequest(HostLinkLL* answer, const Request* request) {
    if (request->isAborted) {
        drop(answer);
        return;
    }
    if (request->hasSequence) {
        hostLinkMessageVariantAddValue(answer, DTT_SequenceNum, request->sequence.value.bytes,
                                       request->sequence.encoding);
    }
    const uint32_t checksum = goOn(CHECKSUM_OF_NOTHING, request->data.first, request->data.firstLength);
    if (request->hasData) addUint32(answer, DTT_DataCRC, checksum);
    const uint8_t isDamaged = request->hasData && request->hasClaim && request->claimed != checksum;
    if (!isDamaged) takeChunk(answer, request, checksum);
}

void transferTake(const HostLinkLL* message) {
    Request request;
    if (!readRequest(&request, message)) {
        sendUnsupported();
        return;
    }
    HostLinkLL* answer = hostVariantMessage(MSG_DataTransferResponse);
    answerRequest(answer, &request);
    hostSend();
}
