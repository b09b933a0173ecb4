// SPDX-License-Identifier: Apache-2.0

#include <sys/resource.h>
#include <sys/wait.h>

#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "Allocations.h"
#include "Bed.h"
#include "Footprint.h"
#include "LogWrapper.h"
#include "Operations.h"
#include "Process.h"
#include "Row.h"
#include "host/mox/Codec.h"
#include "host/mox/WdsService.h"
#include "velo/Manager.h"

namespace velo::bench {

namespace {

constexpr std::size_t kAll = 2 * kWdsMaxProfiles;
constexpr std::size_t kSome = 64;
constexpr int kProcesses = 3;

/// The bed with that many profiles, its threads placed.
Bed& bedOf(std::size_t count, const Context& context) {
    Bed& bed = Bed::of(count);
    place(*context.placement, bed.modemThreads());
    return bed;
}

std::string microseconds(double work, double base) {
    return number(work / 1000) + " / " + number(base / 1000) + " µs";
}

Figure ratio(const Comparison& measured) {
    return {measured.ratio, microseconds(measured.workNs, measured.baseNs)};
}

std::shared_ptr<IProfileKey> anyKey() {
    return Manager::getInstance().filter(FilterProfileParams()).front();
}

Work matchWork() {
    return [key = anyKey()] {
        static const FilterProfileParams params;
        keep(Manager::getInstance().match(params, key));
    };
}

Work getWork() {
    return [key = anyKey()] { keep(Manager::getInstance().getProfile(key)); };
}

using MakeWork = Work (*)();

Figure againstHandOver(Context& context, MakeWork makeWork) {
    bedOf(kSome, context);
    return ratio(compare(
        makeWork(), [&] { context.handOver.post(); }, context.effort));
}

Figure againstBus(Context& context, MakeWork makeWork) {
    if (context.bus == nullptr) return {{}, "skipped: " + context.noBus};
    bedOf(kSome, context);
    context.bus->place(*context.placement);
    return ratio(compare([&] { context.bus->call(); }, makeWork(), context.effort));
}

Figure filterNoneAgainstMatch(Context& context) {
    bedOf(kAll, context);
    const Comparison measured = compare(filterNone, matchWork(), context.effort);
    return {measured.difference / 1000, microseconds(measured.workNs, measured.baseNs)};
}

Figure filterNoneGrowth(Context& context) {
    const Line line = context.growth.line(&GrowthStep::filterNoneUs);
    return {line.slope * 1000, "R² " + number(line.rSquared)};
}

Figure filterAllAgainstHandOvers(Context& context) {
    bedOf(kAll, context);
    const Work posts = [&] {
        for (std::size_t i = 0; i < kAll + 1; ++i) context.handOver.post();
    };
    return ratio(compare(filterAll, posts, context.heavy));
}

/// The other thread makes the exchanges, as the library's does.
Figure addAgainstExchanges(Context& context) {
    Bed& bed = bedOf(kSome, context);
    wds_profile_identifier_v01 made{};
    const Work create = [&] { made = bed.create(); };
    const Work remove = [&] { bed.remove(made); };
    const Work bare = [&] {
        context.handOver.post(&create);
        context.handOver.post(&remove);
    };
    return ratio(compare(addAndRelease, bare, context.effort));
}

Figure refreshAgainstExchanges(Context& context) {
    Bed& bed = bedOf(kAll, context);
    const Work readAll = [&] { bed.readAll(); };
    return ratio(compare(
        refresh, [&] { context.handOver.post(&readAll); }, context.heavy));
}

[[gnu::noinline]] void callOf(const char* text, int number) {
    asm volatile("" : : "r"(text), "r"(number));
}

Figure lineNobodyKeeps(Context& context) {
    LogWrapper::getInstance().setLogWriter(nullptr);
    const Comparison measured =
        compare([] { logLine(LogLevel::Debug, "%s %d", "a line that goes nowhere", 7); },
                [] { callOf("a line that goes nowhere", 7); }, context.effort);
    return {measured.workNs, "a call " + number(measured.baseNs) + " ns"};
}

constexpr const char* kTrace = "Manager::%s > %s";
constexpr const char* kTraced = "Match 3GPP:5 token=12 None: tech=3GPP,ApnName=internet,";

void formatTrace(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

void formatTrace(char* buffer, std::size_t size, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
}

Figure eventLine(Context& context) {
    LogWrapper::getInstance().setLogWriter(nullptr);
    const Work bare = [] {
        std::array<char, 512> buffer;
        formatTrace(buffer.data(), buffer.size(), kTrace, "match", kTraced);
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        keep(buffer);
        keep(now);
    };
    const Comparison measured =
        compare([] { logLine(LogLevel::Event, kTrace, "match", kTraced); }, bare, context.effort);
    return {measured.ratio, number(measured.workNs) + " / " + number(measured.baseNs) + " ns"};
}

FilterProfileParams everySetting() {
    FilterProfileParams params;
    params.setApnName("internet.example.net");
    params.setUserName("user@example.net");
    params.setPassword("a password of some length");
    params.setAuthType(AuthType::PAP_CHAP);
    params.setHomeIPType(IPType::V4V6);
    params.setRoamIPType(IPType::V4);
    params.setApnTypesMask(0xFFF);
    params.setApnClass(ApnClass::INET);
    params.setIsClatEnabled(true);
    params.setIsEmergencySupported(true);
    params.setIsApnDisabled(false);
    params.setMaxPdnsConnPerBlock(1023);
    params.setMaxPdnConnTimer(300);
    params.setPdnReqWaitInterval(900);
    params.setFilterByTechType(TechType::TECH_3GPP);
    params.setFilterByProfileId(12);
    params.setFilterByIsVeloProfile(true);
    params.setFilterByIsIAProfile(false);
    return params;
}

Figure dumpOfRecord(Context& context) {
    const FilterProfileParams params = everySetting();
    const std::size_t before = allocations();
    const std::string text = params.dump();
    const std::size_t made = allocations() - before;
    const double time = nanoseconds([&] { keep(params.dump()); }, context.effort);
    return {time,
            std::to_string(made) + " allocations, " + std::to_string(text.size()) + " characters"};
}

wds_create_profile_req_msg_v01 fullCreateRequest() {
    wds_create_profile_req_msg_v01 request{};
    request.persistent = {1, 1};
    auto* const base = reinterpret_cast<std::uint8_t*>(&request.settings);
    for (const mox::Field& field : mox::wdsSettingsFields()) {
        base[field.flag] = 1;
        if (field.kind == mox::FieldKind::String) {
            std::memcpy(base + field.value, "internet.example.net", 21);
        } else {
            mox::storeScalar(field, base + field.value, 1);
        }
    }
    return request;
}

Figure codec(Context& context) {
    const auto& message = *mox::wdsService().find(MOX_MESSAGE_REQUEST, kWdsCreateProfileReq);
    const wds_create_profile_req_msg_v01 request = fullCreateRequest();
    wds_create_profile_req_msg_v01 decoded{};
    std::vector<std::uint8_t> bytes;
    const Work both = [&] {
        bytes.clear();
        if (!mox::encode(message, &request, bytes) || !mox::decode(message, bytes, &decoded)) {
            fail("the codec");
        }
    };
    wds_create_profile_req_msg_v01 copied;
    const Work copy = [&] {
        std::memcpy(&copied, &request, sizeof copied);
        keep(copied);
    };
    const Comparison measured = compare(both, copy, context.effort);
    return {measured.workNs / 1000, std::to_string(bytes.size()) + " bytes of " +
                                        std::to_string(message.fields.size()) + " fields; memcpy " +
                                        number(measured.baseNs) + " ns"};
}

Figure idleLibrary(Context&) {
    const Bed& bed = Bed::of(1);
    const double empty = residentBytes({}, kProcesses);
    const double idle = residentBytes({bed.socketPath(), 1, 0}, kProcesses);
    return {(idle - empty) / 1024, "empty process " + number(empty / 1024) + " KiB"};
}

Figure cachedProfile(Context& context) {
    const Line line = context.growth.line(&GrowthStep::residentKiB);
    return {line.slope * 1024, "R² " + number(line.rSquared)};
}

Figure heldKey(Context&) {
    constexpr std::size_t kFilters = 40;
    const Bed& bed = Bed::of(kAll);
    const double some = residentBytes({bed.socketPath(), kAll, kFilters}, kProcesses);
    const double twice = residentBytes({bed.socketPath(), kAll, 2 * kFilters}, kProcesses);
    return {(twice - some) / static_cast<double>(kFilters * kAll),
            std::to_string(2 * kFilters * kAll) + " held"};
}

Figure provisionAll(Context& context) {
    const std::string command = std::filesystem::path(ownPath()).replace_filename("velo");
    // The process inherits the one core, or is left to the scheduler.
    if (*context.placement == Placement::SameCore) {
        place(Placement::SameCore, {});
    } else {
        unpin();
    }
    std::vector<double> seconds;
    rusage used{};
    for (int i = 0; i < std::max(1, context.heavy.repetitions / 3); ++i) {
        rusage before{};
        getrusage(RUSAGE_CHILDREN, &before);
        const auto start = std::chrono::steady_clock::now();
        const pid_t process = bench::start({command, "provision", "--all"});
        if (process < 0 || waitFor(process) != 0) fail("velo provision --all");
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        seconds.push_back(taken.count());
        getrusage(RUSAGE_CHILDREN, &used);
        used.ru_utime.tv_sec -= before.ru_utime.tv_sec;
        used.ru_utime.tv_usec -= before.ru_utime.tv_usec;
        used.ru_stime.tv_sec -= before.ru_stime.tv_sec;
        used.ru_stime.tv_usec -= before.ru_stime.tv_usec;
        used.ru_nvcsw -= before.ru_nvcsw;
    }
    const auto asSeconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return {medianOf(seconds), "processor: " + number(asSeconds(used.ru_utime)) +
                                   " s in programs, " + number(asSeconds(used.ru_stime)) +
                                   " s in the kernel, " + std::to_string(used.ru_nvcsw) + " waits"};
}

Figure startToFirstCall(Context& context) {
    const Bed& bed = Bed::of(8);
    place(Placement::SameCore, {});
    return {nanoseconds([&] { bed.startLibrary(); }, context.effort) / 1e6, "8 profiles"};
}

}  // namespace

std::string number(double value) {
    const double size = std::abs(value);
    const int digits = size >= 99.95 || value == 0 ? 0 : size >= 9.995 ? 1 : size >= 0.1 ? 2 : 3;
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.*f", digits, value);
    return text.data();
}

std::vector<Row> makeRows() {
    using enum Row::Bound;
    const auto handOver = [](MakeWork work) {
        return [work](Context& context) { return againstHandOver(context, work); };
    };
    const auto bus = [](MakeWork work) {
        return [work](Context& context) { return againstBus(context, work); };
    };
    return {
        {"match", "bare hand-over", AtMost, 1.25, "x", true, handOver(matchWork)},
        {"getProfile", "bare hand-over", AtMost, 1.25, "x", true, handOver(getWork)},
        {"a call over a message bus", "match", AtLeast, 10, "x", true, bus(matchWork)},
        {"a call over a message bus", "getProfile", AtLeast, 10, "x", true, bus(getWork)},
        {"filter of 510, none matches", "match", AtMost, 60, "µs more", true,
         filterNoneAgainstMatch},
        {"filter, none matches: a profile more", "", None, 0, "ns", false, filterNoneGrowth},
        {"filter of 510, all match, keys dropped", "511 bare hand-overs", AtMost, 1.3, "x", true,
         filterAllAgainstHandOvers},
        {"add and release", "2 bare exchanges, 2 bare hand-overs", AtMost, 1.25, "x", true,
         addAgainstExchanges},
        {"refresh of 510", "512 bare exchanges", AtMost, 1.1, "x", true, refreshAgainstExchanges},
        {"a log line that nobody keeps", "a function call", AtMost, 20, "ns", false,
         lineNobodyKeeps},
        {"an Event line", "vsnprintf, clock_gettime", AtMost, 4, "x", false, eventLine},
        {"dump() of a record with every setting", "", None, 0, "ns", false, dumpOfRecord},
        {"codec: a full create request there and back", "memcpy", AtMost, 1, "µs", false, codec},
        {"memory: the idle library", "an empty process", None, 0, "KiB", false, idleLibrary},
        {"memory: a cached profile", "", AtMost, 600, "bytes", false, cachedProfile},
        {"memory: a key", "", AtMost, 160, "bytes", false, heldKey},
        {"velo provision --all", "", AtMost, 2, "s", true, provisionAll},
        {"start to the first successful call", "", AtMost, 5, "ms", false, startToFirstCall},
    };
}

}  // namespace velo::bench
