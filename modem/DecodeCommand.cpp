// SPDX-License-Identifier: Apache-2.0

#include "modem/DecodeCommand.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "modem/CaptureReader.h"
#include "modem/FrameText.h"
#include "modem/ModemError.h"

namespace velo::modem {

namespace {

constexpr int kDone = 0;
constexpr int kWrongFile = 2;

}  // namespace

int decodeCommand(const std::string& path, std::ostream& out, std::ostream& errors,
                  DecodeFormat format) {
    try {
        CaptureReader reader(path);
        while (const auto frame = reader.next()) {
            if (format == DecodeFormat::Text) {
                out << frameText(*frame);
            } else {
                out << frameJson(*frame).dump(-1, ' ', false,
                                              nlohmann::json::error_handler_t::replace)
                    << '\n';
            }
        }
    } catch (const ModemError& error) {
        out.flush();
        errors << "velo-modem: " << error.what() << '\n';
        return kWrongFile;
    }
    return kDone;
}

}  // namespace velo::modem
