// SPDX-License-Identifier: Apache-2.0

#include "tool/Session.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <list>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "host/mox/MoxHost.h"
#include "modem/Modem.h"
#include "tool/CommandError.h"
#include "tool/GlobalOptions.h"
#include "tool/Interruption.h"
#include "tool/ModemView.h"
#include "tool/Output.h"
#include "tool/SettingOptions.h"
#include "tool/Words.h"
#include "velo/Manager.h"

namespace velo::tool {

namespace {

constexpr const char* kInitLine = "Manager::init(";
constexpr const char* kFilledLine = "Refreshed Profiles:";
constexpr const char* kNoListLine = "Unable send MOX_WDS_GET_PROFILE_LIST_REQ_V01 message";

bool holds(const std::string& line, const std::string& text) {
    return line.find(text) != std::string::npos;
}

/// Whether a line holds `text` after the last one that holds `since`.
bool holdsSince(const std::vector<std::string>& lines, const std::string& since,
                const std::string& text) {
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (holds(*line, text)) {
            return true;
        }
        if (holds(*line, since)) {
            return false;
        }
    }
    return false;
}

}  // namespace

Session::Session(const GlobalOptions& options, Output& output, const Interruption& interruption)
    : mOptions(options), mOutput(output), mInterruption(interruption) {}

Session::~Session() = default;

const std::string& Session::modemPath() {
    if (!mPath.empty()) {
        mox::setModemPath(mPath);
        return mPath;
    }
    if (mOptions.modemPath.empty()) {
        try {
            mEmbedded = std::make_unique<modem::Modem>();
        } catch (const std::system_error& error) {
            throw CommandError(kFailed, std::string("the embedded modem does not start: ") +
                                            error.what() + "; see that TMPDIR can be written");
        }
        mPath = mEmbedded->socketPath();
    } else {
        struct stat status {};
        if (::stat(mOptions.modemPath.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) {
            throw CommandError(kFailed, "there is no modem at " + mOptions.modemPath +
                                            "; start one there, or leave --modem out");
        }
        mPath = mOptions.modemPath;
    }
    mox::setModemPath(mPath);
    return mPath;
}

modem::Modem* Session::embedded() {
    modemPath();
    return mEmbedded.get();
}

Manager& Session::manager() {
    if (!mConnected) {
        connect();
    }
    return Manager::getInstance();
}

void Session::connect() {
    const std::string& path = modemPath();
    if (mOptions.log == LogTarget::Off) {
        ::unsetenv("DIAG_LOG");
    }
    Manager::getInstance().init(static_cast<int>(mOptions.instance),
                                mOptions.log == LogTarget::Adb);
    mConnected = true;
    ++mConnections;

    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    const auto limit = std::chrono::duration<double>(mOptions.timeoutSeconds);
    const Clock::time_point start = Clock::now();
    while (!cacheFilled()) {
        mInterruption.check();
        const Clock::duration waited = Clock::now() - start;
        if (waited > limit) {
            warnOfRefusals();
            throw CommandError(kFailed, "the modem at " + path +
                                            " has not reported its profiles in time; see that it "
                                            "runs, or wait longer with --timeout");
        }
        // Nothing tells that the cache is filled: asked for so often that little time is lost, and
        // so seldom that the asking takes little.
        std::this_thread::sleep_for(std::clamp<Clock::duration>(waited / 8, 20us, 20ms));
    }
    warnOfRefusals();
    if (loggedFromStart(kNoListLine)) {
        throw CommandError(kFailed, "the modem at " + path +
                                        " did not give the list of its profiles; try again, or see "
                                        "velo dump");
    }
}

bool Session::cacheFilled() {
    Manager& manager = Manager::getInstance();
    const std::vector<std::string> lines = manager.dump();
    const bool hasProfiles = lines.size() > 1 && lines[0] == "Cache:" && lines[1] != "Pending:";
    const bool hasRead = holdsSince(lines, kInitLine, kFilledLine);
    // The cache may be in the middle of its reading: an answer of the worker comes after it.
    if ((hasProfiles || hasRead) && !manager.filter(FilterProfileParams()).empty()) {
        return true;
    }
    // A modem without profiles, or one that did not list them, never fills the cache. The modem is
    // asked, because the line may be the last one of the manager that was replaced.
    return hasRead &&
           (loggedFromStart(kNoListLine) || ModemView(mOptions.instance).stored().empty());
}

void Session::warnOfRefusals() {
    if (loggedFromStart("Unable send bind req message")) {
        requireSubscription();
        mOutput.remark("velo: warning: the modem refused to bind subscription " +
                       std::to_string(mOptions.instance) +
                       "; what follows may be about another one");
    }
    if (loggedFromStart("Unable send indication req message")) {
        mOutput.remark(
            "velo: warning: the modem refused to report changes; the profiles shown may "
            "be out of date");
    }
}

void Session::requireSubscription() {
    try {
        ModemView view(mOptions.instance);
    } catch (const CommandError& error) {
        // Anything but a number that the modem has no subscription for may pass.
        if (error.status() == kUsage) {
            throw;
        }
    }
}

bool Session::loggedFromStart(const std::string& text) {
    // The last words of an earlier connection come after the first ones of a later one.
    return mConnections == 1 && loggedSince(kInitLine, text);
}

bool Session::loggedSince(const std::string& since, const std::string& text) {
    return holdsSince(Manager::getInstance().dump(), since, text);
}

std::vector<ProfileView> Session::modemProfiles() {
    modemPath();
    return ModemView(mOptions.instance).profiles();
}

std::shared_ptr<IProfileKey> Session::profile(const std::string& text) {
    const auto [tech, id] = parseProfileId(text);
    FilterProfileParams filter;
    filter.setFilterByTechType(tech);
    filter.setFilterByProfileId(id);
    const std::list<std::shared_ptr<IProfileKey>> keys = manager().filter(filter);
    if (keys.empty()) {
        throw CommandError(kFailed, "the modem has no profile " +
                                        wordOf(kTechWords, static_cast<std::uint32_t>(tech)) + ":" +
                                        std::to_string(id) + "; velo list shows what it has");
    }
    return keys.front();
}

std::pair<TechType, int> parseProfileId(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::string tech = colon == std::string::npos ? "3gpp" : text.substr(0, colon);
    const std::string id = colon == std::string::npos ? text : text.substr(colon + 1);
    return {static_cast<TechType>(parseWord("technology", kTechWords, tech)),
            parseNumber("profile id", id, 0, kLargestProfileId)};
}

}  // namespace velo::tool
