// SPDX-License-Identifier: Apache-2.0
// Who the caller is: the peer as the kernel reports it, or another user for whom a root peer acts.
#pragma once

#include <sys/socket.h>

#include <optional>
#include <string>

#include "host/security/security.h"
#include "host/transport/frame.h"
#include "host/transport/transport.h"

namespace host {

struct Peer {
  ucred credentials = {};
  std::optional<User> user;  // of the peer's uid; looked up once, at its first request

  bool is_root() const { return credentials.uid == 0; }
  std::string text() const { return "uid " + std::to_string(credentials.uid); }
  bool is_limited() const;  // in connections and streams; root and the service's own user are not
};

bool peer_of(int socket, Peer *peer);

// 0, or err_not_permitted: the peer is no known user, names somebody else without being root, or names nobody known.
uint32_t identify_caller(Peer *peer, const FrameHeader &header, Caller *caller);

}  // namespace host
