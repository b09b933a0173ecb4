// SPDX-License-Identifier: Apache-2.0

#include "modem/program/ServeCommand.h"

#include <unistd.h>

#include <csignal>
#include <iostream>
#include <utility>

#include "modem/ControlServer.h"
#include "modem/program/Notification.h"
#include "modem/program/ProgramOptions.h"

namespace velo::modem {

int serveCommand(ProgramOptions options) {
    // Blocked in every thread, they wait for the one that asks.
    sigset_t ends;
    ::sigemptyset(&ends);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        ::sigaddset(&ends, number);
    }
    ::sigprocmask(SIG_BLOCK, &ends, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    options.complete();
    options.modem.onStop = [] { ::kill(::getpid(), SIGTERM); };
    // Taken before the modem touches its files: they may be those of the modem that has it.
    ListenSocket controlSocket(options.controlPath, SOCK_STREAM);
    Modem modem(options.modem);
    const ControlServer control(std::move(controlSocket),
                                [&](const std::string& line) { return modem.control(line); });
    std::cout << "velo-modem: listening on " << modem.socketPath() << std::endl;
    notifyServiceManager("READY=1");
    int received = 0;
    ::sigwait(&ends, &received);
    notifyServiceManager("STOPPING=1");
    return 0;
}

}  // namespace velo::modem
