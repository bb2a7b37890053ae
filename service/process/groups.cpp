// SPDX-License-Identifier: Apache-2.0
#include "service/process/groups.h"

#include <grp.h>
#include <sys/stat.h>

#include <cerrno>

namespace service {
namespace {

// Groups from a network directory can change without a change of the local files.
constexpr std::chrono::minutes believed_for(10);
constexpr size_t users_max = 1024;          // then the cache is emptied
constexpr size_t record_max = 1024 * 1024;  // of a group with its members

// The list grows until getgrouplist() says that it is long enough.
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

std::optional<std::string> name_of(gid_t number) {
  group record = {};
  group *found = nullptr;
  std::vector<char> room(1024);
  int error;
  while ((error = getgrgid_r(number, &record, room.data(), room.size(), &found)) == ERANGE && room.size() < record_max)
    room.resize(room.size() * 2);
  return error == 0 && found != nullptr ? std::optional<std::string>(record.gr_name) : std::nullopt;
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

Groups::Known *Groups::known(const host::User &user, Clock::time_point now) {
  Identity current = identity();
  if (current != identity_ || known_.size() >= users_max) known_.clear();
  identity_ = std::move(current);
  const auto found = known_.find(user.name);
  if (found != known_.end() && found->second.first == user.gid && now - found->second.since < believed_for)
    return &found->second;
  Known known = {user.gid, now, {}, {}};
  if (!lookup_(user, &known.groups)) return nullptr;
  return &(known_[user.name] = std::move(known));
}

const std::vector<gid_t> *Groups::of(const host::User &user, Clock::time_point now) {
  const Known *found = known(user, now);
  return found != nullptr ? &found->groups : nullptr;
}

const std::vector<std::string> *Groups::names_of(const host::User &user, Clock::time_point now) {
  Known *found = known(user, now);
  if (found == nullptr) return nullptr;
  if (!found->names) {
    found->names.emplace();
    for (const gid_t group : found->groups)
      if (std::optional<std::string> name = name_of(group)) found->names->push_back(std::move(*name));
  }
  return &*found->names;
}

}  // namespace service
