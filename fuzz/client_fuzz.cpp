// SPDX-License-Identifier: Apache-2.0
// A service that answers the client's side of the transport with anything.
// Input: what the client asks for (one byte), then frames, each a form, a kind, a status and a body (two bytes of
// length).
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <thread>
#include <vector>

#include "fuzz/input.h"
#include "host/files/file_descriptor.h"
#include "host/files/paths.h"
#include "host/transport/frame.h"
#include "platform/cmi.h"
#include "schedcli_requests.h"

namespace {

using host::Bytes;

struct Listener {
  std::string directory = std::filesystem::temp_directory_path() / "schedcli-fuzz-XXXXXX";
  host::FileDescriptor waiting;
  Listener() {
    fuzz::require(mkdtemp(directory.data()) != nullptr, "there is a temporary directory");
    sockaddr_un address = {AF_UNIX, {}};
    const std::string path = directory + "/schedd.sock";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    waiting = host::FileDescriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const int bound = bind(waiting.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    fuzz::require(bound == 0 && listen(waiting.get(), 8) == 0, "the socket listens");
    host::use_paths({directory, directory, path, false});
    host::set_reply_timeout_ms(5000);
  }
  ~Listener() { std::filesystem::remove_all(directory); }
};

void append(Bytes *packet, const host::FrameHeader &header, const std::string &body) {
  const auto *start = reinterpret_cast<const std::byte *>(&header);
  packet->insert(packet->end(), start, start + sizeof header);
  packet->insert(packet->end(), reinterpret_cast<const std::byte *>(body.data()),
                 reinterpret_cast<const std::byte *>(body.data() + body.size()));
}

// The frames of the input, as the answer to this request, in packets.
void answer(int socket, const host::FrameHeader &request, fuzz::Input input) {
  constexpr uint8_t other_token = 1, more = 2, other_length = 4, joined = 8, other_service = 16;
  Bytes packet;
  while (!input.empty()) {
    const uint8_t form = input.byte();
    host::FrameHeader header = request;
    header.kind = static_cast<host::FrameKind>(input.byte());
    header.status = input.byte();
    header.flags = (form & more) != 0 ? host::frame_flag_more : 0;
    if ((form & other_token) != 0) header.token = input.number();
    if ((form & other_service) != 0) header.magic = input.number();
    const std::string body = input.sized_by_two_bytes();
    header.length = (form & other_length) != 0 ? input.number() : static_cast<uint32_t>(body.size());
    append(&packet, header, body);
    if ((form & joined) != 0 && !input.empty()) continue;
    send(socket, packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    packet.clear();
  }
}

void serve_once(int listening, const fuzz::Input &input) {
  pollfd waiting = {listening, POLLIN, 0};
  if (poll(&waiting, 1, 1000) != 1) return;
  const host::FileDescriptor socket(accept4(listening, nullptr, nullptr, SOCK_CLOEXEC));
  Bytes packet(host::frame_limit);
  const ssize_t size = recv(socket.get(), packet.data(), packet.size(), 0);
  host::Frame frame;
  if (size > 0 && host::parse_frame({packet.data(), static_cast<size_t>(size)}, &frame))
    answer(socket.get(), frame.header, input);
}

void read_stream() {
  cmi_sent_request sent = {};
  if (cmi_send_request(SCH_SERVICE_SHOW, 1, "x", 1, "", "", 0xfe000000, 136, 0, &sent) != 0) return;
  mts_selector selector = {};
  selector.words[0] = 1;
  selector.words[3] = mts_rr_token_get(&sent);
  mts_message message = {};
  while (mts_recv(0, &message, &selector) == 0) {
    void *reply = nullptr;
    uint32_t length = 0;
    cmi_parse_response(&message, &reply, &length);
    std::free(reply);
  }
}

void read_reply() {
  void *reply = nullptr;
  uint32_t length = 1;
  char request = 'x';
  cmi_req_resp(SCH_SERVICE_SHOW, 1, &request, &reply, &length, "", "", 136, 0, 0);
  std::free(reply);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const Listener listener;
  fuzz::Input input(data, size);
  const uint8_t asked = input.byte() % 3;
  std::thread service(serve_once, listener.waiting.get(), input);
  if (asked == 0) read_reply();
  if (asked == 1) (void)host::control_request(1, {});
  if (asked == 2) read_stream();
  service.join();
  return 0;
}
