// SPDX-License-Identifier: Apache-2.0

/// @file
/// The modem diagnostic service, as the device provides it. Declarations only: the device links its
/// own implementation, a workstation links the one in host/diag. Every call may be made from any
/// thread.

#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Describes one kind of message; constant for the process once the first message was sent with it.
typedef struct {
    uint16_t line;          ///< source line
    uint16_t subsystem_id;  ///< who speaks
    uint32_t mask;          ///< importance: 1 low, 2 medium, 4 high, 8 error, 16 fatal
    const char* format;     ///< printf format with two string conversions
    const char* file;       ///< source file
} diag_message_descriptor;

/// Opens the service for this process; users are counted. True on success.
uint8_t Diag_LSM_Init(uint8_t* environment);

/// Closes the service for one user. True on success.
uint8_t Diag_LSM_DeInit(void);

/// Sends one message, formatted from the descriptor's format and the two strings. Dropped silently
/// when nobody listens.
void msg_sprintf(const diag_message_descriptor* descriptor, const char* tag, const char* text);

/// Whether a message of that importance would be heard by anybody now; may be asked at any time, on
/// any thread, in a forked child, and before the service is opened. Optional: on a device that does
/// not provide it every message is sent, which costs its formatting.
uint8_t diag_is_listening(uint32_t mask) __attribute__((weak));

#ifdef __cplusplus
}
#endif
