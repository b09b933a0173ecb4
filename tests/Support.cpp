// SPDX-License-Identifier: Apache-2.0

#include "Support.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "LocalLogBuffer.h"
#include "host/mox/MoxHost.h"
#include "velo/AddProfileParams.h"
#include "velo/FilterProfileParams.h"

namespace velo::test {

bool waitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kBound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TemporaryFolder::TemporaryFolder()
    : mPath(std::filesystem::temp_directory_path() / "velo-test-XXXXXX") {
    EXPECT_NE(nullptr, ::mkdtemp(mPath.data()));
}

TemporaryFolder::~TemporaryFolder() {
    std::filesystem::remove_all(mPath);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& text) const {
    std::ofstream(*this / name, std::ios::binary) << text;
    return *this / name;
}

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct LogRecorder::Store {
    mutable std::mutex mutex;
    std::vector<Line> lines;
};

class LogRecorder::Writer : public LogWriter {
public:
    explicit Writer(std::shared_ptr<Store> store) : mStore(std::move(store)) {}
    void write(LogLevel level, std::string tag, std::string message) override {
        EXPECT_EQ(tag, "VELO");
        const std::lock_guard lock(mStore->mutex);
        mStore->lines.emplace_back(level, std::move(message));
    }
    int convertPrio(LogLevel level) override { return static_cast<int>(level); }

private:
    std::shared_ptr<Store> mStore;
};

LogRecorder::LogRecorder() : mStore(std::make_shared<Store>()) {
    LogWrapper::getInstance().setLogWriter(std::make_unique<Writer>(mStore));
}

LogRecorder::~LogRecorder() {
    LogWrapper::getInstance().setLogWriter(nullptr);
}

std::vector<LogRecorder::Line> LogRecorder::lines() const {
    const std::lock_guard lock(mStore->mutex);
    return mStore->lines;
}

std::size_t LogRecorder::count(LogLevel level, const std::string& text) const {
    const std::lock_guard lock(mStore->mutex);
    return static_cast<std::size_t>(
        std::count(mStore->lines.begin(), mStore->lines.end(), Line(level, text)));
}

std::vector<std::string> LogRecorder::texts(LogLevel level) const {
    std::vector<std::string> result;
    for (const auto& [lineLevel, text] : lines()) {
        if (lineLevel == level) result.push_back(text);
    }
    return result;
}

void LogRecorder::clear() {
    const std::lock_guard lock(mStore->mutex);
    mStore->lines.clear();
}

LibraryTest::LibraryTest(modem::ModemOptions options) : mModem(std::move(options)) {
    mox::setModemPath(mModem.socketPath());
    connect();
}

LibraryTest::~LibraryTest() {
    // The library outlives the test in its singleton; point it at nothing before the modem goes.
    mox::setModemPath("");
}

void LibraryTest::connect(int instance) {
    manager().init(instance, false);
    ASSERT_TRUE(waitUntil([&] { return !manager().filter(FilterProfileParams()).empty(); }))
        << "the cache was never filled";
}

void LibraryTest::settle() {
    // An indication about a profile that nobody has goes through the same socket and queue as
    // everything before it, and shows in the history once it was handled.
    static int round = 0;
    const wds_profile_identifier_v01 marker{WDS_PROFILE_TYPE_3GPP2,
                                            static_cast<std::uint8_t>(200 + round++ % 50)};
    const std::string line =
        "ProfileCache: onIndication < 3GPP2:" + std::to_string(marker.profile_index) + " Delete";
    const auto seen = [&] {
        const auto logs = LocalLogBuffer::getInstance().getLogs();
        return std::count_if(logs.begin(), logs.end(), [&](const std::string& log) {
            return log.size() >= line.size() &&
                   log.compare(log.size() - line.size(), line.size(), line) == 0;
        });
    };
    const auto before = seen();
    for (unsigned int subscription = 0; subscription < 2; ++subscription) {
        mModem.report(subscription, marker, WDS_PROFILE_EVENT_DELETE);
    }
    ASSERT_TRUE(waitUntil([&] { return seen() > before; })) << "an indication was never handled";
}

std::shared_ptr<IProfileKey> LibraryTest::add(const std::string& apn, bool persistent,
                                              TechType tech) {
    AddProfileParams params(persistent, tech, false);
    params.setApnName(apn);
    return manager().addProfile(params);
}

}  // namespace velo::test
