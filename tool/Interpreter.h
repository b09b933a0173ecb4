// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace velo::tool {

struct Context;

/// Parses one command line and carries it out; errors are printed, not thrown. Used by one thread.
class Interpreter {
public:
    explicit Interpreter(Context& context) : mContext(context) {}

    /// @param words the command line without the program's name
    /// @return the exit status
    int execute(const std::vector<std::string>& words);

    /// The same, with errors thrown as exceptions for a caller that words them.
    int parseAndRun(std::vector<std::string> words);

private:
    Context& mContext;
};

}  // namespace velo::tool
