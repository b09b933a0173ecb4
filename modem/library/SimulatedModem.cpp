// SPDX-License-Identifier: Apache-2.0

#include "velo-modem/SimulatedModem.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

#include "host/mox/MoxHost.h"
#include "modem/Modem.h"
#include "modem/library/ProfileSettings.h"
#include "velo/Manager.h"

namespace velo {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr unsigned int kSubscriptions = 2;
constexpr milliseconds kPollInterval{1};

/// A marker that was sent before the library had connected is lost; another one follows.
constexpr milliseconds kMarkerInterval{10};

modem::ModemOptions optionsFor(const std::string& captureFile) {
    modem::ModemOptions options;
    options.subscriptions = kSubscriptions;
    options.captureFile = captureFile;
    return options;
}

bool known(TechType techType, int profileId, unsigned int subscription) {
    return (techType == TechType::TECH_3GPP || techType == TechType::TECH_3GPP2) &&
           profileId >= 0 && profileId <= 0xFF && subscription < kSubscriptions;
}

wds_profile_identifier_v01 identifierOf(TechType techType, int profileId) {
    return {static_cast<wds_profile_type_enum_v01>(techType), static_cast<std::uint8_t>(profileId)};
}

SimulatedProfile shown(const modem::StoredProfile& profile) {
    return {static_cast<TechType>(profile.id.profile_type), profile.id.profile_index,
            profile.persistent, modem::paramsOf(profile)};
}

std::string messageOf(SimulatedModem::Operation operation) {
    switch (operation) {
        case SimulatedModem::Operation::CreateProfile:
            return std::to_string(kWdsCreateProfileReq);
        case SimulatedModem::Operation::ModifyProfile:
            return std::to_string(kWdsModifyProfileSettingsReq);
        case SimulatedModem::Operation::DeleteProfile:
            return std::to_string(kWdsDeleteProfileReq);
        case SimulatedModem::Operation::ListProfiles:
            return std::to_string(kWdsGetProfileListReq);
        case SimulatedModem::Operation::ReadProfile:
            return std::to_string(kWdsGetProfileSettingsReq);
        case SimulatedModem::Operation::Any:
            break;
    }
    return "\"any\"";
}

/// Whether the library's log has a line that ends so.
bool logged(const std::string& end) {
    const auto lines = Manager::getInstance().dump();
    return std::any_of(lines.rbegin(), lines.rend(), [&](const std::string& line) {
        return line.size() >= end.size() &&
               line.compare(line.size() - end.size(), end.size(), end) == 0;
    });
}

}  // namespace

class SimulatedModem::Impl {
public:
    explicit Impl(const std::string& captureFile) : mModem(optionsFor(captureFile)) {}

    modem::Modem& modem() { return mModem; }

    /// A profile that neither the modem has nor the log has heard of, and how the log tells that
    /// the library has handled the news of its deletion.
    std::pair<wds_profile_identifier_v01, std::string> marker(unsigned int subscription) {
        const auto stored = mModem.profiles(subscription);
        for (int i = 2 * 0x100 - 1; i > 0; --i) {
            const auto techType = static_cast<TechType>(i / 0x100);
            const auto id = identifierOf(techType, i % 0x100);
            const bool taken =
                std::any_of(stored.begin(), stored.end(), [&](const modem::StoredProfile& profile) {
                    return profile.id.profile_type == id.profile_type &&
                           profile.id.profile_index == id.profile_index;
                });
            std::string line = std::string("ProfileCache: onIndication < ") +
                               (techType == TechType::TECH_3GPP ? "3GPP:" : "3GPP2:") +
                               std::to_string(i % 0x100) + " Delete";
            if (!taken && !logged(line)) {
                return {id, std::move(line)};
            }
        }
        throw std::runtime_error("no profile id is free");
    }

    void plan(const char* fault, Operation operation, unsigned int count,
              const std::string& more = "") {
        const std::string answer = mModem.control(
            std::string("{\"order\":\"") + fault + "\",\"message\":" + messageOf(operation) +
            ",\"count\":" + std::to_string(count) + more + "}");
        if (answer.find("\"error\"") != std::string::npos) {
            throw std::invalid_argument(answer);
        }
    }

private:
    modem::Modem mModem;
};

SimulatedModem::SimulatedModem() : SimulatedModem(std::string()) {}

SimulatedModem::SimulatedModem(const std::string& captureFile)
    : mImpl(std::make_unique<Impl>(captureFile)) {
    mox::setModemPath(socketPath());
}

SimulatedModem::~SimulatedModem() {
    if (mox::modemPath() == socketPath()) {
        mox::setModemPath("");
    }
    mox::setTimeoutCap(0);
}

bool SimulatedModem::waitForLibrary(unsigned int subscription, milliseconds bound) {
    if (subscription >= kSubscriptions) {
        return false;
    }
    // The library handles what the modem tells in order, so the marker is handled last. It says
    // that a profile is gone which never was, and changes nothing.
    const auto [id, line] = mImpl->marker(subscription);
    const auto end = Clock::now() + bound;
    auto next = Clock::now();
    while (!logged(line)) {
        const auto now = Clock::now();
        if (now > end) {
            return false;
        }
        if (now >= next) {
            mImpl->modem().report(subscription, id, WDS_PROFILE_EVENT_DELETE);
            next = now + kMarkerInterval;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return true;
}

std::vector<SimulatedProfile> SimulatedModem::profiles(unsigned int subscription) const {
    std::vector<SimulatedProfile> result;
    if (subscription < kSubscriptions) {
        const auto stored = mImpl->modem().profiles(subscription);
        std::transform(stored.begin(), stored.end(), std::back_inserter(result), shown);
    }
    return result;
}

std::optional<int> SimulatedModem::addProfile(const AddProfileParams& params,
                                              unsigned int subscription) {
    const TechType techType = params.getTechType();
    if (!known(techType, 0, subscription)) {
        return std::nullopt;
    }
    return mImpl->modem().addProfile(
        subscription,
        {identifierOf(techType, 0), params.getIsPersistent(), modem::settingsOf(techType, params)});
}

bool SimulatedModem::changeProfile(TechType techType, int profileId, const ProfileParams& settings,
                                   unsigned int subscription) {
    if (!known(techType, profileId, subscription)) {
        return false;
    }
    auto changes = modem::settingsOf(techType, settings);
    if (changes.pdp_type.valid != 0) {
        // A home type that the library keeps apart from the roaming type would hide the new one.
        changes.override_home_pdp_type = {1, WDS_COMMON_PDP_TYPE_UNKNOWN};
    }
    return mImpl->modem().modifyProfile(subscription, identifierOf(techType, profileId), changes);
}

bool SimulatedModem::deleteProfile(TechType techType, int profileId, unsigned int subscription) {
    return known(techType, profileId, subscription) &&
           mImpl->modem().deleteProfile(subscription, identifierOf(techType, profileId));
}

void SimulatedModem::reject(Operation operation, unsigned int count) {
    mImpl->plan("reject", operation, count);
}

void SimulatedModem::drop(Operation operation, unsigned int count) {
    mImpl->plan("drop", operation, count);
}

void SimulatedModem::delay(Operation operation, milliseconds time, unsigned int count) {
    mImpl->plan("delay", operation, count, ",\"ms\":" + std::to_string(time.count()));
}

void SimulatedModem::setAnswerTimeout(milliseconds time) {
    mox::setTimeoutCap(
        static_cast<unsigned int>(std::clamp<milliseconds::rep>(time.count(), 0, 1000)));
}

void SimulatedModem::powerOff() {
    mImpl->modem().powerOff();
}

void SimulatedModem::powerOn() {
    mImpl->modem().powerOn();
}

void SimulatedModem::restart() {
    mImpl->modem().restart();
}

void SimulatedModem::report(Event event, TechType techType, int profileId,
                            unsigned int subscription) {
    if (known(techType, profileId, subscription)) {
        mImpl->modem().report(subscription, identifierOf(techType, profileId),
                              static_cast<wds_profile_event_enum_v01>(event));
    }
}

std::uint64_t SimulatedModem::requests() const {
    return mImpl->modem().exchanges();
}

const std::string& SimulatedModem::socketPath() const {
    return mImpl->modem().socketPath();
}

std::string SimulatedModem::control(const std::string& order) {
    return mImpl->modem().control(order);
}

}  // namespace velo
