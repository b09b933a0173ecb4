// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <set>
#include <string>

#include "modem/Modem.h"
#include "mox/mox_client.h"
#include "mox/wds_v01.h"
#include "velo/IProfileKey.h"

namespace velo::bench {

/// Ends the process: a benchmark of something that does not work says nothing.
[[noreturn]] void fail(const std::string& what);

template <std::size_t Size>
void setText(wds_optional<wds_string<Size>>& field, const std::string& text) {
    field = {};
    field.valid = 1;
    text.copy(field.value.data, Size - 1);
}

/// A modem that holds so many profiles, with the library connected to its first subscription, and a
/// client without a library on its second, which holds the same and tells it of changes. One exists
/// at a time; for the main thread, but exchange().
class Bed {
public:
    /// @param count 0 to 510
    explicit Bed(std::size_t count);
    ~Bed();
    Bed(const Bed&) = delete;
    Bed& operator=(const Bed&) = delete;

    /// The bed with that many profiles; made anew when another number was in use.
    static Bed& of(std::size_t count);

    /// Releases the last bed's modem.
    static void reset();

    std::size_t count() const { return mCount; }
    const std::string& socketPath() const { return mModem->socketPath(); }

    /// The modem's own threads: the other end of what the worker waits for.
    const std::set<pid_t>& modemThreads() const { return mModemThreads; }

    /// Has the library start anew, and waits until a call finds the profiles.
    void startLibrary() const;

    template <typename Response, typename Request>
    Response exchange(unsigned int messageId, const Request& request) {
        Response response{};
        const int rc = mox_client_send_msg_sync(mClient, messageId, &request, sizeof(request),
                                                &response, sizeof(response), 1000);
        if (rc != 0 || response.response.result != WDS_RESULT_SUCCESS) fail("a bare exchange");
        return response;
    }

    /// The exchanges of an addition and of a release, and of a refresh.
    wds_profile_identifier_v01 create();
    void remove(const wds_profile_identifier_v01& profile);
    void readAll();

private:
    std::size_t mCount;
    std::unique_ptr<modem::Modem> mModem;
    std::set<pid_t> mModemThreads;
    mox_client_type mClient = nullptr;
};

}  // namespace velo::bench
