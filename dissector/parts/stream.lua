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
