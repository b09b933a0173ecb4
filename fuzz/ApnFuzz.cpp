// SPDX-License-Identifier: Apache-2.0
//
// Any file as a carrier list, and as wanted records: it is read, or refused in one sentence.

#include "fuzz/MemoryFile.h"
#include "tool/ApnDatabase.h"
#include "tool/CommandError.h"
#include "tool/WantedRecords.h"

namespace velo::fuzz {
namespace {

void readList(const std::string& path) {
    const tool::ApnDatabase database(path);
    database.remarks();
    std::size_t records = 0;
    for (const tool::ApnNetwork& network : database.networks()) {
        ensure(&database.network(network.id) == &network, "a network is found by its code");
        ensure(!network.carriers().empty(), "a network has a carrier");
        records += network.records.size();
        ensure(tool::WantedRecords::read(path, network.id).all().size() == network.records.size(),
               "every record of a network is wanted");
    }
    ensure(records == database.records(), "every record is counted");
}

void readRecords(const std::string& path) {
    for (const ProfileParams& record : tool::WantedRecords::read(path, "").all()) {
        record.dump();
    }
}

}  // namespace

void run(Bytes bytes) {
    static const MemoryFile file;
    const std::string path = file.hold(textOf(bytes));
    for (const auto& read : {readList, readRecords}) {
        try {
            read(path);
        } catch (const tool::CommandError&) {
            // Refused.
        }
    }
}

}  // namespace velo::fuzz
