// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <csignal>

namespace velo::tool {

/// While it lives, the signals that ask the program to stop (an interrupt, a request to terminate,
/// the loss of the terminal) are noted in place of what they did before, so that whatever works can
/// stop in order: release what it holds, and say what was done. Any thread may ask. One at a time
/// in a process.
class Interruption {
public:
    /// What check() throws.
    struct Raised {};

    /// While one lives, the signals end a system call that waits; otherwise they let it go on.
    class Breaking {
    public:
        Breaking();
        ~Breaking();
        Breaking(const Breaking&) = delete;
        Breaking& operator=(const Breaking&) = delete;
    };

    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Readable from the first signal on.
    int fd() const;
    bool isRaised() const;

    /// @throws Raised
    void check() const;

    /// The exit status that tells of the signal.
    int status() const;

    /// Puts an interrupt behind, as a shell does before its next line. A request to end the whole
    /// program stays.
    void forgetInterrupt();

private:
    std::array<struct sigaction, 3> mBefore{};
};

}  // namespace velo::tool
