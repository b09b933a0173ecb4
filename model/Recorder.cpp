// SPDX-License-Identifier: Apache-2.0

#include "model/Recorder.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "LogWrapper.h"
#include "LogWriter.h"

namespace velo::model {

namespace {

constexpr std::chrono::seconds kBound{20};

bool isReliedOn(const Trace::Line& line) {
    const auto& [level, text] = line;
    return level != LogLevel::Debug || text.starts_with("velo ") ||
           text.starts_with("Found a match ") || text.starts_with("Did not find a match ");
}

}  // namespace

class Recorder::Writer : public LogWriter {
public:
    explicit Writer(std::shared_ptr<Store> store) : mStore(std::move(store)) {}
    void write(LogLevel level, std::string, std::string message) override {
        if (level == LogLevel::Verbose) return;
        const std::lock_guard lock(mStore->mutex);
        mStore->lines.emplace_back(level, std::move(message));
        mStore->changed.notify_all();
    }
    int convertPrio(LogLevel level) override { return static_cast<int>(level); }

private:
    const std::shared_ptr<Store> mStore;
};

Recorder::~Recorder() {
    LogWrapper::getInstance().setLogWriter(nullptr);
}

void Recorder::attach() {
    LogWrapper::getInstance().setLogWriter(std::make_unique<Writer>(mStore));
}

std::vector<Trace::Line> Recorder::take() {
    std::vector<Trace::Line> lines;
    {
        const std::lock_guard lock(mStore->mutex);
        lines.swap(mStore->lines);
    }
    std::erase_if(lines, [](const Trace::Line& line) { return !isReliedOn(line); });
    return lines;
}

void Recorder::waitForIndications(std::size_t count) {
    if (count == 0) return;
    wait(std::to_string(count) + " indications to be handled", [count](const auto& lines) {
        std::size_t handled = 0;
        bool isIdle = false;
        for (const auto& [level, text] : lines) {
            if (text.starts_with("ProfileCache: onIndication < ")) ++handled;
            if (text == "MoxWdsProxy: handleIndication indQueue.size[0]") {
                isIdle = handled >= count;
            }
        }
        return isIdle;
    });
}

void Recorder::waitFor(const std::string& text) {
    wait("the line '" + text + "'", [&text](const auto& lines) {
        return std::any_of(lines.begin(), lines.end(),
                           [&text](const Trace::Line& line) { return line.second == text; });
    });
}

void Recorder::wait(const std::string& what,
                    const std::function<bool(const std::vector<Trace::Line>&)>& isOver) {
    std::unique_lock lock(mStore->mutex);
    if (!mStore->changed.wait_for(lock, kBound, [&] { return isOver(mStore->lines); })) {
        throw Violation("nothing comes of it\n  expected: " + what);
    }
}

}  // namespace velo::model
