// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace velo {

/// A descriptor that the worker cannot do without, closed with its owner. As thread-safe as an int.
class OwnedFd {
public:
    /// Takes over a new descriptor and moves it out of the range of the standard streams, so that a
    /// process that runs with a closed standard output does not print into it. Ends the process
    /// when there is none.
    /// @param what its kind, for the log
    OwnedFd(int fd, const char* what);
    ~OwnedFd();
    OwnedFd(const OwnedFd&) = delete;
    OwnedFd& operator=(const OwnedFd&) = delete;

    int get() const { return mFd; }

private:
    int mFd;
};

}  // namespace velo
