// SPDX-License-Identifier: Apache-2.0

#include "tool/LineRunner.h"

#include <algorithm>
#include <exception>
#include <nlohmann/json.hpp>
#include <utility>

#include "tool/CommandError.h"
#include "tool/CommandText.h"
#include "tool/ExpiryBoard.h"
#include "tool/GlobalOptions.h"
#include "tool/Interpreter.h"
#include "tool/Interruption.h"
#include "tool/KeyRing.h"
#include "tool/Output.h"

namespace velo::tool {

namespace {

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

LineRunner::LineRunner(const Context& context, ShellState& state, const std::string& source)
    : mContext(context), mState(state) {
    mContext.interactive = true;
    const std::vector<std::string>& running = mState.sources;
    if (std::find(running.begin(), running.end(), source) != running.end()) {
        throw CommandError(kUsage, source + " would run itself without an end; take that line out");
    }
    mState.sources.push_back(source);
}

LineRunner::~LineRunner() {
    mState.isEnded = false;
    mState.sources.pop_back();
    if (mState.sources.empty()) {
        mContext.keys.clear();
        mState.board->take();
    }
}

int LineRunner::run(const std::string& line, const std::string& where) {
    const OptionsGuard guard(mContext.options);
    mState.isTold = false;
    const auto complain = [&](const char* text) {
        mState.isTold = true;
        if (where.empty()) {
            mContext.output.error(text);
        } else {
            mContext.output.remark(where + ": " + text);
        }
    };
    try {
        mStatus = execute(wordsOfLine(line));
    } catch (const CommandError& error) {
        complain(error.what());
        mStatus = error.status();
    } catch (const Interruption::Raised&) {
        complain("interrupted");
        mStatus = mContext.interruption.status();
    } catch (const std::exception& error) {
        complain(error.what());
        mStatus = kFailed;
    }
    tellExpired();
    return mStatus;
}

int LineRunner::execute(std::vector<std::string> words) {
    // Lines are pasted from where they need it.
    if (!words.empty() && words.front() == "velo") {
        words.erase(words.begin());
    }
    if (words.empty()) {
        return mStatus;
    }
    refuseChoiceOfModem(words);
    return Interpreter(mContext).parseAndRun(std::move(words));
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
