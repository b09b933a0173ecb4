// SPDX-License-Identifier: Apache-2.0

#include "ClientResponse.h"

#include <utility>

#include "EnumText.h"

namespace velo {

namespace {

constexpr const char* kStatuses[] = {"Success", "Failure"};

}  // namespace

ClientResponse::ClientResponse(ReqRespType type) : mType(type) {}

ClientResponse::~ClientResponse() = default;

std::string ClientResponse::dump() {
    TextStream out;
    out << mType << " ";
    writeEnum(out, mStatus, kStatuses);
    return out.str();
}

AddResponse::AddResponse(Status status, std::shared_ptr<IProfileKey> key)
    : ClientResponse(ReqRespType::Add), mKey(std::move(key)) {
    setStatus(status);
}

std::string AddResponse::dump() {
    return ClientResponse::dump() + " " + keyText(mKey, "");
}

ModifyResponse::ModifyResponse(Status status) : ClientResponse(ReqRespType::Modify) {
    setStatus(status);
}

DeleteResponse::DeleteResponse(Status status) : ClientResponse(ReqRespType::Delete) {
    setStatus(status);
}

FilterResponse::FilterResponse(Status status, std::list<std::shared_ptr<IProfileKey>> keys)
    : ClientResponse(ReqRespType::Filter), mKeys(std::move(keys)) {
    setStatus(status);
}

std::string FilterResponse::dump() {
    std::string text = ClientResponse::dump() + " ";
    for (const auto& key : mKeys) {
        text += keyText(key, "null") + ",";
    }
    return text;
}

MatchResponse::MatchResponse(Status status, bool matches)
    : ClientResponse(ReqRespType::Match), mMatches(matches) {
    setStatus(status);
}

std::string MatchResponse::dump() {
    return ClientResponse::dump() + (mMatches ? " true" : " false");
}

GetResponse::GetResponse(Status status, std::optional<ProfileParams> params)
    : ClientResponse(ReqRespType::Get), mParams(std::move(params)) {
    setStatus(status);
}

std::string GetResponse::dump() {
    return ClientResponse::dump() + " " + (mParams ? mParams->dump() : "");
}

CallbackResponse::CallbackResponse(Status status) : ClientResponse(ReqRespType::Callback) {
    setStatus(status);
}

RefreshResponse::RefreshResponse(Status status) : ClientResponse(ReqRespType::Refresh) {
    setStatus(status);
}

}  // namespace velo
