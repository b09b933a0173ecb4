// SPDX-License-Identifier: Apache-2.0

#include "soak/Controller.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <array>
#include <nlohmann/json.hpp>

#include "host/mox/Descriptor.h"
#include "host/mox/Socket.h"
#include "modem/ProfileJson.h"

namespace velo::soak {

using nlohmann::json;

std::optional<json> Controller::order(const json& order) const {
    const mox::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address;
    // A modem that hangs must show as a failure, not as a soak without end.
    const timeval bound{10, 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
    if (!mox::makeAddress(mPath, address) ||
        ::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        return std::nullopt;
    }
    const std::string line = order.dump() + "\n";
    if (::send(socket.get(), line.data(), line.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(line.size())) {
        return std::nullopt;
    }
    std::string text;
    std::array<char, 65536> chunk;
    while (text.find('\n') == std::string::npos) {
        const ssize_t some = ::recv(socket.get(), chunk.data(), chunk.size(), 0);
        if (some <= 0) return std::nullopt;
        text.append(chunk.data(), static_cast<std::size_t>(some));
    }
    return json::parse(text);
}

std::optional<std::vector<modem::StoredProfile>> Controller::list() const {
    const auto answer = order({{"order", "list"}});
    if (!answer) return std::nullopt;
    std::vector<modem::StoredProfile> profiles;
    for (const json& profile : answer->at("profiles")) {
        profiles.push_back(modem::profileFromJson(profile));
    }
    return profiles;
}

}  // namespace velo::soak
