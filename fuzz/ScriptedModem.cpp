// SPDX-License-Identifier: Apache-2.0

#include "fuzz/ScriptedModem.h"

#include <vector>

#include "host/mox/Codec.h"
#include "host/mox/WdsService.h"

namespace velo::fuzz {
namespace {

ScriptedModem::Link* current = nullptr;

mox_client_type newHandle() {
    // Never a pointer to anything: the library has no business behind it.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<mox_client_type>(++current->handles);
}

int decode(mox_message_kind kind, unsigned int id, Bytes bytes, void* structure,
           unsigned int size) {
    const auto* message = mox::wdsService().find(kind, id);
    ensure(message != nullptr && message->size == size, "a structure is that of its message");
    return mox::decode(*message, bytes, structure) ? MOX_NO_ERR : MOX_DECODE_ERR;
}

}  // namespace

ScriptedModem::ScriptedModem(Input& input) : mLink{input} {
    current = &mLink;
}

ScriptedModem::~ScriptedModem() {
    ensure(mLink.client == nullptr, "a client is released");
    current = nullptr;
}

void ScriptedModem::indicate(unsigned int id, Bytes bytes) const {
    if (mLink.client == nullptr) return;
    std::vector<std::uint8_t> buffer(bytes.begin(), bytes.end());
    mLink.indication(mLink.client, id, buffer.data(), static_cast<unsigned int>(buffer.size()),
                     mLink.data);
}

void ScriptedModem::lose() const {
    if (mLink.client != nullptr) mLink.error(mLink.client, MOX_INTERNAL_ERR, mLink.data);
}

// The operations of mox_client.h, which the program has in place of those of the library.
extern "C" {

int mox_client_notifier_init(mox_service_object_type, mox_client_os_params*,
                             mox_client_type* notifier) {
    *notifier = newHandle();
    return MOX_NO_ERR;
}

int mox_client_register_notify_cb(mox_client_type notifier, mox_client_notify_cb callback,
                                  void* data) {
    callback(notifier, &mox::wdsService(), MOX_SERVICE_AVAILABLE, data);
    return MOX_NO_ERR;
}

int mox_client_get_any_service(mox_service_object_type, mox_service_info*) {
    return MOX_NO_ERR;
}

int mox_client_init(mox_service_info*, mox_service_object_type, mox_client_ind_cb callback,
                    void* data, mox_client_os_params*, mox_client_type* client) {
    ensure(current->client == nullptr, "there is one client at a time");
    *client = current->client = newHandle();
    current->indication = callback;
    current->data = data;
    return MOX_NO_ERR;
}

int mox_client_register_error_cb(mox_client_type, mox_client_error_cb callback, void*) {
    current->error = callback;
    return MOX_NO_ERR;
}

int mox_client_send_msg_sync(mox_client_type client, unsigned int id, const void* request,
                             unsigned int, void* response, unsigned int size, unsigned int) {
    if (client == nullptr || client != current->client) return MOX_CLIENT_ERR;
    std::vector<std::uint8_t> bytes;
    ensure(mox::encode(*mox::wdsService().find(MOX_MESSAGE_REQUEST, id), request, bytes),
           "what the library sends can be encoded");
    if (current->input.empty() || current->input.value<bool>()) return MOX_TIMEOUT_ERR;
    return decode(MOX_MESSAGE_RESPONSE, id, current->input.chunk(), response, size);
}

int mox_client_message_decode(mox_client_type client, mox_message_kind kind, unsigned int id,
                              const void* buffer, unsigned int length, void* structure,
                              unsigned int size) {
    ensure(client != nullptr && client == current->client, "a released client is not used");
    return decode(kind, id, {static_cast<const std::uint8_t*>(buffer), length}, structure, size);
}

int mox_client_release(mox_client_type client) {
    if (client == current->client) current->client = nullptr;
    return MOX_NO_ERR;
}

}  // extern "C"

}  // namespace velo::fuzz
