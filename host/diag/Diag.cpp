// SPDX-License-Identifier: Apache-2.0
//
// The diagnostic service of a workstation: one line a message, appended to the file that DIAG_LOG
// names when the first user opens the service.

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>

#include "diag/diag.h"
#include "host/mox/Descriptor.h"

namespace {

/// What is logged may tell passwords.
constexpr mode_t kOwnerOnly = 0600;

std::string timeText() {
    timeval now{};
    ::gettimeofday(&now, nullptr);
    tm local{};
    ::localtime_r(&now.tv_sec, &local);
    char date[32];
    const std::size_t length = std::strftime(date, sizeof(date), "%Y-%m-%d %H:%M:%S", &local);
    char milliseconds[8];
    std::snprintf(milliseconds, sizeof(milliseconds), ".%03d",
                  static_cast<int>(now.tv_usec / 1000 % 1000));
    return std::string(date, length) + milliseconds;
}

/// The open log and its users. One for the process, never destroyed, because messages may be sent
/// until the process ends.
class Log {
public:
    static Log& getInstance() {
        static auto* const instance = new Log;
        return *instance;
    }

    void open() {
        const std::lock_guard lock(mMutex);
        if (mUsers++ == 0) {
            mFd = openFile();
        }
    }

    bool close() {
        const std::lock_guard lock(mMutex);
        if (mUsers == 0) {
            return false;
        }
        if (--mUsers == 0 && mFd >= 0) {
            ::close(mFd.exchange(-1));
        }
        return true;
    }

    /// Without the lock: every line of the library asks.
    bool listening() const { return mFd >= 0; }

    /// Writes the time and `text` as a line.
    void append(const std::string& text) {
        // The time is taken under the lock, too: lines are in its order, and no thread is within
        // the C library's time zone lock when the process forks.
        const std::lock_guard lock(mMutex);
        if (mFd >= 0) {
            const std::string line = timeText() + ' ' + text + '\n';
            // A full disk loses the line: a log must not stop who logs.
            [[maybe_unused]] const ssize_t written = ::write(mFd, line.data(), line.size());
        }
    }

private:
    Log() {
        // A fork while another thread writes would leave the lock held for ever in the child.
        ::pthread_atfork([] { getInstance().mMutex.lock(); }, [] { getInstance().mMutex.unlock(); },
                         [] { getInstance().mMutex.unlock(); });
    }

    static int openFile() {
        const char* path = std::getenv("DIAG_LOG");
        if (path == nullptr || *path == '\0') {
            return -1;
        }
        const int fd = velo::mox::clearOfStandardStreams(::open(
            path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kOwnerOnly));
        struct stat status {};
        // A pipe would raise a signal in this process when its reader leaves.
        if (fd >= 0 && (::fstat(fd, &status) != 0 || S_ISFIFO(status.st_mode))) {
            ::close(fd);
            return -1;
        }
        return fd;
    }

    std::mutex mMutex;
    unsigned int mUsers = 0;
    std::atomic<int> mFd = -1;
};

std::string format(const char* pattern, const char* tag, const char* text) {
    const int length = std::snprintf(nullptr, 0, pattern, tag, text);
    if (length < 0) {
        return {};
    }
    std::string result(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(result.data(), result.size(), pattern, tag, text);
    result.pop_back();
    return result;
}

void appendEscaped(std::string& line, const std::string& text) {
    for (const char c : text) {
        switch (c) {
            case '\n':
                line += "\\n";
                break;
            case '\r':
                line += "\\r";
                break;
            default:
                line += c;
        }
    }
}

}  // namespace

uint8_t Diag_LSM_Init(uint8_t*) {
    Log::getInstance().open();
    return 1;
}

uint8_t Diag_LSM_DeInit(void) {
    return Log::getInstance().close() ? 1 : 0;
}

uint8_t diag_is_listening(uint32_t) {
    return Log::getInstance().listening() ? 1 : 0;
}

void msg_sprintf(const diag_message_descriptor* descriptor, const char* tag, const char* text) {
    if (descriptor == nullptr || descriptor->format == nullptr || !Log::getInstance().listening()) {
        return;
    }
    std::string line = std::to_string(descriptor->subsystem_id);
    line += ' ' + std::to_string(descriptor->mask) + ' ';
    appendEscaped(
        line, format(descriptor->format, tag == nullptr ? "" : tag, text == nullptr ? "" : text));
    Log::getInstance().append(line);
}
