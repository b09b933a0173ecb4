// SPDX-License-Identifier: Apache-2.0

#include "modem/CaptureReader.h"

#include <cerrno>
#include <system_error>

#include "modem/CaptureFormat.h"
#include "modem/ModemError.h"

namespace velo::modem {

using namespace capture;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kBlockHead = 8;
constexpr std::size_t kSectionSize = 16;
constexpr std::size_t kInterfaceSize = 8;
constexpr std::size_t kOptionHead = 4;

/// No frame needs more, and a damaged length must not eat the memory.
constexpr std::uint32_t kLongestBlock = 16U * 1024 * 1024;

std::uint32_t number(Bytes bytes, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value |= static_cast<std::uint32_t>(bytes[at + i]) << (8 * i);
    }
    return value;
}

std::uint32_t u32(Bytes bytes, std::size_t at) {
    return number(bytes, at, 4);
}

}  // namespace

CaptureReader::CaptureReader(const std::string& path) : mPath(path) {
    errno = 0;
    mFile.open(path, std::ios::binary);
    // A folder can be opened, and tells only when it is read.
    if (!mFile || (mFile.peek(), mFile.bad())) {
        throw ModemError(path + ": " + std::generic_category().message(errno != 0 ? errno : EIO));
    }
    Block block{};
    if (!readBlock(block)) {
        fail("the file is empty, not a capture");
    }
    readSection(block.body);
}

std::optional<CapturedFrame> CaptureReader::next() {
    Block block{};
    while (readBlock(block)) {
        switch (block.type) {
            case kSectionHeader:
                readSection(block.body);
                break;
            case kInterfaceDescription:
                readInterface(block.body);
                break;
            case kEnhancedPacket:
                return readPacket(block.body);
            default:
                break;
        }
    }
    return std::nullopt;
}

bool CaptureReader::readBlock(Block& block) {
    mBlockAt = mNextAt;
    const auto read = [this](std::size_t from, std::size_t count) {
        mBytes.resize(from + count);
        mFile.read(reinterpret_cast<char*>(mBytes.data() + from),
                   static_cast<std::streamsize>(count));
        return static_cast<std::size_t>(mFile.gcount());
    };
    const std::size_t head = read(0, kBlockHead);
    if (head == 0) {
        return false;
    }
    const bool first = mBlockAt == 0;
    if (first && (head < sizeof(kSectionHeader) || u32(mBytes, 0) != kSectionHeader)) {
        fail("the file does not begin as a pcapng capture");
    }
    // A section header says its byte order before its length can be understood.
    if (head < kBlockHead || (u32(mBytes, 0) == kSectionHeader && read(kBlockHead, 4) < 4)) {
        fail("the block is cut short");
    }
    const std::uint32_t length = checkedLength(mBytes);
    const std::size_t have = mBytes.size();
    if (read(have, length - have) < length - have) {
        fail("the block is cut short");
    }
    if (u32(mBytes, length - sizeof(length)) != length) {
        fail("the block's two lengths differ");
    }
    mNextAt = mBlockAt + length;
    block = {u32(mBytes, 0), Bytes(mBytes).subspan(kBlockHead, length - kBlockFrame)};
    return true;
}

std::uint32_t CaptureReader::checkedLength(Bytes head) const {
    const bool section = u32(head, 0) == kSectionHeader;
    if (section && u32(head, kBlockHead) != kByteOrderMagic) {
        fail("the section is not little-endian");
    }
    const std::uint32_t length = u32(head, sizeof(std::uint32_t));
    const std::size_t least = kBlockFrame + (section ? kSectionSize : 0);
    if (length < least || length % 4 != 0 || length > kLongestBlock) {
        fail("a block cannot be " + std::to_string(length) + " bytes long");
    }
    return length;
}

void CaptureReader::readSection(Bytes body) {
    if (number(body, sizeof(kByteOrderMagic), 2) != kMajorVersion) {
        fail("the section has an unknown version");
    }
    mInterfaces = 0;
}

void CaptureReader::readInterface(Bytes body) {
    if (body.size() < kInterfaceSize) {
        fail("the interface is cut short");
    }
    if (const auto type = number(body, 0, 2); type != kLinkType) {
        fail("the capture holds packets of link type " + std::to_string(type) +
             ", not a modem's frames");
    }
    bool nanoseconds = false;
    auto rest = body.subspan(kInterfaceSize);
    while (rest.size() >= kOptionHead && number(rest, 0, 2) != kEndOfOptions) {
        const std::size_t length = number(rest, 2, 2);
        const std::size_t padded = kOptionHead + length + padding(length);
        if (padded > rest.size()) {
            fail("an option of the interface is cut short");
        }
        if (number(rest, 0, 2) == kTimeResolution) {
            nanoseconds = length == 1 && rest[kOptionHead] == kNanoseconds;
        }
        rest = rest.subspan(padded);
    }
    if (!nanoseconds) {
        fail("the times are not nanoseconds");
    }
    ++mInterfaces;
}

CapturedFrame CaptureReader::readPacket(Bytes body) const {
    if (body.size() < kPacketHead) {
        fail("the packet is cut short");
    }
    if (u32(body, 0) >= mInterfaces) {
        fail("the packet belongs to an interface that the capture does not have");
    }
    const std::size_t length = u32(body, 12);
    if (length > body.size() - kPacketHead) {
        fail("the packet is longer than its block");
    }
    if (length < kPseudoHeader) {
        fail("the packet has no room for its client, direction and subscription");
    }
    const auto packet = body.subspan(kPacketHead, length);
    if (packet[4] > static_cast<std::uint8_t>(Direction::FromModem)) {
        fail("the packet has an unknown direction");
    }
    CapturedFrame frame;
    frame.time = std::uint64_t{u32(body, 4)} << 32 | u32(body, 8);
    frame.client = u32(packet, 0);
    frame.direction = static_cast<Direction>(packet[4]);
    if (packet[5] != kNoSubscription) {
        frame.subscription = packet[5];
    }
    frame.bytes.assign(packet.begin() + kPseudoHeader, packet.end());
    return frame;
}

void CaptureReader::fail(const std::string& what) const {
    throw ModemError(mPath + ": at byte " + std::to_string(mBlockAt) + ": " + what);
}

}  // namespace velo::modem
