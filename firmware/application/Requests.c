#include "Requests.h"

#include <hostlink/HostLinkLib.h>

#include "Product.h"
#include "StateTable.h"
#include "Transfer.h"
#include "Tunnel.h"

void handleMessage(const uint8_t* bytes, uint32_t length) {
    const HostLinkLL message = {(uint8_t*)bytes, length, length}; /* read only */
    const uint16_t id = hostLinkMessageId(bytes, (uint16_t)length);
    if (hostLinkIsResponseMessageId(id)) return;
    switch (id) {
    case MSG_SetState: stateSet(&productStates, &message); break;
    case MSG_GetState: stateGet(&productStates, &message); break;
    case MSG_SubscribeState: stateSubscribe(&productStates, &message); break;
    case MSG_UnsubscribeState: stateUnsubscribe(&productStates, &message); break;
    case MSG_DataTransfer: transferTake(&message); break;
    case MSG_TcpTunneling: tunnelTake(&message); break;
    case MSG_StateChanged:
    case MSG_InputEvent: break; /* they tell, and ask for nothing */
    default: sendUnsupported(); break;
    }
}
