// SPDX-License-Identifier: Apache-2.0
//
// The orders that travel to the worker thread, one class for each operation. A request is made by
// the thread that submits it, shared with the worker, and not changed once it was handed over.

#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "EnumText.h"
#include "velo/AddProfileParams.h"
#include "velo/FilterProfileParams.h"
#include "velo/IProfileKey.h"
#include "velo/ModifyProfileParams.h"

namespace velo {

class ClientRequest;
class ClientResponse;

/// Posts a request to the worker and returns its response, empty when it was not carried out. The
/// request may end with the call.
using PostRequest = std::function<std::shared_ptr<ClientResponse>(std::shared_ptr<ClientRequest>)>;

/// Which operation a request asks for, and a response answers.
enum class ReqRespType : int { Add = 0, Modify, Delete, Filter, Match, Get, Callback, Refresh };

TextStream& operator<<(TextStream& out, ReqRespType type);
std::ostream& operator<<(std::ostream& out, ReqRespType type);

/// A key's text; `none` when there is no key.
std::string keyText(const std::shared_ptr<IProfileKey>& key, const char* none);

class ClientRequest {
public:
    explicit ClientRequest(ReqRespType type);
    ClientRequest(const ClientRequest&) = delete;
    ClientRequest& operator=(const ClientRequest&) = delete;
    virtual ~ClientRequest();

    /// One line for the log.
    virtual std::string dump();

    ReqRespType getRequestType() { return mType; }

private:
    ReqRespType mType;
};

class AddRequest : public ClientRequest {
public:
    explicit AddRequest(AddProfileParams params);
    std::string dump() override;

    AddProfileParams getAddProfileParams() { return mParams; }

private:
    AddProfileParams mParams;
};

class ModifyRequest : public ClientRequest {
public:
    ModifyRequest(ModifyProfileParams params, std::shared_ptr<IProfileKey> key);
    std::string dump() override;

    ModifyProfileParams getModifyProfileParams() { return mParams; }
    std::shared_ptr<IProfileKey> getModifyProfileKey() { return mKey; }

private:
    ModifyProfileParams mParams;
    std::shared_ptr<IProfileKey> mKey;
};

class DeleteRequest : public ClientRequest {
public:
    explicit DeleteRequest(std::shared_ptr<IProfileKey> key);
    std::string dump() override;

    std::shared_ptr<IProfileKey> getDeleteProfileKey() { return mKey; }

private:
    std::shared_ptr<IProfileKey> mKey;
};

class FilterRequest : public ClientRequest {
public:
    explicit FilterRequest(FilterProfileParams params);
    std::string dump() override;

    FilterProfileParams getFilterParams() { return mParams; }

private:
    FilterProfileParams mParams;
};

class MatchRequest : public ClientRequest {
public:
    MatchRequest(FilterProfileParams params, std::shared_ptr<IProfileKey> key);
    std::string dump() override;

    FilterProfileParams getMatchParams() { return mParams; }
    std::shared_ptr<IProfileKey> getMatchKey() { return mKey; }

private:
    FilterProfileParams mParams;
    std::shared_ptr<IProfileKey> mKey;
};

class GetRequest : public ClientRequest {
public:
    explicit GetRequest(std::shared_ptr<IProfileKey> key);
    std::string dump() override;

    std::shared_ptr<IProfileKey> getProfileKey() { return mKey; }

private:
    std::shared_ptr<IProfileKey> mKey;
};

/// What a key orders: the release of its token, or the registration of an expiration listener. It
/// is filled before it is submitted and holds the key weakly. When both are set, the release
/// counts.
class CallbackRequest : public ClientRequest {
public:
    CallbackRequest();
    std::string dump() override;

    void setReleaseToken(unsigned long long token) { mReleaseToken = token; }
    bool hasReleaseToken() { return mReleaseToken.has_value(); }
    unsigned long long getReleaseToken() { return mReleaseToken.value_or(0); }

    void setExpirationInfo(std::function<void()> cb, std::weak_ptr<IProfileKey> key,
                           unsigned long long token);
    bool hasExpirationInfo();
    std::function<void()> getExpirationCb() { return mExpirationCb.value_or(nullptr); }
    std::weak_ptr<IProfileKey> getExpirationKey();
    unsigned long long getExpirationToken() { return mExpirationToken.value_or(0); }

private:
    std::optional<unsigned long long> mReleaseToken;
    std::optional<unsigned long long> mExpirationToken;
    std::optional<std::function<void()>> mExpirationCb;
    std::optional<std::weak_ptr<IProfileKey>> mExpirationKey;
};

class RefreshRequest : public ClientRequest {
public:
    explicit RefreshRequest(PDCRefreshStatus status);

    PDCRefreshStatus getRefreshStatus() { return mStatus; }

private:
    PDCRefreshStatus mStatus;
};

}  // namespace velo
