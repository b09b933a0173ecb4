// SPDX-License-Identifier: Apache-2.0

#include "modem/FaultChances.h"

#include <sstream>

#include "modem/ModemError.h"

namespace velo::modem {

namespace {

constexpr double kMostDelayMs = 60000;

std::string names() {
    std::string text;
    for (const FaultDefinition& fault : kFaults) {
        text += std::string(fault.name) + ", ";
    }
    return text + "all, delay-ms";
}

/// The whole of a text as a number from `least` to `most`.
double number(const std::string& name, const std::string& text, double least, double most) {
    std::istringstream stream(text);
    double value = 0;
    if (!(stream >> value) || !stream.eof() || value < least || value > most) {
        std::ostringstream message;
        message << name << "=" << text << " is not a number from " << least << " to " << most;
        throw ModemError(message.str());
    }
    return value;
}

}  // namespace

FaultChances FaultChances::with(const std::string& changes) const {
    FaultChances result = *this;
    std::istringstream parts(changes);
    for (std::string part; std::getline(parts, part, ',');) {
        const std::size_t equals = part.find('=');
        if (equals == std::string::npos) {
            throw ModemError("'" + part + "' is not of the form NAME=CHANCE");
        }
        result.apply(part.substr(0, equals), part.substr(equals + 1));
    }
    return result;
}

void FaultChances::apply(const std::string& name, const std::string& value) {
    if (name == "delay-ms") {
        mLongestDelayMs = static_cast<unsigned int>(number(name, value, 1, kMostDelayMs));
        return;
    }
    bool known = false;
    for (std::size_t i = 0; i < kFaultCount; ++i) {
        if (name == "all" || name == kFaults[i].name) {
            mChances[i] = number(name, value, 0, 1);
            known = true;
        }
    }
    if (!known) {
        throw ModemError("there is no fault '" + name + "'; the faults are " + names());
    }
}

}  // namespace velo::modem
