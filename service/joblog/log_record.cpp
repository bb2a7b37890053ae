// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/log_record.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace service {
namespace {

struct HeadVersion1 {
  uint32_t owner_tag;
  char job[32], schedule[32], user[40];
  uint32_t wait_status, completion;
};
static_assert(sizeof(HeadVersion1) == 116);

// Followed by the texts: job, schedule, user, and the output, which has the rest of the body.
struct HeadVersion2 {
  uint64_t run, outcome, newest_outcome, output_total;
  uint32_t owner_tag, wait_status, completion;
  uint8_t reason, job_length, schedule_length, user_length;
};
static_assert(sizeof(HeadVersion2) == 48);

constexpr size_t name_limit = UINT8_MAX;

std::string in_brackets(const std::string &line) {
  return line.empty() ? "" : "[" + line + "]\n";
}

std::string cut_note(uint64_t total) {
  return "\n" + in_brackets("the output of " + std::to_string(total) + " bytes was cut here");
}

std::string output_that_fits(const LogRecord &record, size_t room) {
  const uint64_t total = std::max<uint64_t>(record.output_total, record.output.size());
  const std::string remark = in_brackets(record.remark);
  const bool broken_line = !remark.empty() && !record.output.empty() && record.output.back() != '\n';
  if (record.output.size() == total && total + broken_line + remark.size() <= room)
    return record.output + (broken_line ? "\n" : "") + remark;
  std::string note = cut_note(total);
  note += remark;
  note.resize(std::min(note.size(), room));
  return record.output.substr(0, room - note.size()) + note;
}

// Splits the bytes that follow a head into its texts.
class Texts {
 public:
  explicit Texts(std::span<const std::byte> bytes)
      : rest_(reinterpret_cast<const char *>(bytes.data()), bytes.size()) {}

  std::string_view take(size_t length) {
    whole_ = whole_ && length <= rest_.size();
    const std::string_view text = rest_.substr(0, length);
    rest_.remove_prefix(text.size());
    return text;
  }
  std::string_view rest() const { return rest_; }
  bool whole() const { return whole_; }

 private:
  std::string_view rest_;
  bool whole_ = true;
};

template <size_t size>
std::string_view text_in(std::span<const std::byte> body, size_t offset, const char (&)[size]) {
  const char *field = reinterpret_cast<const char *>(body.data()) + offset;
  return {field, strnlen(field, size)};
}

std::optional<LogRecordHead> decode_version_1(std::span<const std::byte> body) {
  HeadVersion1 stored;
  if (body.size() < sizeof stored) return std::nullopt;
  std::memcpy(&stored, body.data(), sizeof stored);
  LogRecordHead head;
  head.owner_tag = stored.owner_tag;
  head.wait_status = stored.wait_status;
  head.completion = stored.completion;
  head.job = text_in(body, offsetof(HeadVersion1, job), stored.job);
  head.schedule = text_in(body, offsetof(HeadVersion1, schedule), stored.schedule);
  head.user = text_in(body, offsetof(HeadVersion1, user), stored.user);
  head.output = Texts(body.subspan(sizeof stored)).rest();
  head.output_total = head.output.size();
  return head;
}

// All number fields, once for reading and writing: `copy` is the direction.
template <typename Stored, typename Memory, typename Copy>
void each_number(Stored &stored, Memory &record, Copy copy) {
  copy(stored.run, record.run);
  copy(stored.outcome, record.outcome);
  copy(stored.output_total, record.output_total);
  copy(stored.owner_tag, record.owner_tag);
  copy(stored.wait_status, record.wait_status);
  copy(stored.completion, record.completion);
}

std::optional<LogRecordHead> decode_version_2(std::span<const std::byte> body) {
  HeadVersion2 stored;
  if (body.size() < sizeof stored) return std::nullopt;
  std::memcpy(&stored, body.data(), sizeof stored);
  Texts texts(body.subspan(sizeof stored));
  LogRecordHead head;
  each_number(stored, head, [](const auto &from, auto &to) { to = from; });
  head.newest_outcome = stored.newest_outcome;
  head.reason = stored.reason;
  head.job = texts.take(stored.job_length);
  head.schedule = texts.take(stored.schedule_length);
  head.user = texts.take(stored.user_length);
  head.output = texts.rest();
  if (!texts.whole()) return std::nullopt;
  return head;
}

}  // namespace

std::vector<std::byte> encode(const LogRecord &record, uint64_t newest_outcome, size_t room) {
  const std::string job = record.job.substr(0, name_limit), schedule = record.schedule.substr(0, name_limit),
                    user = record.user.substr(0, name_limit);
  HeadVersion2 head = {};
  each_number(head, record, [](auto &to, const auto &from) { to = from; });
  head.newest_outcome = newest_outcome;
  head.output_total = std::max<uint64_t>(record.output_total, record.output.size());
  head.reason = static_cast<uint8_t>(record.reason);
  head.job_length = static_cast<uint8_t>(job.size());
  head.schedule_length = static_cast<uint8_t>(schedule.size());
  head.user_length = static_cast<uint8_t>(user.size());
  const size_t fixed = sizeof head + job.size() + schedule.size() + user.size();
  const std::string output = output_that_fits(record, room > fixed ? room - fixed : 0);
  std::vector<std::byte> body(sizeof head);
  body.reserve(fixed + output.size());
  std::memcpy(body.data(), &head, sizeof head);
  for (const std::string *text : {&job, &schedule, &user, &output}) {
    const auto *start = reinterpret_cast<const std::byte *>(text->data());
    body.insert(body.end(), start, start + text->size());
  }
  return body;
}

std::optional<LogRecordHead> decode(std::span<const std::byte> body, uint32_t version) {
  return version == 1 ? decode_version_1(body) : decode_version_2(body);
}

namespace {

std::string_view without_brackets(std::string_view line) {
  if (line.starts_with('\n')) line.remove_prefix(1);
  return line.size() >= 3 && line.starts_with('[') && line.ends_with("]\n") ? line.substr(1, line.size() - 3) : line;
}

}  // namespace

Printed printed_in(const LogRecord &record) {
  const std::string_view stored = record.output;
  if (record.output_gone) return {{}, record.output_total, record.output_total != 0, without_brackets(stored)};
  const std::string note = cut_note(record.output_total);
  if (const size_t end = stored.rfind(note); end != stored.npos && end < record.output_total)
    return {stored.substr(0, end), record.output_total, true, without_brackets(stored.substr(end + note.size()))};
  if (stored.size() < record.output_total) return {stored, record.output_total, true, {}};
  const auto printed = static_cast<size_t>(record.output_total);
  return {stored.substr(0, printed), printed, false, without_brackets(stored.substr(printed))};
}

LogRecord record_of(const LogRecordHead &head) {
  LogRecord record;
  each_number(head, record, [](const auto &from, auto &to) { to = from; });
  record.job = head.job;
  record.schedule = head.schedule;
  record.user = head.user;
  record.output = head.output;
  record.reason = head.reason;
  return record;
}

}  // namespace service
