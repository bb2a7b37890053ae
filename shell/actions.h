// SPDX-License-Identifier: Apache-2.0
// The commands that the shell carries out itself. Each returns 0, or a status that it has reported to the operator.
#pragma once

namespace shell {

class Session;
struct Match;

int enter_config(Session &session, const Match &match);
int enter_schedule(Session &session, const Match &match);
int leave_mode(Session &session, const Match &match);
int leave_all_modes(Session &session, const Match &match);
int list_commands(Session &session, const Match &match);
int show_version(Session &session, const Match &match);
int show_clock(Session &session, const Match &match);
int set_terminal_length(Session &session, const Match &match);
int set_terminal_width(Session &session, const Match &match);
int debug_on(Session &session, const Match &match);
int debug_off(Session &session, const Match &match);

int begin_job(Session &session, const Match &match);
int define_job_in_one_line(Session &session, const Match &match);
int rename_job(Session &session, const Match &match);
int rename_schedule(Session &session, const Match &match);
int edit_job(Session &session, const Match &match);
int delete_job(Session &session, const Match &match);
int show_jobs(Session &session, const Match &match);
int show_schedules(Session &session, const Match &match);
int ask_password(Session &session, const Match &match);

int show_reply(Session &session, const Match &match);  // the text with which the service answers the command's query
int show_metrics(Session &session, const Match &match);
int show_running(Session &session, const Match &match);
int show_startup(Session &session, const Match &match);
int show_startup_difference(Session &session, const Match &match);
int replace_configuration(Session &session, const Match &match);
int copy_file_to_running(Session &session, const Match &match);
int copy_startup_to_running(Session &session, const Match &match);
int copy_running_to_file(Session &session, const Match &match);
int copy_startup_to_file(Session &session, const Match &match);
int import_crontab_file(Session &session, const Match &match);
int import_crontab_of_user(Session &session, const Match &match);
int import_crontab_of_system(Session &session, const Match &match);
int erase_startup(Session &session, const Match &match);
int roll_back(Session &session, const Match &match);
int confirm_configuration(Session &session, const Match &match);
int show_configuration_difference(Session &session, const Match &match);
int take_over(Session &session, const Match &match);
int show_history(Session &session, const Match &match);
int copy_running_startup(Session &session, const Match &match);
int show_logging_level(Session &session, const Match &match);
int set_logging_level(Session &session, const Match &match);
int reset_logging_level(Session &session, const Match &match);

int show_runs(Session &session, const Match &match);
int show_run(Session &session, const Match &match);
int show_log(Session &session, const Match &match);
int save_raw_log(Session &session, const Match &match);
int save_raw_run(Session &session, const Match &match);
int run_schedule(Session &session, const Match &match);
int kill_run(Session &session, const Match &match);
int enable_schedule(Session &session, const Match &match);
int disable_schedule(Session &session, const Match &match);

int store_dump(Session &session, const Match &match);
int store_load(Session &session, const Match &match);

}  // namespace shell
