// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/observed.h"

#include <sstream>
#include <stdexcept>

namespace oracle {
namespace {

std::string field(const char *text, size_t size) {
  return {text, strnlen(text, size)};
}

// The cells of a line of the service's tables: two blanks stand between them.
std::vector<std::string> cells_of(const std::string &line) {
  std::vector<std::string> cells;
  for (size_t at = 0; at < line.size();) {
    const size_t end = std::min(line.find("  ", at), line.size());
    cells.push_back(line.substr(at, end - at));
    at = std::min(line.find_first_not_of(' ', end), line.size());
  }
  return cells;
}

std::vector<std::vector<std::string>> rows_of(const std::string &text, const std::string &first_heading) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(text);
  bool in_table = false;
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> cells = cells_of(line);
    if (in_table && !cells.empty()) rows.push_back(cells);
    in_table = in_table || (cells.size() > 1 && cells.front() == first_heading);
  }
  return rows;
}

time_t moment_of(const std::string &cell) {
  if (cell.starts_with("asked by ")) return 0;
  struct tm fields = {};
  if (strptime(cell.c_str(), "%a %Y-%m-%d %H:%M:%S +0000", &fields) == nullptr)
    throw std::runtime_error("not a moment: '" + cell + "'");
  return timegm(&fields);
}

// "missed 3 times": three due times; else what is missed is one.
void take_outcome(const std::string &cell, SeenRun *run) {
  const size_t blank = cell.find(' ');
  run->outcome = cell.substr(0, blank);
  if (run->outcome == "missed")
    run->missed = blank == std::string::npos ? 1 : static_cast<uint32_t>(std::stoul(cell.substr(blank + 1)));
}

bool see_log(Client &client, std::vector<LogEntry> *log) {
  const std::optional<Reply> reply = client.show(SCH_OP_SHOW_LOG);
  if (!reply) return false;
  uint32_t number = 0;
  for (const std::string &piece : reply->pieces) {
    const auto entry = record_of<sch_log_entry>(piece);
    if (entry.count == 0) break;
    const std::string text = piece.substr(std::min(piece.size(), sizeof entry));
    if (entry.number == number) {
      log->back().output += text;
      continue;
    }
    number = entry.number;
    log->push_back({field(entry.schedule, sizeof entry.schedule), field(entry.job, sizeof entry.job), text,
                    entry.wait_status >> 8 & 0xff});
  }
  return true;
}

bool see_schedules(Client &client, std::map<std::string, SeenSchedule> *schedules) {
  int32_t cursor = SCH_CURSOR_FIRST;
  while (true) {
    const std::optional<Reply> reply = client.show(SCH_OP_SHOW_SCHEDULE, cursor);
    if (!reply) return false;
    const std::string text = reply->text();
    if (text.empty()) return true;
    const auto shown = record_of<sch_show_schedule_reply>(text);
    SeenSchedule &schedule = (*schedules)[field(shown.name, sizeof shown.name)];
    schedule.executions = shown.execution_count;
    for (int32_t i = 0; i < shown.job_count; i++) {
      const auto job = record_of<sch_job_status_entry>(
          text.substr(sizeof shown + static_cast<size_t>(i) * sizeof(sch_job_status_entry)));
      schedule.codes[field(job.name, sizeof job.name)] = job.wait_status >> 8 & 0xff;
    }
    cursor = shown.number;
  }
}

}  // namespace

bool is_under_way(const SeenRun &run) {
  return run.outcome == "running" || run.outcome == "waiting";
}

std::optional<std::vector<SeenRun>> see_history(Client &client, const std::string &schedule) {
  const uint32_t kept = schedule.empty() ? control::query_lines_limit : 64;
  const std::optional<Reply> reply =
      client.control(control::Operation::show_history, bytes_of(control::HistoryQuery{0, kept, 0}) + schedule);
  if (!reply) return std::nullopt;
  if (reply->status != 0) throw std::runtime_error("the history of " + schedule + " is refused");
  std::vector<SeenRun> runs;
  for (const std::vector<std::string> &cells : rows_of(reply->text(), "run")) {
    SeenRun run;
    run.number = std::stoull(cells.at(0));
    run.schedule = cells.at(1);
    run.due = moment_of(cells.at(2));
    take_outcome(cells.at(5), &run);
    runs.push_back(run);
  }
  return runs;
}

std::optional<SeenRun> see_run(Client &client, SeenRun run) {
  const std::optional<Reply> reply =
      client.control(control::Operation::show_history, bytes_of(control::HistoryQuery{run.number, 0, 0}));
  if (!reply) return std::nullopt;
  if (reply->status != 0) throw std::runtime_error("run " + std::to_string(run.number) + " is in the list alone");
  for (const std::vector<std::string> &cells : rows_of(reply->text(), "job"))
    run.jobs.push_back({cells.at(0), cells.at(1), static_cast<uint32_t>(std::stoul(cells.at(2)))});
  return run;
}

std::optional<Observed> observe(Client &client) {
  Observed seen;
  if (!see_schedules(client, &seen.schedules)) return std::nullopt;
  for (const auto &[name, _] : seen.schedules) {
    std::optional<std::vector<SeenRun>> runs = see_history(client, name);
    if (!runs) return std::nullopt;
    seen.runs[name] = std::move(*runs);
  }
  if (!see_log(client, &seen.log)) return std::nullopt;
  return seen;
}

}  // namespace oracle
