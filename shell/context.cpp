// SPDX-License-Identifier: Apache-2.0
#include "shell/context.h"

#include <arpa/inet.h>
#include <pwd.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "host/files/uri.h"

namespace shell {

namespace {

template <size_t size>
void copy_bounded(char (&destination)[size], const std::string &source) {
  source.copy(destination, size - 1);
}

bool is_number(Kind kind) {
  return range_of(kind).last != 0;
}

}  // namespace

Identity identity_of_process() {
  Identity identity;
  if (const passwd *user = getpwuid(getuid())) identity.user = user->pw_name;
  identity.handle = static_cast<uint32_t>(getpid());
  return identity;
}

uint32_t host_kind(const std::string &host) {
  in6_addr address;
  if (inet_pton(AF_INET, host.c_str(), &address) == 1) return host_is_ipv4;
  if (inet_pton(AF_INET6, host.c_str(), &address) == 1) return host_is_ipv6;
  return host_is_name;
}

void wipe(std::string *text) {
  explicit_bzero(text->data(), text->size());
}

Context::Context(const Identity &identity, bool negate, uint32_t subcommand, bool debug, const std::string *schedule) {
  context_.negate = negate ? 1 : 0;
  context_.debug = debug ? 1 : 0;
  context_.shell_handle = identity.handle;
  context_.subcommand = subcommand;
  copy_bounded(context_.user_name, identity.user);
  copy_bounded(context_.peer_name, identity.peer);
  if (schedule != nullptr) add_text(*schedule);
}

Context::~Context() {
  for (Value &value : values_)
    wipe(&value.text);
}

Context::Value &Context::append(uint32_t id, uint32_t kind, const std::string &text) {
  Value &value = values_.emplace_back();
  value.text = text;
  value.param.id = id;
  value.param.kind = kind;
  value.param.value = value.text.c_str();
  params_.push_back(&value.param);
  return value;
}

void Context::add_text(const std::string &text, uint32_t id) {
  append(id, SCH_PARAM_STRING, text);
}

bool Context::add(const Parameter &parameter, const std::string &text) {
  if (parameter.kind == Kind::file_uri) {
    const host::Result<host::FileUri> uri = host::parse_file_uri(text);
    if (!uri) {
      std::fprintf(stderr, "Error: %s\n", uri.error().text.c_str());
      return false;
    }
    Value &value = append(parameter.id, value_is_file, text);
    value.uri = std::make_shared<const host::FileUri>(*uri);
    value.param.value = value.uri.get();
    return true;
  }
  Value &value = append(parameter.id, is_number(parameter.kind) ? SCH_PARAM_INTEGER : SCH_PARAM_STRING, text);
  if (is_number(parameter.kind)) {
    value.number = static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
    value.param.value = &value.number;
  }
  if (parameter.kind == Kind::host) value.param.sub_kind = host_kind(text);
  return true;
}

const sch_cli_cmd_ctx *Context::get() {
  context_.param_count = static_cast<uint8_t>(params_.size());
  context_.params = params_.data();
  return &context_;
}

}  // namespace shell
