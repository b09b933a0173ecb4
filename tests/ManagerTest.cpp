// SPDX-License-Identifier: Apache-2.0

#include "velo/Manager.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "CacheView.h"
#include "ClientRequestManager.h"
#include "LocalLogBuffer.h"
#include "Sanitized.h"
#include "Support.h"

extern "C" __attribute__((weak)) void
__lsan_do_leak_check();  // NOLINT(bugprone-reserved-identifier)

namespace velo {
namespace {

/// Ends a forked child with all its destructors, but not where a leak checker would report what the
/// parent's other threads had on their stacks.
[[noreturn]] void endChild(int status) {
    if (__lsan_do_leak_check != nullptr) {
        _exit(status);
    }
    exit(status);
}

bool inHistory(const std::string& message) {
    const auto lines = LocalLogBuffer::getInstance().getLogs();
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find("]" + message) != std::string::npos;
    });
}

class ManagerTest : public test::LibraryTest {
protected:
    ManagerTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    bool modemHas(const std::string& apn) {
        const auto profiles = modem().profiles(0);
        return std::any_of(profiles.begin(), profiles.end(), [&](const auto& profile) {
            return apn == profile.settings.apn_name.value.data;
        });
    }
};

bool failsBeforeInit() {
    Manager& manager = Manager::getInstance();
    const bool failed =
        !manager.addProfile(AddProfileParams(false, TechType::TECH_3GPP, false)) &&
        !manager.modifyProfile(ModifyProfileParams(), nullptr) && !manager.deleteProfile(nullptr) &&
        manager.filter(FilterProfileParams()).empty() && !manager.getProfile(nullptr) &&
        !manager.match(FilterProfileParams(), nullptr);
    manager.refresh(PDCRefreshStatus::REFRESH_STARTED);
    const auto lines = manager.dump();
    return failed && lines.size() == 9 && lines[0].empty() && lines[1] == "Logs:" &&
           std::all_of(lines.begin() + 2, lines.end(), [](const std::string& line) {
               return line.find("[VELO]Manager not initialized!") != std::string::npos;
           });
}

TEST(ManagerDeathTest, NothingWorksBeforeInit) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exit(failsBeforeInit() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST_F(ManagerTest, ARefreshFailsEverythingUntilAnyStatusButStartedEndsIt) {
    const test::LogRecorder log;
    const auto key = add("before");
    manager().refresh(PDCRefreshStatus::REFRESH_STARTED);
    const auto exchanges = modem().exchanges();
    EXPECT_FALSE(add("during"));
    EXPECT_FALSE(manager().modifyProfile(ModifyProfileParams(test::byApn("other")), key));
    EXPECT_FALSE(manager().deleteProfile(key));
    EXPECT_TRUE(manager().filter({}).empty());
    EXPECT_FALSE(manager().match({}, key));
    EXPECT_FALSE(manager().getProfile(key));
    EXPECT_EQ(modem().exchanges(), exchanges);
    manager().refresh(static_cast<PDCRefreshStatus>(7));
    EXPECT_TRUE(add("after"));
    EXPECT_TRUE(log.has(LogLevel::Debug, ":77:handleClientRequest"));
}

TEST_F(ManagerTest, DestroyedRightAfterConstruction) {
    for (int round = 0; round < 200; ++round) {
        ClientRequestManager shortLived(0);
    }
    EXPECT_TRUE(add("alive"));
}

TEST_F(ManagerTest, CallerThatWaitsIsWokenByDestruction) {
    // Requests that nobody answers.
    const std::pair<ReqRespType, const char*> unanswered[] = {
        {static_cast<ReqRespType>(99), "Handling 99 "},
        {ReqRespType::Refresh, "Handling Refresh "}};
    for (const auto& request : unanswered) {
        auto engine = std::make_unique<ClientRequestManager>(0);
        test::LogRecorder log;
        std::thread caller([&request, &owned = *engine] {
            EXPECT_EQ(owned.processClientRequest(std::make_shared<ClientRequest>(request.first)),
                      nullptr);
        });
        EXPECT_TRUE(test::waitUntil([&] { return log.has(LogLevel::Info, request.second); }));
        engine.reset();
        caller.join();
    }
}

TEST_F(ManagerTest, RequestsThatAreNotWhatTheySayFail) {
    ClientRequestManager engine(0);
    int type = 0;
    for (const char* answer :
         {"Add Failure ", "Modify Failure", "Delete Failure", "Filter Failure ",
          "Match Failure false", "Get Failure ", "Callback Failure"}) {
        const auto response = engine.processClientRequest(
            std::make_shared<ClientRequest>(static_cast<ReqRespType>(type++)));
        ASSERT_TRUE(response) << answer;
        EXPECT_EQ(response->dump(), answer);
    }
    const auto response = engine.processClientRequest(std::make_shared<CallbackRequest>());
    EXPECT_EQ(response->dump(), "Callback Failure");
}

/// A key that a caller has made itself.
class ForeignKey : public IProfileKey {
public:
    int getProfileId() override { return 1; }
    TechType getTechType() override { return TechType::TECH_3GPP; }
    void registerExpirationListener(std::function<void()>) override {}
    std::string dump() override { return "foreign"; }
};

TEST_F(ManagerTest, KeysThatTheLibraryHasNotMadeFail) {
    const auto exchanges = modem().exchanges();
    for (const std::shared_ptr<IProfileKey>& key :
         {std::shared_ptr<IProfileKey>(), std::shared_ptr<IProfileKey>(new ForeignKey)}) {
        EXPECT_FALSE(manager().modifyProfile(ModifyProfileParams(test::byApn("other")), key));
        EXPECT_FALSE(manager().deleteProfile(key));
        EXPECT_FALSE(manager().getProfile(key));
        EXPECT_FALSE(manager().match(FilterProfileParams(), key));
    }
    EXPECT_EQ(modem().exchanges(), exchanges);
}

TEST_F(ManagerTest, CallsOfAListenerFailAtOnce) {
    const auto watched = add("watched");
    const auto other = add("other");
    std::atomic<int> failed{0};
    watched->registerExpirationListener([&] {
        failed += manager().filter(FilterProfileParams()).empty() ? 1 : 0;
        failed += manager().deleteProfile(other) ? 0 : 1;
        other->registerExpirationListener([] {});
    });
    test::LogRecorder log;
    EXPECT_TRUE(manager().deleteProfile(watched));
    EXPECT_EQ(failed, 2);
    EXPECT_EQ(log.count(LogLevel::Error, "processClientRequest called on a worker thread"), 3U);
    EXPECT_TRUE(modemHas("other")) << "nothing but a release is carried out later";
}

TEST_F(ManagerTest, DumpWhileTheWorkerWorks) {
    const auto key = add("short");
    std::atomic<bool> stop{false};
    std::thread dumper([&] {
        while (!stop) EXPECT_EQ("Cache:", manager().dump().front());
    });
    for (char letter = 'a'; letter < 'z'; ++letter) {
        const ModifyProfileParams change(test::byApn(std::string(100, letter)));
        EXPECT_TRUE(manager().modifyProfile(change, key));
    }
    stop = true;
    dumper.join();
}

TEST_F(ManagerTest, DumpDoesNotWaitForAnExchange) {
    std::atomic<bool> asked{false};
    std::atomic<bool> dumped{false};
    modem().setGate([&](const mox::Frame&) {
        asked = true;
        return test::waitUntil([&] { return dumped.load(); });
    });
    std::shared_ptr<IProfileKey> key;
    std::thread caller([&] { key = add("slow"); });
    EXPECT_TRUE(test::waitUntil([&] { return asked.load(); }));
    EXPECT_EQ("Cache:", manager().dump().front());
    dumped = true;
    caller.join();
    EXPECT_TRUE(key) << "the exchange was over before the dump";
    modem().setGate(nullptr);
}

TEST_F(ManagerTest, ReleaseOnTheWorkerIsCarriedOutLater) {
    test::LogRecorder log;
    for (const bool inCall : {true, false}) {
        auto watched = add("watched");
        auto other = add("other");
        ASSERT_TRUE(watched && other);
        watched->registerExpirationListener([&other] { other.reset(); });
        if (inCall) {
            EXPECT_TRUE(manager().deleteProfile(watched));
        } else {
            ASSERT_TRUE(modem().deleteProfile(
                0, {WDS_PROFILE_TYPE_3GPP, static_cast<std::uint8_t>(watched->getProfileId())}));
        }
        EXPECT_TRUE(test::waitUntil([&] { return !modemHas("other"); }));
        settle();
    }
    EXPECT_EQ(log.count(LogLevel::Error, "processClientRequest called on a worker thread"), 2U);
    EXPECT_EQ(log.count(LogLevel::Debug, "~ProfileKey"), 4U);
}

TEST_F(ManagerTest, ForkedChildFailsCallsAndLeavesTheParentAlone) {
    auto key = add("parent");
    ASSERT_TRUE(key);
    const pid_t child = fork();
    if (child == 0) {
        const bool failed = !add("child") && !manager().getProfile(key) &&
                            inHistory("Unable to cast to AddResponse") && !manager().dump().empty();
        key.reset();
        endChild(failed ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(manager().getProfile(key));
    EXPECT_TRUE(add("still alive"));
}

/// Keys that outlive the manager, and every other object of the library that ends with the process.
std::list<std::shared_ptr<IProfileKey>>& lateKeys() {
    static std::list<std::shared_ptr<IProfileKey>> keys;
    return keys;
}

TEST(ManagerExitTest, KeysMayOutliveTheManager) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto useAndExit = [] {
        class Fixture : public ManagerTest {
        public:
            using ManagerTest::add;

        private:
            void TestBody() override {}
        };
        lateKeys();
        // Neither the modem nor the keys are released before the process ends.
        static auto* const fixture = new Fixture;
        lateKeys().push_back(fixture->add("late"));
        lateKeys().back()->registerExpirationListener([] { lateKeys().clear(); });
        exit(lateKeys().back() ? 0 : 1);
    };
    EXPECT_EXIT(useAndExit(), ::testing::ExitedWithCode(0), "");
}

TEST_F(ManagerTest, ClosedStandardOutputIsNoHindrance) {
    const auto useWithoutOutput = [this] {
        close(STDOUT_FILENO);
        connect();
        connect();
        exit(add("silent") ? 0 : 1);
    };
    EXPECT_EXIT(useWithoutOutput(), ::testing::ExitedWithCode(0), "");
}

TEST_F(ManagerTest, EmptyListenerEndsTheProcess) {
    const auto key = add("watched");
    key->registerExpirationListener(nullptr);
    EXPECT_EXIT(manager().deleteProfile(key), ::testing::KilledBySignal(SIGABRT), "");
}

/// Asks for a stack of nearly all addresses, so that no thread can start while it lives: of 32
/// bits, even the half may be there.
class NoThreads {
public:
    NoThreads() {
        pthread_getattr_default_np(&mBefore);
        pthread_attr_t greedy;
        pthread_attr_init(&greedy);
        constexpr std::size_t kFree = std::size_t{16} << 20;
        pthread_attr_setstacksize(&greedy, std::numeric_limits<std::size_t>::max() - kFree);
        pthread_setattr_default_np(&greedy);
        pthread_attr_destroy(&greedy);
    }
    ~NoThreads() {
        pthread_setattr_default_np(&mBefore);
        pthread_attr_destroy(&mBefore);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t mBefore{};
};

TEST_F(ManagerTest, InitWithoutAThreadFailsAndChangesNothing) {
    const auto key = add("before");
    std::error_code error;
    try {
        const NoThreads limited;
        manager().init(1, false);
    } catch (const std::system_error& failure) {
        error = failure.code();
    }
    EXPECT_EQ(std::errc::resource_unavailable_try_again, error);
    EXPECT_TRUE(inHistory("mox_client_notifier_init error. ErrCode : "));
    EXPECT_EQ("before", manager().getProfile(key)->getApnName());
    connect();
    EXPECT_TRUE(add("after"));
}

TEST_F(ManagerTest, ModemThatNothingWaitsForIsLookedForInSilence) {
    const test::LogRecorder log;
    const auto failures = [&log] {
        const auto errors = log.texts(LogLevel::Error);
        return std::count_if(errors.begin(), errors.end(), [](const std::string& line) {
            return line.starts_with("mox_client_notifier_init error. ErrCode : ");
        });
    };
    {
        const NoThreads limited;
        modem().powerOff();
        ASSERT_TRUE(test::waitUntil([&] { return failures() > 0; }));
        for (int call = 0; call < 3; ++call) EXPECT_FALSE(add("nobody"));
    }
    EXPECT_EQ(1, failures());
    EXPECT_EQ(1U, log.count(LogLevel::Event, "MoxWdsProxy::registerMoxSvcUp"));
    modem().powerOn();
    EXPECT_TRUE(test::waitUntil([this] { return add("again") != nullptr; }));
}

class StderrWriter : public LogWriter {
public:
    void write(LogLevel level, std::string, std::string message) override {
        if (level == LogLevel::Error) std::fprintf(stderr, "%s\n", message.c_str());
    }
    int convertPrio(LogLevel level) override { return static_cast<int>(level); }
};

/// Builds a manager with so many descriptors left in the process.
void buildWithDescriptors(int left) {
    LogWrapper::getInstance().setLogWriter(std::make_unique<StderrWriter>());
    std::list<int> taken{dup(STDERR_FILENO)};
    const int lowest = taken.front();
    while (static_cast<int>(taken.size()) <= left) taken.push_back(dup(STDERR_FILENO));
    const int end = left == 0 ? lowest : taken.back();
    for (const int fd : taken) close(fd);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = static_cast<rlim_t>(end);
    setrlimit(RLIMIT_NOFILE, &limit);
    const ClientRequestManager manager(0);
}

TEST(ManagerDeathTest, WithoutDescriptorsTheProcessEndsWithItsReason) {
    if (test::kSanitized) GTEST_SKIP() << "the sanitizers take descriptors of their own";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const ::testing::KilledBySignal aborted(SIGABRT);
    EXPECT_EXIT(buildWithDescriptors(0), aborted, "Cannot create epoll instance");
    EXPECT_EXIT(buildWithDescriptors(1), aborted, "Cannot create eventfd instance");
    EXPECT_EXIT(buildWithDescriptors(4), aborted, "Cannot create eventfd instance");
    // The notifier can do without, the worker cannot.
    EXPECT_EXIT(buildWithDescriptors(5), aborted,
                "notifier_init error. ErrCode : .*\nCannot create eventfd instance");
}

/// Puts something that cannot be written in the place of every event descriptor of the process.
void breakEventDescriptors() {
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry, gone) == "anon_inode:[eventfd]") {
            dup2(nothing, std::stoi(entry.path().filename()));
        }
    }
}

TEST_F(ManagerTest, FailedHandOverIsReported) {
    const auto callInVain = [this] {
        breakEventDescriptors();
        const bool reported =
            !add("vain") && inHistory("error in writing rv: -1 error: Bad file descriptor") &&
            inHistory("Manager::addProfile < ") && inHistory("Unable to cast to AddResponse");
        _exit(reported ? 0 : 1);
    };
    EXPECT_EXIT(callInVain(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace velo
