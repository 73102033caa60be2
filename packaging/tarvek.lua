-- Wireshark dissector for the Tarvek station's recordings (the station folder's Recorder/*.pcapng.zst).
--
-- A recording is pcapng with link type USER0 (147). Each packet is the bytes that passed one
-- engine's line in one direction at once, behind a 12-byte header:
--   version (1), engine 1..6, direction (0 FADEC to station, 1 station to FADEC), flags (bit 0:
--   the line went quiet, no bytes), the station's monotonic clock in microseconds (8, big-endian).
-- The packet time is the wall clock. A reply is 32 numbers of 5 characters, a frame 32 bytes then
-- CR LF; their positions are named as the station's protocol code names them.
--
--   tshark -X lua_script:tarvek.lua -r FILE.pcapng.zst -Y "tarvek.reply.fault_code > 0"
--   tshark -X lua_script:tarvek.lua -r FILE.pcapng.zst -T fields -e tarvek.engine -e tarvek.reply.phase
-- Wireshark loads it from the personal Lua plugins folder (~/.local/lib/wireshark/plugins/).

local tarvek = Proto("tarvek", "Tarvek FADEC link")

local REPLY_LENGTH, FIELD_WIDTH, FRAME_LENGTH = 160, 5, 34

-- The 32 positions of a reply, and of the frame that echoes them.
local positions = {
  [0] = { "reply_type", "Reply type" }, { "phase", "Phase" }, { "run_request", "Run request" },
  { "confirmation", "Confirmation of activation" }, { "power", "Power" }, { "no_increase", "No increase in MR" },
  { "qth_relay", "QTH relay" }, { "qth_ir_state", "QTH and IR state" }, { "alarm_relay", "Alarm relay" },
  { "fault_code", "Fault code" }, { "mat", "MAT (deg C)" }, { "sht", "SHT (deg C)" }, { "lpc", "LPC" },
  { "lfc", "LFC" }, { "sbv", "SBV" }, { "vcc", "VCC" }, { "vis", "VIS" }, { "ir", "IR" }, { "rh", "RH" },
  { "spare19", "Spare 19" }, { "spare20", "Spare 20" }, { "spare21", "Spare 21" }, { "spare22", "Spare 22" },
  { "spare23", "Spare 23" }, { "motor_speed_setpoint", "Motor speed set-point (x30 rpm)" },
  { "fixed_speed_m", "Fixed speed of M" }, { "stamp_version", "Stamp program version" },
  { "tacho_m", "Tachometer M" }, { "tacho_v1", "Tachometer V1" }, { "tacho_v2", "Tachometer V2" },
  { "sync", "Synchronisation (123)" }, { "cooling", "Cooling enable" },
}
-- The positions the station writes its commands over in a frame.
local commands = {
  [0] = { "command_code", "Command code (1 write, 2 read parameters)" }, [2] = { "run_command", "Run command (1 start, 2 stop)" },
  [4] = { "power_setpoint", "Power set-point" }, [6] = { "qth_command", "QTH command" },
  [8] = { "alarm_reset", "Alarm reset" }, [12] = { "regulation", "Regulation command" },
  [24] = { "motor_speed_setpoint", "Motor speed set-point (x30 rpm)" }, [31] = { "mode_code", "Mode code (cooling)" },
}

local f = tarvek.fields
f.version = ProtoField.uint8("tarvek.version", "Format version")
f.engine = ProtoField.uint8("tarvek.engine", "Engine (LE)")
f.direction = ProtoField.uint8("tarvek.direction", "Direction", base.DEC, { [0] = "FADEC to station", [1] = "station to FADEC" })
f.quiet = ProtoField.bool("tarvek.quiet", "Line quiet", 8, nil, 0x01)
f.monotonic = ProtoField.uint64("tarvek.monotonic_us", "Station monotonic clock (us)")
f.reply_part = ProtoField.bytes("tarvek.reply.part", "Part of a reply")
f.frame_end = ProtoField.bytes("tarvek.frame.end", "End of line (CR LF)")
local reply_fields, frame_fields = {}, {}
for k = 0, 31 do
  reply_fields[k] = ProtoField.int32("tarvek.reply." .. positions[k][1], positions[k][2])
  f["reply_" .. k] = reply_fields[k]
  local c = commands[k] or positions[k]
  frame_fields[k] = ProtoField.uint8("tarvek.frame." .. c[1], c[2])
  f["frame_" .. k] = frame_fields[k]
end

local garbled = ProtoExpert.new("tarvek.garbled", "Field does not read as a number", expert.group.MALFORMED, expert.severity.WARN)
tarvek.experts = { garbled }

function tarvek.dissector(tvb, pinfo, tree)
  if tvb:len() < 12 then return 0 end
  pinfo.cols.protocol = "TARVEK"
  local engine, direction = tvb(1, 1):uint(), tvb(2, 1):uint()
  local top = tree:add(tarvek, tvb(), "Tarvek LE" .. engine)
  top:add(f.version, tvb(0, 1))
  top:add(f.engine, tvb(1, 1))
  top:add(f.direction, tvb(2, 1))
  top:add(f.quiet, tvb(3, 1))
  top:add(f.monotonic, tvb(4, 8))
  local data = tvb(12)
  local length = tvb:len() - 12
  if bit.band(tvb(3, 1):uint(), 1) ~= 0 then
    pinfo.cols.info = "LE" .. engine .. " line quiet"
    return tvb:len()
  end
  if direction == 0 then
    if length < REPLY_LENGTH then
      top:add(f.reply_part, tvb(12, length))
      pinfo.cols.info = "LE" .. engine .. " part of a reply, " .. length .. " bytes"
      return tvb:len()
    end
    local reply = top:add(tarvek, tvb(12, REPLY_LENGTH), "Reply")
    local values = {}
    for k = 0, 31 do
      local range = tvb(12 + k * FIELD_WIDTH, FIELD_WIDTH)
      local value = tonumber(range:string())
      if value then
        values[k] = value
        reply:add(reply_fields[k], range, value)
      else
        reply:add_proto_expert_info(garbled, positions[k][2] .. ": '" .. range:string() .. "'")
      end
    end
    pinfo.cols.info = string.format("LE%d reply: phase %s, fault %s, sync %s%s", engine, tostring(values[1]),
      tostring(values[9]), tostring(values[30]), length > REPLY_LENGTH and (", " .. (length - REPLY_LENGTH) .. " bytes more") or "")
  else
    local frame = top:add(tarvek, data, "Frame")
    for k = 0, math.min(31, length - 1) do
      frame:add(frame_fields[k], tvb(12 + k, 1))
    end
    if length >= FRAME_LENGTH then frame:add(f.frame_end, tvb(12 + 32, 2)) end
    if length >= 32 then
      pinfo.cols.info = string.format("LE%d frame: command %d, run %d, power %d, motor %d", engine,
        tvb(12, 1):uint(), tvb(14, 1):uint(), tvb(16, 1):uint(), tvb(36, 1):uint())
    end
  end
  return tvb:len()
end

DissectorTable.get("wtap_encap"):add(wtap_encaps.USER0, tarvek)
