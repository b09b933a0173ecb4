// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "host/mox/Handle.h"
#include "mox/mox_client.h"

namespace velo::mox {

/// Gives out the opaque handles and knows what they stand for. A value is never given out twice, so
/// that a released handle is recognised for ever. One for the process, never destroyed, because
/// handles may be used until the process ends. Any thread.
///
/// In a forked child the handles of the parent stand for nothing: their threads do not exist there
/// and their sockets belong to the parent. The objects are kept, untouched.
class HandleRegistry {
public:
    static HandleRegistry& getInstance();

    /// A fresh value, which stands for nothing until it is bound.
    mox_client_type reserve();
    void bind(mox_client_type handle, std::shared_ptr<Handle> object);

    /// Null when the handle stands for nothing, or for something of another kind.
    template <typename T>
    std::shared_ptr<T> find(mox_client_type handle) const {
        return std::dynamic_pointer_cast<T>(lookUp(handle));
    }

    /// Takes the object from its handle. Null as in find().
    std::shared_ptr<Handle> remove(mox_client_type handle);

    /// Whether the handle is one that this process inherited by a fork.
    bool inherited(mox_client_type handle) const;

private:
    struct Entry {
        std::shared_ptr<Handle> object;
        unsigned int generation;
    };

    HandleRegistry();
    std::shared_ptr<Handle> lookUp(mox_client_type handle) const;

    mutable std::mutex mMutex;
    std::unordered_map<mox_client_type, Entry> mEntries;
    std::uintptr_t mLast = 0;
    unsigned int mGeneration = 0;  ///< forks between the first process and this one
};

}  // namespace velo::mox
