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
