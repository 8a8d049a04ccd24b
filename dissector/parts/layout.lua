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
