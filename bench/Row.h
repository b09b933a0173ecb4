// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Growth.h"
#include "HandOver.h"
#include "Measure.h"
#include "MessageBus.h"
#include "Placement.h"

namespace velo::bench {

/// What all rows are measured with. Owned by main.
struct Context {
    Effort effort;  ///< for work of microseconds
    Effort heavy;   ///< for work of milliseconds
    Growth growth;
    HandOver handOver;
    std::unique_ptr<MessageBus> bus;
    std::string noBus;  ///< why there is none
    std::optional<Placement> placement;
};

struct Figure {
    std::optional<double> value;  ///< empty when it could not be measured; the detail says why
    std::string detail;
};

/// One line of the table: what is measured, against what, and what is expected.
struct Row {
    enum class Bound { AtMost, AtLeast, None };

    std::string what;
    std::string against;
    Bound bound;
    double target;
    std::string unit;
    bool isPlaced;  ///< measured with the threads on one core, and across cores
    std::function<Figure(Context&)> measure;

    bool isMetBy(double value) const {
        return bound == Bound::None || (bound == Bound::AtMost ? value <= target : value >= target);
    }
};

/// A number with as many digits as it takes to tell three of them.
std::string number(double value);

std::vector<Row> makeRows();

}  // namespace velo::bench
