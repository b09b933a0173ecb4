// SPDX-License-Identifier: Apache-2.0

#include "tool/ProfileView.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <tuple>
#include <utility>

#include "modem/library/ProfileSettings.h"
#include "tool/GlobalOptions.h"
#include "tool/Setting.h"
#include "tool/Words.h"
#include "velo/Manager.h"

namespace velo::tool {

namespace {

constexpr const char* kDots = "••••••";

std::string numberAfter(const std::string& text, const std::string& label) {
    const std::size_t at = text.find(label);
    return at == std::string::npos ? "" : text.substr(at + label.size());
}

std::string yesOrEmpty(bool yes) {
    return yes ? "yes" : "";
}

auto placeKey(const ProfileView& view) {
    return std::make_tuple(view.tech, view.id, view.token.value_or(0));
}

bool samePlace(const ProfileView& one, const ProfileView& other) {
    return one.tech == other.tech && one.id == other.id;
}

const ProfileView* findPlace(const std::vector<ProfileView>& views, const ProfileView& wanted) {
    const auto found = std::find_if(views.begin(), views.end(), [&](const ProfileView& view) {
        return samePlace(view, wanted);
    });
    return found == views.end() ? nullptr : &*found;
}

std::string techText(TechType tech) {
    return wordOf(kTechWords, static_cast<std::uint32_t>(tech));
}

/// What a change compares and tells: the name of each item and its text.
std::vector<std::pair<std::string, std::string>> itemsOf(const ProfileView& view,
                                                         const GlobalOptions& options) {
    std::vector<std::pair<std::string, std::string>> items;
    for (const Setting& setting : settings()) {
        items.emplace_back(setting.name, settingText(view.params, setting.name, options));
    }
    items.emplace_back("made by library", view.params.getIsVeloProfile() ? "yes" : "no");
    items.emplace_back("initial attach", view.params.getIsIAProfile() ? "yes" : "no");
    if (view.name) {
        items.emplace_back("name", *view.name);
    }
    if (view.persistent) {
        items.emplace_back("persistent", *view.persistent ? "yes" : "no");
    }
    return items;
}

}  // namespace

ProfileView describe(Manager& manager, const std::shared_ptr<IProfileKey>& key) {
    ProfileView view{.tech = key->getTechType(), .id = key->getProfileId()};
    const std::string token = numberAfter(key->dump(), "token=");
    std::uint64_t number = 0;
    if (std::from_chars(token.data(), token.data() + token.size(), number).ec == std::errc{}) {
        view.token = number;
    }
    const auto params = manager.getProfile(key);
    if (params) {
        view.params = FilterProfileParams(*params);
    }
    return view;
}

ProfileView describe(const modem::StoredProfile& profile) {
    return {.tech = static_cast<TechType>(profile.id.profile_type),
            .id = profile.id.profile_index,
            .params = modem::paramsOf(profile),
            .name = modem::nameOf(profile),
            .persistent = profile.persistent};
}

std::vector<ProfileView> describe(Manager& manager, const FilterProfileParams& filter) {
    std::vector<ProfileView> views;
    for (const std::shared_ptr<IProfileKey>& key : manager.filter(filter)) {
        views.push_back(describe(manager, key));
    }
    std::sort(views.begin(), views.end(), [](const ProfileView& one, const ProfileView& other) {
        return placeKey(one) < placeKey(other);
    });
    return views;
}

std::string placeOf(const ProfileView& profile) {
    return techText(profile.tech) + ":" + std::to_string(profile.id);
}

nlohmann::json placeToJson(TechType tech, int id, const GlobalOptions& options) {
    nlohmann::json json{{"technology", techText(tech)}, {"id", id}};
    if (options.numbers) {
        json["technology"] = static_cast<int>(tech);
    }
    return json;
}

nlohmann::json toJson(const ProfileView& profile, const GlobalOptions& options) {
    nlohmann::json json = placeToJson(profile.tech, profile.id, options);
    for (const Setting& setting : settings()) {
        const auto value = setting.get(profile.params, options.numbers);
        if (value) {
            json[setting.key()] =
                setting.secret && !options.showSecrets ? nlohmann::json(kDots) : toJson(*value);
        }
    }
    if (profile.params.hasFilterByIsVeloProfile()) {
        json["made_by_library"] = profile.params.getIsVeloProfile();
    }
    if (profile.params.hasFilterByIsIAProfile()) {
        json["initial_attach"] = profile.params.getIsIAProfile();
    }
    if (profile.token) {
        json["token"] = *profile.token;
    }
    if (!profile.key.empty()) {
        json["key"] = profile.key;
    }
    if (profile.name) {
        json["name"] = *profile.name;
    }
    if (profile.persistent) {
        json["persistent"] = *profile.persistent;
    }
    return json;
}

nlohmann::json toJson(const std::vector<ProfileView>& profiles, const GlobalOptions& options) {
    nlohmann::json json = nlohmann::json::array();
    for (const ProfileView& profile : profiles) {
        json.push_back(toJson(profile, options));
    }
    return json;
}

std::string settingText(const ProfileParams& params, const std::string& name,
                        const GlobalOptions& options) {
    const Setting& found = setting(name);
    const auto value = found.get(params, options.numbers);
    if (!value) {
        return "";
    }
    const std::string text = toText(*value);
    return found.secret && !options.showSecrets && !text.empty() ? kDots : text;
}

Table toTable(const std::vector<ProfileView>& profiles, const GlobalOptions& options) {
    Table table({"TECH", "ID", "TOKEN", "KEY", "APN", "TYPES", "IP", "ROAM", "AUTH", "CLASS",
                 "EMERGENCY", "VELO", "ATTACH", "NAME", "KEPT"});
    for (const ProfileView& profile : profiles) {
        const auto text = [&](const char* name) {
            return settingText(profile.params, name, options);
        };
        table.add({techText(profile.tech), std::to_string(profile.id),
                   profile.token ? std::to_string(*profile.token) : "", profile.key, text("apn"),
                   text("types"), text("ip"), text("roam-ip"), text("auth"), text("class"),
                   yesOrEmpty(profile.params.getIsEmergencySupported()),
                   yesOrEmpty(profile.params.getIsVeloProfile()),
                   yesOrEmpty(profile.params.getIsIAProfile()), profile.name.value_or(""),
                   yesOrEmpty(profile.persistent.value_or(false))});
    }
    return table;
}

Table toDetails(const ProfileView& profile, const GlobalOptions& options) {
    Table table({"PROFILE", placeOf(profile)});
    if (profile.token) {
        table.add({"token", std::to_string(*profile.token)});
    }
    if (!profile.key.empty()) {
        table.add({"key", profile.key});
    }
    for (const auto& [name, text] : itemsOf(profile, options)) {
        if (!text.empty()) {
            table.add({name, text});
        }
    }
    return table;
}

std::string ProfileChange::what() const {
    if (!before) {
        return "created";
    }
    return after ? "modified" : "deleted";
}

std::vector<ProfileChange> changesBetween(const std::vector<ProfileView>& before,
                                          const std::vector<ProfileView>& after) {
    GlobalOptions everything;
    everything.showSecrets = true;
    std::vector<ProfileChange> changes;
    for (const ProfileView& old : before) {
        const ProfileView* current = findPlace(after, old);
        if (current == nullptr) {
            changes.push_back({old, std::nullopt});
        } else if (itemsOf(old, everything) != itemsOf(*current, everything)) {
            changes.push_back({old, *current});
        }
    }
    for (const ProfileView& current : after) {
        if (findPlace(before, current) == nullptr) {
            changes.push_back({std::nullopt, current});
        }
    }
    return changes;
}

nlohmann::json toJson(const ProfileChange& change, const GlobalOptions& options) {
    nlohmann::json json{{"change", change.what()}};
    json["before"] = change.before ? toJson(*change.before, options) : nlohmann::json();
    json["after"] = change.after ? toJson(*change.after, options) : nlohmann::json();
    return json;
}

std::string toText(const ProfileChange& change, const GlobalOptions& options) {
    const ProfileView& profile = change.after ? *change.after : *change.before;
    std::string text = change.what() + " " + placeOf(profile) + ":";
    const auto now = itemsOf(profile, options);
    const auto then = change.before && change.after ? itemsOf(*change.before, options) : now;
    const auto quoted = [](const std::string& value) { return value.empty() ? "-" : value; };
    for (std::size_t i = 0; i < now.size() && i < then.size(); ++i) {
        if (now[i].second != then[i].second) {
            text += " " + now[i].first + " " + quoted(then[i].second) + " -> " +
                    quoted(now[i].second) + ";";
        } else if (change.what() != "modified" && !now[i].second.empty() && now[i].second != "no") {
            text += " " + now[i].first + " " + now[i].second + ";";
        }
    }
    // What differs may be a secret alone, whose texts are the same.
    if (text.back() == ':') {
        text += " password;";
    }
    text.back() = '.';
    return fitted(text);
}

}  // namespace velo::tool
