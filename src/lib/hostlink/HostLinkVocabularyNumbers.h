// Written by protocol/generate.py from protocol/hostlink.toml, do not edit: `make protocol` writes it anew.
/// @file
/// What value messages carry: tags, states and values by their numbers. Reads as C99 and as C++17.
#ifndef HOSTLINK_VOCABULARY_NUMBERS_H
#define HOSTLINK_VOCABULARY_NUMBERS_H

#include <stdint.h>

#include "HostLinkNumbers.h"

/// Tags of "SetLedApi" messages.
enum LedApiCmd HOSTLINK_OF_16_BITS {
    LED_SetPalette = 0,
    LED_SetPattern = 1,
};
#ifndef __cplusplus
typedef uint16_t LedApiCmd;
#endif

/// Tags of "InputEventMessage".
enum ButtonState HOSTLINK_OF_16_BITS {
    BUT_KeyReleased = 0,
    BUT_KeyPressed = 1,
    BUT_KeyRepeated = 2,
};
#ifndef __cplusplus
typedef uint16_t ButtonState;
#endif

/// Tags of "TcpTunnelingMessage" and its response.
enum TcpTunnelingState HOSTLINK_OF_16_BITS {
    TCP_Connection = 0,
    TCP_Data = 1,
    TCP_Command = 2,
};
#ifndef __cplusplus
typedef uint16_t TcpTunnelingState;
#endif

/// Values of `TCP_Data` in a response.
enum TcpTunnelingResult HOSTLINK_OF_SIGNED_32_BITS {
    TCP_Success = 0,
    TCP_InvalidMessage = 1,
    TCP_InvalidConnection = 2,
    TCP_TranferFailed = 3,
    TCP_InvalidCommand = 4,
};
#ifndef __cplusplus
typedef int32_t TcpTunnelingResult;
#endif

/// Tags of "DataTransfer" and its response.
enum DataTransferState HOSTLINK_OF_16_BITS {
    DTT_FileName = 0,
    DTT_SequenceNum = 1,
    DTT_Data = 2,
    DTT_LastChunk = 3,
    DTT_DataCRC = 4,
    DTT_AbortTransfer = 5,
    DTT_FileSize = 6,
};
#ifndef __cplusplus
typedef uint16_t DataTransferState;
#endif

/// State ids: the tags of "SetStateMessage", "StateChangedMessage" and their responses, and the items of list messages.
enum State HOSTLINK_OF_SIGNED_32_BITS {
    STA_Undefined = 0x0000,
    STA_FirmwareVersion = 0x0001,
    STA_FirmwareState = 0x0002,
    STA_PowerState = 0x0003,
    STA_PlayerControl = 0x0004,
    STA_PlayerRepeat = 0x0005,
    STA_PlayerShuffle = 0x0006,
    STA_PlayerMute = 0x0007,
    STA_PlayerVolume = 0x0009,
    STA_PlayerPlayTime = 0x000A,
    STA_PlayerPlayStatus = 0x000B,
    STA_MetaTitle = 0x000C,
    STA_MetaAlbum = 0x000D,
    STA_MetaAlbumArtURL = 0x000E,
    STA_MetaArtist = 0x000F,
    STA_MetaMimeType = 0x0010,
    STA_MetaSampleRate = 0x0011,
    STA_MetaSampleDepth = 0x0012,
    STA_MetaBitrate = 0x0013,
    STA_MetaTrackLength = 0x0014,
    STA_AudioSourceID = 0x0015,
    STA_AudioPhase = 0x0016,
    STA_AudioPolarity = 0x0017,
    STA_AudioGain = 0x0018,
    STA_AudioBalance = 0x0019,
    STA_AudioBass = 0x001A,
    STA_AudioTreble = 0x001B,
    STA_DisplayBacklightLevel = 0x001C,
    STA_DisplayBacklightTimeout = 0x001D,
    STA_NetworkState = 0x001E,
    STA_NetworkType = 0x001F,
    STA_SystemUpState = 0x0020,
    STA_GoogleVoiceAssistantState = 0x0021,
    STA_PlayerMicMute = 0x0022,
    STA_BluetoothDiscoverableState = 0x0023,
    STA_BluetoothConnectionState = 0x0024,
    STA_AlexaVoiceServiceState = 0x0025,
    STA_PlayerControlFlags = 0x0026,
    STA_BluetoothIncomingCallNumber = 0x0027,
    STA_BluetoothOutgoingCallNumber = 0x0028,
    STA_AlexaAssistantState = 0x0029,
    STA_AlexaDoNotDisturbState = 0x002A,
    STA_AlexaAlertRingingState = 0x002B,
    STA_AlexaNotificationQueued = 0x002C,
    STA_AlexaConnectedBluetoothDevicesCount = 0x002D,
    STA_AlexaCallState = 0x0030,
    STA_AudioLoudness = 0x0031,
    STA_AudioPostprocessingOnOff = 0x0032,
    STA_AudioEqOnOff = 0x0033,
    STA_AudioEqSpec = 0x0034,
    STA_AudioEqGains = 0x0035,
    STA_NextPowerState = 0x0036,
    STA_RoonCustomSignalPath = 0x0037,
    STA_IpAddress = 0x0301,
    STA_EthernetMacAddress = 0x0302,
    STA_HostName = 0x0303,
    STA_ChromecastAppName = 0x0304,
    STA_KorvaAudioInput = 0x0305,
    STA_DiracCalibrationStatus = 0x0306,
    STA_KorvaSampleRate = 0x0309,
    STA_KorvaVeskarUpgradeStatus = 0x030B,
    STA_KorvaUpgradeDataSize = 0x030C,
    STA_KorvaUpgradeDataOffset = 0x030D,
    STA_KorvaUpgradeData = 0x030E,
    STA_WiFiMacAddress = 0x0310,
    STA_FriendlyName = 0x0311,
    STA_MqaState = 0x0312,
    STA_Region = 0x0313,
    STA_SetSerialNumber = 0x0314,
    STA_SetMacAddress = 0x0315,
    STA_HaloBrightness = 0x0316,
    STA_IrSystemCode = 0x0317,
    STA_AudioBypass = 0x0318,
    STA_InputAutoSwitch = 0x0319,
    STA_ARCVolume = 0x031A,
    STA_DACFilter = 0x031B,
    STA_HeadphonesStatus = 0x0320,
    STA_DiracClientStatus = 0x0321,
    STA_TelvorBtPairedDevices = 0xA010,
    STA_TelvorBtDiscoveryState = 0xA011,
    STA_TelvorBtPlaybackState = 0xA014,
    STA_TelvorBtTrackMetaData = 0xA015,
    STA_TelvorBtCommand = 0xA017,
    STA_TelvorBtPlaybackAllowed = 0xA018,
    STA_TelvorBtFWVersion = 0xA019,
    STA_TelvorBtConnectionState = 0xA01A,
    STA_TelvorBtConnectionCommand = 0xA01B,
    STA_TelvorBtSystemFriendlyName = 0xA020,
    STA_TelvorInput = 0xA021,
    STA_TelvorEcoTimer = 0xA02E,
    STA_TelvorNetworkStandby = 0xA030,
    STA_TelvorSubConfig = 0xA031,
    STA_PreAmpMode = 0xA032,
    STA_BtHdmiAutoSwitch = 0xA033,
    STA_TvVolumeControl = 0xA034,
    STA_BluetoothReset = 0xA035,
    STA_InputName = 0xA036,
    STA_InputNameShow = 0xA037,
    STA_MaxAmpVolume = 0xA038,
    STA_KorvaDiracStimuliTrimCh0 = 0xA039,
    STA_KorvaDiracStimuliTrimCh1 = 0xA03A,
    STA_KorvaDiracStimuliTrimCh2 = 0xA03B,
    STA_KorvaDiracStimuliTrimCh3 = 0xA03C,
    STA_TelvorDiracFilering = 0xA03D,
    STA_TelvorChannelLevel = 0xA03E,
    STA_TelvorCrossOverFreq = 0xA03F,
    STA_TelvorDelay = 0xA040,
    STA_TelvorSampleRate = 0xA041,
    STA_TelvorCSpeakerEQ = 0xA042,
    STA_TelvorInputName = 0xA043,
    STA_TelvorPMVolume = 0xA044,
    STA_TelvorProcessorModeSel = 0xA045,
    STA_TelvorSubMode = 0xA046,
    STA_HostFirmwareVersion = 0xF001,
    STA_HostFirmwareState = 0xF002,
    STA_HostMicMute = 0xF003,
    STA_HostSystemInfo = 0xF300,
    STA_FactoryReset = 0xF301,
    STA_DiracCurveNames = 0xF307,
    STA_DiracSelectCurve = 0xF308,
    STA_KorvaSetSampleRate = 0xF309,
    STA_KorvaDeviceUpgradeStatus = 0xF30B,
    STA_KorvaDeviceUpgradeJumpToOffset = 0xF30D,
    STA_MaxVolume = 0xF311,
    STA_CurrentOutputType = 0xF315,
    STA_VolumeMode = 0xF316,
};
#ifndef __cplusplus
typedef int32_t State;
#endif

#endif
