// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "control/statuses.h"
#include "host/debug.h"
#include "host/files/paths.h"
#include "host/security/security.h"
#include "host/store/store.h"
#include "schedcli.h"
#include "service/footprint.h"
#include "service/memory_reserve.h"
#include "service/options.h"
#include "service/service.h"

namespace service {
namespace {

int give_up(const Failure &failure) {
  std::fprintf(stderr, "schedd: %s\n", failure.text.c_str());
  sch_syslog_raise(&syslog_msg_SCH_ERR, failure.text.c_str());
  return failure.status;
}

int refuse(const std::vector<std::string> &problems) {
  for (const std::string &problem : problems)
    std::fprintf(stderr, "schedd: %s\n", problem.c_str());
  return wrong_usage;
}

int say_right(const Settings &settings) {
  const std::string &file = settings.file;
  std::printf("%s\n",
              file.empty() ? "there is no file of settings; the defaults are used" : (file + ": right").c_str());
  return std::fflush(stdout) == 0 ? ended : failed;
}

int start(const Options &options, Settings settings) {
  control::use_error_texts();
  debug_level = options.debug_level;
  host::store_set_bound(static_cast<uint64_t>(settings.store_limit_mib) << 20);
  umask(077);
  host::use_paths(host::resolve_paths(options.state_dir.empty() ? nullptr : options.state_dir.c_str()));
  host::syslog_open("schedd", options.foreground);
  const std::optional<host::User> user = host::user_by_uid(geteuid());
  if (!user) return give_up({failed, "user number " + std::to_string(geteuid()) + " has no name; add it to the users"});
  const std::optional<Failure> failure =
      Service(options, std::make_shared<const Settings>(std::move(settings)), *user).run();
  const int status = failure ? give_up(*failure) : ended;
  sch_pss_close_handles(nullptr);
  return status;
}

int run(int argc, char **argv) {
  Options options;
  switch (parse_options(argc, argv, &options)) {
    case control::Parsed::done:
      return ended;
    case control::Parsed::wrong:
      return wrong_usage;
    case control::Parsed::run:
      break;
  }
  SettingsRead read = read_settings(options);
  if (!read.problems.empty()) return refuse(read.problems);
  return options.check ? say_right(read.settings) : start(options, std::move(read.settings));
}

}  // namespace
}  // namespace service

int main(int argc, char **argv) {
  service::keep_freed_memory_small();
  service::keep_memory_reserve();
  return service::run(argc, argv);
}
