// SPDX-License-Identifier: Apache-2.0
//
// Memory that runs out at any allocation. The operators of this file serve the whole test binary.

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <new>
#include <nlohmann/json.hpp>
#include <utility>

#include "CacheView.h"
#include "LocalLogBuffer.h"
#include "Sanitized.h"
#include "Support.h"
#include "modem/ProfileJson.h"
#include "velo/Util.h"

namespace velo::test {
namespace {

/// The next allocation fails when it is 0; all further ones, too, when the shortage lasts.
std::atomic<long> allocationsLeft{-1};
std::atomic<bool> shortageLasts{false};
std::atomic<bool> failedOne{false};
thread_local bool hasMemory = false;

bool isOutOfMemory() {
    if (hasMemory || allocationsLeft < 0) return false;
    const long left = allocationsLeft.fetch_sub(1);
    if (left > 0) return false;
    if (left == 0 && shortageLasts) allocationsLeft = 0;
    if (left == 0) failedOne = true;
    return left == 0;
}

void* allocate(std::size_t size) noexcept {
    return isOutOfMemory() ? nullptr : std::malloc(size > 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
    if (void* const memory = allocate(size)) return memory;
    throw std::bad_alloc();
}

}  // namespace
}  // namespace velo::test

void* operator new(std::size_t size) {
    return velo::test::allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return velo::test::allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return velo::test::allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return velo::test::allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace velo::test {
namespace {

/// Every allocation fails once; every so-manieth where that would take minutes.
constexpr long kStep = test::kSanitized ? 7 : 1;

/// Gives the test's own work what the library cannot have.
class OwnMemory {
public:
    OwnMemory() { hasMemory = true; }
    ~OwnMemory() { hasMemory = false; }
};

/// Has memory for the thread that indications come on: one that is lost there cannot be followed.
class IndicationThreadSparer : public LogWriter {
public:
    void write(LogLevel, std::string, std::string message) override {
        if (message.find("moxIndCb") != std::string::npos) hasMemory = true;
    }
    int convertPrio(LogLevel level) override { return static_cast<int>(level); }
};

bool inHistory(const std::string& text) {
    const auto logs = LocalLogBuffer::getInstance().getLogs();
    return std::any_of(logs.begin(), logs.end(),
                       [&](const std::string& line) { return line.ends_with("]" + text); });
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(open), end(open)));
}

class OutOfMemoryTest : public LibraryTest {
protected:
    OutOfMemoryTest() : LibraryTest(threeProfiles()) {
        // The modem and the library share the process, not the shortage.
        modem().setGate([](const mox::Frame&) { return hasMemory = true; });
        connect();
    }
    ~OutOfMemoryTest() override { LogWrapper::getInstance().setLogWriter(nullptr); }

    /// Does `work` with one of its allocations failing, and again with a later one, until there is
    /// none. Returns how many there were.
    long withEachFailure(long step, const std::function<void()>& work,
                         const std::function<void()>& check) const {
        for (long n = 0;; n += step) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            failedOne = false;
            allocationsLeft = n;
            work();
            allocationsLeft = -1;
            check();
            if (!failedOne || HasFatalFailure() || HasNonfatalFailure()) return n;
        }
    }

    /// Everything that a client does, and what the modem tells meanwhile.
    void useEverything() {
        auto key = addParams(*mAdd);
        manager().modifyProfile(*mModify, key);
        manager().getProfile(key);
        manager().match(*mFilter, key);
        if (key) key->registerExpirationListener([] {});
        {
            const OwnMemory own;
            const auto index = modem().addProfile(0, *mForeign);
            modem().deleteProfile(0, {WDS_PROFILE_TYPE_3GPP, index.value_or(0)});
        }
        { const auto all = manager().filter(FilterProfileParams()); }
        manager().dump();
        mUtil.findOrCreateProfileForSetupDataCall(TechType::TECH_3GPP, *mAdd);
        mUtil.updateAPNTypeBitmaskOnModemProfile(*mRecords);
        manager().deleteProfile(addParams(*mAdd));
        manager().refresh(PDCRefreshStatus::REFRESH_STARTED);
        manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    }

    void spareIndications() {
        LogWrapper::getInstance().setLogWriter(std::make_unique<IndicationThreadSparer>());
        settle();
    }

    /// No own change is still awaited, and to read everything anew makes no difference.
    void expectAgreement() {
        settle();
        EXPECT_THAT(dumpSection("Pending:"), ::testing::IsEmpty());
        const auto images = cachedImages();
        manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
        EXPECT_THAT(images, ::testing::UnorderedElementsAreArray(cachedImages()));
    }

    std::shared_ptr<IProfileKey> addParams(const AddProfileParams& params) {
        return manager().addProfile(params);
    }

    /// The library works, and agrees with a modem that has been tidied up.
    void expectSound() {
        const auto factory = threeProfiles().factoryProfiles;
        for (const auto& profile : modem().profiles(0)) {
            const bool isFactory =
                std::any_of(factory->begin(), factory->end(), [&](const auto& kept) {
                    return modem::settingsToJson(kept.settings) ==
                           modem::settingsToJson(profile.settings);
                });
            if (!isFactory) modem().deleteProfile(0, profile.id);
        }
        ASSERT_TRUE(waitUntil([this] {
            manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
            return cachedImages().size() == 3;
        }));
        settle();
        EXPECT_THAT(cachedImages(), ::testing::Not(::testing::Contains("null")));
        const auto key = add("sound");
        ASSERT_TRUE(key);
        EXPECT_EQ("sound", manager().getProfile(key)->getApnName());
    }

    static AddProfileParams addition() {
        AddProfileParams params(false, TechType::TECH_3GPP, false);
        params.setApnName("a-name-that-is-longer-than-any-string-without-memory");
        params.setHomeIPType(IPType::V4);
        return params;
    }

    static std::list<ProfileParams> records() {
        ProfileParams record = addition();
        record.setApnTypesMask(1);
        return {record};
    }

    const std::unique_ptr<AddProfileParams> mAdd = std::make_unique<AddProfileParams>(addition());
    const std::unique_ptr<ModifyProfileParams> mModify = [] {
        ModifyProfileParams params;
        params.setUserName("another-name-that-is-longer-than-any-string-without-memory");
        return std::make_unique<ModifyProfileParams>(params);
    }();
    const std::unique_ptr<FilterProfileParams> mFilter =
        std::make_unique<FilterProfileParams>(byApn("internet"));
    const std::unique_ptr<modem::StoredProfile> mForeign =
        std::make_unique<modem::StoredProfile>(stored(WDS_PROFILE_TYPE_3GPP, 0, "foreign"));
    const std::unique_ptr<std::list<ProfileParams>> mRecords =
        std::make_unique<std::list<ProfileParams>>(records());
    Util mUtil;
};

TEST_F(OutOfMemoryTest, CallsFailAndTheLibraryGoesOn) {
    const auto descriptors = openDescriptors();
    const long allocations = withEachFailure(
        kStep, [this] { useEverything(); }, [this] { expectSound(); });
    EXPECT_LT(500, allocations);
    EXPECT_EQ(descriptors, openDescriptors());
}

TEST_F(OutOfMemoryTest, WhatTheModemDidIsKnown) {
    spareIndications();
    std::shared_ptr<IProfileKey> key;
    bool modified = true;
    bool removed = true;
    const std::pair<const char*, std::function<void()>> changes[] = {
        {"add", [&] { key = addParams(*mAdd); }},
        {"modify", [&] { modified = manager().modifyProfile(*mModify, key); }},
        {"delete", [&] { removed = manager().deleteProfile(key); }},
        {"release", [&] { key.reset(); }}};
    for (const auto& [name, change] : changes) {
        SCOPED_TRACE(name);
        const auto prepare = [&] {
            key = addParams(*mAdd);
            settle();
            LocalLogBuffer::getInstance().flush();
        };
        prepare();
        const long allocations = withEachFailure(kStep, change, [&] {
            EXPECT_TRUE(modified ||
                        !inHistory("MoxWdsProxy MOX_WDS_MODIFY_PROFILE_SETTINGS_REQ_V01 request "
                                   "successful!"));
            EXPECT_TRUE(removed || !inHistory("MoxWdsProxy MOX_WDS_DELETE_PROFILE_REQ_V01 request "
                                              "successful!"));
            expectAgreement();
            expectSound();
            prepare();
        });
        EXPECT_LT(10, allocations);
    }
}

TEST_F(OutOfMemoryTest, RefreshGoesWithoutOneProfileAtMost) {
    spareIndications();
    const auto refresh = [this] { manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED); };
    withEachFailure(1, refresh, [this] {
        const auto images = cachedImages();
        const bool listed = !inHistory("Unable send MOX_WDS_GET_PROFILE_LIST_REQ_V01 message");
        const auto missing = std::count(images.begin(), images.end(), "null") + 3 -
                             static_cast<std::ptrdiff_t>(images.size());
        EXPECT_TRUE(!listed || missing <= 1) << missing;
        expectSound();
        LocalLogBuffer::getInstance().flush();
    });
}

TEST_F(OutOfMemoryTest, AShortageThatLastsIsSurvived) {
    shortageLasts = true;
    const long allocations = withEachFailure(
        11 * kStep, [this] { useEverything(); },
        [this] {
            // A client that could not be opened is not
            // opened before the modem comes anew.
            connect();
            expectSound();
        });
    shortageLasts = false;
    EXPECT_LT(200, allocations);
}

TEST_F(OutOfMemoryTest, ConstructionFailsAndLeavesTheLibraryAsItWas) {
    const auto descriptors = openDescriptors();
    int failed = 0;
    const auto construct = [&] {
        try {
            manager().init(0, false);
        } catch (const std::bad_alloc&) {
            ++failed;
        }
    };
    EXPECT_LT(20, withEachFailure(1, construct, [this] {
                  const auto key = add("sound");
                  connect();
              }));
    EXPECT_LT(10, failed);
    EXPECT_EQ(descriptors, openDescriptors());
}

}  // namespace
}  // namespace velo::test
