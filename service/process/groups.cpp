// SPDX-License-Identifier: Apache-2.0
#include "service/process/groups.h"

#include <grp.h>
#include <sys/stat.h>

namespace service {
namespace {

// Directories on the network change without a file's changing here.
constexpr std::chrono::minutes believed_for(10);
constexpr size_t users_max = 1024;  // then all are forgotten

// The count that is asked for grows only while the first list was too short.
bool look_up(const host::User &user, std::vector<gid_t> *groups) {
  int count = 64;
  for (int attempt = 0; attempt < 3; attempt++) {
    groups->resize(static_cast<size_t>(count));
    const int room = count;
    if (getgrouplist(user.name.c_str(), user.gid, groups->data(), &count) >= 0) {
      groups->resize(static_cast<size_t>(count));
      return true;
    }
    if (count <= room) count = room * 2;
  }
  return false;
}

}  // namespace

Groups::Groups(std::vector<std::string> files) : Groups(std::move(files), look_up) {}

Groups::Identity Groups::identity() const {
  Identity identity;
  for (const std::string &file : files_) {
    struct stat status = {};
    if (stat(file.c_str(), &status) != 0) status = {};
    identity.push_back({static_cast<int64_t>(status.st_ino), static_cast<int64_t>(status.st_size),
                        static_cast<int64_t>(status.st_dev),
                        int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec,
                        int64_t{status.st_ctim.tv_sec} * 1'000'000'000 + status.st_ctim.tv_nsec});
  }
  return identity;
}

const std::vector<gid_t> *Groups::of(const host::User &user, Clock::time_point now) {
  Identity current = identity();
  if (current != identity_ || known_.size() >= users_max) known_.clear();
  identity_ = std::move(current);
  const auto found = known_.find(user.name);
  if (found != known_.end() && found->second.first == user.gid && now - found->second.since < believed_for)
    return &found->second.groups;
  Known known = {user.gid, now, {}};
  if (!lookup_(user, &known.groups)) return nullptr;
  return &(known_[user.name] = std::move(known)).groups;
}

}  // namespace service
