// SPDX-License-Identifier: Apache-2.0

#include "tool/LineEditor.h"

#include <histedit.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "tool/Interruption.h"
#include "tool/Output.h"
#include "tool/Table.h"

namespace velo::tool {

namespace {

constexpr int kHistorySize = 1000;

std::string historyPath() {
    const char* home = std::getenv("HOME");
    return home == nullptr || *home == '\0' ? "" : std::string(home) + "/.velo_history";
}

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// The editor counts characters, not bytes.
int charactersIn(std::string_view text) {
    return static_cast<int>(text.size() - static_cast<std::size_t>(std::count_if(
                                              text.begin(), text.end(), continuesCharacter)));
}

/// The longest beginning that all candidates share; it does not end within a character.
std::string commonBeginning(const std::vector<std::string>& candidates) {
    std::string common = candidates.front();
    for (const std::string& candidate : candidates) {
        const auto [end, other] =
            std::mismatch(common.begin(), common.end(), candidate.begin(), candidate.end());
        common.erase(end, common.end());
    }
    const std::string& whole = candidates.front();
    while (common.size() < whole.size() && continuesCharacter(whole[common.size()])) {
        common.pop_back();
    }
    return common;
}

}  // namespace

bool LineEditor::isPossible() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

LineEditor::LineEditor(std::string prompt, Completer completer, Interruption& interruption)
    : mPrompt(std::move(prompt)),
      mCompleter(std::move(completer)),
      mHistoryPath(historyPath()),
      mInterruption(interruption),
      mHistory(::history_init(), ::history_end),
      mEditor(::el_init("velo", stdin, stderr, stderr), ::el_end) {
    HistEvent event{};
    ::history(mHistory.get(), &event, H_SETSIZE, kHistorySize);
    ::history(mHistory.get(), &event, H_SETUNIQUE, 1);
    if (!mHistoryPath.empty()) {
        ::history(mHistory.get(), &event, H_LOAD, mHistoryPath.c_str());
    }
    editline* editor = mEditor.get();
    ::el_set(editor, EL_CLIENTDATA, this);
    ::el_set(editor, EL_PROMPT, promptOf);
    ::el_set(editor, EL_EDITOR, "emacs");
    ::el_set(editor, EL_HIST, ::history, mHistory.get());
    ::el_set(editor, EL_ADDFN, "velo-complete", "Completes a word", completeLine);
    ::el_set(editor, EL_BIND, "^I", "velo-complete", nullptr);
    ::el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    ::el_source(editor, nullptr);
}

std::optional<std::string> LineEditor::read() {
    for (;;) {
        mInterruption.forgetInterrupt();
        if (mInterruption.isRaised()) {
            return std::nullopt;
        }
        ::el_resize(mEditor.get());
        int length = 0;
        const char* text = nullptr;
        {
            const Interruption::Breaking breaking;
            text = ::el_gets(mEditor.get(), &length);
        }
        if (text == nullptr || length <= 0) {
            ::fputc('\n', stderr);
            if (!mInterruption.isRaised()) {
                return std::nullopt;
            }
            ::el_reset(mEditor.get());
            continue;
        }
        std::string line(text, static_cast<std::size_t>(length));
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
            line.pop_back();
        }
        remember(line);
        return line;
    }
}

void LineEditor::remember(const std::string& line) {
    if (line.find_first_not_of(" \t") == std::string::npos ||
        line.find("--password") != std::string::npos) {
        return;
    }
    HistEvent event{};
    ::history(mHistory.get(), &event, H_ENTER, line.c_str());
    if (!mHistoryPath.empty()) {
        ::history(mHistory.get(), &event, H_SAVE, mHistoryPath.c_str());
    }
}

char* LineEditor::promptOf(editline* editor) {
    LineEditor* self = nullptr;
    ::el_get(editor, EL_CLIENTDATA, &self);
    return self->mPrompt.data();
}

unsigned char LineEditor::completeLine(editline* editor, int) {
    LineEditor* self = nullptr;
    ::el_get(editor, EL_CLIENTDATA, &self);
    return self->complete();
}

unsigned char LineEditor::complete() {
    const LineInfo* info = ::el_line(mEditor.get());
    const std::string beginning(info->buffer, info->cursor);
    const auto [candidates, replaced] = mCompleter(beginning);
    if (candidates.empty()) {
        return CC_REFRESH_BEEP;
    }
    std::string word = commonBeginning(candidates);
    const bool isOpen = word.ends_with('/') || word.ends_with(',');
    if (candidates.size() == 1 && !isOpen) {
        word += ' ';
    }
    if (word.size() <= replaced && candidates.size() > 1) {
        list(candidates);
        return CC_REDISPLAY;
    }
    const std::string_view last = std::string_view(beginning).substr(beginning.size() - replaced);
    ::el_deletestr(mEditor.get(), charactersIn(last));
    ::el_insertstr(mEditor.get(), word.c_str());
    return CC_REFRESH;
}

void LineEditor::list(const std::vector<std::string>& candidates) {
    ::fputs(("\n" + inColumns(candidates, terminalWidth(STDERR_FILENO))).c_str(), stderr);
}

}  // namespace velo::tool
