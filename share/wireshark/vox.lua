-- VOX frames for Wireshark, in captures of a bus and in the datagrams of ports that its preference names.
-- It goes to the folder of personal Lua plugins, or is named by -X lua_script:vox.lua.

-- Generated: what each command's frame holds, and what answers it besides ACK and NACK.
local commands = {
    [0x01] = {"CTRL_MOVE", {{"dir", "number", 1, "", "MoveFunction"}, {"duration", "number", 1, "x 10 ms", ""}, {"speed", "number", 1, "", "SpeedType"}}},
    [0x02] = {"CTRL_STOP", {{"tilt", "number", 1, "", ""}}},
    [0x03] = {"CTRL_MOVETO", {{"fun", "number", 1, "", "MoveToFunction"}, {"position", "number", 2, "", ""}, {"tilt", "number", 1, "", ""}}},
    [0x04] = {"CTRL_MOVEOF", {{"fun", "number", 1, "", "MoveOfFunction"}, {"value", "number", 2, "", ""}, {"tilt", "number", 1, "", ""}}},
    [0x05] = {"CTRL_WINK", {}},
    [0x06] = {"CTRL_NETWORK_LOCK", {{"fun", "number", 1, "", "NetworkLockFunction"}, {"value", "number", 2, "", ""}, {"priority", "number", 1, "", ""}}},
    [0x0c] = {"GET_MOTOR_POSITION", {}, {0x0d}},
    [0x0d] = {"POST_MOTOR_POSITION", {{"position", "number", 2, "pulses", ""}, {"percent", "number", 1, "%", ""}, {"tilt", "number", 1, "", ""}, {"ip", "number", 1, "", ""}}},
    [0x0e] = {"GET_MOTOR_STATUS", {}, {0x0f}},
    [0x0f] = {"POST_MOTOR_STATUS", {{"state", "number", 1, "", "State"}, {"direction", "number", 1, "", "Direction"}, {"source", "number", 1, "", "Source"}, {"cause", "number", 1, "", "Cause"}}},
    [0x10] = {"SET_APP_MODE", {{"mode", "number", 1, "", "AppMode"}}},
    [0x11] = {"SET_MOTOR_LIMITS", {{"fun", "number", 1, "", "LimitFunction"}, {"lim", "number", 1, "", "Limit"}, {"value", "number", 2, "pulses", ""}}},
    [0x12] = {"SET_MOTOR_DIRECTION", {{"dir", "number", 1, "", "TurnDirection"}}},
    [0x13] = {"SET_MOTOR_ROLLING_SPEED", {{"up", "number", 1, "rpm", ""}, {"down", "number", 1, "rpm", ""}, {"slow", "number", 1, "rpm", ""}}},
    [0x14] = {"SET_MOTOR_TILTING_SPEED", {}},
    [0x15] = {"SET_MOTOR_IP", {{"fun", "number", 1, "", "IPFunction"}, {"index", "number", 1, "", ""}, {"value", "number", 2, "", ""}}},
    [0x16] = {"SET_NETWORK_LOCK", {{"locked", "flag", 1, "", ""}, {"priority", "number", 1, "", ""}}},
    [0x17] = {"SET_DCT_LOCK", {{"locked", "flag", 1, "", ""}, {"index", "number", 1, "", ""}, {"priority", "number", 1, "", ""}}},
    [0x18] = {"SET_TILT_LIMITS", {}},
    [0x19] = {"SET_MOTOR_SOFT_START_STOP", {{"fun", "number", 1, "", "SoftStartStopFunction"}, {"ramp", "number", 1, "", "SoftStartStopRamps"}, {"value", "number", 1, "", ""}}},
    [0x1a] = {"SET_TORQUE_LIMITATION", {{"fun", "number", 1, "", "TorqueFunction"}, {"value", "number", 1, "", ""}}},
    [0x1f] = {"SET_FACTORY_DEFAULT", {{"fun", "number", 1, "", "FactoryDefFunction"}}},
    [0x20] = {"GET_APP_MODE", {}, {0x30}},
    [0x21] = {"GET_MOTOR_LIMITS", {}, {0x31}},
    [0x22] = {"GET_MOTOR_DIRECTION", {}, {0x32}},
    [0x23] = {"GET_MOTOR_ROLLING_SPEED", {}, {0x33}},
    [0x24] = {"GET_MOTOR_TILTING_SPEED", {}, {0x34}},
    [0x25] = {"GET_MOTOR_IP", {{"index", "number", 1, "", ""}}, {0x35}},
    [0x26] = {"GET_NETWORK_LOCK", {}, {0x36}},
    [0x27] = {"GET_DCT_LOCK", {{"index", "number", 1, "", ""}}, {0x37}},
    [0x28] = {"GET_TILT_LIMITS", {}, {0x38}},
    [0x29] = {"GET_MOTOR_SOFT_START_STOP", {}, {0x39}},
    [0x2a] = {"GET_TORQUE_LIMITATION", {}, {0x3a}},
    [0x2f] = {"GET_FACTORY_DEFAULT", {{"fun", "number", 1, "", "FactoryDefFunction"}}, {0x3f}},
    [0x30] = {"POST_APP_MODE", {{"mode", "number", 1, "", "AppMode"}}},
    [0x31] = {"POST_MOTOR_LIMITS", {{"upLimit", "number", 2, "pulses", ""}, {"downLimit", "number", 2, "pulses", ""}}},
    [0x32] = {"POST_MOTOR_DIRECTION", {{"dir", "number", 1, "", "TurnDirection"}}},
    [0x33] = {"POST_MOTOR_ROLLING_SPEED", {{"up", "number", 1, "rpm", ""}, {"down", "number", 1, "rpm", ""}, {"slow", "number", 1, "rpm", ""}}},
    [0x34] = {"POST_MOTOR_TILTING_SPEED", {{"speed", "number", 1, "", ""}}},
    [0x35] = {"POST_MOTOR_IP", {{"index", "number", 1, "", ""}, {"position", "number", 2, "pulses", ""}, {"percent", "number", 1, "%", ""}}},
    [0x36] = {"POST_NETWORK_LOCK", {{"locked", "flag", 1, "", ""}, {"source", "address", 3, "", ""}, {"priority", "number", 1, "", ""}}},
    [0x37] = {"POST_DCT_LOCK", {{"locked", "flag", 1, "", ""}, {"source", "address", 3, "", ""}, {"priority", "number", 1, "", ""}}},
    [0x38] = {"POST_TILT_LIMITS", {{"minTilt", "number", 2, "", ""}, {"maxTilt", "number", 2, "", ""}, {"defaultTilt", "number", 2, "", ""}}},
    [0x39] = {"POST_MOTOR_SOFT_START_STOP", {{"start", "flag", 1, "", ""}, {"startValue", "number", 1, "", ""}, {"stop", "flag", 1, "", ""}, {"stopValue", "number", 1, "", ""}}},
    [0x3a] = {"POST_TORQUE_LIMITATION", {{"status", "number", 1, "", ""}, {"level", "number", 1, "", ""}}},
    [0x3f] = {"POST_FACTORY_DEFAULT", {{"fun", "number", 1, "", "FactoryDefFunction"}, {"status", "flag", 1, "", ""}}},
    [0x40] = {"GET_NODE_ADDR", {}, {0x60}},
    [0x41] = {"GET_GROUP_ADDR", {{"index", "number", 1, "", ""}}, {0x61}},
    [0x42] = {"GET_MOTOR_SETTINGS", {}, {0x62}},
    [0x43] = {"GET_MOTOR_IP", {{"index", "number", 1, "", ""}}, {0x63}},
    [0x44] = {"GET_MOTOR_POSITION", {}, {0x64}},
    [0x45] = {"GET_NODE_LABEL", {}, {0x65}},
    [0x46] = {"GET_NETWORK_CONFIG", {}, {0x66}},
    [0x47] = {"GET_DIAG", {}, {0x67}},
    [0x48] = {"GET_MOTOR_STATUS", {}, {0x68}},
    [0x49] = {"GET_IR_CONFIG", {}, {0x69}},
    [0x4a] = {"GET_MOTOR_CONFIG", {}, {0x6a}},
    [0x4b] = {"GET_LOCK_STATUS", {}, {0x6b}},
    [0x4c] = {"GET_NODE_SERIAL_NUMBER", {}, {0x6c}},
    [0x4d] = {"GET_NETWORK_ERROR_STAT", {}, {0x6d}},
    [0x4e] = {"GET_NETWORK_STAT", {}, {0x6e}},
    [0x50] = {"SET_NODE_DISCOVERY", {{"silent", "flag", 1, "", ""}}},
    [0x51] = {"SET_GROUP_ADDR", {{"index", "number", 1, "", ""}, {"group", "address", 3, "", ""}}},
    [0x52] = {"SET_MOTOR_SETTINGS", {}},
    [0x53] = {"SET_IP", {{"index", "number", 1, "", ""}, {"position", "number", 2, "pulses", ""}}},
    [0x54] = {"SET_MOTOR_POSITION", {{"fun", "number", 1, "", "PositionFunction"}, {"value", "number", 2, "", ""}}},
    [0x55] = {"SET_NODE_LABEL", {{"label", "text", 16, "", ""}}},
    [0x56] = {"SET_NETWORK_CONFIG", {{"bcastMode", "number", 1, "", ""}, {"maxRand", "number", 1, "", ""}, {"supervision", "number", 1, "", ""}, {"supervisionPeriod", "number", 2, "", ""}, {"deafMode", "number", 1, "", ""}, {"upload", "number", 1, "", ""}}},
    [0x59] = {"SET_IR_CONFIG", {}},
    [0x5a] = {"SET_MOTOR_CONFIG", {}},
    [0x5b] = {"SET_LOCK_STATUS", {{"fun", "number", 1, "", "LockFunction"}, {"index", "number", 1, "", ""}, {"priority", "number", 1, "", ""}}},
    [0x5c] = {"SET_MOTOR_LIMITS", {}},
    [0x5e] = {"SET_NETWORK_STAT", {{"mode", "number", 1, "", ""}, {"retryCount", "number", 1, "", ""}}},
    [0x60] = {"POST_NODE_ADDR", {}},
    [0x61] = {"POST_GROUP_ADDR", {{"index", "number", 1, "", ""}, {"group", "address", 3, "", ""}}},
    [0x62] = {"POST_MOTOR_SETTINGS", {{"reversed", "flag", 1, "", ""}, {"downLimit", "number", 2, "pulses", ""}}},
    [0x63] = {"POST_MOTOR_IP", {{"index", "number", 1, "", ""}, {"position", "number", 2, "pulses", ""}}},
    [0x64] = {"POST_MOTOR_POSITION", {{"data", "bytes", 3, "", ""}}},
    [0x65] = {"POST_NODE_LABEL", {{"label", "text", 16, "", ""}}},
    [0x66] = {"POST_NETWORK_CONFIG", {{"bcastMode", "number", 1, "", "BcastMode"}, {"maxRand", "number", 1, "", ""}, {"supervision", "flag", 1, "", ""}, {"supervisionPeriod", "number", 2, "", ""}, {"deafMode", "flag", 1, "", ""}}},
    [0x67] = {"POST_DIAG", {{"data", "bytes", 3, "", ""}}},
    [0x68] = {"POST_MOTOR_STATUS", {{"data", "bytes", 2, "", ""}}},
    [0x69] = {"POST_IR_CONFIG", {{"data", "bytes", 1, "", ""}}},
    [0x6a] = {"POST_MOTOR_CONFIG", {{"data", "bytes", 3, "", ""}}},
    [0x6b] = {"POST_LOCK_STATUS", {{"status", "number", 1, "", ""}}},
    [0x6c] = {"POST_NODE_SERIAL_NUMBER", {{"serial", "text", 12, "", ""}}},
    [0x6d] = {"POST_NETWORK_ERROR_STAT", {{"txFailures", "number", 2, "", ""}, {"collisions", "number", 2, "", ""}, {"rxDataError", "number", 2, "", ""}, {"unknownMessage", "number", 2, "", ""}, {"msgLengthError", "number", 2, "", ""}, {"rxFifoFull", "number", 2, "", ""}, {"txFifoFull", "number", 2, "", ""}, {"crcError", "number", 2, "", ""}, {"bundleSizeError", "number", 2, "", ""}}},
    [0x6e] = {"POST_NETWORK_STAT", {{"maxRetryCount", "number", 1, "", ""}, {"frameSent", "number", 3, "", ""}, {"frameSeen", "number", 3, "", ""}, {"frameReceived", "number", 3, "", ""}, {"busyCount", "number", 2, "", ""}, {"maxSlot", "number", 1, "", ""}, {"supervisionFailure", "number", 1, "", ""}}},
    [0x6f] = {"NACK", {{"status", "number", 1, "", "NackStatus"}}},
    [0x70] = {"GET_NODE_STACK_VERSION", {}, {0x71}},
    [0x71] = {"POST_NODE_STACK_VERSION", {{"reference", "number", 3, "", ""}, {"letter", "letter", 1, "", ""}, {"number", "number", 1, "", ""}, {"profile", "number", 1, "", ""}}},
    [0x74] = {"GET_NODE_APP_VERSION", {}, {0x75}},
    [0x75] = {"POST_NODE_APP_VERSION", {{"reference", "number", 3, "", ""}, {"letter", "letter", 1, "", ""}, {"number", "number", 1, "", ""}, {"profile", "number", 1, "", ""}}},
    [0x79] = {"SEND_DATA_TEST1", {}, {0x7a}},
    [0x7a] = {"POST_DATA_TEST1", {}},
    [0x7b] = {"SEND_DATA_TEST2", {{"data", "bytes", 10, "", ""}}, {0x7c}},
    [0x7c] = {"POST_DATA_TEST2", {{"data", "bytes", 10, "", ""}}},
    [0x7d] = {"SEND_DATA_TEST3", {{"data", "bytes", 20, "", ""}}, {0x7e}},
    [0x7e] = {"POST_DATA_TEST3", {{"data", "bytes", 20, "", ""}}},
    [0x7f] = {"ACK", {}},
    [0xb0] = {"DIAG_GET_TOTAL_MOVE_COUNT", {}, {0xc0}},
    [0xb1] = {"DIAG_GET_TOTAL_REV_COUNT", {}, {0xc1}},
    [0xb2] = {"DIAG_GET_THERMAL_COUNT", {}, {0xc2}},
    [0xb3] = {"DIAG_GET_OBSTACLE_COUNT", {}, {0xc3}},
    [0xb4] = {"DIAG_GET_POWER_COUNT", {}, {0xc4}},
    [0xb5] = {"DIAG_GET_RESET_COUNT", {}, {0xc5}},
    [0xb6] = {"DIAG_GET_ENCODER_ERRORS", {}, {0xc6}},
    [0xc0] = {"DIAG_POST_TOTAL_MOVE_COUNT", {{"totalMoveCount", "number", 3, "", ""}}},
    [0xc1] = {"DIAG_POST_TOTAL_REV_COUNT", {{"totalRevCount", "number", 3, "", ""}}},
    [0xc2] = {"DIAG_POST_THERMAL_COUNT", {{"thermalCount", "number", 2, "", ""}, {"postThermalMove", "number", 2, "", ""}}},
    [0xc3] = {"DIAG_POST_OBSTACLE_COUNT", {{"obstacleCount", "number", 2, "", ""}, {"postObstacleMove", "number", 2, "", ""}}},
    [0xc4] = {"DIAG_POST_POWER_COUNT", {{"powerCount", "number", 2, "", ""}}},
    [0xc5] = {"DIAG_POST_RESET_COUNT", {{"resetCount", "number", 2, "", ""}}},
    [0xc6] = {"DIAG_POST_ENCODER_ERRORS", {{"encoderErrCount", "number", 2, "", ""}}},
}

local enumerations = {
    ["AppMode"] = {[0] = "ROLLER", [1] = "VENETIAN", [2] = "CURTAIN"},
    ["BcastMode"] = {[0] = "BCAST_OFF", [1] = "BCAST_ON"},
    ["Cause"] = {[0] = "CAUSE_NONE", [1] = "CAUSE_NETWORK", [2] = "CAUSE_WINK"},
    ["Direction"] = {[0] = "DIRECTION_DOWN", [1] = "DIRECTION_UP", [255] = "DIRECTION_NONE"},
    ["FactoryDefFunction"] = {[0] = "FACTORY_ALL", [16] = "FACTORY_APP_MODE", [17] = "FACTORY_MOTOR_LIMITS", [18] = "FACTORY_MOTOR_DIRECTION", [19] = "FACTORY_MOTOR_ROLLING_SPEED", [20] = "FACTORY_MOTOR_TILTING_SPEED", [21] = "FACTORY_MOTOR_IP", [22] = "FACTORY_NETWORK_LOCK", [23] = "FACTORY_DCT_LOCK", [24] = "FACTORY_TILT_LIMITS", [25] = "FACTORY_MOTOR_SOFT_START_STOP", [26] = "FACTORY_TORQUE_LIMITATION"},
    ["IPFunction"] = {[0] = "IP_DELETE", [1] = "IP_CURRENT", [2] = "IP_PULSES", [3] = "IP_PERCENT"},
    ["Limit"] = {[0] = "LIMIT_DOWN", [1] = "LIMIT_UP"},
    ["LimitFunction"] = {[0] = "LIMIT_DELETE", [1] = "LIMIT_CURRENT", [2] = "LIMIT_PULSES", [4] = "LIMIT_SHIFT_DOWN", [5] = "LIMIT_SHIFT_UP"},
    ["LockFunction"] = {[0] = "LOCK_HERE", [1] = "LOCK_AT_UP_LIMIT", [2] = "LOCK_AT_DOWN_LIMIT", [4] = "LOCK_AT_IP", [5] = "LOCK_RELEASE"},
    ["MoveFunction"] = {[0] = "MOVE_DOWN", [1] = "MOVE_UP", [2] = "MOVE_TO_NEAREST_LIMIT"},
    ["MoveOfFunction"] = {[0] = "MOVEOF_NEXT_IP_DOWN", [1] = "MOVEOF_NEXT_IP_UP", [2] = "MOVEOF_PULSES_DOWN", [3] = "MOVEOF_PULSES_UP", [4] = "MOVEOF_TIME_DOWN", [5] = "MOVEOF_TIME_UP", [6] = "MOVEOF_TILT_DOWN", [7] = "MOVEOF_TILT_UP"},
    ["MoveToFunction"] = {[0] = "MOVETO_DOWN_LIMIT", [1] = "MOVETO_UP_LIMIT", [2] = "MOVETO_IP", [3] = "MOVETO_PULSES", [4] = "MOVETO_PERCENT"},
    ["NackStatus"] = {[0] = "ACK", [1] = "RNG", [16] = "BADMSG", [17] = "MSGSIZE", [32] = "NODE_IS_LOCKED", [33] = "WRONG_POSITION", [34] = "END_LIMITS_NOT_SET", [35] = "IP_NOT_SET", [36] = "CURRENT_POSITION_OUT_OF_RANGE", [37] = "FEATURE_NOT_SUPPORTED", [38] = "IN_MOTION", [39] = "IN_SECURITY", [40] = "LAST_IP_REACHED", [41] = "THRESHOLD_REACHED", [42] = "LOW_PRIORITY", [43] = "WINK_IN_PROGRESS", [255] = "BUSY"},
    ["NetworkLockFunction"] = {[0] = "LOCK_HERE", [1] = "LOCK_AT_UP_LIMIT", [2] = "LOCK_AT_DOWN_LIMIT", [3] = "LOCK_AFTER_MOVE", [4] = "LOCK_AT_IP", [5] = "LOCK_RELEASE", [6] = "LOCK_AT_PULSES", [7] = "LOCK_AT_PERCENT"},
    ["PositionFunction"] = {[1] = "POSITION_UP_LIMIT", [2] = "POSITION_DOWN_LIMIT", [3] = "POSITION_STOP", [4] = "POSITION_IP", [8] = "POSITION_PULSES", [16] = "POSITION_FRACTION"},
    ["SoftStartStopFunction"] = {[0] = "SOFT_BOTH", [1] = "SOFT_START", [2] = "SOFT_STOP"},
    ["SoftStartStopRamps"] = {[0] = "RAMP_OFF", [1] = "RAMP_ON", [2] = "RAMP_VALUE"},
    ["Source"] = {[0] = "SOURCE_INTERNAL", [1] = "SOURCE_NETWORK"},
    ["SpeedType"] = {[0] = "SPEED_UP", [1] = "SPEED_DOWN", [2] = "SPEED_SLOW"},
    ["State"] = {[0] = "STATE_STOPPED", [1] = "STATE_RUNNING", [2] = "STATE_BLOCKED", [3] = "STATE_LOCKED"},
    ["TorqueFunction"] = {[0] = "TORQUE_ON", [1] = "TORQUE_OFF", [2] = "TORQUE_LEVEL", [3] = "TORQUE_PARAMETER"},
    ["TurnDirection"] = {[0] = "TURN_NORMAL", [1] = "TURN_REVERSED"},
}
-- End of what is generated.

local nodeTypes = {
    [0] = "NODETYPE_ANY", [1] = "NODETYPE_HRMv2", [2] = "NODETYPE_TB20", [3] = "NODETYPE_GATEWAY",
    [4] = "NODETYPE_4HRM_IFACE", [5] = "NODETYPE_HZR_TRANSMITTER", [6] = "NODETYPE_MARLO",
    [7] = "NODETYPE_QM75", [8] = "NODETYPE_TB60LV", [9] = "NODETYPE_QM60", [10] = "NODETYPE_TB48LV",
    [13] = "NODETYPE_HZR_RECEIVER", [14] = "NODETYPE_PLIANT", [15] = "NODETYPE_MASTER",
}

local NACK, ACK = 0x6f, 0x7f
local HEADER_LENGTH, CHECK_LENGTH, MIN_LENGTH = 9, 2, 11
local CRC_FLAG = 0x20
local GROUP, BROADCAST = 0x000000, 0xffffff
-- The address that every host has.
local HOST = 0x010000
-- After this time an answer does not come any more.
local LOST_SECONDS = 2
local REFLECTED_POLYNOMIAL = 0x8408

local vox = Proto("vox", "VOX")

local header = {
    command = ProtoField.uint8("vox.command", "Command", base.HEX),
    name = ProtoField.string("vox.command_name", "Command name"),
    ack = ProtoField.bool("vox.ack", "Acknowledgement wanted", 8, nil, 0x80),
    crc = ProtoField.bool("vox.crc", "CRC", 8, nil, 0x20),
    length = ProtoField.uint8("vox.length", "Length", base.DEC, nil, 0x1f),
    sourceType = ProtoField.uint8("vox.source_type", "Source type", base.DEC, nodeTypes, 0xf0),
    destinationType = ProtoField.uint8("vox.destination_type", "Destination type", base.DEC, nodeTypes, 0x0f),
    source = ProtoField.string("vox.source", "Source"),
    destination = ProtoField.string("vox.destination", "Destination"),
    group = ProtoField.string("vox.group", "Group"),
    broadcast = ProtoField.bool("vox.broadcast", "Broadcast"),
    data = ProtoField.bytes("vox.data", "Data"),
    check = ProtoField.uint16("vox.check", "Check value", base.HEX),
    verdict = ProtoField.string("vox.check_verdict", "Verdict"),
    garbage = ProtoField.bytes("vox.garbage", "Garbage"),
    answerIn = ProtoField.framenum("vox.response_in", "Answer in", base.NONE, frametype.RESPONSE),
    answerTo = ProtoField.framenum("vox.response_to", "Answer to", base.NONE, frametype.REQUEST),
    answerTime = ProtoField.relative_time("vox.response_time", "Answer time"),
}

local failed = ProtoExpert.new("vox.check_failed", "The check value is wrong", expert.group.CHECKSUM,
                               expert.severity.ERROR)
local notCrc = ProtoExpert.new("vox.check_not_crc", "The check value is a checksum instead of a CRC",
                               expert.group.CHECKSUM, expert.severity.WARN)
local noFrame = ProtoExpert.new("vox.no_frame", "These bytes are no frame", expert.group.MALFORMED,
                                expert.severity.WARN)
local refused = ProtoExpert.new("vox.refused", "The node refuses", expert.group.RESPONSE_CODE,
                                expert.severity.NOTE)
vox.experts = {failed, notCrc, noFrame, refused}

-- A name may stand for different things in different commands; text fits all of them.
local function fieldTypes()
    local types = {}
    for _, command in pairs(commands) do
        for _, field in ipairs(command[2]) do
            local name, kind, width, _, enumeration = table.unpack(field)
            if enumeration ~= "" or kind == "address" or kind == "letter" then
                kind = "text"
            end
            local known = types[name] or {kind = kind, width = width}
            types[name] = {kind = known.kind == kind and kind or "text", width = math.max(known.width, width)}
        end
    end
    return types
end

local constructors = {flag = ProtoField.bool, text = ProtoField.string, bytes = ProtoField.bytes}
local numbers = {ProtoField.uint8, ProtoField.uint16, ProtoField.uint24, ProtoField.uint32}

local types = fieldTypes()
local dataFields = {}
local allFields = {}
for _, field in pairs(header) do
    table.insert(allFields, field)
end
for name, shape in pairs(types) do
    dataFields[name] = (constructors[shape.kind] or numbers[shape.width])("vox.field." .. name, name)
    table.insert(allFields, dataFields[name])
end
vox.fields = allFields

local function address(range)
    return string.format("%06X", range:le_uint())
end

local function fromLatin1(bytes)
    local text = ""
    for i = 0, bytes:len() - 1 do
        local byte = bytes:get_index(i)
        if byte == 0 then
            break
        end
        text = text .. (byte < 128 and string.char(byte)
                        or string.char(192 + math.floor(byte / 64), 128 + byte % 64))
    end
    return text
end

-- Columns go to terminals as they are: no control characters, in UTF-8.
local function printable(text)
    return (text:gsub("[\1-\31\127]", "."):gsub("\194[\128-\159]", "."))
end

local function xor(a, b)
    local result, place = 0, 1
    while a > 0 or b > 0 do
        if a % 2 ~= b % 2 then
            result = result + place
        end
        a, b, place = math.floor(a / 2), math.floor(b / 2), place * 2
    end
    return result
end

local crcTable = {}
for byte = 0, 255 do
    local value = byte
    for _ = 1, 8 do
        value = value % 2 == 1 and xor(math.floor(value / 2), REFLECTED_POLYNOMIAL) or math.floor(value / 2)
    end
    crcTable[byte] = value
end

-- Both are over the bytes as they are on the line.
local function checkVerdict(line, isCrc)
    local covered = line:len() - CHECK_LENGTH
    local received = line:get_index(covered) * 256 + line:get_index(covered + 1)
    local sum, crc = 0, 0
    for i = 0, covered - 1 do
        local byte = line:get_index(i)
        sum = sum + byte
        crc = isCrc and xor(math.floor(crc / 256), crcTable[xor(crc % 256, byte)])
    end
    if received == (crc or sum) then
        return "ok"
    end
    return received == sum and "checksum instead of CRC" or "failed"
end

-- What a person reads, and a boolean or number where that is what the field is.
local function decode(field, range)
    local _, kind, _, _, enumeration = table.unpack(field)
    if kind == "text" or kind == "letter" then
        return fromLatin1(range:bytes())
    elseif kind == "bytes" then
        return (tostring(range:bytes()):gsub("%x%x", "%0 "):sub(1, -2))
    elseif kind == "address" then
        return address(range)
    end
    local value = range:le_uint()
    if kind == "flag" then
        return value ~= 0
    end
    return enumerations[enumeration] and enumerations[enumeration][value] or value
end

-- Some nodes send less than there is room for, older ones other things.
local function addData(tree, data, fields)
    local text, offset = "", 0
    for _, field in ipairs(fields) do
        local name, _, width, unit = table.unpack(field)
        if offset + width > data:len() then
            break
        end
        local range = data(offset, width)
        local value = decode(field, range)
        local item
        if types[name].kind == "bytes" then
            item = tree:add(dataFields[name], range)
        else
            item = tree:add(dataFields[name], range, types[name].kind == "text" and tostring(value) or value)
        end
        if unit ~= "" then
            item:append_text(" " .. unit)
        end
        text = text .. " " .. name .. "=" .. printable(tostring(value))
        offset = offset + width
    end
    if offset < data:len() then
        tree:add(header.data, data(offset))
    end
    return text
end

-- Who speaks to whom; the addresses are nil where a frame does not say so.
local function endsOf(frame)
    local from, to = frame(3, 3):le_uint(), frame(6, 3):le_uint()
    if to == GROUP then
        -- Who sends it does not say so.
        return {group = from}
    end
    return {from = from, to = to ~= BROADCAST and to or nil}
end

local function addAddresses(tree, frame, ends, cols)
    local from, to = frame(3, 3), frame(6, 3)
    tree:add(header.sourceType, frame(2, 1))
    tree:add(header.destinationType, frame(2, 1))
    if ends.group then
        tree:add(header.group, from, address(from))
        cols.src, cols.dst = "", "group " .. address(from)
        return " > group " .. address(from)
    end
    tree:add(header.source, from, address(from))
    if not ends.to then
        tree:add(header.broadcast, to, true)
        cols.src, cols.dst = address(from), "all"
        return " " .. address(from) .. " > all"
    end
    tree:add(header.destination, to, address(to))
    cols.src, cols.dst = address(from), address(to)
    return " " .. address(from) .. " > " .. address(to)
end

-- Requests and their answers, found when the packets are first read, in the order of time.
local requests, exchanges = {}, {}

function vox.init()
    requests, exchanges = {}, {}
end

local function isAnswer(request, id, ends)
    -- The answers to a request for a group go to that group's address.
    if ends.to ~= (request.ends.group or HOST) or (request.ends.to and request.ends.to ~= ends.from)
            or request.answeredBy[ends.from] then
        return false
    end
    local fits = id == ACK or id == NACK or not commands[request.id]
    for _, answer in ipairs(commands[request.id] and commands[request.id][3] or {}) do
        fits = fits or id == answer
    end
    return fits
end

local function findExchange(key, number, time, id, ends)
    if ends.group or ends.from == HOST then
        exchanges[key] = {request = true, answers = {}}
        table.insert(requests, {key = key, number = number, time = time, id = id, ends = ends, answeredBy = {}})
        return
    end
    while requests[1] and time - requests[1].time > LOST_SECONDS do
        table.remove(requests, 1)
    end
    -- Hosts ask again when an answer is lost: it is that of the newest request that it fits.
    for i = #requests, 1, -1 do
        local request = requests[i]
        if isAnswer(request, id, ends) then
            request.answeredBy[ends.from] = true
            table.insert(exchanges[request.key].answers, number)
            exchanges[key] = {number = request.number, seconds = time - request.time}
            return
        end
    end
end

local function addExchange(tree, key)
    local exchange = exchanges[key]
    if not exchange then
        return
    end
    for _, number in ipairs(exchange.answers or {}) do
        tree:add(header.answerIn, number):set_generated()
    end
    if exchange.number then
        local whole = math.floor(exchange.seconds)
        local rest = math.floor((exchange.seconds - whole) * 1e9 + 0.5)
        tree:add(header.answerTo, exchange.number):set_generated()
        tree:add(header.answerTime, NSTime.new(whole, rest)):set_generated()
    end
end

local function addCheck(tree, range, verdict)
    local item = tree:add(header.check, range)
    tree:add(header.verdict, range, verdict)
    if verdict == "failed" then
        item:add_proto_expert_info(failed)
        return " [check failed]"
    elseif verdict ~= "ok" then
        item:add_proto_expert_info(notCrc)
    end
    return ""
end

local function addFrame(root, range, line, verdict, pinfo)
    local size = range:len()
    local plain = ByteArray.new()
    plain:set_size(size)
    for i = 0, size - 1 do
        local byte = line:get_index(i)
        plain:set_index(i, i < size - CHECK_LENGTH and 255 - byte or byte)
    end
    local frame = plain:tvb("VOX frame")

    local id = frame(0, 1):uint()
    local name, fields = table.unpack(commands[id] or {string.format("UNKNOWN(%02x)", id), {}})
    local tree = root:add(vox, range)
    local command = tree:add(header.command, frame(0, 1))
    tree:add(header.name, frame(0, 1), name)
    tree:add(header.ack, frame(1, 1))
    tree:add(header.crc, frame(1, 1))
    tree:add(header.length, frame(1, 1))
    local ends = endsOf(frame)
    local text = name .. addAddresses(tree, frame, ends, pinfo.cols)
    local dataSize = size - HEADER_LENGTH - CHECK_LENGTH
    if dataSize > 0 then
        text = text .. addData(tree, frame(HEADER_LENGTH, dataSize), fields)
    end
    text = text .. addCheck(tree, frame(size - CHECK_LENGTH, CHECK_LENGTH), verdict)
    if id == NACK then
        command:add_proto_expert_info(refused)
    end
    if verdict ~= "failed" then
        local key = pinfo.number .. ":" .. range:offset()
        if not pinfo.visited then
            findExchange(key, pinfo.number, pinfo.rel_ts, id, ends)
        end
        addExchange(tree, key)
    end
    tree:append_text(", " .. text)
    return text
end

local function addGarbage(root, range)
    local text = string.format("Garbage (length %d)", range:len())
    local tree = root:add(vox, range)
    tree:append_text(", " .. text)
    tree:add(header.garbage, range):add_proto_expert_info(noFrame)
    return text
end

-- A broken frame counts as one where nothing follows it.
local function frameAt(tvb, offset)
    local rest = tvb:len() - offset
    if rest < MIN_LENGTH then
        return nil
    end
    local control = 255 - tvb(offset + 1, 1):uint()
    -- The bits below the flag.
    local length = control % CRC_FLAG
    if length < MIN_LENGTH or length > rest then
        return nil
    end
    local range = tvb(offset, length)
    local line = range:bytes()
    local verdict = checkVerdict(line, math.floor(control / CRC_FLAG) % 2 == 1)
    if verdict == "failed" and length < rest then
        return nil
    end
    return range, line, verdict
end

function vox.dissector(tvb, pinfo, root)
    if tvb:len() == 0 then
        return 0
    end
    local texts, offset = {}, 0
    while offset < tvb:len() do
        local range, line, verdict = frameAt(tvb, offset)
        if range then
            table.insert(texts, addFrame(root, range, line, verdict, pinfo))
        else
            range = tvb(offset)
            table.insert(texts, addGarbage(root, range))
        end
        offset = offset + range:len()
    end
    pinfo.cols.protocol = "VOX"
    pinfo.cols.info = table.concat(texts, ", ")
    return offset
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, vox)

local udp = DissectorTable.get("udp.port")
udp:add_for_decode_as(vox)
vox.prefs.udp_ports = Pref.range("UDP ports", "", "The ports whose datagrams hold VOX frames", 65535)

local udpPorts = ""
function vox.prefs_changed()
    if udpPorts ~= "" then
        udp:remove(udpPorts, vox)
    end
    udpPorts = vox.prefs.udp_ports
    if udpPorts ~= "" then
        udp:add(udpPorts, vox)
    end
end
