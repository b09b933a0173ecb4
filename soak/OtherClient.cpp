// SPDX-License-Identifier: Apache-2.0

#include "soak/OtherClient.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace velo::soak {

using nlohmann::json;

namespace {

json placeMembers(const Place& place) {
    return {{"technology", place.first == TechType::TECH_3GPP ? "3gpp" : "3gpp2"},
            {"index", place.second}};
}

bool isDone(const std::optional<json>& answer) {
    return answer && answer->contains("ok");
}

}  // namespace

OtherClient::OtherClient(const ModemProcess& modem, Journal& journal, std::uint64_t seed)
    : mModem(modem), mController(modem.control()), mJournal(journal), mDice(seed) {}

void OtherClient::run(const std::atomic<bool>& stop) {
    while (!stop) {
        doSomething();
        count();
        std::this_thread::sleep_for(std::chrono::milliseconds(1 + mDice.below(8)));
    }
}

void OtherClient::count() {
    const unsigned int before = mModem.started();
    const auto status = mController.order({{"order", "status"}});
    // One that was exchanged meanwhile may have been asked or not.
    if (!status || before != mModem.started()) return;
    std::uint64_t injected = 0;
    for (const json& number : status->at("injected")) injected += number.get<std::uint64_t>();
    if (mCounted != before) mInjectedBefore += mInjected;
    mCounted = before;
    mInjected = injected;
}

void OtherClient::doSomething() {
    switch (mDice.below(5)) {
        case 0:
            return add();
        case 1:
            return change();
        case 2:
            return remove();
        default:
            return disturb();
    }
}

void OtherClient::add() {
    const bool persistent = mDice.cast(0.7);
    const std::string apn = "other." + mJournal.fresh();
    const std::string user = mJournal.fresh();
    const json settings = mDice.cast(0.8)
                              ? json{{"apn_name", apn}, {"user_name", user}}
                              : json{{"apn_string_3gpp2", apn}, {"user_id_3gpp2", user}};
    const json order{{"order", "add"},
                     {"profile",
                      {{"technology", settings.contains("apn_name") ? "3gpp" : "3gpp2"},
                       {"persistent", persistent},
                       {"settings", settings}}}};
    if (!persistent) {
        mChanges += isDone(mController.order(order)) ? 1U : 0U;
        return;
    }
    const auto held = mJournal.hold();
    const auto answer = mController.order(order);
    if (!isDone(answer)) return;
    ++mChanges;
    const auto tech = settings.contains("apn_name") ? TechType::TECH_3GPP : TechType::TECH_3GPP2;
    mJournal.added({tech, answer->at("index").get<int>()}, apn, user);
}

std::optional<modem::StoredProfile> OtherClient::anyOwn() {
    const auto store = mController.list();
    if (!store) return std::nullopt;
    std::vector<modem::StoredProfile> own;
    for (const modem::StoredProfile& profile : *store) {
        const std::string apn = apnOf(profile);
        if (apn.starts_with("other.") || apn.starts_with("soak.")) own.push_back(profile);
    }
    if (own.empty()) return std::nullopt;
    return own[mDice.below(own.size())];
}

void OtherClient::change() {
    const auto held = mJournal.hold();
    const auto profile = anyOwn();
    if (!profile) return;
    const Place place = placeOf(*profile);
    const std::string user = mJournal.fresh();
    json order = placeMembers(place);
    order["order"] = "change";
    order["settings"][place.first == TechType::TECH_3GPP ? "user_name" : "user_id_3gpp2"] = user;
    mJournal.mayChange(place, user);
    if (!isDone(mController.order(order))) return;
    ++mChanges;
    mJournal.changed(place, user);
}

void OtherClient::remove() {
    const auto held = mJournal.hold();
    const auto profile = anyOwn();
    if (!profile) return;
    const Place place = placeOf(*profile);
    json order = placeMembers(place);
    order["order"] = "delete";
    if (isDone(mController.order(order))) {
        ++mChanges;
        mJournal.deleted(place);
    } else {
        mJournal.mayBeGone(place);
    }
}

void OtherClient::disturb() {
    static const std::vector<json> kOrders{
        {{"order", "subscription-change"}},
        {{"order", "store-ready"}},
        {{"order", "reject"}, {"message", "any"}},
        {{"order", "drop"}, {"message", "create-profile"}},
        {{"order", "drop"}, {"message", "delete-profile"}},
        {{"order", "delay"}, {"message", "any"}, {"ms", 80}},
        {{"order", "damage"}, {"message", "get-profile-list"}, {"kind", "over-long"}},
        {{"order", "damage"}, {"message", "get-profile-list"}, {"kind", "truncated"}},
        {{"order", "damage"}, {"message", "get-profile-settings"}, {"kind", "unterminated"}},
        {{"order", "damage"}, {"message", "get-profile-settings"}, {"kind", "unknown-enumerators"}},
        {{"order", "indicate"}, {"event", "modify"}, {"index", 1}},
        {{"order", "indicate"}, {"event", "create"}, {"index", 200}},
        {{"order", "indicate"}, {"event", "delete"}, {"index", 0}},
        {{"order", "indicate"}, {"event", "77"}, {"technology", "3gpp2"}},
        {{"order", "indicate-raw"}, {"bytes", "10 02 00 ff ff"}},
        {{"order", "indicate-damaged"}, {"index", 1}},
        {{"order", "indicate-duplicated"}, {"index", 1}},
        {{"order", "indicate-reordered"}, {"index", 1}},
        {{"order", "indicate-unknown"}},
        {{"order", "restart"}, {"at", "echo"}, {"message", "create-profile"}},
        {{"order", "restart"}, {"at", "answer"}, {"message", "delete-profile"}},
        {{"order", "restart"}, {"off", 20}}};
    if (mDice.cast(0.1)) {
        mController.order({{"order", "disconnect"}, {"client", 1 + mDice.below(12)}});
        return;
    }
    mController.order(kOrders[mDice.below(kOrders.size())]);
}

}  // namespace velo::soak
