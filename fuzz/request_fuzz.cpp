// SPDX-License-Identifier: Apache-2.0
// Packets of a client, through the session and the dispatcher into a service of its own; what comes back are whole
// frames. Input: the client (one byte), then packets, each a form, an operation and bytes (two bytes of length).
#include <sys/socket.h>

#include "fuzz/world.h"
#include "host/transport/session.h"
#include "service/request/dispatch.h"

namespace {

constexpr uint8_t is_raw = 0x80;

host::Bytes packet_of(fuzz::Input &input) {
  constexpr uint32_t services[] = {SCH_SERVICE_CONFIG, SCH_SERVICE_SHOW, host::service_control, 1};
  constexpr const char *users[] = {"", "nobody", "daemon", "nosuchuser"};
  const uint8_t form = input.byte();
  const uint32_t operation = input.byte();
  const std::string text = input.sized_by_two_bytes();
  if ((form & is_raw) != 0) return service_test::bytes(text);
  host::FrameHeader header;
  header.service = services[form & 3];
  std::string(users[form >> 2 & 3]).copy(header.user, sizeof header.user);
  const bool is_control = header.service == host::service_control;
  const host::Bytes body =
      is_control ? fuzz::bytes_of(operation, text)
                 : fuzz::bytes_of(sch_request_header{operation, static_cast<uint32_t>(text.size())}, text);
  header.length = static_cast<uint32_t>(body.size());
  host::Bytes packet = fuzz::bytes_of(header);
  packet.insert(packet.end(), body.begin(), body.end());
  return packet;
}

// A password is checked in a process of its own, which a fuzzer may not fork.
host::Answer answer(fuzz::World &world, const host::Incoming &incoming) {
  constexpr auto authenticates = static_cast<std::byte>(host::HostOperation::security_authenticate);
  if (incoming.service == host::service_control && !incoming.body.empty() && incoming.body[0] == authenticates)
    return {};
  return service::dispatch(world.parts->context, incoming);
}

bool drain(int socket) {
  host::Bytes packet(host::frame_limit + 1);
  const ssize_t size = recv(socket, packet.data(), packet.size(), MSG_DONTWAIT);
  std::span<const std::byte> rest(packet.data(), size > 0 ? static_cast<size_t>(size) : 0);
  host::Frame frame;
  while (!rest.empty())
    fuzz::require(host::parse_first_frame(rest, &frame, &rest), "what is answered are whole frames");
  return size > 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::World world;
  fuzz::Input input(data, size);
  constexpr uid_t uids[] = {0, 1, 65534, 4000000};
  host::SessionSetting setting;
  setting.handler = [&](const host::Incoming &incoming) { return answer(world, incoming); };
  setting.deadline_ms = 10000;
  int ends[2] = {};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return 0;
  const host::FileDescriptor client(ends[0]);
  const uid_t uid = uids[input.byte() & 3];
  std::unique_ptr<host::Session> session;
  session = std::make_unique<host::Session>(setting, host::FileDescriptor(ends[1]), host::Peer{{0, uid, uid}, {}},
                                            [&](host::Session &) { session.reset(); });
  while (!input.empty() && session) {
    const host::Bytes packet = packet_of(input);
    send(client.get(), packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    do
      world.loop.turn_without_waiting();
    while (drain(client.get()));
  }
  session.reset();
  return 0;
}
