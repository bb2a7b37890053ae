// SPDX-License-Identifier: Apache-2.0
// Builds the command context of the library's handlers from a command and its arguments.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "schedcli.h"
#include "shell/grammar.h"

namespace shell {

struct Identity {
  std::string user;  // of the real user id; empty if that has no name: the handlers refuse it
  std::string peer = "schedsh";
  uint32_t handle = 0;
};

Identity identity_of_process();

inline constexpr uint32_t host_is_ipv4 = 0x40000002;
inline constexpr uint32_t host_is_ipv6 = 0x40000004;
inline constexpr uint32_t host_is_name = 8;

inline constexpr uint32_t value_is_file = 0x40200001;  // a kind of the shell's own: the value is a host::FileUri

uint32_t host_kind(const std::string &host);

class Context {
 public:
  // `schedule`: the first parameter, or null.
  Context(const Identity &identity, bool negate, uint32_t subcommand, bool debug,
          const std::string *schedule = nullptr);
  ~Context();  // wipes the values: a password may be among them
  Context(const Context &) = delete;
  Context &operator=(const Context &) = delete;

  bool add(const Parameter &parameter, const std::string &text);  // false: invalid, and reported to the operator
  void add_text(const std::string &text, uint32_t id = 0);
  const sch_cli_cmd_ctx *get();

 private:
  struct Value {
    std::string text;
    uint32_t number = 0;
    std::shared_ptr<const void> uri;  // as the host parses it
    sch_cli_param param{};
  };
  Value &append(uint32_t id, uint32_t kind, const std::string &text);

  std::deque<Value> values_;  // the parameter records point into it
  std::vector<sch_cli_param *> params_;
  sch_cli_cmd_ctx context_{};
};

void wipe(std::string *text);

}  // namespace shell
