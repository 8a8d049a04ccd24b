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
