// SPDX-License-Identifier: Apache-2.0
// The real program: its options, its exit codes, its one instance, its users.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/store.h"
#include "host/transport/frame.h"
#include "host/transport/transport.h"
#include "schedcli.h"
#include "tests/service/program_fixture.h"

namespace service_test {
namespace {

using ::testing::HasSubstr;

std::string written(const std::string &path, const std::string &text) {
  std::ofstream(path) << text;
  chmod(path.c_str(), 0600);
  return path;
}

TEST_F(ServiceProgram, it_says_when_it_is_ready_whom_it_serves_and_ends_in_order) {
  Program program({"--state-dir", state}, notify_path);
  EXPECT_EQ(told(), "READY=1");
  EXPECT_EQ(program.end(SIGTERM), 0);
  EXPECT_EQ(told(), "STOPPING=1");
  EXPECT_EQ(told(), "EXTEND_TIMEOUT_USEC=35000000");
  const std::string whom =
      geteuid() == 0 ? "as root, serves root alone, as other users cannot pass " + directory : " alone";
  const std::string output = program.output();
  EXPECT_THAT(output, HasSubstr(whom));
  EXPECT_THAT(output, HasSubstr("state directory " + state + ", socket " + state + "/run/schedd.sock"));
  EXPECT_FALSE(std::filesystem::exists(state + "/run/schedd.sock"));
}

TEST_F(ServiceProgram, a_second_instance_on_the_state_directory_is_refused) {
  Program first({"--state-dir", state}, notify_path);
  ASSERT_EQ(told(), "READY=1");
  Program second({"--state-dir", state});
  EXPECT_EQ(second.wait(), 3);
  EXPECT_THAT(second.output(), HasSubstr("serves this directory already"));
  EXPECT_EQ(first.end(SIGINT), 0);
}

TEST_F(ServiceProgram, root_serves_all_users_only_where_they_can_reach_the_socket) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to serve all users";
  ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
  Program program({"--state-dir", state}, notify_path, 0, SCHEDD_PATH, {"SCHEDCLI_RUN_DIR=" + directory + "/run"});
  ASSERT_EQ(told(), "READY=1");
  EXPECT_EQ(program.end(SIGTERM), 0);
  EXPECT_THAT(program.output(), HasSubstr("as root, serves all users; state directory"));
}

TEST_F(ServiceProgram, a_second_service_on_a_run_directory_is_refused_and_leaves_the_socket_alone) {
  const std::vector<std::string> shared = {"SCHEDCLI_RUN_DIR=" + directory + "/run"};
  Program first({"--state-dir", state}, notify_path, geteuid(), SCHEDD_PATH, shared);
  ASSERT_EQ(told(), "READY=1");
  struct stat before = {}, after = {};
  ASSERT_EQ(stat((directory + "/run/schedd.sock").c_str(), &before), 0);
  Program second({"--state-dir", directory + "/other"}, {}, geteuid(), SCHEDD_PATH, shared);
  EXPECT_EQ(second.wait(), 3);
  EXPECT_THAT(second.output(), HasSubstr(directory + "/run/service.lock: process "));
  ASSERT_EQ(stat((directory + "/run/schedd.sock").c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
}

// What a supervisor does at each restart.
TEST_F(ServiceProgram, a_restart_without_its_run_directory_keeps_what_was_not_saved) {
  const std::string conf = written(directory + "/conf", "[service]\nboot-from=startup\n");
  const std::vector<std::string> arguments = {"--state-dir", state, "--config", conf, "--foreground"};
  host::use_paths(host::resolve_paths(state.c_str()));
  for (const bool restarted : {false, true}) {
    Program program(arguments, notify_path);
    ASSERT_EQ(told(), "READY=1");
    EXPECT_EQ(control::ask_service(control::Operation::enable_feature).code(),
              restarted ? host::err_feature_enabled : 0u);
    if (!restarted) {
      EXPECT_EQ(control::ask_service(control::Operation::disable_feature).code(), 0u);
      EXPECT_EQ(control::ask_service(control::Operation::copy_running_startup).code(), 0u);
      EXPECT_EQ(control::ask_service(control::Operation::enable_feature).code(), 0u);
    }
    EXPECT_EQ(program.end(SIGTERM), 0);
    told();  // that it stops
    told();  // and how long that may take
    std::filesystem::remove_all(state + "/run");
  }
  Program booted(arguments, notify_path, geteuid(), SCHEDD_PATH, {"SCHEDCLI_BOOT_ID=another"});
  ASSERT_EQ(told(), "READY=1");
  EXPECT_EQ(control::ask_service(control::Operation::enable_feature).code(), 0u);
}

TEST_F(ServiceProgram, wrong_options_are_told_apart_from_failures) {
  for (const std::vector<std::string> &arguments : {std::vector<std::string>{"--no-such-option"},
                                                    {"argument"},
                                                    {"--debug", "x"},
                                                    {"--debug", "256"},
                                                    {"--store-limit", "0"},
                                                    {"--store-limit", "1025"},
                                                    {"--store-limit", "1M"},
                                                    {"--interpreter", "sh"},
                                                    {"--interpreter", "/no/such"},
                                                    {"--state-dir", ""},
                                                    {"--config", ""},
                                                    {"--check", "x"},
                                                    {"--state-dir"}})
    EXPECT_EQ(Program(arguments).wait(), 2) << arguments[0];
  Program help({"--help"}), version({"--version"});
  EXPECT_EQ(help.wait(), 0);
  EXPECT_THAT(help.output(), HasSubstr("Usage:\n  schedd "));
  EXPECT_EQ(version.wait(), 0);
  EXPECT_THAT(version.output(), HasSubstr("schedd 1."));
}

TEST_F(ServiceProgram, check_says_whether_the_settings_are_right_and_starts_nothing) {
  const std::string right = written(directory + "/right", "[runs]\nparallel=3\n");
  const std::string wrong = written(directory + "/wrong", "[runs]\nparallel=x\n[nothing]\n");
  Program accepted({"--check", "--config", right, "--state-dir", state});
  EXPECT_EQ(accepted.wait(), 0);
  EXPECT_EQ(accepted.output(), right + ": right\n");
  Program refused({"--check", "--config", wrong, "--state-dir", state});
  EXPECT_EQ(refused.wait(), 2);
  const std::string output = refused.output();
  EXPECT_THAT(output, HasSubstr(wrong + ":2: 'x' is not allowed for parallel; it takes a number from 1 to 1000\n"));
  EXPECT_THAT(output, HasSubstr(wrong + ":3: [nothing] is no group"));
  EXPECT_EQ(Program({"--check", "--config", directory + "/none"}).wait(), 2);
  EXPECT_FALSE(std::filesystem::exists(state));
}

TEST_F(ServiceProgram, a_state_directory_of_a_newer_version_ends_it_with_a_status_that_prevents_restarts) {
  std::filesystem::create_directory(state);
  std::filesystem::permissions(state, std::filesystem::perms::owner_all);
  written(state + "/version", "99\n");
  Program service({"--foreground", "--state-dir", state});
  EXPECT_EQ(service.wait(), 4);
  EXPECT_THAT(service.output(), HasSubstr("was written by a newer version of the service (99, "));
}

TEST_F(ServiceProgram, wrong_settings_are_refused_at_the_start) {
  Program refused(
      {"--state-dir", state, "--config", written(directory + "/conf", "[service]\ninterpreter=/no/such\n")});
  EXPECT_EQ(refused.wait(), 2);
  EXPECT_THAT(refused.output(), HasSubstr("conf:2: '/no/such' is not allowed for interpreter"));
  EXPECT_FALSE(std::filesystem::exists(state));
}

TEST_F(ServiceProgram, a_hangup_reads_the_settings_again_or_leaves_them_and_says_either) {
  const std::string conf = written(directory + "/conf", "[runs]\nparallel=3\n");
  Program program({"--state-dir", state, "--config", conf, "--foreground"}, notify_path);
  ASSERT_EQ(told(), "READY=1");
  written(conf, "[runs]\nparallel=0\n");
  program.signal(SIGHUP);
  EXPECT_THAT(told(), ::testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+"));
  EXPECT_EQ(told(), "READY=1");
  written(conf, "[runs]\nparallel=4\n[service]\nstore-limit=7\n");
  program.signal(SIGHUP);
  EXPECT_THAT(told(), HasSubstr("RELOADING=1"));
  EXPECT_EQ(told(), "READY=1");
  EXPECT_EQ(program.end(SIGTERM), 0);
  const std::string output = program.output();
  EXPECT_THAT(output, HasSubstr("settings: " + conf + ":2: '0' is not allowed for parallel"));
  EXPECT_THAT(output, HasSubstr("settings: not read again, those in use stay"));
  EXPECT_THAT(output, HasSubstr("settings: store-limit=7 takes effect when the service starts again"));
  EXPECT_THAT(output, HasSubstr("settings: read again"));
}

TEST_F(ServiceProgram, messages_that_nobody_reads_are_not_its_end) {
  const std::string conf = written(directory + "/conf", "[runs]\nparallel=3\n");
  Program program({"--state-dir", state, "--config", conf, "--foreground"}, notify_path);
  ASSERT_EQ(told(), "READY=1");
  program.close_output();
  program.signal(SIGHUP);
  EXPECT_THAT(told(), HasSubstr("RELOADING=1"));
  EXPECT_EQ(told(), "READY=1");
  EXPECT_EQ(program.end(SIGTERM), 0);
}

TEST_F(ServiceProgram, the_supervisors_watchdog_hears_from_the_main_loop_again_and_again) {
  Program program({"--state-dir", state}, notify_path, geteuid(), SCHEDD_PATH, {"WATCHDOG_USEC=20000"});
  ASSERT_EQ(told(), "READY=1");
  for (int i = 0; i < 3; i++)
    EXPECT_EQ(told(), "WATCHDOG=1");
}

TEST_F(ServiceProgram, a_watchdog_of_another_process_is_not_served) {
  Program program({"--state-dir", state}, notify_path, geteuid(), SCHEDD_PATH,
                  {"WATCHDOG_USEC=20000", "WATCHDOG_PID=1"});
  ASSERT_EQ(told(), "READY=1");
  EXPECT_EQ(program.end(SIGTERM), 0);
  EXPECT_EQ(told(), "STOPPING=1");
}

TEST_F(ServiceProgram, a_supervisor_waits_as_long_as_the_runs_have_to_end_in) {
  const std::string conf = written(directory + "/conf", "[runs]\nstop-grace=600\n");
  Program program({"--state-dir", state, "--config", conf}, notify_path, geteuid(), SCHEDD_PATH,
                  {"WATCHDOG_USEC=600000000"});
  ASSERT_EQ(told(), "READY=1");
  EXPECT_EQ(told(), "WATCHDOG=1");
  EXPECT_EQ(program.end(SIGTERM), 0);
  EXPECT_EQ(told(), "STOPPING=1");
  EXPECT_EQ(told(), "EXTEND_TIMEOUT_USEC=630000000\nWATCHDOG_USEC=630000000");
}

TEST_F(ServiceProgram, in_standby_it_is_ready_and_says_when_it_takes_over) {
  Program program({"--state-dir", state, "--standby"}, notify_path);
  ASSERT_EQ(told(), "READY=1\nSTATUS=in standby");
  host::use_paths(host::resolve_paths(state.c_str()));
  EXPECT_EQ(control::ask_service(control::Operation::enable_feature).code(), control::err_standby);
  program.signal(SIGUSR1);
  EXPECT_EQ(told(), "STATUS=active");
  EXPECT_EQ(control::ask_service(control::Operation::enable_feature).code(), 0u);
  EXPECT_EQ(control::ask_service(control::Operation::take_over).code(), control::err_active);
  program.signal(SIGUSR1);  // there is nothing to take over any more: the signal does nothing
  EXPECT_EQ(program.end(SIGTERM), 0);
  EXPECT_THAT(program.output(), HasSubstr(", in standby; state directory " + state));
}

TEST_F(ServiceProgram, a_take_over_of_stores_that_cannot_be_used_ends_the_service) {
  Program program({"--state-dir", state, "--standby"}, notify_path);
  ASSERT_EQ(told(), "READY=1\nSTATUS=in standby");
  host::use_paths(host::resolve_paths(state.c_str()));
  std::filesystem::create_directory(state + "/security.key");
  EXPECT_EQ(control::ask_service(control::Operation::take_over).code(), host::err_io);
  EXPECT_EQ(program.wait(), 3);
}

TEST_F(ServiceProgram, a_state_directory_that_cannot_be_used_is_told_with_its_path) {
  Program program({"--state-dir", "/dev/null/state"});
  EXPECT_EQ(program.wait(), 3);
  EXPECT_THAT(program.output(), HasSubstr("/dev/null"));
}

TEST_F(ServiceProgram, a_store_that_is_no_store_is_refused_with_its_path_and_left_alone) {
  Program first({"--state-dir", state}, notify_path);
  ASSERT_EQ(told(), "READY=1");
  ASSERT_EQ(first.end(SIGTERM), 0);
  host::use_paths(host::resolve_paths(state.c_str()));
  const std::string path = host::store_path("running:scheduler_runtime");
  std::filesystem::resize_file(path, 100);
  Program second({"--state-dir", state});
  EXPECT_EQ(second.wait(), 3);
  EXPECT_THAT(second.output(), HasSubstr(path));
  EXPECT_EQ(std::filesystem::file_size(path), 100u);
}

// The build may lie where another user cannot go: the program is copied to where that user can, with its libraries.
std::string copied_program(const std::string &directory) {
  for (const char *file : {SCHEDD_PATH, SCHEDCLI_PATH, SCHEDHOST_PATH})
    std::filesystem::copy_file(file, directory / std::filesystem::path(file).filename());
  setenv("LD_LIBRARY_PATH", directory.c_str(), 1);
  return directory + "/schedd";
}

TEST_F(ServiceProgram, an_ordinary_user_is_served_alone_by_their_own_service) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  const passwd *nobody = getpwnam("nobody");
  ASSERT_EQ(chown(directory.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
  ASSERT_EQ(chmod(notify_path.c_str(), 0777), 0);
  Program program({"--state-dir", state}, notify_path, nobody->pw_uid, copied_program(directory));
  unsetenv("LD_LIBRARY_PATH");
  ASSERT_EQ(told(), "READY=1");
  host::use_paths(host::resolve_paths(state.c_str()));
  EXPECT_EQ(control::ask_service(control::Operation::enable_feature).code(), 0u);
  sch_cli_param name = {};
  name.kind = SCH_PARAM_STRING;
  name.value = "job";
  sch_cli_param *const params[] = {&name};
  sch_cli_cmd_ctx context = {};
  context.param_count = 1;
  context.params = params;
  std::strcpy(context.user_name, "root");
  EXPECT_EQ(sch_cli_create_delete_job(&context), 0);
  EXPECT_EQ(program.end(SIGTERM), 0);
  EXPECT_THAT(program.output(), HasSubstr("serves nobody alone"));
}

// How the service answers that user, whose client is not the host's; or what it says before it is asked.
uint32_t status_for_raw_client(const std::string &path, uid_t uid, bool asks) {
  int told[2];
  EXPECT_EQ(pipe2(told, O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int client = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    host::FrameHeader frame, answer;
    frame.service = host::service_control;
    const auto asked = static_cast<uint32_t>(control::Operation::status);
    frame.length = sizeof asked;
    char packet[sizeof frame + sizeof asked];
    std::memcpy(packet, &frame, sizeof frame);
    std::memcpy(packet + sizeof frame, &asked, sizeof asked);
    if (setuid(uid) != 0 || connect(client, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
      _exit(1);
    if (asks && send(client, packet, sizeof packet, MSG_NOSIGNAL) != sizeof packet) _exit(1);
    pollfd answered = {client, POLLIN, 0};
    if (poll(&answered, 1, 20000) != 1) _exit(1);
    if (recv(client, &answer, sizeof answer, 0) != sizeof answer) _exit(1);
    _exit(write(told[1], &answer.status, sizeof answer.status) == sizeof answer.status ? 0 : 1);
  }
  int ended = -1;
  waitpid(child, &ended, 0);
  EXPECT_EQ(ended, 0);
  close(told[1]);
  uint32_t status = ~0u;
  EXPECT_EQ(read(told[0], &status, sizeof status), ssize_t{sizeof status});
  close(told[0]);
  return status;
}

TEST_F(ServiceProgram, an_ordinary_users_service_answers_no_third_user) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  const passwd nobody = *getpwnam("nobody"), daemon = *getpwnam("daemon");
  ASSERT_EQ(chown(directory.c_str(), nobody.pw_uid, nobody.pw_gid), 0);
  ASSERT_EQ(chmod(notify_path.c_str(), 0777), 0);
  Program program({"--state-dir", state}, notify_path, nobody.pw_uid, copied_program(directory));
  unsetenv("LD_LIBRARY_PATH");
  ASSERT_EQ(told(), "READY=1");
  const std::string path = state + "/run/schedd.sock";
  for (const std::string &above : {directory, state, state + "/run", path})  // the modes alone would keep others out
    ASSERT_EQ(chmod(above.c_str(), 0777), 0);
  EXPECT_EQ(status_for_raw_client(path, nobody.pw_uid, true), 0u);
  EXPECT_EQ(status_for_raw_client(path, daemon.pw_uid, false), host::err_not_permitted);
  EXPECT_EQ(program.end(SIGTERM), 0);
}

}  // namespace
}  // namespace service_test
