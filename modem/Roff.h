// SPDX-License-Identifier: Apache-2.0
//
// Text for man pages, in the language that formats them. Pure functions.

#pragma once

#include <string>
#include <string_view>

namespace velo::roff {

/// Text that formats as it is, wherever in a line it stands.
std::string escaped(std::string_view text);

std::string bold(std::string_view text);

/// A paragraph hanging from a label; the label is formatted already, the body is not.
std::string paragraph(const std::string& label, std::string_view body);

}  // namespace velo::roff
