// SPDX-License-Identifier: Apache-2.0
#include "service/run/history_page.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/pss.h"
#include "service/state/run_state.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

constexpr uint32_t version = 1;
constexpr size_t record_limit = SCH_FRAGMENT_SIZE;  // of a value in the library's stores

struct Stored {
  uint64_t run, sequence;
  int64_t run_begin_ms, begin_ms, end_ms;
  uint64_t output_bytes;
  uint32_t due, wait_status, job_id, killed, missed_count, missed_last;
  uint8_t reason, job_size, asked_by_size, remark_size;
  uint32_t unused;
};
static_assert(sizeof(Stored) == 80);

// All number fields, once for reading and writing: `copy` is the direction.
template <typename Record, typename Memory, typename Copy>
void each_number(Record &stored, Memory &outcome, Copy copy) {
  copy(stored.run, outcome.run);
  copy(stored.sequence, outcome.sequence);
  copy(stored.run_begin_ms, outcome.run_begin_ms);
  copy(stored.begin_ms, outcome.begin_ms);
  copy(stored.end_ms, outcome.end_ms);
  copy(stored.output_bytes, outcome.output_bytes);
  copy(stored.due, outcome.due);
  copy(stored.wait_status, outcome.wait_status);
  copy(stored.job_id, outcome.job_id);
  copy(stored.killed, outcome.killed);
  copy(stored.missed_count, outcome.missed_count);
  copy(stored.missed_last, outcome.missed_last);
}

Stored fixed_part(const Outcome &outcome) {
  Stored stored = {};
  each_number(stored, outcome, [](auto &to, const auto &from) { to = from; });
  stored.reason = static_cast<uint8_t>(outcome.reason);
  return stored;
}

Outcome outcome_of(const Stored &stored) {
  Outcome outcome;
  each_number(stored, outcome, [](const auto &from, auto &to) { to = from; });
  outcome.reason = static_cast<Reason>(stored.reason);
  return outcome;
}

// Cuts the text to `limit`. Names always fit; only a remark may be too long.
uint8_t add_text(std::string *body, const std::string &text, size_t limit) {
  const size_t size = std::min(text.size(), limit);
  body->append(text, 0, size);
  return static_cast<uint8_t>(size);
}

std::string encode(const Outcome &outcome) {
  constexpr size_t name_limit = sizeof(sch_config_key::name);
  static_assert(history_remark_limit <= std::numeric_limits<uint8_t>::max());
  std::string texts;
  Stored stored = fixed_part(outcome);
  stored.job_size = add_text(&texts, outcome.job, name_limit);
  stored.asked_by_size = add_text(&texts, outcome.asked_by, name_limit);
  stored.remark_size = add_text(&texts, outcome.remark, history_remark_limit);
  return std::string(reinterpret_cast<const char *>(&stored), sizeof stored) + texts;
}

// Decodes one outcome and removes it from the front of *body. False: the rest is malformed.
bool decode(std::string_view *body, Outcome *outcome) {
  Stored stored;
  if (body->size() < sizeof stored) return false;
  std::memcpy(&stored, body->data(), sizeof stored);
  if (!is_moment_ms(stored.run_begin_ms) || !is_moment_ms(stored.begin_ms) || !is_moment_ms(stored.end_ms))
    return false;
  body->remove_prefix(sizeof stored);
  if (body->size() < size_t{stored.job_size} + stored.asked_by_size + stored.remark_size) return false;
  const auto take = [&](size_t size) {
    std::string text(body->substr(0, size));
    body->remove_prefix(size);
    return text;
  };
  *outcome = outcome_of(stored);
  outcome->job = take(stored.job_size);
  outcome->asked_by = take(stored.asked_by_size);
  outcome->remark = take(stored.remark_size);
  return true;
}

}  // namespace

HistoryPage::HistoryPage(uint32_t creation, const HistoryPage *before) {
  head_.version = version;
  head_.creation = creation;
  head_.last_run = before == nullptr ? 0 : before->last_run();
}

std::optional<HistoryPage> HistoryPage::read(const sch_schedule_entry &entry, uint32_t number) {
  uint32_t error = 0;
  sch_runtime_key key = run_key(history_key, number, entry.key->name);
  const pss_buf name = {&key, sizeof key};
  const pss_buf *value = pss2_fetch(pss_running_db, &name, &error);
  if (value == nullptr || error != 0 || value->length < sizeof(Head)) return std::nullopt;
  HistoryPage page;
  std::memcpy(&page.head_, value->data, sizeof page.head_);
  if (page.head_.version != version || page.head_.creation != creation(*entry.rec)) return std::nullopt;
  page.body_.assign(static_cast<const char *>(value->data) + sizeof page.head_, value->length - sizeof page.head_);
  return page;
}

uint32_t HistoryPage::write(const sch_schedule_entry &entry, uint32_t number) const {
  sch_runtime_key key = run_key(history_key, number, entry.key->name);
  std::string record = std::string(reinterpret_cast<const char *>(&head_), sizeof head_) + body_;
  const pss_buf name = {&key, sizeof key}, value = {record.data(), static_cast<uint32_t>(record.size())};
  return pss_store(pss_running_db, 1, &name, &value);
}

bool HistoryPage::add(const Outcome &outcome) {
  const std::string encoded = encode(outcome);
  if (sizeof head_ + body_.size() + encoded.size() > record_limit) return false;
  body_ += encoded;
  head_.first_run = head_.count == 0 ? outcome.run : std::min(head_.first_run, outcome.run);
  head_.new_runs += outcome.run > head_.last_run ? 1 : 0;
  head_.last_run = std::max(head_.last_run, outcome.run);
  head_.last_sequence = std::max(head_.last_sequence, outcome.sequence);
  head_.count++;
  return true;
}

std::vector<Outcome> HistoryPage::outcomes() const {
  std::vector<Outcome> found;
  std::string_view rest = body_;
  for (Outcome outcome; found.size() < head_.count && decode(&rest, &outcome);)
    found.push_back(outcome);
  return found;
}

}  // namespace service
