// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "SpawnedCommand.h"
#include "Support.h"
#include "tool/Command.h"
#include "tool/CommandLine.h"
#include "tool/Completion.h"
#include "tool/GlobalOptions.h"

namespace velo::test {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST(ScriptTest, StopsAtTheFirstFailureAndSaysWhere) {
    struct Case {
        std::string script;
        int status;
        std::string err;  ///< how the standard error begins
    };
    const Case cases[] = {
        {"list\n\n# remark\nbogus\nadd --apn late\n", 2, "stdin:4: there is no command 'bogus'"},
        {"show 3gpp:200\nadd --apn late\n", 1, "stdin:1: the modem has no profile 3gpp:200"},
        {"attach-check 250\nadd --apn late\n", 1, "stdin:1: the modem has no profile 3gpp:250"},
        {"velo match 1 --ip v4\nadd --apn late\n", 1, "stdin:1: the line ended with status 1"},
        {"add --key web\nprovision --sim 26201\n", 2, "stdin:2: provision connects the library "},
        {"list 'open\n", 2, "stdin:1: the line lacks the closing ' of a word"},
        {std::string("lis\0t\n", 6), 2, "stdin:1: there is no command 'lis"},
        {"list --modem /nowhere\n", 2, "stdin:1: --modem holds for a whole shell or script"},
        {"drop web\n", 2, "stdin:1: there is no key 'web'; there are no keys at all"},
        {"exit\nbogus\n", 0, ""},
        {"", 0, ""},
    };
    for (const Case& each : cases) {
        const auto result = runCommand({"run", "-"}, each.script);
        EXPECT_EQ(each.status, result.status) << each.script;
        EXPECT_THAT(result.err, StartsWith(each.err)) << each.script;
        EXPECT_THAT(result.out, Not(HasSubstr("late"))) << each.script;
    }
}

TEST(ScriptTest, KeepsKeysFromLineToLine) {
    const auto result =
        runCommand({"--json", "--show-secrets", "run", "-"},
                   "add --apn internet --key web --password 'it'\\''s \"#1\"' # why\n"
                   "add --apn other\n"
                   "show web --numbers\n"
                   "keys\n"
                   "drop web k1\n"
                   "find --apn internet --velo yes\n");
    ASSERT_EQ(0, result.status) << result.err;
    const auto results = nlohmann::json::parse(result.out);
    ASSERT_EQ(6U, results.size());
    EXPECT_EQ("it's \"#1\"", results[2].at("password"));
    EXPECT_EQ(0, results[2].at("technology"));
    ASSERT_EQ(2U, results[3].size());
    EXPECT_EQ("k1", results[3][0].at("key"));
    EXPECT_EQ("3gpp", results[3][1].at("technology")) << "--numbers outlived its line";
    EXPECT_EQ(false, results[3][1].at("stale"));
    EXPECT_EQ(nlohmann::json::array(), results[5]) << "the profile outlived its key";
}

TEST(ScriptTest, RefusesFilesThatItCannotRun) {
    const auto missing = runCommand({"run", "/nowhere/script"});
    EXPECT_EQ(2, missing.status);
    EXPECT_THAT(missing.err, StartsWith("velo: /nowhere/script cannot be read: "));

    const TemporaryFolder folder;
    const std::string path = folder / "loop";
    folder.write("loop", "run " + path + "\n");
    const auto endless = runCommand({"run", path});
    EXPECT_EQ(2, endless.status);
    EXPECT_EQ(path + ":1: " + path + " would run itself without an end; take that line out\n",
              endless.err);
}

TEST(ShellTest, CommandsAboutKeysNeedAShell) {
    for (const std::vector<std::string>& line :
         {std::vector<std::string>{"keys"}, {"drop", "k1"}, {"on-expire", "k1"}, {"exit"}}) {
        const auto result = runCommand(line);
        EXPECT_EQ(2, result.status);
        EXPECT_EQ("velo: " + line[0] +
                      " is of use within velo shell or velo run FILE alone, where keys live on "
                      "from line to line\n",
                  result.err);
    }
}

TEST(ShellTest, GoesOnAfterAFailureAndEndsWithTheLastStatus) {
    EXPECT_EQ(0, runCommand({"shell"}, "bogus\nlist\n").status);
    const auto failed = runCommand({"shell"}, "bogus\nadd --apn internet --key web\nshow 77\n");
    EXPECT_EQ(1, failed.status);
    EXPECT_THAT(failed.out, HasSubstr("web"));
    EXPECT_THAT(failed.err, StartsWith("stdin:1: there is no command 'bogus'"));
    EXPECT_THAT(failed.err, HasSubstr("\nstdin:3: the modem has no profile 3gpp:77"));
    EXPECT_EQ(2, runCommand({"shell"}, "shell").status);
}

TEST(ShellTest, TellsOfKeysThatExpire) {
    modem::Modem modem;
    SpawnedCommand shell({"--modem", modem.socketPath(), "shell"});
    shell.write("add --apn internet --key web\non-expire web\non-expire wep\n");
    ASSERT_TRUE(shell.waitForOut("will tell when key web expires"));
    ASSERT_TRUE(shell.waitForErr("did you mean 'web'?"));

    wds_profile_identifier_v01 added{};
    for (const modem::StoredProfile& profile : modem.profiles(0)) {
        if (profile.settings.apn_name.value.data == std::string("internet")) {
            added = profile.id;
        }
    }
    wds_profile_settings_v01 settings{};
    settings.apn_name = {1, {"foreign"}};
    ASSERT_TRUE(modem.modifyProfile(0, added, settings));
    // The library hears of it in its own time; the shell tells after a command.
    ASSERT_TRUE(waitUntil([&] {
        shell.write("keys\n");
        return shell.waitForOut("\n") && shell.heardOut("key web has expired");
    }));
    EXPECT_EQ(0, shell.finish().status);
}

TEST(ShellTest, ProvisionLeavesTheShellsOwnModemAlone) {
    const auto result = runCommand(
        {"shell"}, "modify 1 --apn mine\nprovision --sim 26201\nshow 1 --modem-view\nshow 1\n");
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out.substr(result.out.find("elapsed")),
                AllOf(HasSubstr("mine"), HasSubstr("token")));
}

TEST(InterruptionTest, EndsTheCommandButNotTheShell) {
    SpawnedCommand shell({"shell"}, SpawnedCommand::Streams::Terminal);
    ASSERT_TRUE(shell.waitForOut("velo> "));
    shell.write("provision --all --twice\r");
    ASSERT_TRUE(shell.waitForOut("] "));
    shell.write("\x03");
    ASSERT_TRUE(shell.waitForOut("interrupted after "));
    ASSERT_TRUE(shell.waitForOut("velo> "));
    shell.write("add --apn afterwards\r");
    ASSERT_TRUE(shell.waitForOut("created 3gpp:0"));
    shell.write("exit\r");
    EXPECT_EQ(0, shell.finish().status);
}

TEST(InterruptionTest, LeavesNothingBehind) {
    const TemporaryFolder folder;
    ASSERT_EQ(0, ::setenv("TMPDIR", folder.path().c_str(), 1));
    {
        SpawnedCommand provision({"provision", "--all", "--twice"},
                                 SpawnedCommand::Streams::Terminal);
        ASSERT_TRUE(provision.waitForOut("] "));
        provision.write("\x03");
        ASSERT_TRUE(provision.waitForOut("everything was released"));
        EXPECT_EQ(130, provision.finish().status);
    }
    SpawnedCommand script({"run", "-"});
    script.write("add --apn internet\n");
    ASSERT_TRUE(script.waitForOut("created 3gpp:0"));
    script.signal(SIGTERM);
    ASSERT_TRUE(script.waitForErr("stdin: interrupted after line 1"));
    EXPECT_EQ(143, script.finish().status);
    ::unsetenv("TMPDIR");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(CompletionTest, TheShellOffersItsKeys) {
    tool::GlobalOptions options;
    const tool::CommandLine line(options);
    const tool::Completion completion(line, {"web", "k1"});
    struct Case {
        std::vector<std::string> words;
        std::string last;
        std::vector<std::string> candidates;
    };
    const Case cases[] = {
        {{"refresh"}, "", {"completed", "started"}},
        {{"drop"}, "", {"k1", "web"}},
        {{"show"}, "w", {"web"}},
        {{"list", "--log"}, "d", {"diag"}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(each.candidates, completion.candidates(each.words, each.last)) << each.last;
    }
}

TEST(CompletionTest, BashCompletesWhatTheDefinitionsAllow) {
    const auto script = runCommand({"completion", "bash"});
    ASSERT_EQ(0, script.status);
    const std::pair<std::string, std::string> cases[] = {
        {"velo data", "data-call"},         {"velo --modem list refr", "refresh"},
        {"velo add --roam", "--roam-ip"},   {"velo add --ip v4", "v4 v4v6"},
        {"velo add --ip = v6", "v6"},       {"velo add --types default,mm", "default,mms"},
        {"velo refresh st", "started"},     {"velo help prov", "provision"},
        {"velo run /dev/nul", "/dev/null"}, {"velo list --show-s", "--show-secrets"},
    };
    std::string text = "set -u\n" + script.out;
    std::string wanted;
    for (const auto& [line, completed] : cases) {
        text += "COMP_WORDS=(" + line + "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _velo velo; " +
                "echo \"${COMPREPLY[*]}\"\n";
        wanted += completed + "\n";
    }
    const auto completed = [&] {
        SpawnedCommand bash("bash", {"--norc", "-s"});
        bash.write(text);
        return bash.finish();
    }();
    EXPECT_EQ(wanted, completed.out);
    EXPECT_EQ("", completed.err);
}

TEST(HelpTest, ExamplesWorkWhenPasted) {
    std::string script = "velo() { " VELO_COMMAND " \"$@\"; }\n";
    for (const tool::Command& command : tool::commands()) {
        // The carrier list and a pager for the manual are not everywhere.
        if (command.group != "Help" && command.example.find(".xml") == std::string::npos &&
            command.name != "carriers" && command.name != "provision") {
            script += "(" + command.example +
                      ") >/dev/null </dev/null || echo 'failed: " + command.name + "'\n";
        }
    }
    SpawnedCommand bash("bash", {"--norc", "-s"});
    bash.write(script);
    EXPECT_EQ("", bash.finish().out);
}

TEST(ManPageTest, TellsOfEveryCommand) {
    const auto page = runCommand({"man"});
    ASSERT_EQ(0, page.status);
    EXPECT_THAT(page.out, StartsWith(".TH VELO 1 "));
    for (const tool::Command& command : tool::commands()) {
        EXPECT_THAT(page.out, HasSubstr("\n.SS " + command.name + "\n"));
    }
}

}  // namespace

}  // namespace velo::test
