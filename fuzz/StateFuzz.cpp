// SPDX-License-Identifier: Apache-2.0
//
// Any file as the state of a modem, and any profiles as what it is to keep: what is loaded is saved
// and loaded as it was, what is refused is left alone.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "fuzz/Records.h"
#include "modem/ModemError.h"
#include "modem/ProfileJson.h"
#include "modem/StateFile.h"

namespace velo::fuzz {
namespace {

using Stores = modem::StateFile::Stores;

constexpr std::size_t kCapacity = 20;

class State {
public:
    State() : mFolder(std::filesystem::temp_directory_path() / "velo-fuzz-XXXXXX") {
        ensure(::mkdtemp(mFolder.data()) != nullptr, "a folder can be made");
        mFile.emplace(mFolder + "/state");
    }
    ~State() {
        mFile.reset();
        std::filesystem::remove_all(mFolder);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void load(const std::string& text) const {
        std::ofstream(mFolder + "/state") << text;
        try {
            keep(mFile->boot(Stores(2), kCapacity));
        } catch (const modem::ModemError&) {
            std::ifstream file(mFolder + "/state");
            ensure(std::equal(text.begin(), text.end(), std::istreambuf_iterator<char>(file), {}),
                   "a refused file is left alone");
        }
    }

    void keep(const Stores& stores) const {
        ensure(mFile->save(stores) == 0, "stores can be saved");
        const Stores read = mFile->boot(Stores(stores.size()), 256);
        ensure(read.size() == stores.size(), "as many stores are read as were saved");
        for (std::size_t i = 0; i < read.size(); ++i) {
            ensure(modem::profileSetToJson(read[i]) == modem::profileSetToJson(stores[i]),
                   "profiles are read as they were saved");
        }
    }

private:
    std::string mFolder;
    std::optional<modem::StateFile> mFile;
};

}  // namespace
}  // namespace velo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velo;
    static const fuzz::State state;
    const std::string text(reinterpret_cast<const char*>(data), size);
    state.load(text);
    try {
        auto profiles = modem::profileSetFromJson(modem::jsonFromText(text));
        std::erase_if(profiles, [](const auto& profile) { return !profile.persistent; });
        state.keep({profiles, {}});
    } catch (const modem::ModemError&) {
        // No set of profiles.
    }
    return 0;
}
