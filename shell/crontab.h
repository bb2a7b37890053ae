// SPDX-License-Identifier: Apache-2.0
// Tables of the cron daemon as jobs and schedules.
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
  std::vector<CrontabRemark> left_out;  // what cannot be expressed, why, and the nearest that can
  std::vector<CrontabRemark> notes;
};

struct CrontabSource {
  std::string file;        // for the places of remarks, and the names of jobs and schedules
  bool has_users = false;  // a table of the system names a user in each line
  std::string user;        // who imports: their jobs run as theirs
};

// Adds what the table's text says.
void add_crontab(const CrontabSource &source, std::string_view text, CrontabImport *import);

}  // namespace shell
