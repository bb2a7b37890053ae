// SPDX-License-Identifier: Apache-2.0
#include "tests/system/service_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace system_test {

namespace {

constexpr int ready_timeout_ms = 20000;  // generous: sanitizers and loaded machines

std::vector<char *> pointers(std::vector<std::string> &words) {
  std::vector<char *> result;
  for (std::string &word : words)
    result.push_back(word.data());
  result.push_back(nullptr);
  return result;
}

// The datagram socket on which a service says that it is ready.
class ReadySocket {
 public:
  explicit ReadySocket(const std::string &path) : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(path.c_str());
    if (bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) abort();
  }
  ~ReadySocket() { close(fd_); }
  ReadySocket(const ReadySocket &) = delete;
  ReadySocket &operator=(const ReadySocket &) = delete;

  // Waits for READY=1, or for the end of `pid`.
  bool wait(pid_t pid) const {
    const int process = static_cast<int>(pidfd(pid));
    pollfd polled[2] = {{fd_, POLLIN, 0}, {process, POLLIN, 0}};
    bool ready = false;
    while (poll(polled, 2, ready_timeout_ms) > 0 && !ready && (polled[0].revents & POLLIN) != 0) {
      char text[256] = "";
      const ssize_t length = recv(fd_, text, sizeof text - 1, 0);
      ready = length > 0 && std::strstr(text, "READY=1") != nullptr;
      if (ready) break;
    }
    close(process);
    return ready;
  }

 private:
  static long pidfd(pid_t pid) { return syscall(434 /* pidfd_open */, pid, 0); }
  int fd_;
};

struct Freed {
  void operator()(void *memory) const { std::free(memory); }
};

// A context whose parameters are strings in order.
class Context {
 public:
  explicit Context(std::vector<std::string> words) : words_(std::move(words)), params_(words_.size()) {
    for (size_t i = 0; i < words_.size(); i++) {
      params_[i].kind = SCH_PARAM_STRING;
      params_[i].value = words_[i].c_str();
      pointers_.push_back(&params_[i]);
    }
    ctx.param_count = static_cast<uint8_t>(words_.size());
    ctx.params = pointers_.data();
    ctx.shell_handle = 1;
    const char *name = getenv("LOGNAME");
    snprintf(ctx.user_name, sizeof ctx.user_name, "%s", geteuid() == 0 || name == nullptr ? "root" : name);
    snprintf(ctx.peer_name, sizeof ctx.peer_name, "test");
  }
  sch_cli_cmd_ctx ctx{};

 private:
  std::vector<std::string> words_;
  std::vector<sch_cli_param> params_;
  std::vector<sch_cli_param *> pointers_;
};

int job_or_schedule(int (*handler)(const sch_cli_cmd_ctx *), const std::string &name, bool negate) {
  Context context({name});
  context.ctx.negate = negate;
  return handler(&context.ctx);
}

// One reply of a paged show, for the record after `cursor`. False: the request failed.
bool next_reply(uint32_t opcode, int32_t cursor, std::vector<char> *reply) {
  struct {
    sch_request_header header;
    sch_show_request payload;
  } request{{opcode, sizeof(sch_show_request)}, {0, "", cursor}};
  Context context({});
  void *raw = nullptr;
  uint32_t length = sizeof request;
  const uint32_t status = cmi_req_resp(SCH_SERVICE_SHOW, SCH_CLASS_SHOW, &request, &raw, &length, context.ctx.user_name,
                                       context.ctx.peer_name, 136, 1, 0);
  const std::unique_ptr<void, Freed> owned(raw);
  reply->clear();
  if (status == 0 && raw != nullptr) reply->assign(static_cast<char *>(raw), static_cast<char *>(raw) + length);
  return status == 0;
}

template <class Record>
Record fixed_part(const std::vector<char> &reply) {
  Record record{};
  if (reply.size() < sizeof record) abort();
  std::memcpy(&record, reply.data(), sizeof record);
  return record;
}

std::string field(const char *text, size_t size) {
  return {text, strnlen(text, size)};
}

bool read_jobs(Configuration *configuration) {
  std::vector<char> reply;
  for (int32_t cursor = SCH_CURSOR_FIRST; next_reply(SCH_OP_SHOW_JOB, cursor, &reply);) {
    if (reply.empty()) return true;
    const auto job = fixed_part<sch_show_job_reply>(reply);
    if (job.length < 0 || reply.size() != sizeof job + static_cast<size_t>(job.length) || job.job_id <= cursor)
      return false;
    configuration->jobs[field(job.name, 32)] = std::string(reply.data() + sizeof job, static_cast<size_t>(job.length));
    cursor = job.job_id;
  }
  return false;
}

bool read_schedules(Configuration *configuration) {
  std::vector<char> reply;
  for (int32_t cursor = SCH_CURSOR_FIRST; next_reply(SCH_OP_SHOW_SCHEDULE, cursor, &reply);) {
    if (reply.empty()) return true;
    const auto shown = fixed_part<sch_show_schedule_reply>(reply);
    Schedule &schedule = configuration->schedules[field(shown.name, 32)];
    schedule.time = shown.time;
    for (int32_t i = 0; i < shown.job_count; i++)
      schedule.jobs.insert(
          field(reply.data() + sizeof shown + static_cast<size_t>(i) * sizeof(sch_job_status_entry), 32));
    if (shown.number <= cursor) return false;
    cursor = shown.number;
  }
  return false;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  char name[] = "/tmp/schedcli-test.XXXXXX";
  if (mkdtemp(name) == nullptr) abort();
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::filesystem::remove_all(path_);
}

ServiceProcess::ServiceProcess(std::string state_dir, std::vector<std::string> arguments, std::string program)
    : state_dir_(std::move(state_dir)), program_(std::move(program)), arguments_(std::move(arguments)) {}

ServiceProcess::~ServiceProcess() {
  kill_and_wait();
}

bool ServiceProcess::start() {
  const std::string ready_path = state_dir_ + ".ready";
  const ReadySocket ready(ready_path);
  std::vector<std::string> words = {program_.empty() ? SCHEDD_PATH : program_, "--state-dir", state_dir_};
  words.insert(words.end(), arguments_.begin(), arguments_.end());
  const std::vector<char *> argv = pointers(words);
  std::vector<std::string> assignments = environment_;
  pid_ = fork();
  if (pid_ == 0) {
    const int errors = open((state_dir_ + ".err").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(errors, STDERR_FILENO);
    dup2(errors, STDOUT_FILENO);
    setenv("NOTIFY_SOCKET", ready_path.c_str(), 1);
    for (std::string &assignment : assignments)
      putenv(assignment.data());
    execv(argv[0], argv.data());
    _exit(127);
  }
  const bool is_ready = ready.wait(pid_);
  unlink(ready_path.c_str());
  return is_ready;
}

int ServiceProcess::wait() {
  int status = 0;
  if (pid_ > 0) waitpid(pid_, &status, 0);
  pid_ = -1;
  return status;
}

void ServiceProcess::signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

void ServiceProcess::kill_and_wait() {
  signal(SIGKILL);
  wait();
}

int ServiceProcess::stop() {
  signal(SIGTERM);
  return wait();
}

std::string ServiceProcess::errors() const {
  std::ostringstream text;
  text << std::ifstream(state_dir_ + ".err").rdbuf();
  return text.str();
}

bool Schedule::operator==(const Schedule &other) const {
  return std::memcmp(&time, &other.time, sizeof time) == 0 && jobs == other.jobs;
}

std::optional<Configuration> shown_configuration() {
  Configuration configuration;
  if (!read_jobs(&configuration) || !read_schedules(&configuration)) return std::nullopt;
  return configuration;
}

std::string describe(const Configuration &configuration) {
  std::ostringstream text;
  for (const auto &[name, content] : configuration.jobs)
    text << name << "(" << content.size() << ") ";
  for (const auto &[name, schedule] : configuration.schedules) {
    text << "\n  " << name << " type " << schedule.time.type << " " << schedule.time.hour << ":" << schedule.time.minute
         << ":";
    for (const std::string &job : schedule.jobs)
      text << " " << job;
  }
  return text.str();
}

int enable_feature() {
  const Context context({});
  return sch_enable_scheduler(&context.ctx);
}
int create_job(const std::string &name) {
  return job_or_schedule(sch_cli_create_delete_job, name, false);
}
int delete_job(const std::string &name) {
  return job_or_schedule(sch_cli_create_delete_job, name, true);
}
int create_schedule(const std::string &name) {
  return job_or_schedule(sch_cli_create_delete_schedule, name, false);
}
int delete_schedule(const std::string &name) {
  return job_or_schedule(sch_cli_create_delete_schedule, name, true);
}

int define_job(const std::string &name, const std::string &text) {
  const Context context({});
  return sch_cli_define_job(1, text.data(), static_cast<uint32_t>(text.size()), name.c_str(), context.ctx.user_name,
                            context.ctx.peer_name);
}

int set_daily(const std::string &name, int hour, int minute) {
  Context context({name, std::to_string(hour) + ":" + std::to_string(minute)});
  context.ctx.subcommand = SCH_SCHEDULE_DAILY;
  return sch_cli_modify_schedule(&context.ctx);
}

int assign_job(const std::string &schedule, const std::string &job, bool assign) {
  Context context({schedule, job});
  context.ctx.subcommand = SCH_MODIFY_JOB;
  context.ctx.negate = !assign;
  return sch_cli_modify_schedule(&context.ctx);
}

std::string run_shell(const std::string &state_dir, const std::vector<std::string> &arguments, int *exit_status,
                      const std::string &input, const std::string &program) {
  std::vector<std::string> words = {program.empty() ? SCHEDSH_PATH : program, "--state-dir", state_dir};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const std::vector<char *> argv = pointers(words);
  const std::string input_path = state_dir + ".in";
  std::ofstream(input_path) << input;
  int out[2];
  if (pipe2(out, O_CLOEXEC) != 0) abort();
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(open(input_path.c_str(), O_RDONLY), STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(out[1], STDERR_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(out[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t length = 0; (length = read(out[0], buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<size_t>(length));
  close(out[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (exit_status != nullptr) *exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return text;
}

}  // namespace system_test
