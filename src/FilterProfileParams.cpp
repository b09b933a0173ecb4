// SPDX-License-Identifier: Apache-2.0

#include "velo/FilterProfileParams.h"

#include "EnumText.h"

namespace velo {

FilterProfileParams::FilterProfileParams(const ProfileParams& params) : ProfileParams(params) {}

FilterProfileParams::~FilterProfileParams() = default;

std::string FilterProfileParams::dump() const {
    TextStream out;
    out << static_cast<FilterMatchType>(mFilterMatchCriteria) << ": ";
    if (mFilterByTechType) {
        out << "tech=" << *mFilterByTechType << ",";
    }
    if (mFilterByProfileId) {
        out << "id=" << *mFilterByProfileId << ",";
    }
    out << ProfileParams::dump();
    return out.str();
}

}  // namespace velo
