// SPDX-License-Identifier: Apache-2.0
// Every operation of the service for every kind of caller. The table is complete: what the service answers and the
// table does not name is a failure.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>

#include "control/configuration.h"
#include "control/statuses.h"
#include "host/security/account_state.h"
#include "host/security/record.h"
#include "host/status.h"
#include "service/request/dispatch.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using control::Operation;
using ::testing::UnorderedElementsAreArray;

// member: of a group that may configure; configurer: also with the password that runs need.
enum class Whose { everybodys, members, configurers, administrators };

constexpr uint32_t of_lists = SCH_SERVICE_CONFIG, of_shows = SCH_SERVICE_SHOW;

struct Entry {
  uint32_t service, number;
  Whose whose;
  bool needs_account = false;  // one that is not closed
};

constexpr Entry own(Operation operation, Whose whose, bool needs_account = false) {
  return {host::service_control, static_cast<uint32_t>(operation), whose, needs_account};
}
constexpr Entry own_change(Operation operation, Whose whose) {
  return own(operation, whose, true);
}
constexpr Entry listed(uint32_t opcode, Whose whose) {
  return {of_lists, opcode, whose, true};
}

constexpr Entry table[] = {
    {of_shows, SCH_OP_SHOW_SCHEDULE, Whose::everybodys},
    {of_shows, SCH_OP_SHOW_JOB, Whose::everybodys},
    {of_shows, SCH_OP_SHOW_LOG, Whose::everybodys},
    {of_shows, SCH_OP_SHOW_LOG_CONFIG, Whose::everybodys},
    {of_shows, SCH_OP_SHOW_EMAIL_CONFIG, Whose::everybodys},
    listed(SCH_OP_CREATE_JOB, Whose::configurers),
    listed(SCH_OP_DEFINE_JOB, Whose::configurers),
    listed(SCH_OP_DELETE_JOB, Whose::configurers),
    listed(SCH_OP_CREATE_SCHEDULE, Whose::configurers),
    listed(SCH_OP_MODIFY_SCHEDULE, Whose::configurers),
    listed(SCH_OP_DELETE_SCHEDULE, Whose::configurers),
    listed(SCH_OP_SCHEDULE_EMAIL, Whose::configurers),
    listed(SCH_OP_RESIZE_LOG, Whose::administrators),
    listed(SCH_OP_RENAME_LOG, Whose::administrators),
    listed(SCH_OP_CLEAR_LOG, Whose::administrators),
    listed(SCH_OP_SET_EMAIL_FROM, Whose::administrators),
    listed(SCH_OP_CLEAR_EMAIL_FROM, Whose::administrators),
    listed(SCH_OP_SET_EMAIL_REPLYTO, Whose::administrators),
    listed(SCH_OP_CLEAR_EMAIL_REPLYTO, Whose::administrators),
    listed(SCH_OP_SET_EMAIL_SMTP, Whose::administrators),
    listed(SCH_OP_CLEAR_EMAIL_SMTP, Whose::administrators),
    own(Operation::enable_feature, Whose::administrators),
    own(Operation::disable_feature, Whose::administrators),
    own(Operation::memory_statistics, Whose::administrators),
    own(Operation::history, Whose::administrators),
    own(Operation::copy_running_startup, Whose::administrators),
    own(Operation::erase_startup, Whose::administrators),
    own(Operation::set_logging_level, Whose::administrators),
    own(Operation::take_over, Whose::administrators),
    own(Operation::metrics, Whose::administrators),
    own(Operation::security_read, Whose::everybodys),
    own_change(Operation::security_store, Whose::members),
    own_change(Operation::security_remove, Whose::everybodys),
    own(Operation::security_authenticate, Whose::everybodys),
    own_change(Operation::run_schedule, Whose::configurers),
    own_change(Operation::enable_schedule, Whose::configurers),
    own_change(Operation::disable_schedule, Whose::configurers),
    own_change(Operation::rename, Whose::configurers),
    own_change(Operation::apply_configuration, Whose::configurers),
    own_change(Operation::kill_run, Whose::everybodys),
    own_change(Operation::put_configuration, Whose::everybodys),
    own_change(Operation::confirm_configuration, Whose::everybodys),
    own(Operation::running_text, Whose::everybodys),
    own(Operation::startup_text, Whose::everybodys),
    own(Operation::get_logging_level, Whose::everybodys),
    own(Operation::get_zone, Whose::everybodys),
    own(Operation::status, Whose::everybodys),
    own(Operation::show_history, Whose::everybodys),
    own(Operation::show_upcoming, Whose::everybodys),
    own(Operation::find, Whose::everybodys),
    own(Operation::names, Whose::everybodys),
    own(Operation::log_uri, Whose::everybodys),
    own(Operation::overview, Whose::everybodys),
    own(Operation::explain_time, Whose::everybodys),
    own(Operation::show_log, Whose::everybodys),
    own(Operation::raw_output, Whose::everybodys),
    own(Operation::configuration_entry, Whose::everybodys),
    own(Operation::configuration_history, Whose::everybodys),
    own(Operation::jobs, Whose::everybodys),
    own(Operation::schedules, Whose::everybodys),
    own(Operation::scheduler_config, Whose::everybodys),
    own(Operation::configuration_difference, Whose::everybodys),
    own(Operation::version, Whose::everybodys),
    own(Operation::limits, Whose::everybodys),
};

constexpr size_t largest_record = 1024;
constexpr uint32_t numbers = 256;  // more than the service has

// Not one of what follows: it does what was asked, or has something else against it.
constexpr uint32_t passes = 0;
const std::set<uint32_t> refusals = {host::err_not_permitted, control::err_not_allowed, SCH_STATUS_NO_PASSWORD,
                                     SCH_STATUS_NO_USER_NAME, host::err_account_refused};

// Whoever reads or removes a password that there is not is told so, and is not refused.
bool is_refusal(uint32_t status, const Entry &entry) {
  return refusals.contains(status) && (status != SCH_STATUS_NO_PASSWORD || entry.whose == Whose::configurers);
}

struct Expected {
  uint32_t everybodys = passes, members = passes, configurers = passes, administrators = passes;
  uint32_t of(Whose whose) const {
    switch (whose) {
      case Whose::everybodys:
        return everybodys;
      case Whose::members:
        return members;
      case Whose::configurers:
        return configurers;
      default:
        return administrators;
    }
  }
};

class Rights : public ::testing::Test {
 protected:
  Rights() {
    EXPECT_EQ(create_job(world, "job", "true\n", nobody()), 0u);
    EXPECT_EQ(create_schedule(world, "schedule", {}, {}, nobody()), 0u);
  }
  ~Rights() override { host::use_shadow_file("/etc/shadow"); }

  host::Answer send(const host::Caller &caller, uint32_t service, uint32_t number, const Bytes &payload) {
    if (service != host::service_control) return world.send(caller, service, number, payload);
    const Bytes body = query(number, std::string(reinterpret_cast<const char *>(payload.data()), payload.size()));
    host::Incoming incoming;
    incoming.caller = caller;
    incoming.service = service;
    incoming.body = body;
    return service::dispatch(world.parts->context, incoming);
  }

  // What decides only behind the look at the payload has one that is right for the caller; any other is of the right
  // size and holds nothing.
  Bytes payload_of(const Entry &entry, const host::Caller &caller) {
    if (entry.service == host::service_control) switch (static_cast<Operation>(entry.number)) {
        case Operation::security_read:
        case Operation::security_store:
        case Operation::security_remove:
        case Operation::security_authenticate:
          return query(host::security_record(caller.user_name, host::security_form_clear, "secret"));
        case Operation::apply_configuration: {
          control::ConfigurationOrder order = {};
          order.source = static_cast<uint32_t>(control::ConfigurationSource::entry);
          return query(order);
        }
        case Operation::rename:
          return query(control::ObjectKind::job, std::string_view("job\0job", 7));
        default:
          break;
      }
    return Bytes(size_of(entry));
  }

  size_t size_of(const Entry &entry) {
    static std::map<std::pair<uint32_t, uint32_t>, size_t> sizes;
    const auto [found, is_new] = sizes.try_emplace({entry.service, entry.number});
    size_t &size = found->second;
    while (is_new && size < largest_record &&
           send(nobody(), entry.service, entry.number, Bytes(size)).status == host::err_bad_request)
      size++;
    EXPECT_LT(size, largest_record) << "no payload is right for " << entry.number;
    return size;
  }

  void expect(const host::Caller &caller, const Expected &expected, uint32_t of_closed = passes) {
    for (const Entry &entry : table) {
      const Bytes payload = payload_of(entry, caller);
      service::control({world.parts->context, root()}, Operation::enable_feature, {});
      const uint32_t status = send(caller, entry.service, entry.number, payload).status;
      const uint32_t wanted = entry.needs_account && of_closed != passes ? of_closed : expected.of(entry.whose);
      if (wanted != passes)
        EXPECT_EQ(status, wanted) << entry.service << " " << entry.number;
      else
        EXPECT_FALSE(is_refusal(status, entry)) << entry.service << " " << entry.number << ": " << status;
      if (entry.service == host::service_control && entry.whose == Whose::administrators) {
        const uint32_t as_json =
            send(caller, entry.service, static_cast<uint32_t>(Operation::as_json), query(entry.number)).status;
        EXPECT_EQ(as_json == host::err_not_permitted, wanted == host::err_not_permitted) << entry.number;
      }
    }
  }

  void allow_group(const char *name) {
    service::Settings settings;
    settings.allow_groups = {name};
    world.use(settings);
  }

  World world;
};

TEST_F(Rights, of_all_operations_are_in_this_table) {
  std::vector<std::pair<uint32_t, uint32_t>> named, found;
  for (const Entry &entry : table)
    named.emplace_back(entry.service, entry.number);
  const auto is_known = [&](uint32_t service, uint32_t number, const Bytes &payload) {
    return send(root(), service, number, payload).status != host::err_unknown_opcode;
  };
  const auto as_json = static_cast<uint32_t>(Operation::as_json);
  for (uint32_t number = 0; number < numbers; number++) {
    for (const uint32_t service : {of_lists, of_shows})
      if (is_known(service, number, {})) found.emplace_back(service, number);
    if (number != as_json &&
        (is_known(host::service_control, number, {}) || is_known(host::service_control, as_json, query(number))))
      found.emplace_back(host::service_control, number);
  }
  EXPECT_THAT(named, UnorderedElementsAreArray(found));
}

TEST_F(Rights, of_root_are_all) {
  expect(root(), {});
}

TEST_F(Rights, of_a_user_are_those_of_everybody_and_to_configure) {
  expect(nobody(), {.administrators = host::err_not_permitted});
}

TEST_F(Rights, of_root_who_speaks_for_a_user_are_the_users) {
  host::Caller spoken_for = nobody();
  spoken_for.peer_uid = 0;
  expect(spoken_for, {.administrators = host::err_not_permitted});
}

TEST_F(Rights, of_a_user_outside_the_groups_that_configure_are_those_of_everybody) {
  allow_group("root");
  expect(nobody(), {.members = control::err_not_allowed,
                    .configurers = control::err_not_allowed,
                    .administrators = host::err_not_permitted});
}

TEST_F(Rights, of_a_user_in_a_group_that_configures_are_to_configure) {
  allow_group("daemon");
  expect(daemon_user(), {.administrators = host::err_not_permitted});
}

TEST_F(Rights, of_a_remote_user_without_a_password_are_those_of_everybody_and_to_store_one) {
  expect(remote_user(), {.configurers = SCH_STATUS_NO_PASSWORD, .administrators = host::err_not_permitted});
}

TEST_F(Rights, of_a_caller_without_a_name_are_those_of_everybody) {
  host::Caller nameless = nobody();
  nameless.user_name.clear();
  expect(nameless, {.configurers = SCH_STATUS_NO_USER_NAME, .administrators = host::err_not_permitted});
}

TEST_F(Rights, of_a_user_whose_account_is_closed_change_nothing) {
  const std::string shadow = world.directory.path() + "/shadow";
  std::ofstream(shadow) << "nobody:!$6$salt$hash-of-a-password:19000:0:99999:7:::\n";
  host::use_shadow_file(shadow.c_str());
  expect(nobody(), {.administrators = host::err_not_permitted}, host::err_account_refused);
}

TEST_F(Rights, of_the_user_whom_a_service_serves_alone_are_all) {
  world.parts->context.authority = service::Authority(false, {nobody().uid, "nobody"});
  expect(nobody(), {});
}

// Whose name begins as another's, or goes on behind it, is another.
TEST_F(Rights, on_a_password_are_of_the_very_name) {
  for (const char *other : {"nobod", "nobody2", "Nobody", "n", "", "root"}) {
    const sch_security_user_rec record = host::security_record(other, host::security_form_clear, "secret");
    for (const Operation operation : {Operation::security_read, Operation::security_store, Operation::security_remove,
                                      Operation::security_authenticate})
      EXPECT_EQ(send(nobody(), host::service_control, static_cast<uint32_t>(operation), query(record)).status,
                host::err_not_permitted)
          << other;
  }
}

}  // namespace
}  // namespace service_test
