// SPDX-License-Identifier: Apache-2.0

/// @file
/// The Wireless Data Service (WDS) definition, version 1.241.6: the identifiers, enumerations and
/// message structures that the library exchanges with the modem. Declarations only. The structures'
/// sizes are a contract with the messaging client and are held below; room that the library does
/// not use is reserved. An optional field is a flag followed by its value; strings are
/// NUL-terminated within their arrays.

#pragma once

#include <cstddef>
#include <cstdint>

#include "mox/mox_client.h"

///@{
/// The version of the definition that the library asks for.
inline constexpr unsigned int kWdsMajorVersion = 1;
inline constexpr unsigned int kWdsMinorVersion = 241;
inline constexpr unsigned int kWdsToolVersion = 6;
///@}

extern "C" {
/// The service definition for exactly this version, or null when the platform has another one.
mox_service_object_type wds_get_service_object_internal_v01(unsigned int major, unsigned int minor,
                                                            unsigned int tool);
}

///@{
/// Identifier of a message.
inline constexpr unsigned int kWdsIndicationRegisterReq = 0x03;
inline constexpr unsigned int kWdsCreateProfileReq = 0x27;
inline constexpr unsigned int kWdsModifyProfileSettingsReq = 0x28;
inline constexpr unsigned int kWdsDeleteProfileReq = 0x29;
inline constexpr unsigned int kWdsGetProfileListReq = 0x2A;
inline constexpr unsigned int kWdsGetProfileSettingsReq = 0x2B;
inline constexpr unsigned int kWdsConfigureProfileEventListReq = 0xA7;
inline constexpr unsigned int kWdsProfileChangedInd = 0xA8;
inline constexpr unsigned int kWdsBindSubscriptionReq = 0xAF;
///@}

inline constexpr std::size_t kWdsProfileNameSize = 51;    ///< bytes, terminator included
inline constexpr std::size_t kWdsApnNameSize = 151;       ///< bytes, terminator included
inline constexpr std::size_t kWdsCredentialSize = 128;    ///< bytes, terminator included
inline constexpr std::size_t kWdsMaxProfiles = 255;       ///< entries of one list answer
inline constexpr std::size_t kWdsMaxProfileEvents = 255;  ///< entries of one event configuration

/// Technology of a profile.
enum wds_profile_type_enum_v01 : uint32_t {
    WDS_PROFILE_TYPE_3GPP = 0,  ///< GSM, UMTS, LTE and later
    WDS_PROFILE_TYPE_3GPP2 = 1  ///< CDMA
};

/// IP families of a 3GPP2 profile.
enum wds_profile_pdn_type_enum_v01 : uint32_t {
    WDS_PROFILE_PDN_TYPE_IPV4 = 0,        ///< IPv4 alone
    WDS_PROFILE_PDN_TYPE_IPV6 = 1,        ///< IPv6 alone
    WDS_PROFILE_PDN_TYPE_IPV4_IPV6 = 2,   ///< both
    WDS_PROFILE_PDN_TYPE_UNSPECIFIED = 3  ///< not said
};

/// IP families of a 3GPP profile.
enum wds_pdp_type_enum_v01 : uint32_t {
    WDS_PDP_TYPE_IPV4 = 0,   ///< IPv4 alone
    WDS_PDP_TYPE_IPV6 = 2,   ///< IPv6 alone
    WDS_PDP_TYPE_IPV4V6 = 3  ///< both
};

/// IP families in the fields that a 3GPP profile has beside its own: roaming and override.
enum wds_common_pdp_type_enum_v01 : uint32_t {
    WDS_COMMON_PDP_TYPE_IPV4 = 0,       ///< IPv4 alone
    WDS_COMMON_PDP_TYPE_IPV6 = 1,       ///< IPv6 alone
    WDS_COMMON_PDP_TYPE_IPV4V6 = 2,     ///< both
    WDS_COMMON_PDP_TYPE_UNKNOWN = 0xFF  ///< none is set
};

/// How a 3GPP2 data call authenticates.
enum wds_profile_auth_protocol_enum_v01 : uint32_t {
    WDS_PROFILE_AUTH_PROTOCOL_NONE = 0,     ///< not at all
    WDS_PROFILE_AUTH_PROTOCOL_PAP = 1,      ///< with a password in clear
    WDS_PROFILE_AUTH_PROTOCOL_CHAP = 2,     ///< with a challenge
    WDS_PROFILE_AUTH_PROTOCOL_PAP_CHAP = 3  ///< either
};

/// What happened to a profile, or to all of them. The library takes any other value for READY.
enum wds_profile_event_enum_v01 : uint32_t {
    WDS_PROFILE_EVENT_CREATE = 1,               ///< a profile is new; a MODIFY of it follows
    WDS_PROFILE_EVENT_DELETE = 2,               ///< it is gone
    WDS_PROFILE_EVENT_MODIFY = 3,               ///< its settings changed
    WDS_PROFILE_EVENT_SUBSCRIPTION_CHANGE = 4,  ///< the subscription has other profiles now
    WDS_PROFILE_EVENT_READY = 5                 ///< the profiles can be read
};

/// Whether a request was carried out. The library takes any value but success for a failure.
enum wds_result_enum_v01 : uint32_t {
    WDS_RESULT_SUCCESS = 0,  ///< it was
    WDS_RESULT_FAILURE = 1   ///< it was refused and changed nothing
};

/// Why a request was refused. The library does not look at it.
enum wds_error_enum_v01 : uint32_t {
    WDS_ERR_NONE = 0,                   ///< it was not
    WDS_ERR_MALFORMED_MSG = 1,          ///< its fields do not follow the definition
    WDS_ERR_NO_MEMORY = 2,              ///< the store of profiles is full
    WDS_ERR_INTERNAL = 3,               ///< the modem cannot
    WDS_ERR_INVALID_PROFILE_TYPE = 19,  ///< there is no such technology
    WDS_ERR_INVALID_PROFILE = 31,       ///< there is no such profile
    WDS_ERR_INVALID_ARG = 48,           ///< a value is out of its range
    WDS_ERR_NOT_SUPPORTED = 94          ///< there is no such message
};

/// A field that may be absent: `value` counts only when `valid` is not zero.
template <typename T>
struct wds_optional {
    using value_type = T;  ///< the type of the value
    uint8_t valid;         ///< zero for a field that is absent
    T value;               ///< the value
};

/// A fixed array for a NUL-terminated string of at most Size - 1 bytes.
template <std::size_t Size>
struct wds_string {
    char data[Size];  ///< the text and its terminator
};

///@{
/// The kinds of text.
using wds_profile_name = wds_string<kWdsProfileNameSize>;
using wds_apn_name = wds_string<kWdsApnNameSize>;
using wds_credential = wds_string<kWdsCredentialSize>;
///@}

/// Opens every response.
struct wds_response_type_v01 {
    uint32_t result;  ///< wds_result_enum_v01
    uint32_t error;   ///< wds_error_enum_v01
};

/// Names a profile.
struct wds_profile_identifier_v01 {
    wds_profile_type_enum_v01 profile_type;  ///< its technology
    uint8_t profile_index;                   ///< its index within the technology
};

/// The settings of a profile, the same in the create and modify requests and in the settings
/// response. The first half describes 3GPP profiles, the second 3GPP2 ones, the last two fields
/// both. A field that is absent from a request is left as it is.
struct wds_profile_settings_v01 {
    wds_optional<wds_profile_name> profile_name;   ///< tells the library's own profiles from others
    wds_optional<wds_pdp_type_enum_v01> pdp_type;  ///< IP families
    wds_optional<wds_apn_name> apn_name;           ///< access point name
    wds_optional<wds_credential> user_name;        ///< user name
    wds_optional<wds_credential> password;         ///< password
    wds_optional<uint8_t> auth_preference;         ///< bit 0 PAP allowed, bit 1 CHAP allowed
    wds_optional<uint8_t> apn_disabled;            ///< not zero: disabled
    wds_optional<uint8_t> apn_class;               ///< class of the access point
    wds_optional<uint8_t> emergency_supported;     ///< not zero: may carry emergency calls
    wds_optional<uint16_t> max_pdn_conn_per_block;  ///< connections in one timer period
    wds_optional<uint16_t> max_pdn_conn_timer;      ///< that period in seconds
    wds_optional<uint16_t> pdn_req_wait_interval;   ///< seconds between two requests
    wds_optional<wds_common_pdp_type_enum_v01> lte_roaming_pdp_type;   ///< when roaming on LTE
    wds_optional<wds_common_pdp_type_enum_v01> umts_roaming_pdp_type;  ///< when roaming on UMTS
    /// IP families at home when pdp_type had to be widened for roaming.
    wds_optional<wds_common_pdp_type_enum_v01> override_home_pdp_type;

    wds_optional<wds_profile_auth_protocol_enum_v01> auth_protocol_3gpp2;  ///< how to authenticate
    wds_optional<wds_credential> user_id_3gpp2;                            ///< user name
    wds_optional<wds_credential> auth_password_3gpp2;                      ///< password
    wds_optional<wds_apn_name> apn_string_3gpp2;                           ///< access point name
    wds_optional<wds_profile_pdn_type_enum_v01> pdn_type_3gpp2;            ///< IP families
    wds_optional<uint8_t> apn_class_3gpp2;  ///< class of the access point
    /// How the connection to the packet network authenticates: as the profile does.
    wds_optional<wds_profile_auth_protocol_enum_v01> pdn_level_auth_protocol_3gpp2;
    wds_optional<wds_credential> pdn_level_user_id_3gpp2;        ///< the same for the user name
    wds_optional<wds_credential> pdn_level_auth_password_3gpp2;  ///< the same for the password

    /// What the access point is used for, in the modem's numbering of the bits.
    wds_optional<uint64_t> apn_type_mask;
    wds_optional<uint8_t> clat_enabled;  ///< not zero: IPv4 over an IPv6-only data call
};

/// Creates a profile.
struct wds_create_profile_req_msg_v01 {
    wds_profile_type_enum_v01 profile_type;  ///< its technology
    wds_optional<uint8_t> persistent;        ///< always present; zero: forgotten at a restart
    wds_profile_settings_v01 settings;       ///< its settings
    uint8_t reserved[2000];                  ///< zero
};

/// Answers a creation.
struct wds_create_profile_resp_msg_v01 {
    wds_response_type_v01 response;         ///< whether it was carried out
    wds_profile_identifier_v01 profile;     ///< the new profile
    wds_optional<uint32_t> extended_error;  ///< not read
};

/// Changes the settings of a profile that are present.
struct wds_modify_profile_settings_req_msg_v01 {
    wds_profile_identifier_v01 profile;  ///< the profile
    wds_profile_settings_v01 settings;   ///< what changes
    uint8_t reserved[2008];              ///< zero
};

/// Answers a change.
struct wds_modify_profile_settings_resp_msg_v01 {
    wds_response_type_v01 response;         ///< whether it was carried out
    wds_optional<uint32_t> extended_error;  ///< not read
};

/// Deletes a profile.
struct wds_delete_profile_req_msg_v01 {
    wds_profile_identifier_v01 profile;  ///< the profile
};

/// Answers a deletion.
struct wds_delete_profile_resp_msg_v01 {
    wds_response_type_v01 response;         ///< whether it was carried out
    wds_optional<uint32_t> extended_error;  ///< not read
};

/// Asks which profiles there are.
struct wds_get_profile_list_req_msg_v01 {
    wds_optional<wds_profile_type_enum_v01> profile_type;  ///< always present: the technology
    uint8_t reserved[176];                                 ///< zero
};

/// One profile of a list.
struct wds_profile_list_entry_v01 {
    wds_profile_type_enum_v01 profile_type;  ///< its technology
    uint8_t profile_index;                   ///< its index
    wds_profile_name profile_name;           ///< its name, not read
};

/// Answers with the profiles of a technology.
struct wds_get_profile_list_resp_msg_v01 {
    wds_response_type_v01 response;  ///< whether the list is there
    uint32_t profile_list_len;       ///< entries in use; more than fit are not looked at
    wds_profile_list_entry_v01 profile_list[kWdsMaxProfiles];  ///< the profiles
    wds_optional<uint32_t> extended_error;                     ///< not read
};

/// Asks for the settings of a profile.
struct wds_get_profile_settings_req_msg_v01 {
    wds_profile_identifier_v01 profile;  ///< the profile
};

/// Answers with the settings of a profile.
struct wds_get_profile_settings_resp_msg_v01 {
    wds_response_type_v01 response;     ///< whether they are there
    wds_optional<uint8_t> persistent;   ///< zero: forgotten at a restart
    wds_profile_settings_v01 settings;  ///< the settings
    uint8_t reserved[2008];             ///< not read
};

/// The response of the requests that answer with nothing but their result.
struct wds_result_resp_msg_v01 {
    wds_response_type_v01 response;  ///< whether the request was carried out
};

/// Chooses the subscription that a client talks of.
struct wds_bind_subscription_req_msg_v01 {
    uint32_t instance;  ///< 0 for the first one
};

/// Registers a client for indications.
struct wds_indication_register_req_msg_v01 {
    uint8_t reserved_before[16];                   ///< zero
    wds_optional<uint8_t> report_profile_changes;  ///< present and 1: profile-changed indications
    uint8_t reserved_after[380];                   ///< zero
};

/// The profiles whose changes a client wants to hear of.
struct wds_profile_event_v01 {
    uint32_t profile_type;   ///< 0xFF is every technology
    uint32_t profile_index;  ///< 0xFFFFFFFF is every profile
};

/// Says which changes a client wants to hear of. The modem then reports its store ready.
struct wds_configure_profile_event_list_req_msg_v01 {
    uint8_t events_valid;                                ///< 1: the list is present
    uint32_t events_len;                                 ///< entries in use
    wds_profile_event_v01 events[kWdsMaxProfileEvents];  ///< the profiles
    wds_optional<uint8_t> report_subscription_changes;   ///< present and 1: those, too
};

/// A change of the modem's store.
struct wds_profile_changed_ind_type_v01 {
    wds_profile_type_enum_v01 profile_type;  ///< technology of the profile
    uint8_t profile_index;                   ///< its index
    wds_profile_event_enum_v01 event;        ///< what happened
};

/// Reports a change of the modem's store, whoever made it.
struct wds_profile_changed_ind_msg_v01 {
    wds_optional<wds_profile_changed_ind_type_v01> profile_changed;  ///< the change
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
