// SPDX-License-Identifier: Apache-2.0

#include "tool/LineRunner.h"

#include <exception>
#include <nlohmann/json.hpp>

#include "tool/CommandError.h"
#include "tool/CommandText.h"
#include "tool/ExpiryBoard.h"
#include "tool/GlobalOptions.h"
#include "tool/Interpreter.h"
#include "tool/KeyRing.h"
#include "tool/Output.h"

namespace velo::tool {

namespace {

constexpr unsigned int kDeepest = 16;

/// Puts the options back to what they were before a line.
class OptionsGuard {
public:
    explicit OptionsGuard(GlobalOptions& options) : mOptions(options), mSaved(options) {}
    ~OptionsGuard() { mOptions = mSaved; }
    OptionsGuard(const OptionsGuard&) = delete;
    OptionsGuard& operator=(const OptionsGuard&) = delete;

private:
    GlobalOptions& mOptions;
    const GlobalOptions mSaved;
};

/// The modem is chosen once: a line that names another one would silently be carried out on the
/// first.
void refuseChoiceOfModem(const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        for (const std::string option : {"--modem", "--instance", "--log"}) {
            if (word == option || word.starts_with(option + "=")) {
                throw CommandError(kUsage, option +
                                               " holds for a whole shell or script; give it where "
                                               "that is started");
            }
        }
    }
}

}  // namespace

LineRunner::LineRunner(const Context& context, ShellState& state)
    : mContext(context), mState(state) {
    mContext.interactive = true;
    if (mState.depth == kDeepest) {
        throw CommandError(kUsage, "the scripts run each other more than " +
                                       std::to_string(kDeepest) +
                                       " deep; see that none runs itself");
    }
    ++mState.depth;
}

LineRunner::~LineRunner() {
    mState.isEnded = false;
    if (--mState.depth == 0) {
        mContext.keys.clear();
        mState.board->take();
    }
}

int LineRunner::run(const std::string& line, const std::string& where) {
    const OptionsGuard guard(mContext.options);
    const auto complain = [&](const char* text) {
        if (where.empty()) {
            mContext.output.error(text);
        } else {
            mContext.output.remark(where + ": " + text);
        }
    };
    try {
        const std::vector<std::string> words = wordsOfLine(line);
        if (!words.empty()) {
            mStatus = execute(words, where);
        }
    } catch (const CommandError& error) {
        complain(error.what());
        mStatus = error.status();
    } catch (const std::exception& error) {
        complain(error.what());
        mStatus = kFailed;
    }
    tellExpired();
    return mStatus;
}

int LineRunner::execute(const std::vector<std::string>& words, const std::string& where) {
    refuseChoiceOfModem(words);
    const int status = Interpreter(mContext).parseAndRun(words);
    if (status != kDone && !where.empty()) {
        mContext.output.remark(where + ": " + words.front() + " ended with status " +
                               std::to_string(status));
    }
    return status;
}

void LineRunner::tellExpired() {
    for (const std::string& key : mState.board->take()) {
        if (mContext.output.json()) {
            mContext.output.jsonLine({{"expired", key}});
        } else {
            mContext.output.line("key " + key + " has expired");
        }
    }
}

}  // namespace velo::tool
