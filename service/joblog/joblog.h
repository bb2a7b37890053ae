// SPDX-License-Identifier: Apache-2.0
// The job log: what every run left, in a circular file of the configured size and place. sch_log_file is its
// configuration; where it stood is noted there only when the settings are stored, since nobody but a trace reads it.
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

  // Opens the file that sch_log_file names, or makes it, and completes it with the outcomes that a crash kept out of
  // it. A file that is damaged is put aside, never overwritten; one of an earlier version is taken over.
  host::Result<void> open(OutcomeSource outcomes = {});

  // On disk a moment later, or after sync(): the outcome itself is durable already. A failure is reported to the system
  // log; the caller's outcome stands without it. A file that is no longer in its place is begun anew.
  void append(const LogRecord &record);
  void append_unsynced(const LogRecord &record) { append(record); }
  void sync();

  enum class Keep { records, nothing };
  // For a request that changes the settings: the new file, made beside the present one. It takes its place once the
  // settings are stored.
  struct Draft {
    std::shared_ptr<LogVolume> volume;
    std::string path;
    sch_log_file_rec settings;
  };
  host::Result<Draft> prepare(const sch_log_file_rec &wanted, Keep keep) const;
  void discard(const Draft &draft) const;
  void adopt(const Draft &draft);  // the settings are stored

  LogReader read(LogFilter filter, GoneOutcomes gone = {}) const {
    return {volume_, std::move(filter), std::move(gone)};
  }

  // The outcomes that are to be shown: those after `shown_after`, up to the newest. `lacks` tells of one of them
  // whether the file has no record of it.
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

// Where these settings put the file.
std::string log_path(const sch_log_file_rec &settings);

}  // namespace service
