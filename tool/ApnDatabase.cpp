// SPDX-License-Identifier: Apache-2.0

#include "tool/ApnDatabase.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <functional>
#include <optional>
#include <pugixml.hpp>
#include <set>

#include "tool/CommandError.h"
#include "tool/TextFile.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

constexpr unsigned int kWildcardTypes = 0xFF;  // DEFAULT to CBS
constexpr int kLargestNumber = 65535;
constexpr std::size_t kLongestApn = 150;
constexpr const char* kNoNetwork = "none";

/// Radio technologies by Android's numbers: IS95A and B, 1xRTT, EVDO 0, A and B, eHRPD.
const std::set<int> kCdmaBearers = {4, 5, 6, 7, 8, 12, 13};

std::optional<int> numberOf(const std::string& text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number < 0) {
        return std::nullopt;
    }
    return number;
}

/// The form in which networks are kept and found, however a person or a list writes their codes.
std::string codeOf(const std::string& text) {
    std::string code = lowerCase(text);
    std::erase(code, '-');
    return code;
}

std::string trimmed(const pugi::xml_node& node, const char* name) {
    const std::string text = node.attribute(name).value();
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

std::vector<std::string> ApnNetwork::carriers() const {
    std::vector<std::string> names;
    for (const ApnRecord& record : records) {
        if (std::find(names.begin(), names.end(), record.carrier) == names.end()) {
            names.push_back(record.carrier);
        }
    }
    return names;
}

ApnDatabase::ApnDatabase(const std::string& path) : mPath(path) {
    const std::string text = readTextFile(path);
    pugi::xml_document document;
    const pugi::xml_parse_result result = document.load_buffer(text.data(), text.size());
    if (!result) {
        throw CommandError(kUsage, placeIn(path, text, static_cast<std::size_t>(result.offset)) +
                                       ": this is not XML: " + result.description());
    }
    const pugi::xml_node list = document.child("apns");
    if (!list) {
        const std::ptrdiff_t offset = document.document_element().offset_debug();
        throw CommandError(
            kUsage,
            placeIn(path, text, static_cast<std::size_t>(std::max<std::ptrdiff_t>(offset, 0))) +
                ": this is no carrier list: there is no <apns> element");
    }
    for (const pugi::xml_node& node : list.children("apn")) {
        readRecord(node);
    }
}

const ApnNetwork& ApnDatabase::network(const std::string& sim) const {
    const auto place = mPlaces.find(codeOf(sim));
    if (place == mPlaces.end()) {
        throw CommandError(
            kUsage, mPath + " has no network " + sim + "; velo carriers lists those that it has");
    }
    return mNetworks[place->second];
}

std::size_t ApnDatabase::records() const {
    std::size_t count = 0;
    for (const ApnNetwork& network : mNetworks) {
        count += network.records.size();
    }
    return count;
}

std::string ApnDatabase::remarks() const {
    std::vector<std::string> parts;
    for (const auto& [what, count] : mUnknown) {
        parts.push_back(what + " (" + std::to_string(count) + " times)");
    }
    if (mDisabled > 0) {
        parts.push_back(std::to_string(mDisabled) + " disabled records");
    }
    return parts.empty() ? "" : mPath + ": not used: " + join(parts, ", ");
}

void ApnDatabase::readRecord(const pugi::xml_node& node) {
    if (const std::string enabled = lowerCase(trimmed(node, "carrier_enabled"));
        enabled == "false" || enabled == "0") {
        ++mDisabled;
        return;
    }
    ApnRecord record;
    record.carrier = node.attribute("carrier").value();
    record.tech = readTech(node);
    const std::string apn = trimmed(node, "apn");
    if (!apn.empty()) {
        record.params.setApnName(apn);
    }
    if (apn.size() > kLongestApn) {
        countUnknown("APN name of more than 150 characters", apn.substr(0, 20) + "...");
    }
    const std::string user = node.attribute("user").value();
    const std::string password = node.attribute("password").value();
    if (!user.empty()) {
        record.params.setUserName(user);
    }
    if (!password.empty()) {
        record.params.setPassword(password);
    }
    record.params.setAuthType(readAuth(node, !user.empty()));
    record.params.setHomeIPType(readProtocol(node, "protocol"));
    if (record.tech == TechType::TECH_3GPP) {
        record.params.setRoamIPType(readProtocol(node, "roaming_protocol"));
        readNumbers(node, record.params);
    }
    record.params.setApnTypesMask(readTypes(node));

    const std::string mcc = codeOf(trimmed(node, "mcc"));
    const std::string mnc = codeOf(trimmed(node, "mnc"));
    networkOf(mcc.empty() || mnc.empty() ? kNoNetwork : mcc + mnc).records.push_back(record);
}

unsigned int ApnDatabase::readTypes(const pugi::xml_node& node) {
    const std::vector<std::string> types = splitList(node.attribute("type").value());
    if (types.empty()) {
        return kWildcardTypes;
    }
    unsigned int mask = 0;
    for (const std::string& type : types) {
        const auto* word = std::find_if(std::begin(kTypeWords), std::end(kTypeWords),
                                        [&](const Word& known) { return known.text == type; });
        if (type == "*") {
            mask |= kWildcardTypes;
        } else if (word != std::end(kTypeWords)) {
            mask |= word->value;
        } else {
            countUnknown("type", type);
        }
    }
    return mask;
}

IPType ApnDatabase::readProtocol(const pugi::xml_node& node, const char* name) {
    const std::string text = lowerCase(trimmed(node, name));
    if (text.empty() || text == "ip" || text == "ipv4") {
        return IPType::V4;
    }
    if (text == "ipv6") {
        return IPType::V6;
    }
    if (text == "ipv4v6") {
        return IPType::V4V6;
    }
    countUnknown(name, text);
    return IPType::V4;
}

AuthType ApnDatabase::readAuth(const pugi::xml_node& node, bool hasUser) {
    const std::string text = trimmed(node, "authtype");
    const std::optional<int> number = numberOf(text);
    if (number && *number <= static_cast<int>(AuthType::PAP_CHAP)) {
        return static_cast<AuthType>(*number);
    }
    if (!text.empty() && text != "-1") {
        countUnknown("authtype", text);
    }
    return hasUser ? AuthType::PAP_CHAP : AuthType::NONE;
}

TechType ApnDatabase::readTech(const pugi::xml_node& node) {
    bool cdma = false;
    for (const char* name : {"bearer", "bearer_bitmask"}) {
        std::string list = node.attribute(name).value();
        std::replace(list.begin(), list.end(), '|', ',');
        for (const std::string& text : splitList(list)) {
            const std::optional<int> bearer = numberOf(text);
            if (!bearer) {
                countUnknown(name, text);
                continue;
            }
            // Zero means any bearer.
            if (*bearer != 0 && !kCdmaBearers.contains(*bearer)) {
                return TechType::TECH_3GPP;
            }
            cdma = cdma || *bearer != 0;
        }
    }
    return cdma ? TechType::TECH_3GPP2 : TechType::TECH_3GPP;
}

void ApnDatabase::readNumbers(const pugi::xml_node& node, ProfileParams& params) {
    const auto read = [&](const char* name, int divisor, void (ProfileParams::*set)(int)) {
        const std::string text = trimmed(node, name);
        if (text.empty()) {
            return;
        }
        const std::optional<int> number = numberOf(text);
        const int value = number ? *number / divisor + (*number % divisor == 0 ? 0 : 1) : -1;
        if (value < 0 || value > kLargestNumber) {
            countUnknown(name, text);
            return;
        }
        (params.*set)(value);
    };
    constexpr int kMillisecondsInSecond = 1000;
    read("max_conns", 1, &ProfileParams::setMaxPdnsConnPerBlock);
    read("max_conns_time", 1, &ProfileParams::setMaxPdnConnTimer);
    read("wait_time", kMillisecondsInSecond, &ProfileParams::setPdnReqWaitInterval);
}

void ApnDatabase::countUnknown(const std::string& what, const std::string& text) {
    ++mUnknown[what + " '" + text + "'"];
}

ApnNetwork& ApnDatabase::networkOf(const std::string& id) {
    const auto [place, isNew] = mPlaces.emplace(id, mNetworks.size());
    if (isNew) {
        mNetworks.push_back({id, {}});
    }
    return mNetworks[place->second];
}

}  // namespace velo::tool
