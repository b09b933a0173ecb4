// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tool/Context.h"

namespace velo::tool {

class ExpiryBoard;

/// What the commands of a shell or a script share beside the context.
struct ShellState {
    std::shared_ptr<ExpiryBoard> board;
    bool isEnded = false;              ///< whether the innermost shell or script was told to end
    bool isTold = false;               ///< whether somebody said where the last failure was
    std::vector<std::string> sources;  ///< shells and scripts that run within each other
};

/// Carries out command lines one after another, as part of a shell or a script: keys live on from
/// line to line, and the options of a line count for that line alone. Used by one thread.
class LineRunner {
public:
    /// The keys of the outermost runner are dropped with it.
    /// @param source what names the lines and nothing else, whatever way leads there
    /// @throws CommandError when the lines would run themselves
    LineRunner(const Context& context, ShellState& state, const std::string& source);
    ~LineRunner();
    LineRunner(const LineRunner&) = delete;
    LineRunner& operator=(const LineRunner&) = delete;

    /// Errors are printed, after `where` and a colon when that is given.
    /// @return the exit status of the line; that of the line before for one without a command
    int run(const std::string& line, const std::string& where = "");

    /// Whether a command was to end the shell or the script.
    bool isEnded() const { return mState.isEnded; }
    int status() const { return mStatus; }

    /// Tells which keys have expired since the last time.
    void tellExpired();

private:
    int execute(std::vector<std::string> words);

    Context mContext;
    ShellState& mState;
    int mStatus = 0;
};

}  // namespace velo::tool
