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
