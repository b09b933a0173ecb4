// SPDX-License-Identifier: Apache-2.0

#include "tool/Table.h"

#include <wchar.h>

#include <algorithm>
#include <cwchar>
#include <functional>
#include <optional>
#include <utility>

namespace velo::tool {

namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 8;  ///< what is left of a cell that is cut
/// Without a limit, cells are padded to no more than this, so that one long cell does not push all
/// rows apart.
constexpr std::size_t kWidestPadding = 32;

/// Calls `visit` with the bytes and the width of each character; undecodable bytes count as one
/// "?".
void eachCharacter(std::string_view text,
                   const std::function<bool(std::string_view, std::size_t)>& visit) {
    std::mbstate_t state{};
    while (!text.empty()) {
        wchar_t character = 0;
        const std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
        const bool valid = length != 0 && length <= text.size();
        const int columns = valid ? ::wcwidth(character) : -1;
        const std::string_view bytes = columns < 0 ? "?" : text.substr(0, length);
        if (!visit(bytes, columns < 0 ? 1 : static_cast<std::size_t>(columns))) {
            return;
        }
        if (!valid) {
            state = {};
        }
        text.remove_prefix(valid ? length : 1);
    }
}

/// The text and blanks up to the width; a longer text stays whole.
std::string padded(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, displayWidth(text)), ' ');
}

std::string bold(const std::string& text, bool color) {
    return color ? "\x1b[1m" + text + "\x1b[0m" : text;
}

std::string withoutEnd(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

/// Narrows the widest columns until all fit. @return whether they do
bool shrink(std::vector<std::size_t>& widths, std::size_t width) {
    std::size_t total = 0;
    for (std::size_t column : widths) {
        total += column == 0 ? 0 : column + kGap;
    }
    total -= std::min(total, kGap);
    while (total > width) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= kNarrowest) {
            return false;
        }
        --*widest;
        --total;
    }
    return true;
}

/// How much of the text, in bytes, a line of `width` takes: up to a blank or a comma where there is
/// one, at least one character.
std::size_t lineLength(std::string_view text, std::size_t width) {
    std::size_t used = 0;
    std::size_t length = 0;
    std::size_t breakAt = 0;
    eachCharacter(text, [&](std::string_view bytes, std::size_t columns) {
        if (used + columns > width && length > 0) {
            return false;
        }
        used += columns;
        length += bytes.size();
        breakAt = bytes == " " || bytes == "," ? length : breakAt;
        return true;
    });
    return length == text.size() || breakAt == 0 ? length : breakAt;
}

/// A name and its value, whose further lines stand below the first.
std::string pairLines(const std::string& name, std::size_t nameWidth, const std::string& value,
                      std::size_t width) {
    const std::size_t indent = nameWidth + kGap;
    const std::size_t room = width > indent + kNarrowest ? width - indent : kNarrowest;
    const std::string shown = fitted(value);
    std::string_view rest = shown;
    std::string lines;
    std::string begin = padded(name, indent);
    do {
        const std::size_t length = lineLength(rest, room);
        lines += withoutEnd(begin + std::string(rest.substr(0, length))) + "\n";
        rest.remove_prefix(length);
        begin = std::string(indent, ' ');
    } while (!rest.empty());
    return lines;
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    eachCharacter(text, [&](std::string_view, std::size_t columns) {
        width += columns;
        return true;
    });
    return width;
}

std::string fitted(std::string_view text, std::size_t width) {
    const bool cut = displayWidth(text) > width;
    const std::size_t room = cut && width > 0 ? width - 1 : width;
    std::string result;
    std::size_t used = 0;
    eachCharacter(text, [&](std::string_view bytes, std::size_t columns) {
        if (used + columns > room) {
            return false;
        }
        used += columns;
        result += bytes;
        return true;
    });
    return cut ? result + "…" : result;
}

Table::Table(std::vector<std::string> headings) : mHeadings(std::move(headings)) {}

void Table::add(std::vector<std::string> row) {
    row.resize(mHeadings.size());
    mRows.push_back(std::move(row));
}

std::string Table::render(std::size_t width, bool color) const {
    if (mHeadings.size() == 2) {
        return renderPairs(width, color);
    }
    std::vector<std::size_t> widths = columnWidths();
    if (width != kUnlimited) {
        return shrink(widths, width) ? renderRows(widths, true, color) : renderBlocks(width, color);
    }
    for (std::size_t& column : widths) {
        column = std::min(column, kWidestPadding);
    }
    return renderRows(widths, false, color);
}

std::vector<std::size_t> Table::columnWidths() const {
    std::vector<std::size_t> widths(mHeadings.size(), 0);
    for (const std::vector<std::string>& row : mRows) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row[i]));
        }
    }
    for (std::size_t i = 0; i < widths.size(); ++i) {
        if (widths[i] != 0) {
            widths[i] = std::max(widths[i], displayWidth(mHeadings[i]));
        }
    }
    return widths;
}

std::string Table::renderRows(const std::vector<std::size_t>& widths, bool isCut,
                              bool color) const {
    const auto render = [&](const std::vector<std::string>& row) {
        std::string line;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            if (widths[i] != 0) {
                line += padded(fitted(row[i], isCut ? widths[i] : kUnlimited), widths[i]) +
                        std::string(kGap, ' ');
            }
        }
        return withoutEnd(line);
    };
    std::string text = bold(render(mHeadings), color) + "\n";
    for (const std::vector<std::string>& row : mRows) {
        text += render(row) + "\n";
    }
    return text;
}

std::string Table::renderBlocks(std::size_t width, bool color) const {
    std::string text;
    for (const std::vector<std::string>& row : mRows) {
        text += text.empty() ? "" : "\n";
        std::optional<Table> block;
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (row[i].empty()) {
                continue;
            }
            if (block) {
                block->add({mHeadings[i], row[i]});
            } else {
                block.emplace(std::vector{mHeadings[i], row[i]});
            }
        }
        text += block ? block->renderPairs(width, color) : "";
    }
    return text;
}

std::string Table::renderPairs(std::size_t width, bool color) const {
    std::size_t nameWidth = displayWidth(mHeadings[0]);
    for (const std::vector<std::string>& row : mRows) {
        nameWidth = std::max(nameWidth, displayWidth(row[0]));
    }
    std::string headings = pairLines(mHeadings[0], nameWidth, mHeadings[1], width);
    headings.pop_back();
    std::string text = bold(headings, color) + "\n";
    for (const std::vector<std::string>& row : mRows) {
        text += pairLines(row[0], nameWidth, row[1], width);
    }
    return text;
}

std::string inColumns(const std::vector<std::string>& words, std::size_t width) {
    std::size_t widest = 0;
    for (const std::string& word : words) {
        widest = std::max(widest, displayWidth(word));
    }
    const std::size_t columns = std::max<std::size_t>(1, (width - 1 + kGap) / (widest + kGap));
    const std::size_t lines = (words.size() + columns - 1) / columns;
    std::string text;
    for (std::size_t line = 0; line < lines; ++line) {
        std::string row;
        for (std::size_t at = line; at < words.size(); at += lines) {
            row += padded(fitted(words[at]), widest + kGap);
        }
        text += withoutEnd(row) + "\n";
    }
    return text;
}

}  // namespace velo::tool
