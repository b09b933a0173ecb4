// SPDX-License-Identifier: Apache-2.0

#include "tool/Output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "tool/CommandError.h"
#include "tool/GlobalOptions.h"
#include "tool/Table.h"

namespace velo::tool {

namespace {

void writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno == EPIPE) {
            throw Output::Closed{};
        }
        throw CommandError(kFailed,
                           std::string("the results cannot be written: ") + std::strerror(errno));
    }
}

}  // namespace

bool Output::json() const {
    return mOptions.json;
}

bool Output::isTerminal() const {
    return mFd >= 0 && ::isatty(mFd) == 1;
}

std::size_t Output::width() const {
    return terminalWidth(mFd);
}

bool Output::color() const {
    const char* refused = std::getenv("NO_COLOR");
    return isTerminal() && !mOptions.noColor && (refused == nullptr || *refused == '\0');
}

void Output::write(std::string_view text) {
    if (mFd >= 0) {
        writeAll(mFd, text);
    }
}

void Output::line(std::string_view text) {
    write(std::string(text) + "\n");
}

void Output::document(const nlohmann::json& json) {
    element(json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}

void Output::jsonLine(const nlohmann::json& json) {
    element(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void Output::element(const std::string& json) {
    if (mLists == 0) {
        return line(json);
    }
    line((mIsListEmpty ? "[" : ",") + json);
    mIsListEmpty = false;
}

ResultList::ResultList(Output& output, bool isWanted) : mOutput(output), mIsWanted(isWanted) {
    if (mIsWanted && mOutput.mLists++ == 0) {
        mOutput.mIsListEmpty = true;
    }
}

ResultList::~ResultList() {
    if (!mIsWanted || --mOutput.mLists > 0) {
        return;
    }
    try {
        mOutput.line(mOutput.mIsListEmpty ? "[]" : "]");
    } catch (const Output::Closed&) {
        // Whoever read the results is gone: there is no list to end.
    } catch (const CommandError& error) {
        mOutput.error(error.what());
        mOutput.mIsBroken = true;
    }
}

void Output::table(const Table& table) {
    write(table.render(width(), color()));
}

void Output::remark(std::string_view text) {
    try {
        writeAll(STDERR_FILENO, std::string(text) + "\n");
    } catch (const Closed&) {
        // Nobody listens to remarks: the results matter.
    } catch (const CommandError&) {
        // The same: there is no other place to complain.
    }
}

void Output::error(std::string_view text) {
    remark("velo: " + std::string(text));
}

std::size_t terminalWidth(int fd) {
    winsize size{};
    // What is no terminal refuses the question.
    const bool isKnown = ::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return isKnown ? size.ws_col : kUnlimited;
}

int takeStandardOutput() {
    const int results = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(STDOUT_FILENO);
    // Each opening takes the lowest descriptor that is free.
    int nowhere = 0;
    do {
        nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (nowhere >= 0 && nowhere < STDERR_FILENO);
    if (nowhere > STDERR_FILENO) {
        ::close(nowhere);
    }
    return results;
}

}  // namespace velo::tool
