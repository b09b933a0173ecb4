// SPDX-License-Identifier: Apache-2.0
//
// The Wireless Data Service (WDS) definition, version 1.241.6: the identifiers, enumerations and
// message structures that the library exchanges with the modem. Declarations only. The structures'
// sizes are a contract with the messaging client and are held below; room that the library does not
// use is reserved. An optional field is a flag followed by its value; strings are NUL-terminated
// within their arrays.

#pragma once

#include <cstddef>
#include <cstdint>

#include "mox/mox_client.h"

inline constexpr unsigned int kWdsMajorVersion = 1;
inline constexpr unsigned int kWdsMinorVersion = 241;
inline constexpr unsigned int kWdsToolVersion = 6;

extern "C" {
/// The service definition for exactly this version, or null when the platform has another one.
mox_service_object_type wds_get_service_object_internal_v01(unsigned int major, unsigned int minor,
                                                            unsigned int tool);
}

inline constexpr unsigned int kWdsIndicationRegisterReq = 0x03;
inline constexpr unsigned int kWdsCreateProfileReq = 0x27;
inline constexpr unsigned int kWdsModifyProfileSettingsReq = 0x28;
inline constexpr unsigned int kWdsDeleteProfileReq = 0x29;
inline constexpr unsigned int kWdsGetProfileListReq = 0x2A;
inline constexpr unsigned int kWdsGetProfileSettingsReq = 0x2B;
inline constexpr unsigned int kWdsConfigureProfileEventListReq = 0xA7;
inline constexpr unsigned int kWdsProfileChangedInd = 0xA8;
inline constexpr unsigned int kWdsBindSubscriptionReq = 0xAF;

inline constexpr std::size_t kWdsProfileNameSize = 51;    ///< bytes, terminator included
inline constexpr std::size_t kWdsApnNameSize = 151;       ///< bytes, terminator included
inline constexpr std::size_t kWdsCredentialSize = 128;    ///< bytes, terminator included
inline constexpr std::size_t kWdsMaxProfiles = 255;       ///< entries of one list answer
inline constexpr std::size_t kWdsMaxProfileEvents = 255;  ///< entries of one event configuration

enum wds_profile_type_enum_v01 : uint32_t { WDS_PROFILE_TYPE_3GPP = 0, WDS_PROFILE_TYPE_3GPP2 = 1 };

enum wds_profile_pdn_type_enum_v01 : uint32_t {
    WDS_PROFILE_PDN_TYPE_IPV4 = 0,
    WDS_PROFILE_PDN_TYPE_IPV6 = 1,
    WDS_PROFILE_PDN_TYPE_IPV4_IPV6 = 2,
    WDS_PROFILE_PDN_TYPE_UNSPECIFIED = 3
};

enum wds_pdp_type_enum_v01 : uint32_t {
    WDS_PDP_TYPE_IPV4 = 0,
    WDS_PDP_TYPE_IPV6 = 2,
    WDS_PDP_TYPE_IPV4V6 = 3
};

enum wds_common_pdp_type_enum_v01 : uint32_t {
    WDS_COMMON_PDP_TYPE_IPV4 = 0,
    WDS_COMMON_PDP_TYPE_IPV6 = 1,
    WDS_COMMON_PDP_TYPE_IPV4V6 = 2,
    WDS_COMMON_PDP_TYPE_UNKNOWN = 0xFF
};

enum wds_profile_auth_protocol_enum_v01 : uint32_t {
    WDS_PROFILE_AUTH_PROTOCOL_NONE = 0,
    WDS_PROFILE_AUTH_PROTOCOL_PAP = 1,
    WDS_PROFILE_AUTH_PROTOCOL_CHAP = 2,
    WDS_PROFILE_AUTH_PROTOCOL_PAP_CHAP = 3
};

enum wds_profile_event_enum_v01 : uint32_t {
    WDS_PROFILE_EVENT_CREATE = 1,
    WDS_PROFILE_EVENT_DELETE = 2,
    WDS_PROFILE_EVENT_MODIFY = 3,
    WDS_PROFILE_EVENT_SUBSCRIPTION_CHANGE = 4,
    WDS_PROFILE_EVENT_READY = 5
};

enum wds_result_enum_v01 : uint32_t { WDS_RESULT_SUCCESS = 0, WDS_RESULT_FAILURE = 1 };

/// Why a request was refused.
enum wds_error_enum_v01 : uint32_t {
    WDS_ERR_NONE = 0,
    WDS_ERR_MALFORMED_MSG = 1,
    WDS_ERR_NO_MEMORY = 2,
    WDS_ERR_INTERNAL = 3,
    WDS_ERR_INVALID_PROFILE_TYPE = 19,
    WDS_ERR_INVALID_PROFILE = 31,
    WDS_ERR_INVALID_ARG = 48,
    WDS_ERR_NOT_SUPPORTED = 94
};

/// A field that may be absent: `value` counts only when `valid` is not zero.
template <typename T>
struct wds_optional {
    using value_type = T;
    uint8_t valid;
    T value;
};

/// A fixed array for a NUL-terminated string of at most Size - 1 bytes.
template <std::size_t Size>
struct wds_string {
    char data[Size];
};

using wds_profile_name = wds_string<kWdsProfileNameSize>;
using wds_apn_name = wds_string<kWdsApnNameSize>;
using wds_credential = wds_string<kWdsCredentialSize>;

/// Opens every response: zero is success, else `error` says why.
struct wds_response_type_v01 {
    uint32_t result;
    uint32_t error;
};

struct wds_profile_identifier_v01 {
    wds_profile_type_enum_v01 profile_type;
    uint8_t profile_index;
};

/// The settings of a profile, the same in the create and modify requests and in the settings
/// response. The first half describes 3GPP profiles, the second 3GPP2 ones, the last two fields
/// both.
struct wds_profile_settings_v01 {
    wds_optional<wds_profile_name> profile_name;
    wds_optional<wds_pdp_type_enum_v01> pdp_type;
    wds_optional<wds_apn_name> apn_name;
    wds_optional<wds_credential> user_name;
    wds_optional<wds_credential> password;
    wds_optional<uint8_t> auth_preference;  ///< bit 0 PAP allowed, bit 1 CHAP allowed
    wds_optional<uint8_t> apn_disabled;
    wds_optional<uint8_t> apn_class;
    wds_optional<uint8_t> emergency_supported;
    wds_optional<uint16_t> max_pdn_conn_per_block;
    wds_optional<uint16_t> max_pdn_conn_timer;     ///< seconds
    wds_optional<uint16_t> pdn_req_wait_interval;  ///< seconds
    wds_optional<wds_common_pdp_type_enum_v01> lte_roaming_pdp_type;
    wds_optional<wds_common_pdp_type_enum_v01> umts_roaming_pdp_type;
    wds_optional<wds_common_pdp_type_enum_v01> override_home_pdp_type;

    wds_optional<wds_profile_auth_protocol_enum_v01> auth_protocol_3gpp2;
    wds_optional<wds_credential> user_id_3gpp2;
    wds_optional<wds_credential> auth_password_3gpp2;
    wds_optional<wds_apn_name> apn_string_3gpp2;
    wds_optional<wds_profile_pdn_type_enum_v01> pdn_type_3gpp2;
    wds_optional<uint8_t> apn_class_3gpp2;
    wds_optional<wds_profile_auth_protocol_enum_v01> pdn_level_auth_protocol_3gpp2;
    wds_optional<wds_credential> pdn_level_user_id_3gpp2;
    wds_optional<wds_credential> pdn_level_auth_password_3gpp2;

    wds_optional<uint64_t> apn_type_mask;
    wds_optional<uint8_t> clat_enabled;
};

struct wds_create_profile_req_msg_v01 {
    wds_profile_type_enum_v01 profile_type;
    wds_optional<uint8_t> persistent;
    wds_profile_settings_v01 settings;
    uint8_t reserved[2000];
};

struct wds_create_profile_resp_msg_v01 {
    wds_response_type_v01 response;
    wds_profile_identifier_v01 profile;
    wds_optional<uint32_t> extended_error;
};

struct wds_modify_profile_settings_req_msg_v01 {
    wds_profile_identifier_v01 profile;
    wds_profile_settings_v01 settings;
    uint8_t reserved[2008];
};

struct wds_modify_profile_settings_resp_msg_v01 {
    wds_response_type_v01 response;
    wds_optional<uint32_t> extended_error;
};

struct wds_delete_profile_req_msg_v01 {
    wds_profile_identifier_v01 profile;
};

struct wds_delete_profile_resp_msg_v01 {
    wds_response_type_v01 response;
    wds_optional<uint32_t> extended_error;
};

struct wds_get_profile_list_req_msg_v01 {
    wds_optional<wds_profile_type_enum_v01> profile_type;
    uint8_t reserved[176];
};

struct wds_profile_list_entry_v01 {
    wds_profile_type_enum_v01 profile_type;
    uint8_t profile_index;
    wds_profile_name profile_name;
};

struct wds_get_profile_list_resp_msg_v01 {
    wds_response_type_v01 response;
    uint32_t profile_list_len;
    wds_profile_list_entry_v01 profile_list[kWdsMaxProfiles];
    wds_optional<uint32_t> extended_error;
};

struct wds_get_profile_settings_req_msg_v01 {
    wds_profile_identifier_v01 profile;
};

struct wds_get_profile_settings_resp_msg_v01 {
    wds_response_type_v01 response;
    wds_optional<uint8_t> persistent;
    wds_profile_settings_v01 settings;
    uint8_t reserved[2008];
};

/// The response of the requests that answer with nothing but their result.
struct wds_result_resp_msg_v01 {
    wds_response_type_v01 response;
};

struct wds_bind_subscription_req_msg_v01 {
    uint32_t instance;
};

struct wds_indication_register_req_msg_v01 {
    uint8_t reserved_before[16];
    wds_optional<uint8_t> report_profile_changes;
    uint8_t reserved_after[380];
};

struct wds_profile_event_v01 {
    uint32_t profile_type;   ///< 0xFF is every technology
    uint32_t profile_index;  ///< 0xFFFFFFFF is every profile
};

struct wds_configure_profile_event_list_req_msg_v01 {
    uint8_t events_valid;
    uint32_t events_len;
    wds_profile_event_v01 events[kWdsMaxProfileEvents];
    wds_optional<uint8_t> report_subscription_changes;
};

struct wds_profile_changed_ind_type_v01 {
    wds_profile_type_enum_v01 profile_type;
    uint8_t profile_index;
    wds_profile_event_enum_v01 event;
};

struct wds_profile_changed_ind_msg_v01 {
    wds_optional<wds_profile_changed_ind_type_v01> profile_changed;
};

static_assert(sizeof(wds_create_profile_req_msg_v01) == 3248);
static_assert(sizeof(wds_create_profile_resp_msg_v01) == 24);
static_assert(offsetof(wds_create_profile_resp_msg_v01, profile.profile_type) == 8);
static_assert(offsetof(wds_create_profile_resp_msg_v01, profile.profile_index) == 12);
static_assert(sizeof(wds_modify_profile_settings_req_msg_v01) == 3256);
static_assert(offsetof(wds_modify_profile_settings_req_msg_v01, profile) == 0);
static_assert(sizeof(wds_modify_profile_settings_resp_msg_v01) == 16);
static_assert(sizeof(wds_delete_profile_req_msg_v01) == 8);
static_assert(sizeof(wds_delete_profile_resp_msg_v01) == 16);
static_assert(sizeof(wds_profile_identifier_v01) == 8);
static_assert(offsetof(wds_profile_identifier_v01, profile_index) == 4);
static_assert(sizeof(wds_get_profile_list_req_msg_v01) == 184);
static_assert(offsetof(wds_get_profile_list_req_msg_v01, profile_type.valid) == 0);
static_assert(offsetof(wds_get_profile_list_req_msg_v01, profile_type.value) == 4);
static_assert(sizeof(wds_get_profile_list_resp_msg_v01) == 14300);
static_assert(offsetof(wds_get_profile_list_resp_msg_v01, profile_list_len) == 8);
static_assert(offsetof(wds_get_profile_list_resp_msg_v01, profile_list) == 12);
static_assert(sizeof(wds_profile_list_entry_v01) == 56);
static_assert(sizeof(wds_get_profile_settings_req_msg_v01) == 8);
static_assert(sizeof(wds_get_profile_settings_resp_msg_v01) == 3264);
static_assert(sizeof(wds_result_resp_msg_v01) == 8);
static_assert(sizeof(wds_bind_subscription_req_msg_v01) == 4);
static_assert(sizeof(wds_indication_register_req_msg_v01) == 398);
static_assert(offsetof(wds_indication_register_req_msg_v01, report_profile_changes.valid) == 16);
static_assert(offsetof(wds_indication_register_req_msg_v01, report_profile_changes.value) == 17);
static_assert(sizeof(wds_configure_profile_event_list_req_msg_v01) == 2052);
static_assert(offsetof(wds_configure_profile_event_list_req_msg_v01, events_valid) == 0);
static_assert(offsetof(wds_configure_profile_event_list_req_msg_v01, events_len) == 4);
static_assert(offsetof(wds_configure_profile_event_list_req_msg_v01, events) == 8);
static_assert(offsetof(wds_configure_profile_event_list_req_msg_v01, report_subscription_changes) ==
              2048);
static_assert(offsetof(wds_configure_profile_event_list_req_msg_v01,
                       report_subscription_changes.value) == 2049);
