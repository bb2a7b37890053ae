// SPDX-License-Identifier: Apache-2.0
// The configuration changed, compared and saved as a whole, with the service's answers at hand.
#include "shell/configuration_change.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "control/fingerprint.h"
#include "control/statuses.h"
#include "host/status.h"
#include "tests/shell/pseudo_terminal.h"
#include "tests/shell/session_fixture.h"

namespace shell {
namespace {

using control::Operation;
using recorder::bytes_of;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr const char *before = "feature scheduler\n", *after = "feature scheduler\nscheduler logfile size 32\n";
constexpr const char *difference = "+scheduler logfile size 32\n";
constexpr const char *bad_reply = "the scheduler service sent an unexpected reply; ";

template <typename Record>
std::string text_of(const Record &record) {
  return {reinterpret_cast<const char *>(&record), sizeof record};
}

struct Outcome {
  uint32_t status = 0, flags = 0;
  std::string problems = "", before = shell::before, after = shell::after;
};

class ConfigurationChange : public SessionTest {
 protected:
  ConfigurationChange() {
    char pattern[] = "/tmp/schedsh_change.XXXXXX";
    directory = mkdtemp(pattern);
    unsetenv("SSH_CONNECTION");
  }
  ~ConfigurationChange() override { std::filesystem::remove_all(directory); }

  void SetUp() override {
    SessionTest::SetUp();
    recorder::control_replies[Operation::put_configuration] = bytes_of(text_of(uint32_t{7}));
    give({});
  }

  static void give(const Outcome &outcome) {
    const control::ConfigurationReply fixed = {outcome.status, outcome.flags,
                                               static_cast<uint32_t>(outcome.problems.size()),
                                               static_cast<uint32_t>(outcome.before.size())};
    recorder::control_replies[Operation::apply_configuration] =
        bytes_of(text_of(fixed) + outcome.problems + outcome.before + outcome.after);
  }

  std::string file(const std::string &name, const std::string &text) const {
    std::ofstream(directory + "/" + name) << text;
    return directory + "/" + name;
  }

  int carry_out(const std::string &line, const Options &options = script_options()) {
    Session session(options);
    calls_of(session, {line});
    return session.status();
  }

  static const std::string &sent() { return recorder::control_payloads[Operation::apply_configuration].back(); }
  static control::ConfigurationOrder order() {
    control::ConfigurationOrder order = {};
    std::memcpy(&order, sent().data(), std::min(sent().size(), sizeof order));
    return order;
  }
  static std::string for_the_history() { return sent().substr(sizeof(control::ConfigurationOrder)); }

  std::string directory;
};

struct OrderCase {
  const char *line;
  uint32_t source, number, overlay, check, minutes;
  int status;
  const char *command;
};

// FILE is a file of the operator's.
const OrderCase orders[] = {
    {"configure replace FILE", 1, 7, 0, 0, 0, 0, "configure replace FILE"},
    {"configure replace FILE check", 1, 7, 0, 1, 0, 2, "configure replace FILE"},
    {"configure replace FILE diff", 1, 7, 0, 1, 0, 0, "configure replace FILE"},
    {"configure replace FILE confirm 5", 1, 7, 0, 0, 5, 0, "configure replace FILE"},
    {"copy FILE running-config", 1, 7, 1, 0, 0, 0, "copy FILE"},
    {"copy startup-config running-config", 3, 0, 1, 0, 0, 0, "copy startup-config running-config"},
    {"rollback 12", 2, 12, 0, 0, 0, 0, "rollback 12"},
    {"rollback 99999999999", 2, 0, 0, 0, 0, 0, "rollback 99999999999"},  // there is no entry 0
    {"rollback 12 check", 2, 12, 0, 1, 0, 2, "rollback 12"},
    {"rollback 12 diff", 2, 12, 0, 1, 0, 0, "rollback 12"},
    {"rollback 12 confirm 10", 2, 12, 0, 0, 10, 0, "rollback 12"},
};

TEST_F(ConfigurationChange, is_ordered_as_the_command_says_and_shows_the_difference) {
  const std::string path = file("site.conf", "feat sched\n");
  const auto with_path = [&](std::string text) {
    if (const size_t at = text.find("FILE"); at != text.npos) text.replace(at, 4, path);
    return text;
  };
  for (const OrderCase &row : orders) {
    EXPECT_EQ(carry_out(with_path(row.line)), row.status) << row.line << err;
    EXPECT_EQ(order().source, row.source) << row.line;
    EXPECT_EQ(order().number, row.number) << row.line;
    EXPECT_EQ(order().overlay, row.overlay) << row.line;
    EXPECT_EQ(order().check, row.check) << row.line;
    EXPECT_EQ(order().confirm_minutes, row.minutes) << row.line;
    EXPECT_EQ(order().base, 0u) << row.line;
    EXPECT_EQ(for_the_history(), "no terminal" + std::string(1, '\0') + with_path(row.command));
    EXPECT_EQ(out, difference) << row.line;
    EXPECT_EQ(err, "") << row.line;
  }
  EXPECT_EQ(recorder::control_payloads[Operation::put_configuration].front(), text_of(uint32_t{0}) + before);
}

TEST_F(ConfigurationChange, that_would_change_nothing_is_a_check_with_success) {
  give({.before = before, .after = before});
  EXPECT_EQ(carry_out("rollback 1 check"), 0);
  EXPECT_EQ(out + err, "");
}

TEST_F(ConfigurationChange, is_told_with_where_the_operator_works) {
  setenv("SSH_CONNECTION", "192.0.2.7 50022 192.0.2.1 22", 1);
  carry_out("rollback 1");
  EXPECT_EQ(for_the_history(), std::string("host 192.0.2.7\0rollback 1", 25));
  unsetenv("SSH_CONNECTION");
}

TEST_F(ConfigurationChange, is_told_with_the_terminal_of_the_operator) {
  PseudoTerminal terminal([] {
    setenv("SSH_CONNECTION", "192.0.2.7 50022 192.0.2.1 22", 1);
    Session session(script_options());
    session.feed("rollback 1");
    std::printf("told: %s\n", for_the_history().c_str());
    return ttyname(STDERR_FILENO) == nullptr ? 1 : (std::printf("mine: terminal %s,\n", ttyname(STDERR_FILENO)), 0);
  });
  ASSERT_EQ(terminal.wait_for_end(), 0);
  const std::string &said = terminal.everything();
  const size_t told = said.find("told: ") + 6, mine = said.find("mine: ") + 6;
  const std::string name = said.substr(mine, said.find(',', mine) - mine);
  EXPECT_EQ(said.substr(told, said.find('\r', told) - told), name + ", host 192.0.2.7") << said;
}

// A text is larger than a frame of the transport.
TEST_F(ConfigurationChange, sends_a_long_text_in_pieces_that_are_the_whole_of_it) {
  std::string text = before;
  for (int i = 0; i < 2; i++)
    text += "scheduler job name j" + std::to_string(i) + "\n" + std::string(40 * 1024, 'x') + "\nend-job\n\n";
  EXPECT_EQ(carry_out("configure replace " + file("long.conf", text)), 0) << err;
  const std::vector<std::string> &pieces = recorder::control_payloads[Operation::put_configuration];
  ASSERT_EQ(pieces.size(), 2u);
  EXPECT_EQ(pieces[0].substr(0, 4), text_of(uint32_t{0}));
  EXPECT_EQ(pieces[1].substr(0, 4), text_of(uint32_t{7}));
  EXPECT_EQ(pieces[0].size(), 4 + 48u * 1024);
  EXPECT_EQ(pieces[0].substr(4) + pieces[1].substr(4), text);
}

TEST_F(ConfigurationChange, names_the_lines_of_the_operators_text) {
  const std::string path =
      file("site.conf", "! mine\n\nscheduler job name a\nx\nend-job\nscheduler schedule name s\n job name gone\n");
  give({.status = control::err_bad_configuration,
        .problems = "1 of a\n2 of its text\n6 of gone\n0 of all\n8 of nothing\n"});
  EXPECT_EQ(carry_out("configure replace " + path), 255);
  EXPECT_EQ(err, path + ":3: of a\n" + path + ":4: of its text\n" + path + ":7: of gone\n" + path + ": of all\n" +
                     path + ": of nothing\nError: the configuration cannot be used, so nothing was changed\n");
  EXPECT_EQ(out, "");
  give({.problems = "1 of an entry, which has no lines of the operator's\n"});
  carry_out("rollback 3");
  EXPECT_EQ(err, "rollback 3: of an entry, which has no lines of the operator's\n");
}

// Whoever mends a text wants all its problems at once.
TEST_F(ConfigurationChange, to_a_text_with_wrong_lines_only_tells_the_services_problems_too) {
  const std::string path = file("site.conf", "what\nscheduler schedule name s\n");
  give({.status = control::err_bad_configuration, .problems = "1 of the service\n"});
  EXPECT_EQ(carry_out("configure replace " + path), 255);
  EXPECT_THAT(err, testing::StartsWith(path + ":1: \"what\" at column 1 is not known here"));
  EXPECT_THAT(err, testing::EndsWith("\n" + path + ":2: of the service\n" +
                                     "Error: the configuration cannot be used, so nothing was changed\n"));
  EXPECT_EQ(order().check, 1u);
  EXPECT_EQ(order().source, 1u);
  EXPECT_EQ(order().number, 7u);
  EXPECT_EQ(out, "");
  recorder::control_statuses[Operation::apply_configuration] = control::err_disabled;
  EXPECT_EQ(carry_out("configure replace " + path), 255);
  EXPECT_THAT(err, testing::EndsWith("\nError: the configuration cannot be used, so nothing was changed\n"));
  recorder::control_statuses[Operation::put_configuration] = host::err_not_running;
  EXPECT_EQ(carry_out("configure replace " + path), 255);
  EXPECT_THAT(err, HasSubstr("\nError: configure replace " + path + ": the scheduler service is not running"));
}

TEST_F(ConfigurationChange, of_what_was_read_and_has_changed_since_is_refused_once) {
  recorder::control_replies[Operation::running_text] = bytes_of(before);
  Session session(script_options());
  calls_of(session, {"show running-config"});
  EXPECT_EQ(out, before);
  give({.status = control::err_changed_since, .problems = "1 not told\n", .before = after});
  calls_of(session, {"rollback 1"});
  EXPECT_EQ(order().base, control::fingerprint(before));
  EXPECT_EQ(err, std::string("Error: the configuration has changed since it was read, so nothing was changed now; ") +
                     "this has changed since:\n" + difference + "give the command again to change what is there now\n");
  EXPECT_EQ(out, "");
  EXPECT_EQ(session.status(), 255);
  give({});
  calls_of(session, {"rollback 1"});
  EXPECT_EQ(order().base, control::fingerprint(after));
}

TEST_F(ConfigurationChange, is_what_the_next_one_is_based_on) {
  Session session(script_options());
  calls_of(session, {"rollback 1", "rollback 2 diff"});
  EXPECT_EQ(order().base, control::fingerprint(after));
  calls_of(session, {"rollback 2"});
  EXPECT_EQ(order().base, control::fingerprint(before)) << "of what was only shown nothing is there";
}

TEST_F(ConfigurationChange, tells_that_runs_under_way_keep_their_order) {
  give({.flags = control::order_not_taken_over});
  EXPECT_EQ(carry_out("rollback 1"), 0);
  EXPECT_EQ(err, "note: a run is under way, so new jobs and schedules come last; give the command again later\n");
}

TEST_F(ConfigurationChange, with_an_answer_that_does_not_fit_is_an_error) {
  const auto cut = [](control::ConfigurationReply fixed, const std::string &behind) { return text_of(fixed) + behind; };
  const struct {
    std::string reply;
    bool fits;
  } rows[] = {{"", false},
              {cut({}, "").substr(0, 15), false},
              {cut({}, ""), true},
              {cut({0, 0, 2, 3}, "1\nabc"), true},
              {cut({0, 0, 2, 3}, "1\nab"), false},
              {cut({0, 0, 2, 0xffffffff}, "1\n"), false}};
  for (const auto &row : rows) {
    recorder::control_replies[Operation::apply_configuration] = bytes_of(row.reply);
    EXPECT_EQ(carry_out("rollback 1"), row.fits ? 0 : 255) << row.reply.size();
    EXPECT_EQ(err.find(bad_reply) == err.npos, row.fits) << err;
  }
  for (const size_t size : {3u, 5u}) {
    recorder::control_replies[Operation::put_configuration] = bytes_of(std::string(size, 'x'));
    EXPECT_EQ(carry_out("configure replace " + file("site.conf", before)), 255);
    EXPECT_THAT(err, HasSubstr(bad_reply));
  }
}

TEST_F(ConfigurationChange, that_the_service_refuses_is_an_error_with_the_command) {
  recorder::control_status = host::err_not_running;
  const std::string path = file("site.conf", before);
  for (const std::string &command : {std::string("rollback 1"), "configure replace " + path}) {
    recorder::control_replies.clear();
    EXPECT_EQ(carry_out(command), 255);
    EXPECT_THAT(err, testing::StartsWith("Error: " + command + ": the scheduler service is not running")) << err;
  }
  EXPECT_EQ(recorder::control_payloads[Operation::put_configuration].size(), 1u) << "nothing follows what was refused";
}

TEST_F(ConfigurationChange, is_not_read_from_the_commands_own_input) {
  Options options = script_options();
  options.input_is_stdin = true;
  EXPECT_EQ(carry_out("configure replace -", options), 255);
  EXPECT_EQ(err, "Error: the commands come from standard input; name the file\n");
  EXPECT_EQ(recorder::calls, Calls{});
  EXPECT_EQ(carry_out("import crontab -", options), 255);
  EXPECT_EQ(err, "Error: the commands come from standard input; name the file\n");
  EXPECT_EQ(carry_out("configure replace ./absent"), 255);
  EXPECT_EQ(err, "Error: ./absent: No such file or directory\n");
}

class Configurations : public ConfigurationChange {
 protected:
  void SetUp() override {
    ConfigurationChange::SetUp();
    recorder::control_replies[Operation::running_text] = bytes_of(before);
    recorder::control_replies[Operation::startup_text] = bytes_of(after);
    recorder::control_replies[Operation::configuration_entry] = bytes_of(after);
  }
};

TEST_F(Configurations, are_shown_and_compared) {
  EXPECT_EQ(carry_out("show startup-config"), 0);
  EXPECT_EQ(out, after);
  EXPECT_EQ(carry_out("show startup-config diff"), 0);
  EXPECT_EQ(out, difference);
  EXPECT_EQ(carry_out("show configuration diff 2 30"), 0);
  EXPECT_EQ(out, "");
  EXPECT_THAT(recorder::control_payloads[Operation::configuration_entry],
              UnorderedElementsAre(text_of(uint32_t{2}), text_of(uint32_t{30})));
}

TEST_F(Configurations, are_not_shown_where_the_service_refuses_one) {
  recorder::control_statuses[Operation::startup_text] = control::err_no_startup;
  for (const std::string line : {"show startup-config", "show startup-config diff"}) {
    EXPECT_EQ(carry_out(line), 255);
    EXPECT_THAT(err, testing::StartsWith("Error: " + line + ": ")) << line;
    EXPECT_EQ(out, "");
  }
  recorder::control_statuses[Operation::running_text] = host::err_not_running;
  EXPECT_EQ(carry_out("show startup-config diff"), 255);
  EXPECT_THAT(err, HasSubstr("is not running"));
}

TEST_F(Configurations, are_saved_in_files) {
  const std::string path = directory + "/saved.conf";
  const auto saved = [&] {
    std::ifstream from(path);
    return std::string(std::istreambuf_iterator<char>(from), {});
  };
  EXPECT_EQ(carry_out("copy running-config " + path), 0);
  EXPECT_EQ(saved(), before);
  EXPECT_EQ(carry_out("copy startup-config " + path), 0);
  EXPECT_EQ(saved(), after);
  recorder::control_status = host::err_not_running;
  recorder::control_replies.clear();
  EXPECT_EQ(carry_out("copy running-config " + path), 255);
  EXPECT_THAT(err, testing::StartsWith("Error: copy running-config: the scheduler service is not running"));
  EXPECT_EQ(saved(), after) << "what was saved there is better than nothing";
}

TEST_F(Configurations, are_saved_in_plain_files_alone) {
  const std::string victim = file("victim", "mine"), link = directory + "/link.conf";
  std::filesystem::create_symlink(victim, link);
  EXPECT_EQ(carry_out("copy running-config " + link), 255);
  EXPECT_EQ(err, "Error: " + link + ": is there and no plain file; name another\n");
  EXPECT_EQ(std::filesystem::file_size(victim), 4u);
  EXPECT_EQ(carry_out("copy running-config /nowhere/x.conf"), 255);
  EXPECT_THAT(err, testing::StartsWith("Error: /nowhere"));
}

TEST_F(Configurations, are_confirmed_and_erased_with_the_services_words) {
  recorder::control_replies[Operation::confirm_configuration] = bytes_of("confirmed\n");
  EXPECT_EQ(carry_out("configure confirm"), 0);
  EXPECT_EQ(out, "confirmed\n");
  recorder::control_replies[Operation::erase_startup] = bytes_of("erased\n");
  EXPECT_EQ(carry_out("erase startup-config"), 0);
  EXPECT_EQ(out, "erased\n");
}

class Import : public ConfigurationChange {
 protected:
  const std::string table = "30 2 * * * backup\n";
};

TEST_F(Import, of_a_crontab_is_one_change_that_leaves_the_rest) {
  const std::string path = file("table.cron", table);
  EXPECT_EQ(carry_out("import crontab " + path), 0) << err;
  EXPECT_THAT(out, testing::StartsWith("scheduler job name cron-table-cron-1\nbackup\nend-job\n"));
  EXPECT_EQ(out.find(difference), out.npos) << "it was shown already";
  EXPECT_EQ(order().overlay, 1u);
  EXPECT_EQ(order().check, 0u);
  EXPECT_THAT(for_the_history(), testing::EndsWith(std::string(1, '\0') + "import crontab " + path));
  EXPECT_EQ(recorder::control_payloads[Operation::put_configuration].back(), text_of(uint32_t{0}) + out);
}

TEST_F(Import, that_is_a_check_asks_nobody_and_changes_nothing) {
  Options options = script_options();
  options.agrees = [](const char *) { return false; };
  EXPECT_EQ(carry_out("import crontab " + file("table.cron", table) + " check", options), 2);
  EXPECT_EQ(order().check, 1u);
}

TEST_F(Import, asks_before_it_changes_something_and_not_for_nothing) {
  int asked = 0;
  bool answer = false;
  Options options = script_options();
  options.agrees = [&](const char *question) {
    EXPECT_STREQ(question, "Configure this? [y/N] ");
    asked++;
    return answer;
  };
  const std::string line = "import crontab " + file("table.cron", table);
  EXPECT_EQ(carry_out(line, options), 255);
  EXPECT_EQ(err, "nothing was changed\n");
  EXPECT_EQ(recorder::calls, Calls{});
  answer = true;
  EXPECT_EQ(carry_out(line, options), 0);
  EXPECT_EQ(recorder::calls.size(), 2u);
  EXPECT_EQ(asked, 2);
  carry_out("import crontab " + file("empty.cron", "# nothing\n"), options);
  EXPECT_EQ(asked, 2);
}

TEST_F(Import, with_lines_that_cannot_be_expressed_is_a_partial_success) {
  const std::string path = file("table.cron", "SHELL=/bin/dash\n@reboot x\n" + table);
  EXPECT_EQ(carry_out("import crontab " + path), 1);
  EXPECT_THAT(err, testing::StartsWith(path + ":1: note: SHELL=/bin/dash: jobs run"));
  EXPECT_THAT(err, HasSubstr("\n" + path + ":2: cannot be expressed: a schedule has times"));
  give({.status = control::err_bad_configuration});
  EXPECT_EQ(carry_out("import crontab " + path), 255);
}

TEST_F(Import, takes_a_users_table_by_the_users_name_alone) {
  EXPECT_EQ(carry_out("import crontab user ../../../etc/crontab"), 255);
  EXPECT_EQ(err, "Error: ../../../etc/crontab: is no user's name\n");
  EXPECT_EQ(carry_out("import crontab user nobody-there"), 255);
  EXPECT_THAT(err, testing::StartsWith("Error: /var/spool/cron/crontabs/nobody-there: "));
  EXPECT_THAT(err, testing::EndsWith("; 'crontab -l | schedsh -c \"import crontab -\"' needs no rights\n"));
  EXPECT_EQ(carry_out("import crontab ./absent"), 255);
  EXPECT_EQ(err, "Error: ./absent: No such file or directory\n");
}

}  // namespace
}  // namespace shell
