// SPDX-License-Identifier: Apache-2.0
//
// What a host program may set on the messaging client, beside what a device offers.

#pragma once

#include <string>

namespace velo::mox {

/// Chooses the modem that clients and notifiers made from now on talk to: the path of its socket.
/// It takes precedence over MOX_MODEM in the environment; an empty path gives that one its say
/// again. With neither there is no modem, and no service is ever found.
void setModemPath(const std::string& path);

/// The path that counts: the one that was set, else MOX_MODEM of the environment, else empty.
std::string modemPath();

/// Caps the time-out of every exchange made from now on, so that a test of a silent modem need not
/// wait for the library's full second. Zero, as at the start, is no cap.
void setTimeoutCap(unsigned int milliseconds);

}  // namespace velo::mox
