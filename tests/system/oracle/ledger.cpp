// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/ledger.h"

#include <algorithm>

namespace oracle {
namespace {

std::string text_of(const SeenRun &run) {
  std::string text = "run " + std::to_string(run.number) + " of " + run.schedule + " due " + std::to_string(run.due) +
                     " " + run.outcome + " (";
  for (const JobOutcome &job : run.jobs)
    text += " " + job.job + ":" + job.outcome + ":" + std::to_string(job.code);
  return text + " )";
}

std::string text_of(const std::vector<uint32_t> &codes) {
  std::string text;
  for (const uint32_t code : codes)
    text += " " + std::to_string(code);
  return text;
}

bool is_whole_runs(const SeenRun &run) {
  return run.jobs.size() == 1 && run.jobs.front().job == "-";
}

// The job itself was there, and left its line.
bool began_for_certain(const JobOutcome &job) {
  return job.outcome == "success" || job.outcome == "failed";
}

bool may_have_begun(const JobOutcome &job) {
  return began_for_certain(job) || job.outcome == "interrupted" || job.outcome == "stopped" || job.outcome == "killed";
}

}  // namespace

void Ledger::add_schedule(const std::string &name, std::set<std::string> jobs, time_t first, time_t period_s) {
  Expected &expected = schedules_[name];
  expected.jobs = std::move(jobs);
  expected.next = first;
  expected.period_s = period_s;
}

void Ledger::switched_off(const std::string &schedule, time_t after, time_t until) {
  Expected &expected = schedules_.at(schedule);
  for (time_t due = expected.next; due <= until; due += expected.period_s)
    if (due > after) expected.off.insert(due);
}

void Ledger::cleared() {
  for (const auto &[key, codes] : codes_)
    cleared_[key] = codes.size();
}

// The job that is ended so does not end by itself, but it may not have begun.
void Ledger::judge_kills(const SeenRun &run, Complaints *complaints) {
  if (killed_.erase(run.number) == 0) return;
  for (const JobOutcome &job : run.jobs)
    if (began_for_certain(job)) complaints->push_back("its end by an operator was acknowledged: " + text_of(run));
}

void Ledger::add(const SeenRun &run, Complaints *complaints) {
  const auto known = schedules_.find(run.schedule);
  if (known == schedules_.end()) return;  // one without jobs, that is changed alone
  Expected &expected = known->second;
  if (run.number <= expected.newest) complaints->push_back("an older run came up later: " + text_of(run));
  expected.newest = std::max(expected.newest, run.number);
  runs_[run.number] = run;
  std::multiset<std::string> jobs;
  for (const JobOutcome &job : run.jobs) {
    const Key key = {run.schedule, job.job};
    jobs.insert(job.job);
    codes_[key].push_back(job.code);
    certain_[key] += began_for_certain(job);
    possible_[key] += may_have_begun(job);
  }
  if (!is_whole_runs(run)) expected.executions++;
  const std::multiset<std::string> wanted(expected.jobs.begin(), expected.jobs.end());
  if (!is_whole_runs(run) && jobs != wanted) complaints->push_back("not one outcome for each job: " + text_of(run));
  account_for(&expected, run, complaints);
  judge_kills(run, complaints);
}

void Ledger::account_for(Expected *expected, const SeenRun &run, Complaints *complaints) const {
  if (run.due == 0) {
    if (expected->promised.erase(run.number) == 0 && expected->perhaps-- == 0)
      complaints->push_back("nobody asked for " + text_of(run));
    return;
  }
  const time_t times = run.missed == 0 ? 1 : time_t{run.missed};
  for (time_t due = run.due, i = 0; i < times; i++, due += expected->period_s)
    if (expected->period_s == 0 || due < expected->next || !expected->taken.insert(due).second)
      complaints->push_back("a due time was taken twice, or never was one: " + text_of(run));
}

void Ledger::judge_due(time_t now, Complaints *complaints) {
  for (auto &[name, expected] : schedules_) {
    while (expected.period_s != 0 && expected.next <= now) {
      const bool was_taken = expected.taken.erase(expected.next) != 0, was_off = expected.off.contains(expected.next);
      if (was_taken && was_off)
        complaints->push_back(name + " ran while it was switched off, due " + std::to_string(expected.next));
      if (!was_taken && !was_off)
        complaints->push_back("nothing became of " + name + " due " + std::to_string(expected.next));
      expected.next += expected.period_s;
    }
    if (!expected.taken.empty()) complaints->push_back(name + " ran before its time");
  }
}

void Ledger::judge_promises(Complaints *complaints) {
  for (auto &[name, expected] : schedules_) {
    for (const uint64_t run : expected.promised)
      complaints->push_back("run " + std::to_string(run) + " of " + name + " was promised and has no outcome");
    expected.promised.clear();
    expected.perhaps = 0;  // it was not stored
  }
  for (const uint64_t run : killed_)
    complaints->push_back("run " + std::to_string(run) + " was killed and has no outcome");
  killed_.clear();
}

void Ledger::judge_history(const Observed &shown, Complaints *complaints) const {
  for (const auto &[name, runs] : shown.runs) {
    if (!schedules_.contains(name)) continue;
    for (const SeenRun &run : runs) {
      const auto known = runs_.find(run.number);
      if (known == runs_.end())
        complaints->push_back("not seen with its jobs: " + text_of(run));
      else if (known->second.due != run.due || known->second.outcome != run.outcome || known->second.schedule != name)
        complaints->push_back("was " + text_of(known->second) + " and is " + text_of(run));
    }
  }
}

// Of each job the log shows its outcomes in order, from some one on to the last, and none twice. What the history has,
// the log shows.
void Ledger::judge_log(const Seen &seen, Complaints *complaints) {
  std::map<Key, std::vector<uint32_t>> shown;
  for (const LogEntry &entry : seen.shown.log)
    shown[{entry.schedule, entry.job}].push_back(entry.code);
  std::map<Key, size_t> in_history;
  for (const auto &[name, runs] : seen.shown.runs)
    for (const SeenRun &run : runs)
      if (const auto known = runs_.find(run.number); known != runs_.end())
        for (const JobOutcome &job : known->second.jobs)
          in_history[{name, job.job}]++;
  for (const auto &[key, codes] : codes_) {
    const size_t most = codes.size() - cleared_[key], least = log_was_cleared_ ? 0 : std::min(most, in_history[key]);
    std::vector<uint32_t> &found = shown[key];
    const bool is_right = found.size() >= least && found.size() <= most &&
                          std::equal(found.begin(), found.end(), codes.end() - static_cast<ptrdiff_t>(found.size()));
    if (!is_right)
      complaints->push_back("the log has of " + key.first + "/" + key.second + ":" + text_of(found) + "; the history " +
                            std::to_string(least) + ":" + text_of(codes));
    if (log_was_cleared_) cleared_[key] = codes.size() - std::min(codes.size(), found.size());
  }
  log_was_cleared_ = false;
}

void Ledger::judge_statuses(const Observed &shown, Complaints *complaints) const {
  for (const auto &[name, expected] : schedules_) {
    const auto schedule = shown.schedules.find(name);
    if (schedule == shown.schedules.end()) {
      complaints->push_back("schedule " + name + " is gone");
      continue;
    }
    if (schedule->second.executions != expected.executions)
      complaints->push_back(name + " shows " + std::to_string(schedule->second.executions) + " executions of " +
                            std::to_string(expected.executions));
    for (const auto &[job, code] : schedule->second.codes) {
      const auto codes = codes_.find({name, job});
      if (codes != codes_.end() && codes->second.back() != code)
        complaints->push_back("the status of " + name + "/" + job + " is " + std::to_string(code) +
                              ", the last outcome " + std::to_string(codes->second.back()));
    }
  }
}

// All that began has ended by now, and has its outcome: what is left over is found at once, and not some day.
void Ledger::judge_jobs(const Seen &seen, Complaints *complaints) {
  for (const auto &[key, possible] : possible_) {
    const auto found = seen.ran.find(key);
    const uint64_t ran = found == seen.ran.end() ? 0 : found->second;
    if (ran < certain_[key] || ran > possible)
      complaints->push_back(key.first + "/" + key.second + " began " + std::to_string(ran) +
                            " times, by its outcomes " + std::to_string(certain_[key]) + " to " +
                            std::to_string(possible));
    certain_[key] = possible_[key] = ran;
  }
  std::set<std::string> shown;
  for (const LogEntry &entry : seen.shown.log) {
    if (!entry.output.starts_with("mark ")) continue;
    const std::string mark = entry.output.substr(5, 36);
    if (!seen.marks.contains(mark)) complaints->push_back("the log has an output of no run: " + mark);
    if (!shown.insert(mark).second) complaints->push_back("the log has one output twice: " + mark);
  }
}

Complaints Ledger::judge(const Seen &seen) {
  Complaints complaints;
  std::vector<SeenRun> news = seen.news;
  std::ranges::sort(news, {}, &SeenRun::number);
  for (const SeenRun &run : news)
    add(run, &complaints);
  judge_due(seen.now, &complaints);
  judge_promises(&complaints);
  judge_history(seen.shown, &complaints);
  judge_log(seen, &complaints);
  judge_statuses(seen.shown, &complaints);
  judge_jobs(seen, &complaints);
  return complaints;
}

std::map<std::string, size_t> Ledger::outcomes() const {
  std::map<std::string, size_t> counts;
  for (const auto &[_, run] : runs_)
    for (const JobOutcome &job : run.jobs)
      counts[job.outcome]++;
  return counts;
}

}  // namespace oracle
