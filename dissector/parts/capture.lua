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
