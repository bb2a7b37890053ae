// SPDX-License-Identifier: Apache-2.0
// What each command of the shell sends, byte by byte, with its calls and traces in their order.
#include "tests/cli/exchange.h"
#include "tests/platform/journal.h"

using namespace cli_test;
using platform_test::Conformance;

namespace {

class CliConformance : public CliTest {};

constexpr uint32_t clear_password = 106;
constexpr Handler job = sch_cli_create_delete_job, define = sch_cli_semicolon_delimiter_define_job,
                  schedule = sch_cli_create_delete_schedule, change = sch_cli_modify_schedule,
                  address = sch_cli_modify_schedule_emailaddr, transport = sch_cli_config_email_transport;

std::function<int()> command(Handler handler, const std::vector<std::string> &params, uint32_t subcommand = 0,
                             uint32_t negate = 0) {
  return [=] {
    Context context(params);
    context->subcommand = subcommand;
    context->negate = negate;
    return handler(context.get());
  };
}

// The operator, whose name the platform holds for one of another machine, with a sealed password.
std::function<int()> remote(std::function<int()> body, uint32_t accepted = 1) {
  return [=] {
    fake.remote_users = {"admin"};
    sch_security_user_rec record = {};
    put(record.user_name, "admin");
    record.kind = 2;
    record.form = 7;
    put(record.password, "sealed");
    fake.passwords["admin"] = record;
    fake.aaa_words[1] = accepted;
    return body();
  };
}

int full_check() {
  return static_cast<int>(sch_validate_authentication_passwd(42, "admin"));
}

int server() {
  Context context;
  context.string_param("mail", 0, 8).integer_param(0x01020304).string_param("vrf");
  context->subcommand = SCH_EMAIL_SMTP;
  return sch_cli_config_email_transport(context.get());
}

int resize() {
  Context context;
  context.integer_param(16);
  return sch_cli_logfile_resize(context.get());
}

int rename() {
  static const int uri = 0;
  Context context;
  context.uri_param(&uri);
  return sch_cli_logfile_rename(context.get());
}

int set_password() {
  Context context;
  context.string_param("secret", clear_password);
  return sch_cli_aaa_auth_passwd(context.get());
}

const Conformance rows[] = {
    {"create a job", command(job, {"backup"}), R"(103| scheduler stub received job name backup
(the user is checked twice)
103| scheduler stub enqueing create job name backup
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0000000030(0 x 11)'backup'(0 x 34)
= 0)"},
    {"delete a job, with the flag as it came", command(job, {"a-b_c9"}, 0, 9),
     R"(103| scheduler stub received job name a-b_c9
(the user is checked twice)
103| scheduler stub enqueing delete job name a-b_c9
cmi_req_resp 5950 3 admin console 136 42 0 0x0 020000003000000009(0 x 7)'a-b_c9'(0 x 34)
= 0)"},
    {"a bad name stops before the user check", command(job, {"_x"}), R"(103| scheduler stub received job name _x
err| Invalid name. Name should begin with alphanumeric and may have '_' or '-'.\n
= 255)"},
    {"define a job: lines, without a user check", command(define, {"j", "a;;b;"}),
     R"(103| scheduler stub received job name j ; scheduler stub enqueing define job name j ; length 4 data a\nb\n
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0100000034(0 x 11)6a(0 x 35)04000000610a620a
= 0)"},
    {"define without a name", command(define, {}), R"(103| scheduler stub received NULL job name
= 255)"},
    {"define without a text", command(define, {"backup"}),
     R"(103| scheduler stub received job name backup ; scheduler stub received NULL job-data
= 255)"},
    {"define a bad name, whose text is not looked at", command(define, {"-x"}),
     R"(103| scheduler stub received job name -x
err| Invalid name. Name should begin with alphanumeric and may have '_' or '-'.\n
= 255)"},
    {"define by a block, as it is",
     [] { return sch_cli_define_job(7, "show\nclock\0;x", 13, "_any name", "bob", "ssh"); },
     R"(103| scheduler stub enqueing define job name _any name ; length 13 data show\nclock
cmi_req_resp 5950 3 bob ssh 136 7 0 0x0 010000003d(0 x 11)'_any name'(0 x 27)0d000000'show'0a'clock'003b78
= 0)"},
    {"create a schedule", command(schedule, {"nightly"}),
     R"(103| scheduler stub received schedule name nightly
(the user is checked twice)
103| scheduler stub enqueing create schedule name nightly
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0300000028(0 x 11)'nightly'(0 x 25)
= 0)"},
    {"delete a schedule", command(schedule, {"nightly"}, 0, 1),
     R"(103| scheduler stub received schedule name nightly
(the user is checked twice)
103| scheduler stub enqueing delete schedule name nightly
cmi_req_resp 5950 3 admin console 136 42 0 0x0 050000002800000001(0 x 7)'nightly'(0 x 25)
= 0)"},
    {"a bad schedule name", command(schedule, {"-x"}), R"(103| scheduler stub received schedule name -x
err| Invalid name. Name should begin with alphanumeric and may have '_' or '-'.\n
= 255)"},
    {"a daily time", command(change, {"nightly", "22:30"}, 3), R"((the user is checked twice)
103| modify schedule nightly ; daily <22:30> ; parse str 22:30 ; minute str 30
103| minute retrieved ; hour str 22 ; - hour retrieved ; schedule type: 3 ; year         : 0 ; month        : 0
103| day of month : 0 ; day of week  : 0 ; hour         : 22 ; minute       : 30 ; start time   : 0
103| time schedule change
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0400000078(0 x 11)03000000'nightly'(0 x 61)0300000016(0 x 11)1e(0 x 23)
= 0)"},
    {"a one-shot time, shown when it is verified and when it is sent", command(change, {"nightly", "2027:1:2:3:4"}, 1),
     R"((the user is checked twice)
103| modify schedule nightly ; oneshot <2027:1:2:3:4> ; parse str 2027:1:2:3:4
103| minute str 4 ; minute retrieved ; hour str 3 ; hour retrieved ; dw/dm 2 ; day retrieved ; month 1
103| month retrieved ; year 2027 ; - year retrieved ; schedule type: 1 ; year         : 127 ; month        : 0
103| day of month : 2 ; day of week  : -1 ; hour         : 3 ; minute       : 4 ; start time   : 0
103| schedule type: 1 ; year         : 127 ; month        : 0 ; day of month : 2 ; day of week  : -1
103| hour         : 3 ; minute       : 4 ; start time   : 0 ; time schedule change
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0400000078(0 x 11)01000000'nightly'(0 x 61)0100000003000000ffffffff0200000004(0 x 7)7f(0 x 15)
= 0)"},
    {"a bad one-shot time, shown as far as it was read", command(change, {"nightly", "x"}, 1),
     R"((the user is checked twice)
103| modify schedule nightly ; oneshot <x> ; parse str x ; schedule type: 0
103| year         : -1 ; month        : -1 ; day of month : -1 ; day of week  : -1 ; hour         : -1
103| minute       : 0 ; start time   : 0
err| Incorrect time format. Should be yyyy:mmm:dd:HH:MM or +dd:HH:MM\n
= -1)"},
    {"a bad daily time", command(change, {"nightly", "x"}, 3), R"((the user is checked twice)
103| modify schedule nightly ; daily <x> ; parse str x
err| Incorrect time format. Should be HH:MM\n
= -1)"},
    {"a bad weekly time", command(change, {"nightly", "x"}, 4), R"((the user is checked twice)
103| modify schedule nightly ; weekly <x> ; parse str x
err| Incorrect time format. Should be dow:HH:MM\n
= -1)"},
    {"a bad monthly time", command(change, {"nightly", "x"}, 5), R"((the user is checked twice)
103| modify schedule nightly ; monthly <x> ; parse str x
err| Incorrect time format. Should be dm:HH:MM\n
= -1)"},
    {"a bad period", command(change, {"nightly", "x"}, 7), R"((the user is checked twice)
103| modify schedule nightly ; parse str x
err| Incorrect time format. Should be dd:HH:MM\n
= -1)"},
    {"a period from now on", command(change, {"nightly", "0:1"}, 7), R"((the user is checked twice)
103| modify schedule nightly ; parse str 0:1 ; minute str 1 ; minute retrieved ; hour str 0
103| - hour retrieved ; schedule type: 7 ; year         : -1 ; month        : -1 ; day of month : -1
103| day of week  : 0 ; hour         : 0 ; minute       : 1 ; start time   : 1781521350 ; time schedule change
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0400000078(0 x 11)07000000'nightly'(0 x 61)07(0 x 11)ffffffff01000000ffffffffffffffffc6db'/j'(0 x 8)
out| Schedule starts from Mon Jun 15 11:02:30 2026\n
= 0)"},
    {"assign a job", command(change, {"nightly", "backup"}, 999), R"((the user is checked twice)
103| modify schedule nightly ; job assign deassign ; job name <backup> ; schedule type: 0
103| year         : 0 ; month        : 0 ; day of month : 0 ; day of week  : 0 ; hour         : 0
103| minute       : 0 ; start time   : 0 ; enqueing request for job assign/deassign
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0400000078(0 x 11)e7030000'nightly'(0 x 25)'backup'(0 x 70)
= 0)"},
    {"deassign a job", command(change, {"nightly", "backup"}, 999, 1), R"((the user is checked twice)
103| modify schedule nightly ; job assign deassign ; job name <backup> ; schedule type: 0
103| year         : 0 ; month        : 0 ; day of month : 0 ; day of week  : 0 ; hour         : 0
103| minute       : 0 ; start time   : 0 ; enqueing request for job assign/deassign
cmi_req_resp 5950 3 admin console 136 42 0 0x0 040000007800000001(0 x 7)e7030000'nightly'(0 x 25)'backup'(0 x 70)
= 0)"},
    {"a missing job is said before its assignment is traced", command(change, {"nightly"}, 999),
     R"((the user is checked twice)
103| modify schedule nightly
err| Error: missing or unsuitable parameter\n
= 255)"},
    {"clear the time", command(change, {"nightly"}, 1000), R"((the user is checked twice)
103| modify schedule nightly ; schedule type: 0 ; year         : 0 ; month        : 0
103| day of month : 0 ; day of week  : 0 ; hour         : 0 ; minute       : 0 ; start time   : 0
103| time schedule change
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0400000078(0 x 11)e8030000'nightly'(0 x 101)
= 0)"},
    {"a form that nobody knows", command(change, {"nightly"}, 8), R"((the user is checked twice)
103| modify schedule nightly ; schedule type: 0 ; year         : 0 ; month        : 0
103| day of month : 0 ; day of week  : 0 ; hour         : 0 ; minute       : 0 ; start time   : 0
103| time schedule change
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0400000078(0 x 11)08000000'nightly'(0 x 101)
= 0)"},
    {"a time that is taken away", command(change, {"nightly", "22:30"}, 3, 1), R"((the user is checked twice)
out| Invalid command\n
= -1)"},
    {"add an address", command(address, {"nightly", "ops@example.org"}), R"((the user is checked twice)
103| modify schedule nightly ; to_emailid <ops@example.org>
cmi_req_resp 5950 3 admin console 136 42 0 0x0 140000006100000014'nightly'(0 x 25)'ops@example.org'(0 x 49)
= 0)"},
    {"remove an address", command(address, {"nightly", "ops@example.org"}, 0, 1), R"((the user is checked twice)
103| modify schedule nightly ; to_emailid <ops@example.org>
cmi_req_resp 5950 3 admin console 136 42 0 0x0 140000006100000015'nightly'(0 x 25)'ops@example.org'(0 x 49)
= 0)"},
    {"the log file's size", resize, R"(103| log file size is 16\n
cmi_req_resp 5950 3 admin console 136 42 0 0x0 090000000c02(0 x 523)400000
= 0)"},
    {"its default", command(sch_cli_logfile_resize, {}, 0, 6),
     R"(cmi_req_resp 5950 3 admin console 136 42 0 0x0 090000000c02000006(0 x 520)400000
= 0)"},
    {"the log file's name", rename,
     R"(uri_map_targetfs_path_get uri 256 ; stat /bootflash/log.dat ; snprintf_uri_len 256 uri
103| log file name is /bootflash/log.dat\n
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0a0000000c02(0 x 10)'/bootflash/log.dat'(0 x 238)'bootflash:log.dat'(0 x 243)
= 0)"},
    {"a name that exists is a success that sends nothing",
     [] {
       fake.existing_files = {"/bootflash/log.dat"};
       return rename();
     },
     R"(uri_map_targetfs_path_get uri 256 ; stat /bootflash/log.dat
err| Error: File exists.\n
= 0)"},
    {"its defaults, without a look for a file", command(sch_cli_logfile_rename, {}, 0, 6),
     R"(cmi_req_resp 5950 3 admin console 136 42 0 0x0 0a0000000c02000006(0 x 7)'scheduler_circular_log.dat'(0 x 230)'NONE'(0 x 256)
= 0)"},
    {"clear the log file", command(sch_cli_logfile_clear, {}), R"(103| log file size is 0\n
cmi_req_resp 5950 3 admin console 136 42 0 0x0 0b0000000c02(0 x 526)
= 0)"},
    {"sender", command(transport, {"switch@example.org"}, 109),
     R"(cmi_req_resp 5950 3 admin console 136 42 0 0x0 0d000000c8020000'switch@example.org'(0 x 694)
= 0)"},
    {"no sender", command(transport, {}, 109, 1),
     R"(cmi_req_resp 5950 3 admin console 136 42 0 0x0 0e000000c802(0 x 714)
= 0)"},
    {"reply-to", command(transport, {"ops@example.org"}, 110),
     R"(cmi_req_resp 5950 3 admin console 136 42 0 0x0 0f000000c802(0 x 66)'ops@example.org'(0 x 49)'ops@example.org'(0 x 569)
= 0)"},
    {"no reply-to", command(transport, {}, 110, 1),
     R"(cmi_req_resp 5950 3 admin console 136 42 0 0x0 10000000c802(0 x 714)
= 0)"},
    {"server, port and VRF", server,
     R"(cmi_req_resp 5950 3 admin console 136 42 0 0x0 11000000c802(0 x 194)'mail'(0 x 255)1001020304'vrf'(0 x 253)
= 0)"},
    {"no server, which keeps its port", command(transport, {}, 111, 1),
     R"(cmi_req_resp 5950 3 admin console 136 42 0 0x0 12000000c802(0 x 457)19(0 x 256)
= 0)"},
    {"enable the feature", command(sch_enable_scheduler, {}), R"(fm_cmi_set_feature_wait 42 scheduler admin console 3
= 0)"},
    {"disable it, which takes the commands out of the shell", command(sch_enable_scheduler, {}, 0, 1),
     R"(fm_cmi_set_feature_wait 42 scheduler admin console 4 ; vsh_deregister_parse_tree 42 scheduler
= 0)"},
    {"store a password", set_password, R"(cmi_security_user_config 42 3 user=admin kind=2 form=0 password=secret
103| user admin
check_if_user_remote 42 admin
103|  Not remote User\n
= 8)"},
    {"store one of a remote user, which is tried at once", remote(set_password),
     R"(cmi_security_user_config 42 3 user=admin kind=2 form=0 password=secret
103| user admin
check_if_user_remote 42 admin ; cmi_security_user_config 42 1 user=admin kind=2 form=0 password=
gethostname 130
103| Passwd for user admin returned from securityD : secret
security_conf_decrypt secret 7 0 0 0 ; aaa_scheduler_authenticate admin secret login default switch 0
= 8)"},
    {"remove a password, which checks nothing", remote(command(sch_cli_aaa_auth_passwd, {}, 0, 1)),
     R"(cmi_security_user_config 42 4 user=admin kind=2 form=0 password=
= 8)"},
    {"the full check of a local user", full_check, R"(103| user admin
check_if_user_remote 42 admin
103|  Not remote User\n
= 0)"},
    {"of a remote user", remote(full_check), R"(103| user admin
check_if_user_remote 42 admin ; cmi_security_user_config 42 1 user=admin kind=2 form=0 password=
gethostname 130
103| Passwd for user admin returned from securityD : sealed
security_conf_decrypt sealed 7 7 0 0 ; aaa_scheduler_authenticate admin secret login default switch 0
= 0)"},
    {"of one who is not accepted", remote(full_check, 0), R"(103| user admin
check_if_user_remote 42 admin ; cmi_security_user_config 42 1 user=admin kind=2 form=0 password=
gethostname 130
103| Passwd for user admin returned from securityD : sealed
security_conf_decrypt sealed 7 7 0 0 ; aaa_scheduler_authenticate admin secret login default switch 0
103| AAA auth for user admin Failed 
= 0x40bd000f)"},
    {"of one whose password cannot be decrypted",
     [] {
       fake.decrypt_gives_text = false;
       return remote(full_check)();
     },
     R"(103| user admin
check_if_user_remote 42 admin ; cmi_security_user_config 42 1 user=admin kind=2 form=0 password=
gethostname 130
103| Passwd for user admin returned from securityD : sealed
security_conf_decrypt sealed 7 7 0 0
103| Decryption of passwd for user admin Failed 
= 0x40bd000f)"},
    {"the quick check of a remote user", remote([] { return static_cast<int>(sch_validate_remote_user(42, "admin")); }),
     R"(103| user admin
check_if_user_remote 42 admin ; cmi_security_user_config 42 1 user=admin kind=2 form=0 password=
= 0)"},
    {"of one without a password",
     [] {
       fake.remote_users = {"admin"};
       return static_cast<int>(sch_validate_remote_user(42, "admin"));
     },
     R"(103| user admin
check_if_user_remote 42 admin ; cmi_security_user_config 42 1 user=admin kind=2 form=0 password=
103| remote user admin auth passwd not specified
= 0x40bd0010)"},
    {"a dummy generation", [] { return sch_cli_dummy_cfg_gen(); }, R"(= 0)"},
};

TEST_F(CliConformance, of_the_commands) {
  const std::string one = "user admin\ncheck_if_user_remote 42 admin\n103|  Not remote User\\n";
  const std::string checks = one + " ; " + one, name = "(the user is checked twice)\n";
  platform_test::expect_conformance(rows, [] { fake.now = 1781521230; },  // Monday 2026-06-15 11:00:30 UTC
                                    {{" ; " + checks + " ; ", "\n" + name + "103| "},
                                     {"103| " + checks + " ; ", name + "103| "},
                                     {"103| " + checks + "\n", name}});
}

}  // namespace
