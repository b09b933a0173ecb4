// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "model/CacheModel.h"
#include "model/PolicyModel.h"
#include "model/Recorder.h"
#include "model/Step.h"
#include "modem/Modem.h"
#include "velo/Manager.h"
#include "velo/Util.h"

namespace velo::mox {
struct Frame;
}

namespace velo::model {

/// The library with a modem of its own, and beside it the model: performs each step on both and
/// compares everything that can be seen of them. The modem's reports go by this object, which
/// decides when, in which order and how often each reaches the library; so nothing happens by
/// itself, and a sequence always does the same. One at a time in a process, used by one thread.
class World {
public:
    /// @param isModemLying the modem keeps the APN types of IMS profiles to itself
    explicit World(bool isModemLying = false);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// @throws Violation when the library and the model disagree
    void perform(const Step& step);

private:
    using Action = void (*)(World&, const Step&);
    using Actions = std::map<std::string_view, Action>;
    using Reports = std::vector<ModemModel::Report>;
    using RealKey = std::shared_ptr<IProfileKey>;
    struct HeldKey {
        RealKey real;
        KeyPtr model;
    };
    struct Heard {
        std::mutex mutex;
        std::vector<int> listeners;
    };

    static void addFacade(Actions& actions);
    static void addPolicies(Actions& actions);
    static void addModem(Actions& actions);
    void carryOut(const Step& step);
    void filter(const Step& step);
    void foreign(const Step& step);
    void deliver(Reports reports, Reports rest);
    void powerOff();

    // The modem's thread asks these.
    bool admit(const mox::Frame& request);
    bool holdBack(const mox::Frame& frame);

    void start(unsigned int subscription);
    void waitForReady();
    void send(const Reports& reports);
    HeldKey keyOf(const Step& step) const;
    void hold(RealKey real, const std::function<KeyPtr()>& expected);
    void keep(RealKey real, KeyPtr model);
    template <typename Expected, typename Observed>
    void check(const char* what, const Observed& observed, const Expected& expected);
    void observe();
    void compare();
    void compareListeners();
    void compareDump();

    // The modem's thread touches these, and goes before them.
    std::mutex mMutex;
    std::condition_variable mHeldOne;
    Reports mHeld;
    bool mIsPassing = false;
    int mRefused = 0;
    int mExchanges = 0;

    Manager& mManager;
    Util mUtil;
    modem::Modem mModem;
    Recorder mRecorder;
    CacheModel mModel;
    ModemModel& mModemModel = mModel.modemBehind();
    PolicyModel mPolicies;
    std::vector<HeldKey> mKeys;
    const std::shared_ptr<Heard> mHeard = std::make_shared<Heard>();
    std::size_t mLines = 0;  ///< that the history must show of this step
    int mListeners = 0;
};

}  // namespace velo::model
