// SPDX-License-Identifier: Apache-2.0

#include "Report.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <ostream>
#include <sstream>

#include "Bed.h"
#include "Plot.h"

namespace velo::bench {

namespace {

constexpr const char* kBegin = "<!-- figures: script/bench --report -->\n";
constexpr const char* kEnd = "<!-- end of figures -->\n";

std::string cell(const Row& row, const Figure& figure) {
    if (!figure.value) return figure.detail;
    const std::string sign = row.unit == "µs more" && *figure.value > 0 ? "+" : "";
    const std::string unit = row.unit == "x" ? "" : row.unit == "µs more" ? " µs" : " " + row.unit;
    return sign + number(*figure.value) + unit +
           (figure.detail.empty() ? "" : " (" + figure.detail + ")");
}

std::string target(const Row& row) {
    if (row.bound == Row::Bound::None) return "-";
    const std::string unit = row.unit == "x" ? "" : " " + row.unit;
    return (row.bound == Row::Bound::AtMost ? "at most " : "at least ") + number(row.target) + unit;
}

/// Columns, not bytes: the micro sign and the exponent take two bytes.
std::size_t widthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

void writeMarkdown(std::ostream& out, const std::vector<std::vector<std::string>>& lines) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
        for (const std::string& text : lines[i]) out << "| " << text << ' ';
        out << "|\n";
        if (i > 0) continue;
        for (std::size_t column = 0; column < lines[i].size(); ++column) out << "|---";
        out << "|\n";
    }
}

std::string figures(const std::vector<Result>& results, Growth& growth) {
    std::ostringstream out;
    std::vector<std::vector<std::string>> lines{headings()};
    for (const Result& result : results) lines.push_back(result.cells());
    writeMarkdown(out, lines);

    out << "\nHow the work grows with the profiles in the modem, all threads on one core:\n\n";
    lines = {{"profiles", "filter, none match", "filter, all match", "refresh", "resident"}};
    for (const GrowthStep& step : growth.steps()) {
        lines.push_back({std::to_string(step.profiles), number(step.filterNoneUs) + " µs",
                         number(step.filterAllUs) + " µs", number(step.refreshUs / 1000) + " ms",
                         number(step.residentKiB) + " KiB"});
    }
    lines.push_back({"each more"});
    for (const auto column : {&GrowthStep::filterNoneUs, &GrowthStep::filterAllUs,
                              &GrowthStep::refreshUs, &GrowthStep::residentKiB}) {
        const Line line = growth.line(column);
        const bool isMemory = column == &GrowthStep::residentKiB;
        const bool isLong = line.slope >= 1 && !isMemory;
        lines.back().push_back(number(isMemory ? line.slope * 1024
                                      : isLong ? line.slope
                                               : line.slope * 1000) +
                               (isMemory ? " bytes"
                                : isLong ? " µs"
                                         : " ns") +
                               ", R² " + number(line.rSquared));
    }
    writeMarkdown(out, lines);
    out << "\n![Growth with the number of profiles](performance.svg)\n";
    return out.str();
}

}  // namespace

std::string Result::verdict() const {
    bool isMet = true;
    for (const Figure& figure : figures) {
        if (!figure.value) return "skipped";
        isMet = isMet && row->isMetBy(*figure.value);
    }
    if (row->bound == Row::Bound::None) return "reported";
    return isMet ? "ok" : "falls short";
}

std::vector<std::string> Result::cells() const {
    return {row->what,
            row->against.empty() ? "-" : row->against,
            target(*row),
            cell(*row, figures.front()),
            figures.size() > 1 ? cell(*row, figures.back()) : "-",
            verdict()};
}

std::vector<std::string> headings() {
    return {"what", "against", "target", "measured, one core", "measured, across cores", ""};
}

void printTable(std::ostream& out, const std::vector<std::vector<std::string>>& lines) {
    std::vector<std::size_t> widths(lines.front().size());
    for (const auto& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            widths[i] = std::max(widths[i], widthOf(line[i]));
        }
    }
    for (const auto& line : lines) {
        std::string text;
        for (std::size_t i = 0; i < line.size(); ++i) {
            text += line[i] + std::string(widths[i] - widthOf(line[i]) + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    }
}

void writeReport(const std::string& folder, const std::vector<Result>& results, Growth& growth) {
    const std::string path = folder + "/performance.md";
    std::ifstream in(path);
    const std::string page{std::istreambuf_iterator<char>(in), {}};
    const std::size_t begin = page.find(kBegin);
    const std::size_t end = page.find(kEnd);
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        fail(path + " has no place marked for figures");
    }
    std::ofstream out(path);
    out << page.substr(0, begin) << kBegin << '\n'
        << figures(results, growth) << '\n'
        << page.substr(end);
    std::ofstream plot(folder + "/performance.svg");
    writePlot(plot, growth);
    if (!out.flush() || !plot.flush()) fail("cannot write to " + folder);
}

}  // namespace velo::bench
