// SPDX-License-Identifier: Apache-2.0
//
// Writes what the fuzzers begin with into a folder, a corpus for each target and a dictionary for
// those that read text: from a session of the library with the simulated modem, the tables of
// orders, commands and settings, and the carrier list.

#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
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
#include "tool/ApnDatabase.h"
#include "tool/Command.h"
#include "tool/Setting.h"
#include "tool/TextFile.h"
#include "tool/WantedRecords.h"
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

    /// With the names in it for the dictionary.
    void putText(const std::string& target, const std::string& seed) {
        static const std::regex names(R"(--[a-z-]+|</?[a-z]+|[a-z_]+=|"[a-z_0-9]+":|true|false)");
        put(target, seed);
        for (std::sregex_iterator at(seed.begin(), seed.end(), names), end; at != end; ++at) {
            mWords.insert(at->str());
        }
    }

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

constexpr const char* kRecords =
    R"([{"technology": "3gpp", "apn": "internet", "user": "me", "password": "secret",
    "auth": "pap_chap", "ip": "v4v6", "roam_ip": "v4", "types": ["default", "ims"], "class": "inet",
    "clat": true, "emergency_capable": true, "disabled": false, "max_conns": 3,
    "max_conns_time": 60, "wait_time": 5}])";

std::string chunk(const std::string& bytes) {
    const auto length = bytes.size();
    return std::string{static_cast<char>(length), static_cast<char>(length >> 8)} + bytes;
}

/// Everything that the library and the modem say to each other.
void talk(const fs::path& folder, const std::string& capture) {
    const std::string records = folder / "records.json";
    std::ofstream(records) << kRecords;
    const auto params = tool::WantedRecords::read(records, "").all().front();
    fs::remove(records);
    modem::ModemOptions options;
    options.captureFile = capture;
    const modem::Modem modem(options);
    mox::setModemPath(modem.socketPath());
    Manager& manager = Manager::getInstance();
    manager.init(0, false);
    while (manager.filter({}).empty()) {
        std::this_thread::yield();
    }
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
    seeds.put("capture", tool::readTextFile(capture).substr(0, 4000));
    string script;
    modem::CaptureReader reader(capture);
    while (const auto captured = reader.next()) {
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
                          tech + chunk(payload) + string("\7\1\0\3abc\0\0\1\0\3def", 14));
                seeds.put("record", tech + ("\1" + payload));
            }
        }
        if (kind == MOX_MESSAGE_INDICATION) seeds.put("worker", script);
    }
    seeds.put("record", string("\0\0\xFF\x3F\3apn\2me\6secret", 17) + string(40, '\1'));
}

/// Each message with all that it can hold, and with one entry too many in each of its lists.
void putFull(Seeds& seeds) {
    char index = 0;
    for (mox::MessageDefinition message : mox::wdsService().messages) {
        std::vector<mox::Field> fields(message.fields.begin(), message.fields.end());
        message.fields = fields;
        for (const unsigned int more : {0U, 1U}) {
            std::vector<std::uint8_t> structure(message.size + 1000, 1);
            for (mox::Field& field : fields) {
                field.limit += more;
                if (field.kind == mox::FieldKind::List) {
                    std::memcpy(structure.data() + field.count, &field.limit, sizeof(field.limit));
                }
            }
            std::vector<std::uint8_t> bytes;
            mox::encode(message, structure.data(), bytes);
            seeds.put("codec", index + std::string(bytes.begin(), bytes.end()));
        }
        ++index;
    }
}

void putOrders(Seeds& seeds) {
    for (const modem::Order& order : modem::orderTable()) {
        seeds.putText("control", order.example);
    }
    const auto profiles = modem::builtInProfiles();
    seeds.putText("state", modem::profileSetToJson(profiles).dump());
    for (auto profile : profiles) {
        seeds.putText("control", R"({"order": "add", "profile": )" +
                                     modem::profileToJson(profile).dump() + "}");
        for (const bool persistent : {true, false}) {
            profile.persistent = persistent;
            seeds.putText("state", R"({"version": 1, "checksum": 0, "subscriptions": [)" +
                                       modem::profileSetToJson({profile}).dump() +
                                       R"(, {"profiles": []}]})");
        }
    }
}

void putLists(Seeds& seeds) {
    const std::string text = tool::readTextFile(tool::kDefaultApnFile);
    std::string list;
    for (std::size_t at = text.find("<apn "); at != std::string::npos;) {
        const std::size_t next = text.find("<apn ", at + 1);
        list += text.substr(at, next - at);
        if (list.size() > 1500) {
            seeds.putText("apn", "<apns version=\"8\">" + list + "</apns>");
            list.clear();
        }
        at = next;
    }
    seeds.putText("apn", kRecords);
}

void putCommands(Seeds& seeds) {
    std::string all;
    for (const tool::Command& command : tool::commands()) {
        const std::string line = command.example.substr(command.example.find("velo ") + 5);
        seeds.putText("command", line);
        all += line + "\n";
    }
    for (const tool::Setting& setting : tool::settings()) {
        all += "list --" + setting.name + "\n";
    }
    seeds.putText("command", all);
}

void putState(Seeds& seeds, const fs::path& folder) {
    modem::ModemOptions options;
    options.stateFile = folder / "state.json";
    { const modem::Modem modem(options); }
    seeds.putText("state", tool::readTextFile(options.stateFile));
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
    talk(folder, capture);
    putFrames(seeds, capture);
    fs::remove(capture);
    putFull(seeds);
    putOrders(seeds);
    putLists(seeds);
    putCommands(seeds);
    putState(seeds, folder);
    seeds.writeDictionary();
    return 0;
}
