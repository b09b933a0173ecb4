// SPDX-License-Identifier: Apache-2.0

#include "tool/Setting.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tool/CommandError.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

using Has = bool (ProfileParams::*)() const;

constexpr std::size_t kLongestApn = 150;
constexpr std::size_t kLongestCredential = 127;
constexpr int kLargestNumber = 65535;

template <typename Read>
auto getter(Has has, Read read) {
    return [has, read](const ProfileParams& params, bool numbers) -> std::optional<SettingValue> {
        if (!(params.*has)()) {
            return std::nullopt;
        }
        return read(params, numbers);
    };
}

void checkLength(const std::string& what, const std::string& text, std::size_t longest) {
    if (text.size() > longest) {
        throw CommandError(kUsage, "the " + what + " has " + std::to_string(text.size()) +
                                       " characters; the modem keeps at most " +
                                       std::to_string(longest));
    }
}

Setting textSetting(std::string name, std::string help, std::size_t longest, Has has,
                    const std::string& (ProfileParams::*get)() const,
                    void (ProfileParams::*set)(std::string)) {
    return {.name = name,
            .placeholder = "TEXT",
            .help = std::move(help),
            .set =
                [=](ProfileParams& params, const std::string& text) {
                    checkLength(name, text, longest);
                    (params.*set)(text);
                },
            .get = getter(has, [get](const ProfileParams& params, bool) -> SettingValue {
                return (params.*get)();
            })};
}

template <typename Enum>
Setting wordSetting(std::string name, std::string help, std::string what, Vocabulary words, Has has,
                    Enum (ProfileParams::*get)() const, void (ProfileParams::*set)(Enum)) {
    return {
        .name = std::move(name),
        .placeholder = choices(words),
        .help = std::move(help),
        .set =
            [=](ProfileParams& params, const std::string& text) {
                (params.*set)(static_cast<Enum>(parseWord(what, words, text)));
            },
        .get = getter(has, [get, words](const ProfileParams& params, bool numbers) -> SettingValue {
            const int value = static_cast<int>((params.*get)());
            if (numbers) {
                return value;
            }
            return wordOf(words, static_cast<std::uint32_t>(value));
        })};
}

Setting flagSetting(std::string name, std::string help, Has has, bool (ProfileParams::*get)() const,
                    void (ProfileParams::*set)(bool)) {
    const std::string what = "--" + name;
    return {.name = name,
            .placeholder = "yes|no",
            .help = std::move(help),
            .set = [=](ProfileParams& params,
                       const std::string& text) { (params.*set)(parseYesNo(what, text)); },
            .get = getter(has, [get](const ProfileParams& params, bool) -> SettingValue {
                return (params.*get)();
            })};
}

Setting numberSetting(std::string name, std::string help, std::string what, Has has,
                      int (ProfileParams::*get)() const, void (ProfileParams::*set)(int)) {
    return {.name = std::move(name),
            .placeholder = "N",
            .help = std::move(help),
            .on3gpp2 = false,
            .set =
                [=](ProfileParams& params, const std::string& text) {
                    (params.*set)(parseNumber(what, text, 0, kLargestNumber));
                },
            .get = getter(has, [get](const ProfileParams& params, bool) -> SettingValue {
                return (params.*get)();
            })};
}

Setting typesSetting() {
    return {.name = "types",
            .placeholder = choices(kTypeWords),
            .help = "What the access point is for: words separated by commas, or none",
            .set =
                [](ProfileParams& params, const std::string& text) {
                    params.setApnTypesMask(parseMask("APN type", kTypeWords, text));
                },
            .get = getter(&ProfileParams::hasApnTypesMask,
                          [](const ProfileParams& params, bool numbers) -> SettingValue {
                              if (numbers) {
                                  return static_cast<int>(params.getApnTypesMask());
                              }
                              return wordsOf(kTypeWords, params.getApnTypesMask());
                          })};
}

Setting apnSetting() {
    Setting apn = textSetting("apn", "Access point name, at most 150 characters", kLongestApn,
                              &ProfileParams::hasApnName, &ProfileParams::getApnName,
                              &ProfileParams::setApnName);
    apn.set = [](ProfileParams& params, const std::string& text) {
        if (text.empty()) {
            throw CommandError(kUsage, "the APN name is empty; give a name, or leave it out");
        }
        checkLength("APN name", text, kLongestApn);
        params.setApnName(text);
    };
    return apn;
}

Setting secret(Setting setting) {
    setting.secret = true;
    return setting;
}

Setting only3gpp(Setting setting) {
    setting.on3gpp2 = false;
    return setting;
}

std::vector<Setting> makeSettings() {
    using P = ProfileParams;
    return {
        apnSetting(),
        textSetting("user", "User name", kLongestCredential, &P::hasUserName, &P::getUserName,
                    &P::setUserName),
        secret(textSetting("password", "Password", kLongestCredential, &P::hasPassword,
                           &P::getPassword, &P::setPassword)),
        wordSetting("auth", "How a data call authenticates", "way to authenticate", kAuthWords,
                    &P::hasAuthType, &P::getAuthType, &P::setAuthType),
        wordSetting("ip", "IP families at home", "IP type", kIpWords, &P::hasHomeIPType,
                    &P::getHomeIPType, &P::setHomeIPType),
        only3gpp(wordSetting("roam-ip", "IP families when roaming", "IP type", kIpWords,
                             &P::hasRoamIPType, &P::getRoamIPType, &P::setRoamIPType)),
        typesSetting(),
        wordSetting("class", "Class of the access point", "APN class", kClassWords, &P::hasApnClass,
                    &P::getApnClass, &P::setApnClass),
        flagSetting("clat", "IPv4 over an IPv6-only data call", &P::hasIsClatEnabled,
                    &P::getIsClatEnabled, &P::setIsClatEnabled),
        only3gpp(flagSetting("emergency-capable", "Whether it may carry emergency calls",
                             &P::hasIsEmergencySupported, &P::getIsEmergencySupported,
                             &P::setIsEmergencySupported)),
        only3gpp(flagSetting("disabled", "Whether the access point is disabled",
                             &P::hasIsApnDisabled, &P::getIsApnDisabled, &P::setIsApnDisabled)),
        numberSetting("max-conns", "Connections allowed within one period", "number of connections",
                      &P::hasMaxPdnsConnPerBlock, &P::getMaxPdnsConnPerBlock,
                      &P::setMaxPdnsConnPerBlock),
        numberSetting("max-conns-time", "Length of that period in seconds", "number of seconds",
                      &P::hasMaxPdnConnTimer, &P::getMaxPdnConnTimer, &P::setMaxPdnConnTimer),
        numberSetting("wait-time", "Seconds between two connection requests", "number of seconds",
                      &P::hasPdnReqWaitInterval, &P::getPdnReqWaitInterval,
                      &P::setPdnReqWaitInterval),
    };
}

}  // namespace

std::string Setting::key() const {
    std::string key = name;
    std::replace(key.begin(), key.end(), '-', '_');
    return key;
}

const std::vector<Setting>& settings() {
    static const std::vector<Setting> kSettings = makeSettings();
    return kSettings;
}

const Setting& setting(const std::string& name) {
    const std::vector<Setting>& all = settings();
    return *std::find_if(all.begin(), all.end(),
                         [&](const Setting& candidate) { return candidate.name == name; });
}

std::string toText(const SettingValue& value) {
    struct Visitor {
        std::string operator()(bool flag) const { return flag ? "yes" : "no"; }
        std::string operator()(int number) const { return std::to_string(number); }
        std::string operator()(const std::string& text) const { return text; }
        std::string operator()(const std::vector<std::string>& words) const {
            return words.empty() ? "none" : join(words, ",");
        }
    };
    return std::visit(Visitor{}, value);
}

nlohmann::json toJson(const SettingValue& value) {
    return std::visit([](const auto& held) { return nlohmann::json(held); }, value);
}

}  // namespace velo::tool
