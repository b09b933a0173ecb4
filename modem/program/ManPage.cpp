// SPDX-License-Identifier: Apache-2.0

#include "modem/program/ManPage.h"

#include <CLI/CLI.hpp>
#include <string_view>

#include "modem/Fault.h"
#include "modem/OrderTable.h"
#include "modem/Roff.h"

namespace velo::modem {

namespace {

constexpr const char* kOpening = R"(.TH VELO-MODEM 1 "" "velo )" VELO_VERSION R"(" "User Commands"
.ad l
.nh
.SH NAME
velo\-modem \- a simulated modem with data profiles
.SH SYNOPSIS
.B velo\-modem
[\fIOPTIONS\fR]
.br
.B velo\-modem
\fICOMMAND\fR [\fIARGUMENTS\fR]
.SH DESCRIPTION
.B velo\-modem
runs a modem in the foreground until SIGTERM, SIGINT or SIGHUP.
It prints one line when clients can connect, and tells a service manager so when NOTIFY_SOCKET is set.
Its sockets are for its user alone; that of a modem that died is taken over, that of a live one never.
.PP
On its control channel it is told to misbehave: each line is an order in JSON, and is answered with a line.
)";

constexpr const char* kFiles = R"(.SH EXIT STATUS
.TP
.B 0
Done; stopped as asked.
.TP
.B 1
The modem cannot run, or an order was answered with an error.
.TP
.B 2
The command line or a file is wrong.
.SH ENVIRONMENT
.TP
.B MOX_MODEM
The modem's socket when \fB\-\-socket\fR is not given.
.TP
.B XDG_RUNTIME_DIR
The folder of the socket when neither says it.
.TP
.B NOTIFY_SOCKET
Where a service manager waits to hear that the modem is ready.
.SH SEE ALSO
.BR velo (1)
)";

std::string optionsOf(const CLI::App& app) {
    std::string text;
    for (const CLI::Option* option : app.get_options()) {
        const bool positional = option->get_positional();
        const std::string name = option->get_name(positional, !positional);
        const std::string type = option->get_type_size() == 0 || positional
                                     ? ""
                                     : " \\fI" + roff::escaped(option->get_type_name()) + "\\fR";
        text += roff::paragraph(roff::bold(name) + type, option->get_description());
    }
    return text;
}

std::string orders() {
    std::string text = ".SH ORDERS\nOn a command line the members of an order are given as ";
    text +=
        roff::bold("--name value") + ", or by their values alone in the order in which they stand ";
    text += "here.\nThe answer is {\"ok\": true, ...} or {\"error\": \"why\"}; an order that is ";
    text += "answered with an error has changed nothing.\n";
    for (const Order& order : orderTable()) {
        text += ".SS " + std::string(order.name) + "\n" + roff::escaped(order.summary) + ".\n";
        for (const OrderMember& member : order.members) {
            const char* need = member.required ? "" : " (may be absent)";
            text += roff::paragraph(roff::bold(member.name) + need, member.summary);
        }
        text += ".PP\n.RS\n.nf\n" + roff::escaped(order.example) + "\n.fi\n.RE\n";
    }
    return text;
}

std::string faults() {
    std::string text = ".SH FAULTS\nTheir chances are given with " + roff::bold("--faults") +
                       " and by the order chance.\n";
    for (const FaultDefinition& fault : kFaults) {
        text += roff::paragraph(roff::bold(fault.name), fault.summary);
    }
    return text;
}

}  // namespace

std::string manPage(const CLI::App& app) {
    std::string page = kOpening;
    page += ".SH OPTIONS\n" + optionsOf(app) + ".SH COMMANDS\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        page += ".SS " + command->get_name() + "\n" + roff::escaped(command->get_description()) +
                ".\n" + optionsOf(*command);
    }
    return page + orders() + faults() + kFiles;
}

}  // namespace velo::modem
