// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "velo/FilterProfileParams.h"

namespace velo::model {

/// One thing that happens in a run, as data: an operation and its arguments, each a small number
/// that stands for a value or chooses, modulo their count, among what there is when the step is
/// performed. Any sequence of steps makes sense, which is what lets a failing one be shortened.
///
/// As text: `add tech=3gpp persistent=1 apn=ims`; further records follow behind a bar. A value
/// type.
struct Step {
    using Arguments = std::map<std::string_view, unsigned int>;

    std::string_view operation;
    std::vector<Arguments> records{1};

    bool has(std::string_view name) const { return records.front().contains(name); }
    /// The value's number; 0 when the argument is absent.
    unsigned int index(std::string_view name, std::size_t record = 0) const;
    /// What that stands for.
    std::string value(std::string_view name) const;
    TechType tech(std::size_t record = 0) const;

    /// The profile settings of one record.
    ProfileParams params(std::size_t record = 0) const;
    FilterProfileParams filter() const;

    std::string text() const;

    /// @throws std::invalid_argument saying what is wrong with the line
    static Step parse(const std::string& line);
};

using Steps = std::vector<Step>;

/// A random sequence, the same for the same seed.
Steps generate(std::uint64_t seed, std::size_t length);

}  // namespace velo::model
