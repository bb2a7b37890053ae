// SPDX-License-Identifier: Apache-2.0
#include "service/state/left_out.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "host/files/paths.h"
#include "host/files/whole_file.h"
#include "host/security/security.h"
#include "host/status.h"
#include "host/store/store.h"
#include "platform/syslog.h"
#include "schedcli.h"
#include "service/state/configuration_text.h"
#include "service/state/schedule_state.h"
#include "service/state/stored_records.h"

namespace service {
namespace {

constexpr size_t lines_in_the_log = 100;
constexpr char job_start[] = "scheduler job name ", schedule_start[] = "scheduler schedule name ";

using Owners = std::map<std::string, uint32_t>;  // block's name -> owner's tag

void note_owner(const pss_buf &stored_key, const pss_buf &value, Owners *owners) {
  sch_config_key key = {};
  sch_job_hdr job = {};
  sch_schedule_rec schedule = {};
  if (stored_key.length != sizeof key) return;
  std::memcpy(&key, stored_key.data, sizeof key);
  sch_ntoh_config_key(&key);
  if (key.type == SCH_CONFIG_JOB && key.fragment == 0 && value.length >= sizeof job) {
    std::memcpy(&job, value.data, sizeof job);
    (*owners)["job " + name_of(key)] = owner_of(job);
  } else if (key.type == SCH_CONFIG_SCHEDULE && value.length >= sizeof schedule) {
    std::memcpy(&schedule, value.data, sizeof schedule);
    (*owners)["schedule " + name_of(key)] = state_of(schedule).owner_tag;
  }
}

// From the store, as a configuration's text does not name the owners.
Owners stored_owners() {
  Owners owners;
  for_each_stored_record(host::running_store,
                         [&](const pss_buf &key, const pss_buf &value) { note_owner(key, value, &owners); });
  return owners;
}

std::string owner_name(const Owners &owners, const std::string &block) {
  const auto found = owners.find(block);
  if (found == owners.end() || found->second == 0) return "nobody";
  const uid_t uid = found->second - 1;
  const std::optional<host::User> user = host::user_by_uid(uid);
  return user ? user->name : "user number " + std::to_string(uid);
}

bool has_owner(const ConfigurationBlock &block) {
  return block.name.starts_with("job ") || block.name.starts_with("schedule ");
}

std::vector<ConfigurationBlock> left_out_blocks() {
  std::set<std::string> startup;
  for (const ConfigurationBlock &block : blocks_of(startup_configuration_text()))
    startup.insert(block.text);
  std::vector<ConfigurationBlock> blocks = blocks_of(stored_configuration_text());
  std::erase_if(blocks, [&](const ConfigurationBlock &block) { return startup.contains(block.text); });
  return blocks;
}

std::string kept_text(const std::vector<ConfigurationBlock> &blocks, const Owners &owners) {
  std::string text =
      "! What was in use before the last boot and is not in the startup configuration. Each owner can give these\n"
      "! commands to schedsh again; whoever gives them owns what they define, and it runs with their rights.\n";
  for (const ConfigurationBlock &block : blocks) {
    text += has_owner(block) ? "\n! owner: " + owner_name(owners, block.name) + "\n" : "\n";
    text += block.text;
  }
  return text;
}

std::string kept_path(time_t now) {
  struct tm fields = {};
  char moment[32];
  gmtime_r(&now, &fields);
  std::strftime(moment, sizeof moment, "%Y%m%d-%H%M%S", &fields);
  return host::paths().state + "/boot-left-out-" + moment + ".conf";
}

void list(const std::vector<ConfigurationBlock> &blocks, const Owners &owners, const std::string &path) {
  for (size_t i = 0; i < blocks.size() && i < lines_in_the_log; i++) {
    const std::string whose = has_owner(blocks[i]) ? " of " + owner_name(owners, blocks[i].name) : "";
    tarn_syslog(LOG_WARNING, "left out by the boot from the startup configuration: %s%s", blocks[i].name.c_str(),
                whose.c_str());
  }
  tarn_syslog(LOG_WARNING, "left out by the boot from the startup configuration: %zu in all, kept in %s", blocks.size(),
              path.c_str());
}

class Splitter {
 public:
  std::vector<ConfigurationBlock> split(const std::string &configuration) {
    std::istringstream lines(configuration);
    for (std::string line; std::getline(lines, line);)
      add(line);
    return std::move(blocks_);
  }

 private:
  enum class In { nothing, job, schedule };

  void add(const std::string &line) {
    if (in_ == In::nothing || (in_ == In::schedule && line.starts_with("scheduler "))) return begin(line);
    if (in_ == In::schedule && line.find_first_not_of(' ') == std::string::npos) {
      in_ = In::nothing;
      return;
    }
    blocks_.back().text += line + "\n";
    if (in_ == In::job && line == "end-job") in_ = In::nothing;
  }

  void begin(const std::string &line) {
    in_ = In::nothing;
    if (line.empty()) return;
    blocks_.push_back({line, line + "\n"});
    if (line.starts_with(job_start)) take_as(In::job, "job " + line.substr(sizeof job_start - 1));
    if (line.starts_with(schedule_start)) take_as(In::schedule, "schedule " + line.substr(sizeof schedule_start - 1));
  }

  void take_as(In in, const std::string &name) {
    in_ = in;
    blocks_.back().name = name;
  }

  In in_ = In::nothing;
  std::vector<ConfigurationBlock> blocks_;
};

}  // namespace

std::vector<ConfigurationBlock> blocks_of(const std::string &configuration) {
  return Splitter().split(configuration);
}

host::Result<void> keep_what_a_boot_leaves_out(time_t now) {
  const std::vector<ConfigurationBlock> blocks = left_out_blocks();
  if (blocks.empty()) return {};
  const Owners owners = stored_owners();
  const std::string path = kept_path(now);
  host::Result<void> written = host::write_whole_file(path, kept_text(blocks, owners));
  if (!written) return written;
  list(blocks, owners, path);
  return {};
}

}  // namespace service
