// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
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

    /// Columns that are empty in every row are left out. What does not fit `width` is cut, the
    /// widest column first, with an ellipsis.
    std::string render(std::size_t width, bool color) const;

private:
    std::vector<std::string> mHeadings;
    std::vector<std::vector<std::string>> mRows;
};

/// The columns that a text takes on a terminal.
std::size_t displayWidth(std::string_view text);

/// The text as a terminal may have it: without control characters, cut with an ellipsis when it is
/// wider than `width`.
std::string fitted(std::string_view text, std::size_t width = std::string_view::npos);

}  // namespace velo::tool
