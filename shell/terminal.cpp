// SPDX-License-Identifier: Apache-2.0
#include "shell/terminal.h"

#include <histedit.h>
#include <signal.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <memory>

#include "shell/keyboard.h"
#include "shell/line_history.h"
#include "shell/service_request.h"
#include "shell/words.h"

namespace shell {

namespace {

struct EditLineCloser {
  void operator()(EditLine *editor) const { el_end(editor); }
};
struct HistoryCloser {
  void operator()(History *history) const { history_end(history); }
};

struct Terminal {
  Session &session;
  std::string prompt;  // kept here, as the editor keeps the pointer
  std::unique_ptr<EditLine, EditLineCloser> editor;
  std::unique_ptr<History, HistoryCloser> history;
  LineHistory kept;  // the history of all sessions
};

Terminal &terminal_of(EditLine *editor) {
  void *data = nullptr;
  el_get(editor, EL_CLIENTDATA, &data);
  return *static_cast<Terminal *>(data);
}

char *prompt_text(EditLine *editor) {
  return terminal_of(editor).prompt.data();
}

std::string before_cursor(EditLine *editor) {
  const LineInfo *line = el_line(editor);
  return {line->buffer, line->cursor};
}

void print_below(const std::vector<Choice> &all) {
  std::fputc('\n', stdout);
  for (const Choice &choice : all)
    std::printf("  %-26s %s\n", choice.text.c_str(), choice.help.c_str());
  std::fflush(stdout);
}

unsigned char insert(EditLine *editor, const std::string &text) {
  return el_insertstr(editor, text.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

unsigned char on_tab(EditLine *editor, int) {
  Session &session = terminal_of(editor).session;
  if (session.takes_body()) return insert(editor, "\t");
  const std::string line = before_cursor(editor);
  const std::string more = completion(line, session.scope(), existing_names);
  if (!more.empty()) return insert(editor, more);
  const std::vector<Choice> all = choices(line, session.scope(), existing_names);
  if (all.empty()) return CC_REFRESH_BEEP;
  print_below(all);
  return CC_REDISPLAY;
}

unsigned char on_question(EditLine *editor, int) {
  Session &session = terminal_of(editor).session;
  const std::string line = before_cursor(editor);
  const bool within_quotes = std::count(line.begin(), line.end(), '"') % 2 == 1;
  if (session.takes_body() || within_quotes) return insert(editor, "?");
  std::fputc('?', stdout);
  const std::vector<Choice> all = choices(line, session.scope(), existing_names);
  print_below(all);
  if (all.empty()) std::printf("%s\n", why_nothing_follows(line, session.scope()).c_str());
  return CC_REDISPLAY;
}

// On an empty line of a job: puts the previous line back for editing.
unsigned char on_take_back(EditLine *editor, int) {
  if (!before_cursor(editor).empty()) return CC_REFRESH_BEEP;
  const std::optional<std::string> line = terminal_of(editor).session.take_back();
  if (!line) return CC_REFRESH_BEEP;
  return line->empty() ? CC_REFRESH : insert(editor, *line);
}

// Within a job the up key edits the previous line of the job; elsewhere it recalls the history of commands.
void bind_up_key(EditLine *editor, bool in_body) {
  for (const char *key : {"\033[A", "\033OA", "^P"})
    el_set(editor, EL_BIND, key, in_body ? "take-back" : "ed-prev-history", nullptr);
}

int read_key(EditLine *, wchar_t *key) {
  return read_character(key) ? 1 : -1;
}

void set_up(Terminal *terminal) {
  EditLine *editor = el_init("schedsh", stdin, stdout, stderr);
  terminal->editor.reset(editor);
  terminal->history.reset(history_init());
  HistEvent event;
  history(terminal->history.get(), &event, H_SETSIZE, static_cast<int>(history_size));
  history(terminal->history.get(), &event, H_SETUNIQUE, 1);
  for (const std::string &line : terminal->kept.read())
    history(terminal->history.get(), &event, H_ENTER, line.c_str());
  el_set(editor, EL_CLIENTDATA, terminal);
  el_set(editor, EL_PROMPT, prompt_text);
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_GETCFN, read_key);
  el_set(editor, EL_HIST, history, terminal->history.get());
  el_set(editor, EL_ADDFN, "complete", "Complete the word", on_tab);
  el_set(editor, EL_ADDFN, "help", "Show what may follow", on_question);
  el_set(editor, EL_ADDFN, "take-back", "Take a job's line back", on_take_back);
  el_set(editor, EL_BIND, "\t", "complete", nullptr);
  el_set(editor, EL_BIND, "?", "help", nullptr);
}

void remember(Terminal *terminal, const std::string &line) {
  if (is_idle_line(line) || is_secret(line)) return;
  HistEvent event;
  history(terminal->history.get(), &event, H_ENTER, line.c_str());
  terminal->kept.add(line);
}

void give_up_line(Terminal *terminal) {
  std::fputs("^C\n", stdout);
  el_reset(terminal->editor.get());
  terminal->session.interrupt();
}

std::string without_line_end(const char *text, int length) {
  std::string line(text, static_cast<size_t>(length));
  while (!line.empty() && line.back() == '\n')
    line.pop_back();
  return line;
}

}  // namespace

bool is_secret(std::string_view line) {
  const std::vector<Token> tokens = split_words(line);
  const auto abbreviates = [](const Token &token, std::string_view word) {
    return !token.text.empty() && word.starts_with(token.text);
  };
  for (size_t i = 0; i < tokens.size(); i++) {
    if (tokens[i].text.starts_with("aaa") || tokens[i].text.starts_with("pass")) return true;  // even if misspelt
    if (i > 0 && abbreviates(tokens[i - 1], "scheduler") && abbreviates(tokens[i], "aaa-authentication")) return true;
  }
  return false;
}

void run_terminal(Session &session) {
  std::setlocale(LC_CTYPE, "");
  signal(SIGPIPE, SIG_IGN);  // the pager may be left before it has read everything
  const Interrupts interrupts;
  Terminal terminal{session, {}, {}, {}, LineHistory(history_path())};
  set_up(&terminal);
  while (!session.over()) {
    terminal.prompt = session.prompt();
    bind_up_key(terminal.editor.get(), session.takes_body());
    int length = 0;
    const char *text = el_gets(terminal.editor.get(), &length);
    if (Interrupts::take()) {
      give_up_line(&terminal);
      continue;
    }
    if (text == nullptr || length <= 0) break;
    std::string line = without_line_end(text, length);
    if (!session.takes_body()) remember(&terminal, line);
    session.feed(line);
    wipe(&line);
  }
  if (!session.over()) std::fputc('\n', stdout);
  session.finish();
}

}  // namespace shell
