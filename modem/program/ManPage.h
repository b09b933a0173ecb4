// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace CLI {
class App;
}

namespace velo::modem {

/// The manual page, written from the command line's own options and from the tables of orders and
/// faults.
std::string manPage(const CLI::App& app);

}  // namespace velo::modem
