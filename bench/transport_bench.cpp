// SPDX-License-Identifier: Apache-2.0
// transport_bench DIRECTORY SCHEDULES: of the service whose settings and state, with so many schedules, are in
// DIRECTORY. Its round trips beside what the machine can do at best and beside what others use, in turns, so that a
// busy machine touches all alike, on one core and from core to core:
//   a show request        beside a bare SEQPACKET ping-pong of the same sizes, and beside a message bus
//   a durable request     beside a bare peer that commits the same bytes to LMDB, synced, before it answers
#include <fcntl.h>
#include <lmdb.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench/dbus_peer.h"
#include "bench/durable_peer.h"
#include "bench/process.h"
#include "bench/rows.h"
#include "control/operations.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/store.h"
#include "host/transport/transport.h"
#include "platform/errors.h"
#include "schedcli_requests.h"

namespace bench {

namespace {

constexpr std::size_t job_text = 400;
constexpr std::size_t frame_header = 96, define_request = 56 + job_text, show_request = 48, show_reply = 44 + job_text;
constexpr int rounds = 200, show_calls = 50, durable_calls = 1;
constexpr const char *job_name = "bench";

struct JobRequest {
  sch_request_header header;
  sch_job_request payload = {};
};

static_assert(sizeof(JobRequest) + job_text == define_request);

struct ShowRequest {
  sch_request_header header = {SCH_OP_SHOW_JOB, sizeof(sch_show_request)};
  sch_show_request payload = {0, "", SCH_CURSOR_FIRST};
};
static_assert(sizeof(ShowRequest) == show_request);

uint32_t send(uint32_t service, uint32_t message_class, void *record, std::size_t size, std::size_t *replied) {
  void *reply = nullptr;
  auto length = static_cast<uint32_t>(size);
  const uint32_t status = cmi_req_resp(service, message_class, record, &reply, &length, "", "", 136, 0, 0);
  if (replied != nullptr) *replied = reply != nullptr ? length : 0;
  std::free(reply);
  return status;
}

void want(uint32_t status, const char *what) {
  if (status != 0) fail(what, syserr2str(status));
}

// In the tables beside the job of the benchmark: schedules that wait, with jobs of their own.
void want_schedules(int count) {
  const auto status = control::ask_service(control::Operation::status);
  if (!status) fail("status", status.error().text);
  const std::string text(reinterpret_cast<const char *>(status->data()), status->size());
  if (text.find("\nschedules: " + std::to_string(count) + "\n") == std::string::npos)
    fail("the tables", "not as many schedules as they should hold");
}

class Service {
 public:
  Service(const std::string &directory, int schedules)
      : process_(spawn({SCHEDD, "--config", directory + "/schedd.conf", "--state-dir", directory + "/state"})) {
    host::set_reply_timeout_ms(10000);
    const auto end_of_patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    uint32_t status = 0;
    do {
      status = control::ask_service(control::Operation::enable_feature).code();
    } while (status == host::err_not_running && std::chrono::steady_clock::now() < end_of_patience);
    if (status != host::err_feature_enabled) want(status, "enabling the scheduler");
    JobRequest create = {{SCH_OP_CREATE_JOB, sizeof create.payload}};
    std::strcpy(create.payload.head.name, job_name);
    want(send(SCH_SERVICE_CONFIG, SCH_CLASS_CONFIG, &create, sizeof create, nullptr), "creating a job");
    want_schedules(schedules);
  }
  ~Service() { end(process_); }
  Service(const Service &) = delete;
  Service &operator=(const Service &) = delete;

  static void show() {
    ShowRequest request;
    std::strcpy(request.payload.name, job_name);
    std::size_t replied = 0;
    want(send(SCH_SERVICE_SHOW, SCH_CLASS_SHOW, &request, sizeof request, &replied), "show");
    if (replied != show_reply) fail("show", "a reply of another size");
  }

  static void define(char letter) {
    std::array<char, sizeof(JobRequest) + job_text> record;
    JobRequest define = {{SCH_OP_DEFINE_JOB, sizeof define.payload + job_text}};
    std::strcpy(define.payload.head.name, job_name);
    define.payload.text_length = job_text;
    std::memcpy(record.data(), &define, sizeof define);
    std::fill(record.begin() + sizeof define, record.end(), letter);
    record.back() = '\n';
    want(send(SCH_SERVICE_CONFIG, SCH_CLASS_CONFIG, record.data(), record.size(), nullptr), "define");
  }

 private:
  pid_t process_;
};

// The floor: two processes, one socket, packets of the size that the service's are, nothing looked at.
class PingPong {
  static constexpr std::size_t asked = frame_header + show_request, answered = frame_header + show_reply;

 public:
  PingPong() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) fail("socket", std::strerror(errno));
    socket_ = ends[0];
    process_ = fork_peer();
    if (process_ == 0) answer(ends[1]);
  }
  ~PingPong() {
    ::close(socket_);
    end(process_);
  }
  PingPong(const PingPong &) = delete;
  PingPong &operator=(const PingPong &) = delete;

  void play() const {
    std::array<char, answered> buffer = {};
    if (::send(socket_, buffer.data(), asked, 0) != asked ||
        ::recv(socket_, buffer.data(), buffer.size(), 0) != answered)
      fail("ping-pong", "a reply of another size");
  }

 private:
  [[noreturn]] static void answer(int socket) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::array<char, answered> buffer = {};
    while (::recv(socket, buffer.data(), buffer.size(), 0) > 0)
      if (::send(socket, buffer.data(), answered, 0) < 0) break;
    ::_exit(0);
  }
  int socket_ = -1;
  pid_t process_ = 0;
};

// The number of the service's last commit, as its store's file tells.
class CommitCounter {
 public:
  explicit CommitCounter(const char *uri) {
    if (mdb_env_create(&environment_) != 0) fail("LMDB", "no memory");
    const int code = mdb_env_open(environment_, host::store_path(uri).c_str(), MDB_NOSUBDIR | MDB_RDONLY, 0);
    if (code != 0) fail("LMDB", mdb_strerror(code));
  }
  ~CommitCounter() { mdb_env_close(environment_); }
  CommitCounter(const CommitCounter &) = delete;
  CommitCounter &operator=(const CommitCounter &) = delete;

  std::size_t last() const {
    MDB_envinfo info = {};
    mdb_env_info(environment_, &info);
    return info.me_last_txnid;
  }

 private:
  MDB_env *environment_ = nullptr;
};

struct Contender {
  const char *name;
  int calls;
  std::function<void()> call;
  std::vector<double> samples = {};
};

void take_turns(std::vector<Contender> *contenders) {
  for (int round = 0; round < rounds; round++)
    for (Contender &contender : *contenders)
      for (int i = 0; i < contender.calls; i++)
        contender.samples.push_back(microseconds(contender.call));
}

void report(const std::string &name, const Contender &ours, const Contender &peer, double goal) {
  print_row(name, "us", ours.samples, peer.samples, peer.name, goal);
}

void compare_shows(const PingPong &ping_pong, const DBusPeer &bus, Placement placement) {
  const bool one_core = placement == Placement::one_core;
  const std::string name = one_core ? "show request, one core" : "show request, two cores";
  place(placement);
  std::vector<Contender> contenders = {{"ours", show_calls, Service::show},
                                       {"ping-pong", show_calls, [&] { ping_pong.play(); }},
                                       {"message bus", show_calls, [&] { bus.ask(show_request); }}};
  take_turns(&contenders);
  report(name, contenders[0], contenders[1], 1.4);
  report(name + ", beside a bus", contenders[0], contenders[2], 0.25);
}

void compare_shows(const std::string &directory) {
  const PingPong ping_pong;
  const DBusPeer bus(directory, show_reply);
  compare_shows(ping_pong, bus, Placement::one_core);
  if (has_two_cores()) compare_shows(ping_pong, bus, Placement::two_cores);
}

void compare_durable(const std::string &directory, int schedules) {
  const DurablePeer peer(directory + "/bare.mdb", {frame_header + define_request, frame_header, job_text}, schedules);
  place(Placement::one_core);
  char letter = 'a', bare_letter = 'a';
  const auto next = [](char *c) { return *c = *c == 'z' ? 'a' : static_cast<char>(*c + 1); };
  std::vector<Contender> contenders = {{"ours", durable_calls, [&] { Service::define(next(&letter)); }},
                                       {"trip, commit", durable_calls, [&] { peer.ask(next(&bare_letter)); }}};
  const CommitCounter commits("running:scheduler_runtime");
  const std::size_t before = commits.last();
  take_turns(&contenders);
  if (commits.last() - before != std::size_t{rounds} * durable_calls) fail("durable", "not one commit for each");
  report("durable request", contenders[0], contenders[1], 1.2);
}

int run(const std::string &directory, int schedules) {
  const std::string state = directory + "/state";
  host::use_paths(host::resolve_paths(state.c_str()));
  const Service service(directory, schedules);
  Service::define('a');
  compare_shows(directory);
  compare_durable(directory, schedules);
  return 0;
}

}  // namespace

}  // namespace bench

int main(int count, char **arguments) {
  return count == 3 ? bench::run(arguments[1], std::atoi(arguments[2])) : 2;
}
