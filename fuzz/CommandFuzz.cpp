// SPDX-License-Identifier: Apache-2.0
//
// Any lines as a script of the command, carried out with the library on a modem within the process.
// Files are out of reach: words that hold a slash are not carried out, and nothing is in the folder
// where the process runs; nor are commands that wait, or that bring up every network.

#include <algorithm>
#include <array>
#include <memory>
#include <sstream>

#include "fuzz/Input.h"
#include "modem/Modem.h"
#include "tool/CommandError.h"
#include "tool/CommandText.h"
#include "tool/Context.h"
#include "tool/ExpiryBoard.h"
#include "tool/GlobalOptions.h"
#include "tool/Interruption.h"
#include "tool/KeyRing.h"
#include "tool/LineRunner.h"
#include "tool/Output.h"
#include "tool/Session.h"

namespace velo::fuzz {
namespace {

using Words = std::vector<std::string>;

/// Profiles that are kept add up: now and then the modem is as from its box.
constexpr int kLifetime = 100;

bool isHarmless(const Words& words) {
    constexpr std::array kKept{"watch", "provision", "carriers", "-"};
    return std::none_of(words.begin(), words.end(), [&](const std::string& word) {
        return word.find('/') != std::string::npos ||
               std::find(kKept.begin(), kKept.end(), word) != kKept.end();
    });
}

class Shell {
public:
    Shell() { mState.board = std::make_shared<tool::ExpiryBoard>(); }

    void run(std::istream& lines) {
        if (mAge++ % kLifetime == 0) {
            mSession.embedded()->factoryReset();
            mSession.connect();
        }
        tool::LineRunner runner(mContext, mState, "lines");
        for (std::string line; !runner.isEnded() && std::getline(lines, line);) {
            this->line(runner, line);
        }
        runner.run("refresh completed");
    }

private:
    void line(tool::LineRunner& runner, const std::string& line) {
        Words words;
        try {
            words = tool::wordsOfLine(line);
        } catch (const tool::CommandError&) {
            // Refused once more below.
        }
        std::string quoted;
        for (const std::string& word : words) {
            quoted += tool::quotedWord(word) + " ";
        }
        const bool blank = std::find(words.begin(), words.end(), "") != words.end();
        ensure(blank || tool::wordsOfLine(quoted) == words, "words are read as they are quoted");
        if (isHarmless(words)) runner.run(line, "line");
    }

    tool::GlobalOptions mOptions;
    tool::Output mOutput{mOptions, -1};
    tool::Interruption mInterruption;
    tool::Session mSession{mOptions, mOutput, mInterruption};
    tool::KeyRing mKeys;
    tool::Context mContext{mOptions, mOutput, mSession, mKeys, mInterruption, true};
    tool::ShellState mState;
    int mAge = 0;
};

}  // namespace

void run(Bytes bytes) {
    static Shell shell;
    std::istringstream lines(textOf(bytes));
    shell.run(lines);
}

}  // namespace velo::fuzz
