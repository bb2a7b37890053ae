// SPDX-License-Identifier: Apache-2.0
// A whole configuration as an operator writes it, replaced in a service of its own: what is accepted is shown, accepted
// again, and found by a restart; what is refused changes nothing. Input: who asks (one byte), then the text.
#include <cstring>

#include "control/configuration.h"
#include "control/operations.h"
#include "fuzz/world.h"
#include "shell/configuration_text.h"

namespace {

using control::Operation;

host::Answer ask(fuzz::World &world, const host::Caller &caller, Operation operation, const host::Bytes &payload) {
  return service::control({world.parts->context, caller}, operation, payload);
}

std::string running(fuzz::World &world) {
  return fuzz::text_of(world.ask(Operation::running_text, {}));
}

bool replace(fuzz::World &world, const host::Caller &caller, const std::string &text) {
  const std::string id =
      fuzz::text_of(ask(world, caller, Operation::put_configuration, fuzz::bytes_of(uint32_t{0}, text)));
  control::ConfigurationOrder order = {};
  order.source = static_cast<uint32_t>(control::ConfigurationSource::text);
  if (id.size() == sizeof order.number) std::memcpy(&order.number, id.data(), id.size());
  const std::string words("fuzz\0configure replace", 22);
  const std::string reply =
      fuzz::text_of(ask(world, caller, Operation::apply_configuration, fuzz::bytes_of(order, words)));
  control::ConfigurationReply fixed = {};
  if (reply.size() < sizeof fixed) return false;
  std::memcpy(&fixed, reply.data(), sizeof fixed);
  return fixed.status == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input input(data, size);
  const uint8_t form = input.byte();
  const std::string written = input.rest();
  const shell::ConfigurationText read = shell::read_configuration_text(written);
  const std::string &text = (form & 2) != 0 ? written : read.text;  // a client of its own sends what it likes
  fuzz::World world;
  const host::Caller caller = (form & 1) != 0 ? service_test::nobody() : service_test::root();
  const std::string before = running(world);
  if (!replace(world, caller, text)) {
    fuzz::require(running(world) == before, "what is refused changes nothing");
    return 0;
  }
  const std::string after = running(world);
  fuzz::require(replace(world, service_test::root(), after), "what is shown is accepted");
  fuzz::require(running(world) == after, "and means the same");
  world.restart();
  fuzz::require(running(world) == after, "and is found by a restart");
  return 0;
}
