// SPDX-License-Identifier: Apache-2.0

#include "host/mox/WdsService.h"

#include <array>
#include <cstddef>
#include <type_traits>

#include "mox/wds_v01.h"

namespace velo::mox {

namespace {

template <typename T>
constexpr FieldKind scalarKind() {
    static_assert(std::is_integral_v<T> || std::is_enum_v<T>, "describe a record by a Shape");
    switch (sizeof(T)) {
        case 1:
            return FieldKind::U8;
        case 2:
            return FieldKind::U16;
        case 4:
            return FieldKind::U32;
        default:
            return FieldKind::U64;
    }
}

/// The names of an enumeration's values.
template <typename T>
constexpr std::array<ValueName, 0> kNames{};

template <>
constexpr std::array kNames<wds_profile_type_enum_v01>{
    ValueName{WDS_PROFILE_TYPE_3GPP, "3GPP"},
    ValueName{WDS_PROFILE_TYPE_3GPP2, "3GPP2"},
};

template <>
constexpr std::array kNames<wds_profile_pdn_type_enum_v01>{
    ValueName{WDS_PROFILE_PDN_TYPE_IPV4, "IPv4"},
    ValueName{WDS_PROFILE_PDN_TYPE_IPV6, "IPv6"},
    ValueName{WDS_PROFILE_PDN_TYPE_IPV4_IPV6, "IPv4v6"},
    ValueName{WDS_PROFILE_PDN_TYPE_UNSPECIFIED, "unspecified"},
};

template <>
constexpr std::array kNames<wds_pdp_type_enum_v01>{
    ValueName{WDS_PDP_TYPE_IPV4, "IPv4"},
    ValueName{WDS_PDP_TYPE_IPV6, "IPv6"},
    ValueName{WDS_PDP_TYPE_IPV4V6, "IPv4v6"},
};

template <>
constexpr std::array kNames<wds_common_pdp_type_enum_v01>{
    ValueName{WDS_COMMON_PDP_TYPE_IPV4, "IPv4"},
    ValueName{WDS_COMMON_PDP_TYPE_IPV6, "IPv6"},
    ValueName{WDS_COMMON_PDP_TYPE_IPV4V6, "IPv4v6"},
    ValueName{WDS_COMMON_PDP_TYPE_UNKNOWN, "unknown"},
};

template <>
constexpr std::array kNames<wds_profile_auth_protocol_enum_v01>{
    ValueName{WDS_PROFILE_AUTH_PROTOCOL_NONE, "none"},
    ValueName{WDS_PROFILE_AUTH_PROTOCOL_PAP, "PAP"},
    ValueName{WDS_PROFILE_AUTH_PROTOCOL_CHAP, "CHAP"},
    ValueName{WDS_PROFILE_AUTH_PROTOCOL_PAP_CHAP, "PAP or CHAP"},
};

template <>
constexpr std::array kNames<wds_profile_event_enum_v01>{
    ValueName{WDS_PROFILE_EVENT_CREATE, "create"},
    ValueName{WDS_PROFILE_EVENT_DELETE, "delete"},
    ValueName{WDS_PROFILE_EVENT_MODIFY, "modify"},
    ValueName{WDS_PROFILE_EVENT_SUBSCRIPTION_CHANGE, "subscription change"},
    ValueName{WDS_PROFILE_EVENT_READY, "store ready"},
};

template <>
constexpr std::array kNames<wds_result_enum_v01>{
    ValueName{WDS_RESULT_SUCCESS, "success"},
    ValueName{WDS_RESULT_FAILURE, "failure"},
};

template <>
constexpr std::array kNames<wds_error_enum_v01>{
    ValueName{WDS_ERR_NONE, "none"},
    ValueName{WDS_ERR_MALFORMED_MSG, "malformed message"},
    ValueName{WDS_ERR_NO_MEMORY, "no memory"},
    ValueName{WDS_ERR_INTERNAL, "internal"},
    ValueName{WDS_ERR_INVALID_PROFILE_TYPE, "invalid profile type"},
    ValueName{WDS_ERR_INVALID_PROFILE, "invalid profile"},
    ValueName{WDS_ERR_INVALID_ARG, "invalid argument"},
    ValueName{WDS_ERR_NOT_SUPPORTED, "not supported"},
};

// Numbers whose type in the structures says nothing of their meaning.
constexpr std::array kYesNo{ValueName{0, "no"}, ValueName{1, "yes"}};
constexpr std::array kWantedTechnologies{
    ValueName{WDS_PROFILE_TYPE_3GPP, "3GPP"},
    ValueName{WDS_PROFILE_TYPE_3GPP2, "3GPP2"},
    ValueName{0xFF, "every technology"},
};
constexpr std::array kWantedProfiles{ValueName{0xFFFFFFFF, "every profile"}};

constexpr Field named(Field field, std::span<const ValueName> names) {
    field.names = names;
    return field;
}

constexpr Field mask(Field field) {
    field.mask = true;
    return field;
}

/// How the type of a structure's member travels.
template <typename T>
struct Shape {
    static constexpr FieldKind kind = scalarKind<T>();
    static constexpr std::span<const Field> elements{};
};

template <std::size_t Size>
struct Shape<wds_string<Size>> {
    static constexpr FieldKind kind = FieldKind::String;
    static constexpr std::span<const Field> elements{};
};

template <const auto& Elements>
struct RecordShape {
    static constexpr FieldKind kind = FieldKind::Record;
    static constexpr std::span<const Field> elements{Elements};
};

template <typename T>
struct Member {
    static constexpr Field describe(const char* name, std::uint8_t tag, std::size_t offset) {
        Field field;
        field.name = name;
        field.tag = tag;
        field.kind = Shape<T>::kind;
        field.value = static_cast<std::uint32_t>(offset);
        field.size = sizeof(T);
        field.elements = Shape<T>::elements;
        field.names = kNames<T>;
        return field;
    }
};

template <typename T>
struct Member<wds_optional<T>> {
    static constexpr Field describe(const char* name, std::uint8_t tag, std::size_t offset) {
        using Optional = wds_optional<T>;
        Field field = Member<T>::describe(name, tag, offset + offsetof(Optional, value));
        field.flag = static_cast<std::uint32_t>(offset + offsetof(Optional, valid));
        return field;
    }
};

// The name, type and offset of a member can only be had together from the preprocessor.
#define FIELD(structure, member, tag) \
    Member<decltype(structure::member)>::describe(#member, tag, offsetof(structure, member))
#define ELEMENT(structure, member) FIELD(structure, member, 0)

template <typename Entry>
constexpr Field listField(const char* name, std::uint8_t tag, std::uint32_t flag, std::size_t count,
                          std::size_t entries, std::size_t limit) {
    Field field = Member<Entry>::describe(name, tag, entries);
    field.kind = FieldKind::List;
    field.flag = flag;
    field.count = static_cast<std::uint32_t>(count);
    field.limit = static_cast<std::uint32_t>(limit);
    return field;
}

/// A message's own fields, followed by the settings of a profile at `offset` of its structure.
template <std::size_t Own, std::size_t Settings>
constexpr auto withSettings(const std::array<Field, Own>& own,
                            const std::array<Field, Settings>& settings, std::size_t offset) {
    std::array<Field, Own + Settings> fields{};
    std::size_t next = 0;
    for (const Field& field : own) {
        fields[next++] = field;
    }
    for (Field field : settings) {
        field.flag += static_cast<std::uint32_t>(offset);
        field.value += static_cast<std::uint32_t>(offset);
        fields[next++] = field;
    }
    return fields;
}

constexpr std::array kResponseElements{
    named(ELEMENT(wds_response_type_v01, result), kNames<wds_result_enum_v01>),
    named(ELEMENT(wds_response_type_v01, error), kNames<wds_error_enum_v01>),
};
template <>
struct Shape<wds_response_type_v01> : RecordShape<kResponseElements> {};

constexpr std::array kIdentifierElements{
    ELEMENT(wds_profile_identifier_v01, profile_type),
    ELEMENT(wds_profile_identifier_v01, profile_index),
};
template <>
struct Shape<wds_profile_identifier_v01> : RecordShape<kIdentifierElements> {};

constexpr std::array kListEntryElements{
    ELEMENT(wds_profile_list_entry_v01, profile_type),
    ELEMENT(wds_profile_list_entry_v01, profile_index),
    ELEMENT(wds_profile_list_entry_v01, profile_name),
};
template <>
struct Shape<wds_profile_list_entry_v01> : RecordShape<kListEntryElements> {};

constexpr std::array kEventElements{
    named(ELEMENT(wds_profile_event_v01, profile_type), kWantedTechnologies),
    named(ELEMENT(wds_profile_event_v01, profile_index), kWantedProfiles),
};
template <>
struct Shape<wds_profile_event_v01> : RecordShape<kEventElements> {};

constexpr std::array kChangeElements{
    ELEMENT(wds_profile_changed_ind_type_v01, profile_type),
    ELEMENT(wds_profile_changed_ind_type_v01, profile_index),
    ELEMENT(wds_profile_changed_ind_type_v01, event),
};
template <>
struct Shape<wds_profile_changed_ind_type_v01> : RecordShape<kChangeElements> {};

constexpr std::array kSettings{
    FIELD(wds_profile_settings_v01, profile_name, 0x20),
    FIELD(wds_profile_settings_v01, pdp_type, 0x21),
    FIELD(wds_profile_settings_v01, apn_name, 0x22),
    FIELD(wds_profile_settings_v01, user_name, 0x23),
    FIELD(wds_profile_settings_v01, password, 0x24),
    mask(FIELD(wds_profile_settings_v01, auth_preference, 0x25)),
    named(FIELD(wds_profile_settings_v01, apn_disabled, 0x26), kYesNo),
    FIELD(wds_profile_settings_v01, apn_class, 0x27),
    named(FIELD(wds_profile_settings_v01, emergency_supported, 0x28), kYesNo),
    FIELD(wds_profile_settings_v01, max_pdn_conn_per_block, 0x29),
    FIELD(wds_profile_settings_v01, max_pdn_conn_timer, 0x2A),
    FIELD(wds_profile_settings_v01, pdn_req_wait_interval, 0x2B),
    FIELD(wds_profile_settings_v01, lte_roaming_pdp_type, 0x2C),
    FIELD(wds_profile_settings_v01, umts_roaming_pdp_type, 0x2D),
    FIELD(wds_profile_settings_v01, override_home_pdp_type, 0x2E),
    FIELD(wds_profile_settings_v01, auth_protocol_3gpp2, 0x40),
    FIELD(wds_profile_settings_v01, user_id_3gpp2, 0x41),
    FIELD(wds_profile_settings_v01, auth_password_3gpp2, 0x42),
    FIELD(wds_profile_settings_v01, apn_string_3gpp2, 0x43),
    FIELD(wds_profile_settings_v01, pdn_type_3gpp2, 0x44),
    FIELD(wds_profile_settings_v01, apn_class_3gpp2, 0x45),
    FIELD(wds_profile_settings_v01, pdn_level_auth_protocol_3gpp2, 0x46),
    FIELD(wds_profile_settings_v01, pdn_level_user_id_3gpp2, 0x47),
    FIELD(wds_profile_settings_v01, pdn_level_auth_password_3gpp2, 0x48),
    mask(FIELD(wds_profile_settings_v01, apn_type_mask, 0x60)),
    named(FIELD(wds_profile_settings_v01, clat_enabled, 0x61), kYesNo),
};

constexpr auto kCreateReq =
    withSettings(std::array{FIELD(wds_create_profile_req_msg_v01, profile_type, 0x01),
                            named(FIELD(wds_create_profile_req_msg_v01, persistent, 0x10), kYesNo)},
                 kSettings, offsetof(wds_create_profile_req_msg_v01, settings));

constexpr std::array kCreateResp{
    FIELD(wds_create_profile_resp_msg_v01, response, 0x02),
    FIELD(wds_create_profile_resp_msg_v01, profile, 0x03),
    FIELD(wds_create_profile_resp_msg_v01, extended_error, 0x10),
};

constexpr auto kModifyReq =
    withSettings(std::array{FIELD(wds_modify_profile_settings_req_msg_v01, profile, 0x01)},
                 kSettings, offsetof(wds_modify_profile_settings_req_msg_v01, settings));

constexpr std::array kModifyResp{
    FIELD(wds_modify_profile_settings_resp_msg_v01, response, 0x02),
    FIELD(wds_modify_profile_settings_resp_msg_v01, extended_error, 0x10),
};

constexpr std::array kDeleteReq{FIELD(wds_delete_profile_req_msg_v01, profile, 0x01)};

constexpr std::array kDeleteResp{
    FIELD(wds_delete_profile_resp_msg_v01, response, 0x02),
    FIELD(wds_delete_profile_resp_msg_v01, extended_error, 0x10),
};

constexpr std::array kListReq{FIELD(wds_get_profile_list_req_msg_v01, profile_type, 0x10)};

constexpr std::array kListResp{
    FIELD(wds_get_profile_list_resp_msg_v01, response, 0x02),
    listField<wds_profile_list_entry_v01>(
        "profile_list", 0x03, Field::kMandatory,
        offsetof(wds_get_profile_list_resp_msg_v01, profile_list_len),
        offsetof(wds_get_profile_list_resp_msg_v01, profile_list), kWdsMaxProfiles),
    FIELD(wds_get_profile_list_resp_msg_v01, extended_error, 0x10),
};

constexpr std::array kGetReq{FIELD(wds_get_profile_settings_req_msg_v01, profile, 0x01)};

constexpr auto kGetResp = withSettings(
    std::array{FIELD(wds_get_profile_settings_resp_msg_v01, response, 0x02),
               named(FIELD(wds_get_profile_settings_resp_msg_v01, persistent, 0x10), kYesNo)},
    kSettings, offsetof(wds_get_profile_settings_resp_msg_v01, settings));

constexpr std::array kBindReq{FIELD(wds_bind_subscription_req_msg_v01, instance, 0x01)};

constexpr std::array kRegisterReq{
    named(FIELD(wds_indication_register_req_msg_v01, report_profile_changes, 0x10), kYesNo),
};

constexpr std::array kConfigureReq{
    listField<wds_profile_event_v01>(
        "events", 0x10, offsetof(wds_configure_profile_event_list_req_msg_v01, events_valid),
        offsetof(wds_configure_profile_event_list_req_msg_v01, events_len),
        offsetof(wds_configure_profile_event_list_req_msg_v01, events), kWdsMaxProfileEvents),
    named(FIELD(wds_configure_profile_event_list_req_msg_v01, report_subscription_changes, 0x11),
          kYesNo),
};

constexpr std::array kResultResp{FIELD(wds_result_resp_msg_v01, response, 0x02)};

constexpr std::array kChangedInd{FIELD(wds_profile_changed_ind_msg_v01, profile_changed, 0x10)};

#undef ELEMENT
#undef FIELD

template <typename Structure>
constexpr MessageDefinition message(const char* name, unsigned int id, mox_message_kind kind,
                                    std::span<const Field> fields) {
    return {static_cast<std::uint16_t>(id), kind, name, sizeof(Structure), fields};
}

constexpr std::array kMessages{
    message<wds_indication_register_req_msg_v01>("indication register request",
                                                 kWdsIndicationRegisterReq, MOX_MESSAGE_REQUEST,
                                                 kRegisterReq),
    message<wds_result_resp_msg_v01>("indication register response", kWdsIndicationRegisterReq,
                                     MOX_MESSAGE_RESPONSE, kResultResp),
    message<wds_create_profile_req_msg_v01>("create profile request", kWdsCreateProfileReq,
                                            MOX_MESSAGE_REQUEST, kCreateReq),
    message<wds_create_profile_resp_msg_v01>("create profile response", kWdsCreateProfileReq,
                                             MOX_MESSAGE_RESPONSE, kCreateResp),
    message<wds_modify_profile_settings_req_msg_v01>("modify profile settings request",
                                                     kWdsModifyProfileSettingsReq,
                                                     MOX_MESSAGE_REQUEST, kModifyReq),
    message<wds_modify_profile_settings_resp_msg_v01>("modify profile settings response",
                                                      kWdsModifyProfileSettingsReq,
                                                      MOX_MESSAGE_RESPONSE, kModifyResp),
    message<wds_delete_profile_req_msg_v01>("delete profile request", kWdsDeleteProfileReq,
                                            MOX_MESSAGE_REQUEST, kDeleteReq),
    message<wds_delete_profile_resp_msg_v01>("delete profile response", kWdsDeleteProfileReq,
                                             MOX_MESSAGE_RESPONSE, kDeleteResp),
    message<wds_get_profile_list_req_msg_v01>("get profile list request", kWdsGetProfileListReq,
                                              MOX_MESSAGE_REQUEST, kListReq),
    message<wds_get_profile_list_resp_msg_v01>("get profile list response", kWdsGetProfileListReq,
                                               MOX_MESSAGE_RESPONSE, kListResp),
    message<wds_get_profile_settings_req_msg_v01>(
        "get profile settings request", kWdsGetProfileSettingsReq, MOX_MESSAGE_REQUEST, kGetReq),
    message<wds_get_profile_settings_resp_msg_v01>(
        "get profile settings response", kWdsGetProfileSettingsReq, MOX_MESSAGE_RESPONSE, kGetResp),
    message<wds_configure_profile_event_list_req_msg_v01>("configure profile event list request",
                                                          kWdsConfigureProfileEventListReq,
                                                          MOX_MESSAGE_REQUEST, kConfigureReq),
    message<wds_result_resp_msg_v01>("configure profile event list response",
                                     kWdsConfigureProfileEventListReq, MOX_MESSAGE_RESPONSE,
                                     kResultResp),
    message<wds_bind_subscription_req_msg_v01>("bind subscription request", kWdsBindSubscriptionReq,
                                               MOX_MESSAGE_REQUEST, kBindReq),
    message<wds_result_resp_msg_v01>("bind subscription response", kWdsBindSubscriptionReq,
                                     MOX_MESSAGE_RESPONSE, kResultResp),
    message<wds_profile_changed_ind_msg_v01>("profile changed indication", kWdsProfileChangedInd,
                                             MOX_MESSAGE_INDICATION, kChangedInd),
};

constexpr std::uint32_t kWdsServiceId = 1;
constexpr mox_service_definition kService{kWdsServiceId, kMessages};

}  // namespace

const mox_service_definition& wdsService() {
    return kService;
}

std::span<const Field> wdsSettingsFields() {
    return kSettings;
}

}  // namespace velo::mox

mox_service_object_type wds_get_service_object_internal_v01(unsigned int major, unsigned int minor,
                                                            unsigned int tool) {
    if (major != kWdsMajorVersion || minor != kWdsMinorVersion || tool != kWdsToolVersion) {
        return nullptr;
    }
    return &velo::mox::wdsService();
}
