// SPDX-License-Identifier: Apache-2.0

#include "ProfileChangedInd.h"

#include "EnumText.h"

namespace velo {

std::string ProfileChangedInd::dump() const {
    static constexpr const char* kEvents[] = {"Create", "Delete", "Modify", "SubscriptionChange",
                                              "ProfileReady"};
    TextStream out;
    out << techType << ":" << profileId << " ";
    writeEnum(out, event, kEvents);
    return out.str();
}

}  // namespace velo
