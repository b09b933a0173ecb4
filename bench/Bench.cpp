// SPDX-License-Identifier: Apache-2.0
//
// Measures the library through its facade, against what no implementation of the same design could
// do without: the bare hand-over between two threads, and the bare exchanges with the modem.

#include <fcntl.h>
#include <unistd.h>
#include <ext/stdio_filebuf.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "Bed.h"
#include "Footprint.h"
#include "MessageBus.h"
#include "Report.h"
#include "Row.h"

namespace velo::bench {
namespace {

constexpr const char* kUsage =
    "Usage: velo_bench [--brief] [--only TEXT] [--report FOLDER]\n"
    "  --brief          only see that everything works: the figures are worth nothing\n"
    "  --only TEXT      the rows whose name contains TEXT\n"
    "  --report FOLDER  put the figures into FOLDER/performance.md and the plot beside it\n";

struct Options {
    bool brief = false;
    std::string only;
    std::string report;
};

[[noreturn]] void refuse(const std::string& why) {
    std::fprintf(stderr, "velo_bench: %s (--help lists what there is)\n", why.c_str());
    std::exit(2);
}

Options parse(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto value = [&] {
            if (i + 1 == arguments.size()) refuse(arguments[i] + " needs a value");
            return arguments[++i];
        };
        if (arguments[i] == "--brief") {
            options.brief = true;
        } else if (arguments[i] == "--only") {
            options.only = value();
        } else if (arguments[i] == "--report") {
            options.report = value();
        } else if (arguments[i] == "--help" || arguments[i] == "-h") {
            std::fputs(kUsage, stdout);
            std::exit(0);
        } else {
            refuse("no option '" + arguments[i] + "'");
        }
    }
    if (!options.report.empty() && (options.brief || !options.only.empty())) {
        refuse("a report is of the whole table");
    }
    return options;
}

Result measure(const Row& row, Context& context) {
    Result result{&row, {}};
    for (const Placement placement : {Placement::SameCore, Placement::AcrossCores}) {
        if (placement == Placement::AcrossCores && !row.isPlaced) continue;
        if (!isPossible(placement)) continue;
        context.placement = placement;
        result.figures.push_back(row.measure(context));
    }
    return result;
}

int run(const Options& options, std::ostream& out) {
    const Effort effort = options.brief ? Effort{1, 0.1} : Effort{31, 5};
    const Effort heavy = options.brief ? Effort{1, 0.1} : Effort{9, 20};
    Context context{effort, heavy, Growth(effort), {}, nullptr, {}, {}};
    context.bus = MessageBus::start(context.noBus);
    const std::vector<Row> rows = makeRows();
    std::vector<Result> results;
    std::vector<std::vector<std::string>> lines{headings()};
    bool fallsShort = false;
    for (const Row& row : rows) {
        if (row.what.find(options.only) == std::string::npos) continue;
        results.push_back(measure(row, context));
        lines.push_back(results.back().cells());
        if (options.brief) lines.back().back().clear();
        fallsShort = fallsShort || results.back().verdict() == "falls short";
    }
    if (results.empty()) refuse("no row contains '" + options.only + "'");
    printTable(out, lines);
    if (!options.report.empty()) writeReport(options.report, results, context.growth);
    Bed::reset();
    if (!out.flush()) fail("cannot write the results");
    return fallsShort && !options.brief ? 1 : 0;
}

}  // namespace
}  // namespace velo::bench

int main(int argc, char** argv) {
    using namespace velo::bench;
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 2 && arguments[0] == MessageBus::kServeOption) {
        return MessageBus::serve(arguments[1]);
    }
    const bool isFootprint = !arguments.empty() && arguments[0] == kFootprintOption;
    const Options options = isFootprint ? Options{} : parse(arguments);
    // The library traces its wake-ups on standard output: the results get a descriptor of their
    // own.
    const int output = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    if (isFootprint) printFootprint({arguments.begin() + 1, arguments.end()}, output);
    __gnu_cxx::stdio_filebuf<char> buffer(output, std::ios::out);
    std::ostream out(&buffer);
    return run(options, out);
}
