// SPDX-License-Identifier: Apache-2.0
// Replies of the show service, byte by byte, and the lines that the show commands share.
#pragma once

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "schedcli_requests.h"
#include "tests/platform/platform.h"

namespace show_test {

inline const std::string rule = std::string(78, '=') + "\n";

template <typename Record>
std::string raw(const Record &record) {
  return {reinterpret_cast<const char *>(&record), sizeof record};
}

template <size_t Size>
void put(char (&field)[Size], const std::string &text) {
  std::memset(field, 0, Size);
  text.copy(field, Size);
}

inline std::string job_reply(const std::string &name, int32_t id, const std::string &text) {
  sch_show_job_reply reply = {};
  put(reply.name, name);
  reply.job_id = id;
  reply.unread = 0xdeadbeef;
  reply.length = static_cast<int32_t>(text.size());
  return raw(reply) + text;
}

inline sch_tminfo daily(int32_t hour, int32_t minute) {
  sch_tminfo time = {};
  time.type = SCH_SCHEDULE_DAILY;
  time.hour = hour;
  time.minute = minute;
  return time;
}

inline sch_show_schedule_reply schedule_record(const std::string &name, int32_t number) {
  sch_show_schedule_reply reply = {};
  reply.number = number;
  put(reply.name, name);
  put(reply.user, "owner");
  reply.time = daily(23, 30);
  return reply;
}

struct JobStatus {
  std::string name;
  uint32_t wait_status = 0;
};

inline std::string with_jobs(sch_show_schedule_reply reply, const std::vector<JobStatus> &jobs) {
  reply.job_count = static_cast<int32_t>(jobs.size());
  std::string bytes = raw(reply);
  for (const JobStatus &job : jobs) {
    sch_job_status_entry entry = {};
    put(entry.name, job.name);
    entry.wait_status = job.wait_status;
    bytes += raw(entry);
  }
  return bytes;
}

inline sch_log_entry log_entry(uint32_t count, uint32_t number, int32_t total) {
  sch_log_entry entry = {};
  entry.count = count;
  entry.number = number;
  put(entry.job, "backup");
  put(entry.schedule, "nightly");
  put(entry.user, "admin");
  entry.total_length = total;
  return entry;
}

inline std::string log_message(sch_log_entry entry, const std::string &piece) {
  entry.piece_length = static_cast<uint32_t>(piece.size());
  return raw(entry) + piece;
}

inline std::string log_message(uint32_t count, uint32_t number, const std::string &output) {
  return log_message(log_entry(count, number, static_cast<int32_t>(output.size())), output);
}

// The record with the bytes behind it, aligned as a heap block is, for the printers that take the record alone.
template <typename Record>
class Held {
 public:
  explicit Held(const std::string &bytes) : bytes_(bytes.begin(), bytes.end()) {}
  const Record *get() const { return reinterpret_cast<const Record *>(bytes_.data()); }

 private:
  std::vector<char> bytes_;
};

// What the handler printed, with its result.
struct Outcome {
  int result = 0;
  std::string out, err;
  bool operator==(const Outcome &) const = default;
};

inline std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
  return stream << "result " << outcome.result << "\nout:\n" << outcome.out << "err:\n" << outcome.err;
}

using Handler = int (*)(const sch_cli_cmd_ctx *);

inline Outcome run(Handler handler, platform_test::Context &context) {
  Outcome outcome;
  const sch_cli_cmd_ctx *ctx = context.get();
  platform_test::Output output = platform_test::capture([&] { outcome.result = handler(ctx); });
  outcome.out = std::move(output.out);
  outcome.err = std::move(output.err);
  return outcome;
}

// With these replies of the service, and texts as parameters.
inline Outcome run(Handler handler, std::deque<platform_test::Reply> replies = {},
                   const std::vector<std::string> &params = {}) {
  if (!replies.empty()) platform_test::fake.replies = std::move(replies);
  platform_test::Context context(params);
  return run(handler, context);
}

// The answer of a service that fails.
inline platform_test::Reply failed(uint32_t status) {
  return {status, "", true};
}
inline std::string error_line(uint32_t status) {
  return "Error: " + platform_test::error_text(status) + "\n";
}
inline constexpr char incomplete[] = "Error: incomplete reply\n";

inline std::string printed(const std::function<void()> &print) {
  platform_test::Output output = platform_test::capture(print);
  EXPECT_EQ(output.err, "");
  return output.out;
}

inline std::string transport_error_text() {
  return "Error: " + platform_test::error_text(platform_test::fake.transport_error) + "\n";
}

}  // namespace show_test
