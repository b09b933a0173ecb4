// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ModemClient.h"
#include "Support.h"
#include "host/mox/Codec.h"
#include "host/mox/Socket.h"
#include "host/mox/WdsService.h"
#include "modem/Capture.h"
#include "modem/CaptureReader.h"
#include "modem/DecodeCommand.h"
#include "modem/Dissector.h"
#include "modem/FrameText.h"

namespace velo::test {
namespace {

using modem::CapturedFrame;
using modem::Direction;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using Bytes = std::vector<std::uint8_t>;

class CaptureTest : public ::testing::Test {
protected:
    modem::ModemOptions options() const {
        modem::ModemOptions options;
        options.captureFile = mPath;
        return options;
    }

    std::vector<CapturedFrame> frames() const {
        modem::CaptureReader reader(mPath);
        std::vector<CapturedFrame> all;
        while (auto frame = reader.next()) {
            all.push_back(std::move(*frame));
        }
        return all;
    }

    /// A capture of these packets, all from client 1 on subscription 0.
    void write(const std::vector<Bytes>& packets) const {
        modem::Capture capture(mPath);
        for (const Bytes& packet : packets) {
            capture.record(1, Direction::ToModem, 0, packet);
        }
    }

    const TemporaryFolder mFolder;
    const std::string mPath = mFolder / "capture.pcapng";
};

std::string firstLine(const CapturedFrame& frame) {
    const std::string text = modem::frameText(frame);
    const auto afterTime = text.find(' ') + 1;
    return text.substr(afterTime, text.find('\n') - afterTime);
}

std::string fieldsOf(const Bytes& bytes) {
    const std::string text = modem::frameText({0, 1, Direction::ToModem, 0, bytes});
    return text.substr(text.find('\n') + 1);
}

/// A message that holds nothing but zeros and empty strings in every field, then frames damaged in
/// every way that the codec tells apart; each is refused by the codec or not.
std::vector<mox::Frame> soundAndDamaged(const mox::MessageDefinition& message) {
    Bytes structure(message.size);
    for (const auto& field : message.fields) {
        if (field.optional()) {
            structure[field.flag] = 1;
        }
        if (field.kind == mox::FieldKind::List) {
            structure[field.count] = 2;
        }
    }
    mox::Frame sound{static_cast<std::uint8_t>(message.kind), 7, message.id, {}};
    EXPECT_TRUE(mox::encode(message, structure.data(), sound.payload));
    std::vector<mox::Frame> all{sound};
    const auto variant = [&](auto change) { change(all.emplace_back(sound).payload); };
    const auto firstSize = sound.payload[1] + 3;
    variant([&](Bytes& bytes) { bytes.insert(bytes.end(), {0xEE, 2, 0, 1, 2}); });
    variant([&](Bytes& bytes) { bytes.insert(bytes.end(), {0xEE, 2}); });
    variant([&](Bytes& bytes) { bytes.insert(bytes.end(), {0xEE, 2, 0, 1}); });
    variant([&](Bytes& bytes) { bytes.erase(bytes.begin(), bytes.begin() + firstSize); });
    variant([&](Bytes& bytes) {
        const Bytes first(bytes.begin(), bytes.begin() + firstSize);
        bytes.insert(bytes.end(), first.begin(), first.end());
    });
    for (const auto& field : message.fields) {
        const auto size = field.kind == mox::FieldKind::String ? field.size : 3;
        for (const Bytes& content :
             {Bytes(size, 'x'), Bytes(600, 0xFF), Bytes{'a', 0, 'b'}, Bytes{}}) {
            variant([&](Bytes& bytes) {
                bytes = {field.tag, static_cast<std::uint8_t>(content.size()),
                         static_cast<std::uint8_t>(content.size() >> 8)};
                bytes.insert(bytes.end(), content.begin(), content.end());
            });
        }
    }
    for (std::size_t at = 0; at < sound.payload.size();) {
        const auto field = sound.payload.begin() + static_cast<std::ptrdiff_t>(at);
        for (std::uint8_t left = 0; left < field[1]; ++left) {
            variant([&](Bytes& bytes) {
                bytes = {*field, left, 0};
                bytes.insert(bytes.end(), field + 3, field + 3 + left);
            });
        }
        at += 3U + field[1];
    }
    return all;
}

std::vector<mox::Frame> soundAndDamaged() {
    std::vector<mox::Frame> all;
    for (const auto& message : mox::wdsService().messages) {
        const auto some = soundAndDamaged(message);
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

bool codecTakes(const mox::Frame& frame) {
    const auto* message =
        mox::wdsService().find(static_cast<mox_message_kind>(frame.kind), frame.messageId);
    Bytes structure(message->size);
    return mox::decode(*message, frame.payload, structure.data());
}

TEST_F(CaptureTest, HoldsWhatWentOverTheWire) {
    modem::Modem modem(options());
    std::vector<Bytes> sent;
    std::vector<Bytes> tampered;
    modem.setTamper([&](mox::Frame& frame) {
        if (frame.kind == MOX_MESSAGE_INDICATION) {
            return false;
        }
        frame.payload.insert(frame.payload.end(), {0xEE, 0, 0});
        sent.push_back(frame.pack());
        return true;
    });
    {
        ModemClient client(modem);
        client.bind(1);
        client.registerIndications();
        client.configureEvents();
        client.create("internet");
    }
    const Bytes damaged{MOX_MESSAGE_REQUEST, 9, 0, 0, 0, kWdsDeleteProfileReq, 0, 99, 0, 0, 0, 1};
    const auto raw = mox::connectTo(modem.socketPath());
    ASSERT_EQ(static_cast<ssize_t>(damaged.size()),
              ::send(raw.get(), damaged.data(), damaged.size(), 0));
    ASSERT_TRUE(waitUntil([&] { return modem.exchanges() == 5; }));
    modem.setTamper({});

    const auto all = frames();
    ASSERT_EQ(10U, all.size());
    std::vector<std::string> lines;
    std::vector<Bytes> outbound;
    for (const auto& frame : all) {
        lines.push_back(firstLine(frame));
        if (frame.direction == Direction::FromModem) {
            outbound.push_back(frame.bytes);
        }
    }
    EXPECT_EQ(sent, outbound);
    EXPECT_EQ(damaged, all[8].bytes);
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end(), [](const auto& one, const auto& other) {
        return one.time < other.time;
    }));
    // The messaging client looks whether the service is there before it connects.
    EXPECT_EQ("client 2 to modem: bind subscription request, transaction 1", lines[0]);
    EXPECT_EQ("client 2 subscription 1 from modem: bind subscription response, transaction 1",
              lines[1]);
    EXPECT_EQ("client 2 subscription 1 to modem: create profile request, transaction 4", lines[6]);
    EXPECT_EQ(
        "client 3 to modem: delete profile request, transaction 9 [malformed: the header claims 99 "
        "bytes of payload, there are 1; the last field is cut short; profile is missing]",
        lines[8]);
    EXPECT_EQ("client 3 from modem: delete profile response, transaction 9", lines[9]);
}

TEST_F(CaptureTest, TextOfFields) {
    struct Case {
        Bytes frame;
        std::string text;
    };
    const Case cases[] = {
        {{0, 1, 0, 0, 0, 0x29, 0, 8, 0, 0, 0, 1, 5, 0, 1, 0, 0, 0, 200},
         "    profile:\n        profile_type: 3GPP2 (1)\n        profile_index: 200\n"},
        {{1, 1, 0, 0, 0, 0x29, 0, 11, 0, 0, 0, 2, 8, 0, 1, 0, 0, 0, 31, 0, 0, 0},
         "    response:\n        result: failure (1)\n        error: invalid profile (31)\n"},
        {{2, 0, 0, 0, 0, 0xA8, 0, 17, 0, 0,    0, 0x10, 9,    0,
          0, 0, 0, 0, 4, 77,   0, 0,  0, 0xEE, 2, 0,    0xAB, 1},
         "    profile_changed:\n        profile_type: 3GPP (0)\n        profile_index: 4\n"
         "        event: 77\n    unknown tag 0xEE: bytes AB 01\n"},
        {{0,   1,   0, 0,    0,    0x27, 0, 31, 0,    0, 0, 1, 4, 0, 0, 0, 0, 0, 0x24, 4,    0,
          's', '"', 1, 0xFF, 0x25, 1,    0, 3,  0x60, 8, 0, 1, 2, 0, 0, 0, 0, 0, 0x80, 0x22, 2},
         "    profile_type: 3GPP (0)\n    password: \"s\\\"\\x01\\xFF\"\n    auth_preference: "
         "0x03\n"
         "    apn_type_mask: 0x8000000000000201\n    rest: bytes 22 02\n"},
        {{1, 1, 0, 0, 0, 0x2A, 0, 13, 0, 0, 0, 3, 10, 0, 1, 0, 0, 0, 1, 0, 0, 0, 7, 2},
         "    profile_list:\n        [0]:\n            profile_type: 3GPP2 (1)\n"
         "            profile_index: 7\n            profile_name: bytes 02\n"},
        {{0, 1, 0, 0, 0, 0xCD, 0xAB, 2, 0, 0, 0, 5, 6}, "    payload: bytes 05 06\n"},
        {{1, 2}, "    rest: bytes 01 02\n"},
    };
    for (const auto& [frame, text] : cases) {
        EXPECT_EQ(text, fieldsOf(frame));
    }
    EXPECT_EQ(
        "client 1 to modem: unknown message 0xABCD kind 9, transaction 1 [malformed: the "
        "kind is unknown]",
        firstLine({0, 1, Direction::ToModem, {}, {9, 1, 0, 0, 0, 0xCD, 0xAB, 0, 0, 0, 0}}));
    EXPECT_EQ("client 1 to modem: frame without a header [malformed: the header is cut short]",
              firstLine({0, 1, Direction::ToModem, {}, {1, 2}}));
    const auto json =
        modem::frameJson({1500000000000000001, 1, Direction::ToModem, 3, cases[0].frame});
    EXPECT_EQ(R"({"time":"2017-07-14T02:40:00.000000001Z","client":1,"subscription":3,)"
              R"("direction":"to modem","kind":"request","transaction":1,"messageId":41,)"
              R"("message":"delete profile request","malformed":[],"fields":[{"name":"profile",)"
              R"("fields":[{"name":"profile_type","value":1,"means":"3GPP2"},)"
              R"({"name":"profile_index","value":200}]}]})",
              json.dump());
}

TEST_F(CaptureTest, MalformedIsWhatTheCodecRefuses) {
    std::size_t refused = 0;
    for (const auto& frame : soundAndDamaged()) {
        const auto line = firstLine({0, 1, Direction::ToModem, 0, frame.pack()});
        EXPECT_EQ(codecTakes(frame), line.find("[malformed: ") == std::string::npos)
            << line << "\n"
            << fieldsOf(frame.pack());
        refused += codecTakes(frame) ? 0 : 1;
    }
    EXPECT_LT(100U, refused);
}

TEST_F(CaptureTest, AKilledModemLeavesAGoodFile) {
    int ready[2];
    ASSERT_EQ(0, ::pipe(ready));
    const pid_t child = ::fork();
    if (child == 0) {
        modem::Capture capture(mPath);
        for (std::size_t i = 0;; ++i) {
            capture.record(1, Direction::FromModem, 0, Bytes(i % 100));
            if (i == 3000 && ::write(ready[1], "", 1) != 1) {
                ::_exit(1);
            }
        }
    }
    ::close(ready[1]);
    char byte = 0;
    EXPECT_EQ(1, ::read(ready[0], &byte, 1));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(ready[0]);
    EXPECT_LT(3000U, frames().size());
}

TEST_F(CaptureTest, AFullDiskStopsTheCaptureAndNotTheModem) {
    constexpr rlim_t kRoom = 1000;
    modem::Modem modem(options());
    ModemClient client(modem);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{kRoom, before.rlim_max};
    ::testing::internal::CaptureStderr();
    ::setrlimit(RLIMIT_FSIZE, &small);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(MOX_NO_ERR, client.bind(0));
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ("velo-modem: capture " + mPath + " stopped: File too large\n",
              ::testing::internal::GetCapturedStderr());
    EXPECT_LT(0U, frames().size());
    EXPECT_GT(kRoom, std::filesystem::file_size(mPath));
}

TEST_F(CaptureTest, DamagedFilesAreShownUpToTheDamage) {
    constexpr std::size_t kPacket = 64;
    write({Bytes(11), Bytes(11)});
    const std::string good = textOf(mPath);
    const std::size_t second = good.size() - kPacket;
    const std::size_t interface = 28;
    const auto with = [&](std::size_t at, const std::string& bytes) {
        return std::string(good).replace(at, bytes.size(), bytes);
    };
    const std::string at2 = ": at byte " + std::to_string(second) + ": ";
    const struct {
        std::string content;
        int packets;
        std::string error;
    } cases[] = {
        {"", 0, ": at byte 0: the file is empty, not a capture"},
        {"{\"profiles\": []}", 0, ": at byte 0: the file does not begin as a pcapng capture"},
        {good.substr(0, 10), 0, ": at byte 0: the block is cut short"},
        {with(8, "\x1A\x2B\x3C\x4D"), 0, ": at byte 0: the section is not little-endian"},
        {with(12, "\2"), 0, ": at byte 0: the section has an unknown version"},
        {with(interface + 8, "\1"), 0,
         ": at byte 28: the capture holds packets of link type 1, not a modem's frames"},
        {with(interface + 32, "\6"), 0, ": at byte 28: the times are not nanoseconds"},
        {with(second + 4, "\x42"), 1, at2 + "a block cannot be 66 bytes long"},
        {with(second + 7, "\x7F"), 1, at2 + "a block cannot be 2130706496 bytes long"},
        {with(good.size() - 4, "\x48"), 1, at2 + "the block's two lengths differ"},
        {good.substr(0, good.size() - 1), 1, at2 + "the block is cut short"},
        {good.substr(0, second + 3), 1, at2 + "the block is cut short"},
        {with(second + 8, "\1"), 1,
         at2 + "the packet belongs to an interface that the capture does not have"},
        {with(second + 20, "\xFF"), 1, at2 + "the packet is longer than its block"},
        {with(second + 20, "\5"), 1,
         at2 + "the packet has no room for its client, direction and subscription"},
        {with(second + 32, "\2"), 1, at2 + "the packet has an unknown direction"},
    };
    for (const auto& [content, packets, error] : cases) {
        mFolder.write("capture.pcapng", content);
        std::ostringstream out;
        std::ostringstream errors;
        EXPECT_EQ(2, modem::decodeCommand(mPath, out, errors));
        EXPECT_EQ("velo-modem: " + mPath + error + "\n", errors.str());
        const std::string text = out.str();
        EXPECT_EQ(packets, std::count(text.begin(), text.end(), '\n')) << text;
    }
    std::ostringstream none;
    std::ostringstream errors;
    EXPECT_EQ(2, modem::decodeCommand(mFolder / "absent", none, errors));
    EXPECT_THAT(errors.str(), EndsWith("absent: No such file or directory\n"));
}

void expectNames(const std::string& program, std::span<const mox::Field> fields) {
    for (const auto& field : fields) {
        EXPECT_THAT(program, HasSubstr("{ name = \"" + std::string(field.name) + "\""));
        for (const auto& name : field.names) {
            EXPECT_THAT(program, HasSubstr("= \"" + std::string(name.name) + "\""));
        }
        expectNames(program, field.elements);
    }
}

TEST_F(CaptureTest, DissectorMarksWhatTheCodecRefuses) {
    const std::string program = modem::dissector();
    for (const auto& message : mox::wdsService().messages) {
        EXPECT_THAT(program, HasSubstr("{ name = \"" + std::string(message.name) + "\""));
        expectNames(program, message.fields);
    }
    if (std::system("tshark --version >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "tshark is not installed";
    }
    std::vector<Bytes> packets{{1, 2}, {}, {9, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0}};
    std::string expected = "1,\n2,\n3,\n";
    for (const auto& frame : soundAndDamaged()) {
        packets.push_back(frame.pack());
        expected += codecTakes(frame) ? "" : std::to_string(packets.size()) + ",\n";
    }
    write(packets);
    mFolder.write("velo.lua", program);
    // An error of the program itself shows as a packet too many or in the second column.
    const std::string command =
        "cd " + mFolder.path() +
        " && tshark -X lua_script:velo.lua -r capture.pcapng -Y 'velo.malformed || _ws.lua.error'"
        " -T fields -E separator=, -e frame.number -e _ws.lua.error 2>errors";
    const std::unique_ptr<FILE, int (*)(FILE*)> tshark(::popen(command.c_str(), "r"), &::pclose);
    ASSERT_NE(nullptr, tshark);
    std::string marked;
    for (int c = std::fgetc(tshark.get()); c != EOF; c = std::fgetc(tshark.get())) {
        marked += static_cast<char>(c);
    }
    EXPECT_EQ(expected, marked);
}

}  // namespace
}  // namespace velo::test
