// SPDX-License-Identifier: Apache-2.0
//
// Any file as the state of a modem, as it is and with its checksum put right, and any profiles as
// what it is to keep: what is loaded is saved and loaded as it was, what is refused is left alone.

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

#include "fuzz/Input.h"
#include "modem/ModemError.h"
#include "modem/ProfileJson.h"
#include "modem/StateFile.h"

namespace velo::fuzz {
namespace {

using Stores = modem::StateFile::Stores;

/// Of the built-in profiles one fits, and all.
constexpr std::array<std::size_t, 2> kCapacities{1, 3};

/// The checksum that zip files and network frames have.
std::uint32_t crc32(const std::string& text) {
    std::uint32_t crc = ~0U;
    for (const char byte : text) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc % 2 * 0xEDB88320);
    }
    return ~crc;
}

class State {
public:
    State() : mFolder(std::filesystem::temp_directory_path() / "velo-fuzz-XXXXXX") {
        ensure(::mkdtemp(mFolder.data()) != nullptr, "a folder can be made");
        mFile.emplace(mFolder + "/state");
    }
    ~State() { std::filesystem::remove_all(mFolder); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void load(const std::string& text, std::size_t capacity) const {
        std::ofstream(mFolder + "/state") << text;
        try {
            const Stores stores = mFile->boot(Stores(2), capacity);
            ensure(stores.size() == 2, "a modem has its own number of stores");
            for (const auto& profiles : stores) {
                for (const auto type : {WDS_PROFILE_TYPE_3GPP, WDS_PROFILE_TYPE_3GPP2}) {
                    const auto count = std::count_if(
                        profiles.begin(), profiles.end(),
                        [&](const auto& profile) { return profile.id.profile_type == type; });
                    ensure(static_cast<std::size_t>(count) <= capacity, "profiles have room");
                }
            }
            keep(stores);
        } catch (const modem::ModemError&) {
            std::ifstream file(mFolder + "/state");
            ensure(std::equal(text.begin(), text.end(), std::istreambuf_iterator<char>(file), {}),
                   "a refused file is left alone");
        }
    }

    void keep(const Stores& stores) const {
        ensure(mFile->save(stores) == 0, "stores can be saved");
        const Stores read = mFile->boot(Stores(stores.size()), 256);
        ensure(std::equal(read.begin(), read.end(), stores.begin(), stores.end(),
                          [](const auto& one, const auto& other) {
                              return modem::profileSetToJson(one) == modem::profileSetToJson(other);
                          }),
               "stores are read as they were saved");
    }

private:
    std::string mFolder;
    std::optional<modem::StateFile> mFile;
};

}  // namespace

void run(Bytes bytes) {
    static const State state;
    const std::string text = textOf(bytes);
    state.load(text, kCapacities.back());
    try {
        auto document = modem::jsonFromText(text);
        if (document.contains("subscriptions")) {
            document["checksum"] = crc32(document["subscriptions"].dump());
            for (const std::size_t capacity : kCapacities) state.load(document.dump(), capacity);
            return;
        }
        auto profiles = modem::profileSetFromJson(document);
        std::erase_if(profiles, [](const auto& profile) { return !profile.persistent; });
        state.keep({profiles, {}});
    } catch (const modem::ModemError&) {
        // No set of profiles.
    }
}

}  // namespace velo::fuzz
