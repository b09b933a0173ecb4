// SPDX-License-Identifier: Apache-2.0
//
// What the shared library shows to its callers; everything else in it is hidden.

#pragma once

#define VELO_EXPORT __attribute__((visibility("default")))
