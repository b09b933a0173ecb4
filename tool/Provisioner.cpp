// SPDX-License-Identifier: Apache-2.0

#include "tool/Provisioner.h"

#include <algorithm>
#include <utility>

#include "modem/Modem.h"
#include "tool/GlobalOptions.h"
#include "tool/Interruption.h"
#include "tool/ModemView.h"
#include "tool/Session.h"
#include "velo/Manager.h"
#include "velo/Util.h"

namespace velo::tool {

namespace {

constexpr const char* kEmergencyApn = "sos";

bool hasType(const ApnRecord& record, ApnTypes type) {
    return (record.params.getApnTypesMask() & static_cast<unsigned int>(type)) != 0;
}

/// The first record of a type that 3GPP profiles may serve.
const ApnRecord* firstOf(const ApnNetwork& network, ApnTypes type) {
    const auto found =
        std::find_if(network.records.begin(), network.records.end(), [&](const ApnRecord& record) {
            return record.tech == TechType::TECH_3GPP && hasType(record, type);
        });
    return found == network.records.end() ? nullptr : &*found;
}

ProfileParams emergencyParams(const ApnNetwork& network) {
    const ApnRecord* record = firstOf(network, ApnTypes::EMERGENCY);
    if (record != nullptr) {
        return record->params;
    }
    ProfileParams params;
    params.setApnName(kEmergencyApn);
    params.setHomeIPType(IPType::V4V6);
    params.setRoamIPType(IPType::V4V6);
    return params;
}

}  // namespace

struct Provisioner::Run {
    Util util;
    ExpectedStore expected;
    ProvisionResult result;
    std::list<std::shared_ptr<IProfileKey>> keys;

    void judge(const std::string& complaint) {
        if (!complaint.empty()) {
            result.differences.push_back(complaint);
        }
    }
};

Provisioner::Provisioner(Session& session, const GlobalOptions& options,
                         const Interruption& interruption)
    : mSession(session), mOptions(options), mInterruption(interruption) {}

ProvisionResult Provisioner::bringUp(const ApnNetwork& network, bool updateAllowed, bool again) {
    modem::Modem* embedded = mSession.embedded();
    const std::uint64_t exchangesBefore = embedded == nullptr ? 0 : embedded->exchanges();
    if (embedded != nullptr) {
        if (again) {
            embedded->restart();
        } else {
            embedded->factoryReset();
        }
    }
    mSession.connect();

    Run run{
        .util = {}, .expected = ExpectedStore(store(), updateAllowed), .result = {}, .keys = {}};
    run.result.network = network.id;
    run.result.updateAllowed = updateAllowed;
    run.result.again = again;
    run.util.setProfileUpdateAllowed(updateAllowed);

    std::list<ProfileParams> wanted;
    for (const ApnRecord& record : network.records) {
        wanted.push_back(record.params);
    }
    run.util.updateAPNTypeBitmaskOnModemProfile(wanted);
    run.expected.typeMasks(wanted);
    ++run.result.calls;

    attach(run, network);
    dataCalls(run, network);
    emergency(run, network);
    compare(run, "with the keys held");
    for (const modem::StoredProfile& profile : store()) {
        run.result.profiles.push_back(describe(profile));
    }

    run.keys.clear();
    run.expected.release();
    compare(run, "after the release");
    if (embedded != nullptr) {
        run.result.exchanges = embedded->exchanges() - exchangesBefore;
    }
    return std::move(run.result);
}

std::vector<modem::StoredProfile> Provisioner::store() {
    if (const modem::Modem* embedded = mSession.embedded()) {
        return embedded->profiles(mOptions.instance);
    }
    return ModemView(mOptions.instance).stored();
}

void Provisioner::attach(Run& run, const ApnNetwork& network) {
    const ApnRecord* record = firstOf(network, ApnTypes::IA);
    record = record == nullptr ? firstOf(network, ApnTypes::DEFAULT) : record;
    if (record == nullptr) {
        run.result.steps.push_back({"attach", "skipped", std::nullopt});
        return;
    }
    if (run.result.updateAllowed && !record->params.hasApnName()) {
        run.result.steps.push_back({"attach without an APN name", "skipped", std::nullopt});
        return;
    }
    const auto place =
        note(run, "attach", run.util.findOrCreateProfileForLteAttach(record->params));
    if (place) {
        run.judge(run.expected.attach(record->params, *place));
    }
}

void Provisioner::dataCalls(Run& run, const ApnNetwork& network) {
    for (const ApnRecord& record : network.records) {
        const std::string request = "data call " + record.params.getApnName();
        if (run.result.updateAllowed && !record.params.hasApnName()) {
            // It would change whichever profile comes first.
            run.result.steps.push_back({"data call without an APN name", "skipped", std::nullopt});
            continue;
        }
        const auto place = note(
            run, request, run.util.findOrCreateProfileForSetupDataCall(record.tech, record.params));
        if (place) {
            run.judge(run.expected.dataCall(record.tech, record.params, *place));
        }
    }
}

void Provisioner::emergency(Run& run, const ApnNetwork& network) {
    const ProfileParams params = emergencyParams(network);
    const auto place =
        note(run, "emergency", run.util.findOrCreateProfileForEmergencyDataCall(params));
    if (place) {
        run.judge(run.expected.emergency(params, *place));
    }
}

std::optional<ExpectedStore::Place> Provisioner::note(Run& run, const std::string& request,
                                                      std::shared_ptr<IProfileKey> key) {
    ++run.result.calls;
    if (!key) {
        run.result.steps.push_back({request, "failed", std::nullopt});
        run.result.differences.push_back(request + ": no profile was found or created");
        return std::nullopt;
    }
    const ExpectedStore::Place place{key->getTechType(), key->getProfileId()};
    const bool found = run.expected.has(place);
    ++(found ? run.result.reused : run.result.created);
    run.result.steps.push_back({request, found ? "found" : "created", place});
    run.keys.push_back(std::move(key));
    mInterruption.check();
    return place;
}

void Provisioner::compare(Run& run, const char* when) {
    run.result.leftOver = 0;
    for (const ProfileChange& change : run.expected.differences(store())) {
        run.result.leftOver += change.what() == "created" ? 1 : 0;
        run.result.differences.push_back(std::string(when) +
                                         ", not as it must be: " + toText(change, mOptions));
    }
}

}  // namespace velo::tool
