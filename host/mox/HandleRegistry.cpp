// SPDX-License-Identifier: Apache-2.0

#include "host/mox/HandleRegistry.h"

#include <pthread.h>

#include <utility>

namespace velo::mox {

HandleRegistry& HandleRegistry::getInstance() {
    static auto* const instance = new HandleRegistry;
    return *instance;
}

HandleRegistry::HandleRegistry() {
    ::pthread_atfork([] { getInstance().mMutex.lock(); }, [] { getInstance().mMutex.unlock(); },
                     [] {
                         ++getInstance().mGeneration;
                         getInstance().mMutex.unlock();
                     });
}

mox_client_type HandleRegistry::reserve() {
    const std::lock_guard lock(mMutex);
    // A number in the shape of a pointer: nothing is ever behind it.
    return reinterpret_cast<mox_client_type>(++mLast);  // NOLINT(performance-no-int-to-ptr)
}

void HandleRegistry::bind(mox_client_type handle, std::shared_ptr<Handle> object) {
    const std::lock_guard lock(mMutex);
    mEntries.insert_or_assign(handle, Entry{std::move(object), mGeneration});
}

std::shared_ptr<Handle> HandleRegistry::lookUp(mox_client_type handle) const {
    const std::lock_guard lock(mMutex);
    const auto entry = mEntries.find(handle);
    const bool known = entry != mEntries.end() && entry->second.generation == mGeneration;
    return known ? entry->second.object : nullptr;
}

std::shared_ptr<Handle> HandleRegistry::remove(mox_client_type handle) {
    const std::lock_guard lock(mMutex);
    const auto entry = mEntries.find(handle);
    if (entry == mEntries.end() || entry->second.generation != mGeneration) {
        return nullptr;
    }
    auto object = std::move(entry->second.object);
    mEntries.erase(entry);
    return object;
}

bool HandleRegistry::inherited(mox_client_type handle) const {
    const std::lock_guard lock(mMutex);
    const auto entry = mEntries.find(handle);
    return entry != mEntries.end() && entry->second.generation != mGeneration;
}

}  // namespace velo::mox
