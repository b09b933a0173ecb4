// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace velo::modem {

class Server;
class WdsService;

/// Switches the modem off and on. Belongs to the modem and is touched on its thread only.
class PowerSwitch {
public:
    PowerSwitch(Server& server, WdsService& service, std::string path);

    bool isOn() const;

    /// Every connection is lost, nobody can connect, and what is not persistent is forgotten.
    void off();

    /// Nothing when it is on. @throws std::system_error when the socket cannot be made
    void on();

    /// Off, and on again: at once, or after that time and later when the socket cannot be made by
    /// then. @throws std::system_error when it must be made at once and cannot
    void restart(std::chrono::milliseconds off);

    /// Off, every store back to the factory profiles, and on. False when the state file cannot be
    /// written: then it was a mere restart. @throws std::system_error as on()
    bool factoryReset();

    /// What a crash in the middle of a request is like: every connection is lost at once, the rest
    /// of a restart follows when the request's handler has returned.
    void crash();

private:
    void onAfter(std::chrono::milliseconds delay);

    Server& mServer;
    WdsService& mService;
    const std::string mPath;
    std::uint64_t mSwitchedOff = 0;  ///< how often; a later off() ends the wait of an earlier one
};

}  // namespace velo::modem
