// SPDX-License-Identifier: Apache-2.0

#include "modem/program/ControlCommand.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <ostream>
#include <system_error>

#include "host/mox/Socket.h"
#include "modem/ModemError.h"
#include "modem/OrderTable.h"

namespace velo::modem {

namespace {

using nlohmann::json;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

json valueOf(const OrderMember& member, const std::string& word) {
    if (member.kind == MemberKind::Text) {
        return word;
    }
    json value = json::parse(word, nullptr, false);
    if (value.is_discarded()) {
        throw ModemError("'" + word + "' is not JSON, as " + member.name + " must be");
    }
    return value;
}

const OrderMember* find(const Order& order, const std::string& name) {
    const auto found = std::find_if(order.members.begin(), order.members.end(),
                                    [&](const OrderMember& known) { return name == known.name; });
    return found == order.members.end() ? nullptr : &*found;
}

/// The first member that has no value yet.
const OrderMember* nextOf(const Order& order, const json& given) {
    const auto found =
        std::find_if(order.members.begin(), order.members.end(),
                     [&](const OrderMember& known) { return !given.contains(known.name); });
    return found == order.members.end() ? nullptr : &*found;
}

const Order& named(const std::string& name) {
    if (const Order* order = findOrder(name)) {
        return *order;
    }
    std::string known;
    for (const Order& order : orderTable()) {
        known += (known.empty() ? "" : ", ") + std::string(order.name);
    }
    throw ModemError("there is no order '" + name + "'; the orders are " + known);
}

void sendLine(int fd, std::string line) {
    line += '\n';
    for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t some = ::send(fd, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (some < 0) {
            fail("the order cannot be sent");
        }
        sent += static_cast<std::size_t>(some);
    }
}

std::string receiveLine(int fd) {
    std::string text;
    std::array<char, 65536> chunk;
    while (text.find('\n') == std::string::npos) {
        const ssize_t some = ::recv(fd, chunk.data(), chunk.size(), 0);
        if (some <= 0) {
            errno = some == 0 ? ECONNRESET : errno;
            fail("the modem does not answer");
        }
        text.append(chunk.data(), static_cast<std::size_t>(some));
    }
    return text.substr(0, text.find('\n'));
}

}  // namespace

std::string orderFromWords(const std::vector<std::string>& words) {
    if (words.empty()) {
        throw ModemError("which order? See velo-modem ctl --help");
    }
    if (words.front().starts_with('{')) {
        if (words.size() > 1) {
            throw ModemError("nothing can follow an order in JSON");
        }
        std::string line = words.front();
        std::replace(line.begin(), line.end(), '\n', ' ');
        return line;
    }
    const Order& order = named(words.front());
    json given{{"order", order.name}};
    for (std::size_t i = 1; i < words.size(); ++i) {
        const bool byName = words[i].starts_with("--");
        const OrderMember* member = byName ? find(order, words[i].substr(2)) : nextOf(order, given);
        if (member == nullptr) {
            throw ModemError("'" + words[i] + "' is not expected by " + order.name);
        }
        if (byName && ++i == words.size()) {
            throw ModemError("--" + std::string(member->name) + " needs a value");
        }
        given[member->name] = valueOf(*member, words[i]);
    }
    for (const OrderMember& member : order.members) {
        if (member.required && !given.contains(member.name)) {
            throw ModemError(std::string(order.name) + " needs " + member.name + ": " +
                             member.summary);
        }
    }
    return given.dump(-1, ' ', false, json::error_handler_t::replace);
}

int controlCommand(const std::string& path, const std::vector<std::string>& words,
                   std::ostream& out) {
    const std::string order = orderFromWords(words);
    sockaddr_un address;
    const mox::Descriptor socket(
        mox::clearOfStandardStreams(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    if (!mox::makeAddress(path, address) ||
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) !=
            0) {
        fail("no modem is there to take the order, on " + path);
    }
    sendLine(socket.get(), order);
    const std::string answer = receiveLine(socket.get());
    out << answer << std::endl;
    return json::parse(answer, nullptr, false).contains("error") ? 1 : 0;
}

}  // namespace velo::modem
