// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>

#include "modem/Dice.h"
#include "soak/CallWatch.h"
#include "soak/Journal.h"
#include "tool/ApnDatabase.h"
#include "velo/IProfileKey.h"
#include "velo/Util.h"

namespace velo::soak {

/// Uses the library as a data framework would: brings up one SIM after the other, and makes,
/// changes and deletes profiles of its own. Used by one thread, the only one that calls the
/// library.
class Application {
public:
    Application(Journal& journal, CallWatch& watch, std::uint64_t seed);

    /// Until it is told to stop.
    void run(const std::atomic<bool>& stop);

    /// Gives up every key.
    void dropKeys();

private:
    using Key = std::shared_ptr<IProfileKey>;

    void bringUp(const tool::ApnNetwork& network, const std::atomic<bool>& stop);
    void keep(Key key);
    void drop(Key key);
    void notePolicy();
    void doSomething();
    void add();
    void change();
    void remove();
    void look();
    Key anyOwn();

    Journal& mJournal;
    CallWatch& mWatch;
    modem::Dice mDice;
    const tool::ApnDatabase mDatabase{tool::kDefaultApnFile};
    std::size_t mNextSim = 0;
    Util mUtil;
    std::list<Key> mKeys;
};

}  // namespace velo::soak
