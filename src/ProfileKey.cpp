// SPDX-License-Identifier: Apache-2.0

#include "ProfileKey.h"

#include <memory>
#include <new>
#include <utility>

#include "EnumText.h"
#include "LogWrapper.h"
#include "OutOfMemory.h"

namespace velo {

ProfileKey::ProfileKey(TechType techType, int profileId, unsigned long long token,
                       PostRequest postRequest)
    : ProfileKey(techType, profileId, token,
                 std::make_shared<const PostRequest>(std::move(postRequest))) {}

ProfileKey::ProfileKey(TechType techType, int profileId, unsigned long long token,
                       std::shared_ptr<const PostRequest> postRequest)
    : mTechType(techType),
      mProfileId(profileId),
      mToken(token),
      mPostRequest(std::move(postRequest)) {}

ProfileKey::~ProfileKey() {
    std::shared_ptr<CallbackRequest> request;
    try {
        request = std::make_shared<CallbackRequest>();
    } catch (const std::bad_alloc&) {
        // A release must not want for memory.
        CallbackRequest local;
        release(std::shared_ptr<CallbackRequest>(std::shared_ptr<void>(), &local));
        return;
    }
    release(request);
}

void ProfileKey::release(const std::shared_ptr<CallbackRequest>& request) {
    request->setReleaseToken(mToken);
    (*mPostRequest)(request);
    logLine(LogLevel::Debug, "~ProfileKey");
}

void ProfileKey::registerExpirationListener(std::function<void()> listener) {
    orNothing([&] {
        const auto request = std::make_shared<CallbackRequest>();
        request->setExpirationInfo(std::move(listener), weak_from_this(), mToken);
        (*mPostRequest)(request);
    });
}

std::string ProfileKey::dump() {
    TextStream out;
    out << mTechType << ":" << mProfileId << " token=" << mToken;
    return out.str();
}

}  // namespace velo
