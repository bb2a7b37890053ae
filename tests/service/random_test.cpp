// SPDX-License-Identifier: Apache-2.0
// Requests at random: sound ones of several users, and the same with bytes changed, cut off or added. Whatever comes,
// the service answers, a refusal changes nothing, a reply is as long as it says, and memory is what the stores hold.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "control/operations.h"
#include "service/request/dispatch.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

constexpr const char *memory_disk = "/dev/shm";

// Most for the build in which a wrong access is seen, and where a commit is quick: each granted request is one.
int how_many() {
#ifdef __SANITIZE_ADDRESS__
  if (access(memory_disk, W_OK) == 0) return 200000;
#endif
  return 50000;
}

constexpr int between_comparisons = 97;  // of the whole configuration, around one request
constexpr int restarts = 10;

constexpr uint32_t config = SCH_SERVICE_CONFIG, show = SCH_SERVICE_SHOW;
constexpr auto authenticate =
    static_cast<uint32_t>(control::Operation::security_authenticate);  // would start a process

std::mt19937 random_bits(20261121);

unsigned below(size_t bound) {
  return static_cast<unsigned>(random_bits() % bound);
}

template <typename Value>
const Value &one_of(const std::vector<Value> &values) {
  return values[below(values.size())];
}

struct Request {
  uint32_t service;
  Bytes record;
};

Request request(uint32_t service, uint32_t opcode, const Bytes &payload) {
  Request made = {service, Bytes(8)};
  const uint32_t words[] = {opcode, static_cast<uint32_t>(payload.size())};
  std::memcpy(made.record.data(), words, sizeof words);
  made.record.insert(made.record.end(), payload.begin(), payload.end());
  return made;
}

Request control_request() {
  const uint32_t operation = below(48);
  Request made = {host::service_control, Bytes(sizeof operation + below(300))};
  if (operation != authenticate) std::memcpy(made.record.data(), &operation, sizeof operation);
  return made;
}

Request sound_request() {
  static const std::vector<std::string> jobs = {"a", "b", "c", "a-longer-name"}, schedules = {"s", "t", "u"};
  const std::string &job = one_of(jobs), &schedule = one_of(schedules);
  const bool no = below(2) == 0;
  switch (below(18)) {
    case 0:
      return request(config, SCH_OP_CREATE_JOB, job_payload(job));
    case 1:
      return request(config, SCH_OP_DEFINE_JOB, job_payload(job, std::string(below(3000), 'x') + "\n"));
    case 2:
      return request(config, SCH_OP_DELETE_JOB, job_payload(job));
    case 3:
      return request(config, SCH_OP_CREATE_SCHEDULE, schedule_payload(schedule));
    case 4:
      return request(config, SCH_OP_DELETE_SCHEDULE, schedule_payload(schedule));
    case 5:
      return request(config, SCH_OP_MODIFY_SCHEDULE, modify_payload(schedule, SCH_MODIFY_JOB, no, job));
    case 6:
      return request(config, SCH_OP_MODIFY_SCHEDULE, time_payload(schedule, daily(23, 59)));
    case 7:
      return request(config, SCH_OP_MODIFY_SCHEDULE, time_payload(schedule, once(23, 59)));
    case 8:
      return request(config, SCH_OP_MODIFY_SCHEDULE, time_payload(schedule, every(90, noon + 3600)));
    case 9:
      return request(config, SCH_OP_RESIZE_LOG, log_payload("", "", 4096 * (1 + below(4))));
    case 10:
      return request(config, SCH_OP_RENAME_LOG, log_payload("/var/log/other", "bootflash:other", 0));
    case 11:
      return request(config, SCH_OP_SET_EMAIL_FROM + below(6), Bytes(sizeof(sch_email_transport)));
    case 12:
      return request(config, SCH_OP_SCHEDULE_EMAIL,
                     address_payload(no ? SCH_EMAIL_REMOVE : SCH_EMAIL_ADD, schedule, job + "@example.org"));
    case 13:
      return request(show, SCH_OP_SHOW_JOB, show_payload(no ? job : "", static_cast<int32_t>(below(5)) - 1));
    case 14:
      return request(show, SCH_OP_SHOW_SCHEDULE, show_payload(no ? schedule : "", static_cast<int32_t>(below(5)) - 1));
    case 15:
      return request(show, SCH_OP_SHOW_LOG, show_payload(no ? schedule : ""));
    case 16:
      return request(show, no ? SCH_OP_SHOW_LOG_CONFIG : SCH_OP_SHOW_EMAIL_CONFIG, {});
    default:
      return control_request();
  }
}

bool asks_to_authenticate(const Request &request) {
  uint32_t operation = 0;
  if (request.service != host::service_control || request.record.size() < sizeof operation) return false;
  std::memcpy(&operation, request.record.data(), sizeof operation);
  return operation == authenticate;
}

void damage(Request *request) {
  Bytes &record = request->record;
  for (unsigned changes = below(4); changes != 0 && !record.empty(); changes--)
    record[below(record.size())] = static_cast<std::byte>(random_bits());
  if (below(16) == 0) record.resize(below(record.size() + 64));
  if (below(64) == 0) request->service = static_cast<uint32_t>(random_bits());
  if (asks_to_authenticate(*request)) record.clear();
}

// The fixed part of a reply announces what follows it.
void expect_whole(const Request &request, const Bytes &reply) {
  uint32_t opcode = 0;
  std::memcpy(&opcode, request.record.data(), sizeof opcode);
  if (request.service != show) return;
  if (opcode == SCH_OP_SHOW_JOB) {
    sch_show_job_reply fixed;
    ASSERT_GE(reply.size(), sizeof fixed);
    std::memcpy(&fixed, reply.data(), sizeof fixed);
    ASSERT_EQ(reply.size() - sizeof fixed, static_cast<size_t>(fixed.length));
  } else if (opcode == SCH_OP_SHOW_SCHEDULE) {
    sch_show_schedule_reply fixed;
    ASSERT_GE(reply.size(), sizeof fixed);
    std::memcpy(&fixed, reply.data(), sizeof fixed);
    ASSERT_EQ(reply.size() - sizeof fixed, static_cast<size_t>(fixed.job_count) * sizeof(sch_job_status_entry));
  }
}

TEST(RandomRequests, are_answered_and_a_refusal_changes_nothing) {
  if (access(memory_disk, W_OK) == 0) setenv("TMPDIR", memory_disk, 1);
  const int requests = how_many(), between_restarts = requests / restarts;
  World world;
  const std::vector<host::Caller> callers = {root(), root(), daemon_user(), nobody(), remote_user()};
  int granted = 0, refused = 0;
  for (int i = 0; i < requests; i++) {
    Request made = sound_request();
    damage(&made);
    host::Incoming incoming;
    incoming.service = made.service;
    incoming.body = made.record;
    incoming.caller = one_of(callers);
    const std::string before = i % between_comparisons == 0 ? configuration() : "";
    const host::Answer answer = service::dispatch(world.parts->context, incoming);
    ASSERT_FALSE(answer.pending);
    (answer.status == 0 ? granted : refused)++;
    if (answer.status != 0 && !before.empty()) {
      ASSERT_EQ(configuration(), before) << "request " << i;
    }
    if (answer.status == 0 && answer.reply) expect_whole(made, *answer.reply);
    if (i % between_restarts == between_restarts - 1) {
      const std::string remembered = configuration();
      world.restart();
      ASSERT_EQ(configuration(), remembered) << "request " << i;
    }
  }
  EXPECT_GT(granted, requests / 20);
  EXPECT_GT(refused, requests / 4);
}

}  // namespace
}  // namespace service_test
