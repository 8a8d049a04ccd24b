-- Written by protocol/generate.py from protocol/hostlink.toml, do not edit: `make protocol` writes it anew.
-- What is written by hand stands in dissector/parts; docs/dissector.md tells about both.

-- ---- words

local words = {
    startMark = 0xFEFF,
    headerSize = 8,
    trailerSize = 2,
    sopAt = 0,
    lengthAt = 2,
    flagsAt = 4,
    frameIdAt = 5,
    packetIdAt = 6,
    paddingAt = 7,
    payloadAt = 8,
    formatMask = 0x07,
    unusedMask = 0x18,
    acknowledgeMask = 0xC0,
    acknowledgeShift = 6,
    controlFlags = {
        { mask = 0x20, name = "last", doc = "last packet of its frame" },
        { mask = 0x40, name = "nack", doc = "negative acknowledgement (response packets)" },
        { mask = 0x80, name = "ack", doc = "positive acknowledgement; on a message packet: the sender asks for one" },
    },
    lastFlag = 0x20,
    formatReset = 1,
    formatIrq = 2,
    formatMessage = 3,
    formats = {
        [1] = "reset",
        [2] = "irq",
        [3] = "message",
    },
    frameResponse = 0,
    frameReset = 1,
    frameIrq = 2,
    frameMessage = 3,
    irqPayloadSize = 4,
    frameTypes = {
        [0] = "response",
        [1] = "reset",
        [2] = "irq",
        [3] = "message",
    },
    acknowledgeNone = 0,
    acknowledgeNack = 1,
    acknowledgeAck = 2,
    acknowledgeAckNack = 3,
    acknowledgements = {
        [0] = "neither",
        [1] = "nack: refused, try again",
        [2] = "ack: accepted",
        [3] = "both: error, do not try again",
    },
    responseBit = 0x8000,
    largestMessage = 63,
    requestLists = 0x2C,
    responseLists = 0x28,
    messageNames = {
        [0x0000] = "InvalidMessage",
        [0x0001] = "SetStateMessage",
        [0x0002] = "GetStateMessage",
        [0x0003] = "SubscribeStateMessage",
        [0x0004] = "StateChangedMessage",
        [0x0005] = "UnsubscribeStateMessage",
        [0x0006] = "InputEventMessage",
        [0x0007] = "DataTransfer",
        [0x0008] = "TcpTunnelingMessage",
        [0x0009] = "SetLedApi",
        [0x8000] = "UnsupportedMessageResponse",
        [0x8001] = "SetStateResponseMessage",
        [0x8002] = "GetStateResponseMessage",
        [0x8003] = "SubscribeStateResponseMessage",
        [0x8005] = "UnsubscribeStateResponseMessage",
        [0x8007] = "DataTransferResponseMessage",
        [0x8009] = "TcpTunnelingResponseMessage",
    },
    messageTags = {
        [0x0001] = "State",
        [0x0002] = "State",
        [0x0003] = "State",
        [0x0004] = "State",
        [0x0005] = "State",
        [0x0006] = "ButtonState",
        [0x0007] = "DataTransferState",
        [0x0008] = "TcpTunnelingState",
        [0x0009] = "LedApiCmd",
        [0x8001] = "State",
        [0x8002] = "State",
        [0x8003] = "State",
        [0x8005] = "State",
        [0x8007] = "DataTransferState",
        [0x8009] = "TcpTunnelingState",
    },
    answers = {
        [0x0001] = 0x8001,
        [0x0002] = 0x8002,
        [0x0003] = 0x8003,
        [0x0005] = 0x8005,
        [0x0007] = 0x8007,
        [0x0008] = 0x8009,
    },
    encodingNames = {
        [192] = "Nil",
        [197] = "Bin16",
        [204] = "Uint8",
        [205] = "Uint16",
        [206] = "Uint32",
        [207] = "Uint64",
        [208] = "Int8",
        [209] = "Int16",
        [210] = "Int32",
        [211] = "Int64",
    },
    encodings = {
        [192] = { kind = "nil", width = 0 },
        [197] = { kind = "binary", width = 2 },
        [204] = { kind = "unsigned", width = 1 },
        [205] = { kind = "unsigned", width = 2 },
        [206] = { kind = "unsigned", width = 4 },
        [207] = { kind = "unsigned", width = 8 },
        [208] = { kind = "signed", width = 1 },
        [209] = { kind = "signed", width = 2 },
        [210] = { kind = "signed", width = 4 },
        [211] = { kind = "signed", width = 8 },
    },
    tags = {
        LedApiCmd = {
            [0x0000] = "LED_SetPalette",
            [0x0001] = "LED_SetPattern",
        },
        ButtonState = {
            [0x0000] = "BUT_KeyReleased",
            [0x0001] = "BUT_KeyPressed",
            [0x0002] = "BUT_KeyRepeated",
        },
        TcpTunnelingState = {
            [0x0000] = "TCP_Connection",
            [0x0001] = "TCP_Data",
            [0x0002] = "TCP_Command",
        },
        DataTransferState = {
            [0x0000] = "DTT_FileName",
            [0x0001] = "DTT_SequenceNum",
            [0x0002] = "DTT_Data",
            [0x0003] = "DTT_LastChunk",
            [0x0004] = "DTT_DataCRC",
            [0x0005] = "DTT_AbortTransfer",
            [0x0006] = "DTT_FileSize",
        },
        State = {
            [0x0000] = "Undefined",
            [0x0001] = "FirmwareVersion",
            [0x0002] = "FirmwareState",
            [0x0003] = "PowerState",
            [0x0004] = "PlayerControl",
            [0x0005] = "PlayerRepeat",
            [0x0006] = "PlayerShuffle",
            [0x0007] = "PlayerMute",
            [0x0009] = "PlayerVolume",
            [0x000A] = "PlayerPlayTime",
            [0x000B] = "PlayerPlayStatus",
            [0x000C] = "MetaTitle",
            [0x000D] = "MetaAlbum",
            [0x000E] = "MetaAlbumArtURL",
            [0x000F] = "MetaArtist",
            [0x0010] = "MetaMimeType",
            [0x0011] = "MetaSampleRate",
            [0x0012] = "MetaSampleDepth",
            [0x0013] = "MetaBitrate",
            [0x0014] = "MetaTrackLength",
            [0x0015] = "AudioSourceID",
            [0x0016] = "AudioPhase",
            [0x0017] = "AudioPolarity",
            [0x0018] = "AudioGain",
            [0x0019] = "AudioBalance",
            [0x001A] = "STA_AudioBass",
            [0x001B] = "AudioTreble",
            [0x001C] = "DisplayBacklightLevel",
            [0x001D] = "DisplayBacklightTimeout",
            [0x001E] = "NetworkState",
            [0x001F] = "NetworkType",
            [0x0020] = "SystemUpState",
            [0x0021] = "GoogleVoiceAssistantState",
            [0x0022] = "PlayerMicMute",
            [0x0023] = "BluetoothDiscoverableState",
            [0x0024] = "BluetoothConnectionState",
            [0x0025] = "AlexaVoiceServiceState",
            [0x0026] = "PlayerControlFlags",
            [0x0027] = "BluetoothIncomingCallNumber",
            [0x0028] = "BluetoothOutgoingCallNumber",
            [0x0029] = "AlexaAssistantState",
            [0x002A] = "AlexaDoNotDisturbState",
            [0x002B] = "AlexaAlertRingingState",
            [0x002C] = "AlexaNotificationQueued",
            [0x002D] = "AlexaConnectedBluetoothDevicesCount",
            [0x0030] = "AlexaCallState",
            [0x0031] = "AudioLoudness",
            [0x0032] = "AudioPostprocessingOnOff",
            [0x0033] = "AudioEqOnOff",
            [0x0034] = "AudioEqSpec",
            [0x0035] = "AudioEqGains",
            [0x0036] = "NextPowerState",
            [0x0037] = "RoonCustomSignalPath",
            [0x0301] = "IpAddress",
            [0x0302] = "EthernetMacAddress",
            [0x0303] = "HostName",
            [0x0304] = "ChromecastAppName",
            [0x0305] = "KORVA Audio Input",
            [0x0306] = "DiracCalibrationStatus",
            [0x0309] = "KORVA Sample Rate",
            [0x030B] = "KORVA VESKAR Upgrade Status",
            [0x030C] = "KORVA Upgrade Data Size",
            [0x030D] = "KORVA Upgrade Data Offset",
            [0x030E] = "KORVA Upgrade Data",
            [0x0310] = "WiFiMacAddress",
            [0x0311] = "FriendlyName",
            [0x0312] = "MqaState",
            [0x0313] = "Region",
            [0x0314] = "SetSerialNumber",
            [0x0315] = "SetMacAddress",
            [0x0316] = "HaloBrightness",
            [0x0317] = "IrSystemCode",
            [0x0318] = "AudioBypass",
            [0x0319] = "InputAutoSwitch",
            [0x031A] = "ARCVolume",
            [0x031B] = "DACFilter",
            [0x0320] = "HeadphonesStatus",
            [0x0321] = "DiracClientStatus",
            [0xA010] = "TelvorBtPairedDevices",
            [0xA011] = "TelvorBtDiscoveryState",
            [0xA014] = "TelvorBtPlaybackState",
            [0xA015] = "TelvorBtTrackMetaData",
            [0xA017] = "TelvorBtCommand",
            [0xA018] = "TelvorBtPlaybackAllowed",
            [0xA019] = "TelvorBtFWVersion",
            [0xA01A] = "TelvorBtConnectionState",
            [0xA01B] = "TelvorBtConnectionCommand",
            [0xA020] = "TelvorBtSystemFriendlyName",
            [0xA021] = "TelvorInput",
            [0xA02E] = "TelvorEcoTimer",
            [0xA030] = "TelvorNetworkStandby",
            [0xA031] = "TelvorSubConfig",
            [0xA032] = "PreAmpMode",
            [0xA033] = "BtHdmiAutoSwitch",
            [0xA034] = "TvVolumeControl",
            [0xA035] = "STA_BluetoothReset",
            [0xA036] = "InputName",
            [0xA037] = "InputNameShow",
            [0xA038] = "MaxAmpVolume",
            [0xA039] = "STA_KorvaDiracStimuliTrimCh0",
            [0xA03A] = "STA_KorvaDiracStimuliTrimCh1",
            [0xA03B] = "STA_KorvaDiracStimuliTrimCh2",
            [0xA03C] = "STA_KorvaDiracStimuliTrimCh3",
            [0xA03D] = "STA_TelvorDiracFilering",
            [0xA03E] = "STA_TelvorChannelLevel",
            [0xA03F] = "STA_TelvorCrossOverFreq",
            [0xA040] = "STA_TelvorDelay",
            [0xA041] = "STA_TelvorSampleRate",
            [0xA042] = "STA_TelvorCSpeakerEQ",
            [0xA043] = "STA_TelvorInputName",
            [0xA044] = "STA_TelvorPMVolume",
            [0xA045] = "STA_TelvorProcessorModeSel",
            [0xA046] = "STA_TelvorSubMode",
            [0xF001] = "HostFirmwareVersion",
            [0xF002] = "HostFirmwareState",
            [0xF003] = "HostMicMute",
            [0xF300] = "HostSystemInfo",
            [0xF301] = "FactoryReset",
            [0xF307] = "DiracCurveNames",
            [0xF308] = "DiracSelectCurve",
            [0xF309] = "KORVA Set Sample Rate",
            [0xF30B] = "KORVA Device Upgrade Status",
            [0xF30D] = "KORVA Device Upgrade Jump to Offset",
            [0xF311] = "MaxVolume",
            [0xF315] = "CurrentOutputType",
            [0xF316] = "VolumeMode",
        },
    },
    -- Which set names the values of a tag.
    valuesOf = {
        LedApiCmd = {
        },
        ButtonState = {
        },
        TcpTunnelingState = {
            [0x0001] = "TcpTunnelingResult",
        },
        DataTransferState = {
        },
        State = {
            [0x0002] = "FirmwareState",
            [0x0003] = "PowerState",
            [0x0004] = "PlayerControl",
            [0x000B] = "PlayerPlayStatus",
            [0x0015] = "AudioSourceID",
            [0x001E] = "NetworkState",
            [0x001F] = "NetworkType",
            [0x0020] = "SystemUpState",
            [0x0021] = "GoogleVoiceAssistantState",
            [0x0023] = "BluetoothDiscoverableState",
            [0x0024] = "BluetoothConnectionState",
            [0x0025] = "AlexaVoiceServiceState",
            [0x0026] = "PlayerControlFlags",
            [0x0029] = "AlexaAssistantState",
            [0x0030] = "AlexaCallState",
            [0x0036] = "PowerState",
        },
    },
    values = {
        TcpTunnelingResult = {
            [0] = "TCP_Success",
            [1] = "TCP_InvalidMessage",
            [2] = "TCP_InvalidConnection",
            [3] = "TCP_TranferFailed",
            [4] = "TCP_InvalidCommand",
        },
        FirmwareState = {
            [0] = "Idle",
            [1] = "FlasherMode",
            [2] = "Downloading",
            [3] = "Finished",
            [4] = "Failed",
            [5] = "Application",
        },
        PowerState = {
            [0] = "None",
            [5] = "Booting",
            [10] = "Online",
            [20] = "Standby",
            [30] = "Offline",
            [40] = "Reboot",
            [50] = "Halt",
        },
        PlayerControl = {
            [0] = "Pause",
            [1] = "Stop",
            [2] = "Next",
            [3] = "Previous",
            [4] = "Like",
            [5] = "Dislike",
        },
        PlayerPlayStatus = {
            [0] = "Stopped",
            [1] = "Transitioning",
            [2] = "Playing",
            [3] = "Paused",
        },
        AudioSourceID = {
            [0] = "Unknown",
            [1] = "Airable",
            [2] = "Multiroom",
            [3] = "Files",
            [4] = "Storage",
            [6] = "VTuner",
            [9] = "TuneIn",
            [10] = "UPnP",
            [11] = "QPlay",
            [12] = "Bluetooth",
            [13] = "AirPlay",
            [14] = "Cdda",
            [15] = "Spotify",
            [16] = "GoogleCast",
            [17] = "AirableRadios",
            [18] = "AirablePodcasts",
            [19] = "Napster",
            [20] = "Qobuz",
            [21] = "Deezer",
            [22] = "Tidal",
            [23] = "Roon",
            [24] = "AUX",
            [25] = "AVS",
            [26] = "AmazonMusic",
            [27] = "TencentDingDang",
            [28] = "BluetoothHandsfree",
            [29] = "DAB",
            [30] = "FM",
            [31] = "SPDIF",
            [32] = "UsbAudio",
            [33] = "Pandora",
            [34] = "TencentXiaowei",
            [35] = "HDMI",
            [36] = "Dante",
            [37] = "HighresAudio",
            [38] = "Dirac",
            [39] = "CalmRadio",
            [40] = "JioSaavn",
            [41] = "Idagio",
            [42] = "SoundMachine",
            [43] = "PalcoMP3",
            [44] = "LautFm",
            [45] = "KlassikRadio",
            [46] = "PiratenFM",
            [47] = "SonySelect",
            [48] = "Spreaker",
            [49] = "Soundtrack",
            [50] = "QobuzConnect",
        },
        NetworkState = {
            [0] = "NotConnected",
            [1] = "Connected",
            [2] = "Connecting",
            [3] = "Error",
        },
        NetworkType = {
            [0] = "Unknown",
            [1] = "Ethernet",
            [2] = "WiFi",
            [3] = "SoftAP",
        },
        SystemUpState = {
            [1] = "UP",
        },
        GoogleVoiceAssistantState = {
            [0] = "Unknown",
            [1] = "Idle",
            [2] = "HotwordListening",
            [3] = "HotwordTimeout",
            [4] = "Thinking",
            [5] = "Responding",
            [6] = "NoResponse",
            [7] = "Cancelled",
        },
        BluetoothDiscoverableState = {
            [0] = "Off",
            [1] = "DiscoverablePairable",
        },
        BluetoothConnectionState = {
            [0] = "Disconnected",
            [1] = "Connected",
        },
        AlexaVoiceServiceState = {
            [0] = "NotAvailable",
            [1] = "NoNetwork",
            [2] = "LoginRequired",
            [3] = "Okay",
            [4] = "UnrecoverrableError",
        },
        PlayerControlFlags = {
            [1] = "Pause",
            [2] = "Stop",
            [4] = "Next",
            [8] = "Previous",
            [16] = "Like",
            [32] = "Dislike",
            [64] = "Shuffle",
            [128] = "RepeatOne",
            [256] = "RepeatAll",
            [512] = "SeekTime",
            [1024] = "SeekTrack",
            [2048] = "SeekBytes",
        },
        AlexaAssistantState = {
            [0] = "Idle",
            [1] = "Listening",
            [2] = "Expecting",
            [3] = "Thinking",
            [4] = "Speaking",
            [5] = "Finished",
        },
        AlexaCallState = {
            [0] = "None",
            [1] = "Connecting",
            [2] = "InboundRinging",
            [3] = "CallConnected",
            [4] = "CallDisconnected",
        },
    },
    bits = { PlayerControlFlags = true },
}

-- ---- fields

local hostlink = Proto("hostlink", "Host link")

local fields, experts = {}, {}

local function field(name, make, title, ...)
    local made = make("hostlink." .. name, title, ...)
    fields[name] = made
    return made
end

-- Of the capture.
field("wire", ProtoField.string, "Wire")
field("direction", ProtoField.uint8, "Direction", base.DEC,
    { [0] = "unknown", [1] = "host to module", [2] = "module to host" })
field("line", ProtoField.string, "Interrupt line")
field("verdict", ProtoField.string, "Verdict of the link")
field("part", ProtoField.bytes, "Part of a packet")
field("part_of", ProtoField.framenum, "Packet begins in")
field("shown_in", ProtoField.framenum, "Packet shown in")
field("dropped", ProtoField.bytes, "Dropped bytes")
field("filler", ProtoField.bytes, "Bytes behind the packet")

-- Of a packet, in wire order.
field("start_mark", ProtoField.uint16, "Start mark", base.HEX)
field("length", ProtoField.uint16, "Length", base.DEC)
field("flags", ProtoField.uint8, "Flags", base.HEX)
field("flags.format", ProtoField.uint8, "Format", base.DEC, words.formats, words.formatMask)
field("flags.unused", ProtoField.uint8, "Not used", base.HEX, nil, words.unusedMask)
for _, flag in ipairs(words.controlFlags) do
    field("flags." .. flag.name, ProtoField.bool, flag.name, 8, nil, flag.mask, flag.doc)
end
field("acknowledge", ProtoField.uint8, "Acknowledgement", base.DEC, words.acknowledgements, words.acknowledgeMask)
field("frame_type", ProtoField.uint8, "Frame type", base.DEC, words.frameTypes)
field("frame_id", ProtoField.uint8, "Frame id", base.DEC)
field("packet_id", ProtoField.uint8, "Packet id", base.DEC)
field("padding", ProtoField.uint8, "Padding", base.HEX)
field("payload", ProtoField.bytes, "Payload")
field("trailer", ProtoField.uint16, "Trailer", base.HEX)
field("irq", ProtoField.uint32, "Bytes to be read", base.DEC)

-- Of an answer to a packet.
field("response_in", ProtoField.framenum, "Answered in", base.NONE, frametype.RESPONSE)
field("response_to", ProtoField.framenum, "Answer to the packet in", base.NONE, frametype.REQUEST)
field("response_time", ProtoField.relative_time, "Time since that packet")
field("repeats", ProtoField.framenum, "The same bytes as in", base.NONE, frametype.DUP_ACK)
field("attempt", ProtoField.uint16, "Attempt", base.DEC)

-- Of a message.
field("message", ProtoField.uint16, "Message", base.HEX, words.messageNames)
field("message.packet", ProtoField.framenum, "Packet")
field("message.size", ProtoField.uint16, "Bytes", base.DEC)
field("message.count", ProtoField.uint8, "Items", base.DEC)
field("message.unreadable", ProtoField.uint8, "Items that cannot be read", base.DEC)
field("reply_in", ProtoField.framenum, "Reply in", base.NONE, frametype.RESPONSE)
field("reply_to", ProtoField.framenum, "Reply to the message in", base.NONE, frametype.REQUEST)
field("reply_time", ProtoField.relative_time, "Time since that message")

-- Of an item. What its tag means depends on the message.
field("item", ProtoField.string, "Item")
local tagFields = {
    State = field("state", ProtoField.uint16, "State", base.HEX, words.tags.State),
    ButtonState = field("button", ProtoField.uint16, "Button", base.HEX, words.tags.ButtonState),
    DataTransferState = field("transfer", ProtoField.uint16, "Transfer", base.HEX, words.tags.DataTransferState),
    TcpTunnelingState = field("tunnel", ProtoField.uint16, "Tunnel", base.HEX, words.tags.TcpTunnelingState),
    LedApiCmd = field("led", ProtoField.uint16, "LED command", base.HEX, words.tags.LedApiCmd),
}
field("tag", ProtoField.uint16, "Tag", base.HEX)
field("encoding", ProtoField.uint8, "Encoding", base.DEC, words.encodingNames)
field("value", ProtoField.int64, "Value", base.DEC)
field("value.unsigned", ProtoField.uint64, "Value", base.DEC)
field("value.name", ProtoField.string, "Value name")
field("value.size", ProtoField.uint16, "Size", base.DEC)
field("value.bytes", ProtoField.bytes, "Bytes")
field("value.text", ProtoField.string, "Text")

local function expertInfo(name, title, group, severity)
    experts[name] = ProtoExpert.new("hostlink.expert." .. name, title, group, severity)
end

expertInfo("nack", "Refused: the same bytes are to come again", expert.group.RESPONSE_CODE, expert.severity.NOTE)
expertInfo("error", "Refused for good, or neither accepted nor refused", expert.group.RESPONSE_CODE, expert.severity.WARN)
expertInfo("repeated", "Repeated packet", expert.group.SEQUENCE, expert.severity.NOTE)
expertInfo("unanswered", "No answer", expert.group.SEQUENCE, expert.severity.WARN)
expertInfo("stray", "Answer to no packet of this capture", expert.group.SEQUENCE, expert.severity.NOTE)
expertInfo("lost_step", "Lost step", expert.group.SEQUENCE, expert.severity.WARN)
expertInfo("length", "Impossible length", expert.group.MALFORMED, expert.severity.ERROR)
expertInfo("malformed", "Cannot be read", expert.group.MALFORMED, expert.severity.ERROR)
expertInfo("unknown", "Not in the vocabulary", expert.group.UNDECODED, expert.severity.NOTE)

local function values(of)
    local list = {}
    for _, each in pairs(of) do list[#list + 1] = each end
    return list
end
hostlink.fields = values(fields)
hostlink.experts = values(experts)

hostlink.prefs.claim = Pref.bool("Read captures of link type USER0", true,
    "Off: name \"hostlink\" in the table of Protocols > DLT_USER for the link types that are to be read")
hostlink.prefs.form = Pref.enum("Captures that do not say what they hold", 1,
    "For interfaces whose description does not begin as docs/dissector.md says", {
        { 1, "Bytes of a serial line, in any pieces", 1 },
        { 2, "A packet, or a phase of a bus transaction, each", 2 },
    })
hostlink.prefs.hostgivesup = Pref.uint("Silence after which the host gives up half a packet, in ms", 100,
    "Serial lines; 0: never")
hostlink.prefs.modulegivesup = Pref.uint("Silence after which the module gives up half a packet, in ms", 0,
    "Serial lines; 0: never, which is what the module does")
hostlink.prefs.statistics = Pref.bool("Print statistics (tshark)", false,
    "At the end: packets, answers and messages of each wire and direction")

-- ---- layout

-- Bytes as Lua strings, without Wireshark: what the wire format says of them.

local TO_MODULE, TO_HOST = 1, 2 -- directions; 0 is unknown
local START_MARK = string.char(bit32.band(words.startMark, 0xFF), bit32.rshift(words.startMark, 8))
local OVERHEAD = words.headerSize + words.trailerSize

-- The byte, or the 16-bit number, `offset` bytes behind the beginning; it must be there.
local function byteAt(bytes, offset)
    return bytes:byte(offset + 1)
end

local function wordAt(bytes, offset)
    local low, high = bytes:byte(offset + 1, offset + 2)
    return low + 256 * high
end

local function beginsWithMark(bytes)
    return bytes:sub(1, #START_MARK) == START_MARK
end

local function possibleLength(length)
    return length == words.headerSize or length > OVERHEAD
end

-- What is wrong with the packet that the bytes begin with, in the order in which a receiver checks: "header" (cut
-- short within it), "length", "short" (cut short behind it), "mark"; nil when all is well.
local function verdictOn(bytes)
    if #bytes < words.headerSize then return "header" end
    local length = wordAt(bytes, words.lengthAt)
    if not possibleLength(length) then return "length" end
    if length > #bytes then return "short" end
    if not beginsWithMark(bytes) then return "mark" end
end

-- Format 3 in a header alone is a response.
local function frameTypeOf(flags, length)
    local format = bit32.band(flags, words.formatMask)
    if format == words.formatMessage and length == words.headerSize then return words.frameResponse end
    return format
end

-- The packet that the bytes, which have been checked, begin with.
local function parsePacket(bytes)
    local length = wordAt(bytes, words.lengthAt)
    local flags = byteAt(bytes, words.flagsAt)
    return {
        length = length,
        flags = flags,
        type = frameTypeOf(flags, length),
        last = bit32.band(flags, words.lastFlag) ~= 0,
        acknowledge = bit32.rshift(bit32.band(flags, words.acknowledgeMask), words.acknowledgeShift),
        frameId = byteAt(bytes, words.frameIdAt),
        packetId = byteAt(bytes, words.packetIdAt),
        bytes = bytes:sub(1, length),
        payload = length > OVERHEAD and bytes:sub(words.payloadAt + 1, length - words.trailerSize) or "",
    }
end

-- ---- stream

-- Cuts the bytes of a serial line into packets, each direction as its receiver does. What was found is a list of
-- { kind, bytes, from, pieces } where kind is "packet", "bad" or "dropped", `from` is how far into the newest piece it
-- begins (below 0 in an earlier one) and `pieces` are the numbers of the capture packets that held it.

local Stream = {}
Stream.__index = Stream

local function newStream(direction)
    return setmetatable({ direction = direction, pending = "", old = 0, origins = {} }, Stream)
end

-- Where the bytes that are taken came from: the capture packets, in order.
function Stream:leave(count)
    local numbers = {}
    while count > 0 do
        local origin = self.origins[1]
        numbers[#numbers + 1] = origin.number
        local here = math.min(count, origin.left)
        origin.left, count = origin.left - here, count - here
        if origin.left == 0 then table.remove(self.origins, 1) end
    end
    return numbers
end

-- Takes bytes from the front.
function Stream:take(count, kind, found, why)
    found[#found + 1] = { kind = kind, bytes = self.pending:sub(1, count), from = -self.old, why = why,
        pieces = self:leave(count) }
    self.pending = self.pending:sub(count + 1)
    self.old = self.old - count
end

-- The first byte of a mark may be the last that has come.
function Stream:align(found)
    local mark = self.pending:find(START_MARK, 1, true)
    local keep = mark and #self.pending - mark + 1 or (self.pending:sub(-1) == START_MARK:sub(1, 1) and 1 or 0)
    if keep < #self.pending then self:take(#self.pending - keep, "dropped", found) end
    return mark ~= nil
end

-- The module takes as much as an impossible length says, the host looks behind the mark.
function Stream:takeBad(found, why)
    local count = #START_MARK
    if self.direction == TO_MODULE then
        local length = wordAt(self.pending, words.lengthAt)
        if length > 0 then count = math.min(length, #self.pending) end
    end
    self:take(count, "bad", found, why)
end

function Stream:cut(found)
    while self:align(found) do
        local why = verdictOn(self.pending)
        if why == "header" or why == "short" then return end
        if why then
            self:takeBad(found, why)
        else
            self:take(wordAt(self.pending, words.lengthAt), "packet", found)
        end
    end
end

-- Half a packet is given up, what has come of it is searched for another one.
function Stream:expire(now, patience, found)
    if patience == 0 or now - (self.heard or now) < patience then return end
    while #self.pending >= #START_MARK do
        self:take(#START_MARK, "bad", found, "given up")
        local before = #found
        self:cut(found)
        if #found > before and found[#found].kind ~= "dropped" then return end
    end
end

-- `number` is that of the capture packet, `now` and `patience` are seconds. Returns what was found, and the bytes that
-- are left over: the part of a packet, with the capture packet in which it began.
function Stream:feed(piece, number, now, patience)
    local found = {}
    self.old = #self.pending
    self:expire(now, patience, found)
    self.old = #self.pending
    self.pending = self.pending .. piece
    if #piece > 0 then
        self.origins[#self.origins + 1] = { number = number, left = #piece }
        self.heard = now
    end
    self:cut(found)
    local origin = self.origins[1]
    return found, self.pending, origin and origin.number
end

-- ---- message

-- Messages as Lua strings: where their items stand and what is wrong with them.

local MESSAGE_HEADER, LIST_ITEM, VALUE_ITEM = 3, 2, 3

local function isResponse(id)
    return bit32.band(id, words.responseBit) ~= 0
end

local function hasListBody(id)
    local lists = isResponse(id) and words.responseLists or words.requestLists
    return bit32.band(bit32.rshift(lists, bit32.band(id, 31)), 1) ~= 0
end

-- An item of a value body: where its value stands, and how long it is; nil when the bytes do not hold it.
local function parseItem(bytes, at)
    if at + VALUE_ITEM > #bytes then return nil, "the message ends within it" end
    local item = { at = at, tag = wordAt(bytes, at), encoding = byteAt(bytes, at + 2), value = at + VALUE_ITEM }
    local encoding = words.encodings[item.encoding]
    if not encoding then return nil, string.format("there is no encoding %d", item.encoding) end
    item.kind, item.width = encoding.kind, encoding.width
    item.size = encoding.width
    if encoding.kind == "binary" then
        if item.value + encoding.width > #bytes then return nil, "the message ends within its length" end
        item.size = wordAt(bytes, item.value)
        item.value = item.value + encoding.width
    end
    if item.value + item.size > #bytes then return nil, "the message ends within its value" end
    return item
end

local function parseItems(message, bytes)
    local at = MESSAGE_HEADER
    for i = 1, message.count do
        local item, why
        if message.list then
            item = { at = at, tag = wordAt(bytes, at), size = 0, value = at + LIST_ITEM }
        else
            item, why = parseItem(bytes, at)
        end
        if not item then
            message.unreadable = message.count - i + 1
            message.why = string.format("item %d of %d cannot be read: %s", i, message.count, why)
            return
        end
        message.items[i] = item
        at = item.value + item.size
    end
    message.left = #bytes - at
end

-- `why` says what cannot be read, if anything.
local function parseMessage(bytes)
    local message = { size = #bytes, items = {}, count = 0, unreadable = 0 }
    if #bytes < 2 then
        message.why = "too short for a message id"
        return message
    end
    message.id = wordAt(bytes, 0)
    message.list = hasListBody(message.id)
    message.vocabulary = words.messageTags[message.id]
    if bit32.band(message.id, 0xFFFF - words.responseBit) > words.largestMessage then
        message.why = "there can be no message with this id"
    elseif #bytes < MESSAGE_HEADER then
        message.why = "too short for a message"
    else
        message.count = byteAt(bytes, 2)
        -- Exact for a list; of values the least that the items take.
        if MESSAGE_HEADER + message.count * (message.list and LIST_ITEM or VALUE_ITEM) > #bytes then
            message.unreadable = message.count
            message.why = string.format("it ends before its %d items do", message.count)
        else
            parseItems(message, bytes)
        end
    end
    return message
end

-- What an answer repeats of its question: the states, or of a chunk its sequence number.
local function signatureOf(message, bytes)
    local parts = {}
    for _, item in ipairs(message.items) do
        if message.vocabulary == "State" then
            parts[#parts + 1] = item.tag
        elseif message.vocabulary == "DataTransferState" and item.tag == 1 then
            parts[#parts + 1] = bytes:sub(item.value + 1, item.value + item.size)
        end
    end
    return table.concat(parts, ",")
end

-- ---- frames

-- Puts packets together to messages, by direction and frame id.

local LARGEST_MESSAGE = 0xFFFF

local function messageOf(parts)
    local payloads = {}
    for i, packet in ipairs(parts) do payloads[i] = packet.payload end
    local bytes = table.concat(payloads)
    local message = parseMessage(bytes)
    message.bytes, message.parts = bytes, parts
    return message
end

local function unfinished(frame)
    return string.format("%d packet%s of frame %d in capture packet %d and on had no end", #frame.parts,
        #frame.parts == 1 and "" or "s", frame.id, frame.parts[1].number)
end

-- A frame that begins; the host forgets what it has with this frame id, the module puts it in front.
local function beginFrame(side, packet)
    local before = side.open[packet.frameId]
    if before then
        packet.step = unfinished(before) ..
            (packet.direction == TO_MODULE and ": the module puts them before this one" or "")
    end
    return { id = packet.frameId, parts = {}, size = 0 }
end

-- The frame that the packet goes on with; nil when it goes on with none.
local function frameOf(side, packet)
    if packet.packetId == 0 then return beginFrame(side, packet) end
    local frame = side.open[packet.frameId]
    if not frame then
        packet.step = string.format("packet %d of frame %d without those before it", packet.packetId, packet.frameId)
        return nil
    end
    local due = (frame.parts[#frame.parts].packetId + 1) % 256
    if packet.packetId ~= due then
        packet.step = string.format("packet %d of frame %d where %d is due", packet.packetId, packet.frameId, due)
        return nil
    end
    return frame
end

-- The message stands at its last packet.
local function close(side, frame, packet)
    side.open[frame.id] = nil
    side.closed = frame
    packet.message = messageOf(frame.parts)
end

-- A packet that comes again takes the place of the one before.
local function replace(side, packet)
    for _, frame in ipairs({ side.open[packet.frameId] or false, side.closed or false }) do
        if frame and frame.parts[#frame.parts] == packet.repeats then
            local parts = {}
            for i, part in ipairs(frame.parts) do parts[i] = part end
            parts[#parts] = packet
            frame.parts = parts
            if frame == side.closed then packet.message = messageOf(parts) end
            return
        end
    end
end

local function assemble(side, packet)
    if packet.repeats then return replace(side, packet) end
    local frame = frameOf(side, packet)
    side.open[packet.frameId] = frame
    if not frame then return end
    frame.parts[#frame.parts + 1] = packet
    frame.size = frame.size + #packet.payload
    if frame.size > LARGEST_MESSAGE then
        packet.step = string.format("frame %d is larger than any message", frame.id)
        side.open[frame.id] = nil
    elseif packet.last then
        close(side, frame, packet)
    end
end

-- ---- statistics

-- What has passed on each wire, in each direction.

local function newCounts()
    return { packets = 0, bytes = 0, bad = 0, dropped = 0, types = {}, acknowledgements = {}, repeated = 0, unanswered = 0,
        lostStep = 0, answered = 0, time = 0, longest = 0, messages = {} }
end

local function add(counts, key)
    counts[key] = (counts[key] or 0) + 1
end

local function countPacket(wire, packet)
    local counts = wire.counts[packet.direction]
    if packet.kind == "bad" then
        counts.bad = counts.bad + 1
        return
    end
    counts.packets = counts.packets + 1
    counts.bytes = counts.bytes + packet.length
    add(counts.types, words.frameTypes[packet.type] or "unknown")
    if packet.type == words.frameResponse then add(counts.acknowledgements, packet.acknowledge) end
end

-- What became of it; the time counts where the question was asked.
local function countOutcome(wire, packet)
    local counts = wire.counts[packet.direction]
    if packet.repeats then counts.repeated = counts.repeated + 1 end
    if packet.step then counts.lostStep = counts.lostStep + 1 end
    if packet.follows then counts.unanswered = counts.unanswered + 1 end
    if packet.message and not packet.repeats then
        add(counts.messages, words.messageNames[packet.message.id] or "unknown")
    end
    if packet.answers then
        local asking = wire.counts[packet.answers.direction]
        local time = packet.time - packet.answers.time
        asking.answered, asking.time = asking.answered + 1, asking.time + time
        asking.longest = math.max(asking.longest, time)
    end
end

local function sortedKeys(of)
    local keys = {}
    for key in pairs(of) do keys[#keys + 1] = key end
    table.sort(keys)
    return keys
end

local function listed(of, name)
    local parts = {}
    for _, key in ipairs(sortedKeys(of)) do parts[#parts + 1] = string.format("%s %d", name(key), of[key]) end
    return #parts > 0 and table.concat(parts, ", ") or "none"
end

local function same(name) return name end

local function acknowledgementName(number) return words.acknowledgements[number] end

local function directionText(counts, title)
    local mean = counts.answered > 0 and counts.time / counts.answered or 0
    return table.concat({
        title,
        string.format("  packets       %d, %d bytes: %s", counts.packets, counts.bytes, listed(counts.types, same)),
        string.format("  responses     %s", listed(counts.acknowledgements, acknowledgementName)),
        string.format("  messages      %s", listed(counts.messages, same)),
        string.format("  answer times  %d: mean %.3f ms, longest %.3f ms", counts.answered, mean * 1e3, counts.longest * 1e3),
        string.format("  trouble       repeated %d, unanswered %d, lost step %d, bad packets %d, bytes dropped %d",
            counts.repeated, counts.unanswered, counts.lostStep, counts.bad, counts.dropped),
    }, "\n")
end

local directionNames = { [0] = "direction unknown", [TO_MODULE] = "host to module", [TO_HOST] = "module to host" }

local function statisticsText(wires)
    local parts = {}
    for _, id in ipairs(sortedKeys(wires)) do
        for _, direction in ipairs({ TO_HOST, TO_MODULE, 0 }) do
            local counts = wires[id].counts[direction]
            if counts.packets + counts.bad + counts.dropped > 0 then
                parts[#parts + 1] = directionText(counts, wires[id].title .. ", " .. directionNames[direction])
            end
        end
    end
    return #parts > 0 and table.concat(parts, "\n\n") or "No host-link packets."
end

-- ---- exchange

-- What the two sides say to each other: whose an answer is, what comes again, what nobody answers.

local REPETITION_WINDOW = 0.5 -- seconds in which the host takes the same bytes for a repetition

local function newSide(direction)
    return { direction = direction, stream = newStream(direction), open = {}, questions = {} }
end

local function opposite(direction)
    return direction == 0 and 0 or TO_MODULE + TO_HOST - direction
end

-- On a bus the host's IRQ frames and resets have no answer of their own.
local function wantsAnswer(wire, packet)
    if packet.type == words.frameResponse then return false end
    return not (wire.bus and packet.direction == TO_MODULE and packet.kind == "packet"
        and packet.type ~= words.frameMessage)
end

local function answer(packet, asked)
    asked.response, packet.answers = packet, asked
end

local function await(wire, side, packet)
    local before = side.awaiting
    if packet.kind == "bad" and before then return end -- the answer is rather that of a packet
    if before then
        before.unanswered = true
        packet.follows = before
    end
    side.awaiting = wantsAnswer(wire, packet) and packet or nil
end

local function settle(wire, packet)
    local other = wire.sides[opposite(packet.direction)]
    local asked = other.awaiting
    local isReply = wire.bus and packet.direction == TO_MODULE and asked and asked.type == words.frameIrq
    if packet.type == words.frameResponse or isReply then
        if asked then
            answer(packet, asked)
            other.awaiting = nil
        else
            packet.stray = true
        end
    end
end

-- Ids go round: the 128 that precede one are from before it, but the one right before it, which two threads may swap.
local function isFromBefore(id, taken)
    local after = (id - taken) % 256
    return after >= 128 and (id == 0 or after ~= 255)
end

local function isRepetition(last, packet)
    if not last or last.bytes ~= packet.bytes then return false end
    if last.response and last.response.acknowledge == words.acknowledgeNack then return true end
    return packet.direction == TO_HOST and not (packet.frameId == 0 and packet.packetId == 0)
        and packet.time - last.time < REPETITION_WINDOW
end

local function lookForRepetition(side, packet)
    local last = side.last
    if last and packet.direction == TO_HOST and isFromBefore(packet.frameId, last.frameId) then last, side.last = nil, nil end
    if packet.type ~= words.frameMessage then return end
    if isRepetition(last, packet) then
        packet.repeats, packet.attempt = last, (last.attempt or 1) + 1
    end
    side.last = packet
end

local function askOrReply(wire, side, packet)
    local message = packet.message
    if not message or not message.id or packet.repeats then return end
    local signature = signatureOf(message, message.bytes)
    if words.answers[message.id] then
        local questions = side.questions
        questions[#questions + 1] = { id = words.answers[message.id], signature = signature, packet = packet }
    elseif isResponse(message.id) then
        local questions = wire.sides[opposite(packet.direction)].questions
        for i, question in ipairs(questions) do
            if question.id == message.id and question.signature == signature then
                message.replyTo, question.packet.message.replyIn = question.packet, packet
                table.remove(questions, i)
                return
            end
        end
    end
end

-- Every packet in turn, good or bad.
local function exchange(wire, packet)
    local side = wire.sides[packet.direction]
    countPacket(wire, packet)
    if packet.kind == "packet" then
        settle(wire, packet)
        lookForRepetition(side, packet)
    end
    if packet.kind == "bad" or packet.type ~= words.frameResponse then await(wire, side, packet) end
    if packet.type == words.frameMessage then
        assemble(side, packet)
        askOrReply(wire, side, packet)
    end
    countOutcome(wire, packet)
end

-- ---- capture

-- What the capture says of each of its packets, and what became of it. docs/dissector.md defines the form.

local extract = {
    tree = Field.new("frame.number"), -- there whenever the others could be
    interface = Field.new("frame.interface_id"),
    name = Field.new("frame.interface_name"),
    description = Field.new("frame.interface_description"),
    comment = Field.new("frame.comment"),
}

local SENT, RECEIVED = 0, 1 -- pinfo.p2p_dir, as the recorder at the module sees it
local BYTES, WHOLE = 1, 2   -- forms: pieces of a stream; a packet or a phase each

local forms = { bytes = BYTES, transactions = WHOLE, packets = WHOLE }
local wires, records = {}, {}

local function forget()
    wires, records = {}, {}
end

local function textOf(extractor)
    local info = extractor()
    return info and tostring(info.value) or nil
end

-- "uart bytes", "i2c transactions, bus 1 address 0x28": which wire, in which form.
local function newWire(name, description)
    local kind, form = (description or ""):match("^(%w+) (%a+)")
    if not forms[form] then kind, form = nil, nil end
    local wire = { kind = kind or "unknown", form = forms[form] or hostlink.prefs.form, sides = {}, counts = {} }
    wire.bus = wire.kind == "i2c" or wire.kind == "spi"
    wire.title = (name or "capture") .. " (" .. (description or "not described") .. ")"
    for direction = 0, 2 do
        wire.sides[direction], wire.counts[direction] = newSide(direction), newCounts()
    end
    return wire
end

local function wireHere()
    local id = extract.interface()
    id = id and id.value or 0
    if not wires[id] then wires[id] = newWire(textOf(extract.name), textOf(extract.description)) end
    return wires[id]
end

local function directionOf(pinfo)
    if pinfo.p2p_dir == RECEIVED then return TO_MODULE end
    if pinfo.p2p_dir == SENT then return TO_HOST end
    return 0
end

local function isIdle(bytes)
    return bytes:find("^\255+$") ~= nil or bytes:find("^%z+$") ~= nil
end

-- A packet as captured, and what stands behind it.
local function cutWhole(bytes)
    if #bytes == 0 then return {} end
    if isIdle(bytes) then return { { kind = "filler", bytes = bytes, from = 0 } } end
    local why = verdictOn(bytes)
    if why then return { { kind = "bad", bytes = bytes, from = 0, why = why } } end
    local length = wordAt(bytes, words.lengthAt)
    local found = { { kind = "packet", bytes = bytes:sub(1, length), from = 0 } }
    if length < #bytes then found[2] = { kind = "filler", bytes = bytes:sub(length + 1), from = length } end
    return found
end

local function patienceOf(direction)
    local milliseconds = direction == TO_MODULE and hostlink.prefs.modulegivesup or hostlink.prefs.hostgivesup
    return milliseconds / 1000
end

local function cutStream(record, bytes, pinfo)
    local stream = record.wire.sides[record.direction].stream
    local found, left, begun = stream:feed(bytes, pinfo.number, pinfo.rel_ts, patienceOf(record.direction))
    local here = math.min(#left, #bytes)
    if here > 0 then record.part = { size = here, begun = begun ~= pinfo.number and begun or nil } end
    return found
end

-- The pieces before the last one learn where their packet is shown.
local function tellPieces(unit, number)
    for _, piece in ipairs(unit.pieces or {}) do
        local record = records[piece]
        if record and record.part then record.part.shownIn = number end
    end
end

local function notice(record, unit, pinfo)
    unit.direction, unit.number, unit.time = record.direction, pinfo.number, pinfo.rel_ts
    if unit.kind == "packet" then
        for key, value in pairs(parsePacket(unit.bytes)) do unit[key] = value end
    end
    if unit.kind == "packet" or unit.kind == "bad" then
        exchange(record.wire, unit)
    elseif unit.kind == "dropped" then
        local counts = record.wire.counts[record.direction]
        counts.dropped = counts.dropped + #unit.bytes
    end
    tellPieces(unit, pinfo.number)
end

-- "line low" or "line high", and "verdict WORDS", each a comment of its own.
local function readComments(record)
    for _, info in ipairs({ extract.comment() }) do
        local text = tostring(info.value)
        record.line = text:match("^line (%a+)") or record.line
        record.verdict = text:match("^verdict (.+)") or record.verdict
    end
end

-- The record of a capture packet, made when it is seen for the first time with what the capture says of it: without a
-- tree Wireshark does not tell. Nil when it has not been.
local function recordOf(tvb, pinfo)
    local record = records[pinfo.number]
    if record or not extract.tree() then return record end
    record = { wire = wireHere(), direction = directionOf(pinfo) }
    readComments(record)
    local bytes = tvb:len() > 0 and tvb:raw() or ""
    local cut = record.wire.form == BYTES and cutStream or function(_, whole) return cutWhole(whole) end
    record.units = cut(record, bytes, pinfo)
    records[pinfo.number] = record
    for _, unit in ipairs(record.units) do notice(record, unit, pinfo) end
    return record
end

-- ---- show

-- What Wireshark shows of a record.

local reasons = {
    header = "cut short within its header",
    length = "impossible length",
    short = "cut short",
    mark = "no start mark",
    ["given up"] = "given up: its rest did not come in time",
}

local function generated(item)
    item:set_generated()
    return item
end

local function timeSpan(seconds)
    local whole = math.floor(seconds)
    return NSTime.new(whole, math.floor((seconds - whole) * 1e9 + 0.5))
end

-- Where the unit's bytes are: in the capture packet, or put together from several.
local function rangeOf(tvb, unit)
    if unit.from >= 0 then return tvb(unit.from, #unit.bytes) end
    return ByteArray.new(unit.bytes, true):tvb("Host-link packet")()
end

local function startItem(tree, range, record, title)
    local item = tree:add(hostlink, range)
    item:set_text("Host link, " .. directionNames[record.direction] .. ": " .. title)
    generated(item:add(fields.wire, record.wire.kind))
    generated(item:add(fields.direction, record.direction))
    return item
end

-- ---- values

-- The bits of a value that are set. Of 64-bit values bits 32 to 63 are those of 0 to 31 once more, and bit 31 is set with
-- any above it: that is how the log has always shown them, and people search for what the log says.
local function bitNames(names, low, high, width)
    local set = {}
    for bit = 0, 8 * width - 1 do
        local place = bit % 32
        local isSet = bit32.extract(low, place) == 1 or (place == 31 and high ~= 0)
        if isSet then set[#set + 1] = names[2 ^ place] or "UNDEF_BIT" .. bit end
    end
    return #set > 0 and table.concat(set, "|") or "None"
end

-- The name of a number: its lower 32 bits must be exactly those of a named one.
local function valueName(message, item, range)
    local valuesOf = words.valuesOf[message.vocabulary]
    local set = valuesOf and valuesOf[item.tag]
    if not set then return nil end
    local names = words.values[set]
    local low = range(0, math.min(item.width, 4))
    local key = (item.kind == "signed" or item.width >= 4) and low:le_int() or low:le_uint()
    if not names[key] then return nil end
    if not words.bits[set] then return names[key] end
    local high = item.width == 8 and range(4, 4):le_uint() or 0
    return bitNames(names, bit32.band(key, 0xFFFFFFFF), high, item.width)
end

local function tagName(message, item)
    local names = words.tags[message.list and "State" or message.vocabulary]
    return names and names[item.tag] or string.format("Unknown (%d)", item.tag)
end

-- The number of an item, as Wireshark has one of 64 bits.
local function numberOf(item, range)
    if item.width == 8 then return item.kind == "signed" and range:le_int64() or range:le_uint64() end
    return Int64.new(item.kind == "signed" and range:le_int() or range:le_uint())
end

local function quoted(range)
    local text = range:string(ENC_UTF_8):gsub("%c", ".")
    return '"' .. text:sub(1, 40) .. '"' .. (#text > 40 and "…" or "")
end

-- The value of an item in words; `range` is nil where it has no bytes.
local function valueText(message, item, range)
    if item.kind == "nil" then return "Nil" end
    if item.kind == "binary" then return range and quoted(range) or '""' end
    return valueName(message, item, range) or tostring(numberOf(item, range))
end

local function addBinary(tree, item, range, length)
    tree:add_le(fields["value.size"], length)
    if not range then return end
    tree:add(fields["value.bytes"], range)
    tree:add(fields["value.text"], range, range:string(ENC_UTF_8))
end

-- What stands behind tag and encoding.
local function addValue(tree, message, item, range, bytes)
    if item.kind == "binary" then
        addBinary(tree, item, range, bytes(item.value - item.width, item.width))
    elseif range then
        local unsigned = item.kind == "unsigned" and item.width == 8
        tree:add(unsigned and fields["value.unsigned"] or fields.value, range, numberOf(item, range))
        local name = valueName(message, item, range)
        if name then tree:add(fields["value.name"], range, name) end
    end
end

-- ---- messages

local function addItem(tree, message, item, bytes)
    local range = item.size > 0 and bytes(item.value, item.size) or nil
    local title = tagName(message, item)
    if not message.list then title = title .. " = " .. valueText(message, item, range) end
    local branch = tree:add(fields.item, bytes(item.at, item.value + item.size - item.at), title)
    branch:set_text(title)
    local vocabulary = message.list and "State" or message.vocabulary
    local tag = branch:add_le(tagFields[vocabulary] or fields.tag, bytes(item.at, 2))
    if vocabulary and not words.tags[vocabulary][item.tag] then
        tag:add_proto_expert_info(experts.unknown, "No tag of the vocabulary")
    end
    if message.list then return title end
    branch:add(fields.encoding, bytes(item.at + 2, 1))
    addValue(branch, message, item, range, bytes)
    return title
end

local function addItems(tree, message, bytes)
    local titles = {}
    for i, item in ipairs(message.items) do titles[i] = addItem(tree, message, item, bytes) end
    if message.unreadable > 0 then generated(tree:add(fields["message.unreadable"], message.unreadable)) end
    if #titles > 3 then titles = { titles[1], titles[2], titles[3], "…" } end
    return table.concat(titles, ", ")
end

local function addReplies(tree, packet)
    local message = packet.message
    if message.replyIn then
        generated(tree:add(fields.reply_in, message.replyIn.number))
    elseif message.replyTo then
        generated(tree:add(fields.reply_to, message.replyTo.number))
        generated(tree:add(fields.reply_time, timeSpan(packet.time - message.replyTo.time)))
    end
end

local function addParts(tree, message)
    if #message.parts < 2 then return end
    for _, part in ipairs(message.parts) do generated(tree:add(fields["message.packet"], part.number)) end
end

-- The message that ends with this packet; returns it in words.
local function showMessage(tree, packet, payload)
    local message = packet.message
    local bytes = #message.parts == 1 and payload or ByteArray.new(message.bytes, true):tvb("Host-link message")()
    local item = tree:add(hostlink, bytes)
    local title = "no message"
    if message.id then
        title = words.messageNames[message.id] or string.format("Unknown message 0x%04x", message.id)
        local shown = item:add_le(fields.message, bytes(0, 2))
        if not words.messageNames[message.id] and not message.why then
            shown:add_proto_expert_info(experts.unknown, "No message of the vocabulary")
        end
    end
    generated(item:add(fields["message.size"], message.size))
    if message.size > 2 then item:add(fields["message.count"], bytes(2, 1)) end
    addParts(item, message)
    local titles = addItems(item, message, bytes)
    addReplies(item, packet)
    if message.why then item:add_proto_expert_info(experts.malformed, message.why) end
    title = titles ~= "" and title .. " " .. titles or title
    item:set_text("Host-link message: " .. title)
    return title
end

-- ---- packets

local function addFlags(tree, packet, range)
    local item = tree:add(fields.flags, range)
    item:add(fields["flags.format"], range)
    item:add(fields["flags.unused"], range)
    for _, flag in ipairs(words.controlFlags) do item:add(fields["flags." .. flag.name], range) end
    if packet.type == words.frameResponse then item:add(fields.acknowledge, range) end
end

local function addHeader(tree, packet, range)
    tree:add_le(fields.start_mark, range(words.sopAt, 2))
    tree:add_le(fields.length, range(words.lengthAt, 2))
    addFlags(tree, packet, range(words.flagsAt, 1))
    generated(tree:add(fields.frame_type, range(words.flagsAt, 1), packet.type))
    tree:add(fields.frame_id, range(words.frameIdAt, 1))
    tree:add(fields.packet_id, range(words.packetIdAt, 1))
    tree:add(fields.padding, range(words.paddingAt, 1))
end

local function addAnswers(tree, packet)
    if packet.answers then
        generated(tree:add(fields.response_to, packet.answers.number))
        generated(tree:add(fields.response_time, timeSpan(packet.time - packet.answers.time)))
    end
    if packet.response then generated(tree:add(fields.response_in, packet.response.number)) end
    if packet.repeats then
        generated(tree:add(fields.repeats, packet.repeats.number))
        generated(tree:add(fields.attempt, packet.attempt))
    end
end

local function addFindings(tree, packet)
    local function find(expert, text) tree:add_proto_expert_info(experts[expert], text) end
    if packet.stray then find("stray", "Answer to no packet of this capture") end
    if packet.step then find("lost_step", "Lost step: " .. packet.step) end
    if packet.unanswered then find("unanswered", "No answer came before the next packet") end
    if packet.follows then
        find("unanswered", string.format("The packet before it, in capture packet %d, had no answer", packet.follows.number))
    end
    if packet.repeats then find("repeated", string.format("Repeated packet, attempt %d", packet.attempt)) end
    if packet.type == words.frameResponse and packet.acknowledge ~= words.acknowledgeAck then
        find(packet.acknowledge == words.acknowledgeNack and "nack" or "error", words.acknowledgements[packet.acknowledge])
    end
end

local function packetTitle(packet)
    if packet.type == words.frameResponse then return "response, " .. words.acknowledgements[packet.acknowledge] end
    local name = words.frameTypes[packet.type] or string.format("format %d", packet.type)
    if packet.type ~= words.frameMessage then return name end
    return string.format("%s, frame %d, packet %d%s", name, packet.frameId, packet.packetId, packet.last and ", last" or "")
end

local function addPayload(tree, packet, range)
    if #packet.payload == 0 then return nil end
    local payload = range(words.payloadAt, #packet.payload)
    tree:add(fields.payload, payload)
    tree:add_le(fields.trailer, range(words.payloadAt + #packet.payload, words.trailerSize))
    return payload
end

local function showPacket(tree, record, packet, range)
    local item = startItem(tree, range, record, packetTitle(packet))
    addHeader(item, packet, range)
    local payload = addPayload(item, packet, range)
    addAnswers(item, packet)
    addFindings(item, packet)
    if packet.message then return showMessage(tree, packet, payload) end
    if packet.type == words.frameIrq then
        if #packet.payload >= words.irqPayloadSize then
            item:add_le(fields.irq, payload(0, words.irqPayloadSize))
            return string.format("irq, %d bytes", payload(0, words.irqPayloadSize):le_uint())
        end
        item:add_proto_expert_info(experts.malformed, "An IRQ frame without a number of bytes")
    end
    return packetTitle(packet)
end

-- ---- what is no packet

local function showBad(tree, record, unit, range)
    local item = startItem(tree, range, record, "no packet, " .. reasons[unit.why])
    if beginsWithMark(unit.bytes) then
        item:add_le(fields.start_mark, range(words.sopAt, 2))
        if #unit.bytes >= words.lengthAt + 2 then item:add_le(fields.length, range(words.lengthAt, 2)) end
    end
    local expert = unit.why == "length" and "length" or unit.why == "given up" and "lost_step" or "malformed"
    item:add_proto_expert_info(experts[expert], "No packet: " .. reasons[unit.why])
    addAnswers(item, unit)
    addFindings(item, unit)
    return "no packet, " .. reasons[unit.why]
end

local function showDropped(tree, record, unit, range)
    local title = string.format("%d bytes before a start mark", #unit.bytes)
    local item = startItem(tree, range, record, title)
    item:add(fields.dropped, range)
    item:add_proto_expert_info(experts.lost_step, "Lost step: " .. title)
    return title
end

local function showFiller(tree, record, unit, range)
    local title = string.format("%d bytes %s", #unit.bytes, unit.from > 0 and "behind the packet" or "without a packet")
    local item = startItem(tree, range, record, title)
    item:add(fields.filler, range)
    return unit.from == 0 and title or nil
end

local function showPart(tree, record, tvb)
    local part = record.part
    local range = tvb(tvb:len() - part.size, part.size)
    local item = startItem(tree, range, record, "part of a packet")
    item:add(fields.part, range)
    if part.begun then generated(item:add(fields.part_of, part.begun)) end
    if part.shownIn then generated(item:add(fields.shown_in, part.shownIn)) end
    return "part of a packet"
end

-- An edge of the interrupt line, and what the link made of the packet.
local function showComments(tree, record, tvb)
    if not record.line and not record.verdict then return nil end
    local item = tvb:len() > 0 and tree:add(hostlink, tvb()) or tree:add(hostlink)
    item:set_text("Host link, as the recorder says")
    if record.line then generated(item:add(fields.line, record.line)) end
    if record.verdict then generated(item:add(fields.verdict, record.verdict)) end
    if record.line then return "interrupt line " .. record.line end
    return tvb:len() == 0 and "verdict of the link: " .. record.verdict or nil
end

local showers = { packet = showPacket, bad = showBad, dropped = showDropped, filler = showFiller }
local ends = { [TO_MODULE] = { "host", "module" }, [TO_HOST] = { "module", "host" } }

local function showRecord(record, tvb, pinfo, tree)
    local titles = {}
    local function note(title) titles[#titles + 1] = title end
    for _, unit in ipairs(record.units) do note(showers[unit.kind](tree, record, unit, rangeOf(tvb, unit))) end
    if record.part then note(showPart(tree, record, tvb)) end
    note(showComments(tree, record, tvb))
    local from = ends[record.direction]
    if from and not (record.line and tvb:len() == 0) then
        pinfo.cols.src, pinfo.cols.dst = from[1], from[2]
    end
    pinfo.cols.info = table.concat(titles, "; ")
end

-- ---- plugin

function hostlink.dissector(tvb, pinfo, tree)
    pinfo.cols.protocol = "HostLink"
    local record = recordOf(tvb, pinfo)
    if record then showRecord(record, tvb, pinfo, tree) end
    return tvb:len()
end

hostlink.init = forget

-- In an open window the statistics follow what is loaded.
local function showStatistics()
    local window = TextWindow.new("Host-link statistics")
    window:set(statisticsText(wires))
    window:add_button("Refresh", function() window:set(statisticsText(wires)) end)
end

local encapsulations = DissectorTable.get("wtap_encap")
local listener

-- A listener with a filter makes Wireshark build the tree, which is where a capture's interfaces and comments are told,
-- also when a file is loaded; and it is told the end.
local function listen()
    if listener or not (gui_enabled() or hostlink.prefs.statistics) then return end
    listener = Listener.new("frame", "hostlink")
    function listener.draw()
        if not gui_enabled() then print(statisticsText(wires)) end
    end
end

-- Wireshark's own, which asks the user's table of link types.
local others = encapsulations:get_dissector(wtap_encaps.USER0)

local function preferencesChanged()
    encapsulations:set(wtap_encaps.USER0, hostlink.prefs.claim and hostlink.dissector or others)
    listen()
end

hostlink.prefs_changed = preferencesChanged
preferencesChanged()
if gui_enabled() then register_menu("Host link", showStatistics, MENU_STAT_UNSORTED) end
