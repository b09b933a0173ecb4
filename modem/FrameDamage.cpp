// SPDX-License-Identifier: Apache-2.0

#include "modem/FrameDamage.h"

#include <cstdint>
#include <vector>

#include "host/mox/Frame.h"
#include "host/mox/WdsService.h"
#include "mox/wds_v01.h"

namespace velo::modem {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kFiller = 'x';
constexpr std::uint8_t kUnknownEnumerator = 0x77;
constexpr std::size_t kFieldHeadSize = 3;

/// One field as it travels.
struct WireField {
    std::uint8_t tag;
    Bytes value;
};

std::vector<WireField> split(const Bytes& payload) {
    std::vector<WireField> fields;
    std::size_t at = 0;
    while (at + kFieldHeadSize <= payload.size()) {
        const auto length = static_cast<std::size_t>(payload[at + 1] | payload[at + 2] << 8);
        const auto begin = payload.begin() + static_cast<std::ptrdiff_t>(at + kFieldHeadSize);
        fields.push_back({payload[at], Bytes(begin, begin + static_cast<std::ptrdiff_t>(length))});
        at += kFieldHeadSize + length;
    }
    return fields;
}

void put(Bytes& bytes, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

Bytes join(const std::vector<WireField>& fields) {
    Bytes payload;
    for (const WireField& field : fields) {
        put(payload, field.tag, 1);
        put(payload, field.value.size(), 2);
        payload.insert(payload.end(), field.value.begin(), field.value.end());
    }
    return payload;
}

Bytes entry(std::uint32_t technology, std::size_t index, std::size_t nameSize) {
    Bytes bytes;
    put(bytes, technology, sizeof(technology));
    put(bytes, index, 1);
    put(bytes, nameSize, 2);
    bytes.insert(bytes.end(), nameSize, kFiller);
    return bytes;
}

void append(Bytes& list, const Bytes& added) {
    std::uint32_t count = 0;
    for (std::size_t i = 0; i < sizeof(count); ++i) {
        count |= static_cast<std::uint32_t>(list[i]) << (8 * i);
    }
    ++count;
    for (std::size_t i = 0; i < sizeof(count); ++i) {
        list[i] = static_cast<std::uint8_t>(count >> (8 * i));
    }
    list.insert(list.end(), added.begin(), added.end());
}

void damageList(Bytes& list, Damage damage) {
    switch (damage) {
        case Damage::OverLong:
            list.assign(sizeof(std::uint32_t), 0);
            for (std::size_t i = 0; i <= kWdsMaxProfiles; ++i) {
                append(list, entry(WDS_PROFILE_TYPE_3GPP, i, 1));
            }
            break;
        case Damage::Unterminated:
            append(list, entry(WDS_PROFILE_TYPE_3GPP, 0, kWdsProfileNameSize));
            break;
        default:
            append(list, entry(kUnknownEnumerator, 0, 0));
            break;
    }
}

/// Every setting of one kind that the answer has is replaced; without any, `spare` is added.
void damageSettings(std::vector<WireField>& fields, mox::FieldKind kind, const WireField& spare,
                    std::uint8_t filler) {
    bool found = false;
    for (const mox::Field& known : mox::wdsSettingsFields()) {
        for (WireField& field : fields) {
            if (known.kind == kind && field.tag == known.tag) {
                field.value.assign(known.size, filler);
                found = true;
            }
        }
    }
    if (!found) {
        fields.push_back(spare);
    }
}

void damageSettings(std::vector<WireField>& fields, Damage damage) {
    const auto& name = mox::wdsSettingsFields()[0];
    const auto& family = mox::wdsSettingsFields()[1];
    if (damage == Damage::Unterminated) {
        damageSettings(fields, mox::FieldKind::String, {name.tag, Bytes(name.size, kFiller)},
                       kFiller);
    } else {
        damageSettings(fields, mox::FieldKind::U32,
                       {family.tag, Bytes(family.size, kUnknownEnumerator)}, kUnknownEnumerator);
    }
}

}  // namespace

bool canBeDamaged(unsigned int messageId) {
    return messageId == kWdsGetProfileListReq || messageId == kWdsGetProfileSettingsReq;
}

void damageAnswer(mox::Frame& answer, Damage damage) {
    if (damage == Damage::Truncated) {
        return truncate(answer);
    }
    auto fields = split(answer.payload);
    if (answer.messageId == kWdsGetProfileListReq) {
        constexpr std::uint8_t kListTag = 0x03;
        for (WireField& field : fields) {
            if (field.tag == kListTag) {
                damageList(field.value, damage);
            }
        }
        answer.payload = join(fields);
    } else if (damage == Damage::OverLong) {
        const auto& name = mox::wdsSettingsFields()[0];
        answer.payload.insert(answer.payload.end(), {name.tag, 0xFF, 0xFF, kFiller});
    } else {
        damageSettings(fields, damage);
        answer.payload = join(fields);
    }
}

void truncate(mox::Frame& frame) {
    frame.payload.resize(frame.payload.size() / 2);
}

}  // namespace velo::modem
