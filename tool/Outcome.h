// SPDX-License-Identifier: Apache-2.0
//
// What commands tell of the changes that they made.

#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tool/ProfileView.h"

namespace CLI {
class App;
}

namespace velo::tool {

struct Context;

/// Does the work and tells what the modem holds differently after it.
std::vector<ProfileChange> changesOf(Context& context, const std::function<void()>& work);

void reportChanges(Context& context, const std::vector<ProfileChange>& changes);

/// The option that names the key which a command comes back with.
void addKeyOption(CLI::App& app, std::string& name);

/// Ends a command that came back without a key. An answer that was lost is no refusal: what the
/// modem holds differently tells. @param outcome how the sentence begins
[[noreturn]] void failWithoutKey(const std::string& outcome,
                                 const std::vector<ProfileChange>& changes);

/// Prints the profile that a request came to, whether it was created, modified or found, and what
/// else changed. The key is kept under `name` when keys live on; otherwise a profile that goes with
/// it is said to go. @param hint what keeps such a profile, beside a shell; may be empty
void reportKey(Context& context, const std::shared_ptr<IProfileKey>& key, const std::string& name,
               const std::vector<ProfileChange>& changes, const std::string& hint = "");

}  // namespace velo::tool
