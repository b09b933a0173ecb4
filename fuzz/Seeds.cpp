// SPDX-License-Identifier: Apache-2.0
//
// Writes what the fuzzers begin with into a folder, a corpus for each target and a dictionary for
// those that read text: from a session of the library with the simulated modem, and from the tables
// of its orders and settings.

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/mox/Codec.h"
#include "host/mox/Frame.h"
#include "host/mox/MoxHost.h"
#include "host/mox/WdsService.h"
#include "modem/CaptureReader.h"
#include "modem/FactoryProfiles.h"
#include "modem/Modem.h"
#include "modem/OrderTable.h"
#include "modem/ProfileJson.h"
#include "velo/Manager.h"

namespace velo::fuzz {
namespace {

namespace fs = std::filesystem;

class Seeds {
public:
    explicit Seeds(fs::path folder) : mFolder(std::move(folder)) {}

    void put(const std::string& target, const std::string& seed) {
        fs::create_directories(mFolder / target);
        std::ofstream(mFolder / target / ("seed" + std::to_string(++mLast))) << seed;
    }

    void word(const std::string& text) { mWords.insert(text); }

    void writeDictionary() const {
        std::ofstream file(mFolder / "words");
        for (const std::string& text : mWords) {
            file << nlohmann::json(text).dump() << "\n";
        }
    }

private:
    const fs::path mFolder;
    std::set<std::string> mWords;
    int mLast = 0;
};

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string chunk(const std::string& bytes) {
    const auto length = bytes.size();
    return std::string{static_cast<char>(length), static_cast<char>(length >> 8)} + bytes;
}

/// Everything that the library and the modem say to each other.
void talk(const std::string& capture) {
    modem::ModemOptions options;
    options.captureFile = capture;
    const modem::Modem modem(options);
    mox::setModemPath(modem.socketPath());
    Manager& manager = Manager::getInstance();
    manager.init(0, false);
    while (manager.filter({}).empty()) {
        std::this_thread::yield();
    }
    AddProfileParams params(true, TechType::TECH_3GPP, false);
    params.setApnName("internet");
    params.setUserName("me");
    params.setPassword("secret");
    params.setAuthType(AuthType::PAP_CHAP);
    params.setHomeIPType(IPType::V4V6);
    params.setRoamIPType(IPType::V4);
    params.setApnTypesMask(0x41);
    params.setApnClass(ApnClass::INET);
    params.setIsClatEnabled(true);
    params.setIsEmergencySupported(true);
    params.setIsApnDisabled(false);
    params.setMaxPdnsConnPerBlock(3);
    params.setMaxPdnConnTimer(60);
    params.setPdnReqWaitInterval(5);
    for (const auto tech : {TechType::TECH_3GPP, TechType::TECH_3GPP2}) {
        const auto key = manager.addProfile(AddProfileParams(params, true, tech, false));
        ModifyProfileParams change;
        change.setApnName("other");
        manager.modifyProfile(change, key);
        manager.refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    }
    manager.deleteProfile(manager.filter({}).front());
    mox::setModemPath("");
}

void putFrames(Seeds& seeds, const std::string& capture) {
    using std::string;
    seeds.put("capture", textOf(capture).substr(0, 4000));
    string script;
    modem::CaptureReader reader(capture);
    while (const auto captured = reader.next()) {
        seeds.put("frame",
                  string(13, '\0') + string(captured->bytes.begin(), captured->bytes.end()));
        const auto frame = *mox::Frame::unpack(captured->bytes);
        const string payload(frame.payload.begin(), frame.payload.end());
        const auto kind = static_cast<mox_message_kind>(frame.kind);
        const auto& messages = mox::wdsService().messages;
        const auto* message = mox::wdsService().find(kind, frame.messageId);
        seeds.put("codec", string(1, static_cast<char>(message - messages.data())) + payload);
        if (kind == MOX_MESSAGE_INDICATION) {
            script += "\x08" + chunk(payload) + '\0';
        } else if (kind == MOX_MESSAGE_RESPONSE) {
            const bool created = frame.messageId == kWdsCreateProfileReq;
            script += (created ? string("\2\0\0\0\1\0", 6) : "") + '\0' + chunk(payload) +
                      (created ? string(1, '\0') : "");
        }
        if (kind == MOX_MESSAGE_RESPONSE && frame.messageId == kWdsGetProfileSettingsReq) {
            for (const char tech : {'\0', '\1'}) {
                seeds.put("profile",
                          tech + chunk(payload) + string("\7\1\0\3abc\0\0\1\0\3def", 15));
            }
        }
        if (kind == MOX_MESSAGE_INDICATION) seeds.put("worker", script);
    }
}

/// Each message with all that it can hold: what is one too many is a small step from there.
void putFull(Seeds& seeds) {
    char index = 0;
    for (const auto& message : mox::wdsService().messages) {
        std::vector<std::uint8_t> structure(message.size, 1);
        for (const mox::Field& field : message.fields) {
            if (field.kind == mox::FieldKind::List) {
                std::memcpy(structure.data() + field.count, &field.limit, sizeof(field.limit));
            }
        }
        std::vector<std::uint8_t> bytes;
        mox::encode(message, structure.data(), bytes);
        seeds.put("codec", index++ + std::string(bytes.begin(), bytes.end()));
    }
}

void putTexts(Seeds& seeds) {
    for (const modem::Order& order : modem::orderTable()) {
        seeds.put("control", order.example);
        seeds.word(order.name);
        for (const auto& member : order.members)
            seeds.word("\"" + std::string(member.name) + "\":");
    }
    const auto profiles = modem::builtInProfiles();
    seeds.put("state", modem::profileSetToJson(profiles).dump());
    for (const auto& profile : profiles) {
        seeds.put("control",
                  R"({"order": "add", "profile": )" + modem::profileToJson(profile).dump() + "}");
    }
    for (const mox::Field& field : mox::wdsSettingsFields()) {
        seeds.word("\"" + std::string(field.name) + "\":");
    }
}

void putState(Seeds& seeds, const fs::path& folder) {
    modem::ModemOptions options;
    options.stateFile = folder / "state.json";
    { const modem::Modem modem(options); }
    seeds.put("state", textOf(options.stateFile));
    fs::remove(options.stateFile);
    fs::remove(options.stateFile + ".lock");
}

}  // namespace
}  // namespace velo::fuzz

int main(int, char** argv) {
    using namespace velo::fuzz;
    const fs::path folder = argv[1];
    fs::create_directories(folder);
    Seeds seeds(folder);
    const std::string capture = folder / "capture.pcapng";
    talk(capture);
    putFrames(seeds, capture);
    fs::remove(capture);
    putFull(seeds);
    putTexts(seeds);
    putState(seeds, folder);
    seeds.writeDictionary();
    return 0;
}
