// SPDX-License-Identifier: Apache-2.0
// replay NAME FOLDER: each file of the folder once, through the fuzz target of that name. What it finds ends the
// process.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#define TARGET(name) extern "C" int fuzz_##name(const uint8_t *data, size_t size);
FUZZ_TARGETS
#undef TARGET

namespace {

struct Target {
  std::string name;
  int (*one_input)(const uint8_t *data, size_t size);
};

#define TARGET(name) {#name, fuzz_##name},
const Target targets[] = {FUZZ_TARGETS};
#undef TARGET

bool replay(const Target &target, const std::filesystem::path &folder) {
  size_t inputs = 0;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::printf("%s\n", entry.path().c_str());
    std::fflush(stdout);
    target.one_input(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    inputs++;
  }
  return inputs > 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) return EXIT_FAILURE;
  for (const Target &target : targets)
    if (target.name == argv[1]) return replay(target, argv[2]) ? EXIT_SUCCESS : EXIT_FAILURE;
  return EXIT_FAILURE;
}
