// SPDX-License-Identifier: Apache-2.0
//
// Any lines on the control channel of a live modem: each is answered with one line of JSON, and
// the modem goes on.

#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

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
    Controlled()
        : mServer(mPath, [this](const std::string& line) { return mModem.control(line); }) {
        sockaddr_un address;
        ensure(mox::makeAddress(mPath, address) &&
                   ::connect(mSocket.get(), reinterpret_cast<const sockaddr*>(&address),
                             sizeof(address)) == 0,
               "the control channel can be reached");
    }

    void order(const std::string& line) {
        const std::string sent = line + "\n";
        ensure(::send(mSocket.get(), sent.data(), sent.size(), MSG_NOSIGNAL) ==
                   static_cast<ssize_t>(sent.size()),
               "an order is taken");
        const auto answer = nlohmann::json::parse(receive(), nullptr, false);
        ensure(answer.is_object() && (answer.contains("ok") || answer.contains("error")),
               "an order is answered");
    }

private:
    std::string receive() const {
        std::string answer;
        while (answer.empty() || answer.back() != '\n') {
            char part[4096];
            const ssize_t got = ::recv(mSocket.get(), part, sizeof part, 0);
            // The fuzzer's own clock interrupts.
            if (got < 0 && errno == EINTR) continue;
            ensure(got > 0, "the control channel stays open");
            answer.append(part, static_cast<std::size_t>(got));
        }
        ensure(answer.find('\n') + 1 == answer.size(), "an answer is one line");
        return answer;
    }

    modem::Modem mModem;
    const std::string mPath = mModem.socketPath() + ".control";
    modem::ControlServer mServer;
    const mox::Descriptor mSocket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

}  // namespace
}  // namespace velo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velo::fuzz;
    static std::unique_ptr<Controlled> modem;
    static int age = 0;
    if (age++ % kLifetime == 0) modem = std::make_unique<Controlled>();
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    for (std::string line; std::getline(lines, line);) {
        modem->order(line);
    }
    return 0;
}
