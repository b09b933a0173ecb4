// SPDX-License-Identifier: Apache-2.0

#include "Operations.h"

#include "Bed.h"
#include "Measure.h"
#include "velo/Manager.h"

namespace velo::bench {

void filterNone() {
    static const FilterProfileParams params = [] {
        FilterProfileParams nowhere;
        nowhere.setApnName("nowhere");
        return nowhere;
    }();
    keep(Manager::getInstance().filter(params));
}

void filterAll() {
    static const FilterProfileParams params;
    keep(Manager::getInstance().filter(params));
}

void addAndRelease() {
    static const AddProfileParams params = [] {
        AddProfileParams add(false, TechType::TECH_3GPP, false);
        add.setApnName("bench.example.net");
        return add;
    }();
    if (Manager::getInstance().addProfile(params) == nullptr) fail("add");
}

void refresh() {
    Manager::getInstance().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
}

}  // namespace velo::bench
