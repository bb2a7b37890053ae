// SPDX-License-Identifier: Apache-2.0
#include "shell/manual.h"

#include "shell/grammar.h"
#include "shell/walk.h"

namespace shell {

namespace {

struct Chapter {
  Mode mode;
  const char *title;
  const char *introduction;
};

constexpr Chapter chapters[] = {
    {Mode::exec, "First mode", "Where a session begins. These commands work in every mode."},
    {Mode::config, "Configuration mode",
     "`configure terminal` enters it, `exit` leaves it. A script may begin with a command of this mode: a saved\n"
     "configuration replays as it is. These commands work in the schedule mode too, which they leave."},
    {Mode::schedule, "Schedule mode",
     "`scheduler schedule name NAME` enters it, for a new schedule or one that exists."},
};

constexpr const char *introduction =
    "# Commands of schedsh\n"
    "\n"
    "Made from the shell's grammar by `schedsh --manual`; a test keeps both the same.\n"
    "\n"
    "Words may be abbreviated as long as one word is meant (`conf t`). In brackets stands what may be left out, in\n"
    "angle brackets what is to be filled in. A value with blanks goes in double quotes. Lines that begin with `!` or\n"
    "`#` are comments. `?` shows what may follow, names that there are among it, on a terminal also in the middle of "
    "a\n"
    "line. `do` before a command of the first mode changes nothing: these commands work everywhere.\n"
    "\n"
    "Behind a `show` command `| include PATTERN`, `| exclude PATTERN`, `| begin PATTERN`, `| section PATTERN`,\n"
    "`| count`, `| no-more` and `| save FILE` leave out what is not wanted, one after the other. Patterns are those "
    "of\n"
    "`grep -E`; a section is a block whose first line matches.\n"
    "\n"
    "`| json` shows the same as data, in the encoding of RFC 7951 for the YANG module `schedcli.yang` that is\n"
    "installed beside this. It stands first; other pipes may follow. What commands print is text in it as on a\n"
    "terminal (`^[` for an escape character), with the length of what was printed and whether it was cut. The `raw\n"
    "save` commands and `show scheduler metrics` have no such form.\n"
    "\n"
    "A job's commands follow `scheduler job name NAME`, a line each, taken as they stand, up to a line `end-job`. A\n"
    "line that is exactly `end` closes the job too and leaves the configuration mode, as in the blocks of\n"
    "`show scheduler config`; a job that needs a command `end` has it with a blank before it.\n"
    "The block's end replaces the commands of a job that exists; control-C leaves it as it is. The up key takes the "
    "last\n"
    "line back.\n";

void add_chapter(const Chapter &chapter, std::string *text) {
  *text += std::string("\n## ") + chapter.title + "\n\n" + chapter.introduction + "\n\n";
  *text += "| command | what it does |\n| --- | --- |\n";
  for (const Command &command : commands()) {
    if (command.mode == chapter.mode) *text += std::string("| `") + command.syntax + "` | " + command.help + " |\n";
  }
}

void add_parameters(std::string *text) {
  *text += "\n## What is filled in\n\n| parameter | value |\n| --- | --- |\n";
  for (const Parameter &parameter : parameters()) {
    *text += "| `" + shown({nullptr, &parameter}) + "` | " + parameter.help + " |\n";
  }
}

}  // namespace

std::string manual() {
  std::string text = introduction;
  for (const Chapter &chapter : chapters)
    add_chapter(chapter, &text);
  add_parameters(&text);
  return text;
}

}  // namespace shell
