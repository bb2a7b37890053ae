// SPDX-License-Identifier: Apache-2.0
#include "tests/service/world.h"

#include <pwd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "control/operations.h"
#include "host/files/paths.h"
#include "host/guard.h"
#include "host/status.h"
#include "host/store/store.h"
#include "host/sysmgr.h"
#include "platform/memory.h"
#include "service/configuration/apply.h"
#include "service/request/control.h"
#include "service/request/dispatch.h"
#include "service/run/run_record.h"
#include "service/settings_in_use.h"
#include "service/state/job_text.h"
#include "service/state/startup.h"
#include "service/state/tables.h"

namespace {

time_t clock_offset = 0, clock_stands_at = 0;

timespec machine_clock(clockid_t clock) {
  timespec now = {};
  syscall(SYS_clock_gettime, clock, &now);
  return now;
}

time_t machine_time() {
  return machine_clock(CLOCK_REALTIME).tv_sec;
}

}  // namespace

// The clock of everything in this process, the libraries included.
extern "C" int clock_gettime(clockid_t clock, timespec *now) noexcept {
  *now = machine_clock(clock);
  if (clock != CLOCK_REALTIME) return 0;
  if (clock_stands_at != 0) *now = {clock_stands_at, 0};
  if (clock_stands_at == 0) now->tv_sec += clock_offset;
  return 0;
}

extern "C" time_t time(time_t *out) noexcept {
  const time_t now = clock_stands_at != 0 ? clock_stands_at : machine_time() + clock_offset;
  if (out != nullptr) *out = now;
  return now;
}

namespace service_test {
namespace {

template <typename Record>
void put(Bytes *target, const Record &record) {
  const auto *start = reinterpret_cast<const std::byte *>(&record);
  target->insert(target->end(), start, start + sizeof record);
}

template <typename Record>
Bytes bytes_of(const Record &record) {
  Bytes bytes;
  put(&bytes, record);
  return bytes;
}

// A text as long as its field, or longer, leaves it without a terminator.
template <size_t size>
void set(char (&field)[size], const std::string &text) {
  text.copy(field, size);
}

host::Caller user(const char *name) {
  const passwd *entry = getpwnam(name);
  if (entry == nullptr) throw std::runtime_error(std::string("no user ") + name);
  host::Caller caller;
  caller.uid = caller.peer_uid = entry->pw_uid;
  caller.gid = entry->pw_gid;
  caller.user_name = name;
  return caller;
}

void free_email_list() {
  for (GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
    mtrack_free(node->data);
  g_list_free(sch_schedule_email_list);
  sch_schedule_email_list = nullptr;
}

}  // namespace

void set_clock(time_t now) {
  clock_stands_at = now;
}

void run_clock_from(time_t now) {
  clock_stands_at = 0;
  clock_offset = now - machine_time();
}

Directory::Directory() {
  path_ = std::filesystem::temp_directory_path() / "schedcli-service-XXXXXX";
  if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
}

Directory::~Directory() {
  if (is_ours_) std::filesystem::remove_all(path_);
}

World::Parts::Parts(const service::Runner::Options &options)
    : recorder(log),
      runner(recorder, options),
      scheduler(recorder, runner, *options.settings),
      context{service::Authority(true, {0, "root"}), log, runner, scheduler, false, options.settings},
      pending_configuration(context) {
  context.pending_configuration = &pending_configuration;
}

World::World(service::Runner::Options chosen) : options(std::move(chosen)) {
  options.processes.starter = SCHEDD_STARTER_BUILT;
  options.processes.pam = false;  // whatever this machine has
  setenv("TZ", "UTC", 1);
  set_clock(noon);
  start();
  const host::Answer enabled = service::control({parts->context, root()}, control::Operation::enable_feature, {});
  if (enabled.status != 0) throw std::runtime_error("the feature cannot be enabled");
}

World::World(std::string existing_directory, time_t now) : directory(std::move(existing_directory)) {
  options.processes.starter = SCHEDD_STARTER_BUILT;
  options.processes.pam = false;
  setenv("TZ", "UTC", 1);
  set_clock(now);
  start();
}

World::~World() {
  stop();
}

uint32_t World::try_start(std::string *error) {
  host::use_paths(host::resolve_paths((directory.path() + "/state").c_str()));
  for (const auto &step : {std::function([&] { return service::open_stores(settings, time(nullptr)); }),
                           std::function([] { return service::settle_stores(); })})
    if (const host::Result<void> done = step(); !done) {
      *error = done.error().text;
      return 1;
    }
  options.settings = std::make_shared<const service::Settings>(settings);
  parts = std::make_unique<Parts>(options);
  if (const auto opened = parts->log.open(service::stored_outcomes()); !opened) {
    *error = opened.error().text;
    return 1;
  }
  service::settle_configuration();
  parts->scheduler.recover();
  parts->pending_configuration.confirmation.start();
  parts->scheduler.check();
  return host::sysmgr_mark_started() ? 0 : 1;
}

void World::start() {
  std::string error;
  if (try_start(&error) != 0) throw std::runtime_error(error);
}

void World::stop() {
  parts.reset();
  sch_pss_close_handles(nullptr);
  if (debug_pss_running != 0) pss_close(debug_pss_running);
  pss_running = pss_running_db = debug_pss_running = 0;
  sch_free_config(&sch_running_config);
  service::rebuild_tables();
  free_email_list();
  email_transport_conf = SCH_EMAIL_TRANSPORT_INITIALIZER;
  sch_log_file = SCH_LOG_FILE_INITIALIZER;
  scheduler_enabled = 0;
}

void World::use(const service::Settings &other) {
  settings = other;
  service::use(parts->context, std::make_shared<const service::Settings>(settings));
}

void World::restart() {
  stop();
  start();
}

void World::boot() {
  stop();
  std::filesystem::remove(directory.path() + "/state/boot");
  start();
}

host::Answer World::send(const host::Caller &caller, uint32_t service, uint32_t opcode, const Bytes &payload) {
  Bytes record;
  put(&record, sch_request_header{opcode, static_cast<uint32_t>(payload.size())});
  record.insert(record.end(), payload.begin(), payload.end());
  host::Incoming incoming;
  incoming.service = service;
  incoming.body = record;
  incoming.caller = caller;
  host::Answer no_memory;
  no_memory.status = host::err_no_memory;
  return host::guarded([&] { return service::dispatch(parts->context, incoming); }, [&] { return no_memory; });
}

void World::run_to_the_end() {
  while (parts->runner.under_way() > 0)
    loop.turn();
}

void World::settle() {
  while (parts->runner.under_way() > 0 || parts->recorder.failing() || parts->recorder.waiting() > 0)
    loop.turn();
}

host::Caller root() {
  return user("root");
}
host::Caller daemon_user() {
  return user("daemon");
}
host::Caller nobody() {
  return user("nobody");
}

host::Caller remote_user() {
  host::Caller caller;
  caller.uid = caller.peer_uid = 4000000;
  caller.user_name = "remote-user";
  return caller;
}

Bytes bytes(std::string_view text) {
  const auto *start = reinterpret_cast<const std::byte *>(text.data());
  return {start, start + text.size()};
}

Bytes job_payload(const std::string &name, const std::string &text) {
  sch_job_request record = {};
  set(record.head.name, name);
  record.text_length = static_cast<uint32_t>(text.size());
  Bytes payload = bytes_of(record);
  const Bytes behind = bytes(text);
  payload.insert(payload.end(), behind.begin(), behind.end());
  return payload;
}

Bytes schedule_payload(const std::string &name) {
  sch_named_request record = {};
  set(record.name, name);
  return bytes_of(record);
}

Bytes modify_payload(const std::string &schedule, uint32_t subcommand, bool negate, const std::string &job,
                     const sch_tminfo &time) {
  sch_modify_request record = {};
  record.negate = negate;
  record.subcommand = subcommand;
  set(record.schedule, schedule);
  set(record.job, job);
  record.time = time;
  return bytes_of(record);
}

Bytes time_payload(const std::string &schedule, const sch_tminfo &time) {
  return modify_payload(schedule, time.type, false, "", time);
}

Bytes log_payload(const std::string &name, const std::string &uri, uint32_t size) {
  sch_log_file_request record = {};
  set(record.name, name);
  set(record.uri, uri);
  record.size = size;
  return bytes_of(record);
}

Bytes show_payload(const std::string &name, int32_t cursor) {
  sch_show_request record = {};
  set(record.name, name);
  record.cursor = cursor;
  return bytes_of(record);
}

Bytes address_payload(uint8_t operation, const std::string &schedule, const std::string &address) {
  sch_schedule_email_request record = {};
  record.operation = operation;
  set(record.schedule, schedule);
  set(record.address, address);
  return bytes_of(record);
}

sch_tminfo daily(int hour, int minute) {
  sch_tminfo time = {};
  time.type = SCH_SCHEDULE_DAILY;
  time.hour = hour;
  time.minute = minute;
  return time;
}

sch_tminfo once(int hour, int minute) {
  sch_tminfo time = daily(hour, minute);
  time.type = SCH_SCHEDULE_ONESHOT;
  time.day_of_month = 21;
  time.month = 10;
  time.year = 126;
  return time;
}

sch_tminfo every(int minutes, time_t start) {
  sch_tminfo time = {};
  time.type = SCH_SCHEDULE_PERIODIC;
  time.minute = minutes;
  time.start_time = static_cast<int32_t>(start);
  return time;
}

uint32_t create_job(World &world, const std::string &name, const std::string &text, const host::Caller &caller) {
  const uint32_t status = world.send(caller, SCH_SERVICE_CONFIG, SCH_OP_CREATE_JOB, job_payload(name)).status;
  if (status != 0 || text.empty()) return status;
  return world.send(caller, SCH_SERVICE_CONFIG, SCH_OP_DEFINE_JOB, job_payload(name, text)).status;
}

uint32_t create_schedule(World &world, const std::string &name, const std::vector<std::string> &jobs,
                         const sch_tminfo &time, const host::Caller &caller) {
  uint32_t status = world.send(caller, SCH_SERVICE_CONFIG, SCH_OP_CREATE_SCHEDULE, schedule_payload(name)).status;
  for (const std::string &job : jobs)
    if (status == 0)
      status = world
                   .send(caller, SCH_SERVICE_CONFIG, SCH_OP_MODIFY_SCHEDULE,
                         modify_payload(name, SCH_MODIFY_JOB, false, job))
                   .status;
  if (status != 0 || time.type == SCH_SCHEDULE_NONE) return status;
  return world.send(caller, SCH_SERVICE_CONFIG, SCH_OP_MODIFY_SCHEDULE, time_payload(name, time)).status;
}

std::vector<Logged> log_of(World &world, const host::Caller &caller, const std::string &name) {
  std::vector<Logged> log;
  const host::Answer answer = world.send(caller, SCH_SERVICE_SHOW, SCH_OP_SHOW_LOG, show_payload(name));
  while (answer.next) {
    const std::optional<Bytes> message = answer.next();
    if (!message) break;
    sch_log_entry entry;
    std::memcpy(&entry, message->data(), sizeof entry);
    if (entry.count == 0) break;
    if (log.size() < entry.number)
      log.push_back({entry.job, entry.schedule, entry.user, "", entry.wait_status >> 8 & 0xff, entry.completion});
    log.back().output.append(reinterpret_cast<const char *>(message->data()) + sizeof entry, entry.piece_length);
  }
  return log;
}

std::string shown_text(World &world, const std::string &job) {
  const host::Answer answer = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_JOB, show_payload(job));
  if (!answer.reply) return "(none)";
  sch_show_job_reply fixed;
  std::memcpy(&fixed, answer.reply->data(), sizeof fixed);
  const std::string text(reinterpret_cast<const char *>(answer.reply->data()) + sizeof fixed,
                         answer.reply->size() - sizeof fixed);
  return static_cast<size_t>(fixed.length) == text.size() ? text : "(of another length than it says)";
}

int stored_records(pss_handle store) {
  int count = 0;
  pss_cursor cursor = {};
  for (const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor); key != nullptr;
       key = pss_move2location(store, PSS_NEXT, &cursor))
    count++;
  return count;
}

service::ScheduleState state_of_schedule(const std::string &name) {
  return service::state_of(*service::find_schedule(name)->rec);
}

std::string configuration() {
  std::string text = "enabled " + std::to_string(scheduler_enabled) + "\n";
  const auto hex = [](const void *data, size_t size) {
    std::string digits;
    for (size_t i = 0; i < size; i++) {
      char pair[3];
      std::snprintf(pair, sizeof pair, "%02x", static_cast<const unsigned char *>(data)[i]);
      digits += pair;
    }
    return digits;
  };
  service::for_each_job([&](const sch_job_entry &slot, uint32_t id) {
    text += "job " + std::to_string(id) + " " + service::name_of(*slot.key) + " " + hex(slot.hdr, sizeof *slot.hdr) +
            "\n" + service::job_text(slot) + "\n";
    for (GList *node = slot.status_list; node != nullptr; node = node->next)
      text += "status " + hex(node->data, sizeof(sch_runtime_job_status)) + "\n";
  });
  service::for_each_schedule([&](const sch_schedule_entry &entry) {
    text += "schedule " + service::name_of(*entry.key) + " " + hex(entry.rec, sizeof *entry.rec) + "\n";
  });
  std::set<std::string> addresses;  // found by their schedule's name, so that their order is nobody's
  for (GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
    addresses.insert("addresses " + hex(node->data, sizeof(sch_schedule_email_entry)) + "\n");
  for (const std::string &entry : addresses)
    text += entry;
  text += "transport " + hex(&email_transport_conf, sizeof email_transport_conf) + "\n";
  return text + "log " + hex(sch_log_file.name, sizeof sch_log_file - 8) + "\n";
}

}  // namespace service_test
