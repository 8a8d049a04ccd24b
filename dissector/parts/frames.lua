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
