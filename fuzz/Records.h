// SPDX-License-Identifier: Apache-2.0
//
// Parameter records and modem structures made of a fuzzer's bytes. Stateless.

#pragma once

#include <optional>
#include <vector>

#include "SettingFields.h"
#include "fuzz/Input.h"
#include "host/mox/Codec.h"
#include "host/mox/WdsService.h"
#include "mox/wds_v01.h"
#include "velo/FilterProfileParams.h"

namespace velo::fuzz {

/// Any settings with any values, those that no enumeration has among them.
inline FilterProfileParams recordFrom(Input& input) {
    FilterProfileParams record;
    auto present = input.value<std::uint16_t>();
    const auto maybe =
        [&]<typename Value, typename Result>(const SettingField<Value, Result>& field) {
            if ((present & 1) != 0) {
                (record.*field.set)(input.value<Value>());
            }
            present >>= 1;
        };
    maybe(setting::kApnName);
    maybe(setting::kUserName);
    maybe(setting::kPassword);
    maybe(setting::kAuthType);
    maybe(setting::kHomeIPType);
    maybe(setting::kRoamIPType);
    maybe(setting::kApnTypesMask);
    maybe(setting::kApnClass);
    maybe(setting::kIsClatEnabled);
    maybe(setting::kIsEmergencySupported);
    maybe(setting::kIsApnDisabled);
    maybe(setting::kMaxPdnsConnPerBlock);
    maybe(setting::kMaxPdnConnTimer);
    maybe(setting::kPdnReqWaitInterval);
    return record;
}

/// The same with what only a filter has.
inline FilterProfileParams filterFrom(Input& input) {
    FilterProfileParams filter = recordFrom(input);
    const auto present = input.value<std::uint8_t>();
    filter.addFilterMatchCriteria(input.value<std::uint8_t>());
    if ((present & 1) != 0) filter.setFilterByTechType(input.value<TechType>());
    if ((present & 2) != 0) filter.setFilterByProfileId(input.value<std::uint8_t>());
    if ((present & 4) != 0) filter.setFilterByIsVeloProfile(input.value<bool>());
    if ((present & 8) != 0) filter.setFilterByIsIAProfile(input.value<bool>());
    return filter;
}

/// The structure of a message, when the bytes are one.
template <typename Structure>
std::optional<Structure> decoded(mox_message_kind kind, unsigned int id, Bytes bytes) {
    Structure structure;
    if (!mox::decode(*mox::wdsService().find(kind, id), bytes, &structure)) return std::nullopt;
    return structure;
}

/// What the modem makes of a structure that the library sends.
template <typename Structure>
Structure sent(unsigned int id, const Structure& structure) {
    const auto& message = *mox::wdsService().find(MOX_MESSAGE_REQUEST, id);
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> again;
    ensure(mox::encode(message, &structure, bytes), "what the library sends can be encoded");
    const auto received = decoded<Structure>(MOX_MESSAGE_REQUEST, id, bytes);
    ensure(received && mox::encode(message, &*received, again) && again == bytes,
           "what the library sends arrives");
    return *received;
}

}  // namespace velo::fuzz
