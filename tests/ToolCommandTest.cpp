// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

#include "SpawnedCommand.h"
#include "host/mox/Frame.h"
#include "modem/Modem.h"

namespace velo {
namespace {

constexpr const char* kList = "/usr/share/mobile-broadband-provider-info/apns-conf.xml";

using Words = std::vector<std::string>;

using Outcome = test::SpawnedCommand::Result;

Outcome velo(const Words& words) {
    return test::SpawnedCommand(words).finish();
}

/// The words of a line; one with blanks, or none, stands in quotation marks.
Words split(const std::string& line) {
    std::istringstream text(line);
    Words words;
    for (std::string word; text >> std::quoted(word);) words.push_back(word);
    return words;
}

struct Transcript {
    std::string line;
    int status;
    std::string results;  ///< contained in the results
    std::string remarks;  ///< contained in the remarks; both empty when this is
};

void PrintTo(const Transcript& transcript, std::ostream* out) {
    *out << transcript.line.substr(0, 80);
}

class Transcripts : public ::testing::TestWithParam<Transcript> {};

TEST_P(Transcripts, AreAsExpected) {
    const Outcome outcome = velo(split(GetParam().line));
    EXPECT_EQ(outcome.status, GetParam().status);
    EXPECT_NE(outcome.out.find(GetParam().results), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.err.find(GetParam().remarks), std::string::npos) << outcome.err;
    if (GetParam().remarks.empty()) {
        EXPECT_EQ(outcome.err, "");
    }
    if (GetParam().results.empty()) {
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_EQ(outcome.out.find("wake()"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Done, Transcripts,
    ::testing::Values(
        Transcript{"list", 0, "attach.velo", ""},
        Transcript{"list --modem-view", 0, "emergency  yes", ""},
        Transcript{"show 3", 0, "emergency-capable  yes\n", ""},
        Transcript{"show 3gpp2:1 --modem-view", 0, "cdma.velo", ""},
        Transcript{"dump", 0, "Refreshed Profiles:", ""},
        Transcript{"find --apn velo --criteria apn-subset --tech 3gpp2", 0, "cdma.velo", ""},
        Transcript{"find --apn velo", 0, "No profile matches.\n", ""},
        Transcript{"match 2 --apn IMS", 0, "2 matches.\n", ""},
        Transcript{"match 2 --ip v4", 1, "2 does not match.\n", ""},
        Transcript{"add --apn web --persistent", 0, "persistent yes.\n", "embedded modem ends"},
        Transcript{"add --apn web", 0, "created 3gpp:0", "embedded modem ends"},
        Transcript{"add --apn web --password geheim", 0, "••••••", "velo shell"},
        Transcript{"modify 1 --types default,mms --clat yes", 0,
                   "modified 3gpp:1: types default -> default,mms; clat", ""},
        Transcript{"modify 1 --user a\x1b[2Jb", 0, "1: user - -> a?[2Jb.", ""},
        Transcript{"delete 2", 0, "deleted 3gpp:2", ""},
        Transcript{"refresh started", 0, "refuses everything", ""},
        Transcript{"refresh completed", 0, "4 profiles were read anew", ""},
        Transcript{"data-call --apn IMS", 0, "found 3gpp:2.", ""},
        Transcript{"data-call --update-allowed --any-apn --tech 3gpp2 --auth pap", 0,
                   "modified 3gpp2:1: auth none -> pap.", ""},
        Transcript{"emergency", 0, "found 3gpp:3.", ""},
        Transcript{"attach --apn web", 0, "name velo_profile_ia", "embedded modem ends"},
        Transcript{"attach-check 1 --apn attach.velo", 0, "1 may be used", ""},
        Transcript{"attach-check 1 --apn web", 1, "1 may not be used", ""},
        Transcript{std::string("apn-class ") + kList + " --sim 26201", 0, "class inet", ""},
        Transcript{std::string("apn-types ") + kList + " --sim 26201", 0, "Nothing changed.", ""},
        Transcript{"carriers Slovak", 0, "23102", ""},
        Transcript{"provision --sim 262-01", 0, "created for attach", ""},
        Transcript{"help add", 0, "velo add --apn internet", ""},
        Transcript{"add --help", 0, "velo add --apn internet", ""},
        Transcript{"--help", 0, "provision", ""}));

INSTANTIATE_TEST_SUITE_P(
    Refused, Transcripts,
    ::testing::Values(
        Transcript{"", 2, "", "velo --help"}, Transcript{"lsit", 2, "", "did you mean 'list'?"},
        Transcript{"list --jsno", 2, "", "did you mean '--json'?"},
        Transcript{"add --types defalt", 2, "", "did you mean 'default'?"},
        Transcript{"add --apn \"\"", 2, "", "the APN name is empty"},
        Transcript{"add --apn " + std::string(200, 'a'), 2, "", "has 200 characters"},
        Transcript{"add --tech 3gpp2 --ia", 2, "", "only a 3GPP profile"},
        Transcript{"show 300", 2, "", "from 0 to 255"},
        Transcript{"show 77", 1, "", "no profile 3gpp:77"},
        Transcript{"modify 1", 2, "", "nothing to change"},
        Transcript{"delete", 2, "", "ID is required"},
        Transcript{"refresh maybe", 2, "", "started, completed"},
        Transcript{"data-call --update-allowed", 2, "", "--any-apn"},
        Transcript{"attach --update-allowed", 2, "", "--any-apn"},
        Transcript{"attach-check 77", 1, "", "no profile 3gpp:77"},
        Transcript{"attach-check 3gpp2:1", 2, "", "only a 3GPP profile"},
        Transcript{"provision", 2, "", "--sim MCCMNC or --all"},
        Transcript{"provision --sim 99999", 2, "", "no network 99999"},
        Transcript{std::string("apn-types ") + kList, 2, "", "say which one with --sim"},
        Transcript{"carriers --apns /nonexistent", 2, "", "cannot be read"},
        Transcript{"--modem /nonexistent list", 1, "", "there is no modem at"},
        Transcript{"--instance 7 list", 2, "", "the modem has no subscription 7"},
        Transcript{"--instance x list", 2, "", "'x' is no subscription; give a number"},
        Transcript{"--timeout 0 list", 2, "", "'0' is no time-out; give seconds"},
        Transcript{"lsit --help", 2, "", "did you mean 'list'?"},
        Transcript{"help lsit", 2, "", "did you mean 'list'?"}));

struct JsonForm {
    std::string line;
    std::string key;  ///< what the document holds; for a list, its first element
};

void PrintTo(const JsonForm& form, std::ostream* out) {
    *out << form.line;
}

class JsonForms : public ::testing::TestWithParam<JsonForm> {};

TEST_P(JsonForms, AreValidAndHoldTheirKey) {
    const Outcome outcome = velo(split(GetParam().line + " --json"));
    const nlohmann::json json = nlohmann::json::parse(outcome.out, nullptr, false);
    ASSERT_FALSE(json.is_discarded()) << outcome.out;
    const nlohmann::json& object = json.is_array() ? json.at(0) : json;
    EXPECT_TRUE(object.contains(GetParam().key)) << outcome.out;
}

INSTANTIATE_TEST_SUITE_P(
    Table, JsonForms,
    ::testing::Values(
        JsonForm{"list", "token"}, JsonForm{"list --modem-view", "persistent"},
        JsonForm{"show 1", "made_by_library"}, JsonForm{"dump", "pending"},
        JsonForm{"find --ip v4v6", "technology"}, JsonForm{"match 1 --apn none", "technology"},
        JsonForm{"add --apn web", "profile"}, JsonForm{"modify 1 --clat yes", "changes"},
        JsonForm{"delete 1", "changes"}, JsonForm{"refresh completed", "profiles"},
        JsonForm{"data-call --apn web", "outcome"}, JsonForm{"emergency", "outcome"},
        JsonForm{"attach", "outcome"}, JsonForm{"attach-check 1", "usable"},
        JsonForm{std::string("apn-class ") + kList + " --sim 26201", "changes"},
        JsonForm{std::string("apn-types ") + kList + " --sim 26201", "changes"},
        JsonForm{"carriers", "network"}, JsonForm{"help", "example"},
        JsonForm{"help add", "options"}, JsonForm{"provision --sim 26201 --twice", "results"}));

TEST(ToolCommand, SecretsAndNumbersAreShownOnlyWhenAskedFor) {
    const Words add{"add", "--apn", "web", "--password", "geheim", "--ip", "v6", "--json"};
    EXPECT_EQ(velo(add).out.find("geheim"), std::string::npos);
    Words more = add;
    more.insert(more.end(), {"--show-secrets", "--numbers"});
    const nlohmann::json profile = nlohmann::json::parse(velo(more).out).at("profile");
    EXPECT_EQ(profile.at("password"), "geheim");
    EXPECT_EQ(profile.at("ip"), 2);
}

TEST(ToolCommand, AClosedPipeEndsItQuietly) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    ::close(ends[0]);
    const std::string line = std::string(VELO_COMMAND) + " list >&" + std::to_string(ends[1]);
    const Outcome outcome = test::SpawnedCommand("bash", {"-c", line}).finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    ::close(ends[1]);
}

TEST(ToolCommand, AClosedOrFullOutputIsAFailure) {
    for (const std::string output : {">&-", ">/dev/full"}) {
        for (const std::string words : {"list", "--json keys", "--json run /dev/null", "--help",
                                        "list --help", "--version"}) {
            std::string line = VELO_COMMAND " ";
            line.append(words).append(" ").append(output);
            const Outcome outcome = test::SpawnedCommand("bash", {"-c", line}).finish();
            EXPECT_NE(outcome.status, 0) << line;
            EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << line;
        }
    }
}

TEST(ToolCommand, ARefusedSubscriptionIsWarnedOf) {
    modem::Modem modem;
    modem.setGate(
        [](const mox::Frame& frame) { return frame.messageId != kWdsBindSubscriptionReq; });
    const Outcome outcome = velo({"--modem", modem.socketPath(), "list"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("refused to bind subscription 0"), std::string::npos);
}

TEST(ToolCommand, ALostAnswerIsNoRefusal) {
    modem::Modem modem;
    modem.setTamper([](mox::Frame& frame) { return frame.messageId != kWdsCreateProfileReq; });
    const Outcome outcome = velo({"--modem", modem.socketPath(), "add", "--apn", "web"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("created 3gpp:0, but its answer did not come"), std::string::npos)
        << outcome.err;
}

TEST(ToolCommand, APersistentProfileStaysInARunningModemAndAnotherGoes) {
    modem::Modem modem;
    const std::size_t before = modem.profiles(1).size();
    const Words target{"--modem", modem.socketPath(), "--instance", "1"};
    const auto on = [&](Words words) {
        words.insert(words.end(), target.begin(), target.end());
        return velo(words);
    };
    EXPECT_EQ(on({"add", "--apn", "gone"}).status, 0);
    EXPECT_EQ(modem.profiles(1).size(), before);
    EXPECT_EQ(on({"add", "--apn", "stays", "--persistent"}).status, 0);
    EXPECT_EQ(modem.profiles(1).size(), before + 1);
    EXPECT_EQ(on({"provision", "--sim", "26201"}).status, 0);
    EXPECT_EQ(on({"delete", "0"}).status, 0);
}

TEST(ToolCommand, AFullStoreAndAnEmptyOneAreToldPlainly) {
    modem::ModemOptions options;
    options.capacity = 3;
    modem::Modem full(options);
    const Outcome refused = velo({"--modem", full.socketPath(), "add", "--apn", "web"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("its store is full"), std::string::npos) << refused.err;

    options.factoryProfiles.emplace();
    modem::Modem empty(options);
    const Outcome listed = velo({"--modem", empty.socketPath(), "list"});
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.out, "The modem has no profiles.\n");
}

TEST(ToolCommand, AModemThatIsSilentIsGivenUpInTime) {
    modem::Modem modem;
    modem.setTamper([](mox::Frame&) { return false; });
    const Outcome outcome = velo({"--modem", modem.socketPath(), "--timeout", "0.1", "list"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("has not reported its profiles in time"), std::string::npos);
}

TEST(ToolCommand, ARefusedChangeIsToldThoughTheLibraryCallsItDone) {
    modem::Modem modem;
    modem.setGate(
        [](const mox::Frame& frame) { return frame.messageId != kWdsModifyProfileSettingsReq; });
    const Outcome outcome = velo({"--modem", modem.socketPath(), "modify", "1", "--clat", "yes"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("the modem refused the change"), std::string::npos);
}

}  // namespace
}  // namespace velo
