// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/uploads.h"

#include "host/errors.h"
#include "host/status.h"

namespace service {
host::Result<uint32_t> Uploads::add(uint32_t id, uid_t uid, std::string_view piece, time_t now) {
  forget_idle(now);
  const bool is_new = id == 0;
  const auto known = uploads_.find(id);
  if (!is_new && (known == uploads_.end() || known->second.uid != uid)) return host::error_of(host::err_bad_request);
  if (is_new && uploads_.size() >= count_limit) return host::error_of(host::err_busy);
  if (bytes() + piece.size() > bytes_limit) {
    if (!is_new) uploads_.erase(known);
    return host::error_of(host::err_too_large);
  }
  if (is_new) id = ++last_id_ == 0 ? ++last_id_ : last_id_;
  Upload &upload = uploads_.try_emplace(id, Upload{uid, now, {}}).first->second;
  upload.text += piece;
  upload.last = now;
  return id;
}

host::Result<std::string> Uploads::take(uint32_t id, uid_t uid) {
  const auto known = uploads_.find(id);
  if (known == uploads_.end() || known->second.uid != uid) return host::error_of(host::err_bad_request);
  std::string text = std::move(known->second.text);
  uploads_.erase(known);
  return text;
}

void Uploads::forget_idle(time_t now) {
  std::erase_if(uploads_, [&](const auto &upload) { return now - upload.second.last > idle_s; });
}

size_t Uploads::bytes() const {
  size_t sum = 0;
  for (const auto &[id, upload] : uploads_)
    sum += upload.text.size();
  return sum;
}

}  // namespace service
