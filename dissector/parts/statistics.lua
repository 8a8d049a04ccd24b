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
