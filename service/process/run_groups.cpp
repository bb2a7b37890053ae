// SPDX-License-Identifier: Apache-2.0
#include "service/process/run_groups.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <sstream>

#include "host/status.h"
#include "service/process/close_directory.h"

namespace service {
namespace {

constexpr char own_leaf[] = "service";  // a group that enables controllers for its children must have no processes
constexpr char run_prefix[] = "run-";
constexpr char daemons_prefix[] = "daemons-";  // for groups of runs whose daemons may go on after the job's end
constexpr int left_over_rounds = 2000;
constexpr useconds_t left_over_round_us = 5000;  // up to 10 s in all: a process that waits for a disk ends late

std::string read_text(const std::string &path) {
  const host::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  char buffer[4096];
  for (ssize_t size; file && (size = read(file.get(), buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<size_t>(size));
  return text;
}

bool write_text(const std::string &path, const std::string &text) {
  const host::FileDescriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  return file && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::vector<pid_t> processes_of(const std::string &path) {
  std::istringstream numbers(read_text(path + "/cgroup.procs"));
  std::vector<pid_t> processes;
  for (pid_t number; numbers >> number;)
    processes.push_back(number);
  return processes;
}

std::vector<std::string> groups_below(const std::string &path) {
  std::vector<std::string> groups;
  const std::unique_ptr<DIR, CloseDirectory> entries(opendir(path.c_str()));
  while (const dirent *entry = entries ? readdir(entries.get()) : nullptr)
    if (entry->d_type == DT_DIR && entry->d_name[0] != '.') groups.push_back(path + "/" + entry->d_name);
  return groups;
}

// A job of root may have created groups below its own.
bool remove_tree(const std::string &path) {
  for (const std::string &group : groups_below(path))
    remove_tree(group);
  return rmdir(path.c_str()) == 0 || errno == ENOENT;
}

std::string name_of_group(const std::string &path) {
  return path.substr(path.find_last_of('/') + 1);
}

bool is_delegated(const std::string &path) {
  for (const char *name : {"trusted.delegate", "user.delegate"}) {
    char value = 0;
    if (getxattr(path.c_str(), name, &value, 1) == 1 && value == '1') return access(path.c_str(), W_OK) == 0;
  }
  return false;
}

std::string without_escapes(const std::string &field) {
  std::string text;
  for (size_t i = 0; i < field.size(); i++) {
    if (field[i] != '\\' || i + 3 >= field.size()) {
      text += field[i];
      continue;
    }
    text += static_cast<char>(std::stoi(field.substr(i + 1, 3), nullptr, 8));
    i += 3;
  }
  return text;
}

// Moves all processes of the group, at least this one, into a leaf below it.
bool settle_in_leaf(const std::string &group) {
  const std::string leaf = group + "/" + own_leaf;
  if (mkdir(leaf.c_str(), 0755) != 0 && errno != EEXIST) return false;
  for (const pid_t process : processes_of(group))
    write_text(leaf + "/cgroup.procs", std::to_string(process));
  return processes_of(group).empty();
}

}  // namespace

std::optional<GroupMount> group_mount(const std::string &mountinfo) {
  std::istringstream lines(mountinfo);
  for (std::string line; std::getline(lines, line);) {
    const size_t dash = line.find(" - ");
    if (dash == std::string::npos || line.compare(dash + 3, 8, "cgroup2 ") != 0) continue;
    std::istringstream fields(line);
    std::string skipped, root, mounted_at;
    fields >> skipped >> skipped >> skipped >> root >> mounted_at;
    return GroupMount{without_escapes(mounted_at), without_escapes(root)};
  }
  return std::nullopt;
}

std::optional<std::string> own_group(const std::string &cgroup) {
  std::istringstream lines(cgroup);
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with("0::")) return line.substr(3);
  return std::nullopt;
}

std::vector<pid_t> RunGroup::processes() const {
  return path_.empty() ? std::vector<pid_t>() : processes_of(path_);
}

bool RunGroup::signal(int number) const {
  const std::vector<pid_t> all = processes();
  for (const pid_t process : all)
    ::kill(process, number);
  return !all.empty();
}

void RunGroup::kill() const {
  if (!path_.empty() && !write_text(path_ + "/cgroup.kill", "1")) signal(SIGKILL);  // before Linux 5.14
}

bool RunGroup::remove() {
  if (path_.empty()) return true;
  if (!remove_tree(path_)) return false;
  path_.clear();
  return true;
}

bool RunGroup::out_of_memory() const {
  std::istringstream words(path_.empty() ? "" : read_text(path_ + "/memory.events"));
  std::string name;
  for (uint64_t count; words >> name >> count;)
    if (name == "oom_kill") return count != 0;
  return false;
}

std::optional<RunGroups> RunGroups::delegated() {
  const std::optional<GroupMount> mount = group_mount(read_text("/proc/self/mountinfo"));
  const std::optional<std::string> own = own_group(read_text("/proc/self/cgroup"));
  if (!mount || !own || !own->starts_with(mount->root)) return std::nullopt;
  std::string path = mount->mounted_at + "/" + own->substr(mount->root.size());
  while (path.ends_with('/'))
    path.pop_back();
  if (name_of_group(path) == own_leaf) path.resize(path.find_last_of('/'));  // an earlier start has moved it already
  if (!is_delegated(path) || !settle_in_leaf(path)) return std::nullopt;
  RunGroups groups(path);
  groups.enable_controllers();
  return groups;
}

host::Result<RunGroups> RunGroups::below(const std::string &directory) {
  if ((mkdir(directory.c_str(), 0755) != 0 && errno != EEXIST) ||
      access((directory + "/cgroup.procs").c_str(), W_OK) != 0)
    return host::Error{host::err_io, directory + ": no control group to use: " + std::strerror(errno)};
  RunGroups groups(directory);
  groups.enable_controllers();
  return groups;
}

// One at a time, as a machine may lack any of them.
void RunGroups::enable_controllers() {
  const auto enable = [this](const char *name) {
    return write_text(directory_ + "/cgroup.subtree_control", std::string("+") + name);
  };
  memory_ = enable("memory");
  tasks_ = enable("pids");
  cpu_ = enable("cpu");
}

host::Result<RunGroup> RunGroups::make(const Limits &limits, bool leave_daemons) {
  const std::string name = (leave_daemons ? daemons_prefix : run_prefix) + std::to_string(getpid()) + "-";
  const std::string path = directory_ + "/" + name + std::to_string(++made_);
  if (mkdir(path.c_str(), 0755) != 0)
    return host::Error{host::err_io, "cannot start the job: " + path + ": " + std::strerror(errno)};
  RunGroup group(path, host::FileDescriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  bool limited = group.directory() >= 0;
  if (memory_ && limits.memory_bytes != 0) {
    limited = limited && write_text(path + "/memory.max", std::to_string(limits.memory_bytes));
    write_text(path + "/memory.swap.max", "0");   // this file and the next do not exist on every kernel
    write_text(path + "/memory.oom.group", "1");  // kill the whole run, as one without some of its processes may hang
  }
  if (tasks_ && limits.tasks != 0) limited = limited && write_text(path + "/pids.max", std::to_string(limits.tasks));
  constexpr unsigned period_us = 100000;
  if (cpu_ && limits.cpu_percent != 0)
    limited = limited && write_text(path + "/cpu.max", std::to_string(period_us / 100 * limits.cpu_percent) + " " +
                                                           std::to_string(period_us));
  if (!limited) return host::Error{host::err_io, "cannot start the job: the limits of " + path};
  return group;
}

bool RunGroups::end_left_overs() {
  for (int round = 0; round < left_over_rounds; round++) {
    bool clear = true;
    for (const std::string &path : groups_below(directory_)) {
      const std::string name = name_of_group(path);
      if (name.starts_with(daemons_prefix)) rmdir(path.c_str());  // succeeds once the daemons have ended
      if (!name.starts_with(run_prefix) || remove_tree(path)) continue;
      RunGroup left(path, host::FileDescriptor());
      left.kill();
      clear = left.remove() && clear;
    }
    if (clear) return true;
    usleep(left_over_round_us);
  }
  return false;
}

}  // namespace service
