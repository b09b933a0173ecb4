// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "model/Image.h"
#include "model/ModemModel.h"
#include "model/Trace.h"
#include "velo/FilterProfileParams.h"
#include "velo/ModifyProfileParams.h"

namespace velo::model {

/// The rules of the cache, its keys and the facade in front of it. Each operation follows what the
/// library logged line by line, and says what the results must be.
class CacheModel {
public:
    using Keys = std::vector<KeyPtr>;

    explicit CacheModel(const std::vector<modem::StoredProfile>& factory) : mModem(factory) {}

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

    // What comes from below.

    /// An indication reaches the worker. `isNull` tells whether the library shows nothing under a
    /// token, where only one of several reads of the same profile has failed.
    void onIndication(const ModemModel::Report& report,
                      const std::function<bool(unsigned long long)>& isNull);

    /// A new manager, on another subscription or the same: its cache is empty.
    void init(unsigned int subscription);

    /// The tokens go on from here.
    void setNextToken(unsigned long long token) { mNextToken = token; }

    ModemModel& modemBehind() { return mModem; }

    // What there is to compare.

    std::vector<std::string> cacheLines() const;  ///< sorted
    std::vector<std::string> pendingLines() const;
    int exchanges() const { return mExchanges; }

    /// The listeners that ran in this step: those of one profile together and in this order, the
    /// profiles in any.
    const std::vector<std::vector<int>>& ranListeners() const { return mRanListeners; }

    // The log, for what is said around the cache.

    void expect(LogLevel level, const std::string& text) { expectOneOf(level, {text}); }
    std::size_t expectOneOf(LogLevel level, const std::vector<std::string>& texts);

private:
    struct Pending {
        TechType tech;
        int id;
        int event;
        bool operator==(const Pending&) const = default;
        std::string text() const;
    };

    /// As expect(), but while the worker is at something: nothing is released meanwhile.
    void follow(LogLevel level, const std::string& text) { mTrace.expectOneOf(level, {text}); }
    void begin(const char* operation, const std::string& request);
    void end(const char* operation, const std::string& response);
    bool exchange(const char* message, const std::function<bool()>& carryOut);
    bool sendRemove(TechType tech, int id);
    std::optional<Image> read(TechType tech, int id);
    bool readAll(TechType tech);
    std::optional<Image>* find(const KeyPtr& key, LogLevel level);
    void release(unsigned long long token);
    void releaseDropped();
    void rebuild();
    void reread(TechType tech, int id, const std::function<bool(unsigned long long)>& isNull);
    void die(const std::optional<Image>& image);
    void erase(unsigned long long token);

    Trace mTrace;
    ModemModel mModem;
    int mExchanges = 0;
    int mRefused = 0;

    std::map<unsigned long long, std::optional<Image>> mProfiles;
    std::list<Pending> mPending;
    unsigned long long mNextToken = 0;
    unsigned int mCache = 0;
    bool mIsBlocked = false;
    bool mIsOrderCut = false;
    std::multiset<unsigned long long> mDropped;
    std::vector<std::vector<int>> mRanListeners;
};

}  // namespace velo::model
