// SPDX-License-Identifier: Apache-2.0
// The server's side of the transport, and the services on it. The client's side is platform/cmi.h.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/result.h"

namespace host {

inline constexpr uint32_t frame_limit =
    65536;  // bytes of a frame, header included: what a socket takes at once by default
inline constexpr uint32_t service_control =
    5949;                                       // the host's own service beside SCH_SERVICE_CONFIG and SCH_SERVICE_SHOW
inline constexpr int client_limit = 1200;       // connected clients at once
inline constexpr int user_client_limit = 128;   // of these, for one user other than root and the service's own
inline constexpr int user_stream_limit = 16;    // of whose clients so many may have a stream under way
inline constexpr int root_client_reserve = 16;  // and only for root: an administrator always gets in

using Bytes = std::vector<std::byte>;

struct Caller {   // as the kernel names the peer; the frame's word counts only where root speaks for another user
  uid_t uid = 0;  // of the user spoken for
  gid_t gid = 0;
  uid_t peer_uid = 0;  // of the connected process
  pid_t pid = 0;
  std::string user_name;  // of uid
  std::string peer_name;  // as sent, for messages only
};

struct Incoming {
  uint32_t service = 0, message_class = 0;
  std::span<const std::byte> body;  // the server's, during the call
  Caller caller;
};

struct PendingAnswer;

// What a handler answers: a status, and for status 0 payloads in order: none is a null reply, one the usual reply,
// several a stream under the request's token. `next`, when set, is asked for further payloads as the client takes them,
// until nullopt. `pending`, when set, says that the answer is not known yet. A reply of service_control may be of any
// size: it travels in pieces that control_request joins. One of another service must fit in a frame (err_too_large).
struct Answer {
  uint32_t status = 0;
  std::optional<Bytes> reply;
  std::function<std::optional<Bytes>()> next;
  std::shared_ptr<PendingAnswer> pending;
};

// An answer under way elsewhere, in a child process for one: the server goes on with its other clients and asks for it
// when `descriptor` is readable, or has hung up, or the deadline has passed. Destroyed unasked when the client has
// gone.
struct PendingAnswer {
  int descriptor = -1;
  int deadline_ms = 10000;
  virtual Answer answer() = 0;  // asked once; must not wait
  virtual ~PendingAnswer() = default;
};

using Handler = std::function<Answer(const Incoming &)>;

// Listens on `socket_path` and serves on the thread's loop (host/loop/loop.h) until destroyed. Only `only_uid` (and
// root) may connect when it is given; otherwise every user may. Removes a socket that an earlier service left at the
// path: the caller holds the lock of the one service (sysmgr_prepare). Raises the process's soft limit of open files
// for client_limit.
class Server {
 public:
  struct Options {
    std::string socket_path;
    std::optional<uid_t> only_uid;
    int deadline_ms = 10000;  // a client that leaves a reply untaken for so long is cut off
  };
  static Result<std::unique_ptr<Server>> listen(const Options &options, Handler handler);
  int clients() const;  // connected now
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

 private:
  class State;
  explicit Server(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

// How long a client waits for a reply before err_timed_out; 30 seconds unless set.
void set_reply_timeout_ms(int milliseconds);

// Requests of service_control: a u32 operation, then its payload. These are what the platform's calls of a client ask
// of the host in the service; a program has others of its own.
enum class HostOperation : uint32_t {
  enable_feature = 3,  // the numbers of the feature manager's operations
  disable_feature = 4,
  memory_statistics = 10,  // reply: a text table
  security_read = 30,      // payload and reply: sch_security_user_rec
  security_store = 31,
  security_remove = 32,
  security_authenticate = 33,  // payload: sch_security_user_rec with the sealed text; status 0: accepted
};

inline constexpr std::size_t control_reply_limit = 64 * 1024 * 1024;  // a client takes no more: err_too_large

// One request to service_control from a client, and its reply.
Result<Bytes> control_request(uint32_t operation, std::span<const std::byte> payload);

}  // namespace host
