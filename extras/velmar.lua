-- Dissects the datagrams of the capture server for Wireshark and tshark: header, message types, messages joined
-- from their fragments, and the fields of their bodies. Every number is little-endian.
-- Try it with `tshark -X lua_script:velmar.lua -r FILE`; docs/install.md says how to keep it.

local kMagic = 0xF951
local kHeaderSize = 16
local kCommandPort, kDataPort = 5230, 5231
local kNameSize = 256
local kUnbounded, kNegativeIsNone = 2 ^ 31, -2 ^ 31

local types = {
    [0] = "Version request", [1] = "Version reply", [2] = "Request", [7] = "Raw reply", [8] = "Message",
    [100] = "Media", [101] = "Data descriptions", [102] = "Server description", [103] = "Frame", [104] = "Command",
    [105] = "Media reply", [106] = "Hello", [107] = "Data descriptions (second form)",
}
-- A message of one of these types asks when it goes to the server's port, and answers otherwise; of the other types
-- each has one direction.
local bothWays = { [101] = true, [102] = true, [104] = true }
local requests = { [0] = true, [2] = true, [107] = true }
local replies = { [1] = true, [7] = true, [105] = true }
-- How the description of a simulated server begins: only what such a server sends is known inside its records.
local kSimulatedName = "velmar simulated capture server"
local descriptionTypes =
    { [0] = "Marker set", [1] = "Rigid body", [2] = "Skeleton", [3] = "Force plate", [4] = "Point group" }

local velmar = Proto("velmar", "Motion-capture stream")
local fields, experts = {}, {}

local function field(kind, abbreviation, label, ...)
    fields[abbreviation] = ProtoField[kind]("velmar." .. abbreviation, label, ...)
end

field("uint16", "magic", "Magic", base.HEX)
field("uint32", "total_length", "Bytes of the message")
field("uint8", "type", "Type", base.DEC, types)
field("uint8", "fragment", "Fragment")
field("uint16", "fragment_length", "Bytes of the fragment")
field("uint32", "sequence", "Sequence")
field("bool", "request", "Request")
field("bool", "reply", "Reply")
field("framenum", "answers", "Answers the request in", base.NONE, frametype.REQUEST)
field("framenum", "joined_in", "Joined in")
field("bytes", "payload", "Payload")
field("string", "text", "Text")
field("string", "version", "Version")
field("bool", "version.accepted", "Accepted")
field("string", "server.name", "Server")
field("string", "server.version", "Version of the server")
field("string", "server.host", "Host")
field("float", "server.frame_rate", "Frames a second")
field("bool", "server.accepts", "Accepts the client")
field("int32", "frame.number", "Frame number")
field("string", "frame.timecode", "Timecode")
field("uint32", "frame.subframe", "Subframe")
field("uint32", "frame.aux32", "Auxiliary value", base.HEX)
field("uint64", "frame.aux64", "Auxiliary value", base.DEC)
field("uint16", "frame.flags", "Flags", base.HEX)
for abbreviation, label in pairs({
    marker_sets = "Marker sets", other_markers = "Unlabelled markers", rigid_bodies = "Rigid bodies",
    skeletons = "Skeletons", labeled_markers = "Labelled markers", analog = "Analog channels",
}) do
    field("int32", "frame." .. abbreviation, label)
end
field("string", "name", "Name")
field("string", "marker.name", "Marker")
field("int32", "labeled_marker.id", "Labelled marker")
field("float", "labeled_marker.size", "Diameter")
field("int32", "labeled_marker.skeleton", "Worn by skeleton")
field("int32", "id", "Identifier")
field("int32", "markers", "Markers")
field("int32", "bones", "Bones")
field("int32", "marker.id", "Marker identifier")
field("float", "marker.size", "Marker size")
field("string", "position", "Position")
field("string", "orientation", "Orientation")
field("float", "residual", "Residual")
field("uint16", "flags", "Flags", base.HEX)
field("float", "channel", "Channel")
field("bytes", "words", "Words")
field("int32", "descriptions", "Descriptions")
field("int32", "description.type", "Type", base.DEC, descriptionTypes)
field("int32", "plate.scale", "Scale factor")
field("string", "plate.sensor_offset", "Sensor offset")
field("string", "plate.rotation", "Rotation")
field("int32", "plate.layout", "Channel layout")
field("int32", "points", "Points")
field("uint16", "media.type", "Kind")
field("int32", "media.length", "Meaningful bytes")
velmar.fields = fields

experts.refused =
    ProtoExpert.new("velmar.refused", "Body cannot be decoded", expert.group.MALFORMED, expert.severity.ERROR)
experts.lost = ProtoExpert.new("velmar.lost", "Fragment out of order: the message is abandoned",
    expert.group.SEQUENCE, expert.severity.WARN)
velmar.experts = experts

-- Reads a body from its start. What the body does not hold ends the reading with an error.
local Reader = {}
Reader.__index = Reader

function Reader:take(size)
    if size > self.tvb:len() - self.position then error("the body ends early", 0) end
    local range = self.tvb(self.position, size)
    self.position = self.position + size
    return range
end

function Reader:add(tree, abbreviation, size)
    return tree:add_le(fields[abbreviation], self:take(size))
end

-- Where the lowest is not given, a negative count is refused.
function Reader:count(tree, abbreviation, bound, lowest)
    local range = self:take(4)
    local count = range:le_int()
    tree:add_le(fields[abbreviation], range)
    if count > bound or count < (lowest or 0) then
        error(string.format("a count of %d, at most %d", count, bound), 0)
    end
    return count
end

function Reader:name(tree, abbreviation)
    local range = self:take(kNameSize)
    local name = range:stringz()
    tree:add(fields[abbreviation], range, name)
    return name
end

function Reader:floats(tree, abbreviation, count)
    local range = self:take(4 * count)
    local values = {}
    for i = 0, count - 1 do values[#values + 1] = string.format("%.4f", range(4 * i, 4):le_float()) end
    tree:add(fields[abbreviation], range, table.concat(values, " "))
end

-- Runs part(subtree) for a block and lets the block's line span what it read.
function Reader:block(tree, label, part)
    local start = self.position
    local subtree = tree:add(velmar, self.tvb(start), label)
    part(subtree)
    subtree:set_len(self.position - start)
end

local function readPositions(reader, tree, count)
    for _ = 1, count do reader:floats(tree, "position", 3) end
end

local function readBody(reader, tree, label)
    reader:block(tree, label, function(body)
        reader:add(body, "id", 4)
        reader:floats(body, "position", 3)
        reader:floats(body, "orientation", 4)
        local markers = reader:count(body, "markers", 200)
        readPositions(reader, body, markers)
        for _ = 1, markers do reader:add(body, "marker.id", 4) end
        for _ = 1, markers do reader:add(body, "marker.size", 4) end
        reader:add(body, "residual", 4)
        reader:add(body, "flags", 2)
    end)
end

local function readSkeleton(reader, tree)
    reader:block(tree, "Skeleton", function(skeleton)
        reader:add(skeleton, "id", 4)
        for _ = 1, reader:count(skeleton, "bones", 200) do readBody(reader, skeleton, "Bone") end
    end)
end

local function readTimecode(reader, tree)
    local range = reader:take(4)
    local code = range:le_uint()
    local part = function(shift) return bit.band(bit.rshift(code, shift), 255) end
    local text = string.format("%02d:%02d:%02d:%02d", part(24), part(16), part(8), part(0))
    tree:add(fields["frame.timecode"], range, text)
end

-- Hosts whose description was a simulated server's; the server describes itself from the host that it streams from.
local simulated = {}

local function readLabeledMarker(reader, tree)
    reader:block(tree, "Labelled marker", function(marker)
        reader:add(marker, "labeled_marker.id", 4)
        reader:floats(marker, "position", 3)
        reader:add(marker, "labeled_marker.size", 4)
        reader:add(marker, "labeled_marker.skeleton", 4)
    end)
end

local function readFrame(reader, tree, pinfo)
    reader:add(tree, "frame.number", 4)
    pinfo.cols.info:append(" " .. reader.tvb(0, 4):le_int())
    for _ = 1, reader:count(tree, "frame.marker_sets", 200) do
        reader:block(tree, "Marker set", function(set)
            set:append_text(" " .. reader:name(set, "name"))
            readPositions(reader, set, reader:count(set, "markers", 200))
        end)
    end
    readPositions(reader, tree, reader:count(tree, "frame.other_markers", 1000))
    for _ = 1, reader:count(tree, "frame.rigid_bodies", 1000) do readBody(reader, tree, "Rigid body") end
    for _ = 1, reader:count(tree, "frame.skeletons", 100, kNegativeIsNone) do readSkeleton(reader, tree) end
    local known = simulated[tostring(pinfo.src)]
    for _ = 1, reader:count(tree, "frame.labeled_markers", 1000) do
        if known then readLabeledMarker(reader, tree) else reader:add(tree, "words", 24) end
    end
    for _ = 1, reader:count(tree, "frame.analog", 32) do reader:add(tree, "channel", 4) end
    readTimecode(reader, tree)
    reader:add(tree, "frame.subframe", 4)
    reader:add(tree, "frame.aux32", 4)
    reader:add(tree, "frame.aux64", 8)
    reader:add(tree, "frame.flags", 2)
end

local describe = {
    [0] = function(reader, tree)
        local markers = reader:count(tree, "markers", kUnbounded)
        tree:append_text(" " .. reader:name(tree, "name"))
        for _ = 1, markers do reader:name(tree, "marker.name") end
    end,
    [1] = function(reader, tree) reader:add(tree, "words", 292) end,
    [2] = function(reader, tree)
        tree:append_text(" " .. reader:name(tree, "name"))
        reader:add(tree, "id", 4)
        for _ = 1, reader:count(tree, "bones", 200) do reader:add(tree, "words", 292) end
    end,
    [3] = function(reader, tree)
        reader:add(tree, "id", 4)
        reader:add(tree, "plate.scale", 4)
        reader:add(tree, "words", 8)
        reader:floats(tree, "position", 3)
        reader:floats(tree, "plate.sensor_offset", 3)
        reader:floats(tree, "plate.rotation", 9)
        for _ = 1, 64 do reader:add(tree, "channel", 4) end
        reader:add(tree, "words", 48)
        reader:add(tree, "plate.layout", 4)
        reader:add(tree, "words", 8200)
    end,
    [4] = function(reader, tree)
        local points = reader:count(tree, "points", kUnbounded)
        tree:append_text(" " .. reader:name(tree, "name"))
        for _ = 1, points do reader:add(tree, "words", 12) end
    end,
}

local function readDescriptions(reader, tree)
    if reader.tvb:len() == 0 then return end -- a request
    for _ = 1, reader:count(tree, "descriptions", 200, kNegativeIsNone) do
        reader:block(tree, "Description", function(entry)
            reader:add(entry, "description.type", 4)
            local code = reader.tvb(reader.position - 4, 4):le_int()
            entry:set_text(descriptionTypes[code] or "Description of an unknown type")
            if describe[code] then describe[code](reader, entry) end
        end)
    end
end

local function addVersion(reader, tree, abbreviation)
    local bytes = reader:take(4)
    local version = string.format("%d.%d.%d.%d", bytes(0, 1):uint(), bytes(1, 1):uint(), bytes(2, 1):uint(),
        bytes(3, 1):uint())
    tree:add(fields[abbreviation], bytes, version)
end

local function readVersion(reader, tree, _, header)
    reader:take(260)
    addVersion(reader, tree, "version")
    if header.reply then reader:add(tree, "version.accepted", 1) end
end

-- What another server writes is not known: such a description appears with the text at its beginning.
local function readServer(reader, tree, pinfo)
    if reader.tvb:len() == 0 then return end -- a request
    local name = reader.tvb(0, math.min(kNameSize, reader.tvb:len())):stringz()
    simulated[tostring(pinfo.src)] = name == kSimulatedName or nil
    if name ~= kSimulatedName then
        tree:add(fields["server.name"], reader.tvb(), (name:match("^[%g ]*")))
        reader:add(tree, "payload", reader.tvb:len())
        return
    end
    reader:name(tree, "server.name")
    addVersion(reader, tree, "server.version")
    reader:name(tree, "server.host")
    reader:take(4)
    reader:add(tree, "server.frame_rate", 4)
    reader:add(tree, "server.accepts", 1)
end

local function readText(reader, tree)
    local range = reader:take(reader.tvb:len())
    if range:len() > 0 then tree:add(fields.text, range, range:stringz()) end
end

local function readMedia(reader, tree)
    reader:add(tree, "media.type", 2)
    reader:take(2)
    reader:add(tree, "media.length", 4)
end

local function readBytes(reader, tree)
    if reader.tvb:len() > 0 then reader:add(tree, "payload", reader.tvb:len()) end
end

local bodies = {
    [0] = readVersion, [1] = readVersion, [2] = readText, [7] = readText, [8] = readText, [100] = readMedia,
    [101] = readDescriptions, [102] = readServer, [103] = readFrame, [104] = readText, [105] = readMedia,
    [106] = readText,
}

-- Between one endpoint and another messages follow each other, so at most one is being joined for each pair.
-- Datagrams are seen in order once; what they came to is kept by packet number for when they are shown again.
local joining, joined, joinedIn, abandoned = {}, {}, {}, {}
local asked, answers = {}, {} -- packets: of a client's request by its number, and of the request by its reply's packet

function velmar.init()
    joining, joined, joinedIn, abandoned = {}, {}, {}, {}
    asked, answers, simulated = {}, {}, {}
end

-- Only the sequence number pairs a reply with the request of a client.
local function pair(header, pinfo)
    if header.request then
        asked[string.format("%s:%d %d", pinfo.src, pinfo.src_port, header.sequence)] = pinfo.number
    elseif header.reply then
        answers[pinfo.number] = asked[string.format("%s:%d %d", pinfo.dst, pinfo.dst_port, header.sequence)]
    end
end

local function join(header, payload, pinfo)
    local pair = string.format("%s:%d>%s:%d", pinfo.src, pinfo.src_port, pinfo.dst, pinfo.dst_port)
    local message = joining[pair]
    if header.fragment == 0 then
        message = { next = 0, bytes = ByteArray.new(), packets = {} }
        joining[pair] = message
    elseif message == nil or message.next ~= header.fragment then
        joining[pair] = nil
        abandoned[pinfo.number] = true
        return
    end
    message.next = message.next + 1
    message.bytes:append(payload:bytes())
    message.packets[#message.packets + 1] = pinfo.number
    if message.bytes:len() < header.total then return end
    joining[pair] = nil
    joined[pinfo.number] = message.bytes
    for _, packet in ipairs(message.packets) do joinedIn[packet] = pinfo.number end
end

local function showBody(header, tvb, pinfo, tree)
    local reader = setmetatable({ tvb = tvb, position = 0 }, Reader)
    local read = bodies[header.type] or readBytes
    local well, reason = pcall(read, reader, tree, pinfo, header)
    if not well then tree:add_proto_expert_info(experts.refused, tostring(reason)) end
end

local function showHeader(header, tvb, pinfo, tree)
    tree:add_le(fields.magic, tvb(0, 2))
    tree:add_le(fields.total_length, tvb(4, 4))
    tree:add_le(fields.type, tvb(8, 1))
    tree:add_le(fields.fragment, tvb(9, 1))
    tree:add_le(fields.fragment_length, tvb(10, 2))
    tree:add_le(fields.sequence, tvb(12, 4))
    if header.request then tree:add(fields.request, tvb(8, 1), true):set_generated() end
    if header.reply then tree:add(fields.reply, tvb(8, 1), true):set_generated() end
    if answers[pinfo.number] then tree:add(fields.answers, tvb(12, 4), answers[pinfo.number]):set_generated() end
    tree:append_text(", " .. header.name)
end

function velmar.dissector(tvb, pinfo, tree)
    if tvb:len() < kHeaderSize or tvb(0, 2):le_uint() ~= kMagic then return 0 end
    local length = tvb(10, 2):le_uint()
    if tvb:len() - kHeaderSize ~= length then return 0 end
    local header = { total = tvb(4, 4):le_uint(), type = tvb(8, 1):uint(), fragment = tvb(9, 1):uint() }
    header.sequence = tvb(12, 4):le_uint()
    header.name = types[header.type] or string.format("Unknown type %d", header.type)
    local toServer = pinfo.dst_port == kCommandPort
    header.request = requests[header.type] or (bothWays[header.type] and toServer)
    header.reply = replies[header.type] or (bothWays[header.type] and not toServer)
    if bothWays[header.type] then header.name = header.name .. (toServer and " request" or " reply") end
    if not pinfo.visited then pair(header, pinfo) end
    pinfo.cols.protocol = "VELMAR"
    pinfo.cols.info = header.name
    local subtree = tree:add(velmar, tvb())
    showHeader(header, tvb, pinfo, subtree)

    local payload = tvb(kHeaderSize):tvb()
    if length == header.total then
        showBody(header, payload, pinfo, subtree)
        return tvb:len()
    end
    if not pinfo.visited then join(header, payload, pinfo) end
    pinfo.cols.info:append(string.format(" (fragment %d)", header.fragment))
    if abandoned[pinfo.number] then subtree:add_proto_expert_info(experts.lost) end
    if joined[pinfo.number] then
        showBody(header, joined[pinfo.number]:tvb("Joined message"), pinfo, subtree)
    elseif joinedIn[pinfo.number] then
        subtree:add(fields.joined_in, joinedIn[pinfo.number])
    end
    return tvb:len()
end

local ports = DissectorTable.get("udp.port")
ports:add(kCommandPort, velmar)
ports:add(kDataPort, velmar)
