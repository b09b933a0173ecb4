// SPDX-License-Identifier: Apache-2.0
//
// The library's work that is measured, through its facade, on the bed in use.

#pragma once

namespace velo::bench {

void filterNone();
void filterAll();
void addAndRelease();
void refresh();

}  // namespace velo::bench
