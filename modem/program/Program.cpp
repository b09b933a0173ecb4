// SPDX-License-Identifier: Apache-2.0

#include "modem/program/Program.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "modem/DecodeCommand.h"
#include "modem/Dissector.h"
#include "modem/ModemError.h"
#include "modem/OrderTable.h"
#include "modem/program/ControlCommand.h"
#include "modem/program/ManPage.h"
#include "modem/program/ProgramOptions.h"
#include "modem/program/ServeCommand.h"

namespace velo::modem {

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

std::string listOfOrders() {
    std::string text = "Orders:\n";
    for (const Order& order : orderTable()) {
        std::string words = "  " + std::string(order.name);
        for (const OrderMember& member : order.members) {
            words += std::string(member.required ? " " : " [") + member.name +
                     (member.required ? "" : "]");
        }
        text += words + "\n      " + order.summary + "\n";
    }
    return text + "\nExample:\n  velo-modem ctl reject create-profile --count 2";
}

/// The parser and what it fills.
class CommandLine {
public:
    CommandLine() {
        mApp.set_help_flag("-h,--help", "This help, or that of a command");
        mApp.set_version_flag("--version", "velo-modem " VELO_VERSION, "The version");
        mApp.require_subcommand(0, 1);
        mApp.get_formatter()->column_width(28);
        mApp.footer("velo-modem COMMAND --help tells more of a command.");
        mOptions.setup(mApp);
        mControl->footer(listOfOrders());
        mControl->prefix_command();
        mOptions.setupPlaces(*mControl);
        mDecode->add_option("FILE", mCapture, "The capture")->required();
        mDecode->add_flag("--json", mJson, "One JSON object a line");
        for (CLI::App* command : mApp.get_subcommands({})) {
            command->set_help_flag("-h,--help", "This help");
        }
    }

    /// @throws CLI::ParseError, and what the commands throw
    int run(int argc, const char* const* argv) {
        mApp.parse(argc, argv);
        if (mControl->parsed()) {
            return controlCommand(mOptions.control(), mControl->remaining(), std::cout);
        }
        if (mDecode->parsed()) {
            return decodeCommand(mCapture, std::cout, std::cerr,
                                 mJson ? DecodeFormat::JsonLines : DecodeFormat::Text);
        }
        if (mDissector->parsed() || mMan->parsed()) {
            std::cout << (mMan->parsed() ? manPage(mApp) : dissector());
            return kDone;
        }
        return serveCommand(mOptions);
    }

    std::string help() const {
        const auto chosen = mApp.get_subcommands();
        return chosen.empty() ? mApp.help() : chosen.front()->help("velo-modem");
    }

private:
    CLI::App mApp{"Runs a simulated modem with data profiles.", "velo-modem"};
    ProgramOptions mOptions;
    std::string mCapture;
    bool mJson = false;
    CLI::App* mControl = mApp.add_subcommand("ctl", "Sends an order to a running modem");
    CLI::App* mDecode = mApp.add_subcommand("decode", "Prints every frame of a capture");
    CLI::App* mDissector =
        mApp.add_subcommand("dissector", "Prints a dissector in Lua for Wireshark and tshark");
    CLI::App* mMan = mApp.add_subcommand("man", "Prints the manual page");
};

int complain(std::string what, int status) {
    std::replace(what.begin(), what.end(), '\n', ' ');
    std::cerr << "velo-modem: " << what << std::endl;
    return status;
}

int run(int argc, const char* const* argv) {
    CommandLine line;
    try {
        return line.run(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::cout << line.help();
        return kDone;
    } catch (const CLI::CallForVersion& version) {
        std::cout << version.what() << std::endl;
        return kDone;
    } catch (const CLI::ParseError& error) {
        return complain(std::string(error.what()) + " (see velo-modem --help)", kUsage);
    } catch (const ModemError& error) {
        return complain(error.what(), kUsage);
    } catch (const std::system_error& error) {
        return complain(error.what(), kFailed);
    }
}

}  // namespace

int runProgram(int argc, const char* const* argv) {
    const int status = run(argc, argv);
    // What was printed has to have arrived.
    return std::cout.flush() ? status : complain("the results cannot be written", kFailed);
}

}  // namespace velo::modem
