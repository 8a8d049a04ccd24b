// Written by protocol/generate.py from protocol/hostlink.toml, do not edit: `make protocol` writes it anew.
/// @file
/// What the vocabulary tables hold, in the order of the numbers.
#pragma once

#include "Rows.h"
#include "hostlink/HostLinkVocabulary.h"

// One row a line, however short.
// clang-format off

constexpr Row flagsRows[] = {
    {PKT_Last, "last"},
    {PKT_Nack, "nack"},
    {PKT_Ack, "ack"},
};
static_assert(isAscending(flagsRows));

constexpr Row formatRows[] = {
    {FMT_Reset, "reset"},
    {FMT_Irq, "irq"},
    {FMT_Message, "message"},
};
static_assert(isAscending(formatRows));

constexpr Row messageIdRows[] = {
    {MSG_Invalid, "InvalidMessage"},
    {MSG_SetState, "SetStateMessage"},
    {MSG_GetState, "GetStateMessage"},
    {MSG_SubscribeState, "SubscribeStateMessage"},
    {MSG_StateChanged, "StateChangedMessage"},
    {MSG_UnsubscribeState, "UnsubscribeStateMessage"},
    {MSG_InputEvent, "InputEventMessage"},
    {MSG_DataTransfer, "DataTransfer"},
    {MSG_TcpTunneling, "TcpTunnelingMessage"},
    {MSG_SetLedApi, "SetLedApi"},
    {MSG_UnsupportedMessageResponse, "UnsupportedMessageResponse"},
    {MSG_SetStateResponse, "SetStateResponseMessage"},
    {MSG_GetStateResponse, "GetStateResponseMessage"},
    {MSG_SubscribeStateResponse, "SubscribeStateResponseMessage"},
    {MSG_UnsubscribeStateResponse, "UnsubscribeStateResponseMessage"},
    {MSG_DataTransferResponse, "DataTransferResponseMessage"},
    {MSG_TcpTunnelingResponse, "TcpTunnelingResponseMessage"},
};
static_assert(isAscending(messageIdRows));

constexpr Row encodingRows[] = {
    {ENC_Nil, "Nil"},
    {ENC_Bin16, "Bin16"},
    {ENC_Uint8, "Uint8"},
    {ENC_Uint16, "Uint16"},
    {ENC_Uint32, "Uint32"},
    {ENC_Uint64, "Uint64"},
    {ENC_Int8, "Int8"},
    {ENC_Int16, "Int16"},
    {ENC_Int32, "Int32"},
    {ENC_Int64, "Int64"},
};
static_assert(isAscending(encodingRows));

constexpr Row ledApiCmdRows[] = {
    {LED_SetPalette, "LED_SetPalette"},
    {LED_SetPattern, "LED_SetPattern"},
};
static_assert(isAscending(ledApiCmdRows));

constexpr Row buttonStateRows[] = {
    {BUT_KeyReleased, "BUT_KeyReleased"},
    {BUT_KeyPressed, "BUT_KeyPressed"},
    {BUT_KeyRepeated, "BUT_KeyRepeated"},
};
static_assert(isAscending(buttonStateRows));

constexpr Row tcpTunnelingStateRows[] = {
    {TCP_Connection, "TCP_Connection"},
    {TCP_Data, "TCP_Data"},
    {TCP_Command, "TCP_Command"},
};
static_assert(isAscending(tcpTunnelingStateRows));

constexpr Row dataTransferStateRows[] = {
    {DTT_FileName, "DTT_FileName"},
    {DTT_SequenceNum, "DTT_SequenceNum"},
    {DTT_Data, "DTT_Data"},
    {DTT_LastChunk, "DTT_LastChunk"},
    {DTT_DataCRC, "DTT_DataCRC"},
    {DTT_AbortTransfer, "DTT_AbortTransfer"},
    {DTT_FileSize, "DTT_FileSize"},
};
static_assert(isAscending(dataTransferStateRows));

constexpr Row stateRows[] = {
    {STA_Undefined, "Undefined"},
    {STA_FirmwareVersion, "FirmwareVersion"},
    {STA_FirmwareState, "FirmwareState"},
    {STA_PowerState, "PowerState"},
    {STA_PlayerControl, "PlayerControl"},
    {STA_PlayerRepeat, "PlayerRepeat"},
    {STA_PlayerShuffle, "PlayerShuffle"},
    {STA_PlayerMute, "PlayerMute"},
    {STA_PlayerVolume, "PlayerVolume"},
    {STA_PlayerPlayTime, "PlayerPlayTime"},
    {STA_PlayerPlayStatus, "PlayerPlayStatus"},
    {STA_MetaTitle, "MetaTitle"},
    {STA_MetaAlbum, "MetaAlbum"},
    {STA_MetaAlbumArtURL, "MetaAlbumArtURL"},
    {STA_MetaArtist, "MetaArtist"},
    {STA_MetaMimeType, "MetaMimeType"},
    {STA_MetaSampleRate, "MetaSampleRate"},
    {STA_MetaSampleDepth, "MetaSampleDepth"},
    {STA_MetaBitrate, "MetaBitrate"},
    {STA_MetaTrackLength, "MetaTrackLength"},
    {STA_AudioSourceID, "AudioSourceID"},
    {STA_AudioPhase, "AudioPhase"},
    {STA_AudioPolarity, "AudioPolarity"},
    {STA_AudioGain, "AudioGain"},
    {STA_AudioBalance, "AudioBalance"},
    {STA_AudioBass, "STA_AudioBass"},
    {STA_AudioTreble, "AudioTreble"},
    {STA_DisplayBacklightLevel, "DisplayBacklightLevel"},
    {STA_DisplayBacklightTimeout, "DisplayBacklightTimeout"},
    {STA_NetworkState, "NetworkState"},
    {STA_NetworkType, "NetworkType"},
    {STA_SystemUpState, "SystemUpState"},
    {STA_GoogleVoiceAssistantState, "GoogleVoiceAssistantState"},
    {STA_PlayerMicMute, "PlayerMicMute"},
    {STA_BluetoothDiscoverableState, "BluetoothDiscoverableState"},
    {STA_BluetoothConnectionState, "BluetoothConnectionState"},
    {STA_AlexaVoiceServiceState, "AlexaVoiceServiceState"},
    {STA_PlayerControlFlags, "PlayerControlFlags"},
    {STA_BluetoothIncomingCallNumber, "BluetoothIncomingCallNumber"},
    {STA_BluetoothOutgoingCallNumber, "BluetoothOutgoingCallNumber"},
    {STA_AlexaAssistantState, "AlexaAssistantState"},
    {STA_AlexaDoNotDisturbState, "AlexaDoNotDisturbState"},
    {STA_AlexaAlertRingingState, "AlexaAlertRingingState"},
    {STA_AlexaNotificationQueued, "AlexaNotificationQueued"},
    {STA_AlexaConnectedBluetoothDevicesCount, "AlexaConnectedBluetoothDevicesCount"},
    {STA_AlexaCallState, "AlexaCallState"},
    {STA_AudioLoudness, "AudioLoudness"},
    {STA_AudioPostprocessingOnOff, "AudioPostprocessingOnOff"},
    {STA_AudioEqOnOff, "AudioEqOnOff"},
    {STA_AudioEqSpec, "AudioEqSpec"},
    {STA_AudioEqGains, "AudioEqGains"},
    {STA_NextPowerState, "NextPowerState"},
    {STA_RoonCustomSignalPath, "RoonCustomSignalPath"},
    {STA_IpAddress, "IpAddress"},
    {STA_EthernetMacAddress, "EthernetMacAddress"},
    {STA_HostName, "HostName"},
    {STA_ChromecastAppName, "ChromecastAppName"},
    {STA_KorvaAudioInput, "KORVA Audio Input"},
    {STA_DiracCalibrationStatus, "DiracCalibrationStatus"},
    {STA_KorvaSampleRate, "KORVA Sample Rate"},
    {STA_KorvaVeskarUpgradeStatus, "KORVA VESKAR Upgrade Status"},
    {STA_KorvaUpgradeDataSize, "KORVA Upgrade Data Size"},
    {STA_KorvaUpgradeDataOffset, "KORVA Upgrade Data Offset"},
    {STA_KorvaUpgradeData, "KORVA Upgrade Data"},
    {STA_WiFiMacAddress, "WiFiMacAddress"},
    {STA_FriendlyName, "FriendlyName"},
    {STA_MqaState, "MqaState"},
    {STA_Region, "Region"},
    {STA_SetSerialNumber, "SetSerialNumber"},
    {STA_SetMacAddress, "SetMacAddress"},
    {STA_HaloBrightness, "HaloBrightness"},
    {STA_IrSystemCode, "IrSystemCode"},
    {STA_AudioBypass, "AudioBypass"},
    {STA_InputAutoSwitch, "InputAutoSwitch"},
    {STA_ARCVolume, "ARCVolume"},
    {STA_DACFilter, "DACFilter"},
    {STA_HeadphonesStatus, "HeadphonesStatus"},
    {STA_DiracClientStatus, "DiracClientStatus"},
    {STA_TelvorBtPairedDevices, "TelvorBtPairedDevices"},
    {STA_TelvorBtDiscoveryState, "TelvorBtDiscoveryState"},
    {STA_TelvorBtPlaybackState, "TelvorBtPlaybackState"},
    {STA_TelvorBtTrackMetaData, "TelvorBtTrackMetaData"},
    {STA_TelvorBtCommand, "TelvorBtCommand"},
    {STA_TelvorBtPlaybackAllowed, "TelvorBtPlaybackAllowed"},
    {STA_TelvorBtFWVersion, "TelvorBtFWVersion"},
    {STA_TelvorBtConnectionState, "TelvorBtConnectionState"},
    {STA_TelvorBtConnectionCommand, "TelvorBtConnectionCommand"},
    {STA_TelvorBtSystemFriendlyName, "TelvorBtSystemFriendlyName"},
    {STA_TelvorInput, "TelvorInput"},
    {STA_TelvorEcoTimer, "TelvorEcoTimer"},
    {STA_TelvorNetworkStandby, "TelvorNetworkStandby"},
    {STA_TelvorSubConfig, "TelvorSubConfig"},
    {STA_PreAmpMode, "PreAmpMode"},
    {STA_BtHdmiAutoSwitch, "BtHdmiAutoSwitch"},
    {STA_TvVolumeControl, "TvVolumeControl"},
    {STA_BluetoothReset, "STA_BluetoothReset"},
    {STA_InputName, "InputName"},
    {STA_InputNameShow, "InputNameShow"},
    {STA_MaxAmpVolume, "MaxAmpVolume"},
    {STA_KorvaDiracStimuliTrimCh0, "STA_KorvaDiracStimuliTrimCh0"},
    {STA_KorvaDiracStimuliTrimCh1, "STA_KorvaDiracStimuliTrimCh1"},
    {STA_KorvaDiracStimuliTrimCh2, "STA_KorvaDiracStimuliTrimCh2"},
    {STA_KorvaDiracStimuliTrimCh3, "STA_KorvaDiracStimuliTrimCh3"},
    {STA_TelvorDiracFilering, "STA_TelvorDiracFilering"},
    {STA_TelvorChannelLevel, "STA_TelvorChannelLevel"},
    {STA_TelvorCrossOverFreq, "STA_TelvorCrossOverFreq"},
    {STA_TelvorDelay, "STA_TelvorDelay"},
    {STA_TelvorSampleRate, "STA_TelvorSampleRate"},
    {STA_TelvorCSpeakerEQ, "STA_TelvorCSpeakerEQ"},
    {STA_TelvorInputName, "STA_TelvorInputName"},
    {STA_TelvorPMVolume, "STA_TelvorPMVolume"},
    {STA_TelvorProcessorModeSel, "STA_TelvorProcessorModeSel"},
    {STA_TelvorSubMode, "STA_TelvorSubMode"},
    {STA_HostFirmwareVersion, "HostFirmwareVersion"},
    {STA_HostFirmwareState, "HostFirmwareState"},
    {STA_HostMicMute, "HostMicMute"},
    {STA_HostSystemInfo, "HostSystemInfo"},
    {STA_FactoryReset, "FactoryReset"},
    {STA_DiracCurveNames, "DiracCurveNames"},
    {STA_DiracSelectCurve, "DiracSelectCurve"},
    {STA_KorvaSetSampleRate, "KORVA Set Sample Rate"},
    {STA_KorvaDeviceUpgradeStatus, "KORVA Device Upgrade Status"},
    {STA_KorvaDeviceUpgradeJumpToOffset, "KORVA Device Upgrade Jump to Offset"},
    {STA_MaxVolume, "MaxVolume"},
    {STA_CurrentOutputType, "CurrentOutputType"},
    {STA_VolumeMode, "VolumeMode"},
};
static_assert(isAscending(stateRows));

constexpr Row tcpTunnelingResultValues[] = {
    {TCP_Success, "TCP_Success"},
    {TCP_InvalidMessage, "TCP_InvalidMessage"},
    {TCP_InvalidConnection, "TCP_InvalidConnection"},
    {TCP_TranferFailed, "TCP_TranferFailed"},
    {TCP_InvalidCommand, "TCP_InvalidCommand"},
};
static_assert(isAscending(tcpTunnelingResultValues));

constexpr Row firmwareStateValues[] = {
    {0, "Idle"},
    {1, "FlasherMode"},
    {2, "Downloading"},
    {3, "Finished"},
    {4, "Failed"},
    {5, "Application"},
};
static_assert(isAscending(firmwareStateValues));

constexpr Row powerStateValues[] = {
    {0, "None"},
    {5, "Booting"},
    {10, "Online"},
    {20, "Standby"},
    {30, "Offline"},
    {40, "Reboot"},
    {50, "Halt"},
};
static_assert(isAscending(powerStateValues));

constexpr Row playerControlValues[] = {
    {0, "Pause"},
    {1, "Stop"},
    {2, "Next"},
    {3, "Previous"},
    {4, "Like"},
    {5, "Dislike"},
};
static_assert(isAscending(playerControlValues));

constexpr Row playerPlayStatusValues[] = {
    {0, "Stopped"},
    {1, "Transitioning"},
    {2, "Playing"},
    {3, "Paused"},
};
static_assert(isAscending(playerPlayStatusValues));

constexpr Row audioSourceIDValues[] = {
    {0, "Unknown"},
    {1, "Airable"},
    {2, "Multiroom"},
    {3, "Files"},
    {4, "Storage"},
    {6, "VTuner"},
    {9, "TuneIn"},
    {10, "UPnP"},
    {11, "QPlay"},
    {12, "Bluetooth"},
    {13, "AirPlay"},
    {14, "Cdda"},
    {15, "Spotify"},
    {16, "GoogleCast"},
    {17, "AirableRadios"},
    {18, "AirablePodcasts"},
    {19, "Napster"},
    {20, "Qobuz"},
    {21, "Deezer"},
    {22, "Tidal"},
    {23, "Roon"},
    {24, "AUX"},
    {25, "AVS"},
    {26, "AmazonMusic"},
    {27, "TencentDingDang"},
    {28, "BluetoothHandsfree"},
    {29, "DAB"},
    {30, "FM"},
    {31, "SPDIF"},
    {32, "UsbAudio"},
    {33, "Pandora"},
    {34, "TencentXiaowei"},
    {35, "HDMI"},
    {36, "Dante"},
    {37, "HighresAudio"},
    {38, "Dirac"},
    {39, "CalmRadio"},
    {40, "JioSaavn"},
    {41, "Idagio"},
    {42, "SoundMachine"},
    {43, "PalcoMP3"},
    {44, "LautFm"},
    {45, "KlassikRadio"},
    {46, "PiratenFM"},
    {47, "SonySelect"},
    {48, "Spreaker"},
    {49, "Soundtrack"},
    {50, "QobuzConnect"},
};
static_assert(isAscending(audioSourceIDValues));

constexpr Row networkStateValues[] = {
    {0, "NotConnected"},
    {1, "Connected"},
    {2, "Connecting"},
    {3, "Error"},
};
static_assert(isAscending(networkStateValues));

constexpr Row networkTypeValues[] = {
    {0, "Unknown"},
    {1, "Ethernet"},
    {2, "WiFi"},
    {3, "SoftAP"},
};
static_assert(isAscending(networkTypeValues));

constexpr Row systemUpStateValues[] = {
    {1, "UP"},
};
static_assert(isAscending(systemUpStateValues));

constexpr Row googleVoiceAssistantStateValues[] = {
    {0, "Unknown"},
    {1, "Idle"},
    {2, "HotwordListening"},
    {3, "HotwordTimeout"},
    {4, "Thinking"},
    {5, "Responding"},
    {6, "NoResponse"},
    {7, "Cancelled"},
};
static_assert(isAscending(googleVoiceAssistantStateValues));

constexpr Row bluetoothDiscoverableStateValues[] = {
    {0, "Off"},
    {1, "DiscoverablePairable"},
};
static_assert(isAscending(bluetoothDiscoverableStateValues));

constexpr Row bluetoothConnectionStateValues[] = {
    {0, "Disconnected"},
    {1, "Connected"},
};
static_assert(isAscending(bluetoothConnectionStateValues));

constexpr Row alexaVoiceServiceStateValues[] = {
    {0, "NotAvailable"},
    {1, "NoNetwork"},
    {2, "LoginRequired"},
    {3, "Okay"},
    {4, "UnrecoverrableError"},
};
static_assert(isAscending(alexaVoiceServiceStateValues));

// Single bits.
constexpr Row playerControlFlagsValues[] = {
    {1, "Pause"},
    {2, "Stop"},
    {4, "Next"},
    {8, "Previous"},
    {16, "Like"},
    {32, "Dislike"},
    {64, "Shuffle"},
    {128, "RepeatOne"},
    {256, "RepeatAll"},
    {512, "SeekTime"},
    {1024, "SeekTrack"},
    {2048, "SeekBytes"},
};
static_assert(isAscending(playerControlFlagsValues));

constexpr Row alexaAssistantStateValues[] = {
    {0, "Idle"},
    {1, "Listening"},
    {2, "Expecting"},
    {3, "Thinking"},
    {4, "Speaking"},
    {5, "Finished"},
};
static_assert(isAscending(alexaAssistantStateValues));

constexpr Row alexaCallStateValues[] = {
    {0, "None"},
    {1, "Connecting"},
    {2, "InboundRinging"},
    {3, "CallConnected"},
    {4, "CallDisconnected"},
};
static_assert(isAscending(alexaCallStateValues));

constexpr TagValues tcpTunnelingStateAndValueRows[] = {
    {TCP_Data, tcpTunnelingResultValues},
};

constexpr TagValues stateAndValueRows[] = {
    {STA_FirmwareState, firmwareStateValues},
    {STA_PowerState, powerStateValues},
    {STA_PlayerControl, playerControlValues},
    {STA_PlayerPlayStatus, playerPlayStatusValues},
    {STA_AudioSourceID, audioSourceIDValues},
    {STA_NetworkState, networkStateValues},
    {STA_NetworkType, networkTypeValues},
    {STA_SystemUpState, systemUpStateValues},
    {STA_GoogleVoiceAssistantState, googleVoiceAssistantStateValues},
    {STA_BluetoothDiscoverableState, bluetoothDiscoverableStateValues},
    {STA_BluetoothConnectionState, bluetoothConnectionStateValues},
    {STA_AlexaVoiceServiceState, alexaVoiceServiceStateValues},
    {STA_PlayerControlFlags, playerControlFlagsValues},
    {STA_AlexaAssistantState, alexaAssistantStateValues},
    {STA_AlexaCallState, alexaCallStateValues},
    {STA_NextPowerState, powerStateValues},
};

constexpr uint16_t stateBitFlagRows[] = {
    STA_PlayerControlFlags,
};

constexpr MessageNaming messageNamings[] = {
    {MSG_SetState, &stateToString, &stateAndValueToString},
    {MSG_StateChanged, &stateToString, &stateAndValueToString},
    {MSG_InputEvent, &buttonStateToString, nullptr},
    {MSG_DataTransfer, &dataTransferStateToString, nullptr},
    {MSG_TcpTunneling, &tcpTunnelingStateToString, &tcpTunnelingStateAndValueToString},
    {MSG_SetStateResponse, &stateToString, &stateAndValueToString},
    {MSG_GetStateResponse, &stateToString, &stateAndValueToString},
    {MSG_TcpTunnelingResponse, &tcpTunnelingStateToString, &tcpTunnelingStateAndValueToString},
};
