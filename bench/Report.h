// SPDX-License-Identifier: Apache-2.0
//
// The results as text: the table that is printed, and the page that is kept. Stateless.

#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "Row.h"

namespace velo::bench {

/// A row with its figures: of one core and across cores, or one where threads play no part.
struct Result {
    const Row* row;
    std::vector<Figure> figures;

    /// "ok", "falls short", "reported" or "skipped".
    std::string verdict() const;
    /// Its cells: what, against, target, one core, across cores, verdict.
    std::vector<std::string> cells() const;
};

std::vector<std::string> headings();

/// Aligned columns, for a terminal.
void printTable(std::ostream& out, const std::vector<std::vector<std::string>>& lines);

/// Puts the page's figures between the markers of docs/performance.md, and its plot beside it.
void writeReport(const std::string& folder, const std::vector<Result>& results, Growth& growth);

}  // namespace velo::bench
