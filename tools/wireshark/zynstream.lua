-- Dissector of ZynStream, the stream in which the programs of the system send their messages, for
-- Wireshark 4. docs/stream-format.md describes the bytes.
--
-- On a TCP connection streams come one behind the other, either as they are or, as the example road
-- sends them, each behind its length, a big-endian word. Which of both it is, the dissector sees at
-- a stream's magic. It remembers it for the connection, so that a damaged stream behind a good one
-- is told as one.

local zyn = Proto("zynstream", "ZynStream")

local PLAIN, MESSAGE = 0, 1
local HEADER_SIZE = { [PLAIN] = 20, [MESSAGE] = 140 }
local WORK_HEADER_SIZE, FRAME_HEAD_SIZE = 120, 8
local ZNID, ZNRM, WIH = 0x5A4E4944, 0x5A4E524D, 0x57494820
local ENCODING = 546

-- Bounds for input that means no good. A stream beyond the first is not waited for.
local MAX_STREAM = 16 * 1024 * 1024
local MAX_DEPTH = 24     -- frames and streams in each other
local MAX_ITEMS = 10000  -- frames and values shown of what comes at once
local MAX_NUMBERS = 64   -- numbers shown one by one of a payload
local MAX_TEXT = 65536   -- bytes looked at to tell whether they are text

local TEXT_ENCODING = {
  [37] = ENC_EBCDIC_CP037, [437] = ENC_CP437, [819] = ENC_ISO_8859_1, [855] = ENC_CP855,
  [866] = ENC_CP866, [912] = ENC_ISO_8859_2, [915] = ENC_ISO_8859_5, [923] = ENC_ISO_8859_15,
  [970] = ENC_EUC_KR, [1208] = ENC_UTF_8, [1250] = ENC_WINDOWS_1250, [1251] = ENC_WINDOWS_1251,
  [1252] = ENC_WINDOWS_1252, [1392] = ENC_GB18030, [5348] = ENC_WINDOWS_1252,
}

local f = {}
local function field(name, kind, label, ...)
  f[name] = ProtoField[kind]("zynstream." .. name, label, ...)
end
field("prefix", "uint32", "Length word in front")
field("wih", "none", "Work information header")
field("wih.strucid", "string", "Structure identifier")
field("wih.version", "int32", "Structure version")
field("wih.struclength", "int32", "Structure length")
field("wih.encoding", "int32", "Encoding")
field("wih.ccsid", "int32", "Code page")
field("wih.format", "string", "Format")
field("wih.flags", "uint32", "Flags", base.HEX)
field("wih.servicename", "string", "Service name")
field("wih.servicestep", "string", "Service step")
field("wih.token", "bytes", "Message token")
field("wih.reserved", "bytes", "Reserved")
field("header", "none", "Header")
field("kind", "uint8", "Kind", base.DEC,
  { [PLAIN] = "Plain", [MESSAGE] = "InternalRuntimeMessage" })
field("magic", "string", "Magic")
field("version", "uint8", "Version")
field("release", "uint8", "Release")
field("modlevel", "uint8", "Modification level")
field("length", "uint32", "Length")
field("ccsid", "uint16", "Code page")
field("nested", "none", "Nested stream")
field("parm", "none", "Parameter")
field("parm.id", "uint32", "Id")
field("parm.length", "uint32", "Frame length")
field("parm.offset", "uint32", "Offset in the stream")
field("parm.erased", "bool", "Erased")
field("parm.value", "bytes", "Value")
field("parm.value.number", "int32", "Number")
field("parm.value.double", "double", "Or a double")
field("parm.value.text", "string", "Text")
field("parm.value.bytes", "bytes", "Bytes")
field("malformed", "bool", "Malformed")
zyn.fields = f

local e, is_error = {}, {}
local group, severity = expert.group, expert.severity
local function problem(name, label, in_group, of_severity)
  e[name] = ProtoExpert.new("zynstream.problem." .. name, label, in_group, of_severity)
  is_error[name] = of_severity == severity.ERROR
end
problem("magic", "Unknown magic", group.MALFORMED, severity.ERROR)
problem("header", "Length below that of the header", group.MALFORMED, severity.ERROR)
problem("truncated", "Length beyond the bytes at hand", group.MALFORMED, severity.ERROR)
problem("short_frame", "Frame shorter than its head", group.MALFORMED, severity.ERROR)
problem("long_frame", "Frame longer than what encloses it", group.MALFORMED, severity.ERROR)
problem("cut_frame", "Too few bytes for the head of a frame", group.MALFORMED, severity.ERROR)
problem("alignment", "Length is no multiple of 4", group.PROTOCOL, severity.WARN)
problem("trailing", "Bytes behind the end of the stream", group.PROTOCOL, severity.WARN)
problem("wih", "Unusual work information header", group.PROTOCOL, severity.WARN)
problem("erased", "Erased frame", group.COMMENTS_GROUP, severity.COMMENT)
problem("limit", "Not all is shown", group.UNDECODED, severity.WARN)
zyn.experts = e

-- One call of the dissector: `c` has the bytes and how much may still be shown. The functions
-- below get ranges as offsets in c.tvb, from the first byte to the one behind the last.

local function mark(c, item, name, text)
  item:add_proto_expert_info(e[name], text)
  c.malformed = c.malformed or is_error[name]
end

-- False, and told once, if no more may be shown.
local function spend(c, item)
  c.items = c.items - 1
  if c.items == 0 then
    mark(c, item, "limit", "Too many frames and values; the rest is not shown")
  end
  return c.items > 0
end

local function word(tvb, at) return tvb(at, 4):uint() end

local function is(tvb, at, to, magic) return at + 4 <= to and word(tvb, at) == magic end

-- The kind of the stream that begins here, nil if none does. A message that is cut off in front of
-- its magic is told by its work information header.
local function kind_at(tvb, from, to)
  if is(tvb, from + 4, to, ZNID) then return PLAIN end
  if is(tvb, from + WORK_HEADER_SIZE + 4, to, ZNRM) then return MESSAGE end
  if to - from < WORK_HEADER_SIZE + 8 and is(tvb, from, to, WIH) then return MESSAGE end
end

local function nested_at(tvb, from, to)
  local kind = kind_at(tvb, from, to)
  return kind and to - from >= HEADER_SIZE[kind]
end

-- Values: nothing in the bytes tells their types, so these are guesses.

-- Whether the bytes are text in the stream's code page.
local function is_text(s, at, size)
  if size == 0 or size > MAX_TEXT or not s.encoding then return false end
  if s.c.tvb:raw(at, size):find("\0", 1, true) then return false end
  local text = s.c.tvb(at, size):string(s.encoding)
  -- Control characters, and what stands for bytes that are no character.
  return not (text:find("[\1-\8\11\12\14-\31\127]") or text:find("\194[\128-\159]")
    or text:find("\239\191\189", 1, true))
end

-- The size of the opaque value that begins here, nil if none does: it fits and its padding is zero.
local function opaque_at(tvb, at, to)
  if to - at < 4 then return nil end
  local size = word(tvb, at)
  if size > to - at - 4 then return nil end
  local behind = at + 4 + size
  local stop = math.min(behind + -size % 4, to)
  if stop > behind and tvb(behind, stop - behind):uint() ~= 0 then return nil end
  return size, stop
end

local function values(s, from, to, tree)
  local tvb, at, numbers = s.c.tvb, from, 0
  while at < to and spend(s.c, tree) do
    local size, stop = opaque_at(tvb, at, to)
    if size and is_text(s, at + 4, size) then
      tree:add_packet_field(f["parm.value.text"], tvb(at + 4, size), s.encoding)
    elseif size and size > 8 and stop == to then
      tree:add(f["parm.value.bytes"], tvb(at + 4, size))
    elseif to - at >= 4 and numbers < MAX_NUMBERS then
      tree:add(f["parm.value.number"], tvb(at, 4))
      stop, numbers = at + 4, numbers + 1
    else
      tree:add(f["parm.value.bytes"], tvb(at, to - at))
      stop = to
    end
    at = stop
  end
  if to - from == 8 and numbers == 2 then
    local size = math.abs(tvb(from, 8):float())
    if size > 1e-6 and size < 1e15 then tree:add(f["parm.value.double"], tvb(from, 8)) end
  end
end

-- Frames and streams.

local stream, run

-- Whether the bytes are a run of whole frames. Erased ones there are on the top level only. On each
-- level this looks at the frames of that level alone, so all in all at none more than once.
local function is_run(c, from, to)
  local at = from
  while to - at >= FRAME_HEAD_SIZE do
    local length = word(c.tvb, at + 4)
    if word(c.tvb, at) == 0 or length < FRAME_HEAD_SIZE or length > to - at or length % 4 ~= 0 then
      return false
    end
    at = at + length
  end
  return at == to
end

local function payload(s, from, to, tree, depth)
  if depth >= MAX_DEPTH then
    mark(s.c, tree, "limit", "Nested more than " .. MAX_DEPTH .. " deep; the rest is not shown")
    return
  end
  while nested_at(s.c.tvb, from, to) and spend(s.c, tree) do
    from = stream(s.c, from, to, tree, depth + 1)
  end
  if from == to then return end
  if is_run(s.c, from, to) then
    run(s, from, to, tree, depth + 1)
  else
    tree:add(f["parm.value"], s.c.tvb(from, to - from))
    values(s, from, to, tree)
  end
end

-- The end of the frame; nil if it has none in front of `to`.
local function frame(s, at, to, tree, depth)
  local c, tvb, left = s.c, s.c.tvb, to - at
  if left < FRAME_HEAD_SIZE then
    mark(c, tree:add(f.parm, tvb(at, left)), "cut_frame",
      left .. " bytes are too few for the head of a frame")
    return nil
  end
  local id, length = word(tvb, at), word(tvb, at + 4)
  if depth == 0 and id ~= 0 then c.parms = c.parms + 1 end
  local item = tree:add(f.parm, tvb(at, math.max(FRAME_HEAD_SIZE, math.min(length, left))))
  item:set_text("Parameter " .. id .. ", " .. length .. " bytes")
  item:add(f["parm.id"], tvb(at, 4))
  item:add(f["parm.length"], tvb(at + 4, 4))
  item:add(f["parm.offset"], tvb(at, 4), at - s.from):set_generated()
  if length < FRAME_HEAD_SIZE then
    mark(c, item, "short_frame", "A frame of " .. length .. " bytes is shorter than its head")
    return nil
  end
  if length > left then
    mark(c, item, "long_frame",
      "A frame of " .. length .. " bytes does not fit into the " .. left .. " that enclose it")
    return nil
  end
  if length % 4 ~= 0 then mark(c, item, "alignment", "Frame length is no multiple of 4") end
  if id == 0 then
    item:add(f["parm.erased"], tvb(at, 4), true):set_generated()
    item:append_text(" [erased]")
    mark(c, item, "erased", "Erased frame")
  elseif length > FRAME_HEAD_SIZE then
    payload(s, at + FRAME_HEAD_SIZE, at + length, item, depth)
  end
  return at + length
end

-- Up to the end, or to the first frame that is none: what is behind that can't be told.
function run(s, from, to, tree, depth)
  local at = from
  while at and at < to and spend(s.c, tree) do
    if depth < MAX_DEPTH and nested_at(s.c.tvb, at, to) then
      at = stream(s.c, at, to, tree, depth + 1)
    else
      at = frame(s, at, to, tree, depth)
    end
  end
end

local WORK_HEADER = {
  { "strucid", 0, 4 }, { "version", 4, 4, true }, { "struclength", 8, 4, true },
  { "encoding", 12, 4, true }, { "ccsid", 16, 4, true }, { "format", 20, 8 },
  { "flags", 28, 4, true }, { "servicename", 32, 32 }, { "servicestep", 64, 8 },
  { "token", 72, 16 }, { "reserved", 88, 32 },
}

-- Its integers stand in the byte order of the host that wrote it, in which the encoding is right.
local function work_header(c, from, to, tree)
  local tvb = c.tvb
  local item = tree:add(f.wih, tvb(from, math.min(WORK_HEADER_SIZE, to - from)))
  local is_big = from + 16 <= to and word(tvb, from + 12) == ENCODING
  for _, row in ipairs(WORK_HEADER) do
    local name, offset, size, is_integer = table.unpack(row)
    if from + offset + size > to then return item end
    local add = (is_integer and not is_big) and item.add_le or item.add
    add(item, f["wih." .. name], tvb(from + offset, size))
  end
  if word(tvb, from) ~= WIH then mark(c, item, "wih", "Structure identifier is not \"WIH \"") end
  if not is_big and tvb(from + 12, 4):le_uint() ~= ENCODING then
    mark(c, item, "wih", "Encoding is not " .. ENCODING .. " in either byte order")
  end
  local length = is_big and word(tvb, from + 8) or tvb(from + 8, 4):le_uint()
  if length ~= WORK_HEADER_SIZE then mark(c, item, "wih", "Structure length is " .. length) end
  return item
end

local function header(s, at, tree)
  local tvb = s.c.tvb
  local item = tree:add(f.header, tvb(at, 20))
  item:add(f.kind, tvb(at + 4, 4), s.kind):set_generated()
  item:add(f.magic, tvb(at + 4, 4))
  item:add(f.version, tvb(at + 8, 1))
  item:add(f.release, tvb(at + 9, 1))
  item:add(f.modlevel, tvb(at + 10, 1))
  item:add(f.length, tvb(at + 12, 4))
  item:add(f.ccsid, tvb(at + 18, 2))
  s.encoding = TEXT_ENCODING[tvb(at + 18, 2):uint()]
  return item
end

local function blanks_off(text) return (text:gsub("%z.*", ""):gsub("^ +", ""):gsub(" +$", "")) end

-- Shows the stream that begins at `from`; where it ends, which is never behind `to`.
function stream(c, from, to, tree, depth)
  local tvb, kind = c.tvb, kind_at(c.tvb, from, to)
  local s = { c = c, from = from, kind = kind }
  if not kind then
    mark(c, tree, to - from < HEADER_SIZE[PLAIN] and "truncated" or "magic",
      "No stream in " .. to - from .. " bytes")
    return to
  end
  if depth > 0 then
    tree = tree:add(f.nested, tvb(from, to - from))
    tree:append_text(kind == MESSAGE and ", message" or ", plain")
  end
  local item = kind == MESSAGE and work_header(c, from, to, tree) or tree
  local start = from + HEADER_SIZE[kind]
  if depth == 0 then c.kind = kind end
  if start > to then
    mark(c, item, "truncated", to - from .. " bytes are too few for a header")
    return to
  end
  if kind == MESSAGE and depth == 0 then
    c.service = blanks_off(tvb(from + 32, 32):string())
    c.step = blanks_off(tvb(from + 64, 8):string())
  end
  item = header(s, start - 20, tree)
  local length = word(tvb, start - 8)
  if depth == 0 then c.length = length end
  if length < HEADER_SIZE[kind] then
    mark(c, item, "header", "A stream of " .. length .. " bytes is shorter than its header")
    return to
  end
  if length > to - from then
    mark(c, item, "truncated",
      "A stream of " .. length .. " bytes, of which there are " .. to - from)
  end
  local stop = math.min(from + length, to)
  if depth > 0 then tree:set_len(stop - from) end
  run(s, start, stop, tree, depth)
  return stop
end

-- Streams on a connection.

local RAW, PREFIXED = 0, 4 -- bytes in front of a stream

-- What the bytes say by themselves; nil if they say nothing or are too few.
local function framing_of(tvb, at)
  local to = tvb:len()
  if is(tvb, at + 4, to, ZNID) or is(tvb, at, to, WIH) then return RAW end
  if is(tvb, at + 8, to, ZNID) or is(tvb, at + 4, to, WIH) then
    return word(tvb, at) <= MAX_STREAM and PREFIXED or nil
  end
  if is(tvb, at + WORK_HEADER_SIZE + 4, to, ZNRM) then return RAW end
  if is(tvb, at + WORK_HEADER_SIZE + 8, to, ZNRM) then return PREFIXED end
end

-- Where the streams of a connection were first seen, and their framing. A packet that is looked at
-- again gets what it got when it was first looked at.
local seen = {}
function zyn.init() seen = {} end
local tcp_stream = Field.new("tcp.stream")

local function framing_here(tvb, at, pinfo)
  local connection = tcp_stream()
  local key = connection and connection.value or -1
  local framing = framing_of(tvb, at)
  if framing and not seen[key] then seen[key] = { number = pinfo.number, framing = framing } end
  if framing then return framing end
  if seen[key] and seen[key].number <= pinfo.number then return seen[key].framing end
  -- A length word that makes sense, with bytes behind it that do not.
  local left = tvb:len() - at
  if left < 12 then return nil end
  if left >= math.min(word(tvb, at) + 4, WORK_HEADER_SIZE + 12) then return PREFIXED end
end

-- Bytes of the length word, and of it and its stream together. Without the second there are too few
-- to tell; false for the first if no stream begins here.
local function pdu(tvb, at, pinfo)
  local left, framing = tvb:len() - at, framing_here(tvb, at, pinfo)
  if not framing then return (left < WORK_HEADER_SIZE + 12) and RAW end
  if framing == PREFIXED then
    if left < 4 then return PREFIXED end
    local length = word(tvb, at)
    if length > MAX_STREAM then return false end
    return PREFIXED, PREFIXED + length
  end
  if left < WORK_HEADER_SIZE + 8 and not is(tvb, at + 4, tvb:len(), ZNID) then return RAW end
  local kind = kind_at(tvb, at, tvb:len())
  if not kind then return false end
  local size = HEADER_SIZE[kind]
  if left < size then return RAW end
  local length = word(tvb, at + size - 8)
  -- Where the next stream begins only a length that can be believed tells.
  return RAW, (length < size or length > MAX_STREAM) and left or length
end

local function summary(c)
  local text = c.kind == nil and "No stream" or c.kind == PLAIN and "Plain stream" or "Message"
  if c.service then text = text .. ", service " .. c.service .. ", step " .. c.step end
  if c.length then
    local unit = c.parms == 1 and " parameter, " or " parameters, "
    text = text .. ", " .. c.parms .. unit .. c.length .. " bytes"
  end
  return c.malformed and text .. " [malformed]" or text
end

local function show(c, at, prefix, to, tree)
  c.kind, c.service, c.length, c.parms, c.malformed = nil, nil, nil, 0, false
  local item = tree:add(zyn, c.tvb(at, to - at))
  if prefix == PREFIXED and to - at >= 4 then item:add(f.prefix, c.tvb(at, 4)) end
  local from = math.min(at + prefix, to)
  local stop = stream(c, from, to, item, 0)
  if stop < to then
    mark(c, item, "trailing", to - stop .. " bytes behind the end of the stream")
  end
  if c.malformed then item:add(f.malformed, c.tvb(at, 0), true):set_generated() end
  item:set_text("ZynStream: " .. summary(c))
  return summary(c)
end

local function dissect(tvb, pinfo, tree)
  local c = { tvb = tvb, items = MAX_ITEMS }
  local at, infos = 0, {}
  pinfo.cols.protocol = zyn.name
  while at < tvb:len() do
    local prefix, size = pdu(tvb, at, pinfo)
    local left = tvb:len() - at
    if prefix ~= false and (not size or size > left) and pinfo.can_desegment > 0 then
      pinfo.desegment_offset = at
      pinfo.desegment_len = size and size - left or DESEGMENT_ONE_MORE_SEGMENT
      break
    end
    local to = at + math.min(size or left, left)
    infos[#infos + 1] = show(c, at, prefix or 0, to, tree)
    at = to
  end
  if #infos > 0 then pinfo.cols.info = table.concat(infos, " | ") end
  return tvb:len()
end

zyn.dissector = dissect

zyn:register_heuristic("tcp", function(tvb, pinfo, tree)
  local framing = framing_of(tvb, 0)
  local from = framing or 0
  local is_sure = is(tvb, from + 4, tvb:len(), ZNID) and word(tvb, from) == 0
    or is(tvb, from, tvb:len(), WIH) and kind_at(tvb, from, tvb:len())
  if not framing or not is_sure then return false end
  -- What follows on this connection comes here at once, however small its segments are.
  pinfo.conversation = zyn
  -- As a dissector called by another one it might not ask for more segments.
  dissect(tvb, pinfo, tree)
  return true
end)

-- Ports of the user's own; "Decode as" works without any.
zyn.prefs.ports = Pref.range("TCP ports", "", "Ports on which streams are expected; elsewhere they "
  .. "are known by their first bytes", 65535)
local tcp_ports = DissectorTable.get("tcp.port")
local ports = ""
function zyn.prefs_changed()
  if ports == zyn.prefs.ports then return end
  if ports ~= "" then tcp_ports:remove(ports, zyn) end
  ports = zyn.prefs.ports
  if ports ~= "" then tcp_ports:add(ports, zyn) end
end
tcp_ports:add_for_decode_as(zyn)
