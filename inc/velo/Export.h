// SPDX-License-Identifier: Apache-2.0

/// @file
/// What the shared library shows to its callers; everything else in it is hidden.

#pragma once

/// Marks a declaration that programs may link against.
#define VELO_EXPORT __attribute__((visibility("default")))
