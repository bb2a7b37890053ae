/* SPDX-License-Identifier: Apache-2.0 */
/* The machine that is simulated: the commands that a job can use. */
#include <string.h>

#include "switch.h"

static const struct {
  const char *line;
  const char *output;
} commands[] = {
    {"show version", "Simulated switch, release 4.2\n"},
    {"show ports", "port 1: up, 10 Gbit/s\nport 2: down\n"},
};

int switch_execute(const char *line, GString *output) {
  size_t i;
  g_string_append_printf(output, "switch# %s\n", line);
  for (i = 0; i < sizeof commands / sizeof commands[0]; ++i) {
    if (strcmp(commands[i].line, line) != 0) continue;
    g_string_append(output, commands[i].output);
    return 0;
  }
  g_string_append(output, "% no such command\n");
  return 1;
}
