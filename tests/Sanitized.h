// SPDX-License-Identifier: Apache-2.0

#pragma once

#ifndef __has_feature
#define __has_feature(feature) 0
#endif

namespace velo::test {

/// Whether a sanitizer works beside the test: it takes time, descriptors and functions of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

}  // namespace velo::test
