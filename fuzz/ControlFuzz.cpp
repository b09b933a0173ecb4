// SPDX-License-Identifier: Apache-2.0
//
// Any lines on the control channel of a live modem: each is answered with one line of JSON, and
// the modem goes on.

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "fuzz/Input.h"
#include "host/mox/Socket.h"
#include "modem/ControlServer.h"
#include "modem/Modem.h"

namespace velo::fuzz {
namespace {

/// What a modem is told stays with it: now and then there is a new one.
constexpr int kLifetime = 2000;

class Controlled {
public:
    Controlled() {
        sockaddr_un address;
        ensure(mox::makeAddress(mPath, address) &&
                   ::connect(mSocket.get(), reinterpret_cast<const sockaddr*>(&address),
                             sizeof(address)) == 0,
               "the control channel can be reached");
    }

    void order(const std::string& lines) const {
        ensure(::send(mSocket.get(), lines.data(), lines.size(), MSG_NOSIGNAL) ==
                   static_cast<ssize_t>(lines.size()),
               "orders are taken");
        std::istringstream answers(receive(std::count(lines.begin(), lines.end(), '\n')));
        for (std::string line; std::getline(answers, line);) {
            const auto answer = nlohmann::json::parse(line, nullptr, false);
            ensure(answer.is_object() && (answer.contains("ok") || answer.contains("error")),
                   "an order is answered");
        }
    }

private:
    std::string receive(std::ptrdiff_t lines) const {
        std::string answers;
        while (lines > 0) {
            char part[16384];
            const ssize_t got = ::recv(mSocket.get(), part, sizeof part, 0);
            // The fuzzer's own clock interrupts.
            if (got < 0 && errno == EINTR) continue;
            ensure(got > 0, "the control channel stays open");
            lines -= std::count(part, part + got, '\n');
            answers.append(part, static_cast<std::size_t>(got));
        }
        ensure(lines == 0 && answers.back() == '\n', "an answer is one line");
        return answers;
    }

    modem::Modem mModem;
    const std::string mPath = mModem.socketPath() + ".control";
    const modem::ControlServer mServer{
        modem::ListenSocket(mPath, SOCK_STREAM),
        [this](const std::string& line) { return mModem.control(line); }};
    const mox::Descriptor mSocket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

}  // namespace

void run(Bytes bytes) {
    static std::unique_ptr<Controlled> modem;
    static int age = 0;
    if (age++ % kLifetime == 0) modem = std::make_unique<Controlled>();
    modem->order(textOf(bytes) + "\n");
}

}  // namespace velo::fuzz
