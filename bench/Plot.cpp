// SPDX-License-Identifier: Apache-2.0

#include "Plot.h"

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>

#include "Row.h"

namespace velo::bench {

namespace {

constexpr double kWidth = 300;
constexpr double kHeight = 160;
constexpr double kLeft = 60;
constexpr double kTop = 40;
constexpr double kGap = 60;

struct Panel {
    const char* title;
    double GrowthStep::*column;
    double scale;
};

constexpr Panel kPanels[] = {
    {"filter, none match (µs)", &GrowthStep::filterNoneUs, 1},
    {"filter, all match (ms)", &GrowthStep::filterAllUs, 1e-3},
    {"refresh (ms)", &GrowthStep::refreshUs, 1e-3},
    {"resident memory (KiB)", &GrowthStep::residentKiB, 1},
};

/// The next larger of 1, 2, 5 and their tens: where the axis ends.
double roundUp(double value) {
    const double power = std::pow(10, std::floor(std::log10(value)));
    for (const double step : {1.0, 2.0, 5.0}) {
        if (value <= step * power) return step * power;
    }
    return 10 * power;
}

void writeText(std::ostream& out, double x, double y, const char* anchor, const std::string& text) {
    out << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\">" << text
        << "</text>\n";
}

void writePanel(std::ostream& out, const Panel& panel, const std::vector<GrowthStep>& steps) {
    double most = 0;
    for (const GrowthStep& step : steps) most = std::max(most, step.*panel.column * panel.scale);
    const double top = roundUp(most);
    const double last = static_cast<double>(steps.back().profiles);
    writeText(out, 0, -12, "start", panel.title);
    for (int i = 0; i <= 2; ++i) {
        const double y = kHeight - kHeight * i / 2;
        out << "<path class=\"grid\" d=\"M0 " << y << "H" << kWidth << "\"/>\n";
        writeText(out, -6, y + 4, "end", number(top * i / 2));
    }
    std::string path;
    for (const GrowthStep& step : steps) {
        const double x = kWidth * static_cast<double>(step.profiles) / last;
        const double y = kHeight - kHeight * (step.*panel.column * panel.scale) / top;
        path += (path.empty() ? "M" : "L") + std::to_string(x) + " " + std::to_string(y);
        out << "<circle cx=\"" << x << "\" cy=\"" << y << "\" r=\"3\"/>\n";
        if (step.profiles >= 128) {
            writeText(out, x, kHeight + 16, "middle", std::to_string(step.profiles));
        }
    }
    out << "<path class=\"line\" d=\"" << path << "\"/>\n";
}

}  // namespace

void writePlot(std::ostream& out, Growth& growth) {
    constexpr double kColumn = kLeft + kWidth + kGap / 2;
    constexpr double kRow = kTop + kHeight + kGap / 2;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << 2 * kColumn << ' '
        << 2 * kRow + kGap / 2 << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
        << "<style>.grid{stroke:#ccc}.line{stroke:#1a66b3;stroke-width:2;fill:none}"
           "circle{fill:#1a66b3}</style>\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    int index = 0;
    for (const Panel& panel : kPanels) {
        const int row = index / 2;
        out << "<g transform=\"translate(" << kLeft + kColumn * (index % 2) << ' '
            << kTop + kRow * row << ")\">\n";
        writePanel(out, panel, growth.steps());
        out << "</g>\n";
        ++index;
    }
    writeText(out, kColumn, 2 * kRow + kGap / 4, "middle", "profiles in the modem");
    out << "</svg>\n";
}

}  // namespace velo::bench
