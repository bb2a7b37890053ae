// SPDX-License-Identifier: Apache-2.0
// The job log: what every run left, in a circular file of the configured size and place. sch_log_file is its
// configuration and mirrors where it stands.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "schedcli.h"
#include "service/joblog/ring_file.h"

namespace service {

struct LogRecord {
  std::string job, schedule, user;
  uint32_t owner_tag = 0;  // who may see it
  uint32_t wait_status = 0;
  uint32_t completion = 0;
  std::string output;
  uint64_t output_total = 0;  // bytes printed; what `output` lacks of them is said behind it
  std::string remark;         // the service's own line behind the output; read back as part of it
};

class JobLog {
 public:
  // Opens the file that sch_log_file names, or makes it. A file that is damaged is put aside, never overwritten.
  bool open(std::string *error);

  // Durable when it returns. A failure is reported to the system log; the caller's outcome stands without it.
  void append(const LogRecord &record);
  void append_unsynced(const LogRecord &record);  // several, then sync()
  void sync();

  // A following request_change: the file with other settings beside the present one, holding the newest records that
  // fit (or none), which takes its place once the settings are stored.
  struct Draft {
    std::shared_ptr<RingFile> file;
    std::string path;
    sch_log_file_rec settings;
  };
  bool prepare(const sch_log_file_rec &wanted, bool keep_records, Draft *draft, std::string *error) const;
  void discard(const Draft &draft) const;
  void adopt(const Draft &draft);  // the settings are stored

  using Wanted = std::function<bool(const LogRecord &)>;  // of a record without its output
  struct Selection {
    std::shared_ptr<const RingFile> file;  // as it is now, also when the log moves on
    std::vector<RingFile::Place> places;
  };
  Selection select(const Wanted &wanted) const;
  static bool read(const Selection &selection, size_t index, LogRecord *record);  // false: overwritten since

 private:
  bool open_or_recover(std::string *error);
  void write(const LogRecord &record, bool durable);
  void note_place();

  std::shared_ptr<RingFile> file_;
};

// Where these settings put the file.
std::string log_path(const sch_log_file_rec &settings);

}  // namespace service
