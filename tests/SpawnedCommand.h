// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <spawn.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "host/mox/Descriptor.h"

namespace velo::test {

/// A program that a test runs beside itself: it is fed, read and interrupted while it works.
/// Whatever it is waited for has a bound. Used by one thread.
class SpawnedCommand {
public:
    struct Result {
        int status = -1;  ///< exit status, or 128 and the signal that ended it
        std::string out;
        std::string err;
    };

    /// A terminal stands for all three streams, its contents count as the standard output, and what
    /// is written to it is typed: "\x03" interrupts.
    enum class Streams { Pipes, Terminal };

    /// The built velo with these arguments.
    explicit SpawnedCommand(const std::vector<std::string>& arguments,
                            Streams streams = Streams::Pipes);
    SpawnedCommand(const std::string& program, const std::vector<std::string>& arguments,
                   Streams streams = Streams::Pipes);
    ~SpawnedCommand();
    SpawnedCommand(const SpawnedCommand&) = delete;
    SpawnedCommand& operator=(const SpawnedCommand&) = delete;

    pid_t pid() const { return mPid; }

    void write(const std::string& text);
    void signal(int number);

    /// Whether a stream came to hold `text` behind what an earlier wait on it has found.
    bool waitForOut(const std::string& text);
    bool waitForErr(const std::string& text);

    /// Whether the standard output holds `text` as far as it was read.
    bool heardOut(const std::string& text) const {
        return mOut.text.find(text) != std::string::npos;
    }

    /// Ends the input and waits for the end.
    Result finish();

private:
    struct Stream {
        mox::Descriptor fd;
        std::string text;
        std::size_t seen = 0;
    };

    void usePipes(posix_spawn_file_actions_t& actions);
    void useTerminal(posix_spawn_file_actions_t& actions);
    bool waitFor(Stream& stream, const std::string& text);
    bool pump();

    pid_t mPid = -1;
    std::vector<mox::Descriptor> mOfChild;  ///< until it has them
    mox::Descriptor mInput;
    Stream mOut;
    Stream mErr;
};

/// Runs velo with that input to its end.
SpawnedCommand::Result runCommand(const std::vector<std::string>& arguments,
                                  const std::string& input = "");

}  // namespace velo::test
