// SPDX-License-Identifier: Apache-2.0

#include "modem/ListenSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/mox/Socket.h"

namespace velo::modem {

namespace {

constexpr mode_t kOwnerOnly = 0600;

[[noreturn]] void raise(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

/// Held while a socket is put in place, so that of two modems that find the same dead one's file
/// only one takes it over. The folder itself is what is locked: nothing is left behind.
mox::Descriptor lockFolderOf(const std::string& path) {
    const auto folder = std::filesystem::path(path).parent_path();
    mox::Descriptor lock(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (lock) {
        ::flock(lock.get(), LOCK_EX);
    }
    return lock;
}

/// Whether the file is a socket that nobody listens on.
bool isStale(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) {
        return false;
    }
    return !mox::connectTo(path) && errno == ECONNREFUSED;
}

int bindTo(int fd, const sockaddr_un& address) {
    return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0
                                                                                         : errno;
}

}  // namespace

ListenSocket::ListenSocket(const std::string& path, int type) {
    const std::string what = (type == SOCK_STREAM ? "control socket " : "modem socket ") + path;
    sockaddr_un address;
    if (!mox::makeAddress(path, address)) {
        raise(errno, what);
    }
    mox::Descriptor socket(
        mox::clearOfStandardStreams(::socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)));
    // The mode must be right when the file appears, not a moment later.
    if (!socket || ::fchmod(socket.get(), kOwnerOnly) != 0) {
        raise(errno, what);
    }
    const auto lock = lockFolderOf(path);
    int error = bindTo(socket.get(), address);
    if (error == EADDRINUSE && isStale(path)) {
        ::unlink(path.c_str());
        error = bindTo(socket.get(), address);
    }
    if (error != 0) {
        raise(error, what);
    }
    mPath = path;
    mSocket = std::move(socket);
    if (::listen(mSocket.get(), SOMAXCONN) != 0) {
        error = errno;
        close();
        raise(error, what);
    }
}

ListenSocket& ListenSocket::operator=(ListenSocket&& other) noexcept {
    if (this != &other) {
        close();
        mSocket = std::move(other.mSocket);
        mPath = std::move(other.mPath);
    }
    return *this;
}

void ListenSocket::close() {
    if (!mSocket) {
        return;
    }
    // Also when a forked child holds it, nobody can connect any more.
    ::shutdown(mSocket.get(), SHUT_RDWR);
    ::unlink(mPath.c_str());
    mSocket.reset();
}

}  // namespace velo::modem
