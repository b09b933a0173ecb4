// SPDX-License-Identifier: Apache-2.0
//
// The messaging client's C interface, on top of Client and Notifier.

#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "host/mox/Client.h"
#include "host/mox/HandleRegistry.h"
#include "host/mox/Notifier.h"
#include "host/mox/Settings.h"
#include "host/mox/Socket.h"
#include "mox/mox_client.h"

namespace {

using velo::mox::Client;
using velo::mox::HandleRegistry;
using velo::mox::Notifier;

/// No exception of the standard library (no memory, no thread) may pass through a C interface.
template <typename Call>
int guarded(Call call) noexcept {
    try {
        return call();
    } catch (...) {
        return MOX_INTERNAL_ERR;
    }
}

template <typename T, typename Call>
int onHandle(mox_client_type handle, Call call) noexcept {
    return guarded([&] {
        const auto object = HandleRegistry::getInstance().find<T>(handle);
        return object == nullptr ? MOX_CLIENT_ERR : call(*object);
    });
}

std::string pathOf(const mox_service_info& info) {
    const auto* path = reinterpret_cast<const char*>(info.reserved);
    return std::string(path, strnlen(path, sizeof(info.reserved)));
}

}  // namespace

int mox_client_notifier_init(mox_service_object_type service, mox_client_os_params* os_params,
                             mox_client_type* notifier) {
    if (service == nullptr || os_params == nullptr || notifier == nullptr) {
        return MOX_INVALID_ARGUMENT_ERR;
    }
    return guarded([&] {
        auto& registry = HandleRegistry::getInstance();
        const auto handle = registry.reserve();
        registry.bind(handle, std::make_shared<Notifier>(
                                  handle, service, velo::mox::Settings::getInstance().modemPath()));
        *notifier = handle;
        return MOX_NO_ERR;
    });
}

int mox_client_register_notify_cb(mox_client_type notifier, mox_client_notify_cb callback,
                                  void* data) {
    return onHandle<Notifier>(
        notifier, [&](Notifier& object) { return object.registerCallback(callback, data); });
}

int mox_client_get_any_service(mox_service_object_type service, mox_service_info* info) {
    if (service == nullptr || info == nullptr) {
        return MOX_INVALID_ARGUMENT_ERR;
    }
    return guarded([&] {
        const auto path = velo::mox::Settings::getInstance().modemPath();
        if (!velo::mox::connectTo(path)) {
            return MOX_SERVICE_ERR;
        }
        *info = {};
        info->service_id = service->serviceId;
        // A path that was connected to is shorter than a socket's address, and that than the room
        // here.
        static_assert(sizeof(sockaddr_un::sun_path) < sizeof(info->reserved));
        std::memcpy(info->reserved, path.data(), path.size());
        return MOX_NO_ERR;
    });
}

int mox_client_init(mox_service_info* info, mox_service_object_type service,
                    mox_client_ind_cb callback, void* data, mox_client_os_params* os_params,
                    mox_client_type* client) {
    if (info == nullptr || service == nullptr || os_params == nullptr || client == nullptr) {
        return MOX_INVALID_ARGUMENT_ERR;
    }
    return guarded([&] {
        auto socket = velo::mox::connectTo(pathOf(*info));
        if (!socket) {
            return MOX_SERVICE_ERR;
        }
        auto& registry = HandleRegistry::getInstance();
        const auto handle = registry.reserve();
        const auto object =
            std::make_shared<Client>(std::move(socket), handle, *service, callback, data);
        registry.bind(handle, object);
        *client = handle;
        try {
            object->start();
        } catch (...) {
            registry.remove(handle);
            *client = nullptr;
            throw;
        }
        return MOX_NO_ERR;
    });
}

int mox_client_register_error_cb(mox_client_type client, mox_client_error_cb callback, void* data) {
    return onHandle<Client>(
        client, [&](Client& object) { return object.registerErrorCallback(callback, data); });
}

int mox_client_send_msg_sync(mox_client_type client, unsigned int message_id, const void* request,
                             unsigned int request_size, void* response, unsigned int response_size,
                             unsigned int timeout_ms) {
    return onHandle<Client>(client, [&](Client& object) {
        return object.sendSync(message_id, request, request_size, response, response_size,
                               timeout_ms);
    });
}

int mox_client_message_decode(mox_client_type client, mox_message_kind kind,
                              unsigned int message_id, const void* buffer, unsigned int length,
                              void* structure, unsigned int structure_size) {
    return onHandle<Client>(client, [&](Client& object) {
        const auto* bytes = static_cast<const std::uint8_t*>(buffer);
        return bytes == nullptr && length > 0
                   ? MOX_INVALID_ARGUMENT_ERR
                   : object.decodeMessage(kind, message_id, {bytes, length}, structure,
                                          structure_size);
    });
}

int mox_client_release(mox_client_type client) {
    return guarded([&] {
        auto& registry = HandleRegistry::getInstance();
        if (const auto object = registry.remove(client)) {
            object->release();
            return MOX_NO_ERR;
        }
        // In a forked child the connection is the parent's, and letting go of it is all there is to
        // do.
        return registry.inherited(client) ? MOX_NO_ERR : MOX_CLIENT_ERR;
    });
}
