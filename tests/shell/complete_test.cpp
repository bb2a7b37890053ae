// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>

#include "shell/parse.h"
#include "shell/walk.h"

namespace shell {
namespace {

const Scope first{{Mode::exec}, true};
const Scope in_config{{Mode::config, Mode::exec}, true};
const Scope in_schedule{{Mode::schedule, Mode::config, Mode::exec}, true};

struct CompletionCase {
  const char *line;
  const Scope &scope;
  const char *added;
};

const CompletionCase completion_cases[] = {
    {"sh", first, "ow "},
    {"show ", first, ""},
    {"show r", first, "unning-config "},
    {"show scheduler j", first, "ob "},
    {"show scheduler job ", first, ""},  // the command may end here, or go on
    {"show scheduler job n", first, "ame "},
    {"show scheduler job name ", first, ""},  // a name has no completion
    {"show scheduler job name b", first, ""},
    {"co", first, ""},  // configure, copy
    {"con", first, "figure "},
    {"sho sch sc", first, "hedule "},  // before it, abbreviations
    {"x", first, ""},
    {"show x ", first, ""},
    {"", in_schedule, ""},
    {"em", in_schedule, "ail-addr "},
    {"scheduler transport email re", in_config, "ply-to "},
    {"no scheduler l", in_config, "ogfile "},
    {"feature", in_config, " "},
};

TEST(completion, adds_what_all_choices_have_in_common) {
  for (const CompletionCase &line : completion_cases) {
    EXPECT_EQ(completion(line.line, line.scope), line.added) << line.line;
  }
}

std::vector<std::string> some_names(const Parameter &parameter, const std::string &typed) {
  std::vector<std::string> names;
  if (std::string_view(parameter.name) == "job")
    for (const char *name : {"backup", "backlog", "report"})
      if (std::string(name).starts_with(typed)) names.emplace_back(name);
  return names;
}

const CompletionCase name_cases[] = {
    {"show scheduler job name r", first, "eport "},
    {"show scheduler job name b", first, "ack"},
    {"show scheduler job name back", first, ""},
    {"show scheduler job name backu", first, "p "},
    {"show scheduler job name x", first, ""},
    {"show scheduler schedule name ", first, ""},
    {"no scheduler job name backup", in_config, " "},
    {"do show scheduler job name r", in_config, "eport "},
    {"show run | sec", first, "tion "},
};

TEST(completion, knows_the_names_that_there_are) {
  for (const CompletionCase &line : name_cases)
    EXPECT_EQ(completion(line.line, line.scope, some_names), line.added) << line.line;
}

std::vector<std::string> texts(const char *line, const Scope &scope) {
  std::vector<std::string> all;
  for (const Choice &choice : choices(line, scope))
    all.push_back(choice.text);
  return all;
}

using Texts = std::vector<std::string>;

TEST(choices, show_what_may_follow_in_the_grammars_order) {
  EXPECT_EQ(texts("show scheduler ", first), (Texts{"job", "schedule", "config", "logfile", "internal", "metrics",
                                                    "status", "upcoming", "history", "<end>"}));
  EXPECT_EQ(texts("time ", in_schedule), (Texts{"daily", "weekly", "monthly", "start", "repeat"}));
  EXPECT_EQ(texts("time start x ", in_schedule), (Texts{"repeat", "<end>"}));
  EXPECT_EQ(texts("scheduler logfile size ", in_config), (Texts{"<kilobytes 1..16384>"}));
  EXPECT_EQ(texts("end ", first), (Texts{"<end>"}));
  EXPECT_EQ(texts("no ", in_schedule),
            (Texts{"time", "job", "email-addr", "feature", "scheduler", "logging", "debug"}));
}

TEST(choices, narrow_to_the_word_that_is_begun) {
  EXPECT_EQ(texts("e", first), (Texts{"erase", "end", "exit"}));
  EXPECT_EQ(texts("e", in_schedule), (Texts{"email-addr", "edit", "erase", "end", "exit"}));
  EXPECT_EQ(texts("show scheduler jobs", first), Texts{});
}

TEST(choices, have_the_commands_help_where_a_word_means_one_command) {
  for (const Choice &choice : choices("show r", first)) {
    EXPECT_EQ(choice.help, "Show the configuration in use as commands");
    EXPECT_TRUE(choice.is_word);
  }
  for (const Choice &choice : choices("sho", first))
    EXPECT_EQ(choice.help, "Show something");
}

TEST(choices, leave_out_the_schedulers_commands_when_its_tree_is_gone) {
  EXPECT_EQ(texts("s", {{Mode::config, Mode::exec}, false}), (Texts{"show", "store"}));
}

TEST(choices, lead_through_every_form_of_every_command) {
  for (const Form &form : forms()) {
    std::string line;
    for (const Term &term : form.terms) {
      const Texts offered = texts(line.c_str(), {{form.command->mode}, true});
      EXPECT_NE(std::find(offered.begin(), offered.end(), shown(term)), offered.end()) << line << shown(term);
      const bool is_path = term.parameter != nullptr && term.parameter->kind == Kind::path;
      const std::string value = term.word != nullptr ? term.word->text
                                : is_path            ? "./value"
                                          : std::to_string(std::max(5L, range_of(term.parameter->kind).first));
      line += value + " ";
    }
  }
}

}  // namespace
}  // namespace shell
