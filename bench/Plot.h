// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <iosfwd>

#include "Growth.h"

namespace velo::bench {

/// Draws, as an SVG picture, one panel for each column of the growth table.
void writePlot(std::ostream& out, Growth& growth);

}  // namespace velo::bench
