-- velarn.lua: a Wireshark and tshark dissector for the UDP link between
-- velarnd and the vehicle's telematics unit.
--
-- It shows the transport packet (direction, type, sequence number, session),
-- the PDU inside a data packet with its identifier named and every option
-- decoded (names, units, the GPS block field by field), and the dispatch
-- server's message inside PDUs 4:7 and 4:8 as a tree of typed nodes, with the
-- message's name and the names of its fields.
--
-- Use:   tshark -X lua_script:tools/wireshark/velarn.lua -r capture.pcap -V
--   or   copy this file into the personal plugin folder
--        (~/.local/lib/wireshark/plugins/) and open a capture in Wireshark.
--
-- The link is found on the UDP ports of the preference "velarn.ports"
-- (default 47000-47001, the ports of the packaged settings and the README),
-- and on any other port by a heuristic that checks the packet's layout
-- ("velarn.heuristic", on by default). Display filters: "velarn",
-- "velarn.pdu.name == "4:8"", "velarn.msg.orderId == 1001",
-- "velarn.malformed" (what can't be read), "velarn.refused" (what velarnd
-- reads but ignores, in its own words where it has them).
--
-- Malformed input is marked, with the reason, and the rest of the packet is
-- shown as far as it can be read; a packet never stops the dissection of
-- the others. The rules are those velarnd applies when it reads the link.

local velarn = Proto("velarn", "velarnd unit link")

-------------------------------------------------------------------------------
-- Preferences

velarn.prefs.ports = Pref.range("UDP ports", "47000-47001",
                                "UDP ports of the unit link (either end)", 65535)
velarn.prefs.heuristic = Pref.bool("Find the link on other ports", true,
                                   "Try every UDP packet on another port with a check of its layout")

-------------------------------------------------------------------------------
-- Small helpers

local band, rshift, lshift = bit32.band, bit32.rshift, bit32.lshift
local EPOCH_2000 = 946684800

local function utc(seconds)
  if seconds < 0 or seconds > 253402300799 then
    return "time out of range"
  end
  return os.date("!%Y-%m-%d %H:%M:%S UTC", seconds)
end

-- Seconds since 2000-01-01, as the unit and the office count; 0 and all ones
-- mean none.
local function time2000(value)
  if value == 0 or value == 0xFFFFFFFF then
    return "none"
  end
  return utc(value + EPOCH_2000)
end

local function time2000ms(value)
  if value == 0 then
    return "none"
  end
  return (utc(math.floor(value / 1000) + EPOCH_2000):gsub(" UTC$", string.format(".%03d UTC", value % 1000)))
end

local function degrees(value, scale, positive, negative)
  local letter = value < 0 and negative or positive
  local magnitude = math.abs(value)
  local digits = #tostring(scale) - 1
  return string.format("%d.%0" .. digits .. "d\194\176 %s", math.floor(magnitude / scale), magnitude % scale, letter)
end

local function latitude(scale)
  return function(v) return degrees(v, scale, "N", "S") end
end
local function longitude(scale)
  return function(v) return degrees(v, scale, "E", "W") end
end

local function tenths(unit)
  return function(v)
    if v == 0xFFFF then return "none" end
    return string.format("%d.%d%s", math.floor(v / 10), v % 10, unit)
  end
end

local function hundredths(v)
  if v == 0xFFFF then return "none" end
  return string.format("%d.%02d", math.floor(v / 100), v % 100)
end

local function names(map)
  return function(v) return map[v] end
end

local function pdu_name(id)
  return string.format("%d:%X", rshift(id, 8), band(id, 0xFF))
end

local function char_text(v)
  if v >= 0x21 and v < 0x7F then
    return string.format("'%s'", string.char(v))
  end
  return tostring(v)
end

-------------------------------------------------------------------------------
-- The transport packet

local DIRECTIONS = { [1] = "unit to device", [2] = "device to unit" }
local TYPES = {
  [0] = "connect request", [1] = "connect response", [3] = "data",
  [4] = "acknowledgement", [5] = "keep-alive", [6] = "reset",
}
-- Lengths of the control packets; velarnd ignores a shorter one.
local LENGTHS = { [0] = 7, [1] = 7, [4] = 3, [5] = 3, [6] = 5 }

local f = {
  magic = ProtoField.uint8("velarn.magic", "Magic", base.HEX),
  kind = ProtoField.uint8("velarn.kind", "Kind", base.HEX),
  direction = ProtoField.uint8("velarn.direction", "Direction", base.DEC, DIRECTIONS, 0xC0),
  reserved_bits = ProtoField.uint8("velarn.kind.reserved", "Reserved bits", base.HEX, nil, 0x30),
  type = ProtoField.uint8("velarn.type", "Type", base.DEC, TYPES, 0x0F),
  seq = ProtoField.uint8("velarn.seq", "Sequence number"),
  pad = ProtoField.uint8("velarn.pad", "Padding", base.HEX),
  version = ProtoField.uint16("velarn.version", "Protocol version", base.HEX),
  session = ProtoField.uint16("velarn.session", "Session", base.HEX),
  ack_frame = ProtoField.framenum("velarn.ack.frame", "Acknowledges the data in frame", base.NONE,
                                  frametype.ACK),
  repeat_frame = ProtoField.framenum("velarn.repeat.frame", "Repeats the data of frame"),
  trailing = ProtoField.bytes("velarn.trailing", "Bytes that velarnd ignores"),
  malformed = ProtoField.string("velarn.malformed", "Malformed"),
  refused = ProtoField.string("velarn.refused", "Ignored by velarnd"),

  pdu_name = ProtoField.string("velarn.pdu.name", "PDU"),
  opt = ProtoField.bytes("velarn.opt", "Option"),
  opt_number = ProtoField.uint8("velarn.opt.number", "Option number"),
  opt_length = ProtoField.uint16("velarn.opt.length", "Length"),
  opt_value = ProtoField.bytes("velarn.opt.value", "Value"),

  msg_id = ProtoField.uint16("velarn.msg.id", "Message id", base.HEX),
  msg_name = ProtoField.string("velarn.msg.name", "Message"),
  node_key = ProtoField.uint8("velarn.node.key", "Key"),
  node_int = ProtoField.int64("velarn.node.int", "Integer"),
  node_bool = ProtoField.bool("velarn.node.bool", "Boolean"),
  node_null = ProtoField.none("velarn.node.null", "Null"),
  node_string = ProtoField.string("velarn.node.string", "String"),
  node_bytes = ProtoField.bytes("velarn.node.bytes", "Byte array"),
  node_struct = ProtoField.none("velarn.node.struct", "Struct"),
  node_list = ProtoField.none("velarn.node.list", "List"),
}

local e = {
  malformed = ProtoExpert.new("velarn.malformed.expert", "Malformed", expert.group.MALFORMED,
                              expert.severity.ERROR),
  refused = ProtoExpert.new("velarn.refused.expert", "Ignored by velarnd", expert.group.PROTOCOL,
                            expert.severity.WARN),
  repeat_ = ProtoExpert.new("velarn.repeat.expert", "Repetition", expert.group.SEQUENCE,
                            expert.severity.NOTE),
}

-- Marks item (and the packet) as malformed with the reason.
local function malformed(item, pinfo, reason)
  item:add(f.malformed, reason):set_generated()
  item:add_proto_expert_info(e.malformed, reason)
  pinfo.cols.info:append(" [Malformed: " .. reason .. "]")
end

local function refused(item, pinfo, reason)
  item:add(f.refused, reason):set_generated()
  item:add_proto_expert_info(e.refused, "velarnd ignores this: " .. reason)
  pinfo.cols.info:append(" [ignored: " .. reason .. "]")
end

-------------------------------------------------------------------------------
-- Server messages: the catalogue

local ORDER_WORKFLOW = {
  [101] = "order received", [102] = "order read", [103] = "order accepted", [201] = "order started",
  [301] = "cancelled by the driver", [302] = "rejected by the driver", [303] = "order suspended",
  [304] = "order resumed", [401] = "order completed",
}
local function order_workflow(v)
  if v >= 202 and v <= 216 then
    return string.format("active state bit %d reached", v - 201)
  end
  return ORDER_WORKFLOW[v]
end

local MEANINGS = {
  time_ms = time2000ms,
  time = time2000,
  latitude = latitude(1000000),
  longitude = longitude(1000000),
  course = function(v) return string.format("%d\194\176", v * 2) end,
  order_type = names({ [0] = "driver type 1", [1] = "driver type 3", [2] = "driver type 2" }),
  order_workflow = order_workflow,
  text_workflow = names({ [101] = "message received", [102] = "message read" }),
  report_kind = names({ [0] = "first report", [1] = "changed", [2] = "guidance ended" }),
  working_state = names({ [1] = "working", [2] = "in a pause", [3] = "off work" }),
  logbook_mode = names({ [0] = "none", [1] = "private", [2] = "business", [3] = "third" }),
  link_age = function(v)
    if v == 0 then return "link up" elseif v < 0 then return "never up" end
    return string.format("lost %d s ago", v)
  end,
  error_code = names({ [1] = "message could not be read" }),
  seconds = function(v) return string.format("%d s", v) end,
}

-- Key tables: key -> { name, node type ("int", "string", "bool", "bytes",
-- "struct", "list"), meaning, table of the children's keys }
local POSITION = {
  [1] = { "valid", "bool" }, [2] = { "latitude", "int", "latitude" },
  [3] = { "longitude", "int", "longitude" }, [4] = { "time", "int", "time" },
  [5] = { "satellites", "int" }, [6] = { "course", "int", "course" }, [7] = { "speed", "int" },
}
local EVENT = {
  [1] = { "time", "int", "time_ms" }, [2] = { "linkAge", "int", "link_age" },
  [3] = { "unitPosition", "struct", nil, POSITION }, [4] = { "navigationPosition", "struct", nil, POSITION },
  [5] = { "odometer", "int" }, [6] = { "tripValue", "int" }, [7] = { "logbookMode", "int", "logbook_mode" },
  [0x81] = { "statusId", "int" }, [0x82] = { "text", "string" }, [0x83] = { "orderId", "int" },
  [0x84] = { "orderType", "int", "order_type" }, [0x85] = { "workflowCode", "int", "order_workflow" },
  [0x86] = { "previousState", "int", "working_state" }, [0x87] = { "newState", "int", "working_state" },
  [0x88] = { "driverId", "int" }, [0x89] = { "extra", "int" }, [0x8A] = { "reportKind", "int", "report_kind" },
  [0x8B] = { "distance", "int" }, [0x8C] = { "eta", "int", "time" }, [0x8D] = { "messageId", "int" },
  [0x8E] = { "workflowCode", "int", "text_workflow" }, [0x8F] = { "previousDriverId", "int" },
}
local DESTINATION = {
  [1] = { "latitude", "int", "latitude" }, [2] = { "longitude", "int", "longitude" },
  [3] = { "description", "string" },
}
local CONTACT = { [1] = { "name", "string" }, [2] = { "number", "string" } }
local ORDER = {
  [1] = { "orderId", "int" }, [2] = { "number", "string" }, [3] = { "orderType", "int", "order_type" },
  [4] = { "text", "string" }, [5] = { "allowedActiveStates", "int" },
  [6] = { "destination", "struct", nil, DESTINATION }, [7] = { "acceptanceRequired", "bool" },
  [8] = { "plannedArrival", "int", "time" }, [9] = { "telephoneNumbers", "list", nil, CONTACT },
}

-- id -> name, keys
local MESSAGES = {
  [0x0401] = { "NewOrderInMsg", ORDER },
  [0x0402] = { "UpdateOrderInMsg", ORDER },
  [0x0403] = { "CancelOrderInMsg", { [1] = { "orderId", "int" } } },
  [0x0404] = { "NewTextMessageInMsg", { [1] = { "messageId", "int" }, [2] = { "text", "string" } } },
  [0x0405] = { "ConfigurationInMsg", {
    [1] = { "askDriverId", "bool" }, [2] = { "logbookEnabled", "bool" }, [3] = { "thirdLogbookMode", "bool" },
    [4] = { "workingTimeEnabled", "bool" }, [5] = { "logbookFollowsWorkingTime", "bool" },
    [6] = { "etaEnabled", "bool" }, [7] = { "etaIntervalHome", "int", "seconds" },
    [8] = { "etaIntervalRoaming", "int", "seconds" }, [10] = { "privacyEnabled", "bool" },
    [11] = { "resetMode", "int" } } },
  [0x0406] = { "ResetInMsg", { [1] = { "deleteOrders", "bool" }, [2] = { "deleteTextMessages", "bool" } } },
  [0x0501] = { "StatusEventOutMsg", EVENT },
  [0x0502] = { "OrderStatusEventOutMsg", EVENT },
  [0x0503] = { "OrderWorkflowEventOutMsg", EVENT },
  [0x0504] = { "TextMessageEventOutMsg", EVENT },
  [0x0505] = { "WorkingTimeReportOutMsg", EVENT },
  [0x0506] = { "ETAReportOutMsg", EVENT },
  [0x0507] = { "DriverIdChangedOutMsg", EVENT },
  [0x0508] = { "TextMessageWorkflowEventOutMsg", EVENT },
  [0x0580] = { "NewVelarnConnectedOutMsg", {
    [1] = { "time", "int", "time" }, [2] = { "orderIds", "list" }, [3] = { "textMessageIds", "list" },
    [4] = { "release", "string" }, [5] = { "resetMode", "int" } } },
  [0x05FF] = { "ErrorOutMsg", {
    [1] = { "errorCode", "int", "error_code" }, [2] = { "time", "int", "time" }, [3] = { "release", "string" },
    [4] = { "text", "string" }, [5] = { "data", "bytes" } } },
}

-- One field per name ("velarn.msg.orderId"), typed by its node, so that a
-- filter can compare values.
local named = {}
local function named_field(name, node_type)
  local key = name .. "/" .. node_type
  if not named[key] then
    local abbr = "velarn.msg." .. name
    if node_type == "int" then
      named[key] = ProtoField.int64(abbr, name)
    elseif node_type == "string" then
      named[key] = ProtoField.string(abbr, name)
    elseif node_type == "bool" then
      named[key] = ProtoField.bool(abbr, name)
    elseif node_type == "bytes" then
      named[key] = ProtoField.bytes(abbr, name)
    else
      named[key] = ProtoField.none(abbr, name)
    end
    f["named:" .. key] = named[key]
  end
  return named[key]
end
for _, message in pairs(MESSAGES) do
  local function walk(keys)
    for _, entry in pairs(keys) do
      named_field(entry[1], entry[2])
      if entry[4] then walk(entry[4]) end
    end
  end
  walk(message[2])
end

-------------------------------------------------------------------------------
-- Server messages: the node tree

local MAX_NESTING = 32  -- containers below the message, as velarnd reads them

-- Bounded reads of one message in tvb[base_offset, base_offset + length).
-- Reading past its end is a Lua error with velarnd's own text.
local function message_reader(tvb, base_offset, length)
  local limit = base_offset + length
  local reader = {}
  function reader.need(offset, count)
    if offset + count > limit then
      error({ text = "idx is out of range" }, 0)
    end
  end
  function reader.range(offset, count)
    -- A string may claim more bytes than there are: show what is there.
    local available = math.max(0, math.min(count, limit - offset))
    return tvb:range(offset, available)
  end
  reader.limit = limit
  return reader
end

local NODE_TYPES = { int = "integer", string = "string", bool = "bool", bytes = "byte array",
                     struct = "struct", list = "list", null = "null" }

local parse_node  -- forward

-- The entries of a struct or the message (key byte, node), count of them or
-- up to the end.
local function parse_entries(r, tvb, offset, tree, keys, count, depth)
  local read = 0
  while (count == nil and offset < r.limit) or (count ~= nil and read < count) do
    r.need(offset, 1)
    local key = tvb(offset, 1):uint()
    r.need(offset + 1, 1)
    offset = parse_node(r, tvb, offset, tree, key, keys and keys[key], depth)
    read = read + 1
  end
  return offset
end

-- Parses the node at start: its key byte and tag, or only the tag when key
-- is nil (an element of a list, at position). info is the catalogue's entry
-- for the key, if any. Returns the offset behind the node.
parse_node = function(r, tvb, start, tree, key, info, depth, position)
  local tag_offset = key ~= nil and start + 1 or start
  r.need(tag_offset, 1)
  local tag = tvb(tag_offset, 1):uint()
  local family = band(tag, 0xC0)
  local node_type, value, finish, count, header
  if family == 0x40 or family == 0x80 then
    r.need(tag_offset + 1, 1)
    local size = lshift(band(tag, 0x3F), 8) + tvb(tag_offset + 1, 1):uint()
    node_type = family == 0x40 and "string" or "bytes"
    value = r.range(tag_offset + 2, size)
    finish = tag_offset + 2 + size
  elseif family == 0x00 then
    local sub = band(tag, 0x30)
    if sub == 0x00 then
      node_type, finish = "null", tag_offset + 1
    elseif sub == 0x30 then
      error({ text = "node has unknown type", offset = tag_offset }, 0)
    else
      node_type = sub == 0x10 and "struct" or "list"
      if band(tag, 0x08) ~= 0 then
        r.need(tag_offset + 1, 1)
        count = lshift(band(tag, 0x07), 8) + tvb(tag_offset + 1, 1):uint()
        header = 2
      else
        count, header = band(tag, 0x07), 1
      end
    end
  else
    local selector = band(tag, 0x3E)
    if selector == 0 then
      node_type, value, finish = "bool", band(tag, 1) == 1, tag_offset + 1
    elseif selector == 2 or selector == 4 or selector == 6 or selector == 8 then
      local width = ({ [2] = 1, [4] = 2, [6] = 4, [8] = 8 })[selector]
      r.need(tag_offset + 1, width)
      local magnitude
      if width == 8 then
        magnitude = Int64.new(tvb(tag_offset + 5, 4):uint(), tvb(tag_offset + 1, 4):uint())
      else
        magnitude = Int64.new(tvb(tag_offset + 1, width):uint())
      end
      value = band(tag, 1) == 1 and -magnitude or magnitude
      node_type, finish = "int", tag_offset + 1 + width
    else
      error({ text = "node has unknown type", offset = tag_offset }, 0)
    end
  end

  local name = info and info[1]
  local label = key ~= nil and (name and string.format("%s (key %d)", name, key) or string.format("[%d]", key))
                or string.format("[%d]", position)
  local expected = info and info[2]
  local wrong_type = expected and expected ~= node_type and node_type ~= "null"
  local field = (name and expected == node_type) and named_field(name, node_type) or f["node_" .. node_type]
  local item

  if node_type == "struct" or node_type == "list" then
    if depth >= MAX_NESTING then
      error({ text = "message nests too deeply", offset = tag_offset }, 0)
    end
    item = tree:add(field, tvb(start, 1))
    if key ~= nil then
      item:add(f.node_key, tvb(start, 1))
    end
    local children = info and info[4]
    local offset = tag_offset + header
    local ok, problem = pcall(function()
      if node_type == "struct" then
        offset = parse_entries(r, tvb, offset, item, children, count, depth + 1)
      else
        for index = 0, count - 1 do
          offset = parse_node(r, tvb, offset, item, nil, children and { nil, "struct", nil, children },
                              depth + 1, index)
        end
      end
    end)
    item:set_len(math.max(1, math.min(offset, r.limit) - start))
    item:set_text(string.format("%s: %s of %d", label, NODE_TYPES[node_type], count))
    if not ok then error(problem, 0) end
    finish = offset
  else
    local shown
    local covered = tvb(start, math.max(1, math.min(finish, r.limit) - start))
    if node_type == "null" then
      item = tree:add(field, covered)
      shown = "null"
    elseif node_type == "string" then
      item = tree:add(field, covered, value:string(ENC_UTF_8))
      shown = '"' .. value:string(ENC_UTF_8) .. '"'
    elseif node_type == "bytes" then
      item = tree:add(field, covered, value:raw())
      shown = tostring(value:bytes())
    elseif node_type == "bool" then
      item = tree:add(field, covered, value)
      shown = tostring(value)
    else
      item = tree:add(field, covered, value)
      shown = tostring(value)
      local meaning = info and info[3] and MEANINGS[info[3]]
      local text = meaning and meaning(tonumber(shown))
      if text then shown = shown .. " (" .. text .. ")" end
    end
    item:set_text(label .. ": " .. shown)
    if key ~= nil then
      item:add(f.node_key, tvb(start, 1))
    end
  end
  if wrong_type then
    item:append_text(string.format(" [expected: %s]", NODE_TYPES[expected]))
  end
  return finish
end

-- The server message in tvb[offset, offset + length), under tree. One that
-- comes from the unit with an id velarnd doesn't know is marked as ignored
-- (velarnd answers it with an ErrorOutMsg).
local function dissect_message(tvb, pinfo, tree, offset, length, from_unit)
  local r = message_reader(tvb, offset, length)
  local id = length >= 2 and tvb(offset, 2):uint() or nil
  local known = id and MESSAGES[id]
  local subtree = tree:add(velarn, tvb(offset, length), "Server message")
  if id then
    subtree:add(f.msg_id, tvb(offset, 2))
    subtree:add(f.msg_name, known and known[1] or "unknown"):set_generated()
    subtree:set_text(string.format("Server message 0x%04x %s", id, known and known[1] or "(unknown)"))
    pinfo.cols.info:append(" " .. (known and known[1] or string.format("message 0x%04x", id)))
  end
  local ok, problem = pcall(function()
    r.need(offset, 2)
    local finish = parse_entries(r, tvb, offset + 2, subtree, known and known[2], nil, 0)
    if finish ~= r.limit then
      error({ text = "message has invalid length" }, 0)
    end
  end)
  if not ok then
    malformed(subtree, pinfo, type(problem) == "table" and problem.text or ("dissector error: " .. tostring(problem)))
  elseif from_unit and not (known and id < 0x0500) then
    refused(subtree, pinfo, "unknown message")
  end
end

-------------------------------------------------------------------------------
-- PDUs: the catalogue

local DEVICE, UNIT = 2, 1  -- the direction bits of the sender

local LOGBOOK_MODES = names({ [2] = "private", [3] = "business", [4] = "third" })
local NETWORK = function(v)
  if v == 0x31 then return "home network" elseif v == 0x35 then return "roaming" end
  return "not registered"
end
local FIX_STATUS = names({ [0x41] = "live", [0x4C] = "last known", [0xFF] = "none" })

-- Option entry: { field abbreviation (below "velarn."), label, kind, meaning }
-- kinds: byte, char, bool1 (true if 1), bool0 (true if 0), u16, u32, i32,
-- text, blob, message, gps
local PDUS = {
  [0x0101] = { DEVICE, "ask for the logbook data" },
  [0x0103] = { DEVICE, "set the logbook mode", { [1] = { "logbook.mode", "Mode", "byte", LOGBOOK_MODES } } },
  [0x0402] = { DEVICE, "ask for the size of the status table" },
  [0x0404] = { DEVICE, "ask for rows of the status table", {
    [1] = { "table.first", "First row", "byte" }, [2] = { "table.last", "Last row", "byte" } } },
  [0x0407] = { DEVICE, "server message for the office", {
    [1] = { "message", "Server message", "message" }, [3] = { "recipient", "Recipient", "text" } } },
  [0x040B] = { DEVICE, "connection greeting" },
  [0x0702] = { DEVICE, "GPS on connection", { [1] = { "gps.request", "Value", "byte" } } },
  [0x0801] = { DEVICE, "read a parameter of the unit", { [1] = { "param.name", "Name", "text" } } },
  [0x0803] = { DEVICE, "value of a parameter of the device", {
    [1] = { "param.name", "Name", "text" }, [2] = { "param.value", "Value", "blob" } } },
  [0x0805] = { DEVICE, "a parameter of the device changed", { [1] = { "param.name", "Name", "text" } } },

  [0x0102] = { UNIT, "logbook data", {
    [1] = { "logbook.mode", "Mode", "byte", LOGBOOK_MODES }, [2] = { "logbook.trip_valid", "Trip valid", "bool0" },
    [3] = { "logbook.odometer", "Odometer", "u32" }, [4] = { "logbook.trip_odometer", "Trip odometer", "u32" },
    [5] = { "logbook.trip_started", "Trip started", "u32", time2000 },
    [6] = { "logbook.trip_duration", "Trip duration", "u32" },
    [7] = { "logbook.trip_distance", "Trip distance", "u32" },
    [8] = { "logbook.reserved1", "Reserved 1", "u16" }, [9] = { "logbook.reserved2", "Reserved 2", "u32" },
    [10] = { "logbook.reserved3", "Reserved 3", "u32" } },
    function(v) return v[1] == nil and "missing option 2 in pdu 1:2" end },
  [0x0403] = { UNIT, "size of the status table", {
    [1] = { "table.rows", "Rows", "byte" }, [2] = { "table.flag", "Flag", "bool1" } },
    function(v) return (v[1] == nil or v[1] == 0xFF) and "missing option 1 in pdu 4:3" end },
  [0x0405] = { UNIT, "row of the status table", {
    [1] = { "table.index", "Index", "byte" }, [2] = { "table.key", "Key", "u16" },
    [3] = { "table.text", "Text", "text" } },
    function(v)
      return (v[1] == nil or v[1] == 0xFF or v[2] == nil or v[2] == 0xFFFF) and "missing option 1 or 2 in pdu 4:5"
    end },
  [0x0406] = { UNIT, "the status table changed" },
  [0x0408] = { UNIT, "server message from the office", {
    [1] = { "message", "Server message", "message" }, [3] = { "valid", "Valid", "bool1" } },
    function(v) return v[1] == nil and "missing option 1 in pdu 4:8" end },
  [0x040A] = { UNIT, "network registration changed", {
    [1] = { "network.status", "Status", "char", NETWORK }, [2] = { "network.extra", "Extra", "char" } } },
  [0x0701] = { UNIT, "GPS fix", {
    [1] = { "gps.status", "Status", "char", FIX_STATUS },
    [2] = { "gps.latitude", "Latitude", "i32", latitude(1000000) },
    [3] = { "gps.longitude", "Longitude", "i32", longitude(1000000) },
    [4] = { "gps.time", "Time", "u32", time2000 }, [5] = { "gps.satellites", "Satellites in use", "byte" },
    [6] = { "gps.speed", "Speed", "u16", tenths(" km/h") }, [7] = { "gps.course", "Course", "u16", tenths("\194\176") },
    [8] = { "gps.reserved", "Reserved", "u16" }, [9] = { "gps.trip", "Trip value", "u32" },
    [10] = { "gps.block", "Extended fix", "gps" } } },
  [0x0802] = { UNIT, "value of a parameter of the unit", {
    [1] = { "param.name", "Name", "text" }, [2] = { "param.value", "Value", "blob" } },
    function(v) return v[1] == nil and "missing option 1 in pdu 8:2" end },
  [0x0804] = { UNIT, "read a parameter of the device", { [1] = { "param.name", "Name", "text" } },
    function(v) return v[1] == nil and "missing option 1 or 2 in pdu 8:4" end },
  [0x0806] = { UNIT, "a parameter of the unit changed", { [1] = { "param.name", "Name", "text" } },
    function(v) return v[1] == nil and "missing option 1 or 2 in pdu 8:6" end },
}

local PDU_NAMES = {}
for id, pdu in pairs(PDUS) do
  PDU_NAMES[id] = pdu_name(id) .. " " .. pdu[2]
end
f.pdu_id = ProtoField.uint16("velarn.pdu.id", "PDU identifier", base.HEX, PDU_NAMES)

local SIZES = { byte = 1, char = 1, bool1 = 1, bool0 = 1, u16 = 2, u32 = 4, i32 = 4 }
local FIELD_TYPES = {
  byte = ProtoField.uint8, char = ProtoField.uint8, bool1 = ProtoField.uint8, bool0 = ProtoField.uint8,
  u16 = ProtoField.uint16, u32 = ProtoField.uint32, i32 = ProtoField.int32,
  text = ProtoField.string, blob = ProtoField.bytes, message = ProtoField.bytes, gps = ProtoField.bytes,
}
for _, pdu in pairs(PDUS) do
  for _, option in pairs(pdu[3] or {}) do
    local abbr = option[1]
    if not f["opt:" .. abbr] then
      f["opt:" .. abbr] = FIELD_TYPES[option[3]]("velarn." .. abbr, option[2])
    end
  end
end

-- The extended GPS block (option 10 of 7:1), little-endian: offset, size,
-- abbreviation, label, signed, meaning.
local GPS_BLOCK = {
  { 0x00, 1, "status", "Status", false, FIX_STATUS },
  { 0x01, 1, "opaque1", "Opaque 1" }, { 0x02, 1, "opaque2", "Opaque 2" }, { 0x03, 1, "opaque3", "Opaque 3" },
  { 0x04, 4, "latitude", "Latitude", true, latitude(10000000) },
  { 0x08, 4, "longitude", "Longitude", true, longitude(10000000) },
  { 0x0C, 4, "time", "Time", false, time2000 },
  { 0x10, 2, "speed", "Speed", false, tenths(" km/h") },
  { 0x12, 2, "course", "Course", false, tenths("\194\176") },
  { 0x14, 2, "hdop", "HDOP", false, hundredths },
  { 0x16, 2, "magnetic_variation", "Magnetic variation", false, tenths("\194\176") },
  { 0x18, 1, "magnetic_direction", "Magnetic variation direction", false, char_text },
  { 0x19, 1, "opaque4", "Opaque 4" }, { 0x1A, 2, "opaque5", "Opaque 5" },
  { 0x1C, 4, "opaque6", "Opaque 6" }, { 0x20, 4, "opaque7", "Opaque 7" },
  { 0x24, 8, "satellite_mask", "Satellites in use (mask)" },
  { 0x2C, 2, "pdop", "PDOP", false, hundredths }, { 0x2E, 2, "vdop", "VDOP", false, hundredths },
  { 0x30, 2, "opaque8", "Opaque 8" },
  { 0x32, 1, "fix_type", "Fix type", false, names({ [1] = "no fix", [2] = "2D", [3] = "3D" }) },
  { 0x34, 1, "opaque9", "Opaque 9" },
  { 0x36, 1, "fix_mode", "Fix mode", false, names({ [0x41] = "automatic", [0x4D] = "manual" }) },
  { 0x37, 1, "satellite_count", "Satellites in view" },
}
local GPS_SATELLITE = {
  { 0, 1, "number", "Number" }, { 1, 1, "snr", "Signal to noise" },
  { 2, 2, "elevation", "Elevation", true }, { 4, 2, "azimuth", "Azimuth" },
}
local UINT = { [1] = ProtoField.uint8, [2] = ProtoField.uint16, [4] = ProtoField.uint32, [8] = ProtoField.uint64 }
local INT = { [1] = ProtoField.int8, [2] = ProtoField.int16, [4] = ProtoField.int32 }
for _, entry in ipairs(GPS_BLOCK) do
  local maker = entry[5] and INT[entry[2]] or UINT[entry[2]]
  f["gps:" .. entry[3]] = maker("velarn.gps.block." .. entry[3], entry[4],
                                entry[2] == 8 and base.HEX or base.DEC)
end
for _, entry in ipairs(GPS_SATELLITE) do
  local maker = entry[5] and INT[entry[2]] or UINT[entry[2]]
  f["sat:" .. entry[3]] = maker("velarn.gps.sat." .. entry[3], entry[4])
end
f.gps_satellite = ProtoField.none("velarn.gps.sat", "Satellite")

velarn.fields = (function()
  local list = {}
  for _, field in pairs(f) do list[#list + 1] = field end
  return list
end)()
velarn.experts = { e.malformed, e.refused, e.repeat_ }

-------------------------------------------------------------------------------
-- PDUs: decoding

-- Adds one little-endian value of a fixed-size option; returns its number.
local function add_number(tree, field, range, meaning, signed)
  local item = tree:add_le(field, range)
  local value = signed and range:le_int() or range:le_uint()
  local text = meaning and meaning(value)
  if text then item:append_text(" (" .. text .. ")") end
  return value, item
end

local function dissect_gps_block(tvb, pinfo, tree, offset, length)
  -- velarnd takes the block only when it holds its whole fixed part and
  -- every satellite it announces (at most 32); otherwise it skips it.
  local count = length >= 0x38 and tvb(offset + 0x37, 1):uint() or nil
  local complete = count and count <= 32 and length >= 0x38 + 6 * count
  for _, entry in ipairs(GPS_BLOCK) do
    if entry[1] + entry[2] <= length then
      local range = tvb(offset + entry[1], entry[2])
      if entry[2] == 8 then
        tree:add_le(f["gps:" .. entry[3]], range)
      else
        add_number(tree, f["gps:" .. entry[3]], range, entry[6], entry[5])
      end
    end
  end
  if not complete then
    refused(tree, pinfo, "GPS block of fewer than 56 bytes, or of more than 32 satellites, or without all of them")
    return
  end
  for index = 0, count - 1 do
    local base_offset = offset + 0x38 + 6 * index
    local satellite = tree:add(f.gps_satellite, tvb(base_offset, 6))
    local number = tvb(base_offset, 1):uint()
    satellite:set_text(string.format("Satellite %d", number))
    for _, entry in ipairs(GPS_SATELLITE) do
      add_number(satellite, f["sat:" .. entry[3]], tvb(base_offset + entry[1], entry[2]), nil, entry[5])
    end
  end
end

local function dissect_option(tvb, pinfo, tree, offset, length, known_option, from_unit)
  local kind = known_option[3]
  local field = f["opt:" .. known_option[1]]
  local range = tvb(offset, length)
  local size = SIZES[kind]
  if size and size ~= length then
    local item = tree:add(f.opt_value, range)
    malformed(item, pinfo, "size of parameter doesn't match to the size of the expected type")
    return nil
  end
  if kind == "text" then
    tree:add(field, range, range:string(ENC_UTF_8))
    return range:string(ENC_UTF_8)
  elseif kind == "blob" then
    tree:add(field, range)
    return true
  elseif kind == "message" then
    tree:add(field, range)
    if length > 0 then
      dissect_message(tvb, pinfo, tree, offset, length, from_unit)
    else
      malformed(tree, pinfo, "idx is out of range")
    end
    return true
  elseif kind == "gps" then
    local block = tree:add(field, range)
    dissect_gps_block(tvb, pinfo, block, offset, length)
    return true
  end
  local meaning = known_option[4]
  if kind == "bool1" then
    meaning = function(v) return v == 1 and "true" or "false" end
  elseif kind == "bool0" then
    meaning = function(v) return v == 0 and "true" or "false" end
  elseif kind == "char" then
    local inner = meaning
    meaning = function(v)
      local text = inner and inner(v)
      return char_text(v) .. (text and ", " .. text or "")
    end
  end
  return (add_number(tree, field, range, meaning, kind == "i32"))
end

local function dissect_pdu(tvb, pinfo, tree, offset, direction)
  local length = tvb:len() - offset
  local subtree = tree:add(velarn, tvb(offset, length), "PDU")
  if length < 2 then
    malformed(subtree, pinfo, "invalid pdu")
    return
  end
  local id = tvb(offset, 2):uint()
  local pdu = PDUS[id]
  subtree:add(f.pdu_id, tvb(offset, 2))
  subtree:add(f.pdu_name, pdu_name(id)):set_generated()
  subtree:set_text(string.format("PDU %s %s", pdu_name(id), pdu and pdu[2] or "(unknown)"))
  pinfo.cols.info:append(string.format(": %s %s", pdu_name(id), pdu and pdu[2] or "(unknown PDU)"))

  -- velarnd walks the options once before reading any: an option header cut
  -- short, or a value longer than what is left, refuses the whole PDU.
  local walk = offset + 2
  local finish = offset + length
  local whole = true
  while walk < finish do
    if finish - walk < 3 then
      whole = false
      break
    end
    local next_offset = walk + 3 + tvb(walk + 1, 2):le_uint()
    if next_offset > finish then
      whole = false
      break
    end
    walk = next_offset
  end

  local values = {}
  local position = offset + 2
  while position < finish do
    local remaining = finish - position
    if remaining < 3 or position + 3 + tvb(position + 1, 2):le_uint() > finish then
      local item = subtree:add(f.opt, tvb(position, remaining))
      item:set_text("Option cut short")
      break
    end
    local number = tvb(position, 1):uint()
    local size = tvb(position + 1, 2):le_uint()
    local known_option = pdu and pdu[3] and pdu[3][number]
    local option = subtree:add(f.opt, tvb(position, 3 + size))
    option:set_text(string.format("Option %d: %s (%d byte%s)", number, known_option and known_option[2] or "unknown", size,
                                  size == 1 and "" or "s"))
    option:add(f.opt_number, tvb(position, 1))
    option:add_le(f.opt_length, tvb(position + 1, 2))
    if known_option and whole then
      local value = dissect_option(tvb, pinfo, option, position + 3, size, known_option, direction == UNIT)
      values[number] = value
    elseif size > 0 then
      option:add(f.opt_value, tvb(position + 3, size))
    end
    position = position + 3 + size
  end

  if not whole then
    malformed(subtree, pinfo, "invalid pdu")
    return
  end
  if not pdu then
    if direction == UNIT then
      refused(subtree, pinfo, "can't find a factory")
    end
    return
  end
  if pdu[1] ~= direction then
    subtree:add_proto_expert_info(e.refused, "a PDU of the other direction")
  end
  local missing = pdu[4] and direction == UNIT and pdu[4](values)
  if missing then
    refused(subtree, pinfo, missing)
  end
end

-------------------------------------------------------------------------------
-- The transport packet

-- Per capture: the latest data packet of each sender, for the links between
-- data and acknowledgements; and what was found per frame, for Wireshark's
-- later passes over the same packets.
local last_data, per_frame
function velarn.init()
  last_data, per_frame = {}, {}
end

local function ends(pinfo)
  local source = tostring(pinfo.src) .. ":" .. tostring(pinfo.src_port)
  local destination = tostring(pinfo.dst) .. ":" .. tostring(pinfo.dst_port)
  return source .. ">" .. destination, destination .. ">" .. source
end

local function dissect(tvb, pinfo, tree)
  local length = tvb:len()
  pinfo.cols.protocol = "VELARN"
  local root = tree:add(velarn, tvb())
  if length < 3 then
    pinfo.cols.info = "Too short"
    malformed(root, pinfo, "shorter than 3 bytes")
    return length
  end
  root:add(f.magic, tvb(0, 1))
  if tvb(0, 1):uint() ~= 0x42 then
    pinfo.cols.info = "Not a packet of the link"
    malformed(root, pinfo, "magic isn't 0x42")
    return length
  end
  local kind_item = root:add(f.kind, tvb(1, 1))
  kind_item:add(f.direction, tvb(1, 1))
  kind_item:add(f.reserved_bits, tvb(1, 1))
  kind_item:add(f.type, tvb(1, 1))
  local kind = tvb(1, 1):uint()
  local direction = rshift(kind, 6)
  local packet_type = band(kind, 0x0F)
  local type_name = TYPES[packet_type] or string.format("type %d", packet_type)
  pinfo.cols.info = string.format("%s, %s", type_name:gsub("^%l", string.upper),
                                  DIRECTIONS[direction] or "no direction")
  root:append_text(string.format(", %s, %s", DIRECTIONS[direction] or "no direction", type_name))
  if not DIRECTIONS[direction] then
    malformed(kind_item, pinfo, "direction bits are neither 01 nor 10")
    return length
  end
  if not TYPES[packet_type] then
    malformed(kind_item, pinfo, "no such type")
    return length
  end
  local needed = LENGTHS[packet_type]
  if needed and length < needed then
    malformed(root, pinfo, string.format("%s needs %d bytes", type_name, needed))
    return length
  end

  local forward, backward = ends(pinfo)
  local found = per_frame[pinfo.number]
  if not pinfo.visited then
    found = {}
    per_frame[pinfo.number] = found
  end

  if packet_type == 0 or packet_type == 1 then
    root:add(f.pad, tvb(2, 1))
    root:add_le(f.version, tvb(3, 2))
    root:add_le(f.session, tvb(5, 2))
    pinfo.cols.info:append(string.format(", session 0x%04x", tvb(5, 2):le_uint()))
  elseif packet_type == 6 then
    root:add(f.pad, tvb(2, 1))
    root:add_le(f.version, tvb(3, 2))
  elseif packet_type == 5 then
    root:add(f.pad, tvb(2, 1))
  elseif packet_type == 4 then
    local seq = tvb(2, 1):uint()
    root:add(f.seq, tvb(2, 1))
    pinfo.cols.info:append(string.format(", seq %d", seq))
    if not pinfo.visited then
      local data = last_data[backward]
      if data and data.seq == seq then
        found.acks = data.frame
      end
    end
    if found and found.acks then
      root:add(f.ack_frame, found.acks):set_generated()
    end
  elseif packet_type == 3 then
    local seq = tvb(2, 1):uint()
    root:add(f.seq, tvb(2, 1))
    pinfo.cols.info:append(string.format(", seq %d", seq))
    if not pinfo.visited then
      local previous = last_data[forward]
      if previous and previous.seq == seq and previous.payload == tvb(3):bytes():tohex() then
        found.repeats = previous.frame
      else
        last_data[forward] = { seq = seq, frame = pinfo.number, payload = tvb(3):bytes():tohex() }
      end
    end
    if found and found.repeats then
      local item = root:add(f.repeat_frame, found.repeats)
      item:set_generated()
      item:add_proto_expert_info(e.repeat_, "repetition: velarnd acknowledges it and doesn't deliver it again")
    end
    if length > 3 then
      dissect_pdu(tvb, pinfo, root, 3, direction)
    end
    return length
  end
  if needed and length > needed then
    root:add(f.trailing, tvb(needed))
  end
  return length
end

function velarn.dissector(tvb, pinfo, tree)
  local ok, problem = pcall(dissect, tvb, pinfo, tree)
  if not ok then
    -- A fault of this script must not hide the packet, nor end the run.
    local item = tree:add(velarn, tvb())
    malformed(item, pinfo, "dissector error: " .. tostring(problem))
  end
  return tvb:len()
end

-------------------------------------------------------------------------------
-- Where the link is found

-- Whether tvb looks like a packet of the link: a strict check of the layout,
-- so that other UDP traffic isn't taken for it.
local function looks_like_velarn(tvb)
  local length = tvb:len()
  if length < 3 or tvb(0, 1):uint() ~= 0x42 then return false end
  local kind = tvb(1, 1):uint()
  local direction, packet_type = rshift(kind, 6), band(kind, 0x0F)
  if (direction ~= 1 and direction ~= 2) or band(kind, 0x30) ~= 0 then return false end
  if packet_type == 0 or packet_type == 1 then
    return length == 7 and tvb(2, 1):uint() == 0 and tvb(4, 1):uint() == 3
  elseif packet_type == 4 then
    return length == 3
  elseif packet_type == 5 then
    return length == 3 and tvb(2, 1):uint() == 0
  elseif packet_type == 6 then
    return length == 5 and tvb(2, 1):uint() == 0 and tvb(4, 1):uint() == 3
  elseif packet_type == 3 then
    if length < 5 or not PDUS[tvb(3, 2):uint()] then return false end
    local position = 5
    while position < length do
      if length - position < 3 then return false end
      position = position + 3 + tvb(position + 1, 2):le_uint()
    end
    return position == length
  end
  return false
end

local function heuristic(tvb, pinfo, tree)
  if not velarn.prefs.heuristic or not looks_like_velarn(tvb) then
    return false
  end
  velarn.dissector(tvb, pinfo, tree)
  -- The rest of the conversation, damaged packets included, is ours too.
  pinfo.conversation = velarn
  return true
end
velarn:register_heuristic("udp", heuristic)

local registered_ports = ""
local function register_ports()
  local table = DissectorTable.get("udp.port")
  if registered_ports ~= "" then
    table:remove(registered_ports, velarn)
  end
  registered_ports = tostring(velarn.prefs.ports)
  if registered_ports ~= "" then
    table:add(registered_ports, velarn)
  end
end
function velarn.prefs_changed()
  register_ports()
end
register_ports()
