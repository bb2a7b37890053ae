// SPDX-License-Identifier: Apache-2.0
// The job log: the outcomes and outputs of runs, in a circular file of the configured size and path. sch_log_file holds
// its settings. The read and write offsets there are updated only when the settings are stored, as only a trace shows
// them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/loop/watch.h"
#include "host/result.h"
#include "schedcli.h"
#include "service/joblog/log_reader.h"
#include "service/joblog/log_record.h"
#include "service/joblog/log_volume.h"
#include "service/joblog/outcome_source.h"

namespace service {

class JobLog {
 public:
  JobLog() = default;
  ~JobLog();
  JobLog(const JobLog &) = delete;
  JobLog &operator=(const JobLog &) = delete;

  // Opens the file that sch_log_file names, or creates it, and adds the outcomes that it lacks because of a crash. A
  // damaged file is renamed, never overwritten; one of an earlier version is converted.
  host::Result<void> open(OutcomeSource outcomes = {});

  // On disk a moment later, or after sync(); the outcome itself is durable in the store already, so a failure is only
  // reported to the system log. If the file was removed or replaced, a new one is begun.
  void append(const LogRecord &record);
  void append_unsynced(const LogRecord &record) { append(record); }
  void sync();

  enum class Keep { records, nothing };
  // For a request that changes the settings: a new file beside the present one, which it replaces once the settings are
  // stored.
  struct Draft {
    std::shared_ptr<LogVolume> volume;
    std::string path;
    sch_log_file_rec settings;
  };
  host::Result<Draft> prepare(const sch_log_file_rec &wanted, Keep keep) const;
  void discard(const Draft &draft) const;
  void adopt(const Draft &draft);  // once the settings are stored

  LogReader read(LogFilter filter, GoneOutcomes gone = {}) const {
    return {volume_, std::move(filter), std::move(gone)};
  }

  // The log shows the outcomes after `shown_after` (earlier ones were cleared). lacks() is true if the file has no
  // record of such an outcome.
  uint64_t shown_after() const { return volume_->file().head().cleared_at; }
  bool lacks(uint64_t outcome) const { return !volume_->index().holds_outcome(outcome); }
  bool lacks_some() const;

 private:
  host::Result<void> find_or_make();
  host::Result<void> put_aside(const std::string &path, const std::string &why) const;
  host::Result<void> renew();
  void complete();
  void add(const LogRecord &record);
  void begin_anew(const char *why, uint32_t now);
  uint64_t newest_outcome() const;

  std::shared_ptr<LogVolume> volume_;
  OutcomeSource outcomes_;
  host::Watch sync_later_;
};

// The path of the file that these settings name.
std::string log_path(const sch_log_file_rec &settings);

}  // namespace service
