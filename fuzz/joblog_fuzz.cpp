// SPDX-License-Identifier: Apache-2.0
// The job log's file: any bytes, or a true one with any records in it and bytes of it changed; opened, read, carried
// over. Input: the form (one byte), then for the second records (two bytes of length) and changes (an offset, a byte).
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <span>

#include "fuzz/input.h"
#include "service/joblog/log_reader.h"

namespace {

using service::LogVolume;
using service::RingFile;

constexpr uint32_t file_size = 8192;

std::span<const std::byte> bytes_of(const std::string &text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

service::LogRecord record_of(fuzz::Input &input) {
  service::LogRecord record;
  record.job = input.sized_by_one_byte();
  record.user = record.schedule = input.sized_by_one_byte();
  record.outcome = input.byte();
  record.owner_tag = input.byte();
  record.completion = input.number();
  record.output = input.sized_by_two_bytes();
  record.output_total = record.output.size() + input.byte();
  return record;
}

void fill(const std::string &path, fuzz::Input &input, uint8_t records) {
  constexpr uint8_t encoded = 1;
  const auto file = RingFile::create(path, {file_size, 1, 0, 0, RingFile::current_version});
  fuzz::require(bool(file), "a file can be made");
  for (int i = 0; i < records && !input.empty(); i++) {
    if ((input.byte() & encoded) != 0)
      (*file)->append(service::encode(record_of(input), 300, (*file)->largest_body()));
    else
      (*file)->append(bytes_of(input.sized_by_two_bytes()));
  }
}

void change(const std::string &path, fuzz::Input &input) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  while (!input.empty()) {
    const uint32_t offset = (input.byte() | static_cast<uint32_t>(input.byte()) << 8) % file_size;
    file.seekp(offset).put(static_cast<char>(input.byte()));
  }
}

void read_all(const std::shared_ptr<LogVolume> &volume) {
  for (const service::LogFilter &filter :
       {service::LogFilter{}, service::LogFilter{.owner_tag = 1, .name = "a", .failed_only = true, .last = 2}}) {
    service::LogReader reader(volume, filter, {});
    size_t given = 0;
    while (const auto record = reader.next()) {
      service::printed_in(*record);
      given++;
    }
    fuzz::require(given == reader.count(), "as many are given as were announced");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const std::string path =
      std::filesystem::temp_directory_path() / ("schedcli-fuzz-log-" + std::to_string(getpid()));
  fuzz::Input input(data, size);
  const uint8_t form = input.byte();
  if (form == 0)
    std::ofstream(path, std::ios::binary) << input.rest();
  else
    fill(path, input, form);
  change(path, input);
  if (const auto volume = LogVolume::open(path)) {
    read_all(*volume);
    const auto other = LogVolume::create(path + "-2", {file_size / 2, 1, 0, 0, RingFile::current_version});
    fuzz::require(bool(other), "a smaller file can be made");
    (*other)->take_newest_of(**volume);
    read_all(*other);
    (*volume)->append({});
    read_all(*volume);
  }
  std::filesystem::remove(path);
  std::filesystem::remove(path + "-2");
  return 0;
}
