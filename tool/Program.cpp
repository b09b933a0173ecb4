// SPDX-License-Identifier: Apache-2.0

#include "tool/Program.h"

#include <clocale>
#include <csignal>
#include <string>
#include <vector>

#include "tool/Context.h"
#include "tool/GlobalOptions.h"
#include "tool/Interpreter.h"
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

    GlobalOptions options;
    Output output(options, takeStandardOutput());
    Session session(options, output);
    KeyRing keys;
    Context context{options, output, session, keys, false};
    return Interpreter(context).execute(std::vector<std::string>(argv + 1, argv + argc));
}

}  // namespace velo::tool
