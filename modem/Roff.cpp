// SPDX-License-Identifier: Apache-2.0

#include "modem/Roff.h"

namespace velo::roff {

std::string escaped(std::string_view text) {
    std::string result;
    for (const char letter : text) {
        switch (letter) {
            case '\\':
                result += "\\e";
                break;
            case '-':
                result += "\\-";
                break;
            case '\'':
                result += "\\(aq";
                break;
            case '"':
                result += "\\(dq";
                break;
            default:
                result += letter;
        }
    }
    return result.starts_with('.') ? "\\&" + result : result;
}

std::string bold(std::string_view text) {
    return "\\fB" + escaped(text) + "\\fR";
}

std::string paragraph(const std::string& label, std::string_view body) {
    return ".TP\n" + label + "\n" + escaped(body) + "\n";
}

}  // namespace velo::roff
