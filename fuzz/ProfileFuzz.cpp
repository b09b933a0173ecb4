// SPDX-License-Identifier: Apache-2.0
//
// Any settings answer as a profile image: shown, compared, changed, and sent back to the modem.

#include <memory>

#include "Modem3gpp2Profile.h"
#include "Modem3gppProfile.h"
#include "ProfileConversions.h"
#include "fuzz/Records.h"

namespace velo::fuzz {
namespace {

std::shared_ptr<ModemProfile> imageOf(TechType tech, int id,
                                      const wds_get_profile_settings_resp_msg_v01& answer) {
    if (tech == TechType::TECH_3GPP2) return std::make_shared<Modem3gpp2Profile>(id, answer);
    return std::make_shared<Modem3gppProfile>(id, answer);
}

/// A profile is found by what it says of itself, but for types that the library has no bit for.
void findItself(ModemProfile& image) {
    FilterProfileParams filter(image.get());
    const auto types = image.getApnTypesMask();
    const bool known = convertToMoxApnTypeMask(convertToCommonApnTypeMask(types)) == types;
    ensure(image.match(filter) == known, "a profile matches its own settings");
    ensure(image.get().dump() == ProfileParams(filter).dump(),
           "a filter holds what it was made of");
}

void change(ModemProfile& image, const FilterProfileParams& record) {
    ModifyProfileParams wanted(record);
    const auto delta = image.diff(wanted);
    if (!delta) return;
    delta->dump();
    sent(kWdsModifyProfileSettingsReq, delta->constructModifyRequest());
    // An unknown home type that stays reads as dual stack once it has been told apart from a
    // roaming type: that is a difference once more.
    const ProfileParams before = image.get();
    const bool turns = !wanted.hasHomeIPType() && before.hasHomeIPType() &&
                       before.getHomeIPType() == IPType::UNKNOWN;
    image.apply(delta);
    ensure(turns || !image.diff(wanted), "a change that was made is done");
}

}  // namespace

void run(Bytes bytes) {
    Input input(bytes);
    const auto tech = input.value<bool>() ? TechType::TECH_3GPP2 : TechType::TECH_3GPP;
    const auto answer = decoded<wds_get_profile_settings_resp_msg_v01>(
        MOX_MESSAGE_RESPONSE, kWdsGetProfileSettingsReq, input.chunk());
    if (!answer) return;
    const auto image = imageOf(tech, input.value<std::uint8_t>(), *answer);
    image->dump();
    findItself(*image);

    FilterProfileParams filter = filterFrom(input);
    image->match(filter);
    change(*image, recordFrom(input));
    image->dump();
    findItself(*image);

    wds_get_profile_settings_resp_msg_v01 stored{};
    stored.settings = sent(kWdsCreateProfileReq, image->constructAddRequest()).settings;
    imageOf(tech, 0, stored)->dump();
}

}  // namespace velo::fuzz
