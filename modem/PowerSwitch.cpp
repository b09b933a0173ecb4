// SPDX-License-Identifier: Apache-2.0

#include "modem/PowerSwitch.h"

#include <system_error>
#include <utility>

#include "modem/Server.h"
#include "modem/WdsService.h"

namespace velo::modem {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kNextTry{50};

}  // namespace

PowerSwitch::PowerSwitch(Server& server, WdsService& service, std::string path)
    : mServer(server), mService(service), mPath(std::move(path)) {}

bool PowerSwitch::isOn() const {
    return mServer.isOpen();
}

void PowerSwitch::off() {
    ++mSwitchedOff;
    mServer.close();
    mService.forgetVolatile();
}

void PowerSwitch::on() {
    if (!isOn()) {
        mServer.open(mPath);
    }
}

void PowerSwitch::restart(milliseconds offTime) {
    off();
    if (offTime == milliseconds(0)) {
        on();
    } else {
        onAfter(offTime);
    }
}

bool PowerSwitch::factoryReset() {
    off();
    const bool done = mService.restoreFactory();
    on();
    return done;
}

void PowerSwitch::crash() {
    mServer.close();
    mServer.after(milliseconds(0), [this] {
        off();
        onAfter(milliseconds(0));
    });
}

void PowerSwitch::onAfter(milliseconds delay) {
    mServer.after(delay, [this, cause = mSwitchedOff] {
        if (cause != mSwitchedOff) {
            return;
        }
        try {
            on();
        } catch (const std::system_error&) {
            onAfter(kNextTry);
        }
    });
}

}  // namespace velo::modem
