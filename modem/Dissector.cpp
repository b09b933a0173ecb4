// SPDX-License-Identifier: Apache-2.0

#include "modem/Dissector.h"

#include <span>

#include "host/mox/Frame.h"
#include "host/mox/WdsService.h"
#include "modem/CaptureFormat.h"

namespace velo::modem {

namespace {

using mox::Field;
using mox::FieldKind;

/// What is the same whatever the tables hold.
constexpr const char* kProgram = R"lua(
local velo = Proto("velo", "Velo modem frame")

local directions = { [0] = "to modem", [1] = "from modem" }
local kinds = { [0] = "request", [1] = "response", [2] = "indication" }
local noSubscription = { [NO_SUBSCRIPTION] = "none" }

local head = {
    client = ProtoField.uint32("velo.client", "Client"),
    direction = ProtoField.uint8("velo.direction", "Direction", base.DEC, directions),
    subscription = ProtoField.uint8("velo.subscription", "Subscription", base.DEC, noSubscription),
    kind = ProtoField.uint8("velo.kind", "Kind", base.DEC, kinds),
    transaction = ProtoField.uint32("velo.transaction", "Transaction"),
    message_id = ProtoField.uint16("velo.message_id", "Message id", base.HEX),
    message = ProtoField.string("velo.message", "Message"),
    length = ProtoField.uint32("velo.length", "Payload length"),
    payload = ProtoField.bytes("velo.payload", "Payload"),
    unknown = ProtoField.bytes("velo.unknown_tag", "Unknown tag"),
    rest = ProtoField.bytes("velo.rest", "Rest"),
}
local malformed = ProtoExpert.new("velo.malformed", "Malformed frame",
                                  expert.group.MALFORMED, expert.severity.ERROR)

local protoFields = {}
local registered = {}
for _, field in pairs(head) do
    registered[#registered + 1] = field
end

local makers = {
    u8 = function(...) return ProtoField.uint8(...) end,
    u16 = function(...) return ProtoField.uint16(...) end,
    u32 = function(...) return ProtoField.uint32(...) end,
    u64 = function(...) return ProtoField.uint64(...) end,
}

-- A field that several messages have is one field of the display filter.
local function register(field, path)
    field.path = path
    if not protoFields[path] then
        local made
        if field.kind == "string" then
            made = ProtoField.string(path, field.name, base.UNICODE)
        elseif field.elements then
            made = ProtoField.none(path, field.name)
        else
            made = makers[field.kind](path, field.name, field.mask and base.HEX or base.DEC,
                                      field.names)
        end
        protoFields[path] = made
        registered[#registered + 1] = made
    end
    for _, element in ipairs(field.elements or {}) do
        register(element, path .. "." .. element.name)
    end
end

for _, ids in pairs(messages) do
    for _, message in pairs(ids) do
        message.byTag = {}
        for _, field in ipairs(message.fields) do
            message.byTag[field.tag] = field
            register(field, "velo." .. field.name)
        end
    end
end

velo.fields = registered
velo.experts = { malformed }

local function complain(tree, text)
    tree:add_proto_expert_info(malformed, "Malformed: " .. text)
end

-- A value without a name is shown as the number that it is.
local function addNumber(tree, protoField, label, names, range)
    local item = tree:add_le(protoField, range)
    if names and not names[range:le_uint()] then
        item:set_text(label .. ": " .. range:le_uint())
    end
end

-- Each reader takes what it wants from `at` on and returns where it ended, or nil and what is wrong.
local readValue

local function readRecord(elements, tvb, at, stop, tree)
    for _, element in ipairs(elements) do
        local length
        if element.kind == "string" then
            if at + 2 > stop then
                return nil, "is cut short"
            end
            length = tvb(at, 2):le_uint()
            at = at + 2
        end
        local problem
        at, problem = readValue(element, tvb, at, stop, tree, length)
        if not at then
            return nil, problem
        end
    end
    return at
end

local function readList(field, tvb, at, stop, tree)
    if at + 4 > stop then
        return nil, "is cut short"
    end
    local count = tvb(at, 4):le_uint()
    if count > field.limit then
        return nil, string.format("claims %.0f entries, more than %d", count, field.limit)
    end
    local list = tree:add(protoFields[field.path], tvb(at, stop - at))
    list:append_text(": " .. count)
    at = at + 4
    for i = 0, count - 1 do
        local entry = list:add(velo, tvb(at, math.min(stop - at, field.size)),
                               field.name .. "[" .. i .. "]")
        local begin, problem = at, nil
        at, problem = readRecord(field.elements, tvb, at, stop, entry)
        if not at then
            return nil, problem
        end
        entry:set_len(at - begin)
    end
    return at
end

local function readString(field, tvb, at, stop, tree, length)
    if at + length > stop then
        return nil, "is cut short"
    end
    tree:add_packet_field(protoFields[field.path], tvb(at, length), ENC_UTF_8)
    if length >= field.size then
        return nil, "has " .. length .. " bytes, more than " .. (field.size - 1)
    end
    if tvb:raw(at, length):find("\0", 1, true) then
        return nil, "has a terminator inside"
    end
    return at + length
end

function readValue(field, tvb, at, stop, tree, length)
    if field.kind == "string" then
        return readString(field, tvb, at, stop, tree, length)
    elseif field.kind == "list" then
        return readList(field, tvb, at, stop, tree)
    elseif field.kind == "record" then
        return readRecord(field.elements, tvb, at, stop,
                          tree:add(protoFields[field.path], tvb(at, stop - at)))
    elseif at + field.size > stop then
        return nil, "is cut short"
    end
    addNumber(tree, protoFields[field.path], field.name, field.names, tvb(at, field.size))
    return at + field.size
end

local function readField(field, tvb, at, stop, tree)
    local finish, problem = readValue(field, tvb, at, stop, tree, stop - at)
    if finish and finish < stop then
        problem = "has " .. (stop - finish) .. " bytes too many"
    end
    if problem then
        complain(tree, field.name .. " " .. problem)
    end
end

local function readFields(message, tvb, at, tree)
    local seen = {}
    while at < tvb:len() do
        if at + 3 > tvb:len() then
            tree:add(head.rest, tvb(at))
            complain(tree, "the last field is cut short")
            break
        end
        local tag = tvb(at, 1):uint()
        local length = tvb(at + 1, 2):le_uint()
        local field = message.byTag[tag]
        local name = field and field.name or string.format("unknown tag 0x%02X", tag)
        local start, stop = at + 3, math.min(at + 3 + length, tvb:len())
        if stop - start < length then
            tree:add(head.rest, tvb(at))
            complain(tree, name .. " is cut short")
        elseif field then
            readField(field, tvb, start, stop, tree)
            if seen[tag] then
                complain(tree, name .. " appears twice")
            end
            seen[tag] = true
        else
            tree:add(head.unknown, tvb(start, length)):set_text(
                name .. ": " .. tvb:raw(start, length):gsub(".", function(byte)
                    return string.format("%02x", byte:byte())
                end))
        end
        at = stop
    end
    for _, field in ipairs(message.fields) do
        if not field.optional and not seen[field.tag] then
            complain(tree, field.name .. " is missing")
        end
    end
end

local function readFrame(tvb, tree)
    if tvb:len() < FRAME_HEADER then
        if tvb:len() > 0 then
            tree:add(head.rest, tvb())
        end
        complain(tree, "the header is cut short")
        return "frame without a header"
    end
    local kind = tvb(0, 1):uint()
    local id = tvb(5, 2):le_uint()
    local length = tvb(7, 4):le_uint()
    local payload = tvb:len() - FRAME_HEADER
    local message = messages[kind] and messages[kind][id]
    local name = message and message.name or
        string.format("unknown message 0x%04X %s", id, kinds[kind] or "kind " .. kind)
    addNumber(tree, head.kind, "Kind", kinds, tvb(0, 1))
    tree:add_le(head.transaction, tvb(1, 4))
    tree:add_le(head.message_id, tvb(5, 2))
    tree:add(head.message, tvb(5, 2), name)
    tree:add_le(head.length, tvb(7, 4))
    if not kinds[kind] then
        complain(tree, "the kind is unknown")
    end
    if length ~= payload then
        complain(tree, string.format("the header claims %.0f bytes of payload, there are %d",
                                     length, payload))
    end
    if message then
        readFields(message, tvb, FRAME_HEADER, tree)
    elseif payload > 0 then
        tree:add(head.payload, tvb(FRAME_HEADER))
    end
    return name .. ", transaction " .. tvb(1, 4):le_uint()
end

function velo.dissector(tvb, pinfo, root)
    local tree = root:add(velo, tvb())
    pinfo.cols.protocol = "velo"
    if tvb:len() < PSEUDO_HEADER then
        complain(tree, "the capture header is cut short")
        return
    end
    tree:add_le(head.client, tvb(0, 4))
    tree:add(head.direction, tvb(4, 1))
    addNumber(tree, head.subscription, "Subscription", noSubscription, tvb(5, 1))
    local client = "client " .. tvb(0, 4):le_uint()
    local inbound = tvb(4, 1):uint() == 0
    pinfo.cols.src = inbound and client or "modem"
    pinfo.cols.dst = inbound and "modem" or client
    local frame = tvb:len() > PSEUDO_HEADER and tvb(PSEUDO_HEADER):tvb() or ByteArray.new():tvb("frame")
    pinfo.cols.info = client .. (inbound and " > " or " < ") .. readFrame(frame, tree)
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, velo)
)lua";

const char* kindText(FieldKind kind) {
    switch (kind) {
        case FieldKind::U8:
            return "u8";
        case FieldKind::U16:
            return "u16";
        case FieldKind::U32:
            return "u32";
        case FieldKind::U64:
            return "u64";
        case FieldKind::String:
            return "string";
        case FieldKind::Record:
            return "record";
        case FieldKind::List:
            return "list";
    }
    return "";
}

std::string quoted(const char* text) {
    return '"' + std::string(text) + '"';
}

std::string namesText(std::span<const mox::ValueName> names) {
    std::string text = "{";
    for (const auto& name : names) {
        text += " [" + std::to_string(name.value) + "] = " + quoted(name.name) + ",";
    }
    return text + " }";
}

void addFields(std::string& text, std::span<const Field> fields, std::size_t depth) {
    const std::string indent(4 * depth, ' ');
    for (const Field& field : fields) {
        text += indent + "{ name = " + quoted(field.name) +
                ", kind = " + quoted(kindText(field.kind)) +
                ", tag = " + std::to_string(field.tag) + ", size = " + std::to_string(field.size);
        text += field.optional() ? ", optional = true" : "";
        text += field.mask ? ", mask = true" : "";
        if (!field.names.empty()) {
            text += ", names = " + namesText(field.names);
        }
        if (field.elements.empty()) {
            text += " },\n";
            continue;
        }
        text += ", limit = " + std::to_string(field.limit) + ", elements = {\n";
        addFields(text, field.elements, depth + 1);
        text += indent + "} },\n";
    }
}

std::string constant(const char* name, std::size_t value) {
    return std::string("local ") + name + " = " + std::to_string(value) + "\n";
}

}  // namespace

std::string dissector() {
    std::string text =
        "-- SPDX-License-Identifier: Apache-2.0\n"
        "--\n"
        "-- Shows the frames between a simulated modem and its clients. Written by\n"
        "-- `velo-modem dissector`; use it as `tshark -X lua_script:velo.lua -r FILE`.\n\n";
    text += constant("PSEUDO_HEADER", capture::kPseudoHeader);
    text += constant("FRAME_HEADER", mox::Frame::kHeaderSize);
    text += constant("NO_SUBSCRIPTION", capture::kNoSubscription);
    text += "\nlocal messages = { [0] = {}, [1] = {}, [2] = {} }\n";
    for (const auto& message : mox::wdsService().messages) {
        text += "messages[" + std::to_string(message.kind) + "][" + std::to_string(message.id) +
                "] = { name = " + quoted(message.name) + ", fields = {\n";
        addFields(text, message.fields, 1);
        text += "} }\n";
    }
    return text + kProgram;
}

}  // namespace velo::modem
