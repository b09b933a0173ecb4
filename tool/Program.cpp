// SPDX-License-Identifier: Apache-2.0

#include "tool/Program.h"

#include <clocale>
#include <csignal>
#include <string>
#include <vector>

#include "tool/CommandError.h"
#include "tool/Context.h"
#include "tool/GlobalOptions.h"
#include "tool/Interpreter.h"
#include "tool/Interruption.h"
#include "tool/KeyRing.h"
#include "tool/Output.h"
#include "tool/Session.h"

namespace velo::tool {

int run(int argc, const char* const* argv) {
    // The width of a character is a matter of the character set alone; numbers stay as they are.
    if (std::setlocale(LC_CTYPE, "") == nullptr || MB_CUR_MAX == 1) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
    std::signal(SIGPIPE, SIG_IGN);

    const int results = takeStandardOutput();
    GlobalOptions options;
    Output output(options, results);
    if (results < 0) {
        output.error("the standard output is closed: the results have no place to go");
        return kFailed;
    }
    Interruption interruption;
    Session session(options, output, interruption);
    KeyRing keys;
    Context context{options, output, session, keys, interruption, false};
    const int status =
        Interpreter(context).execute(std::vector<std::string>(argv + 1, argv + argc));
    return status == kDone && output.isBroken() ? kFailed : status;
}

}  // namespace velo::tool
