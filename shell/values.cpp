// SPDX-License-Identifier: Apache-2.0
#include "shell/values.h"

#include <algorithm>
#include <ctime>
#include <string>

#include "schedcli.h"
#include "shell/context.h"
#include "shell/moment.h"

namespace shell {

namespace {

// The length of the fields in the requests' records, without the NUL.
constexpr size_t name_limit = SCH_NAME_SIZE - 1;
constexpr size_t address_limit = SCH_ADDRESS_SIZE - 1;
constexpr size_t vrf_limit = sizeof(sch_smtp_server_rec::vrf) - 1;
constexpr size_t user_limit = sizeof(sch_security_user_rec::user_name) - 1;

// Limits of the domain name system.
constexpr size_t host_limit = 253, label_limit = 63;

constexpr size_t limit_of(Kind kind) {
  switch (kind) {
    case Kind::name:
      return name_limit;
    case Kind::address:
      return address_limit;
    case Kind::host:
      return host_limit;
    case Kind::vrf:
      return vrf_limit;
    case Kind::user:
      return user_limit;
    default:
      return 0;
  }
}

bool is_alphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool is_name(std::string_view text) {
  return !text.empty() && is_alphanumeric(text.front()) &&
         std::ranges::all_of(text, [](char c) { return is_alphanumeric(c) || c == '_' || c == '-'; });
}

bool is_plain_word(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) { return c > ' ' && c < 0x7f; });
}

// Underscores are allowed: the standards forbid them in host names, but some machines have them.
bool is_label(std::string_view text) {
  return !text.empty() && text.size() <= label_limit && text.front() != '-' && text.back() != '-' &&
         std::ranges::all_of(text, [](char c) { return is_alphanumeric(c) || c == '_' || c == '-'; });
}

bool is_host(std::string_view text) {
  if (host_kind(std::string(text)) != host_is_name) return true;
  const bool numeric = text.find_first_not_of("0123456789.") == std::string_view::npos;
  if (text.ends_with('.')) text.remove_suffix(1);
  if (numeric || text.empty()) return false;  // only digits and dots, but not a valid IPv4 address
  while (true) {
    const size_t dot = text.find('.');
    if (!is_label(text.substr(0, dot))) return false;
    if (dot == std::string_view::npos) return true;
    text.remove_prefix(dot + 1);
  }
}

bool is_address(std::string_view text) {
  const size_t at = text.find('@');
  if (at == 0 || at == std::string_view::npos || !is_plain_word(text)) return false;
  const std::string_view local = text.substr(0, at), domain = text.substr(at + 1);
  const bool literal = domain.size() > 2 && domain.starts_with('[') && domain.ends_with(']');
  return local.find_first_of("<>()[],;:\\\"") == std::string_view::npos &&
         (literal || (domain.find(':') == std::string_view::npos && is_host(domain)));
}

const char *demand_of(Kind kind, std::string_view value) {
  switch (kind) {
    case Kind::name:
      return is_name(value) ? nullptr : "is no name: it begins with a letter or digit and may have '_' or '-'";
    case Kind::address:
      return is_address(value) ? nullptr : "is no e-mail address: it has the form NAME@HOST";
    case Kind::host:
      return is_host(value) ? nullptr : "is neither a host's name nor an IPv4 or IPv6 address";
    case Kind::moment:
      return moment_of(std::string(value), time(nullptr)) ? nullptr : "is no time: 30m, 6h, 2d, HH:MM or yyyy-mm-dd";
    case Kind::vrf:
    case Kind::user:
      return is_plain_word(value) ? nullptr : "is no name: blanks and what cannot be printed are not allowed";
    default:
      return nullptr;
  }
}

}  // namespace

std::string objection_to(const Command &command, const Parameter &parameter, std::string_view value) {
  const size_t limit = limit_of(parameter.kind);
  if (limit != 0 && value.size() > limit)
    return "has " + std::to_string(value.size()) + " characters; at most " + std::to_string(limit) + " are allowed";
  const char *demand = command.negates() ? nullptr : demand_of(parameter.kind, value);
  return demand == nullptr ? std::string() : demand;
}

}  // namespace shell
