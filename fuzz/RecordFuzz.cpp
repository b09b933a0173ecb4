// SPDX-License-Identifier: Apache-2.0
//
// Records and stored profiles in words and in JSON, and read back from there.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "fuzz/MemoryFile.h"
#include "fuzz/Records.h"
#include "modem/ModemError.h"
#include "modem/ProfileJson.h"
#include "modem/ProfileStore.h"
#include "tool/CommandError.h"
#include "tool/GlobalOptions.h"
#include "tool/ProfileView.h"
#include "tool/Setting.h"
#include "tool/WantedRecords.h"
#include "velo/AddProfileParams.h"
#include "velo/ModifyProfileParams.h"

namespace velo::fuzz {
namespace {

using nlohmann::json;

std::string shortest(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

void throughWords(const ProfileParams& record) {
    for (const tool::Setting& setting : tool::settings()) {
        const auto value = setting.get(record, false);
        if (!value) continue;
        try {
            ProfileParams read;
            setting.set(read, tool::toText(*value));
            ensure(setting.get(read, false) == value, "a setting is read as it is shown");
        } catch (const tool::CommandError&) {
            // A value without a word, or one that the modem would cut.
        }
    }
}

void throughList(const ProfileParams& record, TechType tech) {
    static const MemoryFile file;
    tool::GlobalOptions options;
    options.showSecrets = true;
    const auto listed = [&](const ProfileParams& params) {
        return shortest(tool::toJson(
            std::vector{tool::ProfileView{.tech = tech, .params = FilterProfileParams(params)}},
            options));
    };
    const std::string list = listed(record);
    try {
        const auto wanted = tool::WantedRecords::read(file.hold(list), "");
        ensure(listed(wanted.all().front()) == list, "a record is wanted as it is listed");
    } catch (const tool::CommandError&) {
        // As above.
    }
}

void throughProfile(const modem::StoredProfile& profile) {
    const bool fits =
        modem::ProfileStore::check(profile.id.profile_type, profile.settings) == WDS_ERR_NONE;
    try {
        const auto json = modem::profileToJson(profile);
        const auto read = modem::profileFromJson(modem::jsonFromText(json.dump()));
        ensure(fits && modem::profileToJson(read) == json, "a profile is read as it was written");
    } catch (const modem::ModemError&) {
        ensure(!fits, "a profile of a store is read");
    }
    tool::GlobalOptions options;
    const auto view = tool::describe(profile);
    tool::toDetails(view, options).render(80, false);
    for (const auto& difference : tool::changesBetween({view}, {tool::ProfileView{.id = 1}})) {
        tool::toText(difference, options);
    }
}

}  // namespace

void run(Bytes bytes) {
    Input input(bytes);
    const auto type = input.value<bool>() ? WDS_PROFILE_TYPE_3GPP2 : WDS_PROFILE_TYPE_3GPP;
    if (input.value<bool>()) {
        if (const auto answer = decoded<wds_get_profile_settings_resp_msg_v01>(
                MOX_MESSAGE_RESPONSE, kWdsGetProfileSettingsReq, input.rest())) {
            throughProfile({{type, 7}, answer->persistent.value != 0, answer->settings});
        }
        return;
    }
    const FilterProfileParams record = filterFrom(input);
    const auto tech = static_cast<TechType>(type);
    record.dump();
    ModifyProfileParams(record).dump();
    AddProfileParams(record, true, tech, false).dump();
    throughWords(record);
    throughList(recordFrom(input), tech);
}

}  // namespace velo::fuzz
