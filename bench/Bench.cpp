// SPDX-License-Identifier: Apache-2.0
//
// Measures the library through its facade, against what no implementation of the same design could
// do without: the bare hand-over between two threads, and the bare exchanges with the modem.
// Everything is measured in one run and reported as ratios, since absolute times say more about the
// machine.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ext/stdio_filebuf.h>
#include <iomanip>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "LogWrapper.h"
#include "host/mox/MoxHost.h"
#include "modem/Modem.h"
#include "mox/wds_v01.h"
#include "velo/Manager.h"

namespace velo {
namespace {

constexpr int kTechnologies = 2;
constexpr unsigned int kTimeoutMs = 1000;

template <std::size_t Size>
void setText(wds_optional<wds_string<Size>>& field, const std::string& text) {
    field.valid = 1;
    text.copy(field.value.data, Size - 1);
}

modem::StoredProfile makeProfile(wds_profile_type_enum_v01 type, std::size_t number) {
    modem::StoredProfile profile;
    profile.id.profile_type = type;
    profile.persistent = true;
    const std::string apn = "apn" + std::to_string(number) + ".example.net";
    if (type == WDS_PROFILE_TYPE_3GPP) {
        setText(profile.settings.apn_name, apn);
        setText(profile.settings.user_name, "user");
        profile.settings.pdp_type = {1, WDS_PDP_TYPE_IPV4V6};
    } else {
        setText(profile.settings.apn_string_3gpp2, apn);
        profile.settings.pdn_type_3gpp2 = {1, WDS_PROFILE_PDN_TYPE_IPV4_IPV6};
    }
    profile.settings.apn_type_mask = {1, 1};
    return profile;
}

/// A modem that holds `count` profiles, the library connected to it, and a client without a
/// library.
class Bed {
public:
    explicit Bed(std::size_t count) : mCount(count) {
        modem::ModemOptions options;
        options.factoryProfiles.emplace();
        for (std::size_t i = 0; i < count; ++i) {
            const auto type = i < kWdsMaxProfiles ? WDS_PROFILE_TYPE_3GPP : WDS_PROFILE_TYPE_3GPP2;
            auto profile = makeProfile(type, i);
            profile.id.profile_index = static_cast<std::uint8_t>(i % kWdsMaxProfiles);
            options.factoryProfiles->push_back(profile);
        }
        mModem = std::make_unique<modem::Modem>(std::move(options));
        mox::setModemPath(mModem->socketPath());
        auto& manager = Manager::getInstance();
        manager.init(0, false);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (manager.filter(FilterProfileParams()).size() != count) {
            if (std::chrono::steady_clock::now() > end) fail("the cache was not filled");
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }

        const auto service = wds_get_service_object_internal_v01(kWdsMajorVersion, kWdsMinorVersion,
                                                                 kWdsToolVersion);
        mox_service_info info{};
        mox_client_os_params parameters{};
        const auto ignore = [](mox_client_type, unsigned int, void*, unsigned int, void*) {};
        if (mox_client_get_any_service(service, &info) != 0 ||
            mox_client_init(&info, service, ignore, nullptr, &parameters, &mClient) != 0) {
            fail("no client of its own");
        }
        // On the other subscription, which holds the same: what it changes must not keep the
        // library busy.
        exchange<wds_result_resp_msg_v01>(kWdsBindSubscriptionReq,
                                          wds_bind_subscription_req_msg_v01{1});
    }
    ~Bed() { mox_client_release(mClient); }
    Bed(const Bed&) = delete;
    Bed& operator=(const Bed&) = delete;

    std::size_t count() const { return mCount; }

    template <typename Response, typename Request>
    Response exchange(unsigned int messageId, const Request& request) {
        Response response{};
        const int rc = mox_client_send_msg_sync(mClient, messageId, &request, sizeof(request),
                                                &response, sizeof(response), kTimeoutMs);
        if (rc != 0 || response.response.result != WDS_RESULT_SUCCESS) fail("a bare exchange");
        return response;
    }

    std::shared_ptr<IProfileKey> anyKey() {
        return Manager::getInstance().filter(FilterProfileParams()).front();
    }

    [[noreturn]] static void fail(const char* what) {
        std::fprintf(stderr, "velo_bench: failed: %s\n", what);
        std::exit(1);
    }

private:
    std::size_t mCount;
    std::unique_ptr<modem::Modem> mModem;
    mox_client_type mClient = nullptr;
};

/// The bed with that many profiles; made anew when another number was in use.
Bed& bedOf(std::size_t count) {
    static std::unique_ptr<Bed> bed;
    if (bed == nullptr || bed->count() != count) {
        bed.reset();
        bed = std::make_unique<Bed>(count);
    }
    return *bed;
}

/// The rendezvous that every call makes, with no work in it: mutex, eventfd, epoll, condition
/// variable.
class HandOver {
public:
    HandOver() : mEpoll(epoll_create1(EPOLL_CLOEXEC)), mEvent(eventfd(0, EFD_NONBLOCK)) {
        epoll_event event{};
        event.events = EPOLLIN;
        epoll_ctl(mEpoll, EPOLL_CTL_ADD, mEvent, &event);
        mThread = std::thread([this] { work(); });
    }
    ~HandOver() {
        // No post: the thread may be gone before it would look at one.
        mStop = true;
        eventfd_write(mEvent, 1);
        mThread.join();
        close(mEvent);
        close(mEpoll);
    }
    HandOver(const HandOver&) = delete;
    HandOver& operator=(const HandOver&) = delete;

    void post() {
        std::unique_lock lock(mMutex);
        eventfd_write(mEvent, 1);
        mRequested = true;
        mCv.wait(lock, [this] { return mAnswered; });
        mAnswered = false;
    }

private:
    void work() {
        std::array<epoll_event, 4> events{};
        while (!mStop) {
            epoll_wait(mEpoll, events.data(), static_cast<int>(events.size()), -1);
            eventfd_t value = 0;
            eventfd_read(mEvent, &value);
            const std::lock_guard lock(mMutex);
            if (!mRequested) continue;
            mRequested = false;
            mAnswered = true;
            mCv.notify_one();
        }
    }

    int mEpoll;
    int mEvent;
    std::mutex mMutex;
    std::condition_variable mCv;
    bool mRequested = false;
    bool mAnswered = false;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

void bareHandOver(benchmark::State& state) {
    HandOver handOver;
    for ([[maybe_unused]] auto _ : state) handOver.post();
}

void match(benchmark::State& state) {
    auto key = bedOf(64).anyKey();
    const FilterProfileParams params;
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(Manager::getInstance().match(params, key));
}

void getProfile(benchmark::State& state) {
    auto key = bedOf(64).anyKey();
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(Manager::getInstance().getProfile(key));
}

void filterNone(benchmark::State& state) {
    bedOf(static_cast<std::size_t>(state.range(0)));
    FilterProfileParams params;
    params.setApnName("nowhere");
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(Manager::getInstance().filter(params));
}

void filterAll(benchmark::State& state) {
    bedOf(static_cast<std::size_t>(state.range(0)));
    const FilterProfileParams params;
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(Manager::getInstance().filter(params));
}

void addAndRelease(benchmark::State& state) {
    bedOf(64);
    AddProfileParams params(false, TechType::TECH_3GPP, false);
    params.setApnName("bench.example.net");
    for ([[maybe_unused]] auto _ : state) {
        if (Manager::getInstance().addProfile(params) == nullptr) Bed::fail("add");
    }
}

void bareCreateAndDelete(benchmark::State& state) {
    auto& bed = bedOf(64);
    wds_create_profile_req_msg_v01 create{};
    create.persistent = {1, 0};
    setText(create.settings.profile_name, "velo_profile");
    setText(create.settings.apn_name, "bench.example.net");
    for ([[maybe_unused]] auto _ : state) {
        const auto made =
            bed.exchange<wds_create_profile_resp_msg_v01>(kWdsCreateProfileReq, create);
        const wds_delete_profile_req_msg_v01 remove{made.profile};
        bed.exchange<wds_delete_profile_resp_msg_v01>(kWdsDeleteProfileReq, remove);
    }
}

void refresh(benchmark::State& state) {
    bedOf(kTechnologies * kWdsMaxProfiles);
    for ([[maybe_unused]] auto _ : state)
        Manager::getInstance().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
}

void bareReadOfAll(benchmark::State& state) {
    auto& bed = bedOf(kTechnologies * kWdsMaxProfiles);
    for ([[maybe_unused]] auto _ : state) {
        for (const auto type : {WDS_PROFILE_TYPE_3GPP, WDS_PROFILE_TYPE_3GPP2}) {
            wds_get_profile_list_req_msg_v01 request{};
            request.profile_type = {1, type};
            const auto list =
                bed.exchange<wds_get_profile_list_resp_msg_v01>(kWdsGetProfileListReq, request);
            for (std::uint32_t i = 0; i < list.profile_list_len; ++i) {
                wds_get_profile_settings_req_msg_v01 get{};
                get.profile.profile_type = list.profile_list[i].profile_type;
                get.profile.profile_index = list.profile_list[i].profile_index;
                bed.exchange<wds_get_profile_settings_resp_msg_v01>(kWdsGetProfileSettingsReq, get);
            }
        }
    }
}

void lineNobodyKeeps(benchmark::State& state) {
    LogWrapper::getInstance().setLogWriter(nullptr);
    for ([[maybe_unused]] auto _ : state)
        logLine(LogLevel::Debug, "%s %d", "a line that goes nowhere", 7);
}

/// Prints what Google Benchmark prints, and remembers the time of each benchmark, in its own unit.
class Reporter : public benchmark::ConsoleReporter {
public:
    Reporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            // The aggregates of repetitions come after the repetitions: the median has the last
            // word.
            if (!run.aggregate_name.empty() && run.aggregate_name != "median") continue;
            const std::string name = run.run_name.str();
            mTimes[name.substr(0, name.rfind("/real_time"))] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }

    double operator[](const std::string& name) const {
        const auto found = mTimes.find(name);
        return found == mTimes.end() ? 0 : found->second;
    }

private:
    std::map<std::string, double> mTimes;
};

void printRatios(const Reporter& times, std::ostream& out) {
    struct Row {
        const char* what;
        const char* measured;
        const char* base;
        double times;
    };
    constexpr double kAll = kTechnologies * kWdsMaxProfiles;
    static constexpr std::array kRows{
        Row{"match / bare hand-over", "match", "bareHandOver", 1},
        Row{"getProfile / bare hand-over", "getProfile", "bareHandOver", 1},
        Row{"filter of 510, none / match", "filterNone/510", "match", 1},
        Row{"filter of 510, all / 511 hand-overs", "filterAll/510", "bareHandOver", kAll + 1},
        Row{"filter 510 / filter 255, none", "filterNone/510", "filterNone/255", 1},
        Row{"filter 510 / filter 255, all", "filterAll/510", "filterAll/255", 1},
        Row{"add and release / bare exchanges", "addAndRelease", "bareCreateAndDelete", 1},
        Row{"refresh of 510 / bare exchanges", "refresh", "bareReadOfAll", 1},
    };
    out << '\n'
        << std::left << std::setw(40) << "ratio"
        << "measured\n"
        << std::fixed;
    for (const auto& row : kRows) {
        const double base = times[row.base] * row.times;
        if (base > 0 && times[row.measured] > 0) {
            out << std::left << std::setw(40) << row.what << std::right << std::setw(8)
                << std::setprecision(2) << times[row.measured] / base << '\n';
        }
    }
}

}  // namespace
}  // namespace velo

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    // The library traces its wake-ups on standard output: the figures get a descriptor of their
    // own.
    __gnu_cxx::stdio_filebuf<char> buffer(dup(STDOUT_FILENO), std::ios::out);
    std::ostream out(&buffer);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);

    const auto add = [](const char* name, void (*function)(benchmark::State&)) {
        return benchmark::RegisterBenchmark(name, function)
            ->UseRealTime()
            ->Unit(benchmark::kMicrosecond);
    };
    using namespace velo;
    add("bareHandOver", bareHandOver);
    add("lineNobodyKeeps", lineNobodyKeeps)->Unit(benchmark::kNanosecond);
    add("match", match);
    add("getProfile", getProfile);
    add("bareCreateAndDelete", bareCreateAndDelete);
    add("addAndRelease", addAndRelease);
    for (const int count : {1, 16, 64, 255, 510}) add("filterNone", filterNone)->Arg(count);
    for (const int count : {1, 16, 64, 255, 510}) add("filterAll", filterAll)->Arg(count);
    add("bareReadOfAll", bareReadOfAll);
    add("refresh", refresh);

    Reporter reporter;
    reporter.SetOutputStream(&out);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printRatios(reporter, out);
    return 0;
}
