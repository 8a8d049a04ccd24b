#include "HostStates.h"

#include <hostlink/HostLinkVocabulary.h>

namespace hostsim {

HostStates HostStates::afterPowerOn() {
    HostStates states;
    states.set(STA_HostFirmwareVersion, "1.0.0");
    states.set(STA_HostSystemInfo, "Host simulator");
    states.set(STA_PowerState, 10);      // "Online"
    states.set(STA_PlayerPlayStatus, 0); // "Stopped"
    states.set(STA_PlayerVolume, 30);
    states.set(STA_PlayerMute, 0);
    states.set(STA_MaxVolume, 100);
    return states;
}

hostlink::Value HostStates::get(uint16_t id) const {
    const auto found = values.find(id);
    return found == values.end() ? hostlink::Value() : found->second;
}

bool HostStates::set(uint16_t id, const hostlink::Value& value) {
    if (get(id) == value) return false;
    values[id] = value;
    return true;
}

} // namespace hostsim
