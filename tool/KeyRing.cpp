// SPDX-License-Identifier: Apache-2.0

#include "tool/KeyRing.h"

#include <utility>

namespace velo::tool {

std::string KeyRing::keep(std::shared_ptr<IProfileKey> key, const std::string& name) {
    std::string chosen = name;
    while (chosen.empty() || (name.empty() && mKeys.contains(chosen))) {
        chosen = "k" + std::to_string(++mLast);
    }
    mKeys[chosen] = std::move(key);
    return chosen;
}

std::shared_ptr<IProfileKey> KeyRing::find(const std::string& name) const {
    const auto found = mKeys.find(name);
    return found == mKeys.end() ? nullptr : found->second;
}

bool KeyRing::drop(const std::string& name) {
    return mKeys.erase(name) > 0;
}

std::vector<std::string> KeyRing::names() const {
    std::vector<std::string> names;
    for (const auto& [name, key] : mKeys) {
        names.push_back(name);
    }
    return names;
}

}  // namespace velo::tool
