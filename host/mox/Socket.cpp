// SPDX-License-Identifier: Apache-2.0

#include "host/mox/Socket.h"

#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace velo::mox {

bool makeAddress(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        errno = path.empty() ? ENOENT : ENAMETOOLONG;
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

Descriptor makeSocket() {
    return Descriptor(clearOfStandardStreams(
        ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)));
}

Descriptor connectTo(const std::string& path) {
    sockaddr_un address;
    if (!makeAddress(path, address)) {
        return {};
    }
    Descriptor fd = makeSocket();
    if (fd && ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address))) {
        const int error = errno;
        fd.reset();
        errno = error;
    }
    return fd;
}

int sendFrame(int fd, const Frame& frame) {
    auto header = frame.header();
    iovec parts[] = {{header.data(), header.size()},
                     {const_cast<std::uint8_t*>(frame.payload.data()), frame.payload.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    while (::sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

Received receiveFrame(int fd, std::vector<std::uint8_t>& buffer, Frame& frame,
                      std::span<const std::uint8_t>* packet) {
    buffer.resize(kMaxFrameSize);
    iovec part{buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    ssize_t length = 0;
    do {
        length = ::recvmsg(fd, &message, 0);
    } while (length < 0 && errno == EINTR);
    if (length < 0) {
        return errno == EAGAIN ? Received::Nothing : Received::Lost;
    }
    if (length == 0) {
        return Received::Lost;
    }
    const std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(length));
    if (packet != nullptr) {
        *packet = bytes;
    }
    if (auto whole = Frame::unpack(bytes)) {
        frame = std::move(*whole);
        return Received::Whole;
    }
    frame = {};
    if (bytes.size() >= Frame::kHeaderSize) {
        std::array<std::uint8_t, Frame::kHeaderSize> header{};
        std::copy_n(bytes.begin(), header.size() - sizeof(std::uint32_t), header.begin());
        frame = Frame::unpack(header).value_or(Frame{});
    }
    return Received::Damaged;
}

}  // namespace velo::mox
