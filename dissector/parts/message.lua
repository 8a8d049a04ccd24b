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
