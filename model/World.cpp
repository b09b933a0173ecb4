// SPDX-License-Identifier: Apache-2.0

#include "model/World.h"

#include <algorithm>
#include <chrono>
#include <list>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

#include "LocalLogBuffer.h"
#include "host/mox/Codec.h"
#include "host/mox/Frame.h"
#include "host/mox/MoxHost.h"
#include "host/mox/WdsService.h"
#include "modem/ProfileJson.h"

namespace velo::model {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kBound{20};
constexpr std::size_t kMostKeys = 32;
constexpr std::size_t kHistory = 201;
constexpr std::uint64_t kImsType = 0x002;

modem::StoredProfile profileOf(TechType tech, int index, const Image& image) {
    return {{static_cast<wds_profile_type_enum_v01>(tech), static_cast<std::uint8_t>(index)},
            image.isPersistent,
            settingsOf(image)};
}

/// A profile as another client makes it.
Image foreignImage(TechType tech, bool persistent, const ProfileParams& params) {
    Image image = imageOf(AddProfileParams(params, persistent, tech, false));
    image.name.reset();
    return image;
}

std::vector<modem::StoredProfile> factoryProfiles() {
    ProfileParams internet;
    internet.setApnName("internet");
    internet.setHomeIPType(IPType::V4V6);
    internet.setApnTypesMask(0x1);
    ProfileParams ims;
    ims.setApnName("ims");
    ims.setApnClass(ApnClass::IMS);
    const auto profile = [](TechType tech, int index, const ProfileParams& params) {
        return profileOf(tech, index, foreignImage(tech, true, params));
    };
    return {profile(TechType::TECH_3GPP, 1, internet), profile(TechType::TECH_3GPP, 3, ims),
            profile(TechType::TECH_3GPP2, 0, internet)};
}

modem::ModemOptions modemOptions() {
    modem::ModemOptions options;
    options.factoryProfiles = factoryProfiles();
    options.capacity = ModemModel::kCapacity;
    return options;
}

/// What another client makes of a step's settings, in ways that this library does not.
modem::StoredProfile foreignProfile(const Step& step) {
    const TechType tech = step.index("tech") == 0 ? TechType::TECH_3GPP : TechType::TECH_3GPP2;
    Image image = foreignImage(tech, step.index("persistent") != 0, step.params());
    if (tech == TechType::TECH_3GPP) {
        if (step.has("name")) image.name = step.value("name");
        if (step.has("override")) image.overrideHome = static_cast<IPType>(step.index("override"));
        if (step.has("umts")) image.umtsRoam = static_cast<IPType>(step.index("umts"));
    }
    if (step.index("high") != 0) image.types = image.types.value_or(0) | 0x100000000;
    return profileOf(tech, static_cast<int>(step.index("id")), image);
}

std::string textOf(bool is) {
    return is ? "true" : "false";
}

template <typename Number>
requires std::is_arithmetic_v<Number> std::string textOf(Number number) {
    return std::to_string(number);
}

template <typename Shown>
requires requires(Shown shown) {
    shown->dump();
}
std::string textOf(const Shown& shown) {
    return shown ? shown->dump() : "nothing";
}

std::string textOf(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += "\n    " + line;
    return text;
}

std::string textOf(const std::vector<ModemModel::Report>& reports) {
    std::vector<std::string> lines;
    lines.reserve(reports.size());
    for (const auto& report : reports) lines.push_back(report.text());
    return textOf(lines);
}

std::string textOf(const std::vector<modem::StoredProfile>& profiles) {
    std::vector<std::string> lines;
    lines.reserve(profiles.size());
    for (const auto& profile : profiles) {
        lines.push_back(imageOf(profile).text() + " " + modem::profileToJson(profile).dump());
    }
    return textOf(lines);
}

template <typename Expected, typename Observed>
void expectSame(const char* what, const Expected& expected, const Observed& observed) {
    const std::string wanted = textOf(expected);
    const std::string seen = textOf(observed);
    if (wanted == seen) return;
    throw Violation(std::string(what) + "\n  expected: " + wanted + "\n  observed: " + seen);
}

void withholdTypes(mox::Frame& frame) {
    if (frame.kind != MOX_MESSAGE_RESPONSE || frame.messageId != kWdsGetProfileSettingsReq) return;
    const auto* const layout = mox::wdsService().find(MOX_MESSAGE_RESPONSE, frame.messageId);
    wds_get_profile_settings_resp_msg_v01 message{};
    mox::decode(*layout, frame.payload, &message);
    auto& types = message.settings.apn_type_mask;
    if ((types.value & kImsType) != 0) types.valid = 0;
    frame.payload.clear();
    mox::encode(*layout, &message, frame.payload);
}

}  // namespace

World::World(bool isModemLying)
    : mManager(Manager::getInstance()),
      mModem(modemOptions()),
      mModel(factoryProfiles()),
      mPolicies(mModel) {
    mox::setModemPath(mModem.socketPath());
    mModem.setGate([this](const mox::Frame& request) { return admit(request); });
    mModem.setTamper([this, isModemLying](mox::Frame& frame) {
        if (isModemLying) withholdTypes(frame);
        return holdBack(frame);
    });
    start(0);
    // The first profile that is read tells which token comes next in this process.
    send(mHeld);
    unsigned long long least = ~0ULL;
    for (const std::string& line : mManager.dump()) {
        if (line.empty() || line == "Pending:") break;
        if (line != "Cache:") least = std::min(least, std::stoull(line));
    }
    mModel.setNextToken(least);
    observe();
    mModel.onIndication(mHeld.front(), {});
    mModemModel.underWay.clear();
    mHeld.clear();
    compare();
}

World::~World() {
    mKeys.clear();
    // The library outlives this world in its singleton, and must not go on to the next one's modem.
    mox::setModemPath("");
    try {
        if (mModemModel.isOn()) powerOff();
    } catch (const Violation&) {
        // Then the world ends because of one that was told already.
    }
}

void World::perform(const Step& step) {
    carryOut(step);
    if (mKeys.size() > kMostKeys) carryOut(Step{"drop"});
}

void World::carryOut(const Step& step) {
    static const Actions actions = [] {
        Actions all;
        addFacade(all);
        addPolicies(all);
        addModem(all);
        return all;
    }();
    LocalLogBuffer::getInstance().flush();
    {
        const std::lock_guard lock(mMutex);
        mExchanges = 0;
        mRefused = static_cast<int>(step.index("refuse"));
        if (step.has("refuse") && mRefused == 0) mRefused = -1;
    }
    mModel.beginStep({}, 0);
    actions.at(step.operation)(*this, step);
    compare();
}

void World::addFacade(Actions& actions) {
    actions["add"] = [](World& w, const Step& step) {
        const AddProfileParams params(step.params(), step.index("persistent") != 0, step.tech(),
                                      step.index("initial") != 0);
        w.hold(w.mManager.addProfile(params), [&] { return w.mModel.addProfile(params); });
    };
    actions["modify"] = [](World& w, const Step& step) {
        const ModifyProfileParams params(step.params());
        const HeldKey key = w.keyOf(step);
        w.check("modifyProfile returns", w.mManager.modifyProfile(params, key.real),
                [&] { return w.mModel.modifyProfile(params, key.model); });
    };
    actions["delete"] = [](World& w, const Step& step) {
        const HeldKey key = w.keyOf(step);
        w.check("deleteProfile returns", w.mManager.deleteProfile(key.real),
                [&] { return w.mModel.deleteProfile(key.model); });
    };
    actions["get"] = [](World& w, const Step& step) {
        const HeldKey key = w.keyOf(step);
        w.check("getProfile returns", w.mManager.getProfile(key.real),
                [&] { return w.mModel.getProfile(key.model); });
    };
    actions["match"] = [](World& w, const Step& step) {
        const HeldKey key = w.keyOf(step);
        w.check("match returns", w.mManager.match(step.filter(), key.real),
                [&] { return w.mModel.match(step.filter(), key.model); });
    };
    actions["filter"] = [](World& w, const Step& step) { w.filter(step); };
    actions["listen"] = [](World& w, const Step& step) {
        const HeldKey key = w.keyOf(step);
        if (!key.real) return;
        const int listener = ++w.mListeners;
        key.real->registerExpirationListener([heard = w.mHeard, listener] {
            const std::lock_guard lock(heard->mutex);
            heard->listeners.push_back(listener);
        });
        w.observe();
        w.mModel.registerListener(listener, key.model);
    };
    actions["copy"] = [](World& w, const Step& step) {
        const HeldKey key = w.keyOf(step);
        if (key.real) w.mKeys.push_back(key);
    };
    actions["drop"] = [](World& w, const Step& step) {
        if (w.mKeys.empty()) return;
        const auto index = static_cast<std::ptrdiff_t>(step.index("key") % w.mKeys.size());
        HeldKey key = std::move(w.mKeys[static_cast<std::size_t>(index)]);
        w.mKeys.erase(w.mKeys.begin() + index);
        key.real.reset();
        w.observe();
        w.mModel.drop(std::move(key.model));
    };
    actions["refresh"] = actions["refresh-start"] = [](World& w, const Step& step) {
        const auto status = step.operation == "refresh" ? PDCRefreshStatus::REFRESH_COMPLETED
                                                        : PDCRefreshStatus::REFRESH_STARTED;
        w.mManager.refresh(status);
        w.observe();
        w.mModel.refresh(status);
    };
    actions["init"] = [](World& w, const Step& step) { w.start(step.index("subscription")); };
}

void World::addPolicies(Actions& actions) {
    actions["data-call"] = [](World& w, const Step& step) {
        w.hold(w.mUtil.findOrCreateProfileForSetupDataCall(step.tech(), step.params()),
               [&] { return w.mPolicies.dataCall(step.tech(), step.params()); });
    };
    actions["emergency"] = [](World& w, const Step& step) {
        w.hold(w.mUtil.findOrCreateProfileForEmergencyDataCall(step.params()),
               [&] { return w.mPolicies.emergencyCall(step.params()); });
    };
    actions["attach"] = [](World& w, const Step& step) {
        w.hold(w.mUtil.findOrCreateProfileForLteAttach(step.params()),
               [&] { return w.mPolicies.attach(step.params()); });
    };
    actions["match-attach"] = [](World& w, const Step& step) {
        const int id = static_cast<int>(step.index("id"));
        w.check("matchLteAttachProfileId returns",
                w.mUtil.matchLteAttachProfileId(id, step.params()),
                [&] { return w.mPolicies.matchAttach(id, step.params()); });
    };
    actions["by-class"] = [](World& w, const Step& step) {
        std::list<ProfileParams> params3gpp;
        std::list<ProfileParams> params3gpp2;
        for (std::size_t i = 0; i < step.records.size(); ++i) {
            const bool is3gpp = step.tech(i) == TechType::TECH_3GPP;
            (is3gpp ? params3gpp : params3gpp2).push_back(step.params(i));
        }
        w.mUtil.updateModemProfileByApnClass(params3gpp, params3gpp2);
        w.observe();
        w.mPolicies.updateByClass(params3gpp, params3gpp2);
    };
    actions["by-types"] = [](World& w, const Step& step) {
        std::list<ProfileParams> records;
        for (std::size_t i = 0; i < step.records.size(); ++i) records.push_back(step.params(i));
        w.mUtil.updateAPNTypeBitmaskOnModemProfile(records);
        w.observe();
        w.mPolicies.updateTypes(records);
    };
    actions["allow"] = [](World& w, const Step& step) {
        w.mUtil.setProfileUpdateAllowed(step.index("allowed") != 0);
        w.observe();
        w.mPolicies.setProfileUpdateAllowed(step.index("allowed") != 0);
    };
}

void World::addModem(Actions& actions) {
    for (const char* operation : {"foreign-add", "foreign-modify", "foreign-delete"}) {
        actions[operation] = [](World& w, const Step& step) { w.foreign(step); };
    }
    actions["deliver"] = [](World& w, const Step&) { w.deliver(w.mHeld, {}); };
    actions["deliver-one"] = [](World& w, const Step& step) {
        if (w.mHeld.empty()) return;
        const auto index = step.index("which") % w.mHeld.size();
        Reports rest = w.mHeld;
        if (step.index("again") == 0) rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(index));
        w.deliver({w.mHeld[index]}, rest);
    };
    actions["lose"] = [](World& w, const Step& step) {
        if (w.mHeld.empty()) return;
        const auto index = static_cast<std::ptrdiff_t>(step.index("which") % w.mHeld.size());
        w.mHeld.erase(w.mHeld.begin() + index);
        w.mModemModel.underWay.erase(w.mModemModel.underWay.begin() + index);
    };
    actions["report"] = [](World& w, const Step& step) {
        if (!w.mModemModel.isOn()) return;
        const auto event = static_cast<wds_profile_event_enum_v01>(std::stoi(step.value("event")));
        w.deliver({{static_cast<wds_profile_type_enum_v01>(step.tech()),
                    static_cast<int>(step.index("id")), event}},
                  w.mHeld);
    };
    actions["power-off"] = [](World& w, const Step&) {
        if (!w.mModemModel.isOn()) return;
        w.powerOff();
        w.mHeld.clear();
        w.observe();
        w.mModemModel.powerOff();
        w.mModel.expect(LogLevel::Info, "Handling modem down");
        w.mModel.expect(LogLevel::Event, "MoxWdsProxy::registerMoxSvcUp");
        w.mModel.getProfile(nullptr);
    };
    actions["power-on"] = [](World& w, const Step&) {
        if (w.mModemModel.isOn()) return;
        w.mModem.powerOn();
        w.mRecorder.waitFor("MoxWdsProxy config register request successful!");
        w.waitForReady();
        w.observe();
        w.mModemModel.powerOn();
    };
}

void World::filter(const Step& step) {
    auto found = mManager.filter(step.filter());
    std::vector<std::string> texts;
    std::vector<RealKey> kept;
    for (; !found.empty(); found.pop_front()) {
        texts.push_back(found.front()->dump());
        if (kept.size() < step.index("keep")) kept.push_back(found.front());
    }
    observe();
    std::map<std::string, KeyPtr> expected;
    for (KeyPtr& key : mModel.filter(step.filter())) {
        const std::string text = key->dump();
        expected.emplace(text, std::move(key));
    }
    expectSame("keys that filter finds", expected.size(), texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        auto key = expected.extract(texts[i]);
        if (key.empty()) throw Violation("filter finds " + texts[i]);
        if (i < kept.size()) {
            keep(std::move(kept[i]), std::move(key.mapped()));
        } else {
            mModel.drop(std::move(key.mapped()));
        }
    }
}

void World::foreign(const Step& step) {
    const auto profile = foreignProfile(step);
    const auto tech = static_cast<TechType>(profile.id.profile_type);
    const int index = profile.id.profile_index;
    const unsigned int subscription = step.index("subscription");
    if (step.operation == "foreign-add") {
        const auto added = mModem.addProfile(subscription, profile);
        check("another client's profile is", added ? int{*added} : -1,
              [&] { return mModemModel.create(subscription, profile); });
    } else if (step.operation == "foreign-modify") {
        mModem.modifyProfile(subscription, profile.id, profile.settings);
        observe();
        mModemModel.modify(subscription, tech, index, profile.settings);
    } else {
        mModem.deleteProfile(subscription, profile.id);
        observe();
        mModemModel.remove(subscription, tech, index);
    }
}

void World::deliver(const Reports reports, const Reports rest) {
    mHeld.clear();
    send(reports);
    observe();
    const auto isNull = [this](unsigned long long token) {
        const auto lines = mManager.dump();
        return std::find(lines.begin(), lines.end(), "  " + std::to_string(token) + ": null") !=
               lines.end();
    };
    for (const auto& report : reports) mModel.onIndication(report, isNull);
    mHeld = rest;
    mModemModel.underWay = rest;
}

void World::powerOff() {
    mModem.powerOff();
    mRecorder.waitFor("MoxWdsProxy::registerMoxSvcUp");
    // Once it has answered a request the worker is done with what it did before.
    mManager.getProfile(nullptr);
}

void World::start(unsigned int subscription) {
    mHeld.clear();
    LocalLogBuffer::getInstance().flush();
    mManager.init(static_cast<int>(subscription), false);
    if (mModemModel.isOn()) waitForReady();
    mManager.getProfile(nullptr);
    const auto end = Clock::now() + kBound;
    while (mModem.clients() != (mModemModel.isOn() ? 1 : 0)) {
        if (Clock::now() > end) throw Violation("the connection of the manager before stays");
        std::this_thread::yield();
    }
    mRecorder.attach();
    mRecorder.take();
    auto said = LocalLogBuffer::getInstance().getLogs();
    for (std::string& line : said) line.erase(0, line.find("[VELO]") + 6);
    std::sort(said.begin(), said.end());
    const std::vector<std::string> expected{"Manager::getProfile < Get Failure ",
                                            "Manager::getProfile > Get ",
                                            "Manager::init(" + std::to_string(subscription) + ")",
                                            "MoxWdsProxy::registerMoxSvcUp", "VELO thread started"};
    expectSame("the log of a start", expected, said);
    LocalLogBuffer::getInstance().flush();
    mModel.init(subscription);
}

bool World::admit(const mox::Frame& request) {
    if (request.messageId < kWdsCreateProfileReq || request.messageId > kWdsGetProfileSettingsReq) {
        return true;
    }
    const std::lock_guard lock(mMutex);
    ++mExchanges;
    return mRefused >= 0 && mExchanges != mRefused;
}

bool World::holdBack(const mox::Frame& frame) {
    if (frame.kind != MOX_MESSAGE_INDICATION) return true;
    const std::lock_guard lock(mMutex);
    if (mIsPassing) return true;
    wds_profile_changed_ind_msg_v01 message{};
    mox::decode(*mox::wdsService().find(MOX_MESSAGE_INDICATION, frame.messageId), frame.payload,
                &message);
    const auto& changed = message.profile_changed.value;
    mHeld.push_back({changed.profile_type, changed.profile_index, changed.event});
    mHeldOne.notify_all();
    return false;
}

void World::waitForReady() {
    std::unique_lock lock(mMutex);
    const bool ready = mHeldOne.wait_for(lock, kBound, [this] {
        return !mHeld.empty() && mHeld.back().event == WDS_PROFILE_EVENT_READY;
    });
    if (!ready) throw Violation("the library does not register with the modem");
}

void World::send(const Reports& reports) {
    const auto pass = [this](bool isPassing) {
        const std::lock_guard lock(mMutex);
        mIsPassing = isPassing;
    };
    pass(true);
    for (const auto& report : reports) {
        mModem.report(mModemModel.subscription(),
                      {report.type, static_cast<std::uint8_t>(report.index)}, report.event);
    }
    pass(false);
    mRecorder.waitForIndications(reports.size());
}

World::HeldKey World::keyOf(const Step& step) const {
    if (!step.has("key") || mKeys.empty()) return {};
    return mKeys[step.index("key") % mKeys.size()];
}

void World::hold(RealKey real, const std::function<KeyPtr()>& expected) {
    observe();
    keep(std::move(real), expected());
}

void World::keep(RealKey real, KeyPtr model) {
    expectSame("another key", model, real);
    if (!real) return;
    expectSame("another profile id", model->id, real->getProfileId());
    expectSame("another technology", model->tech == TechType::TECH_3GPP,
               real->getTechType() == TechType::TECH_3GPP);
    mKeys.push_back({std::move(real), std::move(model)});
}

template <typename Expected, typename Observed>
void World::check(const char* what, const Observed& observed, const Expected& expected) {
    observe();
    expectSame(what, expected(), observed);
}

void World::observe() {
    const auto lines = mRecorder.take();
    mLines = static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](auto& line) {
        return line.first == LogLevel::Event || line.first == LogLevel::Error;
    }));
    mModel.beginStep(lines, mRefused);
}

void World::compare() {
    mModel.endStep();
    for (unsigned int subscription = 0; subscription < 2; ++subscription) {
        expectSame("the modem stores something else", mModemModel.all(subscription),
                   mModem.profiles(subscription));
    }
    const std::lock_guard lock(mMutex);
    expectSame("the reports of the modem", mModemModel.underWay, mHeld);
    expectSame("exchanges with the modem", mModel.exchanges(), mExchanges);
    compareListeners();
    compareDump();
}

void World::compareListeners() {
    std::vector<int> heard;
    {
        const std::lock_guard lock(mHeard->mutex);
        heard.swap(mHeard->listeners);
    }
    auto left = mModel.ranListeners();
    auto next = heard.begin();
    while (next != heard.end()) {
        const auto group = std::find_if(left.begin(), left.end(), [&](const auto& listeners) {
            return static_cast<std::ptrdiff_t>(listeners.size()) <= heard.end() - next &&
                   std::equal(listeners.begin(), listeners.end(), next);
        });
        if (group == left.end()) {
            throw Violation("listener " + std::to_string(*next) + " runs, and must not here");
        }
        next += static_cast<std::ptrdiff_t>(group->size());
        left.erase(group);
    }
    if (!left.empty()) {
        throw Violation("listener " + std::to_string(left.front().front()) + " does not run");
    }
}

void World::compareDump() {
    const auto dump = mManager.dump();
    const auto pending = std::find(dump.begin(), dump.end(), "Pending:");
    const auto end = std::find(pending, dump.end(), "");
    if (dump.front() != "Cache:" || dump.end() - end < 2 || *(end + 1) != "Logs:") {
        throw Violation("the dump is not of its form:" + textOf(dump));
    }
    std::vector<std::string> cached(dump.begin() + 1, pending);
    std::sort(cached.begin(), cached.end());
    expectSame("the cache", mModel.cacheLines(), cached);
    expectSame("pending transactions", mModel.pendingLines(),
               std::vector<std::string>(pending + 1, end));
    expectSame("lines of the history", std::min(mLines, kHistory),
               static_cast<std::size_t>(dump.end() - end - 2));
    mLines = 0;
}

}  // namespace velo::model
