// SPDX-License-Identifier: Apache-2.0

#include "tool/Table.h"

#include <wchar.h>

#include <algorithm>
#include <cwchar>
#include <functional>
#include <limits>
#include <utility>

namespace velo::tool {

namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 6;

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

std::string padded(const std::string& text, std::size_t width) {
    const std::string fit = fitted(text, width);
    return fit + std::string(width - std::min(width, displayWidth(fit)), ' ');
}

void shrink(std::vector<std::size_t>& widths, std::size_t width) {
    std::size_t total = 0;
    for (std::size_t column : widths) {
        total += column == 0 ? 0 : column + kGap;
    }
    total -= std::min(total, kGap);
    while (total > width) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= kNarrowest) {
            return;
        }
        --*widest;
        --total;
    }
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
    shrink(widths, width);

    const auto render = [&](const std::vector<std::string>& row) {
        std::string line;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            if (widths[i] != 0) {
                line += padded(row[i], widths[i]) + std::string(kGap, ' ');
            }
        }
        line.erase(line.find_last_not_of(' ') + 1);
        return line;
    };
    const std::string headings = render(mHeadings);
    std::string text = (color ? "\x1b[1m" + headings + "\x1b[0m" : headings) + "\n";
    for (const std::vector<std::string>& row : mRows) {
        text += render(row) + "\n";
    }
    return text;
}

}  // namespace velo::tool
