// SPDX-License-Identifier: Apache-2.0
//
// A key that learns that its profile is gone: another client of the modem deletes the profile of a
// call, and the call asks for a new one.

#include <velo-modem/SimulatedModem.h>
#include <velo/Manager.h>
#include <velo/Util.h>

#include <atomic>
#include <iostream>
#include <memory>

int main() {
    velo::SimulatedModem modem;
    velo::Manager& manager = velo::Manager::getInstance();
    manager.init(0, false);
    if (!modem.waitForLibrary()) {
        std::cerr << "the library did not come up\n";
        return 1;
    }

    velo::ProfileParams internet;
    internet.setApnName("internet.example");
    velo::Util util;
    auto key = util.findOrCreateProfileForSetupDataCall(velo::TechType::TECH_3GPP, internet);
    if (!key) {
        std::cerr << "no profile for the call\n";
        return 1;
    }
    std::cout << "The call uses profile " << key->getProfileId() << ".\n";

    // The listener runs once, on the library's own thread, which every call to the library waits
    // for. So it calls nothing of the library, owns no key and does not throw: it leaves a note.
    auto lost = std::make_shared<std::atomic<bool>>(false);
    key->registerExpirationListener([lost] { *lost = true; });

    modem.deleteProfile(velo::TechType::TECH_3GPP, key->getProfileId());
    modem.waitForLibrary();  // a program has an event loop of its own, where it reads the note

    if (!*lost) {
        std::cerr << "nobody told the call\n";
        return 1;
    }
    std::cout << "The profile is gone, and its key is stale: getProfile "
              << (manager.getProfile(key) ? "still finds it" : "finds nothing") << ".\n";

    // The stale key is of no further use, and dropping it touches nothing in the modem.
    key = util.findOrCreateProfileForSetupDataCall(velo::TechType::TECH_3GPP, internet);
    if (!key) {
        std::cerr << "no new profile for the call\n";
        return 1;
    }
    std::cout << "The call goes on with a new profile for " << manager.getProfile(key)->getApnName()
              << ".\n";
    key.reset();
    return 0;
}
