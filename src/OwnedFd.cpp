// SPDX-License-Identifier: Apache-2.0

#include "OwnedFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "LogWrapper.h"

namespace velo {

OwnedFd::OwnedFd(int fd, const char* what) : mFd(fd) {
    if (fd >= 0 && fd <= STDERR_FILENO) {
        mFd = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        close(fd);
    }
    if (mFd == -1) {
        logLine(LogLevel::Error, "Cannot create %s instance", what);
        std::abort();
    }
}

OwnedFd::~OwnedFd() {
    close(mFd);
}

}  // namespace velo
