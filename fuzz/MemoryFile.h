// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "fuzz/Input.h"
#include "host/mox/Descriptor.h"

namespace velo::fuzz {

/// A file for readers that want a path; in memory, and gone with the process. Used by one thread.
class MemoryFile {
public:
    /// Replaces what the file holds.
    /// @return its path
    std::string hold(std::string_view text) const {
        ensure(::ftruncate(mFile.get(), 0) == 0 && ::pwrite(mFile.get(), text.data(), text.size(),
                                                            0) == static_cast<ssize_t>(text.size()),
               "a file in memory can be written");
        return "/proc/self/fd/" + std::to_string(mFile.get());
    }

private:
    const mox::Descriptor mFile{::memfd_create("fuzz", MFD_CLOEXEC)};
};

}  // namespace velo::fuzz
