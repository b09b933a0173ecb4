// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace velo::tool {

struct GlobalOptions;
class Table;

/// Where a command's results and remarks go. Results that nobody reads any more end the command
/// quietly. Used by one thread.
class Output {
public:
    /// Thrown by a write when the reader of the results is gone.
    struct Closed {};

    /// @param fd where results go; stays the caller's. Negative for nowhere.
    Output(const GlobalOptions& options, int fd) : mOptions(options), mFd(fd) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    bool json() const;
    bool isTerminal() const;
    /// Columns of the terminal; without one there is no limit.
    std::size_t width() const;
    bool color() const;

    void write(std::string_view text);
    void line(std::string_view text);
    void document(const nlohmann::json& json);
    /// One JSON object on one line, for results that come one at a time.
    void jsonLine(const nlohmann::json& json);
    void table(const Table& table);

    /// Whether results were lost where no command could be told.
    bool isBroken() const { return mIsBroken; }

    /// Remarks and errors go to the standard error.
    void remark(std::string_view text);
    void error(std::string_view text);

private:
    friend class ResultList;

    void element(const std::string& json);

    const GlobalOptions& mOptions;
    int mFd;
    unsigned int mLists = 0;
    bool mIsListEmpty = true;
    bool mIsBroken = false;
};

/// While one lives, every JSON result is an element of one array, each from a line of its own on:
/// for commands that have more than one result. A list within a list is part of it.
class ResultList {
public:
    /// @param isWanted false makes it do nothing
    ResultList(Output& output, bool isWanted);
    ~ResultList();
    ResultList(const ResultList&) = delete;
    ResultList& operator=(const ResultList&) = delete;

private:
    Output& mOutput;
    bool mIsWanted;
};

/// Columns of the terminal that a descriptor leads to; kUnlimited when it leads elsewhere.
std::size_t terminalWidth(int fd);

/// Takes the standard output for the program's results and leaves descriptor 1 leading nowhere
/// until the process has ended, because the library writes there on its own account, at the very
/// end, too. Where the standard input or error is closed, that leads nowhere from then on as well:
/// what is opened later must not be taken for it.
/// @return the descriptor for the results; negative when the standard output was closed
int takeStandardOutput();

}  // namespace velo::tool
