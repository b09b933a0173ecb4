// SPDX-License-Identifier: Apache-2.0

#include "tool/Context.h"

#include "tool/KeyRing.h"
#include "tool/Session.h"

namespace velo::tool {

std::shared_ptr<IProfileKey> Context::key(const std::string& text) const {
    const std::shared_ptr<IProfileKey> kept = keys.find(text);
    return kept ? kept : session.profile(text);
}

}  // namespace velo::tool
