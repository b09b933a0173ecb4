// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "modem/FrameHandler.h"
#include "modem/ProfileStore.h"
#include "modem/Server.h"
#include "modem/StateFile.h"

namespace velo::modem {

/// One change of a store, whoever wants it.
struct Change {
    enum class Kind { Create, Modify, Delete };

    Kind kind;
    /// Create: all but the index. Modify: the id and the settings to merge. Delete: the id.
    StoredProfile profile;
};

/// The WDS service of all subscriptions: carries out requests against the stores and tells the
/// registered clients what changed. On the modem's thread only, save exchanges().
class WdsService : public FrameHandler {
public:
    using Gate = std::function<bool(const mox::Frame&)>;

    /// With a `state` every change of a persistent profile is in it before it is answered; a change
    /// that cannot be written is refused. It must outlive the service; null for none.
    ///
    /// @throws ModemError as StateFile::boot does
    WdsService(Server& server, unsigned int subscriptions, std::size_t capacity,
               const std::vector<StoredProfile>& factory, const StateFile* state);

    void onRequest(Connection& connection, const mox::Frame& request) override;
    void onDamagedRequest(Connection& connection, const mox::Frame& head) override;

    /// Answers a request with a failed result in place of carrying it out.
    void reject(Connection& connection, const mox::Frame& request);

    /// Where every change of a store passes: it is made, `answer` tells its originator, and then
    /// every registered client hears of it. A subscription that does not exist refuses everything.
    ProfileStore::Outcome change(
        unsigned int subscription, const Change& change,
        const std::function<void(const ProfileStore::Outcome&)>& answer = {});

    /// Tells the registered clients of a subscription of an event.
    void announce(unsigned int subscription, const wds_profile_identifier_v01& id,
                  wds_profile_event_enum_v01 event);

    static mox::Frame indication(const wds_profile_identifier_v01& id,
                                 wds_profile_event_enum_v01 event);

    /// Sends any bytes as an indication to the registered clients of a subscription.
    void indicate(unsigned int subscription, std::uint16_t messageId,
                  const std::vector<std::uint8_t>& bytes);

    std::size_t subscriptions() const { return mStores.size(); }
    std::vector<StoredProfile> profiles(unsigned int subscription) const;
    void forgetVolatile();

    /// False, and nothing changed, when the state file cannot be written.
    bool restoreFactory();
    void setGate(Gate gate);

    /// Requests received so far. Any thread.
    std::uint64_t exchanges() const { return mExchanges; }

private:
    using Handler = void (WdsService::*)(Connection&, const mox::Frame&);

    static Handler handlerOf(unsigned int messageId);
    void createProfile(Connection& connection, const mox::Frame& request);
    void modifyProfile(Connection& connection, const mox::Frame& request);
    void deleteProfile(Connection& connection, const mox::Frame& request);
    void listProfiles(Connection& connection, const mox::Frame& request);
    void getSettings(Connection& connection, const mox::Frame& request);
    void bind(Connection& connection, const mox::Frame& request);
    void registerIndications(Connection& connection, const mox::Frame& request);
    void configureEvents(Connection& connection, const mox::Frame& request);

    /// Decodes a request and hands it to `carryOut`, or answers that it cannot be understood.
    template <typename Request, typename CarryOut>
    void withRequest(Connection& connection, const mox::Frame& request, CarryOut carryOut);

    template <typename Response>
    void answer(Connection& connection, const mox::Frame& request, const Response& response);
    void refuse(Connection& connection, const mox::Frame& request, wds_error_enum_v01 error);
    void sendResponse(Connection& connection, const mox::Frame& request, const void* response);
    void answerRegistration(Connection& connection, const mox::Frame& request,
                            bool registeredBefore);
    void sendEvent(Connection& connection, const wds_profile_identifier_v01& id,
                   wds_profile_event_enum_v01 event);
    ProfileStore::Outcome apply(unsigned int subscription, const Change& change);

    /// Writes the stores to the state file, or puts them back to what they were and says why.
    wds_error_enum_v01 save(std::vector<ProfileStore> before);
    StateFile::Stores contents() const;

    Server& mServer;
    const StateFile* const mState;
    std::vector<ProfileStore> mStores;
    std::shared_ptr<Gate> mGate;
    std::atomic<std::uint64_t> mExchanges{0};
};

}  // namespace velo::modem
