// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ClientRequest.h"
#include "velo/IProfileKey.h"

namespace velo {

/// The one kind of key. Made by the cache on the worker thread, always by std::make_shared; shared
/// by callers and dropped on any thread. It never changes, and names its profile by token only: the
/// cache alone holds the profile.
class ProfileKey : public IProfileKey {
public:
    ProfileKey(TechType techType, int profileId, unsigned long long token, PostRequest postRequest);
    /// Shares the function with other keys: there are thousands of them, and a copy of it is large.
    ProfileKey(TechType techType, int profileId, unsigned long long token,
               std::shared_ptr<const PostRequest> postRequest);

    /// Posts the release and waits until the worker has carried it out.
    ~ProfileKey() override;

    int getProfileId() override { return mProfileId; }
    TechType getTechType() override { return mTechType; }
    void registerExpirationListener(std::function<void()> listener) override;
    std::string dump() override;

    unsigned long long getToken() { return mToken; }

private:
    void release(const std::shared_ptr<CallbackRequest>& request);

    TechType mTechType;
    int mProfileId;
    unsigned long long mToken;
    std::shared_ptr<const PostRequest> mPostRequest;
};

}  // namespace velo
