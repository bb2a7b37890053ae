// SPDX-License-Identifier: Apache-2.0
// growth_bench DIRECTORY: what a request costs with 100 to 100,000 schedules, a line of JSON for each request.
#include <cstring>
#include <fstream>

#include "bench/process.h"
#include "bench/rows.h"
#include "control/operations.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/transport/transport.h"
#include "platform/errors.h"
#include "schedcli_requests.h"

namespace bench {
namespace {

constexpr int sizes[] = {100, 1000, 10000, 100000};
constexpr int samples_each = 300;

template <class Payload>
uint32_t ask(uint32_t service, uint32_t message_class, uint32_t opcode, const Payload &payload) {
  struct {
    sch_request_header header;
    Payload payload;
  } request = {{opcode, sizeof payload}, payload};
  static_assert(sizeof request == sizeof(sch_request_header) + sizeof(Payload));
  void *reply = nullptr;
  uint32_t length = sizeof request;
  const uint32_t status = cmi_req_resp(service, message_class, &request, &reply, &length, "", "", 136, 0, 0);
  std::free(reply);
  return status;
}

void want(uint32_t status, const char *what) {
  if (status != 0) fail(what, syserr2str(status));
}

template <size_t size>
void put_name(char (&field)[size], int number) {
  std::snprintf(field, size, "schedule-%d", number);
}

void create(int number) {
  sch_named_request payload = {};
  put_name(payload.name, number);
  want(ask(SCH_SERVICE_CONFIG, SCH_CLASS_CONFIG, SCH_OP_CREATE_SCHEDULE, payload), "create");
}

void change(int number) {
  static int moment = 2000000000;
  sch_modify_request payload = {};
  payload.subcommand = SCH_SCHEDULE_PERIODIC;
  put_name(payload.schedule, number);
  payload.time.type = SCH_SCHEDULE_PERIODIC;
  payload.time.day_of_week = 1;
  payload.time.start_time = moment++;
  want(ask(SCH_SERVICE_CONFIG, SCH_CLASS_CONFIG, SCH_OP_MODIFY_SCHEDULE, payload), "change");
}

void show(int number) {
  sch_show_request payload = {0, "", SCH_CURSOR_FIRST};
  put_name(payload.name, number);
  want(ask(SCH_SERVICE_SHOW, SCH_CLASS_SHOW, SCH_OP_SHOW_SCHEDULE, payload), "show");
}

// A page of the listing from somewhere in the middle.
void show_page(int number) {
  want(ask(SCH_SERVICE_SHOW, SCH_CLASS_SHOW, SCH_OP_SHOW_SCHEDULE, sch_show_request{0, "", number}), "show a page");
}

struct Request {
  const char *name;
  void (*ask)(int number);
  std::vector<Samples> samples = {};
};

void print(const Request &request) {
  std::printf(R"({"name": "%s", "sizes": [)", request.name);
  for (const int &size : sizes)
    std::printf("%s%d", &size == sizes ? "" : ", ", size);
  std::printf(R"(], "samples": [)");
  for (const Samples &samples : request.samples) {
    std::printf("%s[", &samples == &request.samples.front() ? "" : ", ");
    for (const double &sample : samples)
      std::printf("%s%.2f", &sample == samples.data() ? "" : ", ", sample);
    std::printf("]");
  }
  std::printf("]}\n");
}

void measure() {
  Request requests[] = {{"create", create}, {"change a time", change}, {"show one", show}, {"show a page", show_page}};
  int made = 0;
  for (const int size : sizes) {
    const int samples = std::min(samples_each, size / 2);  // the last create makes it full
    while (made < size - samples)
      create(made++);
    for (Request &request : requests)
      request.samples.emplace_back();
    for (int i = 0; i < samples; i++)
      for (Request &request : requests) {
        const bool creates = request.ask == create;
        const int number = creates ? made++ : static_cast<int>(i * int64_t{7919} % made);
        request.samples.back().push_back(microseconds([&] { request.ask(number); }));
      }
  }
  for (const Request &request : requests)
    print(request);
}

int run(const std::string &directory) {
  const std::string state = directory + "/growth", settings = directory + "/growth.conf";
  std::ofstream(settings) << "[limits]\nschedules=100000\nschedules-per-user=100000\n[service]\nstore-limit=1024\n";
  host::use_paths(host::resolve_paths(state.c_str()));
  host::set_reply_timeout_ms(20000);
  const pid_t service = spawn({SCHEDD, "--config", settings, "--state-dir", state});
  const auto end_of_patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  uint32_t status = 0;
  do
    status = control::ask_service(control::Operation::enable_feature).code();
  while (status == host::err_not_running && std::chrono::steady_clock::now() < end_of_patience);
  if (status != host::err_feature_enabled) want(status, "enabling the scheduler");
  measure();
  end(service);
  return 0;
}

}  // namespace
}  // namespace bench

int main(int count, char **arguments) {
  return count == 2 ? bench::run(arguments[1]) : 2;
}
