// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "modem/Faults.h"
#include "modem/OrderArguments.h"

namespace velo::modem {

/// Carries out the orders of the control channel. An order is a JSON object, {"order": NAME, ...};
/// its answer is one, too, on one line: {"ok": true, ...}, or {"error": "why"} and nothing was
/// changed. Belongs to the modem and is touched on its thread only.
class ControlOrders {
public:
    /// `onStop` may be empty: then the order to stop is refused.
    ControlOrders(Server& server, WdsService& service, PowerSwitch& power, Faults& faults,
                  std::function<void()> onStop);

    /// Whatever the line says, it is answered; the answer has no line end.
    std::string execute(const std::string& line);

private:
    /// Carries out one order and returns what it answers beside "ok".
    using Handler = nlohmann::ordered_json (ControlOrders::*)(const OrderArguments&);

    static Handler handlerOf(const std::string& name);
    nlohmann::ordered_json carryOut(const std::string& line);

    nlohmann::ordered_json help(const OrderArguments& arguments);
    nlohmann::ordered_json status(const OrderArguments& arguments);
    nlohmann::ordered_json list(const OrderArguments& arguments);
    nlohmann::ordered_json add(const OrderArguments& arguments);
    nlohmann::ordered_json change(const OrderArguments& arguments);
    nlohmann::ordered_json remove(const OrderArguments& arguments);
    nlohmann::ordered_json subscriptionChange(const OrderArguments& arguments);
    nlohmann::ordered_json storeReady(const OrderArguments& arguments);
    template <Fault fault>
    nlohmann::ordered_json plan(const OrderArguments& arguments);
    nlohmann::ordered_json indicate(const OrderArguments& arguments);
    nlohmann::ordered_json indicateRaw(const OrderArguments& arguments);
    nlohmann::ordered_json indicateDamaged(const OrderArguments& arguments);
    template <Fault fault, wds_profile_event_enum_v01 second>
    nlohmann::ordered_json indicateTwice(const OrderArguments& arguments);
    nlohmann::ordered_json indicateUnknown(const OrderArguments& arguments);
    nlohmann::ordered_json disconnect(const OrderArguments& arguments);
    nlohmann::ordered_json restart(const OrderArguments& arguments);
    nlohmann::ordered_json factoryReset(const OrderArguments& arguments);
    nlohmann::ordered_json chance(const OrderArguments& arguments);
    nlohmann::ordered_json stop(const OrderArguments& arguments);

    unsigned int subscription(const OrderArguments& arguments) const;
    nlohmann::ordered_json clients() const;

    Server& mServer;
    WdsService& mService;
    PowerSwitch& mPower;
    Faults& mFaults;
    const std::function<void()> mOnStop;
};

}  // namespace velo::modem
