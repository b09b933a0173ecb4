// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ModemClient.h"
#include "Sanitized.h"
#include "SpawnedCommand.h"
#include "Support.h"
#include "host/mox/Descriptor.h"
#include "host/mox/Socket.h"

namespace velo::test {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

/// A connection to the control channel.
class Controller {
public:
    explicit Controller(const std::string& path) : mSocket(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address;
        EXPECT_TRUE(mox::makeAddress(path, address));
        EXPECT_EQ(0,
                  ::connect(mSocket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)));
        const timeval bound{kBound.count(), 0};
        ::setsockopt(mSocket.get(), SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof(bound));
    }

    void send(const std::string& text) {
        ASSERT_EQ(static_cast<ssize_t>(text.size()),
                  ::send(mSocket.get(), text.data(), text.size(), MSG_NOSIGNAL));
    }

    json answer() {
        for (std::size_t end = mText.find('\n');; end = mText.find('\n')) {
            if (end != std::string::npos) {
                const std::string line = mText.substr(0, end);
                mText.erase(0, end + 1);
                return json::parse(line);
            }
            std::array<char, 4096> chunk;
            const ssize_t got = ::recv(mSocket.get(), chunk.data(), chunk.size(), 0);
            if (got <= 0) {
                ADD_FAILURE() << "no answer";
                return {};
            }
            mText.append(chunk.data(), static_cast<std::size_t>(got));
        }
    }

    json order(const std::string& line) {
        send(line + "\n");
        return answer();
    }

private:
    mox::Descriptor mSocket;
    std::string mText;
};

class ModemProgramTest : public ::testing::Test {
protected:
    std::string path() const { return mFolder / "modem"; }
    std::string control() const { return path() + ".control"; }

    /// A modem that listens, with more options and more environment.
    std::unique_ptr<SpawnedCommand> start(const Words& more = {}, const Words& environment = {}) {
        Words words(environment);
        words.insert(words.end(), {VELO_MODEM_COMMAND, "--socket", path()});
        words.insert(words.end(), more.begin(), more.end());
        auto modem = std::make_unique<SpawnedCommand>("env", words);
        EXPECT_TRUE(modem->waitForOut("velo-modem: listening on " + path() + "\n"));
        return modem;
    }

    static SpawnedCommand::Result run(Words words) {
        words.insert(words.begin(), {"-u", "MOX_MODEM", "-u", "XDG_RUNTIME_DIR"});
        words.insert(words.begin() + 4, VELO_MODEM_COMMAND);
        return SpawnedCommand("env", words).finish();
    }

    SpawnedCommand::Result order(Words words) const {
        words.insert(words.begin(), {"ctl", "--socket", path()});
        return run(words);
    }

    TemporaryFolder mFolder;
};

TEST_F(ModemProgramTest, TakesOrdersOfSeveralControllers) {
    const auto modem = start({"--subscriptions", "3", "--seed", "5", "--faults", "drop=0.5"});
    for (const auto& socket : {path(), control()}) {
        struct stat status {};
        ASSERT_EQ(0, ::stat(socket.c_str(), &status));
        EXPECT_EQ(0600U, status.st_mode & 0777U);
    }
    Controller first(control());
    Controller second(control());
    const json status = first.order(R"({"order":"status"})");
    EXPECT_EQ(3, status["subscriptions"]);
    EXPECT_EQ(5, status["seed"]);
    EXPECT_EQ(0.5, status["chances"]["drop"]);
    {
        Controller interrupted(control());
        interrupted.send(R"({"order":"restart"})");
    }
    first.send("{\"order\":\"list\"}\n{\"order\":\"he");
    EXPECT_EQ(4U, first.answer()["profiles"].size());
    EXPECT_TRUE(second.order("nonsense").contains("error"));
    first.send("lp\"}\n");
    EXPECT_TRUE(first.answer().contains("orders"));
    const json tooLong{{"error", "an order is at most 65536 bytes long"}};
    EXPECT_EQ(tooLong, second.order(std::string(70000, ' ')));
    EXPECT_EQ(tooLong, second.order(std::string(65537, ' ')));
    const std::string longest = R"({"order":"status"})";
    const json after = second.order(longest + std::string(65536 - longest.size(), ' '));
    EXPECT_EQ(0, after["injected"]["restart"]);
}

TEST_F(ModemProgramTest, OrdersFromTheShell) {
    const auto modem = start();
    ModemClient client(path());
    const auto added = order(
        {"add", "--subscription", "1", R"({"technology":"3gpp","settings":{"apn_name":"shell"}})"});
    EXPECT_EQ("{\"ok\":true,\"technology\":\"3gpp\",\"index\":0}\n", added.out);
    EXPECT_EQ(0, added.status);
    EXPECT_EQ(0, order({"delete", "3gpp", "0", "1"}).status);
    EXPECT_EQ(0, order({"reject", "--count", "2", "create-profile"}).status);
    EXPECT_EQ(WDS_ERR_INTERNAL, client.create("a").response.error);
    EXPECT_EQ(0, order({"{\"order\":\n\"status\"}"}).status);

    const auto refused = order({"delete", "3gpp", "99"});
    EXPECT_EQ("{\"error\":\"the modem refuses: invalid profile\"}\n", refused.out);
    EXPECT_EQ(1, refused.status);
    for (const Words& wrong :
         {Words{}, Words{"explode"}, Words{"delete", "3gpp"}, Words{"delete", "3gpp", "x"},
          Words{"status", "more"}, Words{"list", "--subscription"}, Words{"{}", "more"}}) {
        const auto result = order(wrong);
        EXPECT_EQ(2, result.status) << result.err;
        EXPECT_EQ(0U, result.err.find("velo-modem: ")) << result.err;
    }
    EXPECT_EQ(0, order({"stop"}).status);
    EXPECT_EQ(0, modem->finish().status);
    const auto alone = order({"status"});
    EXPECT_EQ(1, alone.status);
    EXPECT_EQ("velo-modem: no modem is there to take the order, on " + control() +
                  ": No such file or directory\n",
              alone.err);
}

TEST_F(ModemProgramTest, TellsTheServiceManagerAndStopsCleanly) {
    for (const bool abstract : {false, true}) {
        const std::string name = abstract ? "@" + mFolder.path() : mFolder / "notify";
        sockaddr_un address;
        ASSERT_TRUE(mox::makeAddress(name, address));
        if (abstract) {
            address.sun_path[0] = '\0';
        }
        const mox::Descriptor manager(::socket(AF_UNIX, SOCK_DGRAM, 0));
        ASSERT_EQ(0, ::bind(manager.get(), reinterpret_cast<sockaddr*>(&address),
                            static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())));
        const timeval bound{kBound.count(), 0};
        ::setsockopt(manager.get(), SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof(bound));
        const auto told = [&] {
            std::array<char, 64> text{};
            const ssize_t length = ::recv(manager.get(), text.data(), text.size(), 0);
            return std::string(text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        };
        const auto modem = start({}, {"NOTIFY_SOCKET=" + name});
        EXPECT_EQ("READY=1", told());
        ModemClient client(path());
        EXPECT_EQ(MOX_NO_ERR, client.bind(0));
        modem->signal(abstract ? SIGINT : SIGTERM);
        EXPECT_EQ("STOPPING=1", told());
        const auto result = modem->finish();
        EXPECT_EQ(0, result.status);
        EXPECT_EQ("", result.err);
        EXPECT_FALSE(std::filesystem::exists(path()));
        EXPECT_FALSE(std::filesystem::exists(control()));
    }
}

TEST_F(ModemProgramTest, TakesOverFromADeadModemAndNeverFromALiveOne) {
    {
        const auto dead = start();
        dead->signal(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, dead->finish().status);
    }
    ASSERT_TRUE(std::filesystem::exists(path()));
    const auto alive = start();
    const auto second = run({"--socket", path()});
    EXPECT_EQ(1, second.status);
    EXPECT_EQ("velo-modem: control socket " + control() + ": Address already in use\n", second.err);
    const auto third = run({"--socket", mFolder / "other", "--control", control()});
    EXPECT_EQ(1, third.status);
    EXPECT_EQ("velo-modem: control socket " + control() + ": Address already in use\n", third.err);
    EXPECT_FALSE(std::filesystem::exists(mFolder / "other"));
    const auto fourth = run({"--socket", path(), "--control", mFolder / "other"});
    EXPECT_EQ(1, fourth.status);
    EXPECT_EQ("velo-modem: modem socket " + path() + ": Address already in use\n", fourth.err);
    EXPECT_EQ(MOX_NO_ERR, ModemClient(path()).bind(0));
    EXPECT_EQ(true, Controller(control()).order(R"({"order":"status"})")["ok"]);
}

TEST_F(ModemProgramTest, LeavesTheCaptureOfALiveModemAlone) {
    const std::string file = mFolder / "capture";
    const std::string old = mFolder.write("old", "of yesterday");
    const auto alive = start({"--capture", file});
    EXPECT_EQ(MOX_NO_ERR, ModemClient(path()).bind(0));
    const auto size = std::filesystem::file_size(file);
    const auto second = run({"--socket", mFolder / "other", "--capture", file});
    EXPECT_EQ(2, second.status);
    EXPECT_EQ("velo-modem: capture " + file + ": is in use by another modem\n", second.err);
    EXPECT_LE(size, std::filesystem::file_size(file));
    const auto third =
        run({"--socket", mFolder / "other", "--control", control(), "--capture", old});
    EXPECT_EQ(1, third.status);
    EXPECT_LT(0U, std::filesystem::file_size(old)) << "emptied for a modem that cannot start";
}

/// The processor time that a process has used.
std::chrono::nanoseconds workOf(pid_t pid) {
    clockid_t clock{};
    EXPECT_EQ(0, ::clock_getcpuclockid(pid, &clock));
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

TEST_F(ModemProgramTest, ClientsWaitIdlyForADescriptor) {
    if (kSanitized) GTEST_SKIP() << "the sanitizers take descriptors of their own";
    using namespace std::chrono_literals;
    const auto modem = start();
    ASSERT_EQ(MOX_NO_ERR, ModemClient(path()).bind(0));
    Controller first(control());
    ASSERT_EQ(true, first.order(R"({"order":"status"})")["ok"]);
    rlimit before{};
    ::prlimit(modem->pid(), RLIMIT_NOFILE, nullptr, &before);
    const rlimit none{3, before.rlim_max};
    ::prlimit(modem->pid(), RLIMIT_NOFILE, &none, nullptr);
    Controller waiting(control());
    waiting.send("{\"order\":\"status\"}\n");
    ModemClient client(path());
    EXPECT_EQ(MOX_TIMEOUT_ERR, client.bind(0, 100));
    const auto work = workOf(modem->pid());
    EXPECT_EQ(MOX_TIMEOUT_ERR, client.bind(0, 1000));
    EXPECT_GT(50ms, workOf(modem->pid()) - work);
    EXPECT_EQ(true, first.order(R"({"order":"status"})")["ok"]);
    ::prlimit(modem->pid(), RLIMIT_NOFILE, &before, nullptr);
    EXPECT_EQ(MOX_NO_ERR, client.bind(0));
    EXPECT_EQ(true, waiting.answer()["ok"]);
}

TEST_F(ModemProgramTest, LibraryComesBackWhenThereAreDescriptorsAgain) {
    if (kSanitized) GTEST_SKIP() << "the sanitizers take descriptors of their own";
    const auto modem = start();
    Controller controller(control());
    mox::setModemPath(path());
    auto& manager = Manager::getInstance();
    manager.init(0, false);
    const auto isFilled = [&] { return !manager.filter({}).empty(); };
    ASSERT_TRUE(waitUntil(isFilled));
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{3, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    const LogRecorder log;
    controller.order(R"({"order":"restart"})");
    EXPECT_TRUE(waitUntil([&] { return log.has(LogLevel::Info, "Handling modem down"); }));
    EXPECT_FALSE(manager.addProfile(AddProfileParams(false, TechType::TECH_3GPP, false)));
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_TRUE(waitUntil([&] {
        return manager.addProfile(AddProfileParams(false, TechType::TECH_3GPP, false)) != nullptr;
    }));
    mox::setModemPath("");
}

TEST_F(ModemProgramTest, RefusesWhatItCannotUse) {
    mFolder.write("damaged", "{\"profiles\": ");
    struct Case {
        Words words;
        std::string says;
    };
    const std::vector<Case> cases{
        {{}, "velo-modem: where is the socket? Give --socket PATH, or set MOX_MODEM"},
        {{"--odd"}, "--odd"},
        {{"--capacity", "0", "--socket", path()}, "--capacity"},
        {{"--capacity", "256", "--socket", path()}, "--capacity"},
        {{"--subscriptions", "many", "--socket", path()}, "--subscriptions"},
        {{"--latency", "-1", "--socket", path()}, "--latency"},
        {{"--seed", "-1", "--socket", path()}, "--seed"},
        {{"--seed", "18446744073709551616", "--socket", path()}, "--seed"},
        {{"--socket", path(), "--state", mFolder / "x", "--capture", mFolder / "./x"},
         "--state and --capture are the same file, "},
        {{"--faults", "explode=1", "--socket", path()},
         "velo-modem: --faults: there is no fault 'explode'; the faults are reject, "},
        {{"--faults", "drop=1.5", "--socket", path()}, "drop=1.5 is not a number from 0 to 1"},
        {{"--profiles", mFolder / "none", "--socket", path()}, mFolder / "none"},
        {{"--profiles", mFolder / "damaged", "--socket", path()}, mFolder / "damaged"},
        {{"--state", mFolder / "damaged", "--socket", path()}, mFolder / "damaged"},
        {{"decode"}, "FILE"},
        {{"decode", mFolder / "none"}, mFolder / "none"},
    };
    for (const auto& [words, says] : cases) {
        const auto result = run(words);
        EXPECT_EQ(2, result.status) << says;
        EXPECT_EQ(0U, result.err.find("velo-modem: ")) << result.err;
        EXPECT_NE(std::string::npos, result.err.find(says)) << result.err;
        EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
        EXPECT_EQ("", result.out);
        EXPECT_FALSE(std::filesystem::exists(path()));
    }
}

TEST_F(ModemProgramTest, ManualPageHasEveryOptionAndOrder) {
    const auto page = run({"man"});
    EXPECT_EQ(0, page.status);
    for (const char* text :
         {"\\-\\-socket", "\\-\\-capture", ".SS ctl", ".SS indicate-raw", "damage\\-answer"}) {
        EXPECT_NE(std::string::npos, page.out.find(text)) << text;
    }
    EXPECT_NE(std::string::npos, run({"ctl", "--help"}).out.find("reject message [count]"));
}

}  // namespace
}  // namespace velo::test
