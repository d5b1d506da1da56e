-- Dissects what "trel-standin --pcap" captures. Made from protocol/ by protocol/generate.
--
--   tshark -X lua_script:trel-tool.lua -r FILE -V
--
-- Wireshark finds it in its folder of Lua plugins. A connection has one request and one
-- reply; what arrives in pieces is put together.

local payloads = {
  ["empty"] = {
  },
  ["uuid-text"] = {
    {name = "uuid", type = "uuid-text", offset = 0, width = 36},
  },
  ["json"] = {
    {name = "json", type = "json", offset = 0},
  },
  ["level"] = {
    {name = "level", type = "chars", offset = 0},
  },
  ["rebalance-params"] = {
    {name = "timeSpan", type = "u64", offset = 0, width = 8},
    {name = "varianceThreshold", type = "f64", offset = 8, width = 8},
    {name = "timeThreshold", type = "u64", offset = 16, width = 8},
    {name = "rateThreshold", type = "u64", offset = 24, width = 8},
  },
  ["decom-what-if"] = {
    {name = "uuid", type = "uuid-bytes", offset = 0, width = 16},
    {name = "decomMode", type = "u32", offset = 16, width = 4},
    {name = "ensureDurability", type = "u8", offset = 20, width = 1},
    {name = "reserved", type = "reserved", offset = 21, width = 3},
  },
  ["upgrade-what-if"] = {
    {name = "uuid", type = "uuid-bytes", offset = 0, width = 16},
    {name = "decomMode", type = "u32", offset = 16, width = 4},
    {name = "reason", type = "u32", offset = 20, width = 4},
    {name = "wipeDisk", type = "u8", offset = 24, width = 1},
    {name = "reserved", type = "reserved", offset = 25, width = 3},
    {name = "uuidCount", type = "u32", offset = 28, width = 4},
    {name = "uuidList", type = "list", offset = 32},
  },
  ["reconfigure"] = {
    {name = "uuid", type = "uuid-bytes", offset = 0, width = 16},
    {name = "filePath", type = "text", offset = 16},
  },
  ["path"] = {
    {name = "filePath", type = "text", offset = 0},
  },
  ["uuid-and-recovery-mode"] = {
    {name = "uuid", type = "uuid-text", offset = 0, width = 36},
    {name = "recoveryMode", type = "digits", offset = 36, width = 5},
  },
  ["work-item"] = {
    {name = "workItem", type = "digits", offset = 0, width = 4},
    {name = "workItemName", type = "name", of = "workItem", names = "work-items"},
  },
  ["uuid-and-all-flag"] = {
    {name = "uuid", type = "uuid-text", offset = 0, width = 36},
    {name = "all", type = "digits", offset = 36, width = 5},
  },
  ["callback-block"] = {
    {name = "eventType", type = "digits", offset = 0, width = 1024, part = 0},
    {name = "eventName", type = "name", of = "eventType", names = "callback-events"},
    {name = "entryType", type = "digits", offset = 0, width = 1024, part = 1},
    {name = "entryName", type = "name", of = "entryType", names = "callback-entries"},
    {name = "uuid", type = "uuid-text", offset = 0, width = 1024, part = 2},
  },
  ["manual-move"] = {
    {name = "uuid", type = "uuid-bytes", offset = 0, width = 16},
    {name = "destinationCount", type = "u32", offset = 16, width = 4},
    {name = "exclusionCount", type = "u32", offset = 20, width = 4},
    {name = "destinationList", type = "list-area", offset = 24, width = 94720},
    {name = "exclusionList", type = "list-area", offset = 94744, width = 94720},
  },
  ["global-exclusion"] = {
    {name = "exclusionMode", type = "u32", offset = 0, width = 4},
    {name = "exclusionCount", type = "u32", offset = 4, width = 4},
    {name = "exclusionList", type = "list-area", offset = 8, width = 94720},
  },
}
local commands = {
  [1] = {word = "stats", payload = "empty", reply = "stream"},
  [2] = {word = "crawler", payload = "uuid-text", reply = "silent"},
  [3] = {word = "fitness-config-get", payload = "empty", reply = "print"},
  [4] = {word = "fitness-config-set", payload = "json", reply = "silent"},
  [5] = {word = "fitness-config-reset", payload = "empty", reply = "silent"},
  [6] = {word = "fitness-stats-get", payload = "empty", reply = "print"},
  [7] = {word = "log-level", payload = "level", reply = "silent"},
  [8] = {word = "fix-object-immediate", payload = "uuid-text", reply = "silent"},
  [9] = {word = "get-object-last-operation", payload = "uuid-text", reply = "print"},
  [10] = {word = "start-proactive-rebalance", payload = "rebalance-params", reply = "silent"},
  [11] = {word = "stop-proactive-rebalance", payload = "empty", reply = "silent"},
  [12] = {word = "info-proactive-rebalance", payload = "empty", reply = "print"},
  [13] = {word = "fix-concats", payload = "empty", reply = "silent"},
  [14] = {word = "info-rebalance", payload = "uuid-text", reply = "print"},
  [15] = {word = "resources-to-fix-unhealthy-objects", payload = "uuid-text", reply = "print"},
  [16] = {word = "what-if-entity-decom", payload = "decom-what-if", reply = "print"},
  [17] = {word = "what-if-upgrade", payload = "upgrade-what-if", reply = "print"},
  [18] = {word = "what-if-cancel", payload = "empty", reply = "silent"},
  [19] = {word = "force-reconfigure-the-object", payload = "reconfigure", reply = "silent"},
  [20] = {word = "update-treldb", payload = "path", reply = "silent"},
  [21] = {word = "replace-treldb", payload = "path", reply = "silent"},
  [22] = {word = "enable-trel-recovery-mode", payload = "uuid-and-recovery-mode", reply = "silent"},
  [23] = {word = "get-obj-decom-state", payload = "uuid-text", reply = "print"},
  [24] = {word = "enable-workitem", payload = "work-item", reply = "silent"},
  [25] = {word = "disable-workitem", payload = "work-item", reply = "silent"},
  [26] = {word = "get-obj-crawler-state", payload = "uuid-and-all-flag", reply = "print", with = {field = "all", reply = "stream"}},
  [27] = {word = "pause-decom-state-progress", payload = "empty", reply = "silent"},
  [28] = {word = "resume-decom-state-progress", payload = "empty", reply = "silent"},
  [29] = {word = "start-decom-state-heartbeat", payload = "empty", reply = "silent"},
  [30] = {word = "pause-failed-delta-entry-processing", payload = "empty", reply = "none"},
  [31] = {word = "block-cdb-cb", payload = "callback-block", reply = "none"},
  [32] = {word = "refresh-config-opts", payload = "empty", reply = "none"},
  [33] = {word = "component-manual-move", payload = "manual-move", reply = "silent"},
  [34] = {word = "set-global-exclusion-list", payload = "global-exclusion", reply = "silent"},
  [35] = {word = "info-owner-rebalance", payload = "empty", reply = "print"},
  [36] = {word = "set-preferred-fd", payload = "uuid-text", reply = "silent"},
  [37] = {word = "set-nonPreferred-fd", payload = "uuid-text", reply = "silent"},
}
local names = {
  ["callback-events"] = {[1] = "update", [2] = "add", [3] = "delete"},
  ["callback-entries"] = {[2] = "object", [3] = "disk", [4] = "node"},
  ["work-items"] = {[1] = "PLACEMENT", [2] = "DECOM_CLEANUP", [3] = "CLEANUP", [5] = "VOTES_REBALANCE", [6] = "FIX_FD_IDS", [7] = "MOVE", [8] = "REACTIVE_REBALANCE", [9] = "DECOM", [10] = "FORCE_REPAIR", [11] = "FORCE_RECONFIGURE", [12] = "RECOVERY", [13] = "REPAIR", [14] = "CHANGE", [15] = "CHANGE_PENDING", [16] = "COMPLIANCE", [17] = "CONCAT", [18] = "PROACTIVE_REBALANCE", [19] = "DELTA_DECOM", [20] = "FORMAT_CHANGE", [21] = "UNPLANNED_DELTA", [22] = "MANUAL_MOVE", [23] = "CONCAT_IN_MIDDLE"},
}
local kinds = {["uuid-bytes"] = "text", ["uuid-text"] = "text", ["u8"] = "natural", ["u32"] = "natural", ["u64"] = "natural", ["f64"] = "number", ["chars"] = "text", ["text"] = "text", ["json"] = "text", ["list"] = "list", ["list-area"] = "list", ["digits"] = "natural", ["name"] = "text", ["reserved"] = "text"}

local treld = Proto("treld", "treld requests and replies")
local own = {
  connection = ProtoField.uint32("treld.connection", "Connection"),
  direction = ProtoField.uint8("treld.direction", "Direction", base.DEC,
    {[0] = "to the daemon", [1] = "to the client"}),
  piece = ProtoField.bytes("treld.piece", "Piece"),
  code = ProtoField.uint32("treld.code", "Code"),
  command = ProtoField.string("treld.command", "Command"),
  status = ProtoField.uint32("treld.status", "Status", base.HEX),
  length = ProtoField.uint32("treld.length", "Length"),
  text = ProtoField.string("treld.text", "Text"),
}
local makers = {text = ProtoField.string, list = ProtoField.string, natural = ProtoField.uint64,
  number = ProtoField.double}
local fields = {}
for _, payload in pairs(payloads) do
  for _, field in ipairs(payload) do
    fields[field.name] = fields[field.name]
      or makers[kinds[field.type]]("treld." .. field.name, field.name)
  end
end
local all = {}
for _, group in ipairs({own, fields}) do
  for _, field in pairs(group) do
    all[#all + 1] = field
  end
end
treld.fields = all

local conversations, messages = {}, {}
function treld.init()
  conversations, messages = {}, {}
end

-- The text of a range as far as its first zero byte.
local function terminated(range)
  return (range:raw():match("^[^%z]*"))
end

-- Its own arithmetic: a number of Lua is exact to 53 bits only.
local function number_of(digits)
  local number = UInt64(0)
  for digit in digits:gmatch("%d") do
    number = number * UInt64(10) + UInt64(tonumber(digit))
  end
  return number
end

local function uuid_of(range)
  local digits = range:bytes():tohex(true)
  return digits:gsub("^(%x%x%x%x%x%x%x%x)(%x%x%x%x)(%x%x%x%x)(%x%x%x%x)", "%1-%2-%3-%4-", 1)
end

local readers = {
  ["u8"] = function(range) return UInt64(range:uint()) end,
  ["u32"] = function(range, big) return UInt64(big and range:uint() or range:le_uint()) end,
  ["u64"] = function(range, big) return big and range:uint64() or range:le_uint64() end,
  ["f64"] = function(range, big) return big and range:float() or range:le_float() end,
  ["uuid-bytes"] = function(range) return (uuid_of(range)) end,
  ["uuid-text"] = function(range) return range:raw() end,
  ["chars"] = function(range) return range:raw() end,
  ["reserved"] = function(range) return range:bytes():tohex(true) end,
}

local function add(tree, field, range, value)
  if value ~= nil then
    tree:add(fields[field.name], range, value)
  end
end

-- Adds one field of a request. The numbers that names may be of are kept in `known`.
local function add_field(tree, field, message, big, known)
  if field.of then
    if known[field.of] then
      add(tree, field, message(0, 0), names[field.names][known[field.of]] or "")
    end
    return
  end
  local offset = 8 + field.offset
  local width = field.width or message:len() - offset
  if width < 0 or offset + width > message:len() then
    return
  end
  if width == 0 then
    if kinds[field.type] == "text" then
      add(tree, field, message(0, 0), "")
    end
    return
  end
  local range = message(offset, width)
  local text = (field.part or not readers[field.type]) and terminated(range) or nil
  if field.part then
    local parts = {text:match("^([^:]*):?([^:]*):?(.*)$")}
    text = parts[field.part + 1]
  end
  if field.type == "reserved" and not range:raw():find("[^%z]") then
    return
  elseif field.type == "digits" then
    known[field.name] = tonumber(text)
    add(tree, field, range, number_of(text))
  elseif kinds[field.type] == "list" then
    for entry in text:gmatch("[^,]+") do
      add(tree, field, range, entry)
    end
  else
    add(tree, field, range, text or readers[field.type](range, big))
  end
end

local function add_request(tree, message, big, conversation, info)
  local code, length = message(0, 4):uint(), message(4, 4):uint()
  local command = commands[code]
  info.cols.info = command and command.word or "unknown code " .. code
  tree:add(own.code, message(0, 4))
  tree:add(own.length, message(4, 4))
  if command then
    tree:add(own.command, message(0, 4), command.word)
    local known = {}
    for _, field in ipairs(payloads[command.payload]) do
      add_field(tree, field, message, big, known)
    end
    local with = command.with
    conversation.reply = with and (known[with.field] or 0) ~= 0 and with.reply or command.reply
  end
end

local function add_reply(tree, message, info)
  tree:add(own.status, message(0, 4))
  tree:add(own.length, message(4, 4))
  info.cols.info = string.format("reply 0x%08x", message(0, 4):uint())
  if message:len() > 8 then
    tree:add(own.text, message(8))
  end
end

-- Puts the frame of one direction together; the bytes of it once they are whole.
local function collect(conversation, direction, bytes)
  local side = conversation[direction] or {}
  conversation[direction] = side
  if side.whole then
    return nil
  end
  side.bytes = (side.bytes or "") .. bytes
  local length = #side.bytes >= 8 and Struct.unpack(">I4", side.bytes, 5)
  if not length or #side.bytes < 8 + length then
    return nil
  end
  side.whole = true
  return side.bytes:sub(1, 8 + length)
end

function treld.dissector(packet, info, root)
  info.cols.protocol = "treld"
  local connection, direction = packet(0, 4):uint(), packet(4, 1):uint()
  local big = packet(5, 1):uint() == 1
  local tree = root:add(treld, packet())
  tree:add(own.connection, packet(0, 4))
  tree:add(own.direction, packet(4, 1))
  local conversation = conversations[connection] or {}
  conversations[connection] = conversation
  local stream = direction == 1 and conversation.reply == "stream"
  if not info.visited and not stream then
    messages[info.number] = collect(conversation, direction, packet:raw(8))
  end
  local message = messages[info.number]
  if stream then
    info.cols.info = "piece of a stream"
    tree:add(own.text, packet(8))
  elseif not message then
    info.cols.info = "piece of a frame"
    tree:add(own.piece, packet(8))
  elseif direction == 0 then
    add_request(tree, ByteArray.new(message, true):tvb("Request")(), big, conversation, info)
  else
    add_reply(tree, ByteArray.new(message, true):tvb("Reply")(), info)
  end
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, treld)
