// SPDX-License-Identifier: Apache-2.0
// One operator's session: its mode, the job whose lines are being read, and the status of its commands.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "shell/context.h"
#include "shell/exit_status.h"
#include "shell/job_body.h"
#include "shell/parse.h"
#include "shell/pipes.h"
#include "shell/seen.h"

namespace shell {

struct Options {
  Identity identity;
  bool interactive = false;  // a person at a terminal: no configuration command before `configure terminal`
  bool debug = false;
  bool pages = true;              // shows long output a screen at a time
  bool input_is_stdin = false;    // commands come from standard input, so no file can be read from it
  bool reports_failures = false;  // names the line of a command that failed
  std::function<std::optional<std::string>(const char *prompt)> ask_secret;  // empty: nobody can be asked
  std::function<bool(const char *question)> agrees;                          // empty: nobody can be asked
  std::function<void()> before_command;                                      // called before each command; may be empty
};

class Session {
 public:
  explicit Session(Options options);
  ~Session();
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  // Processes one line of input. `origin` precedes the shell's own messages ("file:3"; may be empty).
  int feed(std::string_view line, std::string_view origin = {});
  int finish(std::string_view origin = {});                      // at the end of the input
  int give_up(std::string_view origin, const std::string &why);  // when the input cannot be read any further
  void interrupt();                                              // discards the job whose lines are being read
  std::optional<std::string> take_back();  // removes and returns the last of these lines, to be typed again

  bool over() const { return over_; }     // after `exit` in the exec mode
  int status() const { return status_; }  // of the last command that failed, 0..255; 0: all succeeded
  bool takes_body() const { return body_.has_value(); }
  std::string prompt() const;
  Scope scope() const;

  // For the actions.
  const Options &options() const { return options_; }
  Mode mode() const { return mode_; }
  void enter(Mode mode, std::string schedule = {});
  void leave() { over_ = true; }
  const std::string &schedule() const { return schedule_; }  // of the schedule mode
  const std::string &line() const { return line_; }          // as it was typed
  void note(const std::string &text) const;                  // tells the operator something that is no failure
  void set_paging(bool on) { options_.pages = on; }
  void enable_scheduler_tree() { scheduler_tree_ = true; }
  void set_debug(bool on) { options_.debug = on; }
  Context context(const Command &command) const;  // a schedule's commands have its name as their first parameter
  // `seen`: the job as the operator has seen it, so that what others change meanwhile is not lost; none: not looked at.
  void take_body(std::string name, bool refused, std::optional<SeenJob> seen = std::nullopt);
  // The configuration as the operator last saw it, so that a change based on an older one is refused.
  void note_configuration(std::string text) { configuration_read_ = std::move(text); }
  const std::optional<std::string> &configuration_read() const { return configuration_read_; }

 private:
  int feed_command(std::string_view line, std::string_view origin);
  int feed_body(std::string_view line, std::string_view origin);
  int feed_meant(const Piped &piped, std::string_view line, std::string_view origin);
  int run_piped(const Match &match, const std::vector<Filter> &filters, std::string_view origin);
  void complain_of(const Problem &problem, std::string_view line, std::string_view origin) const;
  int refuse(const Problem &problem, std::string_view line, std::string_view origin) const;
  int refuse_json(const Piped &piped, std::string_view line, std::string_view origin) const;
  int refuse_value(const Match &match, const Problem &problem, std::string_view line, std::string_view origin);
  enum class Form { text, json };
  int run(const Match &match, Form form, std::string_view origin);
  int define(const JobBody &body, std::string_view origin);
  bool was_changed_meanwhile(const JobBody &body) const;
  void tell_changes_of_schedule() const;
  void note_schedule();
  int outcome(int status, std::string_view origin) const;  // reports a failed command's line, see reports_failures
  int record(int status);

  Options options_;
  Mode mode_ = Mode::exec;
  std::string schedule_;
  bool scheduler_tree_ = true;  // false from disabling the feature until it is enabled again
  std::optional<JobBody> body_;
  std::optional<SeenJob> seen_job_;           // before its block began
  std::optional<std::string> seen_schedule_;  // the schedule of the mode, as of the last command about it
  std::string origin_, line_;                 // of the current command
  size_t prompt_width_ = 0;                   // of the prompt at which it was typed
  std::optional<std::string> configuration_read_;
  bool over_ = false;
  int status_ = 0;
};

}  // namespace shell
