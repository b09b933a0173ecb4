// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct editline;
struct history;

namespace velo::tool {

class Interruption;

/// Reads lines from the terminal with editing, history and completion; what is typed is echoed to
/// the standard error. An interrupt empties the line; a request to end the program ends the input.
/// The history is kept in ~/.velo_history, lines with a password left out. Used by one thread, one
/// at a time.
class LineEditor {
public:
    /// What the beginning of a line, up to the cursor, may go on with: the candidates for its last
    /// word, and how many bytes at the end of the line they replace.
    struct Continuations {
        std::vector<std::string> candidates;
        std::size_t replaced = 0;
    };
    using Completer = std::function<Continuations(const std::string& beginning)>;

    /// Whether there is a terminal to edit on.
    static bool isPossible();

    LineEditor(std::string prompt, Completer completer, Interruption& interruption);
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /// The next line without its end; nothing when the input has ended.
    std::optional<std::string> read();

private:
    static char* promptOf(editline* editor);
    static unsigned char completeLine(editline* editor, int key);

    unsigned char complete();
    void list(const std::vector<std::string>& candidates);
    void remember(const std::string& line);

    std::string mPrompt;
    Completer mCompleter;
    std::string mHistoryPath;
    Interruption& mInterruption;
    std::unique_ptr<history, void (*)(history*)> mHistory;
    std::unique_ptr<editline, void (*)(editline*)> mEditor;
};

}  // namespace velo::tool
