// SPDX-License-Identifier: Apache-2.0

#include "soak/CallWatch.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "LogWrapper.h"
#include "LogWriter.h"

namespace velo::soak {

namespace {

/// What a call may take beside its exchanges on a machine that has more to do.
constexpr std::chrono::milliseconds kSlack{1000};

class Writer : public LogWriter {
public:
    explicit Writer(std::shared_ptr<CallWatch> watch) : mWatch(std::move(watch)) {}
    void write(LogLevel, std::string, std::string message) override { mWatch->trace(message); }
    int convertPrio(LogLevel level) override { return static_cast<int>(level); }

private:
    const std::shared_ptr<CallWatch> mWatch;
};

/// The place in a key's text, such as "3GPP:5 token=12", the first in the line.
std::optional<Place> placeIn(const std::string& line) {
    const auto start = line.find("3GPP");
    const auto colon = line.find(':', start);
    if (start == std::string::npos || colon == std::string::npos) return std::nullopt;
    const bool isCdma = line.compare(start, colon - start, "3GPP2") == 0;
    return Place(isCdma ? TechType::TECH_3GPP2 : TechType::TECH_3GPP,
                 std::atoi(line.c_str() + colon + 1));
}

}  // namespace

void CallWatch::attach() {
    LogWrapper::getInstance().setLogWriter(std::make_unique<Writer>(shared_from_this()));
}

void CallWatch::trace(const std::string& line) {
    constexpr std::string_view kFacade = "Manager::";
    if (line.starts_with(kFacade)) {
        const auto mark = line.find(' ');
        if (line.compare(mark, 3, " > ") == 0) {
            begin(line.substr(kFacade.size(), mark - kFacade.size()));
            if (line.starts_with("Manager::modifyProfile")) {
                const std::lock_guard lock(mMutex);
                if (const auto place = placeIn(line)) mModified.push_back(*place);
            }
        } else if (line.compare(mark, 3, " < ") == 0) {
            end();
        }
    } else if (line.starts_with("Unable send ") || line.ends_with(" request successful!")) {
        const std::lock_guard lock(mMutex);
        ++mExchanges;
    }
}

void CallWatch::begin(const std::string& name) {
    const std::lock_guard lock(mMutex);
    ++mCalls;
    mName = name;
    mExchangesBefore = mExchanges;
    mBegun = Clock::now();
}

void CallWatch::end() {
    const std::lock_guard lock(mMutex);
    const auto took = Clock::now() - mBegun;
    const auto exchanges = mExchanges - mExchangesBefore;
    mLongest = std::max(mLongest, took);
    if (took > std::chrono::milliseconds(exchanges * mExchangeMs) + kSlack) {
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
        mViolations.push_back(mName + " took " + std::to_string(ms) + " ms for " +
                              std::to_string(exchanges) + " exchanges");
    }
}

std::uint64_t CallWatch::calls() const {
    const std::lock_guard lock(mMutex);
    return mCalls;
}

std::chrono::milliseconds CallWatch::longest() const {
    const std::lock_guard lock(mMutex);
    return std::chrono::duration_cast<std::chrono::milliseconds>(mLongest);
}

std::vector<Place> CallWatch::takeModified() {
    const std::lock_guard lock(mMutex);
    return std::exchange(mModified, {});
}

std::vector<std::string> CallWatch::takeViolations() {
    const std::lock_guard lock(mMutex);
    return std::exchange(mViolations, {});
}

}  // namespace velo::soak
