// SPDX-License-Identifier: Apache-2.0
//
// What the tests share: a recorder for the log, a bounded wait, and a fixture with a modem of its
// own and the library connected to it. Each test is a process of its own when it runs through the
// public script.

#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LogWrapper.h"
#include "LogWriter.h"
#include "modem/Modem.h"
#include "velo/Manager.h"

namespace velo::test {

/// The bound of every wait: long enough for a loaded machine, a sanitizer or an emulator.
inline constexpr std::chrono::seconds kBound{60};

/// Whether `condition` came true within the bound.
bool waitUntil(const std::function<bool()>& condition);

/// A folder that goes with the test.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return mPath; }
    std::string operator/(const std::string& name) const { return mPath + "/" + name; }

    /// Writes a file; its path.
    std::string write(const std::string& name, const std::string& text) const;

private:
    std::string mPath;
};

/// All that a file holds.
std::string textOf(const std::string& path);

/// Collects every line that is logged while it lives. Manager::init replaces the writer: make it
/// after.
class LogRecorder {
public:
    using Line = std::pair<LogLevel, std::string>;

    LogRecorder();
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    std::vector<Line> lines() const;
    std::size_t count(LogLevel level, const std::string& text) const;
    bool has(LogLevel level, const std::string& text) const { return count(level, text) > 0; }

    /// All lines of one level, in order.
    std::vector<std::string> texts(LogLevel level) const;
    void clear();

private:
    struct Store;
    class Writer;
    std::shared_ptr<Store> mStore;
};

/// A modem and the library connected to it, its cache filled.
class LibraryTest : public ::testing::Test {
protected:
    explicit LibraryTest(modem::ModemOptions options = {});
    ~LibraryTest() override;

    /// Connects the library to subscription `instance` anew and waits for its cache.
    void connect(int instance = 0);

    /// Waits until everything that the modem has sent before this call was handled by the worker.
    void settle();

    Manager& manager() { return Manager::getInstance(); }
    modem::Modem& modem() { return mModem; }

    std::shared_ptr<IProfileKey> add(const std::string& apn, bool persistent = false,
                                     TechType tech = TechType::TECH_3GPP);

private:
    modem::Modem mModem;
};

}  // namespace velo::test
