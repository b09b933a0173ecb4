// SPDX-License-Identifier: Apache-2.0
//
// The tables of the WDS service, for those who walk them. Constant data: any thread.

#pragma once

#include <span>

#include "host/mox/ServiceDefinition.h"

namespace velo::mox {

/// The service that wds_get_service_object_internal_v01 hands out.
const mox_service_definition& wdsService();

/// The fields of wds_profile_settings_v01, with offsets within that structure. Each is optional.
std::span<const Field> wdsSettingsFields();

}  // namespace velo::mox
