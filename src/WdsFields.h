// SPDX-License-Identifier: Apache-2.0
//
// Between the optional settings of a profile image and the optional fields of the modem's messages.
// Stateless; for any thread. A number that a field is too narrow for keeps its low bits there, a
// text is cut to leave room for the terminator.

#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

#include "mox/wds_v01.h"

namespace velo {

/// Writes a setting that is present into a field, through `convert`.
template <typename Field, typename T, typename Convert>
void writeField(wds_optional<Field>& field, const std::optional<T>& value, Convert convert) {
    if (!value) return;
    field.value = static_cast<Field>(convert(*value));
    field.valid = 1;
}

template <typename Field, typename T>
void writeField(wds_optional<Field>& field, const std::optional<T>& value) {
    writeField(field, value, [](T same) { return same; });
}

template <std::size_t Size>
void writeField(wds_optional<wds_string<Size>>& field, const std::optional<std::string>& value) {
    if (!value) return;
    field.value = {};
    value->copy(field.value.data, Size - 1);
    field.valid = 1;
}

/// For readField: the value as it is, in another type.
template <typename T>
inline constexpr auto castTo = [](auto value) { return static_cast<T>(value); };

/// The value of a field that is valid, through `convert`.
template <typename Field, typename Convert>
auto readField(const wds_optional<Field>& field, Convert convert)
    -> std::optional<decltype(convert(field.value))> {
    if (!field.valid) return std::nullopt;
    return convert(field.value);
}

/// The modem may leave out the terminator; the last byte of the array is its place in any case.
template <std::size_t Size>
std::optional<std::string> readField(const wds_optional<wds_string<Size>>& field) {
    if (!field.valid) return std::nullopt;
    return std::string(field.value.data, strnlen(field.value.data, Size - 1));
}

}  // namespace velo
