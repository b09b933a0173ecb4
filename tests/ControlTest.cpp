// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ModemClient.h"
#include "Support.h"
#include "host/mox/Frame.h"
#include "modem/Modem.h"
#include "modem/OrderTable.h"

namespace velo::test {
namespace {

using modem::Modem;
using modem::ModemOptions;
using nlohmann::json;
using Events = std::vector<std::string>;

constexpr unsigned int kShort = 20;  // milliseconds: for answers that never come

ModemOptions stoppable(bool& stopped) {
    ModemOptions options;
    options.onStop = [&stopped] { stopped = true; };
    return options;
}

/// A modem, and a client that is told of every change.
class Bench {
public:
    explicit Bench(ModemOptions options = {}) : modem(std::move(options)), client(modem) {
        client.registerIndications();
        client.configureEvents();
        EXPECT_TRUE(heard({}));
    }

    json order(const std::string& line) { return json::parse(modem.control(line)); }

    /// Whether the client hears of these events, and of no other, since it was told to be ready.
    bool heard(Events expected) {
        expected.insert(expected.begin(), "0:0 5");
        return waitUntil([&] { return client.events().size() >= expected.size(); }) &&
               client.events() == expected;
    }

    int list(wds_get_profile_list_resp_msg_v01& list, unsigned int timeoutMs) {
        return client.send(kWdsGetProfileListReq, wds_get_profile_list_req_msg_v01{}, list,
                           timeoutMs);
    }
    int list() {
        wds_get_profile_list_resp_msg_v01 ignored{};
        return list(ignored, ModemClient::kTimeoutMs);
    }

    std::size_t count() { return modem.profiles(0).size(); }
    std::uint64_t injected(const char* fault) {
        return order(R"({"order": "status"})")["injected"][fault];
    }

    bool stopped = false;
    Modem modem;
    ModemClient client;
};

using Check = std::function<void(Bench&, const json&)>;

void expectEvents(Bench& bench, const Events& events) {
    EXPECT_TRUE(bench.heard(events)) << ::testing::PrintToString(bench.client.events());
}

Check hears(const Events& events) {
    return [events](Bench& bench, const json&) { expectEvents(bench, events); };
}

/// What the example of each order must bring about.
const std::map<std::string, Check> kChecks{
    {"help",
     [](Bench&, const json& answer) {
         EXPECT_EQ(modem::orderTable().size(), answer["orders"].size());
     }},
    {"status",
     [](Bench&, const json& answer) {
         EXPECT_EQ((std::vector<int>{4, 4}), answer["profiles"].get<std::vector<int>>());
         ASSERT_EQ(1U, answer["clients"].size());
         EXPECT_EQ(0, answer["clients"][0]["subscription"]);
         EXPECT_EQ(true, answer["clients"][0]["registered"]);
         EXPECT_EQ(2, answer["exchanges"]);
     }},
    {"list",
     [](Bench&, const json& answer) {
         ASSERT_EQ(4U, answer["profiles"].size());
         EXPECT_EQ("attach.velo", answer["profiles"][0]["settings"]["apn_name"]);
     }},
    {"add",
     [](Bench& bench, const json& answer) {
         EXPECT_EQ(0, answer["index"]);
         EXPECT_STREQ("new", bench.modem.profiles(0)[0].settings.apn_name.value.data);
         expectEvents(bench, {"0:0 1", "0:0 3"});
     }},
    {"change",
     [](Bench& bench, const json&) {
         EXPECT_EQ(2, bench.modem.profiles(0)[0].settings.apn_class.value);
         expectEvents(bench, {"0:1 3"});
     }},
    {"delete", hears({"0:2 2"})},
    {"subscription-change", hears({"0:0 4"})},
    {"store-ready", hears({"0:0 5"})},
    {"reject",
     [](Bench& bench, const json&) {
         EXPECT_EQ(WDS_ERR_INTERNAL, bench.client.create("a").response.error);
         EXPECT_EQ(4U, bench.count());
         EXPECT_EQ(WDS_ERR_NONE, bench.client.create("a").response.error);
     }},
    {"delay",
     [](Bench& bench, const json&) {
         EXPECT_EQ(MOX_NO_ERR, bench.list());
         EXPECT_EQ(1U, bench.injected("delay"));
     }},
    {"drop",
     [](Bench& bench, const json&) {
         wds_delete_profile_resp_msg_v01 response{};
         EXPECT_EQ(MOX_TIMEOUT_ERR,
                   bench.client.send(kWdsDeleteProfileReq,
                                     wds_delete_profile_req_msg_v01{{WDS_PROFILE_TYPE_3GPP, 1}},
                                     response, kShort));
         expectEvents(bench, {"0:1 2"});
     }},
    {"damage",
     [](Bench& bench, const json&) {
         EXPECT_EQ(MOX_DECODE_ERR, bench.list());
         EXPECT_EQ(MOX_NO_ERR, bench.list());
     }},
    {"indicate", hears({"0:1 3"})},
    {"indicate-raw", hears({"damaged"})},
    {"indicate-damaged", hears({"damaged"})},
    {"indicate-duplicated", hears({"0:1 3", "0:1 3"})},
    {"indicate-reordered", hears({"0:1 3", "0:1 1"})},
    {"indicate-unknown", hears({"damaged", "0:0 99"})},
    {"disconnect",
     [](Bench& bench, const json&) {
         EXPECT_EQ(0U, bench.modem.clients());
         EXPECT_EQ(MOX_CLIENT_ERR, bench.list());
     }},
    {"restart",
     [](Bench& bench, const json&) {
         EXPECT_EQ(WDS_ERR_NONE, bench.client.create("a", true).response.error);
         EXPECT_TRUE(waitUntil([&] { return bench.list() == MOX_CLIENT_ERR; }));
         expectEvents(bench, {});
     }},
    {"factory-reset", [](Bench& bench, const json&) { EXPECT_EQ(MOX_CLIENT_ERR, bench.list()); }},
    {"chance",
     [](Bench& bench, const json& answer) {
         EXPECT_EQ(7, answer["seed"]);
         EXPECT_EQ(0.05, answer["chances"]["delay"]);
         EXPECT_EQ(0.0, bench.order(R"({"order": "chance"})")["chances"]["reject"]);
     }},
    {"stop", [](Bench& bench, const json&) { EXPECT_TRUE(bench.stopped); }},
};

TEST(ControlTest, EveryOrderDoesWhatItsExampleSays) {
    for (const modem::Order& known : modem::orderTable()) {
        SCOPED_TRACE(known.name);
        bool stopped = false;
        Bench bench(stoppable(stopped));
        json example = json::parse(known.example);
        if (example.contains("client")) {
            example["client"] = bench.order(R"({"order":"status"})")["clients"][0]["client"];
        }
        const json answer = bench.order(example.dump());
        EXPECT_EQ(true, answer.value("ok", false)) << answer;
        bench.stopped = stopped;
        ASSERT_TRUE(kChecks.contains(known.name)) << "no check for this order";
        kChecks.at(known.name)(bench, answer);
    }
}

TEST(ControlTest, MalformedOrdersAreAnsweredAndChangeNothing) {
    Bench bench;
    const auto state = [&] {
        return bench.order(R"({"order":"status"})").dump() +
               bench.order(R"({"order":"list"})").dump();
    };
    const std::string before = state();
    const std::vector<std::pair<std::string, std::string>> lines{
        {"", "order: is not JSON at line 1, byte 1"},
        {"{\"order\": \"stop\"", "order: is not JSON at line 1, byte 17"},
        {R"({"order": "stop", "order": "status"})", "order: \"order\" is there twice"},
        {R"({"order": "add", "profile": )" + std::string(30000, '[') + std::string(30000, ']') +
             "}",
         "order: is nested more than 16 deep"},
        {"[]", "the order is not an object with a text \"order\""},
        {R"({"order": "explode"})", "there is no order \"explode\"; \"help\" lists them"},
        {R"({"order": "stop"})", "this modem is not a process of its own"},
        {R"({"order": "status", "client": 1})", "\"client\" is no member of status; it has none"},
        {R"({"order": "delete", "technology": "3gpp"})", "delete needs \"index\""},
        {R"({"order": "delete", "technology": "3gpp", "index": 256})",
         "\"index\" is not a number from 0 to 255"},
        {R"({"order": "delete", "technology": "3gpp", "index": 99})",
         "the modem refuses: invalid profile"},
        {R"({"order": "list", "subscription": 2})", "\"subscription\" is not a number from 0 to 1"},
        {R"({"order": "add", "profile": {"technology": "3gpp", "index": 9}})",
         "\"profile\" has an index, which is the modem's to choose"},
        {R"({"order": "add", "profile": {"settings": {}}})",
         "\"profile\" is not an object with a technology"},
        {R"({"order": "drop", "message": "any", "count": 0})",
         "\"count\" is not a number from 1 to 1000000"},
        {R"({"order": "damage", "message": "create-profile", "kind": "truncated"})",
         "\"message\" is neither get-profile-list nor get-profile-settings"},
        {R"({"order": "damage", "message": "any", "kind": "odd"})",
         "\"kind\" is none of over-long, unterminated, unknown-enumerators, truncated"},
        {R"({"order": "indicate-raw", "bytes": "10 0"})",
         "\"bytes\" is not a text of bytes in hexadecimal"},
        {R"({"order": "disconnect", "client": 99})", "there is no client 99"},
        {R"({"order": "restart", "at": "echo", "off": 5})",
         "\"off\" goes with a restart now alone"},
        {R"({"order": "chance", "faults": "drop=0.5,delay=2", "seed": 3})",
         "delay=2 is not a number from 0 to 1"},
        {R"({"order": "chance", "faults": "all=0.5,drop"})",
         "'drop' is not of the form NAME=CHANCE"},
    };
    for (const auto& [line, error] : lines) {
        EXPECT_EQ((json{{"error", error}}), bench.order(line)) << line;
    }
    EXPECT_NE(
        std::string::npos,
        bench.order(R"({"order": "drop", "message": "dance"})")["error"].get<std::string>().find(
            "is neither a number nor one of indication-register, create-profile,"));
    EXPECT_EQ(before, state());
    EXPECT_TRUE(bench.heard({}));
}

TEST(ControlTest, DamagedAnswersAreWrongInTheWayThatWasOrdered) {
    Bench bench;
    wds_get_profile_list_resp_msg_v01 list{};
    wds_get_profile_settings_resp_msg_v01 settings{};
    for (const std::string kind :
         {"over-long", "unterminated", "truncated", "unknown-enumerators"}) {
        bench.order(R"({"order":"damage","message":"any","count":2,"kind":")" + kind + "\"}");
        const int expected = kind == "unknown-enumerators" ? MOX_NO_ERR : MOX_DECODE_ERR;
        EXPECT_EQ(expected, bench.list(list, ModemClient::kTimeoutMs)) << kind;
        EXPECT_EQ(expected,
                  bench.client.send(
                      kWdsGetProfileSettingsReq,
                      wds_get_profile_settings_req_msg_v01{{WDS_PROFILE_TYPE_3GPP, 1}}, settings))
            << kind;
    }
    ASSERT_EQ(5U, list.profile_list_len);
    EXPECT_LT(WDS_PROFILE_TYPE_3GPP2, list.profile_list[4].profile_type);
    EXPECT_LT(WDS_PDP_TYPE_IPV4V6, settings.settings.pdp_type.value);
    EXPECT_EQ(MOX_NO_ERR, bench.list());
}

TEST(ControlTest, ADelayedAnswerKeepsNobodyWaiting) {
    Bench bench;
    bench.order(R"({"order":"delay","message":"get-profile-list","ms":600000})");
    wds_get_profile_list_resp_msg_v01 list{};
    EXPECT_EQ(MOX_TIMEOUT_ERR, bench.list(list, kShort));
    EXPECT_EQ(MOX_NO_ERR, bench.list());
    EXPECT_EQ(0, bench.order(R"({"order":"status"})")["planned"]);
}

TEST(ControlTest, TheAnswerLeavesBeforeItsIndicationsWithAndWithoutLatency) {
    for (const unsigned int latency : {0U, 2U}) {
        ModemOptions options;
        options.latencyMs = latency;
        Bench bench(std::move(options));
        std::vector<int> kinds;
        bench.modem.setTamper([&](mox::Frame& frame) {
            kinds.push_back(frame.kind);
            return true;
        });
        bench.client.create("a");
        expectEvents(bench, {"0:0 1", "0:0 3"});
        bench.modem.setTamper({});
        EXPECT_EQ((std::vector<int>{MOX_MESSAGE_RESPONSE, MOX_MESSAGE_INDICATION,
                                    MOX_MESSAGE_INDICATION}),
                  kinds);
    }
}

TEST(ControlTest, ARestartComesWhereItWasOrdered) {
    struct Case {
        const char* at;
        int error;
        std::size_t stored;
    };
    for (const Case& point : {Case{"request", MOX_CLIENT_ERR, 4}, Case{"answer", MOX_CLIENT_ERR, 5},
                              Case{"echo", MOX_NO_ERR, 5}}) {
        Bench bench;
        bench.order(R"({"order":"restart","message":"create-profile","at":")" +
                    std::string(point.at) + "\"}");
        EXPECT_EQ(MOX_NO_ERR, bench.list());
        wds_create_profile_resp_msg_v01 response{};
        EXPECT_EQ(point.error, bench.client.send(kWdsCreateProfileReq,
                                                 wds_create_profile_req_msg_v01{}, response))
            << point.at;
        EXPECT_TRUE(waitUntil([&] { return bench.list() == MOX_CLIENT_ERR; }));
        EXPECT_EQ(point.stored, bench.count()) << point.at;
        EXPECT_TRUE(bench.heard({})) << point.at;
        EXPECT_TRUE(waitUntil([&] { return bench.order(R"({"order":"status"})")["on"] == true; }));
        EXPECT_EQ(MOX_NO_ERR, ModemClient(bench.modem).bind(0));
    }
}

TEST(ControlTest, TheSameSeedHasTheSameFaults) {
    const auto run = [](std::uint64_t seed, const std::string& faults) {
        ModemOptions options;
        options.seed = seed;
        Bench bench(std::move(options));
        bench.order(R"({"order":"chance","faults":")" + faults + "\"}");
        std::vector<std::uint32_t> results(60);
        for (std::uint32_t& result : results) {
            result = bench.client.create("a").response.error;
        }
        bench.order(R"({"order":"chance","faults":"all=0"})");
        bench.modem.report(0, {WDS_PROFILE_TYPE_3GPP2, 250}, WDS_PROFILE_EVENT_DELETE);
        EXPECT_TRUE(waitUntil([&] { return bench.client.events().back() == "1:250 2"; }));
        return std::make_tuple(results, bench.client.events(), bench.count());
    };
    const std::string many =
        "reject=0.3,foreign=0.2,duplicate=0.2,damage-indication=0.1,unknown=0.1,spurious=0.2";
    const auto first = run(1, many);
    EXPECT_EQ(first, run(1, many));
    EXPECT_NE(first, run(2, many));
    // Each fault has dice of its own.
    EXPECT_EQ(std::get<0>(first), std::get<0>(run(1, "reject=0.3")));
}

TEST(ControlTest, AnIndicationThatIsHeldComesAfterTheNextOne) {
    Bench bench;
    bench.order(R"({"order":"chance","faults":"reorder=1"})");
    bench.client.create("a");
    expectEvents(bench, {"0:0 3", "0:0 1"});
    bench.modem.report(0, {WDS_PROFILE_TYPE_3GPP, 9}, WDS_PROFILE_EVENT_DELETE);
    expectEvents(bench, {"0:0 3", "0:0 1", "0:9 2"});
    EXPECT_EQ(2U, bench.injected("reorder"));
}

}  // namespace
}  // namespace velo::test
