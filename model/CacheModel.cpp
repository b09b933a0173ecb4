// SPDX-License-Identifier: Apache-2.0

#include "model/CacheModel.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace velo::model {

namespace {

constexpr int kCreate = 0;
constexpr int kDelete = 1;
constexpr int kModify = 2;

constexpr const char* kUnknownToken = "ProfileCache: token is not present or expired";

std::string textOf(const KeyPtr& key) {
    return key ? key->dump() : "";
}

}  // namespace

std::string CacheModel::Pending::text() const {
    static constexpr std::array kEvents{"Create", "Delete", "Modify", "SubscriptionChange",
                                        "ProfileReady"};
    return (tech == TechType::TECH_3GPP2 ? "3GPP2:" : "3GPP:") + std::to_string(id) + " " +
           kEvents.at(static_cast<std::size_t>(event));
}

void CacheModel::beginStep(const std::vector<Trace::Line>& lines, int refused) {
    mTrace = Trace(lines);
    mExchanges = 0;
    mRefused = refused;
    mRanListeners.clear();
}

void CacheModel::endStep() {
    releaseDropped();
    mTrace.expectEnd();
    if (!mDropped.empty()) {
        throw Violation("a key that was dropped is not released: token " +
                        std::to_string(*mDropped.begin()));
    }
}

std::size_t CacheModel::expectOneOf(LogLevel level, const std::vector<std::string>& texts) {
    releaseDropped();
    return mTrace.expectOneOf(level, texts);
}

void CacheModel::begin(const char* operation, const std::string& request) {
    expect(LogLevel::Event, std::string("Manager::") + operation + " > " + request);
    expect(LogLevel::Info, "Handling " + request);
}

void CacheModel::end(const char* operation, const std::string& response) {
    expect(LogLevel::Event, std::string("Manager::") + operation + " < " + response);
}

KeyPtr CacheModel::addProfile(const AddProfileParams& params) {
    begin("addProfile", "Add " + params.dump());
    KeyPtr key;
    const bool blocked = mIsBlocked;
    if (!blocked) {
        const auto token = mNextToken++;
        Image image = imageOf(params);
        const auto tech = params.getTechType();
        if (tech != TechType::TECH_3GPP && tech != TechType::TECH_3GPP2) {
            expect(LogLevel::Error, "ProfileCache: failed to create profile");
        } else if (exchange("MOX_WDS_CREATE_PROFILE_REQ_V01", [&] {
                       const auto type = static_cast<wds_profile_type_enum_v01>(tech);
                       image.id = mModem.create(mModem.subscription(),
                                                {{type, 0}, image.isPersistent, settingsOf(image)});
                       return image.id >= 0;
                   })) {
            mPending.push_back({tech, image.id, kCreate});
            mPending.push_back({tech, image.id, kModify});
            expect(LogLevel::Event, "Added: " + image.text());
            image.refCount = 1;
            key = std::make_shared<Key>(Key{tech, image.id, token, mCache});
            mProfiles.emplace(token, std::move(image));
        }
    }
    end("addProfile", std::string("Add ") + (blocked ? "Failure " : "Success ") + textOf(key));
    return key;
}

bool CacheModel::modifyProfile(const ModifyProfileParams& params, const KeyPtr& key) {
    begin("modifyProfile", "Modify " + textOf(key) + " " + params.dump());
    auto* const found = find(key, LogLevel::Event);
    if (found != nullptr && *found) {
        Image& image = **found;
        if (auto delta = difference(image, params)) {
            if (exchange("MOX_WDS_MODIFY_PROFILE_SETTINGS_REQ_V01", [&] {
                    return mModem.modify(mModem.subscription(), image.tech, image.id,
                                         settingsOf(*delta));
                })) {
                apply(image, *delta);
                expect(LogLevel::Event, "Diff: " + delta->text());
                mPending.push_back({image.tech, image.id, kModify});
            } else {
                expect(LogLevel::Error, "ProfileCache: failed to modify modem profile");
            }
        } else {
            expect(LogLevel::Event, "ProfileCache: profile is unchanged");
        }
    }
    end("modifyProfile", found != nullptr ? "Modify Success" : "Modify Failure");
    return found != nullptr;
}

bool CacheModel::deleteProfile(const KeyPtr& key) {
    begin("deleteProfile", "Delete " + textOf(key));
    bool done = false;
    if (auto* const found = find(key, LogLevel::Error)) {
        done = sendRemove(key->tech, key->id);
        if (done) {
            mPending.push_back({key->tech, key->id, kDelete});
            erase(key->token);
        } else {
            expect(LogLevel::Error, "ProfileCache: Failed to remove profile");
        }
    }
    end("deleteProfile", done ? "Delete Success" : "Delete Failure");
    return done;
}

CacheModel::Keys CacheModel::filter(const FilterProfileParams& params) {
    begin("filter", "Filter params: " + params.dump());
    std::map<std::string, KeyPtr> found;
    if (!mIsBlocked) {
        for (auto& [token, image] : mProfiles) {
            if (!image) {
                expect(LogLevel::Error, "ProfileCache: null profile");
            } else if (matches(*image, params)) {
                ++image->refCount;
                Key key{image->tech, image->id, token, mCache};
                found.emplace(key.dump(), std::make_shared<Key>(key));
            }
        }
    }
    releaseDropped();
    std::string shown =
        mTrace.expectPrefix(LogLevel::Event, std::string("Manager::filter < Filter ") +
                                                 (mIsBlocked ? "Failure " : "Success "));
    Keys keys;
    for (std::size_t end; (end = shown.find(',')) != std::string::npos; shown.erase(0, end + 1)) {
        auto key = found.extract(shown.substr(0, end));
        if (key.empty()) throw Violation("filter finds " + shown.substr(0, end));
        keys.push_back(std::move(key.mapped()));
    }
    if (!found.empty() && shown.empty()) {
        throw Violation("filter does not find " + found.begin()->first);
    }
    // What the line had no room for is in no known order.
    mIsOrderCut = !found.empty();
    for (auto& [text, key] : found) keys.push_back(std::move(key));
    return keys;
}

KeyPtr CacheModel::takeNext(Keys& keys) {
    auto next = keys.begin();
    if (keys.size() > 1) {
        constexpr std::string_view kModifies = "Manager::modifyProfile > Modify ";
        const std::string* const line = mTrace.next(kModifies);
        const auto named = std::find_if(keys.begin(), keys.end(), [&](const KeyPtr& key) {
            return line != nullptr && line->substr(kModifies.size()).starts_with(key->dump() + " ");
        });
        if (named != keys.end() && mIsOrderCut) next = named;
    }
    KeyPtr key = std::move(*next);
    keys.erase(next);
    return key;
}

std::optional<ProfileParams> CacheModel::getProfile(const KeyPtr& key) {
    begin("getProfile", "Get " + textOf(key));
    std::optional<ProfileParams> params;
    if (const auto* const found = find(key, LogLevel::Error); found != nullptr && *found) {
        params = paramsOf(**found);
    }
    end("getProfile", params ? "Get Success " + params->dump() : "Get Failure ");
    return params;
}

bool CacheModel::match(const FilterProfileParams& params, const KeyPtr& key) {
    begin("match", "Match " + textOf(key) + " " + params.dump());
    const bool answered = !mIsBlocked && key != nullptr;
    const auto* const found = find(key, LogLevel::Error);
    const bool matched = found != nullptr && *found && matches(**found, params);
    end("match", std::string("Match ") + (answered ? "Success " : "Failure ") +
                     (matched ? "true" : "false"));
    return matched;
}

void CacheModel::refresh(PDCRefreshStatus status) {
    begin("refresh", "Refresh ");
    mIsBlocked = status == PDCRefreshStatus::REFRESH_STARTED;
    if (!mIsBlocked) rebuild();
    end("refresh", "Refresh Success");
    expect(LogLevel::Info, mIsBlocked ? "VELO refresh started" : "VELO refresh completed");
}

void CacheModel::registerListener(int listener, const KeyPtr& key) {
    if (key->cache != mCache) return;
    expect(LogLevel::Info,
           "Handling Callback Register " + key->dump() + std::to_string(key->token));
    if (auto* const found = find(key, LogLevel::Error); found != nullptr && *found) {
        (*found)->listeners.emplace_back(listener, key);
    }
}

void CacheModel::drop(KeyPtr key) {
    if (key.use_count() > 1) return;
    const Key last = *key;
    key.reset();
    if (last.cache == mCache) release(last.token);
}

void CacheModel::dropSometime(KeyPtr key) {
    if (key && key.use_count() == 1 && key->cache == mCache) mDropped.insert(key->token);
}

void CacheModel::releaseDropped() {
    constexpr std::string_view kRelease = "Handling Callback Release ";
    while (!mDropped.empty() && mTrace.next() != nullptr && mTrace.next()->starts_with(kRelease)) {
        const auto dropped = mDropped.extract(std::stoull(mTrace.next()->substr(kRelease.size())));
        if (dropped.empty()) return;
        release(dropped.value());
    }
}

void CacheModel::release(unsigned long long token) {
    follow(LogLevel::Info, "Handling Callback Release " + std::to_string(token));
    if (mIsBlocked) return;
    follow(LogLevel::Event, "ProfileCache: releaseProfile token=" + std::to_string(token));
    const auto found = mProfiles.find(token);
    if (found == mProfiles.end()) {
        follow(LogLevel::Error, kUnknownToken);
        return;
    }
    if (!found->second) return;
    Image& image = *found->second;
    std::erase_if(image.listeners, [](const auto& entry) { return entry.second.expired(); });
    if (image.refCount >= 2) {
        --image.refCount;
    } else if (image.isPersistent || !image.isVeloCreated) {
        follow(LogLevel::Event, "ProfileCache: ignoring non-persistent or non-velo created");
    } else if (sendRemove(image.tech, image.id)) {
        follow(LogLevel::Event, "Released profile " + std::to_string(image.id));
        mPending.push_back({image.tech, image.id, kDelete});
        erase(token);
    } else {
        follow(LogLevel::Error, "ProfileCache: failed to release profile");
    }
}

void CacheModel::onIndication(const ModemModel::Report& report,
                              const std::function<bool(unsigned long long)>& isNull) {
    const auto tech =
        report.type == WDS_PROFILE_TYPE_3GPP2 ? TechType::TECH_3GPP2 : TechType::TECH_3GPP;
    const int event =
        report.event >= 1 && report.event <= 4 ? static_cast<int>(report.event) - 1 : 4;
    const Pending change{tech, report.index, event};
    expect(LogLevel::Event, "ProfileCache: onIndication < " + change.text());
    const auto echo = std::find(mPending.begin(), mPending.end(), change);
    if (echo != mPending.end()) {
        expect(LogLevel::Event, "ProfileCache: pending transaction confirmed");
        mPending.erase(echo);
        return;
    }
    expect(LogLevel::Event, "ProfileCache: updating cache due to indication!");
    if (event == kCreate) {
        const auto token = mNextToken++;
        mProfiles.emplace(token, read(tech, report.index));
    } else if (event == kDelete) {
        std::erase_if(mProfiles, [&](const auto& entry) {
            const auto& image = entry.second;
            if (!image || image->tech != tech || image->id != report.index) return false;
            die(image);
            return true;
        });
    } else if (event == kModify) {
        reread(tech, report.index, isNull);
    } else {
        rebuild();
    }
}

void CacheModel::reread(TechType tech, int id,
                        const std::function<bool(unsigned long long)>& isNull) {
    std::vector<unsigned long long> tokens;
    for (const auto& [token, image] : mProfiles) {
        if (image && image->tech == tech && image->id == id) tokens.push_back(token);
    }
    std::vector<std::optional<Image>> images;
    for (std::size_t i = 0; i < tokens.size(); ++i) images.push_back(read(tech, id));
    for (const auto token : tokens) {
        auto& image = mProfiles[token];
        die(image);
        auto readAs = std::find_if(images.begin(), images.end(), [&](const auto& candidate) {
            return candidate.has_value() != isNull(token);
        });
        if (readAs == images.end()) readAs = images.begin();
        image = *readAs;
        images.erase(readAs);
    }
}

void CacheModel::init(unsigned int subscription) {
    for (auto& [token, image] : mProfiles) die(image);
    mProfiles.clear();
    mPending.clear();
    mIsBlocked = false;
    ++mCache;
    mModem.connect(subscription);
}

std::vector<std::string> CacheModel::cacheLines() const {
    std::vector<std::string> lines;
    for (const auto& [token, image] : mProfiles) {
        lines.push_back("  " + std::to_string(token) + ": " + (image ? image->text() : "null"));
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::vector<std::string> CacheModel::pendingLines() const {
    std::vector<std::string> lines;
    for (const Pending& pending : mPending) lines.push_back("  " + pending.text());
    return lines;
}

bool CacheModel::exchange(const char* message, const std::function<bool()>& carryOut) {
    bool done = false;
    if (mModem.isOn()) {
        ++mExchanges;
        done = mRefused >= 0 && mExchanges != mRefused && carryOut();
    }
    if (done) {
        follow(LogLevel::Event, "MoxWdsProxy " + std::string(message) + " request successful!");
    } else {
        follow(LogLevel::Error, "Unable send " + std::string(message) + " message");
    }
    return done;
}

bool CacheModel::sendRemove(TechType tech, int id) {
    return exchange("MOX_WDS_DELETE_PROFILE_REQ_V01",
                    [&] { return mModem.remove(mModem.subscription(), tech, id); });
}

std::optional<Image> CacheModel::read(TechType tech, int id) {
    const modem::StoredProfile* profile = nullptr;
    const bool done = exchange("MOX_WDS_GET_PROFILE_SETTINGS_REQ_V01", [&] {
        profile = mModem.find(tech, id);
        return profile != nullptr;
    });
    return done ? std::optional(imageOf(*profile)) : std::nullopt;
}

void CacheModel::rebuild() {
    for (auto& [token, image] : mProfiles) die(image);
    mProfiles.clear();
    if (readAll(TechType::TECH_3GPP)) readAll(TechType::TECH_3GPP2);
    expect(LogLevel::Event, "Refreshed Profiles:");
    std::vector<std::string> texts;
    for (const auto& [token, image] : mProfiles) texts.push_back(image ? image->text() : "null");
    while (!texts.empty()) {
        const auto shown = mTrace.expectOneOf(LogLevel::Event, texts);
        texts.erase(texts.begin() + static_cast<std::ptrdiff_t>(shown));
    }
}

bool CacheModel::readAll(TechType tech) {
    if (!exchange("MOX_WDS_GET_PROFILE_LIST_REQ_V01", [] { return true; })) return false;
    for (const modem::StoredProfile& profile : mModem.all(mModem.subscription())) {
        if (static_cast<TechType>(profile.id.profile_type) != tech) continue;
        mProfiles.emplace(mNextToken++, read(tech, profile.id.profile_index));
    }
    return true;
}

std::optional<Image>* CacheModel::find(const KeyPtr& key, LogLevel level) {
    if (mIsBlocked || !key) return nullptr;
    const auto found = mProfiles.find(key->token);
    if (found != mProfiles.end()) return &found->second;
    expect(level, kUnknownToken);
    return nullptr;
}

void CacheModel::die(const std::optional<Image>& image) {
    if (!image) return;
    std::vector<int> ran;
    for (const auto& [listener, key] : image->listeners) {
        if (!key.expired()) ran.push_back(listener);
    }
    if (!ran.empty()) mRanListeners.push_back(std::move(ran));
}

void CacheModel::erase(unsigned long long token) {
    const auto found = mProfiles.find(token);
    die(found->second);
    mProfiles.erase(found);
}

}  // namespace velo::model
