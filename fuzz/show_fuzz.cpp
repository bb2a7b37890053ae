// SPDX-License-Identifier: Apache-2.0
// A service that answers the show commands with anything.
// Input: the command and its transport (one byte), then replies, each with two bytes of length.
#include <cstdio>

#include "fuzz/library.h"

namespace {

int (*const commands[])(const sch_cli_cmd_ctx *) = {sch_cli_show_jobs, sch_cli_show_schedules, sch_cli_show_config,
                                                    sch_cli_show_logfile};

constexpr uint8_t command_bits = 0x03;
constexpr uint8_t named_bit = 0x04;
constexpr uint8_t no_length_bit = 0x08;

// What the commands print is of no interest; the fuzzer and the sanitizers keep their own standard error.
bool be_silent() {
  stdout = std::fopen("/dev/null", "w");
  stderr = std::fopen("/dev/null", "w");
  return stdout != nullptr && stderr != nullptr;
}

}  // namespace

// An announced total beyond this is a lie of the input: it finds no memory, as on a small machine.
extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size) {
  return size > fuzz::largest_block ? nullptr : __real_malloc(size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool is_silent = be_silent();
  fuzz::require(is_silent, "there is /dev/null");
  fuzz::reset();
  fuzz::Input input(data, size);
  const uint8_t choice = input.byte();
  platform_test::fake.keeps_length_word = (choice & no_length_bit) != 0;
  while (!input.empty()) {
    std::string reply = input.sized_by_two_bytes();
    platform_test::fake.messages.push_back(reply);
    platform_test::fake.replies.push_back(platform_test::Reply::with(std::move(reply)));
  }

  sch_cli_param name = {};
  name.kind = SCH_PARAM_STRING;
  name.value = "name";
  sch_cli_param *const params[] = {&name};
  sch_cli_cmd_ctx ctx = {};
  ctx.param_count = (choice & named_bit) != 0;
  ctx.params = params;
  commands[choice & command_bits](&ctx);
  return 0;
}
