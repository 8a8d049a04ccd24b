#include "HostStates.h"

#include <hostlink/HostLinkVocabulary.h>

namespace hostsim {

HostStates HostStates::afterPowerOn() {
    HostStates states;
    states.set(STA_HostFirmwareVersion, textValue("1.0.0"));
    states.set(STA_HostSystemInfo, textValue("Host simulator"));
    states.set(STA_PowerState, numberValue(ENC_Uint8, 10));      // "Online"
    states.set(STA_PlayerPlayStatus, numberValue(ENC_Uint8, 0)); // "Stopped"
    states.set(STA_PlayerVolume, numberValue(ENC_Uint8, 30));
    states.set(STA_PlayerMute, numberValue(ENC_Uint8, 0));
    states.set(STA_MaxVolume, numberValue(ENC_Uint8, 100));
    return states;
}

Value HostStates::get(uint16_t id) const {
    const auto found = values.find(id);
    return found == values.end() ? Value{} : found->second;
}

bool HostStates::set(uint16_t id, const Value& value) {
    if (get(id) == value) return false;
    values[id] = value;
    return true;
}

} // namespace hostsim
