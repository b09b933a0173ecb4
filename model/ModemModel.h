// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "modem/StoredProfile.h"
#include "velo/ProfileTypes.h"

namespace velo::model {

/// The rules of the modem: what it stores for each subscription, and what it reports of that to the
/// library, which is at one of them.
class ModemModel {
public:
    static constexpr std::size_t kCapacity = 6;  ///< of each technology

    /// An indication as it leaves the modem.
    struct Report {
        wds_profile_type_enum_v01 type;
        int index;
        wds_profile_event_enum_v01 event;

        std::string text() const;
    };

    explicit ModemModel(const std::vector<modem::StoredProfile>& factory);

    /// Under the lowest free index, which is returned; -1 when the store is full.
    int create(unsigned int subscription, modem::StoredProfile profile);
    bool modify(unsigned int subscription, TechType tech, int index,
                const wds_profile_settings_v01& settings);
    bool remove(unsigned int subscription, TechType tech, int index);

    /// What the library's subscription has there; null when nothing.
    const modem::StoredProfile* find(TechType tech, int index) const;

    /// 3GPP first, by ascending index.
    std::vector<modem::StoredProfile> all(unsigned int subscription) const;

    void powerOff();
    void powerOn();
    bool isOn() const { return mIsOn; }

    /// The library comes, again or on another subscription.
    void connect(unsigned int subscription);
    unsigned int subscription() const { return mSubscription; }

    /// Reports that were sent and did not reach the library yet.
    std::vector<Report> underWay;

private:
    void report(unsigned int subscription, TechType tech, int index,
                wds_profile_event_enum_v01 event);

    std::array<std::map<std::pair<TechType, int>, modem::StoredProfile>, 2> mStores;
    unsigned int mSubscription = 0;
    bool mIsOn = true;
};

}  // namespace velo::model
