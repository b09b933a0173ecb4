// SPDX-License-Identifier: Apache-2.0
//
// The answers of the worker thread, one class for each operation. A response is made by the worker,
// handed to the thread that waits for it, and not changed afterwards.

#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>

#include "ClientRequest.h"
#include "velo/IProfileKey.h"
#include "velo/ProfileParams.h"

namespace velo {

/// Whether the worker could carry out a request.
enum class Status : int { Success = 0, Failure = 1 };

class ClientResponse {
public:
    explicit ClientResponse(ReqRespType type);
    ClientResponse(const ClientResponse&) = delete;
    ClientResponse& operator=(const ClientResponse&) = delete;
    virtual ~ClientResponse();

    /// One line for the log.
    virtual std::string dump();

    ReqRespType getResponseType() { return mType; }
    Status getStatus() { return mStatus; }

protected:
    void setStatus(Status status) { mStatus = status; }

private:
    Status mStatus = Status::Success;
    ReqRespType mType;
};

class AddResponse : public ClientResponse {
public:
    AddResponse(Status status, std::shared_ptr<IProfileKey> key);
    std::string dump() override;

    std::shared_ptr<IProfileKey> getAddProfileKey() { return mKey; }

private:
    std::shared_ptr<IProfileKey> mKey;
};

class ModifyResponse : public ClientResponse {
public:
    explicit ModifyResponse(Status status);
};

class DeleteResponse : public ClientResponse {
public:
    explicit DeleteResponse(Status status);
};

class FilterResponse : public ClientResponse {
public:
    FilterResponse(Status status, std::list<std::shared_ptr<IProfileKey>> keys);
    std::string dump() override;

    std::list<std::shared_ptr<IProfileKey>> getFilterResult() { return mKeys; }

private:
    std::list<std::shared_ptr<IProfileKey>> mKeys;
};

class MatchResponse : public ClientResponse {
public:
    MatchResponse(Status status, bool matches);
    std::string dump() override;

    bool getMatchResult() { return mMatches; }

private:
    bool mMatches;
};

class GetResponse : public ClientResponse {
public:
    GetResponse(Status status, std::optional<ProfileParams> params);
    std::string dump() override;

    std::optional<ProfileParams> getParams() { return mParams; }

private:
    std::optional<ProfileParams> mParams;
};

class CallbackResponse : public ClientResponse {
public:
    explicit CallbackResponse(Status status);
};

class RefreshResponse : public ClientResponse {
public:
    explicit RefreshResponse(Status status);
};

}  // namespace velo
