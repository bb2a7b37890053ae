// SPDX-License-Identifier: Apache-2.0
#include "shell/parse.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>

namespace shell {
namespace {

const Scope first{{Mode::exec}, true};
const Scope in_config{{Mode::config, Mode::exec}, true};
const Scope in_schedule{{Mode::schedule, Mode::config, Mode::exec}, true};

std::string syntax_of(const char *line, const Scope &scope) {
  const Parsed parsed = parse(line, scope);
  return parsed.match ? parsed.match->command->syntax : describe(parsed.problem);
}

struct Case {
  const char *line;
  const Scope &scope;
  const char *meaning;  // a command's syntax, or the message
};

const Case cases[] = {
    // Abbreviations: of one word alone, and a word written out before the abbreviation of another.
    {"conf t", first, "configure terminal"},
    {"config terminal", first, "configure terminal"},
    {"configure terminal", first, "configure terminal"},
    {"sh sch sch", first, "show scheduler schedule [name <schedule>]"},
    {"sh sch j n backup", first, "show scheduler job [name <job>]"},
    {"sh sched h r 5", first, "show scheduler history run <run>"},
    {"sh sched h sc nightly l 5 f", first,
     "show scheduler history [schedule <schedule>] [job <job>] [last <count>] [failed] [since <moment>]"},
    {"show scheduler", first, "show scheduler"},
    {"sh sched u 5", first, "show scheduler upcoming [<count>]"},
    {"sh sched u n nightly", first, "show scheduler upcoming name <schedule> [<count>]"},
    {"sched r s nightly", in_config, "scheduler run schedule <schedule>"},
    {"show run", first, "show running-config"},
    {"copy run start", first, "copy running-config startup-config"},
    {"en", first, "end"},
    {"ex", first, "exit"},
    {"und", first, "undebug [scheduler]"},
    {"sch lo si 32", in_config, "scheduler logfile size <kilobytes>"},
    {"no sch sch n nightly", in_config, "no scheduler schedule name <schedule>"},
    {"ti mo 1:02:10", in_schedule, "time monthly <monthly>"},
    {"email a@example.net", in_schedule, "email-addr <address>"},

    // A mode's own words come first, then those around it.
    {"no job name x", in_schedule, "no job name <job>"},
    {"no scheduler job name x", in_schedule, "no scheduler job name <job> [force]"},
    {"no debug scheduler", in_schedule, "no debug scheduler"},
    {"show scheduler job", in_schedule, "show scheduler job [name <job>]"},
    {"no feature scheduler", in_config, "no feature scheduler"},

    // Errors: where, and what was expected.
    {"e", first, "\"e\" at column 1 may mean: erase, end, exit"},
    {"  co", first, "\"co\" at column 3 may mean: configure, copy"},
    {"show x", first,
     "\"x\" at column 6 is not known here; expected: scheduler, version, clock, running-config, startup-config, "
     "configuration, logging"},
    {"show scheduler history run", first, "the command is incomplete at column 27; expected: <run>"},
    {"show scheduler s", first, "\"s\" at column 16 may mean: schedule, status"},
    {"show scheduler history last 1001", first, "\"1001\" at column 29 is out of range; expected: <count 1..1000>"},
    {"show scheduler history run 0", first, "\"0\" at column 28 is out of range; expected: <run>"},
    {"show scheduler upcoming x", first, "\"x\" at column 25 is out of range; expected: <count 1..1000>, name"},
    {"show scheduler job name", first, "the command is incomplete at column 24; expected: <job>"},
    {"show scheduler job name a b", first, "\"b\" at column 27 is too much: the command ends before it"},
    {"end now", first, "\"now\" at column 5 is too much: the command ends before it"},
    {"scheduler logfile size big", in_config, "\"big\" at column 24 is out of range; expected: <kilobytes 1..16384>"},
    {"no", in_schedule,
     "the command is incomplete at column 3; expected: time, job, email-addr, feature, scheduler, "
     "logging, debug"},
    {"time weakly 1:2:3", in_schedule,
     "\"weakly\" at column 6 is not known here; expected: daily, weekly, monthly, start, repeat"},
    {"SHOW scheduler job", first,
     "\"SHOW\" at column 1 is not known here; expected: configure, show, terminal, rollback, copy, erase, write, "
     "import, clear, scheduler, debug, undebug, no, store, end, exit, quit, help"},
};

TEST(parse, finds_the_command_or_says_where_it_stops) {
  for (const Case &line : cases)
    EXPECT_EQ(syntax_of(line.line, line.scope), line.meaning) << line.line;
}

TEST(parse, takes_a_lone_0_or_7_as_the_password_itself) {
  for (const char *digit : {"0", "7"}) {
    const Parsed parsed = parse(std::string("scheduler aaa-authentication password ") + digit, in_config);
    ASSERT_TRUE(parsed.match);
    EXPECT_STREQ(parsed.match->command->syntax, "scheduler aaa-authentication [username <user>] password <password>");
    EXPECT_EQ(*parsed.match->value("password"), digit);
  }
}

TEST(parse, takes_the_rest_of_the_line_with_its_blanks_as_a_jobs_commands) {
  const Parsed parsed = parse("scheduler job name x commands ip  link;df -h ", in_config);
  ASSERT_TRUE(parsed.match);
  EXPECT_EQ(*parsed.match->value("job"), "x");
  EXPECT_EQ(*parsed.match->value("commands"), "ip  link;df -h ");
  EXPECT_EQ(parsed.match->value("user"), nullptr);
}

TEST(parse, takes_quotes_off_a_value) {
  const Parsed parsed = parse("scheduler aaa-authentication password \"two words\"", in_config);
  ASSERT_TRUE(parsed.match);
  EXPECT_EQ(*parsed.match->value("password"), "two words");
}

TEST(parse, knows_the_feature_command_alone_when_the_schedulers_tree_is_gone) {
  const Scope without{{Mode::config, Mode::exec}, false};
  EXPECT_EQ(syntax_of("feature scheduler", without), "feature scheduler");
  EXPECT_EQ(syntax_of("logging level scheduler 3", without), "logging level scheduler <level>");
  EXPECT_EQ(syntax_of("show running-config", without), "show running-config");
  for (const char *line : {"scheduler job name x", "show scheduler job", "clear scheduler logfile",
                           "no scheduler job name x", "no scheduler logfile size"}) {
    EXPECT_FALSE(parse(line, without).match) << line;
  }
}

// However a word is shortened, the line means its command, or is refused as ambiguous; never another command. Only
// beside the server that "no ... smtp-server" may be given is a shortened "port" or "vrf" taken for that server.
TEST(parse, never_takes_an_abbreviation_for_another_command) {
  for (const Form &form : forms()) {
    for (size_t shortened = 0; shortened < form.terms.size(); shortened++) {
      if (form.terms[shortened].word == nullptr) continue;
      const std::string word = form.terms[shortened].word->text;
      for (size_t length = 1; length < word.size(); length++) {
        std::string line;
        for (size_t i = 0; i < form.terms.size(); i++) {
          const Term &term = form.terms[i];
          const bool is_path = term.parameter != nullptr && term.parameter->kind == Kind::path;
          const bool is_width = term.parameter != nullptr && term.parameter->name == std::string_view("columns");
          const std::string whole = term.word != nullptr ? term.word->text : is_path ? "./5" : is_width ? "50" : "5";
          line += (i == shortened ? word.substr(0, length) : whole) + " ";
        }
        const Parsed parsed = parse(line, {{form.command->mode}, true});
        if (parsed.match) {
          EXPECT_STREQ(parsed.match->command->syntax, form.command->syntax) << line;
        } else if (parsed.problem.cause != Problem::Cause::ambiguous) {
          ASSERT_GT(form.terms.size(), 3u) << line << describe(parsed.problem);
          EXPECT_STREQ(form.terms[3].word->text, "email") << line;
          EXPECT_TRUE(form.command->negates()) << line;
        }
      }
    }
  }
}

// Lines of the grammar's own words in any order, with rubbish between: whatever they are, they have one outcome.
TEST(parse, gives_every_random_line_a_command_or_a_problem_within_the_line) {
  std::minstd_rand random(20261121);
  const auto pick = [&](size_t count) { return static_cast<size_t>(random()) % count; };
  for (int round = 0; round < 20000; round++) {
    std::string line;
    for (size_t i = pick(8); i > 0; i--) {
      const std::string word = words()[pick(words().size())].text;
      const std::string pieces[] = {word, word.substr(0, 1 + pick(word.size())), "\"", "7", "", "x\"y", "-1"};
      line += pieces[pick(std::size(pieces))] + (pick(9) == 0 ? "" : " ");
    }
    const Parsed parsed = parse(line, in_schedule);
    if (!parsed.match) {
      EXPECT_LE(parsed.problem.offset, line.size()) << line;
      EXPECT_FALSE(describe(parsed.problem).empty());
    }
    const std::string more = completion(line, in_schedule);
    EXPECT_TRUE(more.empty() || !choices(line + more, in_schedule).empty()) << line << "|" << more;
  }
}

TEST(parse, bounds_nothing_but_the_grammar_on_long_and_strange_lines) {
  const std::string many(5000, 'a');
  EXPECT_FALSE(parse(many, in_schedule).match);
  EXPECT_FALSE(parse("\"\" \"\"", in_schedule).match);
  std::string blanks;
  for (int i = 0; i < 1000; i++)
    blanks += "show ";
  EXPECT_EQ(parse(blanks, in_schedule).problem.offset, 5u);
}

}  // namespace
}  // namespace shell
