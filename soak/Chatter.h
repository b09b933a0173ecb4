// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "modem/Dice.h"
#include "modem/Modem.h"

namespace velo::soak {

/// A modem in this process that never stops talking: changes of another client, events of every
/// kind, bytes that mean nothing, and restarts. It talks on a thread of its own from the start.
class Chatter {
public:
    explicit Chatter(std::uint64_t seed);
    ~Chatter();
    Chatter(const Chatter&) = delete;
    Chatter& operator=(const Chatter&) = delete;

    modem::Modem& modem() { return mModem; }

    /// Goes on talking after a stop.
    void start();

    /// Says nothing any more.
    void stop();

    std::uint64_t said() const { return mSaid; }
    std::uint64_t restarts() const { return mRestarts; }

private:
    void talk();
    void saySomething();
    void change(unsigned int subscription);

    modem::Modem mModem;
    modem::Dice mDice;
    std::atomic<bool> mStop{false};
    std::atomic<std::uint64_t> mSaid{0};
    std::atomic<std::uint64_t> mRestarts{0};
    std::thread mThread;
};

}  // namespace velo::soak
