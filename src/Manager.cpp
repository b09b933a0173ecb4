// SPDX-License-Identifier: Apache-2.0

#include "velo/Manager.h"

#include <utility>

#include "AdbWriter.h"
#include "ClientRequest.h"
#include "ClientRequestManager.h"
#include "ClientResponse.h"
#include "DiagWriter.h"
#include "LocalLogBuffer.h"
#include "LogWrapper.h"
#include "OutOfMemory.h"

namespace velo {

namespace {

/// Destroys a manager, but not a forked child's copy of its parent's: that one has no worker to
/// join, and its descriptors are the parent's as well. It is kept for the life of the child.
void retire(std::unique_ptr<ClientRequestManager> manager) {
    if (manager && manager->isInherited()) {
        static auto* const inherited = new std::list<ClientRequestManager*>;
        inherited->push_back(manager.release());
    }
}

std::unique_ptr<LogWriter> makeWriter(bool useAdb) {
    if (useAdb) {
        return std::make_unique<AdbWriter>();
    }
    return std::make_unique<DiagWriter>();
}

}  // namespace

Manager& Manager::getInstance() {
    static Manager mgr;
    return mgr;
}

Manager::Manager() {
    logLine(LogLevel::Debug, "velo::Manager: constructor");
}

Manager::~Manager() {
    retire(std::move(mClientRequestManager));
}

void Manager::init(int instance, bool useAdb) {
    LogWrapper::getInstance().setLogWriter(makeWriter(useAdb));
    logLine(LogLevel::Event, "Manager::init(%d)", instance);
    auto replaced = std::make_unique<ClientRequestManager>(instance);
    mClientRequestManager.swap(replaced);
    retire(std::move(replaced));
}

template <typename Response, typename Request>
std::shared_ptr<Response> Manager::submit(const char* operation, const char* failure,
                                          const std::shared_ptr<Request>& request) {
    if (!mClientRequestManager) {
        logLine(LogLevel::Error, "Manager not initialized!");
        return nullptr;
    }
    logLine(LogLevel::Event, "Manager::%s > %s", operation, dumpOf(*request).c_str());
    const auto response = mClientRequestManager->processClientRequest(request);
    logLine(LogLevel::Event, "Manager::%s < %s", operation,
            (response ? dumpOf(*response) : std::string()).c_str());
    auto answer = std::dynamic_pointer_cast<Response>(response);
    if (!answer) {
        logLine(LogLevel::Error, "%s", failure);
    }
    return answer;
}

std::shared_ptr<IProfileKey> Manager::addProfile(const AddProfileParams& params) {
    return orNothing([&] {
        const auto response = submit<AddResponse>("addProfile", "Unable to cast to AddResponse",
                                                  std::make_shared<AddRequest>(params));
        return response ? response->getAddProfileKey() : nullptr;
    });
}

bool Manager::modifyProfile(const ModifyProfileParams& params, std::shared_ptr<IProfileKey> key) {
    return orNothing([&] {
        const auto response =
            submit<ModifyResponse>("modifyProfile", "Unable to cast to ModifyResponse",
                                   std::make_shared<ModifyRequest>(params, std::move(key)));
        return response && response->getStatus() == Status::Success;
    });
}

bool Manager::deleteProfile(std::shared_ptr<IProfileKey> key) {
    return orNothing([&] {
        const auto response =
            submit<DeleteResponse>("deleteProfile", "Unable to cast to DeleteResponse",
                                   std::make_shared<DeleteRequest>(std::move(key)));
        return response && response->getStatus() == Status::Success;
    });
}

std::list<std::shared_ptr<IProfileKey>> Manager::filter(const FilterProfileParams& params) {
    return orNothing([&] {
        const auto response = submit<FilterResponse>("filter", "Unable to cast to FilterResponse",
                                                     std::make_shared<FilterRequest>(params));
        return response ? response->getFilterResult() : std::list<std::shared_ptr<IProfileKey>>();
    });
}

std::optional<ProfileParams> Manager::getProfile(std::shared_ptr<IProfileKey> key) {
    return orNothing([&] {
        const auto response = submit<GetResponse>("getProfile", "Error in getProfile",
                                                  std::make_shared<GetRequest>(std::move(key)));
        return response ? response->getParams() : std::nullopt;
    });
}

bool Manager::match(const FilterProfileParams& params, std::shared_ptr<IProfileKey> key) {
    return orNothing([&] {
        const auto response =
            submit<MatchResponse>("match", "Unable to cast to MatchResponse",
                                  std::make_shared<MatchRequest>(params, std::move(key)));
        return response && response->getMatchResult();
    });
}

void Manager::refresh(PDCRefreshStatus status) {
    const auto response = orNothing([&] {
        return submit<RefreshResponse>("refresh", "Unable to cast to RefreshResponse",
                                       std::make_shared<RefreshRequest>(status));
    });
    if (!response) {
        return;
    }
    if (status == PDCRefreshStatus::REFRESH_STARTED) {
        logLine(LogLevel::Info, "VELO refresh started");
    } else {
        logLine(LogLevel::Info, "VELO refresh completed");
    }
}

std::vector<std::string> Manager::dump() {
    return orNothing([this] {
        std::vector<std::string> lines;
        if (mClientRequestManager) {
            lines = mClientRequestManager->dump();
        }
        lines.emplace_back();
        lines.emplace_back("Logs:");
        for (std::string& line : LocalLogBuffer::getInstance().getLogs()) {
            lines.push_back(std::move(line));
        }
        return lines;
    });
}

}  // namespace velo
