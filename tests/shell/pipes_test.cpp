// SPDX-License-Identifier: Apache-2.0
#include "shell/pipes.h"

#include <gtest/gtest.h>

namespace shell {
namespace {

constexpr const char *configuration =
    "feature scheduler\n"
    "scheduler job name a\n"
    "scheduler schedule name trap\n"
    "\n"
    "exit 3\n"
    "end-job\n"
    "\n"
    "scheduler schedule name nightly\n"
    " job name a\n"
    "  time daily 23:30\n"
    "\n"
    "scheduler schedule name other\n"
    "\n";

std::string after(const std::string &pipes, const std::string &text = configuration) {
  const Piped piped = split_pipes("show x " + pipes);
  return piped.problem ? describe(*piped.problem) : filtered(text, piped.filters);
}

struct Case {
  const char *pipes, *left;
};

const Case cases[] = {
    {"| include time", "  time daily 23:30\n"},
    {"| include \"^exit|daily\"", "exit 3\n  time daily 23:30\n"},
    {"| inc \"job name\" | exclude ^s", " job name a\n"},
    {"| exclude .", "\n\n\n\n"},
    {"| begin other", "scheduler schedule name other\n\n"},
    {"| begin nothing", ""},
    {"| section nightly", "scheduler schedule name nightly\n job name a\n  time daily 23:30\n\n"},
    {"| section \"^scheduler job\"", "scheduler job name a\nscheduler schedule name trap\n\nexit 3\nend-job\n"},
    {"| section trap", ""},  // a line of a job begins no block
    {"| count", "13\n"},
    {"| include ^scheduler | count", "4\n"},
    {"|count", "13\n"},
    {"| no-more", configuration},
    {"| save ./nothing", configuration},
    {"| json | include ^feature", "feature scheduler\n"},  // the document is made before the pipes, which pass it on
};

TEST(pipes, leave_what_is_asked_for) {
  for (const Case &line : cases)
    EXPECT_EQ(after(line.pipes), line.left) << line.pipes;
}

TEST(pipes, take_a_last_line_without_its_end) {
  EXPECT_EQ(after("| include b", "a\nb"), "b\n");
}

const Case problems[] = {
    {"|",
     "the command is incomplete at column 9; expected: include, exclude, begin, section, count, no-more, save, json"},
    {"| grep x",
     "\"grep\" at column 10 is not known here; expected: include, exclude, begin, section, count, no-more, save, json"},
    {"| include", "the command is incomplete at column 17; expected: <pattern>"},
    {"| include a b", "\"b\" at column 20 is too much: the command ends before it"},
    {"| include (", "\"(\" at column 18 is no pattern"},
    {"| count | json", "\"json\" at column 18 can only come first"},
    {"| json x", "\"x\" at column 15 is too much: the command ends before it"},
    {"| s x",
     "\"s\" at column 10 is not known here; expected: include, exclude, begin, section, count, no-more, save, json"},
    {"| count |",
     "the command is incomplete at column 17; expected: include, exclude, begin, section, count, no-more, save, json"},
    {"| grep x | count",
     "\"grep\" at column 10 is not known here; expected: include, exclude, begin, section, count, no-more, save, json"},
    {"| count x", "\"x\" at column 16 is too much: the command ends before it"},
};

TEST(pipes, say_where_they_are_wrong) {
  for (const Case &line : problems)
    EXPECT_EQ(after(line.pipes), line.left) << line.pipes;
}

TEST(pipes, belong_to_show_commands_alone) {
  EXPECT_NE(find_pipe("sh run | count"), std::string_view::npos);
  EXPECT_NE(find_pipe("do show run | count"), std::string_view::npos);
  EXPECT_EQ(find_pipe("\"show\" run | count"), 11u);
  EXPECT_EQ(find_pipe("show \"a|b\" | count"), 11u);
  for (const char *line : {"scheduler job name x commands ls | wc", "show run \"| count\"", "show run", "s | count", "",
                           "do", "do | count", "do do show | count", "shown | count"})
    EXPECT_EQ(find_pipe(line), std::string_view::npos) << line;
}

TEST(pipes, tell_what_may_follow) {
  const auto texts = [](const char *line) {
    std::string all;
    for (const Choice &choice : filter_choices(line))
      all += choice.text + " ";
    return all;
  };
  EXPECT_EQ(texts("show run | "), "include exclude begin section count no-more save json ");
  EXPECT_EQ(texts("show run | s"), "section save ");
  EXPECT_EQ(texts("show run | include "), "<pattern> ");
  EXPECT_EQ(texts("show run | include ab"), "<pattern> ");
  EXPECT_EQ(texts("show run | include ab "), "<end> ");
  EXPECT_EQ(texts("show run | count "), "<end> ");
  EXPECT_EQ(texts("show run | count"), "count ");
  EXPECT_EQ(texts("show run |"), "include exclude begin section count no-more save json ");
  EXPECT_EQ(texts("show run | count | ex"), "exclude ");
  EXPECT_EQ(texts("show run | s x"), "");
  EXPECT_EQ(texts("show run | include\t"), "<pattern> ");
}

}  // namespace
}  // namespace shell
