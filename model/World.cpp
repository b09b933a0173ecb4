// SPDX-License-Identifier: Apache-2.0

#include "model/World.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "LocalLogBuffer.h"
#include "host/mox/Codec.h"
#include "host/mox/Frame.h"
#include "host/mox/MoxHost.h"
#include "host/mox/WdsService.h"

namespace velo::model {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kBound{20};
constexpr std::size_t kMostKeys = 32;
constexpr std::size_t kHistory = 201;
constexpr std::uint64_t kImsType = 0x002;

modem::StoredProfile profileOf(TechType tech, int index, const ProfileParams& params) {
    Image image = imageOf(AddProfileParams(params, true, tech, false));
    image.name.reset();
    modem::StoredProfile profile{{}, true, settingsOf(image)};
    profile.id = {static_cast<wds_profile_type_enum_v01>(tech), static_cast<std::uint8_t>(index)};
    return profile;
}

std::vector<modem::StoredProfile> factoryProfiles() {
    ProfileParams internet;
    internet.setApnName("internet");
    internet.setHomeIPType(IPType::V4V6);
    internet.setApnTypesMask(0x1);
    ProfileParams ims;
    ims.setApnName("ims");
    ims.setApnClass(ApnClass::IMS);
    return {profileOf(TechType::TECH_3GPP, 1, internet), profileOf(TechType::TECH_3GPP, 3, ims),
            profileOf(TechType::TECH_3GPP2, 0, internet)};
}

modem::ModemOptions modemOptions() {
    modem::ModemOptions options;
    options.factoryProfiles = factoryProfiles();
    options.capacity = Store::kCapacity;
    return options;
}

TechType techOf(const Step::Arguments& record) {
    const auto found = record.find("tech");
    return static_cast<TechType>(found == record.end() ? 0 : found->second);
}

/// What another client makes of a step's settings, in ways that this library does not.
modem::StoredProfile foreignProfile(const Step& step) {
    const TechType tech = step.index("tech") == 0 ? TechType::TECH_3GPP : TechType::TECH_3GPP2;
    const bool persistent = step.index("persistent") != 0;
    Image image = imageOf(AddProfileParams(step.params(), persistent, tech, false));
    image.name.reset();
    if (tech == TechType::TECH_3GPP) {
        static constexpr const char* kNames[] = {"other", "velo_profile", "velo_profile_ia",
                                                 "VELO_PROFILE"};
        if (step.has("name")) image.name = kNames[step.index("name")];
        if (step.has("override")) image.overrideHome = static_cast<IPType>(step.index("override"));
        if (step.has("umts")) image.umtsRoam = static_cast<IPType>(step.index("umts"));
    }
    if (step.index("high") != 0) image.types = image.types.value_or(0) | 0x100000000;
    modem::StoredProfile profile{{}, persistent, settingsOf(image)};
    profile.id.profile_type = static_cast<wds_profile_type_enum_v01>(tech);
    profile.id.profile_index = static_cast<std::uint8_t>(step.index("id"));
    return profile;
}

template <typename T>
void expectSame(const char* what, const T& expected, const T& observed) {
    if (expected == observed) return;
    throw Violation(std::string(what) + "\n  expected: " + expected + "\n  observed: " + observed);
}

void expectSame(const char* what, bool expected, bool observed) {
    expectSame<std::string>(what, expected ? "true" : "false", observed ? "true" : "false");
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += "\n    " + line;
    return text;
}

std::string textOf(const std::vector<CacheModel::Report>& reports) {
    std::vector<std::string> lines;
    for (const auto& report : reports) lines.push_back(report.text());
    return joined(lines);
}

std::string textOf(const std::vector<modem::StoredProfile>& profiles) {
    std::vector<std::string> lines;
    for (const auto& profile : profiles) {
        lines.push_back(std::string(profile.persistent ? "persistent " : "volatile ") +
                        imageOf(profile).text());
    }
    return joined(lines);
}

bool equal(const modem::StoredProfile& one, const modem::StoredProfile& other) {
    return one.id.profile_type == other.id.profile_type &&
           one.id.profile_index == other.id.profile_index && one.persistent == other.persistent &&
           std::memcmp(&one.settings, &other.settings, sizeof one.settings) == 0;
}

/// The history without its time stamps.
std::vector<std::string> history() {
    std::vector<std::string> lines = LocalLogBuffer::getInstance().getLogs();
    for (std::string& line : lines) line.erase(0, line.find("[VELO]") + 6);
    return lines;
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
    mModel.init(0);
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
    mModel.underWay().clear();
    mHeld.clear();
    compare();
}

World::~World() {
    mKeys.clear();
    // The library outlives this world in its singleton, and must not go on to the next one's modem.
    mox::setModemPath("");
    try {
        if (mModel.isOn()) switchOff();
    } catch (const Violation&) {
        // Then the world ends because of one that was told already.
    }
}

void World::perform(const Step& step) {
    ++mCounts.operations[step.operation];
    carryOut(step);
    if (mKeys.size() > kMostKeys) carryOut(Step{"drop"});
}

void World::carryOut(const Step& step) {
    LocalLogBuffer::getInstance().flush();
    {
        const std::lock_guard lock(mMutex);
        mExchanges = 0;
        mRefused = !step.has("refuse")         ? 0
                   : step.index("refuse") == 0 ? -1
                                               : static_cast<int>(step.index("refuse"));
    }
    mModel.beginStep({}, 0);
    (this->*actions().at(step.operation))(step);
    compare();
}

const std::map<std::string_view, World::Action>& World::actions() {
    static const std::map<std::string_view, Action> table{
        {"add", &World::add},
        {"modify", &World::modify},
        {"delete", &World::remove},
        {"get", &World::get},
        {"filter", &World::filter},
        {"match", &World::match},
        {"listen", &World::listen},
        {"copy", &World::copy},
        {"drop", &World::drop},
        {"refresh-start", &World::refreshStart},
        {"refresh", &World::refresh},
        {"data-call", &World::dataCall},
        {"emergency", &World::emergency},
        {"attach", &World::attach},
        {"match-attach", &World::matchAttach},
        {"by-class", &World::byClass},
        {"by-types", &World::byTypes},
        {"allow", &World::allow},
        {"foreign-add", &World::foreignAdd},
        {"foreign-modify", &World::foreignModify},
        {"foreign-delete", &World::foreignDelete},
        {"deliver", &World::deliver},
        {"deliver-one", &World::deliverOne},
        {"lose", &World::lose},
        {"report", &World::report},
        {"power-off", &World::powerOff},
        {"power-on", &World::powerOn},
        {"init", &World::init},
    };
    return table;
}

void World::observe() {
    const auto lines = mRecorder.take();
    mLines = static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](auto& line) {
        return line.first == LogLevel::Event || line.first == LogLevel::Error;
    }));
    mModel.beginStep(lines, mRefused);
}

World::HeldKey World::keyOf(const Step& step) const {
    if (!step.has("key") || mKeys.empty()) return {};
    return mKeys[step.index("key") % mKeys.size()];
}

void World::hold(RealKey real, KeyPtr model) {
    expectSame<std::string>("another key", model ? model->text() : "no key",
                            real ? real->dump() : "no key");
    if (!real) return;
    expectSame<std::string>("another profile id", std::to_string(model->id),
                            std::to_string(real->getProfileId()));
    expectSame("another technology", true, model->tech == real->getTechType());
    mKeys.push_back({std::move(real), std::move(model)});
}

void World::add(const Step& step) {
    const AddProfileParams params(step.params(), step.index("persistent") != 0,
                                  static_cast<TechType>(step.index("tech")),
                                  step.index("initial") != 0);
    auto key = mManager.addProfile(params);
    observe();
    hold(std::move(key), mModel.addProfile(params));
}

void World::modify(const Step& step) {
    const ModifyProfileParams params(step.params());
    const HeldKey key = keyOf(step);
    const bool done = mManager.modifyProfile(params, key.real);
    observe();
    expectSame("modifyProfile returns", mModel.modifyProfile(params, key.model), done);
}

void World::remove(const Step& step) {
    const HeldKey key = keyOf(step);
    const bool done = mManager.deleteProfile(key.real);
    observe();
    expectSame("deleteProfile returns", mModel.deleteProfile(key.model), done);
}

void World::get(const Step& step) {
    const HeldKey key = keyOf(step);
    const auto params = mManager.getProfile(key.real);
    observe();
    const auto expected = mModel.getProfile(key.model);
    expectSame<std::string>("getProfile returns", expected ? expected->dump() : "nothing",
                            params ? params->dump() : "nothing");
}

void World::filter(const Step& step) {
    const FilterProfileParams params = step.filter();
    auto found = mManager.filter(params);
    std::vector<std::string> texts;
    for (const auto& key : found) texts.push_back(key->dump());
    std::vector<RealKey> kept;
    while (kept.size() < step.index("keep") && !found.empty()) {
        kept.push_back(std::move(found.front()));
        found.pop_front();
    }
    while (!found.empty()) found.pop_front();
    observe();

    std::map<std::string, KeyPtr> expected;
    for (KeyPtr& key : mModel.filter(params)) {
        const std::string text = key->text();
        expected.emplace(text, std::move(key));
    }
    expectSame<std::string>("filter finds", std::to_string(expected.size()),
                            std::to_string(texts.size()));
    for (std::size_t i = 0; i < texts.size(); ++i) {
        auto key = expected.extract(texts[i]);
        if (key.empty()) throw Violation("filter finds " + texts[i]);
        if (i < kept.size()) {
            hold(std::move(kept[i]), std::move(key.mapped()));
        } else {
            mModel.drop(std::move(key.mapped()));
        }
    }
}

void World::match(const Step& step) {
    const FilterProfileParams params = step.filter();
    const HeldKey key = keyOf(step);
    const bool matched = mManager.match(params, key.real);
    observe();
    expectSame("match returns", mModel.match(params, key.model), matched);
}

void World::listen(const Step& step) {
    const HeldKey key = keyOf(step);
    if (!key.real) return;
    const int listener = ++mListeners;
    key.real->registerExpirationListener([heard = mHeard, listener] {
        const std::lock_guard lock(heard->mutex);
        heard->listeners.push_back(listener);
    });
    observe();
    mModel.registerListener(listener, key.model);
}

void World::copy(const Step& step) {
    const HeldKey key = keyOf(step);
    if (key.real) mKeys.push_back(key);
}

void World::drop(const Step& step) {
    if (mKeys.empty()) return;
    const auto found =
        mKeys.begin() + static_cast<std::ptrdiff_t>(step.index("key") % mKeys.size());
    HeldKey key = std::move(*found);
    mKeys.erase(found);
    key.real.reset();
    observe();
    mModel.drop(std::move(key.model));
}

void World::refreshStart(const Step&) {
    mManager.refresh(PDCRefreshStatus::REFRESH_STARTED);
    observe();
    mModel.refresh(PDCRefreshStatus::REFRESH_STARTED);
}

void World::refresh(const Step&) {
    mManager.refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    observe();
    mModel.refresh(PDCRefreshStatus::REFRESH_COMPLETED);
}

void World::dataCall(const Step& step) {
    const auto tech = static_cast<TechType>(step.index("tech"));
    auto key = mUtil.findOrCreateProfileForSetupDataCall(tech, step.params());
    observe();
    hold(std::move(key), mPolicies.dataCall(tech, step.params()));
}

void World::emergency(const Step& step) {
    auto key = mUtil.findOrCreateProfileForEmergencyDataCall(step.params());
    observe();
    hold(std::move(key), mPolicies.emergencyCall(step.params()));
}

void World::attach(const Step& step) {
    auto key = mUtil.findOrCreateProfileForLteAttach(step.params());
    observe();
    hold(std::move(key), mPolicies.attach(step.params()));
}

void World::matchAttach(const Step& step) {
    const int id = static_cast<int>(step.index("id"));
    const bool matched = mUtil.matchLteAttachProfileId(id, step.params());
    observe();
    expectSame("matchLteAttachProfileId returns", mPolicies.matchAttach(id, step.params()),
               matched);
}

void World::byClass(const Step& step) {
    std::list<ProfileParams> params3gpp;
    std::list<ProfileParams> params3gpp2;
    for (std::size_t i = 0; i < step.records.size(); ++i) {
        const bool is3gpp = techOf(step.records[i]) == TechType::TECH_3GPP;
        (is3gpp ? params3gpp : params3gpp2).push_back(step.params(i));
    }
    mUtil.updateModemProfileByApnClass(params3gpp, params3gpp2);
    observe();
    mPolicies.updateByClass(params3gpp, params3gpp2);
}

void World::byTypes(const Step& step) {
    std::list<ProfileParams> records;
    for (std::size_t i = 0; i < step.records.size(); ++i) records.push_back(step.params(i));
    mUtil.updateAPNTypeBitmaskOnModemProfile(records);
    observe();
    mPolicies.updateTypes(records);
}

void World::allow(const Step& step) {
    mUtil.setProfileUpdateAllowed(step.index("allowed") != 0);
    observe();
    mPolicies.setProfileUpdateAllowed(step.index("allowed") != 0);
}

void World::foreignAdd(const Step& step) {
    const auto profile = foreignProfile(step);
    const auto index = mModem.addProfile(step.index("subscription"), profile);
    observe();
    const int expected = mModel.foreignCreate(step.index("subscription"), profile);
    expectSame<std::string>("another client's profile is", std::to_string(expected),
                            std::to_string(index ? *index : -1));
    ++mCounts.foreign;
}

void World::foreignModify(const Step& step) {
    const auto profile = foreignProfile(step);
    mModem.modifyProfile(step.index("subscription"), profile.id, profile.settings);
    observe();
    mModel.foreignModify(step.index("subscription"), static_cast<TechType>(profile.id.profile_type),
                         profile.id.profile_index, profile.settings);
    ++mCounts.foreign;
}

void World::foreignDelete(const Step& step) {
    const auto profile = foreignProfile(step);
    mModem.deleteProfile(step.index("subscription"), profile.id);
    observe();
    mModel.foreignRemove(step.index("subscription"), static_cast<TechType>(profile.id.profile_type),
                         profile.id.profile_index);
    ++mCounts.foreign;
}

void World::deliver(const Step&) {
    const auto reports = std::exchange(mHeld, {});
    mModel.underWay().clear();
    send(reports);
    observe();
    const auto isNull = [](unsigned long long token) {
        const auto lines = Manager::getInstance().dump();
        return std::find(lines.begin(), lines.end(), "  " + std::to_string(token) + ": null") !=
               lines.end();
    };
    for (const auto& report : reports) mModel.onIndication(report, isNull);
}

void World::deliverOne(const Step& step) {
    if (mHeld.empty()) return;
    const auto index = static_cast<std::ptrdiff_t>(step.index("which") % mHeld.size());
    std::vector<CacheModel::Report> rest = mHeld;
    if (step.index("again") == 0) rest.erase(rest.begin() + index);
    mHeld = {mHeld[static_cast<std::size_t>(index)]};
    deliver(step);
    mHeld = rest;
    mModel.underWay() = rest;
}

void World::lose(const Step& step) {
    if (mHeld.empty()) return;
    const auto index = static_cast<std::ptrdiff_t>(step.index("which") % mHeld.size());
    mHeld.erase(mHeld.begin() + index);
    mModel.underWay().erase(mModel.underWay().begin() + index);
}

void World::report(const Step& step) {
    if (!mModel.isOn()) return;
    auto rest = mHeld;
    mHeld = {{static_cast<wds_profile_type_enum_v01>(step.index("tech")),
              static_cast<int>(step.index("id")),
              static_cast<wds_profile_event_enum_v01>(step.number("event"))}};
    deliver(step);
    mHeld = rest;
    mModel.underWay() = rest;
}

void World::powerOff(const Step&) {
    if (!mModel.isOn()) return;
    switchOff();
    mHeld.clear();
    observe();
    mModel.powerOff();
    mModel.expect(LogLevel::Info, "Handling modem down");
    mModel.expect(LogLevel::Event, "MoxWdsProxy::registerMoxSvcUp");
    mModel.getProfile(nullptr);
}

void World::switchOff() {
    mModem.powerOff();
    mRecorder.waitFor("MoxWdsProxy::registerMoxSvcUp");
    // Once it has answered a request the worker is done with what it did before.
    mManager.getProfile(nullptr);
}

void World::powerOn(const Step&) {
    if (mModel.isOn()) return;
    mModem.powerOn();
    mRecorder.waitFor("MoxWdsProxy config register request successful!");
    waitForReady();
    observe();
    mModel.powerOn();
}

void World::init(const Step& step) {
    mHeld.clear();
    start(step.index("subscription"));
    mModel.init(step.index("subscription"));
}

void World::start(unsigned int subscription) {
    LocalLogBuffer::getInstance().flush();
    mManager.init(static_cast<int>(subscription), false);
    if (mModel.isOn()) waitForReady();
    mManager.getProfile(nullptr);
    const auto end = Clock::now() + kBound;
    while (mModem.clients() != (mModel.isOn() ? 1 : 0)) {
        if (Clock::now() > end) throw Violation("the connection of the manager before stays");
        std::this_thread::yield();
    }
    mRecorder.attach();
    mRecorder.take();
    auto said = history();
    std::sort(said.begin(), said.end());
    expectSame<std::string>(
        "the log of a start",
        joined({"Manager::getProfile < Get Failure ", "Manager::getProfile > Get ",
                "Manager::init(" + std::to_string(subscription) + ")",
                "MoxWdsProxy::registerMoxSvcUp", "VELO thread started"}),
        joined(said));
    LocalLogBuffer::getInstance().flush();
}

bool World::admit(const mox::Frame& request) {
    if (request.messageId < kWdsCreateProfileReq || request.messageId > kWdsGetProfileSettingsReq) {
        return true;
    }
    const std::lock_guard lock(mMutex);
    ++mExchanges;
    if (mRefused >= 0 && mExchanges != mRefused) return true;
    ++mCounts.refused;
    return false;
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

void World::withholdTypes(mox::Frame& frame) {
    const auto* const layout = mox::wdsService().find(MOX_MESSAGE_RESPONSE, frame.messageId);
    if (frame.kind != MOX_MESSAGE_RESPONSE || frame.messageId != kWdsGetProfileSettingsReq) return;
    wds_get_profile_settings_resp_msg_v01 message{};
    mox::decode(*layout, frame.payload, &message);
    if ((message.settings.apn_type_mask.value & kImsType) != 0) {
        message.settings.apn_type_mask.valid = 0;
    }
    frame.payload.clear();
    mox::encode(*layout, &message, frame.payload);
}

void World::send(const std::vector<CacheModel::Report>& reports) {
    {
        const std::lock_guard lock(mMutex);
        mIsPassing = true;
    }
    for (const auto& report : reports) {
        mModem.report(mModel.subscription(), {report.type, static_cast<std::uint8_t>(report.index)},
                      report.event);
    }
    {
        const std::lock_guard lock(mMutex);
        mIsPassing = false;
    }
    mRecorder.waitForIndications(reports.size());
    mCounts.reports += reports.size();
}

void World::waitForReady() {
    std::unique_lock lock(mMutex);
    const bool ready = mHeldOne.wait_for(lock, kBound, [this] {
        return !mHeld.empty() && mHeld.back().event == WDS_PROFILE_EVENT_READY;
    });
    if (!ready) throw Violation("the library does not register with the modem");
}

void World::compare() {
    mModel.endStep();
    for (unsigned int subscription = 0; subscription < 2; ++subscription) {
        compareStore(subscription);
    }
    const std::lock_guard lock(mMutex);
    expectSame<std::string>("the reports of the modem", textOf(mModel.underWay()), textOf(mHeld));
    expectSame<std::string>("exchanges with the modem", std::to_string(mModel.exchanges()),
                            std::to_string(mExchanges));
    compareListeners();
    compareDump();
}

void World::compareStore(unsigned int subscription) {
    const auto expected = mModel.store(subscription).all();
    const auto stored = mModem.profiles(subscription);
    if (!std::equal(expected.begin(), expected.end(), stored.begin(), stored.end(), equal)) {
        throw Violation("the modem stores something else\n  expected:" + textOf(expected) +
                        "\n  observed:" + textOf(stored));
    }
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
        throw Violation("the dump is not of its form:" + joined(dump));
    }
    std::vector<std::string> cached(dump.begin() + 1, pending);
    std::sort(cached.begin(), cached.end());
    expectSame<std::string>("the cache", joined(mModel.cacheLines()), joined(cached));
    expectSame<std::string>("pending transactions", joined(mModel.pendingLines()),
                            joined({pending + 1, end}));
    expectSame<std::string>("lines of the history", std::to_string(std::min(mLines, kHistory)),
                            std::to_string(dump.end() - end - 2));
    mLines = 0;
}

}  // namespace velo::model
