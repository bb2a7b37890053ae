// SPDX-License-Identifier: Apache-2.0
#include "host/transport/caller.h"

#include <unistd.h>

#include <cstring>
#include <string_view>

#include "host/status.h"
#include "host/text_field.h"

namespace host {

namespace {

bool speaks_for_itself(const Peer &peer, std::string_view name) {
  return name.empty() || name == peer.user->name;
}

}  // namespace

bool Peer::is_limited() const {
  return !is_root() && credentials.uid != ::geteuid();
}

bool peer_of(int socket, Peer *peer) {
  socklen_t size = sizeof peer->credentials;
  return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer->credentials, &size) == 0;
}

uint32_t identify_caller(Peer *peer, const FrameHeader &header, Caller *caller) {
  if (!peer->user) peer->user = user_by_uid(peer->credentials.uid);
  if (!peer->user) return err_not_permitted;
  const std::string_view name = text_in(header.user);
  std::optional<User> other;
  if (!speaks_for_itself(*peer, name)) {
    if (peer->is_root()) other = user_by_name(std::string(name));
    if (!other) return err_not_permitted;
  }
  const User *user = other ? &*other : &*peer->user;
  caller->uid = user->uid;
  caller->gid = user->gid;
  caller->peer_uid = peer->credentials.uid;
  caller->pid = peer->credentials.pid;
  caller->user_name = user->name;
  caller->peer_name = text_in(header.peer);
  return 0;
}

}  // namespace host
