// SPDX-License-Identifier: Apache-2.0
// What an operator's configuration becomes among those of others.
#include "service/configuration/target.h"

#include <gtest/gtest.h>

#include "control/statuses.h"
#include "host/status.h"
#include "platform/errors.h"

namespace service_test {
namespace {

using service::Configuration;
using service::JobBlock;
using service::Operator;
using service::OwnerName;
using service::Scope;
using service::Settings;

const OwnerName root = {1, "root"}, anna = {1001, "anna"}, bert = {1002, "bert"};
const Operator administrator = {root, true}, user_anna = {anna, false};

struct Made {
  std::vector<JobBlock> jobs;
  std::vector<service::ScheduleBlock> schedules;
  operator Configuration() const {
    Configuration made;
    made.jobs = jobs;
    made.schedules = schedules;
    return made;
  }
};

JobBlock job(const std::string &name, const OwnerName &owner = {}, size_t line = 0, const std::string &text = "x\n") {
  return {name, text, owner, line};
}

service::ScheduleBlock schedule(const std::string &name, std::vector<std::string> jobs, const OwnerName &owner = {},
                                size_t line = 0) {
  return {name, "", std::move(jobs), {}, true, owner, line};
}

std::string shown(const service::Target &target) {
  std::string text;
  for (const JobBlock &each : target.whole.jobs)
    text += each.name + "=" + each.owner.name + " ";
  for (const service::ScheduleBlock &each : target.whole.schedules) {
    text += each.name + "=" + each.owner.name + "(";
    for (const std::string &name : each.jobs)
      text += name + ",";
    text += ") ";
  }
  for (const service::LineProblem &problem : target.problems)
    text += "| " + std::to_string(problem.line) + " " + problem.text + " ";
  return text;
}

std::string made_of(const Configuration &current, const Configuration &wanted, const Operator &who = administrator,
                    Scope scope = Scope::replace, const Settings &limits = {}) {
  control::use_error_texts();
  return shown(target_of(current, wanted, scope, who, limits));
}

std::string problem(size_t line, const std::string &what, uint32_t status) {
  control::use_error_texts();
  return "| " + std::to_string(line) + " " + what + ": " + syserr2str(status) + " ";
}

TEST(Target, of_an_administrator_is_what_they_want_with_the_owners_that_there_were) {
  const Made current = {{job("a", anna), job("b", bert)}, {schedule("s", {"a"}, anna)}};
  const Made wanted = {{job("n"), job("b"), job("a"), job("o", bert)}, {schedule("s", {"a"}), schedule("t", {"n"})}};
  EXPECT_EQ(made_of(current, wanted), "n=root b=bert a=anna o=bert s=anna(a,) t=root(n,) ");
}

TEST(Target, that_is_laid_over_has_all_that_there_was_in_its_place) {
  const Made current = {{job("a", anna), job("b", bert)}, {schedule("s", {"a"}, anna), schedule("t", {"b"}, bert)}};
  const Made wanted = {{job("n"), job("b")}, {schedule("t", {}), schedule("u", {"n"})}};
  EXPECT_EQ(made_of(current, wanted, administrator, Scope::overlay),
            "a=anna b=bert n=root s=anna(a,) t=bert() u=root(n,) ");
}

TEST(Target, of_a_user_takes_the_places_of_what_was_theirs) {
  const Made current = {{job("a1", anna), job("b1", bert), job("a2", anna), job("b2", bert)}, {}};
  EXPECT_EQ(made_of(current, Made{{job("x"), job("a1"), job("y")}, {}}, user_anna),
            "x=anna b1=bert a1=anna b2=bert y=anna ");
  EXPECT_EQ(made_of(current, Made{{job("a2")}, {}}, user_anna), "a2=anna b1=bert b2=bert ");
  EXPECT_EQ(made_of(current, Made{}, user_anna), "b1=bert b2=bert ");
}

TEST(Target, of_a_user_has_nothing_of_others) {
  const Made current = {{job("b", bert)}, {schedule("t", {}, bert)}};
  EXPECT_EQ(made_of(current, Made{{job("b", {}, 3)}, {schedule("t", {}, {}, 5)}}, user_anna, Scope::overlay),
            "b=bert t=bert() " + problem(3, "b", control::err_not_owner) + problem(5, "t", control::err_not_owner));
  EXPECT_EQ(made_of({}, Made{{job("n", bert, 2)}, {}}, user_anna), "n=bert " + problem(2, "n", control::err_not_owner));
}

TEST(Target, of_a_user_leaves_the_settings) {
  Configuration current, wanted;
  current.settings.feature = true;
  current.settings.logging_level = 3;
  service::Target target = target_of(current, wanted, Scope::replace, user_anna, {});
  EXPECT_EQ(target.whole.settings, current.settings);
  EXPECT_TRUE(target.problems.empty());
  wanted.settings.logging_level = 4;
  target = target_of(current, wanted, Scope::replace, user_anna, {});
  EXPECT_EQ(target.whole.settings, current.settings);
  EXPECT_EQ(shown(target), problem(0, "the settings are the administrator's", host::err_not_permitted));
}

TEST(Target, without_a_word_of_the_feature_leaves_it) {
  Configuration current, wanted;
  current.settings.feature = true;
  wanted.settings.logging_level = 4;
  EXPECT_EQ(target_of(current, wanted, Scope::replace, administrator, {}).whole.settings.feature, true);
  wanted.settings.feature = false;
  const service::Target target = target_of(current, wanted, Scope::replace, administrator, {});
  EXPECT_EQ(target.whole.settings.feature, false);
  EXPECT_EQ(target.whole.settings.logging_level, 4);
}

TEST(Target, has_schedules_with_jobs_that_are_there_and_of_the_same_owner_in_the_order_of_the_jobs) {
  const Made wanted = {{job("a", anna), job("c", anna), job("b", bert)},
                       {schedule("s", {"none", "b", "c", "a"}, anna, 7), schedule("t", {"b", "a"}, bert, 9)}};
  EXPECT_EQ(made_of({}, wanted), "a=anna c=anna b=bert s=anna(a,c,b,none,) t=bert(a,b,) " +
                                     problem(7, "schedule s, job none", control::err_no_such_job) +
                                     problem(7, "schedule s, job b", control::err_not_owner) +
                                     problem(9, "schedule t, job a", control::err_not_owner));
}

Made many(size_t jobs, size_t schedules, const OwnerName &owner) {
  Made made;
  for (size_t i = 0; i < jobs; i++)
    made.jobs.push_back(job(owner.name + "-j" + std::to_string(i), owner));
  for (size_t i = 0; i < schedules; i++)
    made.schedules.push_back(schedule(owner.name + "-s" + std::to_string(i), {}, owner));
  return made;
}

// How many problems there are, and their text from the first on.
std::string problems_of(const Made &current, const Made &wanted, const Operator &who, const Settings &limits) {
  const std::string all = made_of(current, wanted, who, Scope::replace, limits);
  return all.find('|') == std::string::npos ? "" : all.substr(all.find('|'));
}

TEST(Target, has_room_for_as_many_jobs_as_the_table) {
  EXPECT_EQ(problems_of({}, many(256, 0, anna), administrator, {}), "");
  EXPECT_EQ(problems_of({}, many(257, 0, anna), administrator, {}),
            problem(0, "the jobs", control::err_job_table_full));
}

TEST(Target, keeps_to_the_limits_of_a_user_unless_they_have_had_as_many) {
  Settings limits;
  limits.max_jobs_per_user = 2;
  limits.max_schedules_per_user = 3;
  EXPECT_EQ(problems_of({}, many(2, 3, anna), user_anna, limits), "");
  EXPECT_EQ(problems_of({}, many(3, 4, anna), user_anna, limits),
            problem(0, "the jobs", control::err_too_many_own_jobs) +
                problem(0, "the schedules", control::err_too_many_own_schedules));
  EXPECT_EQ(problems_of({}, many(3, 4, root), administrator, limits), "");
  EXPECT_EQ(problems_of(many(5, 5, anna), many(5, 5, anna), user_anna, limits), "");
  EXPECT_EQ(problems_of(many(4, 3, anna), many(5, 3, anna), user_anna, limits),
            problem(0, "the jobs", control::err_too_many_own_jobs));
  EXPECT_EQ(problems_of(many(5, 5, bert), many(2, 3, anna), user_anna, limits), "");
}

TEST(Target, keeps_to_the_number_of_schedules_unless_there_were_as_many) {
  Settings limits;
  limits.max_schedules = 3;
  EXPECT_EQ(problems_of({}, many(0, 3, anna), administrator, limits), "");
  EXPECT_EQ(problems_of({}, many(0, 4, anna), administrator, limits),
            problem(0, "the schedules", control::err_too_many_schedules));
  EXPECT_EQ(problems_of(many(0, 4, anna), many(0, 4, bert), administrator, limits), "");
  EXPECT_EQ(problems_of(many(0, 4, anna), many(0, 5, bert), administrator, limits),
            problem(0, "the schedules", control::err_too_many_schedules));
}

TEST(Target, keeps_to_the_length_of_a_job_unless_its_text_was_as_long) {
  Settings limits;
  limits.job_text_bytes = 4;
  const Made fits = {{job("a", anna, 2, "123\n")}, {}}, longer = {{job("a", anna, 2, "1234\n")}, {}},
             other = {{job("a", anna, 2, "5678\n")}, {}};
  const std::string refused = problem(2, "job a", control::err_text_too_long);
  EXPECT_EQ(problems_of({}, fits, administrator, limits), "");
  EXPECT_EQ(problems_of({}, longer, administrator, limits), refused);
  EXPECT_EQ(problems_of(longer, longer, administrator, limits), "");
  EXPECT_EQ(problems_of(other, longer, administrator, limits), refused);
}

}  // namespace
}  // namespace service_test
