-- Wireshark dissector for the EngineCoreSystem data transfer protocol: the
-- framed remote-control protocol between an engine and its controller over
-- TCP, and the socket heartbeat beside it.
--
-- A frame is a 10-byte header and a payload (multi-byte fields
-- little-endian):
--   magic   4  0x4E455649, the bytes "IVEN"
--   type    1  always 0
--   length  4  payload bytes
--   kind    1  1 XML document (UTF-8 text ending in a counted 0x00), 0 raw
-- A heartbeat is a segment of 0xAF bytes and one more byte (0xAF 0x00).
--
-- Install: copy this file to ~/.local/lib/wireshark/plugins/ (or load it
-- with tshark -X lua_script:ecs-data-transfer.lua). Conversations are
-- recognised by their first frame; the port preference (default 4000) also
-- claims a port outright.

local proto = Proto("ecsdt", "EngineCoreSystem Data Transfer")

local kinds = { [0] = "raw", [1] = "xml" }

local f_magic = ProtoField.uint32("ecsdt.magic", "Magic", base.HEX)
local f_type = ProtoField.uint8("ecsdt.type", "Frame type", base.DEC)
local f_length = ProtoField.uint32("ecsdt.length", "Payload length", base.DEC)
local f_kind = ProtoField.uint8("ecsdt.kind", "Payload kind", base.DEC, kinds)
local f_xml = ProtoField.string("ecsdt.xml", "XML document")
local f_raw = ProtoField.bytes("ecsdt.raw", "Raw payload")
local f_heartbeat = ProtoField.bytes("ecsdt.heartbeat", "Heartbeat")
local f_unknown = ProtoField.bytes("ecsdt.unknown", "Bytes outside a frame")
proto.fields = { f_magic, f_type, f_length, f_kind, f_xml, f_raw, f_heartbeat, f_unknown }

local MAGIC = 0x4E455649
local HEADER = 10

proto.prefs.port = Pref.uint("TCP port", 4000, "Port always decoded as this protocol")

-- The heartbeat at `offset`: the bytes it takes, or 0.
local function heartbeat_length(tvb, offset)
    local n = 0
    while offset + n < tvb:len() and tvb(offset + n, 1):uint() == 0xAF do
        n = n + 1
    end
    if n == 0 or offset + n >= tvb:len() then
        return 0
    end
    return n + 1
end

local function dissect(tvb, pinfo, tree)
    local offset = 0
    local total = tvb:len()
    local summary = {}
    while offset < total do
        local left = total - offset
        if left >= 4 and tvb(offset, 4):le_uint() == MAGIC then
            if left < HEADER then
                pinfo.desegment_offset = offset
                pinfo.desegment_len = DESEGMENT_ONE_MORE_SEGMENT
                return
            end
            local length = tvb(offset + 5, 4):le_uint()
            if left < HEADER + length then
                pinfo.desegment_offset = offset
                pinfo.desegment_len = HEADER + length - left
                return
            end
            local kind = tvb(offset + 9, 1):uint()
            local subtree = tree:add(proto, tvb(offset, HEADER + length), "Data transfer frame")
            subtree:add_le(f_magic, tvb(offset, 4))
            subtree:add(f_type, tvb(offset + 4, 1))
            subtree:add_le(f_length, tvb(offset + 5, 4))
            subtree:add(f_kind, tvb(offset + 9, 1))
            if length > 0 then
                local payload = tvb(offset + HEADER, length)
                if kind == 1 then
                    -- The text without its closing zero byte.
                    local text = payload:string(ENC_UTF_8)
                    subtree:add(f_xml, payload, text)
                    local command = text:match("<root>%s*<([%w_]+)")
                    table.insert(summary, command or "xml")
                else
                    subtree:add(f_raw, payload)
                    table.insert(summary, "raw " .. length)
                end
            else
                table.insert(summary, "empty")
            end
            offset = offset + HEADER + length
        else
            local hb = heartbeat_length(tvb, offset)
            if hb > 0 and offset + hb == total then
                tree:add(proto, tvb(offset, hb), "Heartbeat"):add(f_heartbeat, tvb(offset, hb))
                table.insert(summary, "Heartbeat")
                offset = total
            else
                if left < 4 and tvb(offset, left):bytes():tohex() == string.sub("4956454E", 1, 2 * left) then
                    pinfo.desegment_offset = offset
                    pinfo.desegment_len = DESEGMENT_ONE_MORE_SEGMENT
                    return
                end
                tree:add(proto, tvb(offset, left), "Bytes outside a frame"):add(f_unknown, tvb(offset, left))
                table.insert(summary, "unknown")
                offset = total
            end
        end
    end
    pinfo.cols.protocol = "ECSDT"
    pinfo.cols.info = table.concat(summary, ", ")
end

function proto.dissector(tvb, pinfo, tree)
    dissect(tvb, pinfo, tree)
    return tvb:len()
end

-- A TCP conversation whose first bytes are a frame is ours from then on.
local function heuristic(tvb, pinfo, tree)
    if tvb:len() < 4 or tvb(0, 4):le_uint() ~= MAGIC then
        return false
    end
    pinfo.conversation = proto
    dissect(tvb, pinfo, tree)
    return true
end

proto:register_heuristic("tcp", heuristic)

local registered_port = 0
function proto.prefs_changed()
    local tcp_port = DissectorTable.get("tcp.port")
    if registered_port ~= 0 then
        tcp_port:remove(registered_port, proto)
    end
    registered_port = proto.prefs.port
    if registered_port ~= 0 then
        tcp_port:add(registered_port, proto)
    end
end
DissectorTable.get("tcp.port"):add(proto.prefs.port, proto)
registered_port = proto.prefs.port
