# Written by protocol/generate.py from protocol/hostlink.toml, do not edit: `make protocol` writes it anew.
"""Names and numbers of the protocol: enumerations, each with its words."""

from enum import IntEnum, IntFlag


class LinkFrameType(IntEnum):
    """Frame types as `hostLinkPacketGetFrameType` tells them; 4 to 7 are never written and come back as received."""

    Response = 0
    Reset = 1
    Irq = 2
    Message = 3


class LinkPacketCtrlFlags(IntFlag):
    """Control flags in bits 5 to 7 of a packet's flags byte."""

    Last = 0x20  # last packet of its frame
    Nack = 0x40  # negative acknowledgement (response packets)
    Ack = 0x80  # positive acknowledgement; on a message packet: the sender asks for one


class AcknowledgeType(IntEnum):
    """What a response frame says; the value sits in flag bits 6 and 7."""

    None_ = 0  # neither
    Nack = 1  # nack: refused, try again
    Ack = 2  # ack: accepted
    AckNack = 3  # both: error, do not try again


class MessageId(IntEnum):
    """Message ids. Bit 15 marks a response; the low 15 bits must not exceed 63."""

    Invalid = 0x0000
    SetState = 0x0001
    GetState = 0x0002
    SubscribeState = 0x0003
    StateChanged = 0x0004
    UnsubscribeState = 0x0005
    InputEvent = 0x0006
    DataTransfer = 0x0007
    TcpTunneling = 0x0008
    SetLedApi = 0x0009
    UnsupportedMessageResponse = 0x8000
    SetStateResponse = 0x8001
    GetStateResponse = 0x8002
    SubscribeStateResponse = 0x8003
    UnsubscribeStateResponse = 0x8005
    DataTransferResponse = 0x8007
    TcpTunnelingResponse = 0x8009  # paired with request 8 on purpose; there is no 0x8008


class Encoding(IntEnum):
    """Type codes of tagged values."""

    Nil = 192
    Bin16 = 197  # 16-bit length, then that many bytes
    Uint8 = 204
    Uint16 = 205
    Uint32 = 206
    Uint64 = 207
    Int8 = 208
    Int16 = 209
    Int32 = 210
    Int64 = 211


class LedApiCmd(IntEnum):
    """Tags of "SetLedApi" messages."""

    SetPalette = 0x0000  # palette
    SetPattern = 0x0001  # pattern


class ButtonState(IntEnum):
    """Tags of "InputEventMessage"."""

    KeyReleased = 0x0000  # key released
    KeyPressed = 0x0001  # key pressed
    KeyRepeated = 0x0002  # key repeated


class TcpTunnelingState(IntEnum):
    """Tags of "TcpTunnelingMessage" and its response."""

    Connection = 0x0000  # connection
    Data = 0x0001  # data
    Command = 0x0002  # command


class DataTransferState(IntEnum):
    """Tags of "DataTransfer" and its response."""

    FileName = 0x0000  # file name
    SequenceNum = 0x0001  # sequence number
    Data = 0x0002  # data
    LastChunk = 0x0003  # last chunk
    DataCRC = 0x0004  # checksum of the data
    AbortTransfer = 0x0005  # abort
    FileSize = 0x0006  # file size


class State(IntEnum):
    """State ids: the tags of "SetStateMessage", "StateChangedMessage" and their responses, and the items of list messages."""

    Undefined = 0x0000
    FirmwareVersion = 0x0001
    FirmwareState = 0x0002
    PowerState = 0x0003
    PlayerControl = 0x0004
    PlayerRepeat = 0x0005
    PlayerShuffle = 0x0006
    PlayerMute = 0x0007
    PlayerVolume = 0x0009
    PlayerPlayTime = 0x000A
    PlayerPlayStatus = 0x000B
    MetaTitle = 0x000C
    MetaAlbum = 0x000D
    MetaAlbumArtURL = 0x000E
    MetaArtist = 0x000F
    MetaMimeType = 0x0010
    MetaSampleRate = 0x0011
    MetaSampleDepth = 0x0012
    MetaBitrate = 0x0013
    MetaTrackLength = 0x0014
    AudioSourceID = 0x0015
    AudioPhase = 0x0016
    AudioPolarity = 0x0017
    AudioGain = 0x0018
    AudioBalance = 0x0019
    AudioBass = 0x001A
    AudioTreble = 0x001B
    DisplayBacklightLevel = 0x001C
    DisplayBacklightTimeout = 0x001D
    NetworkState = 0x001E
    NetworkType = 0x001F
    SystemUpState = 0x0020
    GoogleVoiceAssistantState = 0x0021
    PlayerMicMute = 0x0022
    BluetoothDiscoverableState = 0x0023
    BluetoothConnectionState = 0x0024
    AlexaVoiceServiceState = 0x0025
    PlayerControlFlags = 0x0026
    BluetoothIncomingCallNumber = 0x0027
    BluetoothOutgoingCallNumber = 0x0028
    AlexaAssistantState = 0x0029
    AlexaDoNotDisturbState = 0x002A
    AlexaAlertRingingState = 0x002B
    AlexaNotificationQueued = 0x002C
    AlexaConnectedBluetoothDevicesCount = 0x002D
    AlexaCallState = 0x0030
    AudioLoudness = 0x0031
    AudioPostprocessingOnOff = 0x0032
    AudioEqOnOff = 0x0033
    AudioEqSpec = 0x0034
    AudioEqGains = 0x0035
    NextPowerState = 0x0036
    RoonCustomSignalPath = 0x0037
    IpAddress = 0x0301
    EthernetMacAddress = 0x0302
    HostName = 0x0303
    ChromecastAppName = 0x0304
    KorvaAudioInput = 0x0305
    DiracCalibrationStatus = 0x0306
    KorvaSampleRate = 0x0309
    KorvaVeskarUpgradeStatus = 0x030B
    KorvaUpgradeDataSize = 0x030C
    KorvaUpgradeDataOffset = 0x030D
    KorvaUpgradeData = 0x030E
    WiFiMacAddress = 0x0310
    FriendlyName = 0x0311
    MqaState = 0x0312
    Region = 0x0313
    SetSerialNumber = 0x0314
    SetMacAddress = 0x0315
    HaloBrightness = 0x0316
    IrSystemCode = 0x0317
    AudioBypass = 0x0318
    InputAutoSwitch = 0x0319
    ARCVolume = 0x031A
    DACFilter = 0x031B
    HeadphonesStatus = 0x0320
    DiracClientStatus = 0x0321
    TelvorBtPairedDevices = 0xA010
    TelvorBtDiscoveryState = 0xA011
    TelvorBtPlaybackState = 0xA014
    TelvorBtTrackMetaData = 0xA015
    TelvorBtCommand = 0xA017
    TelvorBtPlaybackAllowed = 0xA018
    TelvorBtFWVersion = 0xA019
    TelvorBtConnectionState = 0xA01A
    TelvorBtConnectionCommand = 0xA01B
    TelvorBtSystemFriendlyName = 0xA020
    TelvorInput = 0xA021
    TelvorEcoTimer = 0xA02E
    TelvorNetworkStandby = 0xA030
    TelvorSubConfig = 0xA031
    PreAmpMode = 0xA032
    BtHdmiAutoSwitch = 0xA033
    TvVolumeControl = 0xA034
    BluetoothReset = 0xA035
    InputName = 0xA036
    InputNameShow = 0xA037
    MaxAmpVolume = 0xA038
    KorvaDiracStimuliTrimCh0 = 0xA039
    KorvaDiracStimuliTrimCh1 = 0xA03A
    KorvaDiracStimuliTrimCh2 = 0xA03B
    KorvaDiracStimuliTrimCh3 = 0xA03C
    TelvorDiracFilering = 0xA03D
    TelvorChannelLevel = 0xA03E
    TelvorCrossOverFreq = 0xA03F
    TelvorDelay = 0xA040
    TelvorSampleRate = 0xA041
    TelvorCSpeakerEQ = 0xA042
    TelvorInputName = 0xA043
    TelvorPMVolume = 0xA044
    TelvorProcessorModeSel = 0xA045
    TelvorSubMode = 0xA046
    HostFirmwareVersion = 0xF001
    HostFirmwareState = 0xF002
    HostMicMute = 0xF003
    HostSystemInfo = 0xF300
    FactoryReset = 0xF301
    DiracCurveNames = 0xF307
    DiracSelectCurve = 0xF308
    KorvaSetSampleRate = 0xF309
    KorvaDeviceUpgradeStatus = 0xF30B
    KorvaDeviceUpgradeJumpToOffset = 0xF30D
    MaxVolume = 0xF311
    CurrentOutputType = 0xF315
    VolumeMode = 0xF316


class TcpTunnelingResult(IntEnum):
    """Values of `TCP_Data` in a response."""

    Success = 0
    InvalidMessage = 1
    InvalidConnection = 2
    TranferFailed = 3
    InvalidCommand = 4


class FirmwareState(IntEnum):
    """Values of the state FirmwareState."""

    Idle = 0
    FlasherMode = 1
    Downloading = 2
    Finished = 3
    Failed = 4
    Application = 5


class PowerState(IntEnum):
    """Values of the states PowerState, NextPowerState."""

    None_ = 0
    Booting = 5
    Online = 10
    Standby = 20
    Offline = 30
    Reboot = 40
    Halt = 50


class PlayerControl(IntEnum):
    """Values of the state PlayerControl."""

    Pause = 0
    Stop = 1
    Next = 2
    Previous = 3
    Like = 4
    Dislike = 5


class PlayerPlayStatus(IntEnum):
    """Values of the state PlayerPlayStatus."""

    Stopped = 0
    Transitioning = 1
    Playing = 2
    Paused = 3


class AudioSourceID(IntEnum):
    """Values of the state AudioSourceID."""

    Unknown = 0
    Airable = 1
    Multiroom = 2
    Files = 3
    Storage = 4
    VTuner = 6
    TuneIn = 9
    UPnP = 10
    QPlay = 11
    Bluetooth = 12
    AirPlay = 13
    Cdda = 14
    Spotify = 15
    GoogleCast = 16
    AirableRadios = 17
    AirablePodcasts = 18
    Napster = 19
    Qobuz = 20
    Deezer = 21
    Tidal = 22
    Roon = 23
    AUX = 24
    AVS = 25
    AmazonMusic = 26
    TencentDingDang = 27
    BluetoothHandsfree = 28
    DAB = 29
    FM = 30
    SPDIF = 31
    UsbAudio = 32
    Pandora = 33
    TencentXiaowei = 34
    HDMI = 35
    Dante = 36
    HighresAudio = 37
    Dirac = 38
    CalmRadio = 39
    JioSaavn = 40
    Idagio = 41
    SoundMachine = 42
    PalcoMP3 = 43
    LautFm = 44
    KlassikRadio = 45
    PiratenFM = 46
    SonySelect = 47
    Spreaker = 48
    Soundtrack = 49
    QobuzConnect = 50


class NetworkState(IntEnum):
    """Values of the state NetworkState."""

    NotConnected = 0
    Connected = 1
    Connecting = 2
    Error = 3


class NetworkType(IntEnum):
    """Values of the state NetworkType."""

    Unknown = 0
    Ethernet = 1
    WiFi = 2
    SoftAP = 3


class SystemUpState(IntEnum):
    """Values of the state SystemUpState."""

    UP = 1


class GoogleVoiceAssistantState(IntEnum):
    """Values of the state GoogleVoiceAssistantState."""

    Unknown = 0
    Idle = 1
    HotwordListening = 2
    HotwordTimeout = 3
    Thinking = 4
    Responding = 5
    NoResponse = 6
    Cancelled = 7


class BluetoothDiscoverableState(IntEnum):
    """Values of the state BluetoothDiscoverableState."""

    Off = 0
    DiscoverablePairable = 1


class BluetoothConnectionState(IntEnum):
    """Values of the state BluetoothConnectionState."""

    Disconnected = 0
    Connected = 1


class AlexaVoiceServiceState(IntEnum):
    """Values of the state AlexaVoiceServiceState."""

    NotAvailable = 0
    NoNetwork = 1
    LoginRequired = 2
    Okay = 3
    UnrecoverrableError = 4


class PlayerControlFlags(IntFlag):
    """Bits of the state PlayerControlFlags."""

    Pause = 1
    Stop = 2
    Next = 4
    Previous = 8
    Like = 16
    Dislike = 32
    Shuffle = 64
    RepeatOne = 128
    RepeatAll = 256
    SeekTime = 512
    SeekTrack = 1024
    SeekBytes = 2048


class AlexaAssistantState(IntEnum):
    """Values of the state AlexaAssistantState."""

    Idle = 0
    Listening = 1
    Expecting = 2
    Thinking = 3
    Speaking = 4
    Finished = 5


class AlexaCallState(IntEnum):
    """Values of the state AlexaCallState."""

    None_ = 0
    Connecting = 1
    InboundRinging = 2
    CallConnected = 3
    CallDisconnected = 4


#: What the numbers of a state mean, for the states whose values have names.
VALUES: dict[int, type[IntEnum] | type[IntFlag]] = {
    State.FirmwareState: FirmwareState,
    State.PowerState: PowerState,
    State.PlayerControl: PlayerControl,
    State.PlayerPlayStatus: PlayerPlayStatus,
    State.AudioSourceID: AudioSourceID,
    State.NetworkState: NetworkState,
    State.NetworkType: NetworkType,
    State.SystemUpState: SystemUpState,
    State.GoogleVoiceAssistantState: GoogleVoiceAssistantState,
    State.BluetoothDiscoverableState: BluetoothDiscoverableState,
    State.BluetoothConnectionState: BluetoothConnectionState,
    State.AlexaVoiceServiceState: AlexaVoiceServiceState,
    State.PlayerControlFlags: PlayerControlFlags,
    State.AlexaAssistantState: AlexaAssistantState,
    State.AlexaCallState: AlexaCallState,
    State.NextPowerState: PowerState,
}


#: The message that answers one.
ANSWERS: dict[int, MessageId] = {
    MessageId.SetState: MessageId.SetStateResponse,
    MessageId.GetState: MessageId.GetStateResponse,
    MessageId.SubscribeState: MessageId.SubscribeStateResponse,
    MessageId.UnsubscribeState: MessageId.UnsubscribeStateResponse,
    MessageId.DataTransfer: MessageId.DataTransferResponse,
    MessageId.TcpTunneling: MessageId.TcpTunnelingResponse,
}
