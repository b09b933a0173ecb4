// SPDX-License-Identifier: Apache-2.0

#include "modem/Capture.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>

#include "modem/CaptureFormat.h"
#include "modem/ModemError.h"

namespace velo::modem {

using namespace capture;

namespace {

constexpr mode_t kOwnerOnly = 0600;

/// Builds one block in a buffer that is kept, so that it is allocated once.
class Block {
public:
    Block(std::vector<std::uint8_t>& bytes, std::uint32_t type) : mBytes(bytes) {
        mBytes.clear();
        u32(type).u32(0);
    }

    Block& u8(std::uint8_t value) { return number(value, 1); }
    Block& u16(std::uint16_t value) { return number(value, 2); }
    Block& u32(std::uint32_t value) { return number(value, 4); }
    Block& u64(std::uint64_t value) { return number(value, 8); }

    Block& add(std::span<const std::uint8_t> part) {
        mBytes.insert(mBytes.end(), part.begin(), part.end());
        return *this;
    }

    Block& pad() {
        mBytes.resize(mBytes.size() + padding(mBytes.size()));
        return *this;
    }

    Block& option(std::uint16_t code, std::span<const std::uint8_t> value) {
        return u16(code).u16(static_cast<std::uint16_t>(value.size())).add(value).pad();
    }

    std::span<const std::uint8_t> finish() {
        const auto length = static_cast<std::uint32_t>(mBytes.size() + sizeof(std::uint32_t));
        u32(length);
        for (std::size_t i = 0; i < sizeof(length); ++i) {
            mBytes[sizeof(length) + i] = static_cast<std::uint8_t>(length >> (8 * i));
        }
        return mBytes;
    }

private:
    Block& number(std::uint64_t value, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i) {
            mBytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
        return *this;
    }

    std::vector<std::uint8_t>& mBytes;
};

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

Capture::Capture(const std::string& path)
    : mPath(path),
      mFile(mox::clearOfStandardStreams(
          ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kOwnerOnly))) {
    int error = mFile ? startAnew() : errno;
    if (error == 0) {
        constexpr auto kUnknownLength = ~std::uint64_t{0};
        error = write(Block(mBlock, kSectionHeader)
                          .u32(kByteOrderMagic)
                          .u16(kMajorVersion)
                          .u16(0)
                          .u64(kUnknownLength)
                          .finish());
    }
    if (error == 0) {
        const std::uint8_t resolution[] = {kNanoseconds};
        error = write(Block(mBlock, kInterfaceDescription)
                          .u16(kLinkType)
                          .u16(0)
                          .u32(0)
                          .option(kInterfaceName, bytesOf("modem"))
                          .option(kTimeResolution, resolution)
                          .option(kEndOfOptions, {})
                          .finish());
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "capture " + path);
    }
}

Capture::~Capture() {
    // A forked child may hold the descriptor as well, and with it the lock.
    ::flock(mFile.get(), LOCK_UN);
}

/// Empties an ordinary file that nobody else writes to. The errno of what failed, or zero.
int Capture::startAnew() {
    struct stat status {};
    if (::fstat(mFile.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return 0;
    }
    if (::flock(mFile.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        throw ModemError("capture " + mPath + ": is in use by another modem");
    }
    return ::ftruncate(mFile.get(), 0) == 0 ? 0 : errno;
}

void Capture::record(std::uint32_t client, Direction direction,
                     std::optional<std::uint8_t> subscription,
                     std::span<const std::uint8_t> packet) {
    if (!mFile) {
        return;
    }
    const auto time = now();
    const auto length = static_cast<std::uint32_t>(kPseudoHeader + packet.size());
    const bool inbound = direction == Direction::ToModem;
    const int error = write(Block(mBlock, kEnhancedPacket)
                                .u32(0)
                                .u32(static_cast<std::uint32_t>(time >> 32))
                                .u32(static_cast<std::uint32_t>(time))
                                .u32(length)
                                .u32(length)
                                .u32(client)
                                .u8(static_cast<std::uint8_t>(direction))
                                .u8(subscription.value_or(kNoSubscription))
                                .add(packet)
                                .pad()
                                .u16(kPacketFlags)
                                .u16(sizeof(std::uint32_t))
                                .u32(inbound ? kInbound : kOutbound)
                                .option(kEndOfOptions, {})
                                .finish());
    if (error == 0) {
        return;
    }
    std::fprintf(stderr, "velo-modem: capture %s stopped: %s\n", mPath.c_str(),
                 std::generic_category().message(error).c_str());
    mFile.reset();
}

std::uint64_t Capture::now() const {
    const auto passed = std::chrono::steady_clock::now() - mStartedSteady;
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(mStarted.time_since_epoch() + passed)
            .count());
}

/// The errno, with the file cut back to its whole blocks; zero when the block is in it.
int Capture::write(std::span<const std::uint8_t> block) {
    auto rest = block;
    while (!rest.empty()) {
        const ssize_t written = ::write(mFile.get(), rest.data(), rest.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            const int error = errno;
            [[maybe_unused]] const int cut = ::ftruncate(mFile.get(), static_cast<off_t>(mSize));
            return error;
        }
        rest = rest.subspan(static_cast<std::size_t>(written));
    }
    mSize += block.size();
    return 0;
}

}  // namespace velo::modem
