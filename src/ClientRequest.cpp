// SPDX-License-Identifier: Apache-2.0

#include "ClientRequest.h"

#include <utility>

namespace velo {

namespace {

constexpr const char* kReqRespTypes[] = {"Add",   "Modify", "Delete",   "Filter",
                                         "Match", "Get",    "Callback", "Refresh"};

}  // namespace

TextStream& operator<<(TextStream& out, ReqRespType type) {
    return writeEnum(out, type, kReqRespTypes);
}

std::ostream& operator<<(std::ostream& out, ReqRespType type) {
    return writeText(out, type);
}

std::string keyText(const std::shared_ptr<IProfileKey>& key, const char* none) {
    return key ? key->dump() : none;
}

ClientRequest::ClientRequest(ReqRespType type) : mType(type) {}

ClientRequest::~ClientRequest() = default;

std::string ClientRequest::dump() {
    TextStream out;
    out << mType << " ";
    return out.str();
}

AddRequest::AddRequest(AddProfileParams params)
    : ClientRequest(ReqRespType::Add), mParams(std::move(params)) {}

std::string AddRequest::dump() {
    return ClientRequest::dump() + mParams.dump();
}

ModifyRequest::ModifyRequest(ModifyProfileParams params, std::shared_ptr<IProfileKey> key)
    : ClientRequest(ReqRespType::Modify), mParams(std::move(params)), mKey(std::move(key)) {}

std::string ModifyRequest::dump() {
    return ClientRequest::dump() + keyText(mKey, "") + " " + mParams.dump();
}

DeleteRequest::DeleteRequest(std::shared_ptr<IProfileKey> key)
    : ClientRequest(ReqRespType::Delete), mKey(std::move(key)) {}

std::string DeleteRequest::dump() {
    return ClientRequest::dump() + keyText(mKey, "");
}

FilterRequest::FilterRequest(FilterProfileParams params)
    : ClientRequest(ReqRespType::Filter), mParams(std::move(params)) {}

std::string FilterRequest::dump() {
    return ClientRequest::dump() + "params: " + mParams.dump();
}

MatchRequest::MatchRequest(FilterProfileParams params, std::shared_ptr<IProfileKey> key)
    : ClientRequest(ReqRespType::Match), mParams(std::move(params)), mKey(std::move(key)) {}

std::string MatchRequest::dump() {
    return ClientRequest::dump() + keyText(mKey, "") + " " + mParams.dump();
}

GetRequest::GetRequest(std::shared_ptr<IProfileKey> key)
    : ClientRequest(ReqRespType::Get), mKey(std::move(key)) {}

std::string GetRequest::dump() {
    return ClientRequest::dump() + keyText(mKey, "");
}

CallbackRequest::CallbackRequest() : ClientRequest(ReqRespType::Callback) {}

std::string CallbackRequest::dump() {
    std::string text = ClientRequest::dump();
    if (hasReleaseToken()) {
        return text + "Release " + std::to_string(*mReleaseToken);
    }
    if (hasExpirationInfo()) {
        return text + "Register " + keyText(mExpirationKey->lock(), "null") +
               std::to_string(*mExpirationToken);
    }
    return text;
}

void CallbackRequest::setExpirationInfo(std::function<void()> cb, std::weak_ptr<IProfileKey> key,
                                        unsigned long long token) {
    mExpirationCb = std::move(cb);
    mExpirationKey = std::move(key);
    mExpirationToken = token;
}

bool CallbackRequest::hasExpirationInfo() {
    return mExpirationToken.has_value();
}

std::weak_ptr<IProfileKey> CallbackRequest::getExpirationKey() {
    return mExpirationKey.value_or(std::weak_ptr<IProfileKey>());
}

RefreshRequest::RefreshRequest(PDCRefreshStatus status)
    : ClientRequest(ReqRespType::Refresh), mStatus(status) {}

}  // namespace velo
