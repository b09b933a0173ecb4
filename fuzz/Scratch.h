// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz/Input.h"
#include "host/mox/Descriptor.h"

namespace velo::fuzz {

/// A file for readers that want a path; in memory, and gone with the process. Used by one thread.
class MemoryFile {
public:
    MemoryFile() : mFile(::memfd_create("fuzz", MFD_CLOEXEC)) {}

    /// Replaces what the file holds.
    /// @return its path
    std::string hold(Bytes bytes) const {
        ensure(::ftruncate(mFile.get(), 0) == 0 &&
                   ::pwrite(mFile.get(), bytes.data(), bytes.size(), 0) ==
                       static_cast<ssize_t>(bytes.size()),
               "a file in memory can be written");
        return "/proc/self/fd/" + std::to_string(mFile.get());
    }

private:
    const mox::Descriptor mFile;
};

}  // namespace velo::fuzz
