// SPDX-License-Identifier: Apache-2.0

#include "MoxWdsProxy.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "LogWrapper.h"
#include "Modem3gpp2Profile.h"
#include "Modem3gppProfile.h"
#include "OutOfMemory.h"
#include "ProfileConversions.h"

namespace velo {
namespace {

constexpr unsigned int kTimeoutMs = 1000;
constexpr ssize_t kCounterSize = 8;
constexpr std::uint32_t kEveryTechnology = 0xFF;
constexpr std::uint32_t kEveryProfile = 0xFFFFFFFF;

void release(mox_client_type& handle) {
    if (handle == nullptr) return;
    mox_client_release(handle);
    handle = nullptr;
}

/// The modem counts from 1; whatever it may mean beyond the known events asks for a rebuild.
ProfileChangedEvent convertEvent(wds_profile_event_enum_v01 event) {
    const std::uint32_t index = static_cast<std::uint32_t>(event) - 1;
    return index <= 3 ? static_cast<ProfileChangedEvent>(index) : ProfileChangedEvent::ProfileReady;
}

std::shared_ptr<ModemProfile> makeImage(const wds_profile_identifier_v01& id,
                                        const wds_get_profile_settings_resp_msg_v01& response) {
    switch (convertProfileType(id.profile_type)) {
        case TechType::TECH_3GPP2:
            return std::make_shared<Modem3gpp2Profile>(id.profile_index, response);
        case TechType::TECH_3GPP:
            return std::make_shared<Modem3gppProfile>(id.profile_index, response);
    }
    logLine(LogLevel::Error, "MoxWdsProxy invalid tech type!");
    return nullptr;
}

}  // namespace

MoxWdsProxy::HandledFd::HandledFd(EventManager& eventManager, EventCallback callback,
                                  MoxWdsProxy* proxy)
    : mEventManager(eventManager) {
    mEventManager.addEventHandler(get(), callback, proxy, nullptr, EPOLLIN);
}

MoxWdsProxy::HandledFd::~HandledFd() {
    mEventManager.removeEventHandler(get());
}

MoxWdsProxy::MoxWdsProxy(EventManager& eventManager, int instance)
    : mInstance(instance),
      mServiceObject(
          wds_get_service_object_internal_v01(kWdsMajorVersion, kWdsMinorVersion, kWdsToolVersion)),
      mSvcUpFd(eventManager, handleSvcUp, this),
      mErrorFd(eventManager, handleError, this),
      mIndFd(eventManager, handleIndication, this) {
    registerMoxSvcUp();
    registerProfileChangedInd([](ProfileChangedInd) {
        logLine(LogLevel::Debug, "MoxWdsProxy::no profileChangedIndCb registered!");
    });
}

MoxWdsProxy::~MoxWdsProxy() {
    // The messaging library's threads write to the descriptors until both handles are gone.
    release(mNotifier);
    release(mClient);
}

void MoxWdsProxy::registerProfileChangedInd(std::function<void(ProfileChangedInd)> callback) {
    mProfileChangedIndCb = std::move(callback);
}

void MoxWdsProxy::registerMoxSvcUp() {
    logLine(LogLevel::Event, "MoxWdsProxy::registerMoxSvcUp");
    if (mServiceObject == nullptr) {
        logLine(LogLevel::Error, "cannot obtain service obj, fatal error");
        return;
    }
    const int rc = openNotifier();
    if (rc != 0) logLine(LogLevel::Error, "mox_client_notifier_init error. ErrCode : %d", rc);
}

int MoxWdsProxy::openNotifier() {
    release(mNotifier);
    mOsParams = {};
    int rc = mox_client_notifier_init(mServiceObject, &mOsParams, &mNotifier);
    if (rc != 0) {
        mNotifier = nullptr;
        return rc;
    }
    rc = mox_client_register_notify_cb(mNotifier, moxNotifyCb, this);
    if (rc != 0) release(mNotifier);
    return rc;
}

void MoxWdsProxy::moxNotifyCb(mox_client_type, mox_service_object_type, unsigned int serviceEvent,
                              void* data) {
    if (data == nullptr) {
        logLine(LogLevel::Error, "MoxWdsProxy instance is null");
        return;
    }
    if (serviceEvent != MOX_SERVICE_AVAILABLE) {
        logLine(LogLevel::Error, "MoxWdsProxy notify cb: unsupported service event");
        return;
    }
    const ssize_t rv = static_cast<MoxWdsProxy*>(data)->mSvcUpFd.signal();
    if (rv < kCounterSize) {
        logLine(LogLevel::Error, "error in writing rv:%d, error:%s", static_cast<int>(rv),
                std::strerror(errno));
    }
}

void MoxWdsProxy::handleSvcUp(int fd, void* data) {
    logLine(LogLevel::Debug, "MoxWdsProxy service is up, trying to initialize svc client");
    EventFd::drain(fd);
    if (data == nullptr) {
        logLine(LogLevel::Error, "MoxWdsProxy instance is null");
        return;
    }
    static_cast<MoxWdsProxy*>(data)->openClient();
}

void MoxWdsProxy::openClient() {
    mox_service_info info{};
    if (mox_client_get_any_service(mServiceObject, &info) != 0) {
        logLine(LogLevel::Error, "error get service.");
        return;
    }
    if (mClient != nullptr) {
        release(mNotifier);
        logLine(LogLevel::Debug,
                "MoxWdsProxy client is already present, so skipping client initialization.");
        return;
    }
    mOsParams = {};
    int rc = mox_client_init(&info, mServiceObject, moxIndCb, this, &mOsParams, &mClient);
    if (rc != 0) {
        // The notifier stays, so that the service's next coming is heard.
        mClient = nullptr;
        logLine(LogLevel::Error, "mox_client_init error. ErrCode : %d", rc);
        return;
    }
    release(mNotifier);
    rc = mox_client_register_error_cb(mClient, moxErrorCb, this);
    logLine(LogLevel::Debug, "mox_client_register_error_cb result: %d", rc);
    registerMoxIndications();
}

void MoxWdsProxy::registerMoxIndications() {
    wds_result_resp_msg_v01 response{};

    wds_bind_subscription_req_msg_v01 bind{};
    bind.instance = static_cast<std::uint32_t>(mInstance);
    tracedExchange(kWdsBindSubscriptionReq, bind, response, LogLevel::Debug, "bind req",
                   "bind register");

    wds_indication_register_req_msg_v01 registration{};
    registration.report_profile_changes = {1, 1};
    response = {};
    tracedExchange(kWdsIndicationRegisterReq, registration, response, LogLevel::Debug,
                   "indication req", "indication register");

    wds_configure_profile_event_list_req_msg_v01 events{};
    events.events_valid = 1;
    events.events_len = 1;
    events.events[0] = {kEveryTechnology, kEveryProfile};
    events.report_subscription_changes = {1, 1};
    response = {};
    tracedExchange(kWdsConfigureProfileEventListReq, events, response, LogLevel::Debug,
                   "config req", "config register");
}

void MoxWdsProxy::moxErrorCb(mox_client_type, int, void* data) {
    logLine(LogLevel::Debug, "src/MoxWdsProxy:%d:%s", __LINE__, "moxErrorCb");
    if (data == nullptr) {
        logLine(LogLevel::Error, "MoxWdsProxy NULL in moxErrorCb");
        return;
    }
    const ssize_t rv = static_cast<MoxWdsProxy*>(data)->mErrorFd.signal();
    if (rv < kCounterSize) {
        logLine(LogLevel::Error, "error in writing rv: %d, error: %s", static_cast<int>(rv),
                std::strerror(errno));
    }
}

void MoxWdsProxy::handleError(int fd, void* data) {
    logLine(LogLevel::Debug, "src/MoxWdsProxy:%d:%s", __LINE__, "handleError");
    EventFd::drain(fd);
    if (data == nullptr) {
        logLine(LogLevel::Error, "arg is null");
        return;
    }
    auto& proxy = *static_cast<MoxWdsProxy*>(data);
    release(proxy.mClient);
    logLine(LogLevel::Info, "Handling modem down");
    proxy.registerMoxSvcUp();
}

void MoxWdsProxy::moxIndCb(mox_client_type client, unsigned int msgId, void* indBuf,
                           unsigned int indBufLen, void* data) {
    logLine(LogLevel::Verbose, "%s:%d",
            "static void velo::MoxWdsProxy::moxIndCb(mox_client_type, unsigned int, void *, "
            "unsigned int, void *)",
            __LINE__);
    if (indBufLen == 0 || indBuf == nullptr || data == nullptr) {
        logLine(LogLevel::Error, "The ind_cb_data/ind_buf is null or ind_buf_len is %d",
                static_cast<int>(indBufLen));
        return;
    }
    // No exception may pass through the messaging library.
    orNothing([&] { static_cast<MoxWdsProxy*>(data)->queue(client, msgId, indBuf, indBufLen); });
}

void MoxWdsProxy::queue(mox_client_type client, unsigned int msgId, const void* indBuf,
                        unsigned int indBufLen) {
    auto entry = std::make_unique<IndInfo_t>();
    *entry = {client, msgId, std::make_unique<std::uint8_t[]>(indBufLen), indBufLen, this};
    std::memcpy(entry->buffer.get(), indBuf, indBufLen);
    {
        const std::lock_guard lock(mIndMutex);
        mIndQueue.push_back(std::move(entry));
    }
    const ssize_t rv = mIndFd.signal();
    if (rv < kCounterSize) {
        logLine(LogLevel::Error, "Error in writing rv: %d, error: %s", static_cast<int>(rv),
                std::strerror(errno));
    }
}

void MoxWdsProxy::handleIndication(int fd, void* data) {
    EventFd::drain(fd);
    if (data == nullptr) {
        logLine(LogLevel::Error, "handleIndication: arg is null");
        return;
    }
    static_cast<MoxWdsProxy*>(data)->drainIndications();
}

void MoxWdsProxy::drainIndications() {
    bool goOn = true;
    while (goOn && !mStopped) {
        std::unique_ptr<IndInfo_t> entry;
        std::size_t size = 0;
        {
            const std::lock_guard lock(mIndMutex);
            size = mIndQueue.size();
            if (size > 0) {
                entry = std::move(mIndQueue.front());
                mIndQueue.pop_front();
            }
        }
        logLine(LogLevel::Debug, "MoxWdsProxy: handleIndication indQueue.size[%d]",
                static_cast<int>(size));
        if (size == 0) return;
        // One that there is no memory for is lost, as one that cannot be decoded is.
        orNothing([&] { goOn = handleEntry(std::move(entry)); });
    }
}

bool MoxWdsProxy::handleEntry(std::unique_ptr<IndInfo_t> entry) {
    if (entry == nullptr) {
        logLine(LogLevel::Error, "MoxWdsProxy nullptr in handleIndication");
        return false;
    }
    if (entry->client != mClient) {
        logLine(LogLevel::Debug, "MoxWdsProxy indication of a released client dropped");
        return true;
    }
    if (entry->msgId != kWdsProfileChangedInd) {
        logLine(LogLevel::Verbose, "Unknown message ID %lu received",
                static_cast<unsigned long>(entry->msgId));
        return true;
    }
    wds_profile_changed_ind_msg_v01 indication{};
    if (mox_client_message_decode(mClient, MOX_MESSAGE_INDICATION, entry->msgId,
                                  entry->buffer.get(), entry->length, &indication,
                                  sizeof(indication)) != 0) {
        logLine(LogLevel::Error, "Unable to decode the nr status ind message");
        mUndecoded.push_back(std::move(entry));
        return false;
    }
    if (indication.profile_changed.valid == 0) {
        logLine(LogLevel::Error, "Profile changed ind TLV is not valid");
        return true;
    }
    handleProfileChangedInd(indication.profile_changed.value);
    return true;
}

void MoxWdsProxy::handleProfileChangedInd(wds_profile_changed_ind_type_v01 record) {
    logLine(LogLevel::Debug, "MoxWdsProxy ProfileChangedInd received!");
    mProfileChangedIndCb({convertProfileType(record.profile_type), record.profile_index,
                          convertEvent(record.event)});
}

template <typename Request, typename Response>
bool MoxWdsProxy::exchange(unsigned int messageId, const Request& request, Response& response) {
    const int rc = mox_client_send_msg_sync(mClient, messageId, &request, sizeof(request),
                                            &response, sizeof(response), kTimeoutMs);
    return rc == 0 && response.response.result == WDS_RESULT_SUCCESS;
}

template <typename Request, typename Response>
bool MoxWdsProxy::tracedExchange(unsigned int messageId, const Request& request, Response& response,
                                 LogLevel level, const char* failed, const char* succeeded) {
    // Not begun is not failed: the log stays silent.
    if (mStopped) return false;
    // Neither was to be had when the modem went: without a notifier it would never come back. In
    // silence, as every call comes by here until one is to be had.
    if (mClient == nullptr && mNotifier == nullptr && mServiceObject != nullptr) openNotifier();
    if (!exchange(messageId, request, response)) {
        logLine(LogLevel::Error, "Unable send %s message", failed);
        return false;
    }
    logLine(level, "MoxWdsProxy %s request successful!", succeeded);
    return true;
}

template <typename Request, typename Response>
bool MoxWdsProxy::operate(unsigned int messageId, const Request& request, Response& response,
                          const char* name) {
    return tracedExchange(messageId, request, response, LogLevel::Event, name, name);
}

bool MoxWdsProxy::add(ModemProfile& profile) {
    const wds_create_profile_req_msg_v01 request = profile.constructAddRequest();
    wds_create_profile_resp_msg_v01 response{};
    if (!operate(kWdsCreateProfileReq, request, response, "MOX_WDS_CREATE_PROFILE_REQ_V01")) {
        return false;
    }
    profile.setProfileId(response.profile.profile_index);
    return true;
}

bool MoxWdsProxy::modify(ModemProfile& profile, TechType tech, int profileId) {
    wds_modify_profile_settings_req_msg_v01 request = profile.constructModifyRequest();
    request.profile = convertToProfileIdentifier(tech, profileId);
    wds_modify_profile_settings_resp_msg_v01 response{};
    return operate(kWdsModifyProfileSettingsReq, request, response,
                   "MOX_WDS_MODIFY_PROFILE_SETTINGS_REQ_V01");
}

bool MoxWdsProxy::remove(TechType tech, int profileId) {
    const wds_delete_profile_req_msg_v01 request{convertToProfileIdentifier(tech, profileId)};
    wds_delete_profile_resp_msg_v01 response{};
    return operate(kWdsDeleteProfileReq, request, response, "MOX_WDS_DELETE_PROFILE_REQ_V01");
}

std::shared_ptr<ModemProfile> MoxWdsProxy::get(TechType tech, int profileId) {
    const wds_get_profile_settings_req_msg_v01 request{convertToProfileIdentifier(tech, profileId)};
    wds_get_profile_settings_resp_msg_v01 response{};
    if (!operate(kWdsGetProfileSettingsReq, request, response,
                 "MOX_WDS_GET_PROFILE_SETTINGS_REQ_V01")) {
        return nullptr;
    }
    return orNothing([&] { return makeImage(request.profile, response); });
}

std::list<std::shared_ptr<ModemProfile>> MoxWdsProxy::getAllProfiles() {
    std::list<std::shared_ptr<ModemProfile>> profiles;
    wds_get_profile_list_resp_msg_v01 response{};
    if (appendProfiles(WDS_PROFILE_TYPE_3GPP, response, profiles)) {
        appendProfiles(WDS_PROFILE_TYPE_3GPP2, response, profiles);
    }
    return profiles;
}

bool MoxWdsProxy::appendProfiles(wds_profile_type_enum_v01 type,
                                 wds_get_profile_list_resp_msg_v01& response,
                                 std::list<std::shared_ptr<ModemProfile>>& profiles) {
    wds_get_profile_list_req_msg_v01 request{};
    request.profile_type = {1, type};
    if (!operate(kWdsGetProfileListReq, request, response, "MOX_WDS_GET_PROFILE_LIST_REQ_V01")) {
        return false;
    }
    const std::size_t length = std::min<std::size_t>(response.profile_list_len, kWdsMaxProfiles);
    if (length < response.profile_list_len) {
        logLine(LogLevel::Error, "MoxWdsProxy profile list of %u entries cut to %u",
                response.profile_list_len, static_cast<unsigned int>(length));
    }
    for (std::size_t i = 0; i < length && !mStopped; ++i) {
        const wds_profile_list_entry_v01& entry = response.profile_list[i];
        orNothing([&] {
            profiles.push_back(get(convertProfileType(entry.profile_type), entry.profile_index));
        });
    }
    return true;
}

}  // namespace velo
