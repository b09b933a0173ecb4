// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "model/Image.h"
#include "model/Store.h"
#include "model/Trace.h"
#include "velo/FilterProfileParams.h"
#include "velo/ModifyProfileParams.h"

namespace velo::model {

/// The rules of the cache, its keys and the facade in front of it, and of the modem behind it,
/// small enough to be read at once. Each operation is told what the library logged, follows that
/// line by line, and says what the results must be.
class CacheModel {
public:
    using Keys = std::vector<KeyPtr>;
    using Report = Store::Report;

    explicit CacheModel(const std::vector<modem::StoredProfile>& factory)
        : mStores{Store(factory), Store(factory)} {}

    /// A step begins: its exchanges with the modem are counted from 1, and the modem refuses the
    /// one with the number `refused`, or every one when that is negative.
    void beginStep(const std::vector<Trace::Line>& lines, int refused);

    /// It is over: everything that had to happen has happened.
    void endStep();

    // The facade.

    KeyPtr addProfile(const AddProfileParams& params);
    bool modifyProfile(const ModifyProfileParams& params, const KeyPtr& key);
    bool deleteProfile(const KeyPtr& key);
    Keys filter(const FilterProfileParams& params);
    std::optional<ProfileParams> getProfile(const KeyPtr& key);
    bool match(const FilterProfileParams& params, const KeyPtr& key);
    void refresh(PDCRefreshStatus status);

    // The keys.

    void registerListener(int listener, const KeyPtr& key);

    /// Gives one copy up, now or at any time before the step ends.
    void drop(KeyPtr key);
    void dropSometime(KeyPtr key);

    /// The first of the keys of a filter, which are in the order that the log showed; where that
    /// was cut, the one that the library modifies next.
    KeyPtr takeNext(Keys& keys);

    // The modem.

    /// Another client's change.
    int foreignCreate(unsigned int subscription, const modem::StoredProfile& profile);
    void foreignModify(unsigned int subscription, TechType tech, int index,
                       const wds_profile_settings_v01& settings);
    void foreignRemove(unsigned int subscription, TechType tech, int index);

    /// An indication reaches the worker. `isNull` tells whether the library shows nothing under a
    /// token, where only one of several reads of the same profile has failed.
    void onIndication(const Report& report, const std::function<bool(unsigned long long)>& isNull);

    void powerOff();
    void powerOn();

    /// A new manager, on another subscription or the same: its cache is empty.
    void init(unsigned int subscription);

    /// The tokens go on from here.
    void setNextToken(unsigned long long token) { mNextToken = token; }

    // What there is to compare.

    std::vector<std::string> cacheLines() const;  ///< sorted
    std::vector<std::string> pendingLines() const;
    const Store& store(unsigned int subscription) const { return mStores.at(subscription); }
    int exchanges() const { return mExchanges; }
    bool isOn() const { return mIsOn; }
    unsigned int subscription() const { return mSubscription; }
    unsigned int cache() const { return mCache; }

    /// Reports that the modem has sent and that did not reach the library yet.
    std::vector<Report>& underWay() { return mUnderWay; }

    /// The listeners that ran in this step: those of one profile together and in this order, the
    /// profiles in any.
    const std::vector<std::vector<int>>& ranListeners() const { return mRanListeners; }

    void expect(LogLevel level, std::string_view text);

    /// The line that the library logged next; null when there is none.
    const std::string* nextLine();

private:
    struct Pending {
        TechType tech;
        int id;
        int event;
        bool operator==(const Pending&) const = default;
        std::string text() const;
    };
    using Profiles = std::map<unsigned long long, std::optional<Image>>;

    void begin(const char* operation, const std::string& request);
    void end(const char* operation, const std::string& response);
    bool exchange(const char* message, const std::function<bool()>& carryOut);
    bool sendRemove(TechType tech, int id);
    std::optional<Image> read(TechType tech, int id);
    void readAll(wds_profile_type_enum_v01 type, bool& listed);
    void report(wds_profile_type_enum_v01 type, int index, wds_profile_event_enum_v01 event);
    std::optional<Image>* find(const KeyPtr& key, LogLevel level);
    void release(unsigned long long token);
    void releaseProfile(unsigned long long token);
    void releaseDropped();
    void rebuild();
    void reread(TechType tech, int id, const std::function<bool(unsigned long long)>& isNull);
    void die(const std::optional<Image>& image);
    void erase(unsigned long long token);

    Trace mTrace;
    std::array<Store, 2> mStores;
    unsigned int mSubscription = 0;
    bool mIsOn = true;
    int mExchanges = 0;
    int mRefused = 0;
    std::vector<Report> mUnderWay;

    Profiles mProfiles;
    std::list<Pending> mPending;
    unsigned long long mNextToken = 0;
    unsigned int mCache = 0;
    bool mIsBlocked = false;
    bool mIsOrderCut = false;
    std::multiset<unsigned long long> mDropped;
    std::vector<std::vector<int>> mRanListeners;
};

}  // namespace velo::model
