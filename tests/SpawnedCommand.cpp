// SPDX-License-Identifier: Apache-2.0

#include "SpawnedCommand.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "Support.h"

namespace velo::test {

namespace {

using Pipe = std::array<mox::Descriptor, 2>;

Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(0, ::pipe2(ends.data(), O_CLOEXEC));
    return {mox::Descriptor(ends[0]), mox::Descriptor(ends[1])};
}

}  // namespace

SpawnedCommand::SpawnedCommand(const std::vector<std::string>& arguments, Streams streams)
    : SpawnedCommand(VELO_COMMAND, arguments, streams) {}

SpawnedCommand::SpawnedCommand(const std::string& program,
                               const std::vector<std::string>& arguments, Streams streams) {
    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    if (streams == Streams::Pipes) {
        usePipes(actions);
    } else {
        // The first terminal that the leader of a session opens becomes the one that controls it.
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
        useTerminal(actions);
    }
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    EXPECT_EQ(0, ::posix_spawnp(&mPid, argv[0], &actions, &attributes, argv.data(), environ));
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    mOfChild.clear();
    std::signal(SIGPIPE, SIG_IGN);
}

void SpawnedCommand::usePipes(posix_spawn_file_actions_t& actions) {
    Pipe input = makePipe();
    Pipe out = makePipe();
    Pipe err = makePipe();
    ::posix_spawn_file_actions_adddup2(&actions, input[0].get(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, out[1].get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, err[1].get(), STDERR_FILENO);
    mInput = std::move(input[1]);
    mOut.fd = std::move(out[0]);
    mErr.fd = std::move(err[0]);
    mOfChild.push_back(std::move(input[0]));
    mOfChild.push_back(std::move(out[1]));
    mOfChild.push_back(std::move(err[1]));
}

void SpawnedCommand::useTerminal(posix_spawn_file_actions_t& actions) {
    mOut.fd = mox::Descriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(0, ::grantpt(mOut.fd.get()));
    EXPECT_EQ(0, ::unlockpt(mOut.fd.get()));
    mInput = mox::Descriptor(::fcntl(mOut.fd.get(), F_DUPFD_CLOEXEC, 0));
    std::array<char, 64> path{};
    EXPECT_EQ(0, ::ptsname_r(mOut.fd.get(), path.data(), path.size()));
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, path.data(), O_RDWR, 0);
    ::posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDERR_FILENO);
}

SpawnedCommand::~SpawnedCommand() {
    if (mPid > 0) {
        ::kill(mPid, SIGKILL);
        ::waitpid(mPid, nullptr, 0);
    }
}

void SpawnedCommand::write(const std::string& text) {
    EXPECT_EQ(static_cast<ssize_t>(text.size()), ::write(mInput.get(), text.data(), text.size()));
}

void SpawnedCommand::signal(int number) {
    ::kill(mPid, number);
}

bool SpawnedCommand::waitForOut(const std::string& text) {
    return waitFor(mOut, text);
}

bool SpawnedCommand::waitForErr(const std::string& text) {
    return waitFor(mErr, text);
}

bool SpawnedCommand::waitFor(Stream& stream, const std::string& text) {
    for (;;) {
        const std::size_t at = stream.text.find(text, stream.seen);
        if (at != std::string::npos) {
            stream.seen = at + text.size();
            return true;
        }
        if (!pump()) {
            ADD_FAILURE() << "no '" << text << "' in:\n" << mOut.text << mErr.text;
            return false;
        }
    }
}

/// Reads what there is next. @return false when both streams have ended, or nothing comes in time
bool SpawnedCommand::pump() {
    std::array<pollfd, 2> waited{{{mOut.fd.get(), POLLIN, 0}, {mErr.fd.get(), POLLIN, 0}}};
    const auto bound = std::chrono::milliseconds(kBound).count();
    if (::poll(waited.data(), waited.size(), static_cast<int>(bound)) <= 0) {
        return false;
    }
    std::array<Stream*, 2> streams{&mOut, &mErr};
    for (std::size_t i = 0; i < streams.size(); ++i) {
        if (waited[i].revents == 0) {
            continue;
        }
        std::array<char, 65536> buffer;
        const ssize_t got = ::read(waited[i].fd, buffer.data(), buffer.size());
        if (got > 0) {
            streams[i]->text.append(buffer.data(), static_cast<std::size_t>(got));
        } else {
            streams[i]->fd.reset();
        }
    }
    return mOut.fd || mErr.fd;
}

SpawnedCommand::Result SpawnedCommand::finish() {
    mInput.reset();
    while (pump()) {
    }
    if (mOut.fd || mErr.fd) {
        ADD_FAILURE() << "the command does not end";
        ::kill(mPid, SIGKILL);
    }
    int status = 0;
    ::waitpid(mPid, &status, 0);
    mPid = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), mOut.text, mErr.text};
}

SpawnedCommand::Result runCommand(const std::vector<std::string>& arguments,
                                  const std::string& input) {
    SpawnedCommand command(arguments);
    command.write(input);
    return command.finish();
}

}  // namespace velo::test
