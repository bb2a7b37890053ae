// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "control/statuses.h"
#include "host/result.h"
#include "schedcli.h"

namespace service {

// Makes the changes of one request atomic: what is saved in pss_running during its lifetime is written by commit(), all
// of it or nothing. Without a commit the changes in memory are undone.
class ConfigChange {
 public:
  ConfigChange();
  ~ConfigChange();  // without a commit: calls the undo steps, newest first, and aborts the batch
  ConfigChange(const ConfigChange &) = delete;
  ConfigChange &operator=(const ConfigChange &) = delete;

  void undo(std::function<void()> step) { undo_.push_back(std::move(step)); }
  void afterwards(std::function<void()> step) { afterwards_.push_back(std::move(step)); }  // once it is on disk

  void require(int saved) { failed_ = failed_ || saved != 0; }  // result of a save function of the library
  void save(sch_schedule_entry &entry);
  void save(sch_job_entry &slot);
  void modify(sch_schedule_entry &entry);  // to be called before changing the record: notes how to undo that

  uint32_t commit();  // 0, or control::err_not_stored or host::err_store_gone: nothing has changed

 private:
  void fail(const char *purpose, const host::Error &error);

  bool open_ = false, failed_ = false;
  std::vector<std::function<void()>> undo_, afterwards_;
};

}  // namespace service
