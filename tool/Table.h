// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace velo::tool {

/// Rows of text under headings, laid out for a terminal. Wide characters take two columns; control
/// characters are shown as "?", so that no content can take the terminal over. A value type.
class Table {
public:
    explicit Table(std::vector<std::string> headings);

    void add(std::vector<std::string> row);
    bool empty() const { return mRows.empty(); }

    /// Columns that are empty in every row are left out. Cells are cut with an ellipsis, the widest
    /// column first, to fit `width`; where too little of them would remain, each row becomes a
    /// block of lines, a heading and its cell on each. A table of two columns is such a block at
    /// any width. Without a limit nothing is cut.
    std::string render(std::size_t width, bool color) const;

private:
    std::vector<std::size_t> columnWidths() const;
    std::string renderRows(const std::vector<std::size_t>& widths, bool isCut, bool color) const;
    std::string renderBlocks(std::size_t width, bool color) const;
    std::string renderPairs(std::size_t width, bool color) const;

    std::vector<std::string> mHeadings;
    std::vector<std::vector<std::string>> mRows;
};

/// The width of what has no terminal to fit.
inline constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

/// The columns that a text takes on a terminal.
std::size_t displayWidth(std::string_view text);

/// The text as a terminal may have it: without control characters, cut with an ellipsis when it is
/// wider than `width`.
std::string fitted(std::string_view text, std::size_t width = kUnlimited);

/// The words in columns as on `width`, each line with its end.
std::string inColumns(const std::vector<std::string>& words, std::size_t width);

}  // namespace velo::tool
