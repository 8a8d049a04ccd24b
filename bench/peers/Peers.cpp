#include "Peers.h"

bench::Cases bench::peerCases() {
    Cases cases;
    for (const auto add : {addMsgpack, addNanopb, addFlatbuffers, addChecksumPeers, addPrintPeers}) add(&cases);
    return cases;
}
