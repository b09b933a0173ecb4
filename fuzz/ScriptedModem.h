// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "fuzz/Input.h"
#include "mox/mox_client.h"

namespace velo::fuzz {

/// The messaging client of a device whose modem says what a fuzzer's input says. It stands in the
/// place of the real one: everything happens on the calling thread, and at once. One at a time.
///
/// An answer is a byte, a failure when it is odd, and a chunk with the message.
class ScriptedModem {
public:
    explicit ScriptedModem(Input& input);
    ~ScriptedModem();
    ScriptedModem(const ScriptedModem&) = delete;
    ScriptedModem& operator=(const ScriptedModem&) = delete;

    /// Nothing when the library has no client at the moment.
    void indicate(unsigned int id, Bytes bytes) const;
    void lose() const;

    struct Link {
        Input& input;
        std::uintptr_t handles = 0;  ///< given out so far
        mox_client_type client = nullptr;
        mox_client_ind_cb indication = nullptr;
        mox_client_error_cb error = nullptr;
        void* data = nullptr;
    };

private:
    Link mLink;
};

}  // namespace velo::fuzz
