// SPDX-License-Identifier: Apache-2.0

#include "soak/ModemProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>
#include <vector>

namespace velo::soak {

ModemProcess::ModemProcess(std::string folder) : mFolder(std::move(folder)) {}

ModemProcess::~ModemProcess() {
    kill();
}

void ModemProcess::start(std::uint64_t seed, const std::string& faults) {
    std::vector<std::string> words{VELO_MODEM_COMMAND, "--socket", socket(),
                                   "--control",        control(),  "--state",
                                   mFolder + "/state", "--seed",   std::to_string(seed),
                                   "--faults",         faults};
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);

    const std::string complaints = mFolder + "/modem.err";
    posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, complaints.c_str(),
                                       O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int error =
        ::posix_spawn(&mPid, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        mPid = -1;
        throw std::system_error(error, std::generic_category(), arguments[0]);
    }
    ++mStarted;
}

std::string ModemProcess::kill() {
    if (mPid < 0) return {};
    ::kill(mPid, SIGKILL);
    int status = 0;
    ::waitpid(std::exchange(mPid, -1), &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return {};
    return "the modem ended by itself, wait status " + std::to_string(status) + ": " + lastWords();
}

std::string ModemProcess::lastWords() const {
    std::ifstream file(mFolder + "/modem.err");
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace velo::soak
