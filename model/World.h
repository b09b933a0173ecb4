// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
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
    struct Counts {
        std::map<std::string_view, std::uint64_t> operations;
        std::uint64_t refused = 0;  ///< exchanges that the modem refused on order
        std::uint64_t foreign = 0;  ///< changes that another client made
        std::uint64_t reports = 0;  ///< indications that reached the library
    };

    /// @param isModemLying the modem keeps the APN types of IMS profiles to itself
    explicit World(bool isModemLying = false);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// @throws Violation when the library and the model disagree
    void perform(const Step& step);

    const Counts& counts() const { return mCounts; }

private:
    using Action = void (World::*)(const Step&);
    using RealKey = std::shared_ptr<IProfileKey>;
    struct HeldKey {
        RealKey real;
        KeyPtr model;
    };

    static const std::map<std::string_view, Action>& actions();

    void carryOut(const Step& step);

    void add(const Step& step);
    void modify(const Step& step);
    void remove(const Step& step);
    void get(const Step& step);
    void filter(const Step& step);
    void match(const Step& step);
    void listen(const Step& step);
    void copy(const Step& step);
    void drop(const Step& step);
    void refreshStart(const Step& step);
    void refresh(const Step& step);
    void dataCall(const Step& step);
    void emergency(const Step& step);
    void attach(const Step& step);
    void matchAttach(const Step& step);
    void byClass(const Step& step);
    void byTypes(const Step& step);
    void allow(const Step& step);
    void foreignAdd(const Step& step);
    void foreignModify(const Step& step);
    void foreignDelete(const Step& step);
    void deliver(const Step& step);
    void deliverOne(const Step& step);
    void lose(const Step& step);
    void report(const Step& step);
    void powerOff(const Step& step);
    void powerOn(const Step& step);
    void init(const Step& step);

    bool admit(const mox::Frame& request);
    bool holdBack(const mox::Frame& frame);
    static void withholdTypes(mox::Frame& frame);
    void observe();
    void switchOff();
    void send(const std::vector<CacheModel::Report>& reports);
    void waitForReady();
    void start(unsigned int subscription);
    HeldKey keyOf(const Step& step) const;
    void hold(RealKey real, KeyPtr model);
    void compare();
    void compareStore(unsigned int subscription);
    void compareListeners();
    void compareDump();

    // The modem's thread touches these, and goes before them.
    std::mutex mMutex;
    std::condition_variable mHeldOne;
    std::vector<CacheModel::Report> mHeld;
    bool mIsPassing = false;
    int mRefused = 0;
    int mExchanges = 0;

    Manager& mManager;
    Util mUtil;
    modem::Modem mModem;
    Recorder mRecorder;
    CacheModel mModel;
    PolicyModel mPolicies;
    std::vector<HeldKey> mKeys;
    std::size_t mLines = 0;  ///< that the history must show of this step
    int mListeners = 0;
    Counts mCounts;

    struct Heard {
        std::mutex mutex;
        std::vector<int> listeners;
    };
    const std::shared_ptr<Heard> mHeard = std::make_shared<Heard>();
};

}  // namespace velo::model
