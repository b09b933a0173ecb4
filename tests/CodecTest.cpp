// SPDX-License-Identifier: Apache-2.0

#include "host/mox/Codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "Support.h"
#include "host/mox/WdsService.h"
#include "mox/wds_v01.h"

namespace velo::mox {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kGuard = 0xA5;
constexpr std::size_t kGuardSize = 64;

/// Fills a field with a value of its own that uses the whole of it; a list with all its entries.
void fill(const Field& field, std::uint8_t* base, std::uint8_t seed) {
    std::uint8_t* at = base + field.value;
    if (field.optional()) {
        base[field.flag] = 1;
    }
    switch (field.kind) {
        case FieldKind::String:
            std::memset(at, 'a' + seed % 26, field.size - 1);
            break;
        case FieldKind::Record:
            for (const Field& element : field.elements) {
                fill(element, at, ++seed);
            }
            break;
        case FieldKind::List:
            std::memcpy(base + field.count, &field.limit, sizeof(field.limit));
            for (std::size_t i = 0; i < field.limit; ++i) {
                for (const Field& element : field.elements) {
                    fill(element, at + i * field.size, ++seed);
                }
            }
            break;
        default:
            std::memset(at, 0x80 | seed, field.size);
    }
}

Bytes filled(const MessageDefinition& message) {
    Bytes structure(message.size);
    for (const Field& field : message.fields) {
        fill(field, structure.data(), field.tag);
    }
    return structure;
}

Bytes encoded(const MessageDefinition& message, const Bytes& structure) {
    Bytes bytes;
    EXPECT_TRUE(encode(message, structure.data(), bytes));
    return bytes;
}

/// Where each field of an encoded message begins, and where the last one ends.
std::vector<std::size_t> boundaries(const Bytes& bytes) {
    std::vector<std::size_t> starts{0};
    while (starts.back() < bytes.size()) {
        const std::size_t at = starts.back();
        starts.push_back(at + 3 + bytes[at + 1] + std::size_t{256} * bytes[at + 2]);
    }
    return starts;
}

/// Decodes between guards, into memory full of rubbish, and holds decode() to its promise about
/// both.
bool decodes(const MessageDefinition& message, const Bytes& bytes, Bytes* result = nullptr) {
    Bytes memory(message.size + 2 * kGuardSize, kGuard);
    std::uint8_t* structure = memory.data() + kGuardSize;
    const bool good = decode(message, bytes, structure);
    const auto guard = [](std::uint8_t byte) { return byte == kGuard; };
    EXPECT_TRUE(std::all_of(memory.data(), structure, guard));
    EXPECT_TRUE(std::all_of(structure + message.size, memory.data() + memory.size(), guard));
    if (!good) {
        EXPECT_TRUE(std::all_of(structure, structure + message.size,
                                [](std::uint8_t byte) { return byte == 0; }));
    }
    if (result != nullptr) {
        result->assign(structure, structure + message.size);
    }
    return good;
}

class CodecTest : public ::testing::TestWithParam<MessageDefinition> {};

TEST_P(CodecTest, EveryFieldComesBackAndUnknownTagsAreSkipped) {
    const Bytes structure = filled(GetParam());
    Bytes bytes = encoded(GetParam(), structure);
    const Bytes unknown{0xEE, 2, 0, 1, 2, 0xEE, 0, 0};
    bytes.insert(bytes.begin(), unknown.begin(), unknown.end());
    Bytes result;
    EXPECT_TRUE(decodes(GetParam(), bytes, &result));
    EXPECT_EQ(structure, result);
}

TEST_P(CodecTest, TruncationIsRefusedUnlessOnlyOptionalFieldsAreLost) {
    const Bytes bytes = encoded(GetParam(), filled(GetParam()));
    const auto starts = boundaries(bytes);
    std::size_t mandatory = 0;
    for (const Field& field : GetParam().fields) {
        mandatory += field.optional() ? 0 : 1;
    }
    // Every length in the first fields, samples in long lists, and every boundary.
    std::set<std::size_t> lengths(starts.begin(), std::prev(starts.end()));
    for (std::size_t length = 0; length < bytes.size(); length += length < 300 ? 1 : 97) {
        lengths.insert(length);
    }
    for (const std::size_t length : lengths) {
        const auto boundary = std::find(starts.begin(), starts.end(), length);
        const bool whole = boundary != starts.end() &&
                           static_cast<std::size_t>(boundary - starts.begin()) >= mandatory;
        const Bytes part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(whole, decodes(GetParam(), part)) << GetParam().name << " cut to " << length;
    }
}

INSTANTIATE_TEST_SUITE_P(Wds, CodecTest, ::testing::ValuesIn(wdsService().messages),
                         [](const auto& message) {
                             std::string name = message.param.name;
                             std::replace(name.begin(), name.end(), ' ', '_');
                             return name;
                         });

const MessageDefinition& listResponse() {
    return *wdsService().find(MOX_MESSAGE_RESPONSE, kWdsGetProfileListReq);
}

const MessageDefinition& createRequest() {
    return *wdsService().find(MOX_MESSAGE_REQUEST, kWdsCreateProfileReq);
}

TEST(CodecLimits, ListsThatClaimTooMuchAreRefused) {
    for (const std::uint32_t count : {256U, 0xFFFFFFFFU}) {
        Bytes bytes{0x02, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x03, 4, 0};
        for (int i = 0; i < 4; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(count >> (8 * i)));
        }
        EXPECT_FALSE(decodes(listResponse(), bytes));
        wds_get_profile_list_resp_msg_v01 response{};
        response.profile_list_len = count;
        Bytes none;
        EXPECT_FALSE(encode(listResponse(), &response, none));
    }
}

TEST(CodecLimits, StringsAreBoundedBothWays) {
    wds_create_profile_req_msg_v01 request{};
    request.settings.profile_name.valid = 1;
    std::memset(request.settings.profile_name.value.data, 'n', kWdsProfileNameSize);
    Bytes bytes;
    ASSERT_TRUE(encode(createRequest(), &request, bytes));
    wds_create_profile_req_msg_v01 back{};
    ASSERT_TRUE(decode(createRequest(), bytes, &back));
    EXPECT_EQ(std::string(kWdsProfileNameSize - 1, 'n'), back.settings.profile_name.value.data);
}

TEST(CodecLimits, OtherVersionsOfTheServiceAreUnknown) {
    EXPECT_NE(nullptr, wds_get_service_object_internal_v01(1, 241, 6));
    EXPECT_EQ(nullptr, wds_get_service_object_internal_v01(1, 241, 7));
    EXPECT_EQ(nullptr, wds_get_service_object_internal_v01(1, 240, 6));
    EXPECT_EQ(nullptr, wds_get_service_object_internal_v01(2, 241, 6));
}

}  // namespace
}  // namespace velo::mox
