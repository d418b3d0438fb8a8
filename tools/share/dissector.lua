-- The decoding behind the generated tables above (FIELD_LIST, L, TABLES,
-- OTHER, SETTERS, CLASSES, OPS, RESULTS): fixed code, written for the Lua
-- API of tshark 4.0 (Lua 5.2).
--
-- A capture holds one datagram per packet (exported-PDU records naming
-- "temor"), its direction in the packet flags (inbound: a request to the
-- daemon, outbound: its reply) and a comment
--   peer <client socket name>
--   byte order <big|little>-endian
-- A reply's class and op may hold anything, so it is decoded against the
-- last unanswered request of the same peer. Nothing a datagram holds makes
-- this code fail: what does not add up is reported as expert info.

-- A second copy (the plugins folder's and one given with -X lua_script:)
-- steps aside rather than failing to register the protocol again.
local loaded, earlier = pcall(Dissector.get, "temor")
if loaded and earlier then
    io.stderr:write("temor dissector: loaded already (from the plugins folder); the copy given is not used\n")
    return
end

local temor = Proto("temor", "temor management protocol")

local pf = {}
local function add_field(abbr, label, ftype, valuestring, display)
    local f
    if ftype == ftypes.BYTES or ftype == ftypes.STRING then
        f = ProtoField.new(label, abbr, ftype)
    else
        f = ProtoField.new(label, abbr, ftype, valuestring, display or base.DEC)
    end
    pf[abbr] = f
    return f
end

local hdr = {
    class = add_field("temor.class", "Class", ftypes.UINT8, CLASSES, base.DEC),
    op = add_field("temor.op", "Op", ftypes.UINT8, OPS, base.DEC),
    length = add_field("temor.length", "Payload length", ftypes.UINT16),
    result = add_field("temor.result", "Result", ftypes.UINT32, RESULTS, base.HEX),
    tag = add_field("temor.tag", "Tag", ftypes.UINT16),
    item_length = add_field("temor.item_length", "Item length", ftypes.UINT16),
    peer = add_field("temor.peer", "Peer", ftypes.STRING),
    setter = add_field("temor.setter", "Setter", ftypes.STRING),
    entries = add_field("temor.entries", "Entries", ftypes.UINT32),
    request_in = ProtoField.framenum("temor.request_in", "Request in", base.NONE, frametype.REQUEST),
    response_in = ProtoField.framenum("temor.response_in", "Response in", base.NONE, frametype.RESPONSE),
    time = ProtoField.relative_time("temor.time", "Time since request"),
    is_reply = add_field("temor.reply", "Reply", ftypes.BOOLEAN, nil, base.NONE),
}
pf["temor.request_in"] = hdr.request_in
pf["temor.response_in"] = hdr.response_in
pf["temor.time"] = hdr.time
for _, f in ipairs(FIELD_LIST) do add_field(f[1], f[2], f[3]) end

local list = {}
for _, f in pairs(pf) do list[#list + 1] = f end
temor.fields = list

local ex = {
    malformed = ProtoExpert.new("temor.malformed", "Malformed datagram", expert.group.MALFORMED,
                                expert.severity.WARN),
    unknown = ProtoExpert.new("temor.unknown", "Unknown class, op or tag", expert.group.UNDECODED,
                              expert.severity.WARN),
    unmatched = ProtoExpert.new("temor.unmatched", "Request or reply without its partner",
                                expert.group.SEQUENCE, expert.severity.WARN),
    internal = ProtoExpert.new("temor.internal", "Dissector fault", expert.group.MALFORMED,
                               expert.severity.ERROR),
}
temor.experts = {ex.malformed, ex.unknown, ex.unmatched, ex.internal}

local f_comment = Field.new("frame.comment")

-- ---- matching ---------------------------------------------------------------

-- request frame -> {cls, op, tag (of the first item), tag2 (of the second),
-- time, reply (frame), what, key, value (for the reply's Info)}
local requests = {}
local replies = {}   -- reply frame -> request frame
local pending = {}   -- peer -> the request frame awaiting its reply

function temor.init()
    requests, replies, pending = {}, {}, {}
end

-- ---- reading ----------------------------------------------------------------

local malformed = false  -- the datagram being read has a malformed part
local unexpected = false  -- it has items a reply to its request does not carry
local function bad(tree, text)
    malformed = true
    tree:add_proto_expert_info(ex.malformed, text)
end

local function short_result(code)
    local name = RESULTS[code]
    if name then return (name:gsub("^TE_MOR_", "")) end
    return string.format("0x%08x", code)
end

-- The text of a field of len bytes at o: up to its first zero byte (a field
-- may lack one).
local function text_at(tvb, o, len)
    local raw = tvb:range(o, len):raw()
    local z = raw:find("\0", 1, true)
    return z and raw:sub(1, z - 1) or raw
end

-- A number element of width w at offset o of tvb, in the sender's order for
-- host-order elements.
local function number(tvb, o, w, little)
    local r = tvb:range(o, w)
    if w == 8 then
        local v = little and r:le_uint64() or r:uint64()
        return v
    end
    return little and r:le_uint() or r:uint()
end

-- Adds the elements of layout lay found in tvb from base on (len bytes of
-- it); an element that does not lie within them is left out. Returns the
-- numbers added, in order.
local function add_layout(tree, tvb, base, len, lay, little)
    local values = {}
    if not lay then return values end
    for _, e in ipairs(lay) do
        local filter, o, w, kind, countAt, index = e[1], e[2], e[3], e[4], e[5], e[6]
        local ok = o + w <= len
        if ok and countAt >= 0 then
            ok = countAt < len and index < tvb:range(base + countAt, 1):uint()
        end
        if ok then
            local r = tvb:range(base + o, w)
            if kind == "t" then
                tree:add(pf[filter], r, text_at(tvb, base + o, w))
            elseif kind == "h" and little then
                tree:add_le(pf[filter], r)
            else
                tree:add(pf[filter], r)
            end
            if kind == "n" or kind == "h" then values[#values + 1] = number(tvb, base + o, w, kind == "h" and little) end
        end
    end
    if len < lay.size then
        bad(tree, string.format("record of %d bytes, %d expected", len, lay.size))
    end
    return values
end

-- ---- what a request asks for, and its reply ---------------------------------

local function text_key(tvb, o, len)
    if len == 0 then return "" end
    return text_at(tvb, o, len)
end

-- A query's first item: what it asks for and its key.
local function query_request(tree, tvb, it, info)
    local t = TABLES[it.tag]
    if t then
        info.what = t.name
        tree:append_text(" (" .. t.name .. ")")
        local sub = tree
        if t.key == "word" and it.len >= 4 then
            sub:add(pf[t.keyfield], tvb:range(it.at, 4))
            info.key = tostring(tvb:range(it.at, 4):uint())
        elseif t.key == "half" and it.len >= 2 then
            sub:add(pf[t.keyfield], tvb:range(it.at, 2))
            info.key = tostring(tvb:range(it.at, 2):uint())
        elseif (t.key == "word" or t.key == "half") and it.len > 0 then
            bad(tree, string.format("key of %d bytes, %d expected", it.len, t.key == "word" and 4 or 2))
        elseif (t.key == "record" or t.key == "words") and it.len > 0 then
            local v = add_layout(sub, tvb, it.at, it.len, t.keylayout, false)
            local parts = {}
            for i, n in ipairs(v) do parts[i] = tostring(n) end
            if #parts > 0 then info.key = table.concat(parts, "/") end
        end
        return
    end
    local o = OTHER[it.tag]
    if o then
        info.what = o.name
        tree:append_text(" (" .. o.name .. ")")
        if o.kind == "expath" and it.len > 0 then
            info.key = text_key(tvb, it.at, it.len)
            tree:add(pf["temor.expath.name"], tvb:range(it.at, it.len), info.key)
        end
        return
    end
    tree:add_proto_expert_info(ex.unknown, "query tag " .. it.tag .. " names no table")
end

local function query_reply(tree, tvb, req, items)
    local extra = {}  -- tag -> {tree = its first unexpected item, more = how many followed}
    local t = TABLES[req.tag]
    local o = OTHER[req.tag]
    for n, it in ipairs(items) do
        local sub = it.tree
        if t and t.counted and it.tag == t.reply or (t and t.listed and n == 2) then
            local lt = t.counted and t or TABLES[t.listed]
            sub:append_text(" (" .. lt.name .. " list)")
            if it.len >= 4 then
                local count = tvb:range(it.at, 4):uint()
                sub:add(hdr.entries, tvb:range(it.at, 4))
                local size = lt.entry.size
                local room = math.floor((it.len - 4) / size)
                if count > room then
                    bad(sub, string.format("%d entries announced, %d present", count, room))
                    count = room
                end
                for i = 0, count - 1 do
                    local e = sub:add(temor, tvb:range(it.at + 4 + i * size, size), "Entry " .. i)
                    add_layout(e, tvb, it.at + 4 + i * size, size, lt.entry, false)
                end
            else
                bad(sub, "list without its count")
            end
        elseif t and t.list and it.tag == t.list.tag then
            sub:append_text(" (" .. t.name .. " list)")
            local size = t.list.entry.size
            for i = 0, math.floor(it.len / size) - 1 do
                local e = sub:add(temor, tvb:range(it.at + i * size, size), "Entry " .. i)
                add_layout(e, tvb, it.at + i * size, size, t.list.entry, false)
            end
            if it.len % size ~= 0 then
                bad(sub, "list of " .. it.len .. " bytes, not whole entries")
            end
        elseif t and n == 1 then
            sub:append_text(" (" .. t.name .. " row)")
            if it.tag ~= t.reply then
                sub:add_proto_expert_info(ex.unknown, string.format("row of tag %d, but %s rows have tag %d",
                                                                    it.tag, t.name, t.reply))
            end
            add_layout(sub, tvb, it.at, it.len, t.record, false)
        elseif o and o.kind == "scalar" and n == 1 then
            sub:append_text(" (" .. o.name .. ")")
            if it.tag ~= req.tag then
                sub:add_proto_expert_info(ex.unknown, string.format("number of tag %d, but %s is tag %d",
                                                                    it.tag, o.name, req.tag))
            end
            if it.len >= 4 then sub:add(pf[o.field], tvb:range(it.at, 4))
            else bad(sub, "number of " .. it.len .. " bytes") end
        elseif o and o.kind == "debug" and it.tag == o.reply then
            sub:append_text(" (debug switches)")
            add_layout(sub, tvb, it.at, it.len, o.record, false)
        elseif o and o.kind == "expath" and it.tag == o.header then
            sub:append_text(" (path header)")
            add_layout(sub, tvb, it.at, it.len, o.headerlayout, false)
        elseif o and o.kind == "expath" and it.tag == o.nametag then
            sub:append_text(" (path name)")
            if it.len > 0 then sub:add(pf["temor.expath.name"], tvb:range(it.at, it.len), text_at(tvb, it.at, it.len)) end
        elseif o and o.kind == "expath" and it.tag == o.hop then
            sub:append_text(" (path hop)")
            add_layout(sub, tvb, it.at, it.len, o.hoplayout, false)
        else
            -- One warning per tag: a reply padded out with zeros holds
            -- hundreds of empty items of tag 0.
            unexpected = true
            local u = extra[it.tag]
            if u then
                u.more = u.more + 1
                sub:append_text(" (not expected)")
            else
                extra[it.tag] = {tree = sub, more = 0}
                sub:add_proto_expert_info(ex.unknown, "item of tag " .. it.tag .. " not expected in this reply")
            end
        end
    end
    for tag, u in pairs(extra) do
        if u.more > 0 then
            u.tree:add_proto_expert_info(ex.unknown, string.format("%d more items of tag %d follow, not expected either",
                                                                   u.more, tag))
        end
    end
end

-- A setter's value item (a request's, or one te-simd reports).
local function setter_value(tree, tvb, s, at, len, little)
    if s.value ~= "flag" and len ~= s.length then
        bad(tree, string.format("%s takes %d bytes, not %d", s.name, s.length, len))
    end
    local shown
    if s.value == "flag" then
        shown = "on"
    elseif s.value == "record" then
        add_layout(tree, tvb, at, len, s.record, little)
    elseif s.value == "metric" then
        if len >= 5 then
            tree:add(pf[s.field .. ".metric"], tvb:range(at, 4))
            tree:add(pf[s.field .. ".selector"], tvb:range(at + 4, 1))
        end
    elseif s.value == "bytes" then
        if len > 0 then tree:add(pf[s.field], tvb:range(at, len)) end
    else
        local w = ({word = 4, half = 2, octet = 1, host = s.length})[s.value]
        if w and len >= w then
            if s.value == "host" and little then
                tree:add_le(pf[s.field], tvb:range(at, w))
            else
                tree:add(pf[s.field], tvb:range(at, w))
            end
            shown = tostring(number(tvb, at, w, s.value == "host" and little))
        end
    end
    return shown
end

local function key_item(tree, tvb, it, info)
    if it.len == 4 then
        tree:add(pf["temor.key.id"], tvb:range(it.at, 4))
        info.key = tostring(tvb:range(it.at, 4):uint())
    elseif it.len > 0 then
        info.key = text_key(tvb, it.at, it.len)
        tree:add(pf["temor.key.name"], tvb:range(it.at, it.len), info.key)
    end
end

local function setter_request(tree, tvb, cls, items, info, little)
    local family = SETTERS[cls]
    if not family then
        tree:add_proto_expert_info(ex.unknown, "class " .. cls .. " has no setters")
        return
    end
    local vi = family.keyed and items[2] or items[1]
    if family.keyed and items[1] then
        if items[1].tag ~= 0 then
            bad(items[1].tree, "the key item's tag is " .. items[1].tag .. ", not 0")
        end
        items[1].tree:append_text(" (key)")
        key_item(items[1].tree, tvb, items[1], info)
    end
    if not vi then
        bad(tree, family.keyed and "key and value items expected" or "no value item")
        return
    end
    local s = family.tags[vi.tag]
    if not s then
        vi.tree:add_proto_expert_info(ex.unknown, "class " .. cls .. " has no setter of tag " .. vi.tag)
        return
    end
    info.what = s.name
    vi.tree:append_text(" (" .. s.name .. ")")
    vi.tree:add(hdr.setter, s.name):set_generated()
    info.value = setter_value(vi.tree, tvb, s, vi.at, vi.len, little)
end

-- te-simd's report of the settings it holds: each item a setting.
local function report_reply(tvb, items, little)
    for _, it in ipairs(items) do
        local sub = it.tree
        if it.len < REPORT.head then
            bad(sub, "setting of " .. it.len .. " bytes")
        else
            local cls = tvb:range(it.at, 1):uint()
            local tag = tvb:range(it.at + 1, 2):uint()
            local klen = tvb:range(it.at + 3, 1):uint()
            sub:add(pf["temor.setting.class"], tvb:range(it.at, 1))
            sub:add(pf["temor.setting.tag"], tvb:range(it.at + 1, 2))
            sub:add(pf["temor.setting.key_length"], tvb:range(it.at + 3, 1))
            if REPORT.head + klen > it.len then
                bad(sub, "key runs past the setting")
            else
                local key = {at = it.at + REPORT.head, len = klen}
                key_item(sub, tvb, key, {})
                local s = SETTERS[cls] and SETTERS[cls].tags[tag]
                local vat, vlen = it.at + REPORT.head + klen, it.len - REPORT.head - klen
                if s then
                    sub:append_text(" (" .. s.name .. ")")
                    sub:add(hdr.setter, s.name):set_generated()
                    setter_value(sub, tvb, s, vat, vlen, little)
                else
                    sub:add_proto_expert_info(ex.unknown, "class " .. cls .. " tag " .. tag .. " is no setter")
                end
            end
        end
    end
end

-- ---- one datagram -----------------------------------------------------------

local function comment_of()
    local peer, little = nil, false
    local c = f_comment()
    if c then
        local s = tostring(c.value)
        peer = s:match("peer ([^\n]*)")
        little = s:match("byte order little%-endian") ~= nil
    end
    return peer, little
end

local function dissect(tvb, pinfo, tree)
    pinfo.cols.protocol = "TEMOR"
    malformed, unexpected = false, false
    local size = tvb:len()
    local root = tree:add(temor, tvb())
    local peer, little = comment_of()
    -- The packet flags' direction: inbound (received, 1) a request,
    -- outbound (sent, 0) a reply.
    local is_reply = pinfo.p2p_dir == 0
    root:add(hdr.is_reply, is_reply):set_generated()
    if peer then root:add(hdr.peer, peer):set_generated() end
    -- The Source and Destination columns: the client and the daemon.
    pinfo.cols.src = is_reply and "daemon" or (peer or "?")
    pinfo.cols.dst = is_reply and (peer or "?") or "daemon"
    -- Without a protocol tree (tshark's first pass of -2 without -Y or -R)
    -- the comment cannot be read: then every request and reply is matched
    -- as though they came from one peer.
    local key = peer or "?"
    -- A datagram too short for a header still takes part in the matching
    -- (its class and op -1 where it has none).
    local cls = size >= 1 and tvb:range(0, 1):uint() or -1
    local op = size >= 2 and tvb:range(1, 1):uint() or -1

    -- Matching first: a reply takes the last unanswered request of its peer.
    local num = pinfo.number
    if not pinfo.visited then
        if is_reply then
            local req = pending[key]
            if req then
                replies[num] = req
                requests[req].reply = num
                requests[req].reply_time = pinfo.abs_ts
                pending[key] = nil
            end
        else
            local first = size >= HEADER_SIZE + 4 and tvb:range(HEADER_SIZE, 2):uint() or nil
            requests[num] = {cls = cls, op = op, tag = first, time = pinfo.abs_ts}
            if size >= HEADER_SIZE + 8 and HEADER_SIZE + 4 + tvb:range(HEADER_SIZE + 2, 2):uint() + 4 <= size then
                local at = HEADER_SIZE + 4 + tvb:range(HEADER_SIZE + 2, 2):uint()
                requests[num].tag2 = tvb:range(at, 2):uint()
            end
            pending[key] = num
        end
    end

    local req
    local unanswered = false
    if is_reply then
        local rn = replies[num]
        if rn then
            req = requests[rn]
            root:add(hdr.request_in, rn):set_generated()
            local d = pinfo.abs_ts - req.time
            local secs = math.floor(d)
            root:add(hdr.time, NSTime.new(secs, math.floor((d - secs) * 1e9 + 0.5))):set_generated()
        else
            root:add_proto_expert_info(ex.unmatched, "reply without an unanswered request of its peer")
        end
    else
        local r = requests[num]
        if r and r.reply then
            root:add(hdr.response_in, r.reply):set_generated()
        elseif pinfo.visited then
            root:add_proto_expert_info(ex.unmatched, "request without a reply")
            unanswered = true
        end
    end

    if size < HEADER_SIZE then
        bad(root, "datagram of " .. size .. " bytes, shorter than the header")
        pinfo.cols.info = (is_reply and "reply" or "request") .. " of " .. size .. " bytes [malformed]"
        return
    end
    local plen = tvb:range(2, 2):uint()
    local result = tvb:range(4, 4):uint()

    local h = root:add(temor, tvb:range(0, HEADER_SIZE), "Header")
    h:add(hdr.class, tvb:range(0, 1))
    h:add(hdr.op, tvb:range(1, 1))
    h:add(hdr.length, tvb:range(2, 2))
    h:add(hdr.result, tvb:range(4, 4))

    local ctx_cls, ctx_op = cls, op
    if req and req.cls >= 0 and req.op >= 0 then ctx_cls, ctx_op = req.cls, req.op end

    -- The items, each bounded by the payload and the datagram.
    local stop = HEADER_SIZE + plen
    if stop ~= size then
        bad(root, string.format("payload length %d, but %d bytes follow the header",
                                                                plen, size - HEADER_SIZE))
        if stop > size then stop = size end
    end
    local items = {}
    local at = HEADER_SIZE
    while at < stop do
        if at + 4 > stop then
            bad(root, (stop - at) .. " bytes left, too few for an item")
            break
        end
        local tag = tvb:range(at, 2):uint()
        local len = tvb:range(at + 2, 2):uint()
        if at + 4 + len > stop then
            local t = root:add(temor, tvb:range(at, stop - at), "Item (tag " .. tag .. ")")
            t:add(hdr.tag, tvb:range(at, 2))
            t:add(hdr.item_length, tvb:range(at + 2, 2))
            bad(t, string.format("item length %d runs past the payload", len))
            break
        end
        local t = root:add(temor, tvb:range(at, 4 + len), "Item (tag " .. tag .. ", " .. len .. " bytes)")
        t:add(hdr.tag, tvb:range(at, 2))
        t:add(hdr.item_length, tvb:range(at + 2, 2))
        items[#items + 1] = {tag = tag, len = len, at = at + 4, tree = t}
        at = at + 4 + len
    end

    local info = {}
    if ctx_cls == QUERY_CLASS then
        if is_reply then
            if req and req.tag then
                local t = TABLES[req.tag] or OTHER[req.tag]
                info.what = t and t.name or ("tag " .. req.tag)
                query_reply(root, tvb, req, items)
            end
        elseif items[1] then
            query_request(items[1].tree, tvb, items[1], info)
        else
            bad(root, "a query without its item")
        end
    elseif ctx_cls == REPORT.class then
        info.what = "settings"
        if is_reply then
            report_reply(tvb, items, little)
        elseif items[1] and items[1].len == 4 then
            items[1].tree:add(pf["temor.setting.index"], tvb:range(items[1].at, 4))
            info.key = tostring(tvb:range(items[1].at, 4):uint())
        end
    elseif not is_reply then
        setter_request(root, tvb, cls, items, info, little)
    elseif req then
        local s = SETTERS[req.cls]
        local tag = s and (s.keyed and req.tag2 or req.tag)
        local row = s and tag and s.tags[tag]
        info.what = row and row.name or nil
    end
    if not CLASSES[ctx_cls] then root:add_proto_expert_info(ex.unknown, "class " .. ctx_cls .. " is unknown") end
    if not OPS[ctx_op] and ctx_cls ~= REPORT.class then
        root:add_proto_expert_info(ex.unknown, "op " .. ctx_op .. " is unknown")
    end

    -- A reply repeats what its request asked for.
    if not is_reply and requests[num] then
        requests[num].what, requests[num].key, requests[num].value = info.what, info.key, info.value
    elseif req then
        info.what, info.key = info.what or req.what, req.key
    end
    local text = (OPS[ctx_op] or ("op " .. ctx_op)) .. " " .. (info.what or CLASSES[ctx_cls] or ("class " .. ctx_cls))
    if info.key and info.key ~= "" then text = text .. " key " .. info.key end
    if info.value then text = text .. " = " .. info.value end
    if is_reply then text = text .. " → " .. short_result(result) end
    if not req and is_reply then text = "reply " .. text end
    if malformed then text = text .. " [malformed]" end
    if unexpected then text = text .. " [unexpected items]" end
    if unanswered then text = text .. " [no reply]" end
    pinfo.cols.info = text
end

function temor.dissector(tvb, pinfo, tree)
    local ok, err = pcall(dissect, tvb, pinfo, tree)
    if not ok then
        pinfo.cols.info = "dissector fault: " .. tostring(err)
        tree:add(temor, tvb()):add_proto_expert_info(ex.internal, "dissector fault: " .. tostring(err))
    end
    return tvb:len()
end
