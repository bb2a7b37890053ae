// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <cstdio>
#include <cstring>

#include "show/line.h"
#include "show/status.h"

namespace {

constexpr int name_width = 32, longest_user = 40, heading_dashes = 33;

// The heading of an entry, written as a whole: a full log has a hundred thousand of them, and printf() would take most
// of the time that it needs to be shown.
class Heading {
 public:
  void add(const char *text) { add(text, std::strlen(text)); }
  void add_field(const char *field, size_t most) { add(field, strnlen(field, most)); }
  void add_padded(const char *field, size_t width) {
    const size_t size = strnlen(field, width);
    add(field, size);
    fill(width - size, ' ');
  }
  void add_number(int number) {
    char digits[12];
    add(digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
  }
  void fill(size_t count, char character) {
    std::memset(bytes_ + size_, character, count);
    size_ += count;
  }
  void print() const { std::fwrite(bytes_, 1, size_, stdout); }

 private:
  void add(const char *bytes, size_t size) {
    std::memcpy(bytes_ + size_, bytes, size);
    size_ += size;
  }

  char bytes_[512];  // what an entry adds has 318 bytes at most
  size_t size_ = 0;
};

void add_names(Heading *heading, const sch_log_entry &entry) {
  heading->add("Job Name       : ");
  heading->add_padded(entry.job, name_width);
  heading->add("  Job Status: ");
  // The whole wait status decides, so that a job killed by a signal has failed, with exit code 0.
  heading->add(entry.wait_status != 0 ? "Failed (" : "Success (");
  heading->add_number(show::exit_code(entry.wait_status));
  heading->add(")\n");
  heading->add("Schedule Name  : ");
  heading->add_padded(entry.schedule, name_width);
  heading->add("  User Name : ");
  heading->add_field(entry.user, longest_user);
  heading->add("\n");
}

void add_time_and_output_heading(Heading *heading, time_t completion) {
  char time[show::time_text_size];
  heading->add("Completion time: ");
  heading->add(show::time_text(completion, time));
  heading->fill(heading_dashes, '-');
  heading->add(" Job Output ");
  heading->fill(heading_dashes, '-');
  heading->add("\n");
}

}  // namespace

void display_log_entry(const sch_log_entry *entry, const char *output) {
  Heading heading;
  add_names(&heading, *entry);
  add_time_and_output_heading(&heading, entry->completion);
  heading.print();
  show::print_bytes(output, entry->total_length);
  show::print_rule();
}
