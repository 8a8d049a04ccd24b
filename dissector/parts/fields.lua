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
