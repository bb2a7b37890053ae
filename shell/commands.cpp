// SPDX-License-Identifier: Apache-2.0
// The words, parameters and commands of the shell, with what each command calls.
#include "shell/actions.h"
#include "shell/grammar.h"

namespace shell {

namespace {

using control::Operation;

constexpr Word word_table[] = {
    {"aaa-authentication", "The password with which jobs of a remote user are authenticated"},
    {"clear", "Empty something"},
    {"commands", "The job's commands in one line, with ';' between them"},
    {"configure", "Change the configuration"},
    {"copy", "Copy a configuration"},
    {"daily", "Every day"},
    {"debug", "Turn the debug trace on"},
    {"disable", "Let something rest"},
    {"dump", "Write a store's records as text"},
    {"edit", "Change something in an editor"},
    {"email", "How job output is mailed"},
    {"email-addr", "An address that receives the schedule's output"},
    {"enable", "Let something run again"},
    {"end", "Back to the first mode"},
    {"exit", "Leave this mode, or the shell"},
    {"failed", "Those that did not succeed alone"},
    {"feature", "Turn a feature on"},
    {"force", "Although schedules use it"},
    {"from", "The sender's address"},
    {"help", "List the commands of this mode"},
    {"history", "What has happened"},
    {"internal", "The insides of service and shell"},
    {"job", "A job"},
    {"kill", "End something now"},
    {"last", "So many of the newest"},
    {"level", "The level up to which messages are logged"},
    {"load", "Replace a store's records by those of a text"},
    {"logfile", "The job log"},
    {"logging", "System messages"},
    {"memory", "Memory by type"},
    {"monthly", "Every month"},
    {"name", "By name"},
    {"no", "Undo, remove, or restore the default"},
    {"password", "The password; asked for without echo when it is left out"},
    {"port", "The server's port"},
    {"rename", "Give something another name"},
    {"repeat", "Again and again with this period between the runs"},
    {"reply-to", "The address to which answers go"},
    {"run", "A run of a schedule"},
    {"running-config", "The configuration in use"},
    {"schedule", "A schedule"},
    {"scheduler", "The command scheduler"},
    {"show", "Show something"},
    {"size", "The job log's size"},
    {"smtp-server", "The mail server"},
    {"start", "Once, or the first run"},
    {"startup-config", "The configuration of the next boot"},
    {"status", "How the service does"},
    {"store", "The service's stores as text"},
    {"terminal", "From this terminal"},
    {"time", "When the schedule runs"},
    {"transport", "How job output leaves this system"},
    {"undebug", "Turn the debug trace off"},
    {"upcoming", "What will run"},
    {"username", "Another user than the one who types"},
    {"vrf", "The routing instance of the mail server"},
    {"weekly", "Every week"},
    {"config", "The whole configuration"},
    {"0", "The password follows in clear text"},
    {"7", "The password follows in its sealed form"},
};

constexpr Parameter parameter_table[] = {
    {"job", Kind::name, 0, "a job's name: begins with a letter or digit, may have '_' or '-', at most 31 characters"},
    {"schedule", Kind::name, 0, "a schedule's name: as a job's"},
    {"new-name", Kind::name, 0, "another name, by the same rule"},
    {"commands", Kind::rest, 0, "COMMAND;COMMAND;..."},
    {"daily", Kind::text, 0, "HH:MM"},
    {"weekly", Kind::text, 0, "dow:HH:MM, dow = 1..7 or Sun, Mon ... Sat"},
    {"monthly", Kind::text, 0, "dm:HH:MM, dm = 1..31"},
    {"start", Kind::text, 0, "yyyy:mmm:dd:HH:MM or +dd:HH:MM"},
    {"period", Kind::text, 0, "dd:HH:MM, at least one minute"},
    {"kilobytes", Kind::kilobytes, 0, "the size in kilobytes"},
    {"uri", Kind::file_uri, 0, "flash:NAME, a file that stays, or volatile:NAME"},
    {"address", Kind::address, 0, "an e-mail address, at most 63 characters"},
    {"host", Kind::host, 0, "a host's name or IPv4 or IPv6 address"},
    {"port", Kind::port, 0, "a TCP port"},
    {"vrf", Kind::vrf, 0, "a routing instance's name"},
    {"user", Kind::user, SCH_PARAM_USER_NAME, "a user's name"},
    {"password", Kind::text, SCH_PARAM_CLEAR_PASSWORD, "a password in clear text"},
    {"sealed", Kind::text, SCH_PARAM_SEALED_PASSWORD, "a password in its sealed form"},
    {"level", Kind::level, 0, "0 emergencies to 7 debugging; 5 is the default"},
    {"count", Kind::count, 0, "how many lines"},
    {"run", Kind::run, 0, "a run's number, as 'show scheduler history' has it"},
    {"store", Kind::text, 0, "a store, e.g. running:scheduler_runtime or startup:scheduler_startup"},
    {"file", Kind::text, 0, "a file on this machine; without it standard output or input"},
};

constexpr Command library(Mode mode, const char *syntax, const char *help, int (*handler)(const sch_cli_cmd_ctx *),
                          uint32_t subcommand = 0) {
  return {mode, syntax, help, handler, nullptr, subcommand};
}

constexpr Command own(Mode mode, const char *syntax, const char *help, int (*action)(Session &, const Match &)) {
  return {mode, syntax, help, nullptr, action, 0};
}

constexpr Mode exec = Mode::exec, config = Mode::config, schedule = Mode::schedule;

const Command command_table[] = {
    own(exec, "configure terminal", "Enter the configuration mode", enter_config),
    own(exec, "show scheduler job [name <job>]", "Show jobs with their commands", show_jobs),
    own(exec, "show scheduler schedule [name <schedule>]", "Show schedules with the outcome of their last run",
        show_schedules),
    library(exec, "show scheduler config", "Show the scheduler's configuration as commands", sch_cli_show_config),
    library(exec, "show scheduler logfile", "Show the job log with each run's output", sch_cli_show_logfile),
    library(exec, "show scheduler internal memory", "Show the service's memory by type", sch_cli_show_memstats),
    own(exec, "show scheduler status", "Show how the service does, and the users' shares",
        show_text<Operation::status>),
    own(exec, "show scheduler upcoming [<count>]", "Show which schedules are due next", show_upcoming),
    own(exec, "show scheduler upcoming name <schedule>", "Show when a schedule is due the next times", show_upcoming),
    own(exec, "show scheduler history [schedule <schedule>] [last <count>]", "Show the newest runs and their outcomes",
        show_runs),
    own(exec, "show scheduler history [schedule <schedule>] [last <count>] failed",
        "Show the newest runs that did not succeed", show_failed_runs),
    own(exec, "show scheduler history run <run>", "Show a run with its jobs", show_run),
    own(exec, "show scheduler internal history", "Show the debug history of service and shell", show_history),
    own(exec, "show running-config", "Show the configuration in use as commands", show_text<Operation::running_text>),
    own(exec, "show startup-config", "Show the configuration of the next boot as commands",
        show_text<Operation::startup_text>),
    own(exec, "show logging level scheduler", "Show the scheduler's logging level", show_logging_level),
    own(exec, "copy running-config startup-config", "Save the configuration in use for the next boot",
        copy_running_startup),
    library(exec, "clear scheduler logfile", "Empty the job log", sch_cli_logfile_clear),
    own(exec, "scheduler run schedule <schedule>", "Run a schedule now; its due times stay", run_schedule),
    own(exec, "scheduler kill run <run>", "End a run that is under way or waits", kill_run),
    own(exec, "scheduler enable schedule <schedule>", "Let a disabled schedule be due again", enable_schedule),
    own(exec, "scheduler disable schedule <schedule>", "Keep a schedule and let it be due no longer", disable_schedule),
    own(exec, "debug scheduler", "Write the debug trace of commands to standard error", debug_on),
    own(exec, "undebug [scheduler]", "End the debug trace", debug_off),
    own(exec, "no debug scheduler", "End the debug trace", debug_off),
    own(exec, "store dump <store> [<file>]", "Write a store's records as text, the same on every machine", store_dump),
    own(exec, "store load <store> [<file>]", "Replace a store's records by those of a dumped text", store_load),
    own(exec, "end", "Go back to the first mode", leave_all_modes),
    own(exec, "exit", "Leave this mode, or the shell", leave_mode),
    own(exec, "help", "List the commands of this mode", list_commands),

    library(config, "feature scheduler", "Enable the scheduler", sch_enable_scheduler),
    library(config, "no feature scheduler", "Disable the scheduler", sch_enable_scheduler),
    own(config, "scheduler job name <job>",
        "Define a job, or replace its commands: they follow, a line each, up to a line 'end-job'", begin_job),
    own(config, "scheduler job name <job> commands <commands>", "Define a job, or replace its commands, in one line",
        define_job_in_one_line),
    own(config, "no scheduler job name <job> [force]", "Delete a job; with force one that schedules use, too",
        delete_job),
    own(config, "scheduler rename job <job> <new-name>", "Give a job another name; its schedules and history stay",
        rename_job),
    own(config, "scheduler rename schedule <schedule> <new-name>", "Give a schedule another name; its history stays",
        rename_schedule),
    own(config, "edit scheduler job name <job>", "Change a job's commands in the editor of $VISUAL or $EDITOR",
        edit_job),
    own(config, "scheduler schedule name <schedule>", "Create a schedule or change one: enter its mode",
        enter_schedule),
    library(config, "no scheduler schedule name <schedule>", "Delete a schedule", sch_cli_create_delete_schedule),
    library(config, "scheduler logfile size <kilobytes>", "Set the job log's size", sch_cli_logfile_resize),
    library(config, "no scheduler logfile size [<kilobytes>]", "Restore the job log's default size",
            sch_cli_logfile_resize),
    library(config, "scheduler logfile name <uri>", "Keep the job log in another file", sch_cli_logfile_rename),
    library(config, "no scheduler logfile name [<uri>]", "Keep the job log in its default file",
            sch_cli_logfile_rename),
    library(config, "scheduler transport email from <address>", "Set the sender's address",
            sch_cli_config_email_transport, SCH_EMAIL_FROM),
    library(config, "no scheduler transport email from [<address>]", "Remove the sender's address",
            sch_cli_config_email_transport, SCH_EMAIL_FROM),
    library(config, "scheduler transport email reply-to <address>", "Set the address to which answers go",
            sch_cli_config_email_transport, SCH_EMAIL_REPLYTO),
    library(config, "no scheduler transport email reply-to [<address>]", "Remove the address to which answers go",
            sch_cli_config_email_transport, SCH_EMAIL_REPLYTO),
    library(config, "scheduler transport email smtp-server <host> [port <port>] [vrf <vrf>]", "Set the mail server",
            sch_cli_config_email_transport, SCH_EMAIL_SMTP),
    library(config, "no scheduler transport email smtp-server [<host>] [port <port>] [vrf <vrf>]",
            "Remove the mail server", sch_cli_config_email_transport, SCH_EMAIL_SMTP),
    own(config, "scheduler aaa-authentication [username <user>] [password]",
        "Store the password of a remote user, asked for without echo", ask_password),
    library(config, "scheduler aaa-authentication [username <user>] password <password>",
            "Store the password of a remote user", sch_cli_aaa_auth_passwd),
    library(config, "scheduler aaa-authentication [username <user>] password 0 <password>",
            "Store the password of a remote user", sch_cli_aaa_auth_passwd),
    library(config, "scheduler aaa-authentication [username <user>] password 7 <sealed>",
            "Store the password of a remote user in its sealed form", sch_cli_aaa_auth_passwd),
    library(config, "no scheduler aaa-authentication [username <user>] [password]",
            "Remove the password of a remote user", sch_cli_aaa_auth_passwd),
    own(config, "logging level scheduler <level>", "Set the scheduler's logging level", set_logging_level),
    own(config, "no logging level scheduler [<level>]", "Restore the scheduler's default logging level",
        reset_logging_level),

    library(schedule, "time daily <daily>", "Run every day", sch_cli_modify_schedule, SCH_SCHEDULE_DAILY),
    library(schedule, "time weekly <weekly>", "Run every week", sch_cli_modify_schedule, SCH_SCHEDULE_WEEKLY),
    library(schedule, "time monthly <monthly>", "Run every month", sch_cli_modify_schedule, SCH_SCHEDULE_MONTHLY),
    library(schedule, "time start <start>", "Run once", sch_cli_modify_schedule, SCH_SCHEDULE_ONESHOT),
    library(schedule, "time start <start> repeat <period>", "Run first at a time, then with a period",
            sch_cli_modify_schedule, SCH_SCHEDULE_PERIODIC),
    library(schedule, "time repeat <period>", "Run first in two minutes, then with a period", sch_cli_modify_schedule,
            SCH_SCHEDULE_PERIODIC),
    own(schedule, "disable", "Keep the schedule and let it be due no longer", disable_this_schedule),
    own(schedule, "no disable", "Let the schedule be due again", enable_this_schedule),
    library(schedule, "no time", "Remove the time", sch_cli_modify_schedule, SCH_MODIFY_CLEAR_TIME),
    library(schedule, "job name <job>", "Assign a job", sch_cli_modify_schedule, SCH_MODIFY_JOB),
    library(schedule, "no job name <job>", "Take a job off", sch_cli_modify_schedule, SCH_MODIFY_JOB),
    library(schedule, "email-addr <address>", "Mail the output to an address", sch_cli_modify_schedule_emailaddr),
    library(schedule, "no email-addr <address>", "Stop mailing the output to an address",
            sch_cli_modify_schedule_emailaddr),
};

}  // namespace

std::span<const Command> commands() {
  return command_table;
}
std::span<const Word> words() {
  return word_table;
}
std::span<const Parameter> parameters() {
  return parameter_table;
}

}  // namespace shell
