// SPDX-License-Identifier: Apache-2.0

#include "modem/StateFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "modem/ModemError.h"
#include "modem/ProfileJson.h"

namespace velo::modem {

namespace {

using nlohmann::json;

constexpr unsigned int kVersion = 1;
constexpr mode_t kOwnerOnly = 0600;
constexpr int kIndent = 2;

std::string reason(int error) {
    return std::generic_category().message(error);
}

/// CRC-32 as zip files and network frames use it.
std::uint32_t crc32(std::string_view bytes) {
    constexpr std::uint32_t kPolynomial = 0xEDB88320;
    std::uint32_t crc = ~0U;
    for (const char byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0);
        }
    }
    return ~crc;
}

/// Of what is said, not of how it is laid out: the shortest form, keys in order.
std::uint32_t checksumOf(const json& subscriptions) {
    return crc32(subscriptions.dump());
}

json toJson(const StateFile::Stores& stores) {
    json subscriptions = json::array();
    for (const auto& store : stores) {
        std::vector<StoredProfile> kept;
        std::copy_if(store.begin(), store.end(), std::back_inserter(kept),
                     [](const StoredProfile& profile) { return profile.persistent; });
        subscriptions.push_back(profileSetToJson(kept));
    }
    const auto checksum = checksumOf(subscriptions);
    return {
        {"version", kVersion}, {"checksum", checksum}, {"subscriptions", std::move(subscriptions)}};
}

void checkKeys(const json& document) {
    if (!document.is_object() || !document.contains("version")) {
        throw ModemError("is no state file: it has no \"version\"");
    }
    if (document["version"] != kVersion) {
        throw ModemError("is of version " + document["version"].dump() + "; this modem knows " +
                         std::to_string(kVersion));
    }
    constexpr std::array kKeys{"version", "checksum", "subscriptions"};
    for (const char* key : kKeys) {
        if (!document.contains(key)) {
            throw ModemError(std::string("has no \"") + key + "\"");
        }
    }
    if (document.size() > kKeys.size()) {
        throw ModemError("has more than version, checksum and subscriptions");
    }
    if (!document["subscriptions"].is_array()) {
        throw ModemError("\"subscriptions\" is not a list");
    }
}

void checkCapacity(const std::vector<StoredProfile>& profiles, std::size_t capacity) {
    std::array<std::size_t, 2> counts{};
    for (const StoredProfile& profile : profiles) {
        if (++counts.at(profile.id.profile_type) > capacity) {
            throw ModemError("holds more profiles of a technology than the capacity, " +
                             std::to_string(capacity));
        }
    }
}

std::vector<StoredProfile> storeFromJson(const json& value, std::size_t capacity) {
    auto profiles = profileSetFromJson(value);
    for (const StoredProfile& profile : profiles) {
        if (!profile.persistent) {
            throw ModemError("holds a profile that is not persistent");
        }
    }
    checkCapacity(profiles, capacity);
    return profiles;
}

StateFile::Stores fromJson(const json& document, std::size_t count, std::size_t capacity) {
    checkKeys(document);
    const json& subscriptions = document["subscriptions"];
    if (subscriptions.size() != count) {
        throw ModemError("is of a modem with " + std::to_string(subscriptions.size()) +
                         " subscriptions; this one has " + std::to_string(count));
    }
    StateFile::Stores stores;
    for (const json& subscription : subscriptions) {
        stores.push_back(inPlace("subscription " + std::to_string(stores.size()),
                                 [&] { return storeFromJson(subscription, capacity); }));
    }
    if (document["checksum"] != checksumOf(subscriptions)) {
        throw ModemError("is damaged: its checksum does not match what it says");
    }
    return stores;
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

/// Makes a file of that name, flushed to the disk. A file that a killed modem left there goes. The
/// errno of what failed, or 0.
int writeFile(int folder, const std::string& name, std::string_view bytes) {
    ::unlinkat(folder, name.c_str(), 0);
    const mox::Descriptor file(mox::clearOfStandardStreams(
        ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly)));
    const bool written = file && writeAll(file.get(), bytes) && ::fsync(file.get()) == 0;
    return written ? 0 : errno;
}

}  // namespace

StateFile::StateFile(const std::string& path) : mPath(path) {
    // Behind a link it is the file itself that is replaced, and locked whichever way it is reached.
    std::error_code error;
    const auto file = std::filesystem::weakly_canonical(path, error);
    if (error) {
        refuse(error.message());
    }
    mName = file.filename();
    const auto folder = file.parent_path();
    mFolder = mox::Descriptor(mox::clearOfStandardStreams(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    if (!mFolder) {
        refuse("its folder cannot be opened: " + reason(errno));
    }
    lock();
}

StateFile::~StateFile() {
    // A forked child may hold the descriptor as well, and with it the lock.
    ::flock(mLock.get(), LOCK_UN);
}

void StateFile::refuse(const std::string& what) const {
    throw ModemError("state file " + mPath + ": " + what);
}

void StateFile::lock() {
    mLock = mox::Descriptor(mox::clearOfStandardStreams(
        ::openat(mFolder.get(), (mName + ".lock").c_str(),
                 O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kOwnerOnly)));
    if (mLock && ::flock(mLock.get(), LOCK_EX | LOCK_NB) == 0) {
        return;
    }
    refuse(errno == EWOULDBLOCK ? "is in use by another modem"
                                : "cannot be locked: " + reason(errno));
}

bool StateFile::exists() const {
    struct stat status {};
    if (::fstatat(mFolder.get(), mName.c_str(), &status, 0) != 0) {
        if (errno != ENOENT) {
            refuse("cannot be read: " + reason(errno));
        }
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        refuse("is not an ordinary file");
    }
    return true;
}

StateFile::Stores StateFile::boot(const Stores& factory, std::size_t capacity) const {
    if (exists()) {
        return inPlace("state file " + mPath,
                       [&] { return fromJson(jsonFromFile(mPath), factory.size(), capacity); });
    }
    inPlace("factory profiles for state file " + mPath, [&] {
        for (const auto& store : factory) {
            checkCapacity(store, capacity);
        }
    });
    if (const int error = save(factory); error != 0) {
        refuse("cannot be written: " + reason(error));
    }
    return factory;
}

int StateFile::save(const Stores& stores) const {
    const std::string next = mName + ".new";
    int error = writeFile(mFolder.get(), next, toJson(stores).dump(kIndent) + "\n");
    if (error == 0 && ::renameat(mFolder.get(), next.c_str(), mFolder.get(), mName.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlinkat(mFolder.get(), next.c_str(), 0);
        return error;
    }
    return ::fsync(mFolder.get()) == 0 ? 0 : errno;
}

}  // namespace velo::modem
