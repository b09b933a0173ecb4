// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tool/Command.h"
#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/GlobalOptions.h"
#include "tool/Interruption.h"
#include "tool/Output.h"
#include "tool/Session.h"
#include "tool/Watcher.h"

namespace velo::tool {

namespace {

using std::chrono::system_clock;

constexpr double kLongest = 1e9;  ///< seconds; the clock holds more

struct WatchOptions {
    std::optional<unsigned int> count;
    std::optional<double> seconds;
};

/// The time to the millisecond: "2026-03-01 12:00:00.123" here, or "2026-03-01T12:00:00.123Z".
std::string timeText(system_clock::time_point time, bool isUtc) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(time);
    const auto millis = std::chrono::floor<std::chrono::milliseconds>(time - whole).count();
    const std::time_t seconds = system_clock::to_time_t(whole);
    std::tm parts{};
    if (isUtc) {
        ::gmtime_r(&seconds, &parts);
    } else {
        ::localtime_r(&seconds, &parts);
    }
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), isUtc ? "%FT%T" : "%F %T", &parts);
    std::array<char, 8> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03d", static_cast<int>(millis));
    return std::string(text.data()) + fraction.data() + (isUtc ? "Z" : "");
}

std::string nameOf(WatchEvent::Kind kind) {
    switch (kind) {
        case WatchEvent::Kind::SubscriptionChanged:
            return "subscription changed";
        case WatchEvent::Kind::ModemGone:
            return "modem gone";
        case WatchEvent::Kind::ModemBack:
            return "modem back";
        case WatchEvent::Kind::ProfileChanged:
            break;
    }
    return "";
}

nlohmann::json toJson(const WatchEvent& event, const GlobalOptions& options) {
    nlohmann::json json{{"change", nameOf(event.kind)}};
    if (event.kind == WatchEvent::Kind::ProfileChanged) {
        json = toJson(event.change, options);
        const nlohmann::json& profile = json[event.change.after ? "after" : "before"];
        const nlohmann::json technology = profile["technology"];
        const nlohmann::json id = profile["id"];
        json["technology"] = technology;
        json["id"] = id;
    }
    json["time"] = timeText(event.time, true);
    return json;
}

std::string toText(const WatchEvent& event, const GlobalOptions& options) {
    return timeText(event.time, false) + " " +
           (event.kind == WatchEvent::Kind::ProfileChanged ? toText(event.change, options)
                                                           : nameOf(event.kind));
}

int watch(Context& context, const WatchOptions& wanted) {
    Watcher::Deadline deadline;
    if (wanted.seconds) {
        deadline = std::chrono::steady_clock::now() +
                   std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                       std::chrono::duration<double>(*wanted.seconds));
    }
    const std::string path = context.session.modemPath();
    if (context.session.embedded() != nullptr) {
        context.output.remark(
            "velo: nobody else changes the embedded modem; with --modem PATH a modem that others "
            "use "
            "is watched");
    }
    Watcher watcher(context.options.instance);
    context.output.remark("velo: watching " + std::to_string(watcher.profiles()) +
                          " profiles of the modem at " + path);
    const ResultList results(context.output, context.output.json());
    unsigned int seen = 0;
    while (!wanted.count || seen < *wanted.count) {
        const std::optional<WatchEvent> event = watcher.next(context.interruption.fd(), deadline);
        if (!event) {
            break;
        }
        seen += event->kind == WatchEvent::Kind::ProfileChanged ? 1 : 0;
        if (context.output.json()) {
            context.output.jsonLine(toJson(*event, context.options));
        } else {
            context.output.line(toText(*event, context.options));
        }
    }
    return kDone;
}

Action setupWatch(CLI::App& app) {
    auto wanted = std::make_shared<WatchOptions>();
    app.add_option("--count", wanted->count, "End after that many changes")
        ->type_name("N")
        ->check([](const std::string& text) {
            unsigned int count = 0;
            return CLI::detail::lexical_cast(text, count) && count > 0
                       ? std::string()
                       : "'" + text + "' is no number of changes";
        });
    app.add_option("--for", wanted->seconds, "End after that time")
        ->type_name("SECONDS")
        ->check([](const std::string& text) {
            double seconds = 0;
            return CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds < kLongest
                       ? std::string()
                       : "'" + text + "' is no number of seconds";
        });
    return [wanted](Context& context) { return watch(context, *wanted); };
}

}  // namespace

std::vector<Command> watchCommands() {
    return {{"watch", "Profiles",
             "Tells of every change of a profile as it happens, until interrupted",
             "velo watch --for 1", setupWatch}};
}

}  // namespace velo::tool
