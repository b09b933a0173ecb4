// SPDX-License-Identifier: Apache-2.0

/// @file
/// The modem messaging client, as the device provides it. Declarations only: the device links its
/// own implementation, a workstation links the one in host/mox. Every call may be made from any
/// thread. A result of zero is success; any other value is an error code of the messaging library.

#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A client or a notifier. Null is no client; a released handle is never given out again.
typedef struct mox_client_handle* mox_client_type;

/// A service definition: constant data that says how each message of a service is laid out.
typedef const struct mox_service_definition* mox_service_object_type;

/// Where one instance of a service is reached; filled by mox_client_get_any_service.
typedef struct {
    uint32_t service_id;    ///< the service
    uint32_t instance;      ///< which of its instances
    uint8_t reserved[256];  ///< the messaging library's own
} mox_service_info;

/// Parameters of the operating system for a client; zeroed by the caller before each use.
typedef struct {
    uint32_t reserved[8];  ///< the messaging library's own
} mox_client_os_params;

/// The kinds of message that mox_client_message_decode understands.
typedef enum {
    MOX_MESSAGE_REQUEST = 0,    ///< what a client sends
    MOX_MESSAGE_RESPONSE = 1,   ///< what answers it
    MOX_MESSAGE_INDICATION = 2  ///< what the service sends by itself
} mox_message_kind;

enum {
    /// The one service event of interest: the service can be reached now.
    MOX_SERVICE_AVAILABLE = 0,

    MOX_NO_ERR = 0,                ///< success
    MOX_INTERNAL_ERR = -1,         ///< the service is gone, or the peer broke the protocol
    MOX_SERVICE_ERR = -2,          ///< no service to be found or connected to
    MOX_TIMEOUT_ERR = -3,          ///< no answer within the time-out; the request may have happened
    MOX_CLIENT_ERR = -4,           ///< no such client, or its connection is lost
    MOX_DECODE_ERR = -5,           ///< bytes that do not follow the service definition
    MOX_ENCODE_ERR = -6,           ///< a structure that does not follow the service definition
    MOX_INVALID_ARGUMENT_ERR = -7  ///< an argument that makes no sense
};

/// A service came (MOX_SERVICE_AVAILABLE) or went; called on a thread of the messaging library.
typedef void (*mox_client_notify_cb)(mox_client_type notifier, mox_service_object_type service,
                                     unsigned int service_event, void* data);

/// The client lost its service; called once for a client, on a thread of the messaging library, or
/// at once on the registering thread when the client has failed already.
typedef void (*mox_client_error_cb)(mox_client_type client, int error, void* data);

/// An indication arrived; `buffer` holds `length` encoded bytes and is valid during the call only.
typedef void (*mox_client_ind_cb)(mox_client_type client, unsigned int message_id, void* buffer,
                                  unsigned int length, void* data);

/// Makes a notifier that watches for `service`. It reports once a callback is registered.
int mox_client_notifier_init(mox_service_object_type service, mox_client_os_params* os_params,
                             mox_client_type* notifier);

/// Registers the callback that hears of the service; reports at once a service that is there
/// already.
int mox_client_register_notify_cb(mox_client_type notifier, mox_client_notify_cb callback,
                                  void* data);

/// Finds an instance of the service; non-zero when there is none at this moment.
int mox_client_get_any_service(mox_service_object_type service, mox_service_info* info);

/// Opens a client. `callback` may run before this returns.
int mox_client_init(mox_service_info* info, mox_service_object_type service,
                    mox_client_ind_cb callback, void* data, mox_client_os_params* os_params,
                    mox_client_type* client);

/// Registers the callback that hears that the client lost its service.
int mox_client_register_error_cb(mox_client_type client, mox_client_error_cb callback, void* data);

/// Sends a request structure and waits at most `timeout_ms` for the response, which is decoded into
/// `response` (zeroed first). Not to be called from a callback.
int mox_client_send_msg_sync(mox_client_type client, unsigned int message_id, const void* request,
                             unsigned int request_size, void* response, unsigned int response_size,
                             unsigned int timeout_ms);

/// Decodes the bytes of a message into its structure, which is zeroed first.
int mox_client_message_decode(mox_client_type client, mox_message_kind kind,
                              unsigned int message_id, const void* buffer, unsigned int length,
                              void* structure, unsigned int structure_size);

/// Closes a client or a notifier. After it has returned none of its callbacks runs.
int mox_client_release(mox_client_type client);

#ifdef __cplusplus
}
#endif
