// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>

#include "EventFd.h"
#include "EventManager.h"
#include "LogLevel.h"
#include "ModemProfile.h"
#include "ProfileChangedInd.h"
#include "mox/mox_client.h"
#include "mox/wds_v01.h"
#include "velo/ProfileTypes.h"

namespace velo {

/// The library's only way to the modem's data service: finds it, opens and re-opens the client,
/// registers for profile changes and carries out the five profile operations. Owned by the profile
/// cache.
///
/// Built before the worker thread dispatches and destroyed after it has ended; in between
/// everything runs on the worker, but stop() and the messaging library's three callbacks, which
/// only queue and signal.
class MoxWdsProxy {
public:
    /// @param instance the modem's subscription
    MoxWdsProxy(EventManager& eventManager, int instance);
    ~MoxWdsProxy();
    MoxWdsProxy(const MoxWdsProxy&) = delete;
    MoxWdsProxy& operator=(const MoxWdsProxy&) = delete;

    /// From any thread: no further exchange begins and no further indication is handled, so that
    /// the worker is back after one exchange at most.
    void stop() { mStopped = true; }

    /// Replaces what hears of profile changes; called on the worker, and free to use the
    /// operations.
    void registerProfileChangedInd(std::function<void(ProfileChangedInd)> callback);

    /// Creates the profile in the modem and gives it the index that the modem chose.
    bool add(ModemProfile& profile);

    /// Sends the settings that `profile` has as changes of the modem's profile.
    bool modify(ModemProfile& profile, TechType tech, int profileId);

    bool remove(TechType tech, int profileId);

    /// The modem's settings of one profile; null when they cannot be read, or held.
    std::shared_ptr<ModemProfile> get(TechType tech, int profileId);

    /// All profiles, 3GPP first, in the modem's order; a null entry for each that cannot be read
    /// or held.
    std::list<std::shared_ptr<ModemProfile>> getAllProfiles();

    /// Waits for the service anew, with a fresh notifier.
    void registerMoxSvcUp();
    void registerMoxIndications();
    void handleProfileChangedInd(wds_profile_changed_ind_type_v01 record);

    static void moxNotifyCb(mox_client_type notifier, mox_service_object_type service,
                            unsigned int serviceEvent, void* data);
    static void moxErrorCb(mox_client_type client, int error, void* data);
    static void moxIndCb(mox_client_type client, unsigned int msgId, void* indBuf,
                         unsigned int indBufLen, void* data);

    static void handleSvcUp(int fd, void* data);
    static void handleError(int fd, void* data);
    static void handleIndication(int fd, void* data);

private:
    /// One indication as it arrived.
    struct IndInfo_t {
        mox_client_type client;
        std::uint32_t msgId;
        std::unique_ptr<std::uint8_t[]> buffer;
        std::uint32_t length;
        MoxWdsProxy* proxy;
    };

    /// An eventfd that has its handler as long as it lives.
    class HandledFd : public EventFd {
    public:
        HandledFd(EventManager& eventManager, EventCallback callback, MoxWdsProxy* proxy);
        ~HandledFd();

    private:
        EventManager& mEventManager;
    };

    /// 0, or the messaging library's error; there is no notifier then.
    int openNotifier();
    void openClient();
    void queue(mox_client_type client, unsigned int msgId, const void* indBuf,
               unsigned int indBufLen);
    void drainIndications();
    /// Whether the pass may go on to the next entry.
    bool handleEntry(std::unique_ptr<IndInfo_t> entry);

    template <typename Request, typename Response>
    bool exchange(unsigned int messageId, const Request& request, Response& response);

    /// exchange() with a log line of its outcome; a success is logged at `level`. After stop()
    /// neither of them: false.
    template <typename Request, typename Response>
    bool tracedExchange(unsigned int messageId, const Request& request, Response& response,
                        LogLevel level, const char* failed, const char* succeeded);

    /// The exchange of a profile operation, logged under the name of its message.
    template <typename Request, typename Response>
    bool operate(unsigned int messageId, const Request& request, Response& response,
                 const char* name);

    /// Reads the profiles of one technology; false when their list cannot be read.
    bool appendProfiles(wds_profile_type_enum_v01 type, wds_get_profile_list_resp_msg_v01& response,
                        std::list<std::shared_ptr<ModemProfile>>& profiles);

    int mInstance;
    mox_service_object_type mServiceObject;
    mox_client_type mClient = nullptr;
    mox_client_type mNotifier = nullptr;
    mox_client_os_params mOsParams{};
    std::deque<std::unique_ptr<IndInfo_t>> mIndQueue;
    std::mutex mIndMutex;
    std::function<void(ProfileChangedInd)> mProfileChangedIndCb;
    /// What could not be decoded is neither handled nor given back while the proxy lives.
    std::list<std::unique_ptr<IndInfo_t>> mUndecoded;
    std::atomic<bool> mStopped = false;
    // Last, so that no handler is left when what it touches goes.
    HandledFd mSvcUpFd;
    HandledFd mErrorFd;
    HandledFd mIndFd;
};

}  // namespace velo
