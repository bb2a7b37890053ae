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

inline constexpr uint32_t frame_limit = 65536;     // bytes with the header: what a socket takes at once by default
inline constexpr uint32_t service_control = 5949;  // the host's own, beside SCH_SERVICE_CONFIG and SCH_SERVICE_SHOW
inline constexpr int client_limit = 1200;          // connected clients
inline constexpr int user_client_limit = 128;      // of one user other than root and the service's own
inline constexpr int user_stream_limit = 16;       // streams under way to such a user's clients
inline constexpr int root_client_reserve = 16;     // further clients, of root alone: an administrator always gets in

using Bytes = std::vector<std::byte>;

struct Caller {   // the kernel's word about the peer; the user name in a frame counts only if the peer is root
  uid_t uid = 0;  // of the user on whose behalf the peer asks: itself, unless it is root
  gid_t gid = 0;
  uid_t peer_uid = 0;  // of the connected process
  pid_t pid = 0;
  std::string user_name;  // of uid
  std::string peer_name;  // as sent, for messages only
};

struct Incoming {
  uint32_t service = 0, message_class = 0;
  std::span<const std::byte> body;  // valid during the call
  Caller caller;
};

struct PendingAnswer;

// A handler's answer: a status, and with status 0 the payloads. None is a null reply, one is the usual reply, several
// are a stream with the request's token. `next`, if set, is called for further payloads as the client receives them,
// until it returns nullopt. `pending`, if set, says that the answer is not known yet. A reply of service_control may
// have any size: it is sent in pieces that control_request joins. Any other reply must fit in a frame (err_too_large).
struct Answer {
  uint32_t status = 0;
  std::optional<Bytes> reply;
  std::function<std::optional<Bytes>()> next;
  std::shared_ptr<PendingAnswer> pending;
};

// An answer that is not known yet, for example of a child process. The server goes on with its other clients, and calls
// answer() when `descriptor` is readable or hung up or the deadline has passed; never if the client has disconnected.
struct PendingAnswer {
  int descriptor = -1;
  int deadline_ms = 10000;
  virtual Answer answer() = 0;  // called once; must not block
  virtual ~PendingAnswer() = default;
};

using Handler = std::function<Answer(const Incoming &)>;
// Whether a request only reads, so that it may be answered in the midst of a change that waits for the disk. The others
// are answered in their turn, when it is done.
using OnlyReads = std::function<bool(uint32_t service, std::span<const std::byte> body)>;

// Listens on `socket_path` and serves on the thread's loop (host/loop/loop.h) until destroyed. If `only_uid` is given,
// only that user and root may connect. Removes a socket that an earlier service left at the path: the caller must hold
// the service's lock (take_state_directory). Raises the process's soft limit of open files for client_limit.
class Server {
 public:
  struct Options {
    std::string socket_path;
    std::optional<uid_t> only_uid;
    int deadline_ms = 10000;    // a client that does not read its reply for so long is disconnected
    OnlyReads only_reads = {};  // null: no request does
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

// A request of service_control is a u32 operation and its payload. These operations serve the platform's calls in
// client processes; a program defines others of its own.
enum class HostOperation : uint32_t {
  enable_feature = 3,  // the numbers of the feature manager's operations
  disable_feature = 4,
  memory_statistics = 10,  // reply: a text table
  security_read = 30,      // payload and reply: sch_security_user_rec
  security_store = 31,
  security_remove = 32,
  security_authenticate = 33,  // payload: sch_security_user_rec with the sealed text; status 0: accepted
};

inline constexpr std::size_t control_reply_limit = 64 * 1024 * 1024;  // a client refuses more: err_too_large

// A client's request to service_control, and the reply.
Result<Bytes> control_request(uint32_t operation, std::span<const std::byte> payload);

}  // namespace host
