// SPDX-License-Identifier: Apache-2.0
// Converts tables of the cron daemon into jobs and schedules.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace shell {

struct CrontabRemark {
  std::string place;  // FILE:LINE
  std::string text;
};

struct CrontabImport {
  std::string configuration;            // in the layout of `show running-config`
  std::vector<CrontabRemark> left_out;  // lines that cannot be expressed, why, and what would be closest
  std::vector<CrontabRemark> notes;
};

struct CrontabSource {
  std::string file;        // for remarks, and for the names of jobs and schedules
  bool has_users = false;  // system tables name a user in each line
  std::string user;        // the operator who imports, as whom the jobs will run
};

// Converts a table's text and adds the result.
void add_crontab(const CrontabSource &source, std::string_view text, CrontabImport *import);

}  // namespace shell
