// SPDX-License-Identifier: Apache-2.0

#include "ModemProfile.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <utility>

#include "LogWrapper.h"
#include "ProfileConversions.h"
#include "SettingFields.h"
#include "WdsFields.h"

namespace velo {

namespace {

/// The modem's limit, without the terminator.
constexpr std::size_t kMaxApnNameLength = kWdsApnNameSize - 1;

/// The form in which APN names are kept and compared.
std::string normalizeApnName(std::string apnName) {
    apnName.resize(std::min(apnName.size(), kMaxApnNameLength));
    return convertToLower(std::move(apnName));
}

bool isSet(unsigned int bits, FilterMatchType criterion) {
    return (bits & static_cast<unsigned int>(criterion)) != 0;
}

bool matchApnName(const std::optional<std::string>& own, const FilterProfileParams& params) {
    if (!params.hasApnName()) return true;
    if (!own) return false;
    const std::string requested = normalizeApnName(params.getApnName());
    return isSet(params.getFilterMatchCriteria(), FilterMatchType::ApnNameSubset)
               ? own->find(requested) != std::string::npos
               : *own == requested;
}

/// A count that is off by 2^32 would keep or drop profiles at random: there is no going on from
/// there.
int countBy(int count, int step) {
    int result = 0;
    if (__builtin_add_overflow(count, step, &result)) std::abort();
    return result;
}

}  // namespace

ModemProfile::ModemProfile(ProfileParams& params)
    : mUserName(setting::kUserName.read(params)),
      mPassword(setting::kPassword.read(params)),
      mAuthType(setting::kAuthType.read(params)),
      mApnClass(setting::kApnClass.read(params)),
      mIsClatEnabled(setting::kIsClatEnabled.read(params)) {
    if (params.hasApnName()) mApnName = normalizeApnName(params.getApnName());
    if (params.hasApnTypesMask()) {
        mApnTypesMask = convertToMoxApnTypeMask(params.getApnTypesMask());
    }
}

ModemProfile::ModemProfile(TechType techType, int profileId,
                           const wds_get_profile_settings_resp_msg_v01& response)
    : mTechType(techType),
      mProfileId(profileId),
      mIsPersistent(readField(response.persistent, castTo<bool>).value_or(false)),
      mApnTypesMask(readField(response.settings.apn_type_mask, castTo<unsigned long long>)),
      mIsClatEnabled(readField(response.settings.clat_enabled, castTo<bool>)) {}

ModemProfile::~ModemProfile() {
    logLine(LogLevel::Debug, "~ModemProfile()");
    for (const auto& listener : mExpirationListeners) {
        if (expired(listener)) continue;
        logLine(LogLevel::Debug, "invoke callback");
        listener.first();
    }
}

bool ModemProfile::match(FilterProfileParams& params) {
    if (params.hasFilterByTechType() && params.getFilterByTechType() != mTechType) return false;
    if (!matchApnName(mApnName, params)) return false;
    if (setting::kUserName.differs(params, mUserName)) return false;
    if (setting::kPassword.differs(params, mPassword)) return false;
    if (setting::kAuthType.differs(params, mAuthType)) return false;
    if (!matchApnTypes(params)) return false;
    if (setting::kApnClass.differs(params, mApnClass)) return false;
    if (setting::kIsClatEnabled.differs(params, mIsClatEnabled)) return false;
    return !params.hasFilterByProfileId() || params.getFilterByProfileId() == mProfileId;
}

bool ModemProfile::matchApnTypes(const FilterProfileParams& params) const {
    if (!params.hasApnTypesMask()) return true;
    if (!mApnTypesMask) return false;
    return isSet(params.getFilterMatchCriteria(), FilterMatchType::ApnTypeBitmaskSubset)
               ? matchSubsetApnTypesMask(params.getApnTypesMask())
               : matchExactApnTypesMask(params.getApnTypesMask());
}

bool ModemProfile::fitsIPType(IPType own, IPType requested, const FilterProfileParams& filter,
                              FilterMatchType subset, FilterMatchType superset) {
    const auto ownBits = static_cast<unsigned int>(own);
    const auto requestedBits = static_cast<unsigned int>(requested);
    const unsigned int criteria = filter.getFilterMatchCriteria();
    return ownBits == requestedBits ||
           (isSet(criteria, subset) && (requestedBits & ~ownBits) == 0) ||
           (isSet(criteria, superset) && (ownBits & ~requestedBits) == 0);
}

bool ModemProfile::matchSubsetApnTypesMask(unsigned int mask) const {
    return (convertToMoxApnTypeMask(mask) & ~getApnTypesMask()) == 0;
}

bool ModemProfile::matchExactApnTypesMask(unsigned int mask) const {
    return convertToMoxApnTypeMask(mask) == getApnTypesMask();
}

void ModemProfile::apply(std::shared_ptr<ModemProfile> delta) {
    if (!delta) return;
    if (delta->mApnName) mApnName = normalizeApnName(std::move(*delta->mApnName));
    merge(mUserName, delta->mUserName);
    merge(mPassword, delta->mPassword);
    merge(mAuthType, delta->mAuthType);
    merge(mCommonIPType, delta->mCommonIPType);
    merge(mApnTypesMask, delta->mApnTypesMask);
    merge(mApnClass, delta->mApnClass);
    merge(mIsClatEnabled, delta->mIsClatEnabled);
}

void ModemProfile::updateDiffParameters(const ModifyProfileParams& requested,
                                        ProfileParams& changes, bool& changed) const {
    if (requested.hasApnName()) {
        std::string apnName = normalizeApnName(requested.getApnName());
        if (mApnName != apnName) {
            changes.setApnName(std::move(apnName));
            changed = true;
        }
    }
    setting::kUserName.collect(requested, mUserName, changes, changed);
    setting::kPassword.collect(requested, mPassword, changes, changed);
    setting::kAuthType.collect(requested, mAuthType, changes, changed);
    if (requested.hasApnTypesMask() &&
        mApnTypesMask != convertToMoxApnTypeMask(requested.getApnTypesMask())) {
        changes.setApnTypesMask(requested.getApnTypesMask());
        changed = true;
    }
    setting::kApnClass.collect(requested, mApnClass, changes, changed);
    setting::kIsClatEnabled.collect(requested, mIsClatEnabled, changes, changed);
}

void ModemProfile::updateGetParameters(FilterProfileParams& out) const {
    setting::kApnName.write(out, mApnName);
    setting::kUserName.write(out, mUserName);
    setting::kPassword.write(out, mPassword);
    setting::kAuthType.write(out, mAuthType);
    if (mApnTypesMask) out.setApnTypesMask(convertToCommonApnTypeMask(*mApnTypesMask));
    setting::kApnClass.write(out, mApnClass);
    setting::kIsClatEnabled.write(out, mIsClatEnabled);
}

void ModemProfile::updateAddParameters(wds_create_profile_req_msg_v01& request) const {
    request = {};
    writeField(request.persistent, std::optional(mIsPersistent));
    fillCommonSettings(request.settings);
}

void ModemProfile::updateModifyParameters(wds_modify_profile_settings_req_msg_v01& request) const {
    request = {};
    request.profile = constructProfileIdentifier();
    fillCommonSettings(request.settings);
}

void ModemProfile::fillCommonSettings(wds_profile_settings_v01& settings) const {
    writeField(settings.apn_type_mask, mApnTypesMask);
    writeField(settings.clat_enabled, mIsClatEnabled);
}

wds_profile_identifier_v01 ModemProfile::constructProfileIdentifier() const {
    return convertToProfileIdentifier(mTechType, mProfileId);
}

void ModemProfile::registerExpirationListener(std::function<void()> callback,
                                              std::weak_ptr<IProfileKey> key) {
    mExpirationListeners.emplace_back(std::move(callback), std::move(key));
}

void ModemProfile::clearExpiredListeners() {
    mExpirationListeners.remove_if(expired);
}

void ModemProfile::incRefCount() {
    mRefCount = countBy(mRefCount, 1);
}

void ModemProfile::decRefCount() {
    mRefCount = countBy(mRefCount, -1);
}

std::string ModemProfile::dump() {
    TextStream out;
    out << "TechType=" << mTechType << ",ProfileId=" << mProfileId << ',';
    dumpItem(out, "ApnName=", mApnName);
    dumpItem(out, "UserName=", mUserName);
    dumpItem(out, "Password=", mPassword);
    dumpItem(out, "AuthType=", mAuthType);
    dumpItem(out, "CommonIPType=", mCommonIPType);
    dumpItem(out, "ApnTypesMask=", mApnTypesMask);
    dumpItem(out, "ApnClass=", mApnClass);
    dumpItem(out, "IsClatEnabled=", mIsClatEnabled);
    return out.str();
}

}  // namespace velo
