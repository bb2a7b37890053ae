// SPDX-License-Identifier: Apache-2.0
#include "shell/values.h"

#include <gtest/gtest.h>

#include "shell/parse.h"

namespace shell {
namespace {

std::string problem_of(const std::string &line) {
  const Parsed parsed = parse(line, {{Mode::schedule, Mode::config, Mode::exec}, true});
  if (!parsed.match) return describe(parsed.problem);
  const std::optional<Problem> problem = objection_in(*parsed.match);
  return problem ? problem->reason : "";
}

struct Case {
  const char *value;
  bool accepted;
};

const Case names[] = {{"a", true},        {"9-b_c", true}, {"_a", false}, {"-a", false}, {"a.b", false},
                      {"\"a b\"", false}, {"\"\"", false}, {"0", true},   {"9", true},   {"A", true},
                      {"Z", true},        {"z", true},     {"/", false},  {":", false},  {"@", false},
                      {"[", false},       {"`", false},    {"{", false},  {"a{", false}};

TEST(values, of_names_follow_the_rule) {
  for (const Case &name : names)
    EXPECT_EQ(problem_of(std::string("scheduler schedule name ") + name.value) == "", name.accepted) << name.value;
}

const Case hosts[] = {
    {"mail", true},
    {"mail.example.net", true},
    {"mail.example.net.", true},
    {"10.0.0.1", true},
    {"2001:db8::1", true},
    {"my_host", true},
    {"10.0.0.256", false},
    {"10.0.0", false},
    {"mail..net", false},
    {"-mail", false},
    {"mail-", false},
    {"ma/il", false},
    {"2001:db8:::1", false},
    {"\"a b\"", false},
    {"m\xc3\xa4il", false},
    {".", false},
};

TEST(values, of_hosts_have_labels_of_63_and_no_more_than_253_characters) {
  const std::string host = "scheduler transport email smtp-server ", label(63, 'a');
  EXPECT_EQ(problem_of(host + label), "");
  EXPECT_NE(problem_of(host + label + "a"), "");
  EXPECT_EQ(problem_of(host + label + "." + label + "." + label + "." + label.substr(2)), "");
  EXPECT_EQ(problem_of(host + label + "." + label + "." + label + "." + label.substr(1)),
            "has 254 characters; at most 253 are allowed");
}

TEST(values, of_hosts_are_addresses_or_names) {
  for (const Case &host : hosts)
    EXPECT_EQ(problem_of(std::string("scheduler transport email smtp-server ") + host.value) == "", host.accepted)
        << host.value;
}

const Case addresses[] = {
    {"a@example.net", true}, {"first.last+tag@host", true},
    {"a@[10.0.0.1]", true},  {"example.net", false},
    {"@example.net", false}, {"a@", false},
    {"a@b@c", false},        {"a@b..c", false},
    {"<a@b>", false},        {"\"a b@c\"", false},
    {"a@b:25", false},       {"a@[]", false},
    {"a@[b", false},         {"a@b]", false},
    {"a,b@c", false},        {"a@2001:db8::1", false},
    {"\"a@b c\"", false},    {"a\x7f@b", false},
    {"!#~@b", true},
};

TEST(values, of_addresses_have_a_name_and_a_host) {
  for (const Case &address : addresses)
    EXPECT_EQ(problem_of(std::string("email-addr ") + address.value) == "", address.accepted) << address.value;
}

TEST(values, to_be_removed_may_be_of_any_form_that_could_be_kept) {
  EXPECT_EQ(problem_of("no email-addr example.net"), "");
  EXPECT_EQ(problem_of("no email-addr " + std::string(64, 'a')), "has 64 characters; at most 63 are allowed");
}

struct LimitCase {
  const char *before;
  size_t limit;
  const char *after;
};

const LimitCase limits[] = {
    {"scheduler job name ", 31, ""},
    {"scheduler rename schedule a ", 31, ""},
    {"scheduler transport email smtp-server m vrf ", 255, ""},
    {"scheduler aaa-authentication username ", 127, " password x"},
};

TEST(values, are_taken_up_to_their_limit) {
  for (const LimitCase &limit : limits) {
    EXPECT_EQ(problem_of(limit.before + std::string(limit.limit, 'a') + limit.after), "") << limit.before;
    EXPECT_EQ(problem_of(limit.before + std::string(limit.limit + 1, 'a') + limit.after),
              "has " + std::to_string(limit.limit + 1) + " characters; at most " + std::to_string(limit.limit) +
                  " are allowed");
  }
}

}  // namespace
}  // namespace shell
