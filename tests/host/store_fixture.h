// SPDX-License-Identifier: Apache-2.0
// The real store in a directory of the test's own.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/store.h"

namespace store_test {

inline pss_buf buffer(const std::string &text) {
  return {const_cast<char *>(text.data()), static_cast<uint32_t>(text.size())};
}

pss_buf buffer(std::string &&text) = delete;  // the buffer would outlive it

template <std::size_t size>
pss_buf buffer(const char (&text)[size]) {
  return {const_cast<char *>(text), static_cast<uint32_t>(size - 1)};
}

inline std::string text_of(const pss_buf *buf) {
  return buf == nullptr ? "(none)" : std::string(static_cast<const char *>(buf->data), buf->length);
}

inline std::string file_content(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_file(const std::string &path, const std::string &content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

using Records = std::vector<std::pair<std::string, std::string>>;

class StoreTest : public testing::Test {
 protected:
  StoreTest() {
    // In memory where there is such a place: syncing is not what these tests wait for.
    directory = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
    directory += "/schedcli-store-XXXXXX";
    mkdtemp(directory.data());
    host::use_paths(host::resolve_paths(directory.c_str()));
  }
  ~StoreTest() override {
    for (pss_handle handle : opened)
      pss_close(handle);
    host::store_set_bound(128U << 20);
    std::filesystem::remove_all(directory);
  }

  pss_handle create(const std::string &uri) {
    uint32_t error = 0xffffffff;
    const pss_handle handle = pss_create(uri.c_str(), &error);
    EXPECT_EQ(error, 0U) << host::store_last_error();
    opened.push_back(handle);
    return handle;
  }

  pss_handle open(const std::string &uri) {
    uint32_t error = 0xffffffff;
    const pss_handle handle = pss_open(uri.c_str(), &error);
    EXPECT_EQ(error, 0U) << host::store_last_error();
    opened.push_back(handle);
    return handle;
  }

  static uint32_t open_error(const std::string &uri) {
    uint32_t error = 0xffffffff;
    const pss_handle handle = pss_open(uri.c_str(), &error);
    EXPECT_EQ(handle == 0, error != 0);
    if (handle != 0) pss_close(handle);
    return error;
  }

  static uint32_t put(pss_handle store, const std::string &key, const std::string &value) {
    const pss_buf key_buffer = buffer(key), value_buffer = buffer(value);
    return pss_store(store, 1, &key_buffer, &value_buffer);
  }

  static uint32_t erase(pss_handle store, const std::string &key) {
    const pss_buf key_buffer = buffer(key);
    return pss_delete(store, &key_buffer);
  }

  static std::string get(pss_handle store, const std::string &key) {
    const pss_buf key_buffer = buffer(key);
    uint32_t error = 0;
    const pss_buf *value = pss2_fetch(store, &key_buffer, &error);
    EXPECT_EQ(value == nullptr, error != 0);
    return text_of(value);
  }

  static Records records(pss_handle store) {
    Records result;
    pss_cursor cursor{};
    for (const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor); key != nullptr;
         key = pss_move2location(store, PSS_NEXT, &cursor)) {
      const std::string name = text_of(key);
      result.emplace_back(name, text_of(pss_getvalue(store, &cursor)));
    }
    EXPECT_EQ(cursor.error, 0U);
    return result;
  }

  // Runs `body` in a process of its own, forked before this one has opened anything; its result is the exit status.
  static int in_another_process(const std::function<int()> &body);

  std::string directory;
  std::vector<pss_handle> opened;
};

}  // namespace store_test
