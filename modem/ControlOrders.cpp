// SPDX-License-Identifier: Apache-2.0

#include "modem/ControlOrders.h"

#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "host/mox/WdsService.h"
#include "modem/ModemError.h"
#include "modem/PowerSwitch.h"
#include "modem/ProfileJson.h"
#include "modem/Server.h"
#include "modem/WdsService.h"

namespace velo::modem {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;
using std::chrono::milliseconds;

constexpr std::uint64_t kMostMs = 600000;
constexpr std::uint64_t kMostAnswers = 1000000;

/// One line, whatever bytes a profile's strings hold.
std::string lineOf(const ordered_json& answer) {
    return answer.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

/// A profile that has no index yet.
StoredProfile newProfile(json profile) {
    if (!profile.is_object() || !profile.contains("technology")) {
        throw ModemError("\"profile\" is not an object with a technology");
    }
    if (profile.contains("index")) {
        throw ModemError("\"profile\" has an index, which is the modem's to choose");
    }
    profile["index"] = 0U;
    return inPlace("\"profile\"", [&] { return profileFromJson(profile); });
}

ordered_json resultOf(const ProfileStore::Outcome& outcome) {
    if (outcome.error != WDS_ERR_NONE) {
        const auto* response =
            mox::wdsService().find(MOX_MESSAGE_RESPONSE, kWdsBindSubscriptionReq);
        for (const auto& known : response->fields[0].elements.back().names) {
            if (known.value == outcome.error) {
                throw ModemError(std::string("the modem refuses: ") + known.name);
            }
        }
        throw ModemError("the modem refuses: error " + std::to_string(outcome.error));
    }
    return {{"technology", outcome.id.profile_type == WDS_PROFILE_TYPE_3GPP ? "3gpp" : "3gpp2"},
            {"index", outcome.id.profile_index}};
}

ordered_json chancesOf(const Faults& faults) {
    ordered_json chances = ordered_json::object();
    for (std::size_t i = 0; i < kFaultCount; ++i) {
        chances[kFaults[i].name] = faults.chances()[static_cast<Fault>(i)];
    }
    chances["delay-ms"] = faults.chances().longestDelayMs();
    return chances;
}

ordered_json injectedBy(const Faults& faults) {
    ordered_json injected = ordered_json::object();
    for (std::size_t i = 0; i < kFaultCount; ++i) {
        injected[kFaults[i].name] = faults.injected()[i];
    }
    return injected;
}

}  // namespace

ControlOrders::ControlOrders(Server& server, WdsService& service, PowerSwitch& power,
                             Faults& faults, std::function<void()> onStop)
    : mServer(server),
      mService(service),
      mPower(power),
      mFaults(faults),
      mOnStop(std::move(onStop)) {}

ControlOrders::Handler ControlOrders::handlerOf(const std::string& name) {
    static const std::pair<const char*, Handler> kHandlers[] = {
        {"help", &ControlOrders::help},
        {"status", &ControlOrders::status},
        {"list", &ControlOrders::list},
        {"add", &ControlOrders::add},
        {"change", &ControlOrders::change},
        {"delete", &ControlOrders::remove},
        {"subscription-change", &ControlOrders::subscriptionChange},
        {"store-ready", &ControlOrders::storeReady},
        {"reject", &ControlOrders::plan<Fault::Reject>},
        {"delay", &ControlOrders::plan<Fault::Delay>},
        {"drop", &ControlOrders::plan<Fault::Drop>},
        {"damage", &ControlOrders::plan<Fault::DamageAnswer>},
        {"indicate", &ControlOrders::indicate},
        {"indicate-raw", &ControlOrders::indicateRaw},
        {"indicate-damaged", &ControlOrders::indicateDamaged},
        {"indicate-duplicated",
         &ControlOrders::indicateTwice<Fault::Duplicate, WDS_PROFILE_EVENT_MODIFY>},
        {"indicate-reordered",
         &ControlOrders::indicateTwice<Fault::Reorder, WDS_PROFILE_EVENT_CREATE>},
        {"indicate-unknown", &ControlOrders::indicateUnknown},
        {"disconnect", &ControlOrders::disconnect},
        {"restart", &ControlOrders::restart},
        {"factory-reset", &ControlOrders::factoryReset},
        {"chance", &ControlOrders::chance},
        {"stop", &ControlOrders::stop},
    };
    for (const auto& [known, handler] : kHandlers) {
        if (name == known) {
            return handler;
        }
    }
    return nullptr;
}

std::string ControlOrders::execute(const std::string& line) {
    try {
        ordered_json answer{{"ok", true}};
        answer.update(carryOut(line));
        return lineOf(answer);
    } catch (const ModemError& error) {
        return lineOf({{"error", error.what()}});
    } catch (const std::system_error& error) {
        return lineOf({{"error", error.what()}});
    }
}

ordered_json ControlOrders::carryOut(const std::string& line) {
    const json order = inPlace("order", [&] { return jsonFromText(line); });
    if (!order.is_object() || !order.contains("order") || !order["order"].is_string()) {
        throw ModemError("the order is not an object with a text \"order\"");
    }
    const auto name = order["order"].get<std::string>();
    const Order* known = findOrder(name);
    const Handler handler = handlerOf(name);
    if (known == nullptr || handler == nullptr) {
        throw ModemError("there is no order \"" + name + "\"; \"help\" lists them");
    }
    return (this->*handler)(OrderArguments(*known, order));
}

unsigned int ControlOrders::subscription(const OrderArguments& arguments) const {
    return static_cast<unsigned int>(
        arguments.number("subscription", 0, mService.subscriptions() - 1, 0));
}

ordered_json ControlOrders::help(const OrderArguments& /*arguments*/) {
    ordered_json orders = ordered_json::array();
    for (const Order& order : orderTable()) {
        ordered_json members = ordered_json::array();
        for (const OrderMember& member : order.members) {
            members.push_back({{"name", member.name},
                               {"required", member.required},
                               {"summary", member.summary}});
        }
        orders.push_back({{"order", order.name},
                          {"summary", order.summary},
                          {"members", std::move(members)},
                          {"example", ordered_json::parse(order.example)}});
    }
    return {{"orders", std::move(orders)}};
}

ordered_json ControlOrders::status(const OrderArguments& /*arguments*/) {
    ordered_json profiles = ordered_json::array();
    for (unsigned int i = 0; i < mService.subscriptions(); ++i) {
        profiles.push_back(mService.profiles(i).size());
    }
    std::uint64_t planned = 0;
    for (const Faults::Plan& plan : mFaults.plans()) {
        planned += plan.count;
    }
    return {{"version", VELO_VERSION},
            {"on", mPower.isOn()},
            {"subscriptions", mService.subscriptions()},
            {"profiles", std::move(profiles)},
            {"clients", clients()},
            {"exchanges", mService.exchanges()},
            {"latency", mFaults.latency().count()},
            {"seed", mFaults.seed()},
            {"chances", chancesOf(mFaults)},
            {"planned", planned},
            {"injected", injectedBy(mFaults)}};
}

ordered_json ControlOrders::clients() const {
    ordered_json clients = ordered_json::array();
    for (const auto& connection : mServer.connections()) {
        if (connection->isOpen() && connection->session.active) {
            clients.push_back({{"client", connection->number()},
                               {"subscription", connection->session.subscription},
                               {"registered", connection->session.registered()}});
        }
    }
    return clients;
}

ordered_json ControlOrders::list(const OrderArguments& arguments) {
    return profileSetToJson(mService.profiles(subscription(arguments)));
}

ordered_json ControlOrders::add(const OrderArguments& arguments) {
    const auto store = subscription(arguments);
    const Change change{Change::Kind::Create, newProfile(arguments.value("profile"))};
    return resultOf(mService.change(store, change));
}

ordered_json ControlOrders::change(const OrderArguments& arguments) {
    const auto store = subscription(arguments);
    const Change change{
        Change::Kind::Modify,
        {arguments.profile(), false, settingsFromJson(arguments.value("settings"))}};
    return resultOf(mService.change(store, change));
}

ordered_json ControlOrders::remove(const OrderArguments& arguments) {
    const auto store = subscription(arguments);
    return resultOf(
        mService.change(store, {Change::Kind::Delete, {arguments.profile(), false, {}}}));
}

ordered_json ControlOrders::subscriptionChange(const OrderArguments& arguments) {
    mService.announce(subscription(arguments), {}, WDS_PROFILE_EVENT_SUBSCRIPTION_CHANGE);
    return ordered_json::object();
}

ordered_json ControlOrders::storeReady(const OrderArguments& arguments) {
    mService.announce(subscription(arguments), {}, WDS_PROFILE_EVENT_READY);
    return ordered_json::object();
}

template <Fault fault>
ordered_json ControlOrders::plan(const OrderArguments& arguments) {
    Faults::Plan plan;
    plan.fault = fault;
    plan.message = arguments.message(MOX_MESSAGE_REQUEST);
    plan.count = arguments.number("count", 1, kMostAnswers, 1);
    if (fault == Fault::Delay) {
        plan.delay = milliseconds(arguments.number("ms", 1, kMostMs, 1));
    }
    if (fault == Fault::DamageAnswer) {
        if (plan.message && !canBeDamaged(*plan.message)) {
            throw ModemError("\"message\" is neither get-profile-list nor get-profile-settings");
        }
        plan.damage = static_cast<Damage>(arguments.choice("kind", kDamageNames));
    }
    mFaults.add(plan);
    return ordered_json::object();
}

ordered_json ControlOrders::indicate(const OrderArguments& arguments) {
    const auto store = subscription(arguments);
    mService.announce(store, arguments.profile(), arguments.event());
    mFaults.count(Fault::Spurious);
    return ordered_json::object();
}

ordered_json ControlOrders::indicateRaw(const OrderArguments& arguments) {
    const auto store = subscription(arguments);
    const auto message = arguments.has("message") ? arguments.message(MOX_MESSAGE_INDICATION)
                                                  : std::uint16_t{kWdsProfileChangedInd};
    if (!message) {
        throw ModemError("\"message\" must be one message");
    }
    mService.indicate(store, *message, arguments.bytes("bytes"));
    return ordered_json::object();
}

ordered_json ControlOrders::indicateDamaged(const OrderArguments& arguments) {
    const auto store = subscription(arguments);
    auto frame = WdsService::indication(arguments.profile(), WDS_PROFILE_EVENT_MODIFY);
    truncate(frame);
    mService.indicate(store, frame.messageId, frame.payload);
    mFaults.count(Fault::DamageIndication);
    return ordered_json::object();
}

template <Fault fault, wds_profile_event_enum_v01 second>
ordered_json ControlOrders::indicateTwice(const OrderArguments& arguments) {
    const auto store = subscription(arguments);
    const auto id = arguments.profile();
    mService.announce(store, id, WDS_PROFILE_EVENT_MODIFY);
    mService.announce(store, id, second);
    mFaults.count(fault);
    return ordered_json::object();
}

ordered_json ControlOrders::indicateUnknown(const OrderArguments& arguments) {
    mFaults.sendUnknown(subscription(arguments));
    return ordered_json::object();
}

ordered_json ControlOrders::disconnect(const OrderArguments& arguments) {
    const auto number = arguments.number("client", 1, std::numeric_limits<std::uint64_t>::max(), 0);
    auto* connection = mServer.find(number);
    if (connection == nullptr) {
        throw ModemError("there is no client " + std::to_string(number));
    }
    mServer.disconnect(*connection);
    mFaults.count(Fault::Close);
    return ordered_json::object();
}

ordered_json ControlOrders::restart(const OrderArguments& arguments) {
    // The words of the points come in the order of the enumeration, after "now".
    const auto at = arguments.has("at")
                        ? arguments.choice("at", std::array{"now", "request", "answer", "echo"})
                        : 0;
    if (arguments.has(at == 0 ? "message" : "off")) {
        throw ModemError(at == 0 ? "\"message\" goes with \"at\" alone"
                                 : "\"off\" goes with a restart now alone");
    }
    if (at == 0) {
        mPower.restart(milliseconds(arguments.number("off", 0, kMostMs, 0)));
        mFaults.count(Fault::Restart);
        return ordered_json::object();
    }
    Faults::Plan plan;
    plan.fault = Fault::Restart;
    plan.point = static_cast<CrashPoint>(at - 1);
    if (arguments.has("message")) {
        plan.message = arguments.message(MOX_MESSAGE_REQUEST);
    }
    mFaults.add(plan);
    return ordered_json::object();
}

ordered_json ControlOrders::factoryReset(const OrderArguments& /*arguments*/) {
    if (!mPower.factoryReset()) {
        throw ModemError("the state file cannot be written; the profiles are as they were");
    }
    return ordered_json::object();
}

ordered_json ControlOrders::chance(const OrderArguments& arguments) {
    const auto chances = arguments.has("faults") ? mFaults.chances().with(arguments.text("faults"))
                                                 : mFaults.chances();
    const auto seed =
        arguments.number("seed", 0, std::numeric_limits<std::uint64_t>::max(), mFaults.seed());
    mFaults.setChances(chances);
    if (arguments.has("seed")) {
        mFaults.seed(seed);
    }
    return {{"seed", mFaults.seed()}, {"chances", chancesOf(mFaults)}};
}

ordered_json ControlOrders::stop(const OrderArguments& /*arguments*/) {
    if (!mOnStop) {
        throw ModemError("this modem is not a process of its own");
    }
    mOnStop();
    return ordered_json::object();
}

}  // namespace velo::modem
