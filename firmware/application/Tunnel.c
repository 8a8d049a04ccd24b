#include "Tunnel.h"

#include <hostlink/HostLinkVocabularyNumbers.h>

#include "Host.h"
#include "StateTable.h"

typedef struct Request {
    HostLinkVariant connection, data;
    uint8_t hasConnection, hasData, hasCommand;
} Request;

/* Of a tag that occurs twice the first counts. */
static void readItem(Request* request, const HostLinkVariant* item) {
    if (item->tag == TCP_Connection && !request->hasConnection) {
        request->hasConnection = 1;
        request->connection = *item;
    } else if (item->tag == TCP_Data && !request->hasData) {
        request->hasData = item->encoding == ENC_Bin16;
        request->data = *item;
    } else if (item->tag == TCP_Command) {
        request->hasCommand = 1;
    }
}

static uint8_t readRequest(Request* request, const HostLinkLL* message) {
    HostLinkVariantIter items;
    HostLinkVariant item;
    request->hasConnection = request->hasData = request->hasCommand = 0;
    uint32_t result = hostLinkVariantIterator(message, &items);
    while (result == HOSTLINK_SUCCESS) {
        result = hostLinkVariantIteratorGetNext(&items, &item);
        if (result == HOSTLINK_SUCCESS) readItem(request, &item);
    }
    return result == HOSTLINK_NO_MORE_ITEMS;
}

static void add(HostLinkLL* message, const HostLinkVariant* item) {
    if (item->encoding == ENC_Bin16) {
        hostLinkMessageVariantAddBin16(message, item->tag, item->value.bin16.first, item->value.bin16.firstLength);
    } else {
        hostLinkMessageVariantAddValue(message, item->tag, item->value.bytes, item->encoding);
    }
}

static void sendAnswer(const Request* request, uint8_t result) {
    HostLinkLL* answer = hostVariantMessage(MSG_TcpTunnelingResponse);
    if (request->hasConnection) add(answer, &request->connection);
    hostLinkMessageVariantAddValue(answer, TCP_Data, &result, ENC_Uint8);
    hostSend();
}

static void sendBack(const Request* request) {
    HostLinkLL* echo = hostVariantMessage(MSG_TcpTunneling);
    add(echo, &request->connection);
    add(echo, &request->data);
    hostSend();
}

void tunnelTake(const HostLinkLL* message) {
    Request request;
    if (!readRequest(&request, message)) {
        sendUnsupported();
    } else if (!request.hasConnection) {
        sendAnswer(&request, TCP_InvalidConnection);
    } else if (!request.hasData && !request.hasCommand) {
        sendAnswer(&request, TCP_InvalidMessage);
    } else {
        sendAnswer(&request, TCP_Success);
        if (request.hasData) sendBack(&request);
    }
}
