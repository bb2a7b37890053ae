# SPDX-License-Identifier: Apache-2.0
"""Who may do what."""

from rows import Row

AUTHORITY, DISPATCH, CONTROL = "service/request/authority.cpp", "service/request/dispatch.cpp", "service/request/control.cpp"
RIGHTS = "service_rights_test"
USER, OUTSIDE = "Rights.of_a_user_are_those_of_everybody_and_to_configure", (
    "Rights.of_a_user_outside_the_groups_that_configure_are_those_of_everybody")
REMOTE = "Rights.of_a_remote_user_without_a_password_are_those_of_everybody_and_to_store_one"
SPOKEN_FOR = "Rights.of_root_who_speaks_for_a_user_are_the_users"
CLOSED = "Rights.of_a_user_whose_account_is_closed_change_nothing"
NAMES = "Rights.on_a_password_are_of_the_very_name"
SEEN, OWN = "Authority.users_see_their_own_jobs_schedules_and_log_and_root_sees_all", (
    "Authority.everybody_works_with_their_own_and_the_administrator_with_everything")
OUTLASTS = "PamTest.no_clear_password_outlasts_its_request_in_the_services_memory"
REQUESTS, IDENTITY = "service_request_test", "transport_identity_test"


def opened(operation, place):
    """An administrator's operation open to users."""
    return Row(f"open to users: {operation}", place, f"{operation}, For::administrator", f"{operation}, For::everybody",
               RIGHTS, USER)  # fmt: skip


ROWS = [
    *(opened(f"SCH_OP_{name}", DISPATCH) for name in
      ("RESIZE_LOG", "RENAME_LOG", "CLEAR_LOG", "SET_EMAIL_FROM", "CLEAR_EMAIL_REPLYTO", "SET_EMAIL_SMTP")),
    *(opened(f"Operation::{name}", CONTROL) for name in
      ("disable_feature", "copy_running_startup", "set_logging_level", "erase_startup")),
    *(opened(f"Operation::{name}", "service/request/shown.h") for name in ("memory_statistics", "history", "metrics")),
    Row("open to who may not configure", DISPATCH, "SCH_OP_SCHEDULE_EMAIL, For::user", "SCH_OP_SCHEDULE_EMAIL, For::everybody",
        RIGHTS, OUTSIDE),
    Row("a document open to users", CONTROL, "(!known || row->whom == For::administrator) && ",
        "!as_json && (!known || row->whom == For::administrator) && ", RIGHTS, USER),
    Row("rows without their rights", DISPATCH, "  if (const uint32_t status = may_call(*row, call); status != 0) return with_status(status);\n", "",
        RIGHTS, USER),
    Row("everybody allowed where users are", DISPATCH, "row.whom == For::everybody || context", "row.whom != For::user || context",
        RIGHTS, USER),
    Row("the peer is the administrator", "service/request/authority.h", "caller.uid == 0; }", "caller.peer_uid == 0; }",
        RIGHTS, SPOKEN_FOR),
    Row("one's group is not asked for", AUTHORITY, "  if (!is_allowed(caller, allowed, groups)) return control::err_not_allowed;\n", "",
        RIGHTS, OUTSIDE),
    Row("a password that runs need is not asked for", AUTHORITY,
        "return host::security_read(name) ? 0 : SCH_STATUS_NO_PASSWORD;", "return 0;", RIGHTS, REMOTE),
    Row("no name is a name", AUTHORITY, "  if (name.empty()) return SCH_STATUS_NO_USER_NAME;\n", "",
        RIGHTS, "Rights.of_a_caller_without_a_name_are_those_of_everybody"),
    Row("anybody stores a password", CONTROL,
        "  if (operation == Operation::security_store && !may_store_password(call)) return with_status(control::err_not_allowed);\n", "",
        RIGHTS, OUTSIDE),
    Row("a name's prefix is taken for the name", AUTHORITY, "caller.user_name == user;", "caller.user_name.starts_with(user);",
        RIGHTS, NAMES),
    Row("a name that goes on is taken for the name", AUTHORITY, "caller.user_name == user;", "user.starts_with(caller.user_name);",
        RIGHTS, NAMES),
    Row("a closed account changes runs", CONTROL, "  return of_runs || of_configuration ||", "  return of_configuration ||",
        RIGHTS, CLOSED),
    Row("a closed account renames", CONTROL, " || operation == Operation::rename;", ";", RIGHTS, CLOSED),
    Row("a closed account removes passwords", CONTROL, "operation == Operation::security_store ||\n         operation == Operation::security_remove;",
        "operation == Operation::security_store;", RIGHTS, CLOSED),
    Row("a closed account configures", DISPATCH, "incoming.service == SCH_SERVICE_CONFIG;\n  return incoming", "false;\n  return incoming",
        RIGHTS, CLOSED),
    Row("an order without a right to configure", "service/request/run_orders.cpp",
        "  if (const uint32_t status = may_change(call); status != 0) return status;\n", "", RIGHTS, OUTSIDE),
    Row("a new name without a right to configure", "service/request/rename.cpp",
        "  if (const uint32_t status = may_change(call); status != 0) return with_status(status);\n", "", RIGHTS, OUTSIDE),
    Row("a configuration without a right to configure", "service/request/configuration.cpp", "  if (status != 0) return status;\n  if (order", "  if (order",
        RIGHTS, OUTSIDE),
    Row("others' jobs are used", "service/request/ownership.cpp",
        "return call.context.authority.may_use(call.caller, owner_of(**slot)) ? 0 : control::err_not_owner;", "return 0;", REQUESTS, OWN),
    Row("others' schedules are used", "service/request/ownership.cpp",
        "return call.context.authority.may_use(call.caller, owner_of(**entry)) ? 0 : control::err_not_owner;", "return 0;", REQUESTS, OWN),
    Row("others' jobs are shown", "service/request/show.cpp",
        "slot.hdr != nullptr && call.context.authority.may_use(call.caller, owner_of(slot));", "slot.hdr != nullptr;", REQUESTS, SEEN),
    Row("others' outcomes are shown", "service/request/show_log.cpp",
        "  if (!call.context.authority.administrator(call.caller)) filter.owner_tag = owner_tag(call.caller.uid);\n", "", REQUESTS, SEEN),
    Row("others' outputs are shown", "service/request/raw_output.cpp",
        "  if (!call.context.authority.administrator(call.caller)) filter.owner_tag = owner_tag(call.caller.uid);\n", "",
        "service_log_test", "RawOutput.is_its_owners_and_the_administrators"),
    Row("the end of a job within its text", "service/request/decode.cpp", 'find_last_not_of(" \\t\\r")', 'find_last_not_of(" \\t")',
        "service_decode_test", "Decode.wrong_requests_are_answered_with_their_status_and_change_nothing"),
    Row("a user's service open to others", "service/service.cpp", "  if (!host::paths().system_wide) listening.only_uid = user_.uid;\n", "",
        "service_program_test", "ServiceProgram.an_ordinary_users_service_answers_no_third_user"),
    Row("a raw client of a third user is answered", "host/transport/server.cpp",
        "  if (options_.only_uid && uid != *options_.only_uid && !peer.is_root()) return err_not_permitted;\n", "",
        IDENTITY, "IdentityTest.a_users_own_service_lets_only_that_user_and_root_in"),
    Row("a key file of another owner", "host/files/private_file.cpp", "info.st_uid != geteuid()", "false",
        "security_seal_test", "SealTest.a_key_that_is_not_a_private_file_of_32_bytes_is_refused_and_left"),
    Row("a name service that folds case", "host/security/users.cpp", "user && user->name == name ? user : std::nullopt", "user",
        "security_users_test", "UsersTest.a_name_service_that_folds_case_makes_no_second_name_of_a_user"),
    Row("the text of another user's store", "host/store/text.cpp",
        "  if (Result<void> safe = check_private_directory(paths().state); !safe) return no_place_for_stores(safe.error());\n  const Result<pss_handle> handle",
        "  const Result<pss_handle> handle", "store_test", "TextTest.directory_of_somebody_else_is_neither_dumped_nor_touched"),
    Row("a password is asked for visibly", "shell/keyboard.cpp", "& ~static_cast<tcflag_t>(ECHO)", "| static_cast<tcflag_t>(ECHO)",
        "shell_terminal_test", "Terminal.asks_for_a_password_without_showing_it"),
    Row("a pager that starts a shell", "shell/pager.cpp", '  setenv("LESSSECURE", "1", 1);', "  ;",
        "shell_pager_test", "Pager.starts_no_other_program"),
    Row("a password stays where it was received", "host/transport/session.cpp",
        "  explicit_bzero(packet.data(), size);  // a password may have been in it\n", "", "security_pam_test", OUTLASTS),
    Row("a password stays in the stack", "host/transport/session.cpp", "in it\n  wipe_stack_below();", "in it", "security_pam_test", OUTLASTS),
]  # fmt: skip
