// SPDX-License-Identifier: Apache-2.0

#include "soak/Application.h"

#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "velo/Manager.h"

namespace velo::soak {

namespace {

constexpr std::size_t kMostKeys = 12;
constexpr std::size_t kMostRecords = 6;

Manager& manager() {
    return Manager::getInstance();
}

Place placeOf(IProfileKey& key) {
    return {key.getTechType(), key.getProfileId()};
}

}  // namespace

Application::Application(Journal& journal, CallWatch& watch, std::uint64_t seed)
    : mJournal(journal), mWatch(watch), mDice(seed) {
    mNextSim = mDice.below(mDatabase.networks().size());
}

void Application::run(const std::atomic<bool>& stop) {
    while (!stop) {
        bringUp(mDatabase.networks()[mNextSim++ % mDatabase.networks().size()], stop);
    }
}

void Application::bringUp(const tool::ApnNetwork& network, const std::atomic<bool>& stop) {
    std::list<ProfileParams> params3gpp;
    std::list<ProfileParams> params3gpp2;
    for (const tool::ApnRecord& record : network.records) {
        (record.tech == TechType::TECH_3GPP ? params3gpp : params3gpp2).push_back(record.params);
        if (params3gpp.size() + params3gpp2.size() == kMostRecords) break;
    }
    std::list<ProfileParams> all = params3gpp;
    all.insert(all.end(), params3gpp2.begin(), params3gpp2.end());

    mUtil.setProfileUpdateAllowed(mDice.cast(0.5));
    mUtil.updateAPNTypeBitmaskOnModemProfile(all);
    notePolicy();
    mUtil.updateModemProfileByApnClass(params3gpp, params3gpp2);
    notePolicy();
    const auto goOn = [&](Key key) {
        notePolicy();
        keep(std::move(key));
        doSomething();
        return !stop;
    };
    if (!params3gpp.empty()) {
        const ProfileParams& first = params3gpp.front();
        if (!goOn(mUtil.findOrCreateProfileForLteAttach(first))) return;
        mUtil.matchLteAttachProfileId(mDice.below(8), first);
    }
    for (const auto& [tech, records] : {std::pair(TechType::TECH_3GPP, &params3gpp),
                                        std::pair(TechType::TECH_3GPP2, &params3gpp2)}) {
        for (const ProfileParams& record : *records) {
            if (!goOn(mUtil.findOrCreateProfileForSetupDataCall(tech, record))) return;
        }
    }
    if (!all.empty()) goOn(mUtil.findOrCreateProfileForEmergencyDataCall(all.front()));
}

void Application::notePolicy() {
    // A policy may write into a profile that took the place of the one which it found.
    for (const Place& place : mWatch.takeModified()) mJournal.overwritten(place);
}

void Application::keep(Key key) {
    if (!key) {
        // The modem is down: a framework would wait, too.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return;
    }
    if (mDice.cast(0.2)) {
        mWatch.begin("registerExpirationListener");
        key->registerExpirationListener([] {});
        mWatch.end();
    }
    mKeys.push_back(key);
    if (mDice.cast(0.3)) mKeys.push_back(std::move(key));
    while (mKeys.size() > kMostKeys) drop(std::exchange(mKeys.front(), nullptr));
}

void Application::drop(Key key) {
    const auto held = mJournal.hold();
    if (mKeys.front() == nullptr) mKeys.pop_front();
    if (key.use_count() > 1) return;
    mJournal.mayBeGone(placeOf(*key));
    mWatch.begin("drop");
    key.reset();
    mWatch.end();
}

void Application::dropKeys() {
    while (!mKeys.empty()) drop(std::exchange(mKeys.front(), nullptr));
}

void Application::doSomething() {
    switch (mDice.below(6)) {
        case 0:
            return add();
        case 1:
        case 2:
            return change();
        case 3:
            return remove();
        default:
            return look();
    }
}

void Application::add() {
    const bool persistent = mDice.cast(0.7);
    const auto tech = mDice.cast(0.8) ? TechType::TECH_3GPP : TechType::TECH_3GPP2;
    const std::string apn = "soak." + mJournal.fresh();
    const std::string user = mJournal.fresh();
    AddProfileParams params(persistent, tech, false);
    params.setApnName(apn);
    params.setUserName(user);
    const auto held = mJournal.hold();
    Key key = manager().addProfile(params);
    if (!key) return;
    if (!persistent) return keep(std::move(key));
    mJournal.added(placeOf(*key), apn, user);
    mWatch.begin("drop of a persistent profile's key");
    key.reset();
    mWatch.end();
}

Application::Key Application::anyOwn() {
    FilterProfileParams byName;
    byName.setApnName(mDice.cast(0.7) ? "soak." : "other.");
    byName.addFilterMatchCriteria(static_cast<unsigned int>(FilterMatchType::ApnNameSubset));
    const std::list<Key> keys = manager().filter(byName);
    if (keys.empty()) return nullptr;
    return *std::next(keys.begin(), static_cast<std::ptrdiff_t>(mDice.below(keys.size())));
}

void Application::change() {
    const auto held = mJournal.hold();
    const Key key = anyOwn();
    if (!key) return;
    const Place place = placeOf(*key);
    const std::string user = mJournal.fresh();
    ModifyProfileParams params;
    params.setUserName(user);
    mJournal.mayChange(place, user);
    manager().modifyProfile(params, key);
    mWatch.takeModified();
    const auto contents = manager().getProfile(key);
    // Nobody but the modem can have told the library of a name that is used this once.
    if (contents && contents->getUserName() == user) mJournal.changed(place, user);
}

void Application::remove() {
    const auto held = mJournal.hold();
    const Key key = anyOwn();
    if (!key) return;
    const Place place = placeOf(*key);
    if (manager().deleteProfile(key)) {
        mJournal.deleted(place);
    } else {
        mJournal.mayBeGone(place);
    }
}

void Application::look() {
    const std::list<Key> keys = manager().filter(FilterProfileParams());
    for (const Key& key : keys) {
        const auto contents = manager().getProfile(key);
        if (contents && mDice.cast(0.2)) manager().match(FilterProfileParams(*contents), key);
    }
    if (mDice.cast(0.05)) {
        manager().refresh(PDCRefreshStatus::REFRESH_STARTED);
        manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    }
    if (mDice.cast(0.1)) manager().dump();
}

}  // namespace velo::soak
