// SPDX-License-Identifier: Apache-2.0
#include "tests/service/process_fixture.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>

namespace service_test {
namespace {

std::string text_of(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

service::Task task(const std::string &text) {
  return {"/bin/sh", "nightly", "check", text, *host::user_by_uid(geteuid()), false};
}

service::Task task_of(const std::string &user, const std::string &text) {
  service::Task other = task(text);
  other.owner = *host::user_by_name(user);
  other.change_user = true;
  return other;
}

Starting::Starting(Kept kept, service::Processes::Options options) : options_(std::move(options)) {
  options_.starter = SCHEDD_STARTER_BUILT;
  options_.directory = directory_.path();
  options_.groups = false;
  std::string why;
  if (kept == Kept::in_group) options_.group_directory = usable_group(&why);
  chmod(directory_.path().c_str(), 01777);
  begin_again();
}

Starting::~Starting() {
  if (!options_.group_directory.empty()) rmdir(options_.group_directory.c_str());
}

std::unique_ptr<JobProcess> Starting::start(const service::Task &task, JobProcess::Done done) {
  if (!done) done = [](JobProcess::Result) {};
  host::Result<std::unique_ptr<JobProcess>> process = JobProcess::start(*processes_, task, std::move(done));
  if (!process) throw std::runtime_error(process.error().text);
  return std::move(*process);
}

JobProcess::Result Starting::run(const service::Task &task) {
  std::optional<JobProcess::Result> result;
  const auto process = start(task, [&](JobProcess::Result end) { result = std::move(end); });
  while (!result)
    loop_.turn();
  return *result;
}

std::string usable_group(std::string *why) {
  const auto mount = service::group_mount(text_of("/proc/self/mountinfo"));
  const auto own = service::own_group(text_of("/proc/self/cgroup"));
  if (!mount || !own || geteuid() != 0) {
    *why = "needs root and control groups of version 2";
    return {};
  }
  const std::string parent =
      mount->mounted_at + (*own == "/" ? "" : own->substr(mount->root == "/" ? 0 : mount->root.size()));
  const std::string path = parent + "/schedcli-test-" + std::to_string(getpid());
  if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
    *why = "no control group can be made in " + parent;
    return {};
  }
  return path;
}

bool has_ended(pid_t process) {
  const std::string text = text_of("/proc/" + std::to_string(process) + "/status");
  return text.empty() || text.find("State:\tZ") != std::string::npos || text.find("State:\tX") != std::string::npos;
}

bool comes_true(const std::function<bool()> &condition, host::Loop *turned) {
  constexpr int rounds = 30000;
  for (int i = 0; i < rounds; i++) {
    if (condition()) return true;
    if (turned != nullptr) turned->turn_without_waiting();
    usleep(1000);
  }
  return false;
}

pid_t read_number(const std::string &file) {
  pid_t number = 0;
  comes_true([&] { return static_cast<bool>(std::ifstream(file) >> number); });
  return number;
}

}  // namespace service_test
