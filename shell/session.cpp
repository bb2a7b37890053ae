// SPDX-License-Identifier: Apache-2.0
#include "shell/session.h"

#include <algorithm>
#include <cstdio>

#include "host/feature.h"
#include "shell/complain.h"
#include "shell/configuration_diff.h"
#include "shell/documents.h"
#include "shell/held_stream.h"
#include "shell/pager.h"
#include "shell/pointer.h"
#include "shell/saved_file.h"
#include "shell/service_request.h"
#include "shell/words.h"

namespace shell {

namespace {

constexpr size_t line_limit = 8192;  // of a command; a job's lines are limited by the job's text

// An exit status has eight bits: a larger status becomes the general failure.
int exit_status(int status) {
  return status >= 0 && status <= failure_status ? status : failure_status;
}

bool asks_for_help(std::string_view line) {
  const std::vector<Token> tokens = split_words(line);
  return !tokens.empty() && tokens.back().text == "?";
}

void print_choices(std::string_view line, const Scope &scope) {
  const std::string_view typed = line.substr(0, line.rfind('?'));
  const std::vector<Choice> all = choices(typed, scope, existing_names);
  for (const Choice &choice : all)
    std::printf("  %-26s %s\n", choice.text.c_str(), choice.help.c_str());
  if (all.empty()) std::printf("%s\n", why_nothing_follows(typed, scope).c_str());
}

bool wants_json(const std::vector<Filter> &filters) {
  return !filters.empty() && filters.front().kind == Filter::Kind::json;
}

bool has_long_output(const Command &command) {
  const std::string_view syntax = command.syntax;
  return syntax.starts_with("show ") || syntax == "help";
}

}  // namespace

Session::Session(Options options) : options_(std::move(options)) {
  host::set_parse_tree_hook([this](uint32_t handle, const std::string &tree) {
    if (handle != options_.identity.handle || tree != "scheduler") return -1;
    scheduler_tree_ = false;
    return 0;
  });
}

Session::~Session() {
  host::set_parse_tree_hook({});
}

Scope Session::scope() const {
  Scope scope;
  if (mode_ == Mode::schedule) scope.modes.push_back(Mode::schedule);
  if (mode_ != Mode::exec) scope.modes.push_back(Mode::config);
  scope.modes.push_back(Mode::exec);
  // A saved configuration begins with its first command, so a script needs no `configure terminal`.
  if (mode_ == Mode::exec && !options_.interactive) scope.modes.push_back(Mode::config);
  scope.scheduler_tree = scheduler_tree_;
  return scope;
}

std::string Session::prompt() const {
  if (body_) return "schedsh(job " + body_->name() + ")> ";
  if (mode_ == Mode::schedule) return "schedsh(schedule " + schedule_ + ")> ";
  return mode_ == Mode::config ? "schedsh(config)> " : "schedsh> ";
}

int Session::feed(std::string_view line, std::string_view origin) {
  prompt_width_ = prompt().size();
  if (body_) return record(feed_body(line, origin));
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  if (is_idle_line(line)) return 0;
  return record(feed_command(line, origin));
}

int Session::give_up(std::string_view origin, const std::string &why) {
  complain(origin, why);
  return record(usage_status);
}

int Session::record(int status) {
  std::fflush(stdout);
  if (status == 0) return 0;
  status_ = exit_status(status);
  return status_;
}

int Session::outcome(int status, std::string_view origin) const {
  if (status != 0 && options_.reports_failures) {
    complain(origin, "failed with status " + std::to_string(exit_status(status)));
  }
  return status;
}

int Session::feed_command(std::string_view line, std::string_view origin) {
  const size_t control = line.size() > line_limit ? line_limit : find_control(line);
  if (control != std::string_view::npos) {
    const char *what = line.size() > line_limit ? "the line is too long" : "a control character";
    complain(origin, std::string(what) + " at column " + std::to_string(control + 1));
    return usage_status;
  }
  if (asks_for_help(line)) {
    print_choices(line, scope());
    return 0;
  }
  const Piped piped = split_pipes(line);
  if (!piped.problem) return feed_meant(piped, line, origin);
  complain_of(*piped.problem, line, origin);
  return usage_status;
}

int Session::feed_meant(const Piped &piped, std::string_view line, std::string_view origin) {
  const std::string command = without_do(piped.command);
  const Parsed parsed = parse(command, scope());
  if (!parsed.match) return refuse(parsed.problem, line, origin);
  line_ = line;
  origin_ = origin;
  if (wants_json(piped.filters) && !parsed.match->command->query) return refuse_json(piped, line, origin);
  return outcome(
      piped.filters.empty() ? run(*parsed.match, Form::text, origin) : run_piped(*parsed.match, piped.filters, origin),
      origin);
}

int Session::refuse_json(const Piped &piped, std::string_view line, std::string_view origin) const {
  const size_t offset = line.find_first_not_of(" \t", piped.command.size() + 1);
  const Problem problem{Problem::Cause::refused, offset, "json", {}, "is nothing that this command can show"};
  complain_of(problem, line, origin);
  return usage_status;
}

// The command's output is captured first, as filters, saving and paging apply to the whole of it.
int Session::run_piped(const Match &match, const std::vector<Filter> &filters, std::string_view origin) {
  HeldStream held(stdout);
  const int status = run(match, wants_json(filters) ? Form::json : Form::text, origin);
  const std::string text = filtered(held.take(), filters);
  const auto has = [&](Filter::Kind kind) {
    return std::find_if(filters.begin(), filters.end(), [&](const Filter &filter) { return filter.kind == kind; });
  };
  if (const auto save = has(Filter::Kind::save); save != filters.end()) {
    if (status != 0) return status;  // what was saved there before is better than nothing
    return write_own_file(save->argument, [&](FILE *file) {
      return std::fwrite(text.data(), 1, text.size(), file) == text.size() ? 0 : failure_status;
    });
  }
  const bool paged = options_.interactive && options_.pages && has(Filter::Kind::no_more) == filters.end();
  const std::optional<Pager> pager = paged ? Pager::start() : std::nullopt;
  std::fwrite(text.data(), 1, text.size(), stdout);
  return status;
}

void Session::complain_of(const Problem &problem, std::string_view line, std::string_view origin) const {
  if (options_.interactive)
    std::fprintf(stderr, "%s\n", pointed_at(problem, line, prompt_width_, terminal_width()).c_str());
  else
    complain(origin, describe(problem));
}

int Session::refuse(const Problem &problem, std::string_view line, std::string_view origin) const {
  complain_of(problem, line, origin);
  const auto meant_in = [&](Mode mode, bool tree) { return parse(line, {{mode}, tree}).match.has_value(); };
  const bool tree = scheduler_tree_;
  if (mode_ == Mode::exec && meant_in(Mode::config, tree)) {
    complain(origin, "it is a configuration command: enter 'configure terminal' first");
  } else if (mode_ != Mode::schedule && meant_in(Mode::schedule, tree)) {
    complain(origin, "it belongs to a schedule: enter 'scheduler schedule name NAME' first");
  } else if (!tree && (meant_in(Mode::exec, true) || meant_in(Mode::config, true) || meant_in(Mode::schedule, true))) {
    complain(origin, "the scheduler is disabled here: 'feature scheduler' brings its commands back");
  }
  return usage_status;
}

// If the command would have begun a job, the job's lines are skipped, so that they are not taken for commands.
int Session::refuse_value(const Match &match, const Problem &problem, std::string_view line, std::string_view origin) {
  complain_of(problem, line, origin);
  if (match.command->begins_job() && !options_.interactive) take_body(match.arguments.front().value, true);
  return usage_status;
}

void Session::note(const std::string &text) const {
  complain(origin_, "note: " + text);
}

int Session::run(const Match &match, Form form, std::string_view origin) {
  const Mode mode = match.command->mode;
  if (mode == Mode::config && mode_ != Mode::config) enter(Mode::config);
  if (const std::optional<Problem> problem = objection_in(match)) return refuse_value(match, *problem, line_, origin);
  if (options_.before_command) options_.before_command();
  const bool paged = options_.interactive && options_.pages && has_long_output(*match.command);
  const std::optional<Pager> pager = paged ? Pager::start() : std::nullopt;
  if (form == Form::json) return show_document(match, *match.command->query);
  if (options_.interactive && mode == Mode::schedule) tell_changes_of_schedule();
  const int status = match.command->action(*this, match);
  if (options_.interactive && mode != Mode::exec) note_schedule();
  return status;
}

// Others may change the schedule while its mode is open: each command changes one thing, so it is carried out all the
// same, but what others did must not get lost unseen.
void Session::tell_changes_of_schedule() const {
  if (!seen_schedule_) return;
  const host::Result<std::string> now = schedule_in_use(options_.identity, schedule_);
  if (!now || *now == *seen_schedule_) return;
  note("schedule " + schedule_ + " was changed by somebody else since:");
  std::fputs(configuration_diff(*seen_schedule_, *now).c_str(), stderr);
}

void Session::note_schedule() {
  seen_schedule_.reset();
  if (mode_ != Mode::schedule) return;
  if (host::Result<std::string> now = schedule_in_use(options_.identity, schedule_)) seen_schedule_ = std::move(*now);
}

Context Session::context(const Command &command) const {
  const std::string *schedule = command.mode == Mode::schedule ? &schedule_ : nullptr;
  return {options_.identity, command.negates(), command.subcommand, options_.debug, schedule};
}

void Session::enter(Mode mode, std::string schedule) {
  mode_ = mode;
  schedule_ = std::move(schedule);
}

}  // namespace shell
