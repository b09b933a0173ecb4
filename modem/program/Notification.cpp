// SPDX-License-Identifier: Apache-2.0

#include "modem/program/Notification.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "host/mox/Descriptor.h"

namespace velo::modem {

void notifyServiceManager(const std::string& state) {
    const char* path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    const std::size_t length = path == nullptr ? 0 : std::strlen(path);
    if (length == 0 || length >= sizeof(address.sun_path)) {
        return;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, length);
    // A leading @ is how a name without a file is written; its first byte is zero.
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const mox::Descriptor socket(
        mox::clearOfStandardStreams(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)));
    ::sendto(socket.get(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
             reinterpret_cast<const sockaddr*>(&address),
             static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
}

}  // namespace velo::modem
