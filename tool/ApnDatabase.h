// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "tool/ApnRecord.h"

namespace pugi {
class xml_node;
}

namespace velo::tool {

inline constexpr const char* kDefaultApnFile =
    "/usr/share/mobile-broadband-provider-info/apns-conf.xml";

/// Android's carrier list, apns-conf.xml. What it does not understand of a record is counted, and
/// the record is used without it.
class ApnDatabase {
public:
    /// @throws CommandError when the file cannot be read, is not XML or is no carrier list
    explicit ApnDatabase(const std::string& path);

    /// In the order in which the file names them first.
    const std::vector<ApnNetwork>& networks() const { return mNetworks; }

    /// The network of a SIM; its codes may be separated by "-". @throws CommandError when there is
    /// none
    const ApnNetwork& network(const std::string& sim) const;

    std::size_t records() const;
    /// Records that the list itself switches off.
    std::size_t disabled() const { return mDisabled; }
    /// How often each value that is not known appears, such as "type 'foo'".
    const std::map<std::string, std::size_t>& unknown() const { return mUnknown; }
    /// One sentence about what was not used; empty when all was.
    std::string remarks() const;

private:
    void readRecord(const pugi::xml_node& node);
    unsigned int readTypes(const pugi::xml_node& node);
    IPType readProtocol(const pugi::xml_node& node, const char* name);
    AuthType readAuth(const pugi::xml_node& node, bool hasUser);
    TechType readTech(const pugi::xml_node& node);
    void readNumbers(const pugi::xml_node& node, ProfileParams& params);
    void countUnknown(const std::string& what, const std::string& text);
    ApnNetwork& networkOf(const std::string& id);

    std::string mPath;
    std::vector<ApnNetwork> mNetworks;
    std::map<std::string, std::size_t> mPlaces;  ///< index of each network
    std::size_t mDisabled = 0;
    std::map<std::string, std::size_t> mUnknown;
};

}  // namespace velo::tool
