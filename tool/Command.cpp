// SPDX-License-Identifier: Apache-2.0

#include "tool/Command.h"

#include <iterator>
#include <utility>

namespace velo::tool {

const std::vector<Command>& commands() {
    static const std::vector<Command> kCommands = [] {
        std::vector<Command> all;
        for (const auto group :
             {provisionCommands, profileCommands, searchCommands, changeCommands, policyCommands,
              carrierCommands, watchCommands, shellCommands, helpCommands, documentCommands}) {
            std::vector<Command> some = group();
            std::move(some.begin(), some.end(), std::back_inserter(all));
        }
        return all;
    }();
    return kCommands;
}

}  // namespace velo::tool
