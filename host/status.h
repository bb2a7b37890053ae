// SPDX-License-Identifier: Apache-2.0
// Status codes of the host beyond those of schedcli.h; syserr2str has a text for each of them.
#pragma once

#include <cstdint>

namespace host {

inline constexpr uint32_t err_bad_value = 0x40bd002d;    // a field, parameter or text is out of its range
inline constexpr uint32_t err_absent = 0x40be0010;       // no such file or directory
inline constexpr uint32_t err_state_newer = 0x40be0012;  // the state directory was written by a newer version

// Transport.
inline constexpr uint32_t err_not_running = 0x40be0001;  // no service listens on the socket
inline constexpr uint32_t err_not_permitted = 0x40be0002;
inline constexpr uint32_t err_too_large = 0x40be0003;  // request or reply above the frame limit
inline constexpr uint32_t err_timed_out = 0x40be0004;
inline constexpr uint32_t err_bad_reply = 0x40be0005;    // the service's answer does not fit the request
inline constexpr uint32_t err_bad_request = 0x40be0006;  // a malformed frame or record
inline constexpr uint32_t err_unknown_service = 0x40be0007;
inline constexpr uint32_t err_unknown_opcode = 0x40be0008;
inline constexpr uint32_t err_no_memory = 0x40be0009;
inline constexpr uint32_t err_busy = 0x40be000a;  // too many clients or authentications at once
inline constexpr uint32_t err_io = 0x40be000b;
inline constexpr uint32_t err_cut_off = 0x40be000c;  // the service ended before it answered; it may have acted or not
inline constexpr uint32_t err_too_many_connections = 0x40be000e;  // of one user
inline constexpr uint32_t err_too_many_streams = 0x40be000f;      // of one user

// Security.
inline constexpr uint32_t err_account_refused = 0x40be0011;    // by PAM: expired, locked or not permitted
inline constexpr uint32_t err_password_too_long = 0x40be000d;  // above what a sealed password holds: 53 bytes

// Store.
inline constexpr uint32_t err_store_bad_handle = 0x40480004;
inline constexpr uint32_t err_store_limit = 0x40480005;   // key or value longer than the store allows, or empty key
inline constexpr uint32_t err_store_full = 0x40480006;    // the store has reached its limit, or the disk is full
inline constexpr uint32_t err_store_absent = 0x40480007;  // no store of that name
// Damaged, truncated, not a store, or a store of the other word size.
inline constexpr uint32_t err_store_unusable = 0x40480008;
inline constexpr uint32_t err_store_io = 0x40480009;
inline constexpr uint32_t err_store_uri = 0x4048000a;   // not a URI of a store
inline constexpr uint32_t err_store_busy = 0x4048000b;  // also open in another process, and must not be
inline constexpr uint32_t err_store_gone = 0x4048000c;  // its file was removed or replaced under the process

// Feature manager: what the library's handler tolerates.
inline constexpr uint32_t err_feature_enabled = 0x40aa0005;
inline constexpr uint32_t err_feature_disabled = 0x40aa0006;
inline constexpr uint32_t err_feature_unknown = 0x40aa0007;

}  // namespace host
