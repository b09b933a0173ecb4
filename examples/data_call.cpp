// SPDX-License-Identifier: Apache-2.0
//
// A data call from its start to its release. The modem is a simulated one inside this process; on a
// device it is simply there, and everything below from `init` on is the same.

#include <velo-modem/SimulatedModem.h>
#include <velo/Manager.h>
#include <velo/Util.h>

#include <iostream>

namespace {

void show(const char* when, const velo::SimulatedModem& modem) {
    std::cout << when << ", the modem holds:\n";
    for (const velo::SimulatedProfile& profile : modem.profiles()) {
        std::cout << "  " << profile.techType << ':' << profile.profileId << ' '
                  << profile.settings.getApnName() << '\n';
    }
}

}  // namespace

int main() {
    velo::SimulatedModem modem;

    // Subscription 0; the log goes to the diagnostic service (true: to the Android log). The
    // library fills its cache by itself. A test waits for that as here; a program on a device asks
    // until filter() with an empty filter returns something.
    velo::Manager::getInstance().init(0, false);
    if (!modem.waitForLibrary()) {
        std::cerr << "the library did not come up\n";
        return 1;
    }
    show("Before the call", modem);

    // What the call needs. Every setting is optional; what is not set does not matter.
    velo::ProfileParams internet;
    internet.setApnName("internet.example");
    internet.setHomeIPType(velo::IPType::V4V6);
    internet.setUserName("me");
    internet.setPassword("secret");
    internet.setAuthType(velo::AuthType::CHAP);

    // A profile that fits is found, or else created.
    velo::Util util;
    auto key = util.findOrCreateProfileForSetupDataCall(velo::TechType::TECH_3GPP, internet);
    if (!key) {
        std::cerr << "no profile for the call: the modem refused, or did not answer\n";
        return 1;
    }
    show("During the call", modem);

    // The number under which the modem knows the profile is what brings the call up.
    std::cout << "The call uses profile " << key->getProfileId() << ".\n";

    // The key is the claim on the profile. With its last copy goes the profile, because the library
    // made it. Dropping it is a call to the library: one at a time.
    key.reset();
    show("After the call", modem);
    return 0;
}
