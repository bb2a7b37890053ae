// SPDX-License-Identifier: Apache-2.0
// What is told of a store that cannot be used.
#include "host/store/failure.h"

#include <fcntl.h>
#include <lmdb.h>
#include <sys/resource.h>

#include <cerrno>

#include "host/files/file_descriptor.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

using FailureTest = StoreTest;

struct Meaning {
  int code;
  uint32_t status;
};

TEST_F(FailureTest, each_code_has_its_status) {
  const Meaning rows[] = {
      {0, 0},
      {MDB_NOTFOUND, PSS_ERR_NO_KEY},
      {MDB_KEYEXIST, PSS_ERR_EXISTS},
      {MDB_MAP_FULL, host::err_store_full},
      {MDB_TXN_FULL, host::err_store_full},
      {ENOSPC, host::err_store_full},
      {EDQUOT, host::err_store_full},
      {EFBIG, host::err_store_full},
      {MDB_CORRUPTED, host::err_store_unusable},
      {MDB_INVALID, host::err_store_unusable},
      {MDB_VERSION_MISMATCH, host::err_store_unusable},
      {MDB_PAGE_NOTFOUND, host::err_store_unusable},
      {MDB_INCOMPATIBLE, host::err_store_unusable},
      {MDB_BAD_VALSIZE, host::err_store_limit},
      {ENOENT, host::err_store_absent},
      {ENOMEM, host::err_no_memory},
      {EACCES, host::err_not_permitted},
      {EPERM, host::err_not_permitted},
      {EIO, host::err_store_io},
      {EROFS, host::err_store_io},
  };
  for (const Meaning &row : rows)
    EXPECT_EQ(host::store_result(row.code, "path").code(), row.status) << mdb_strerror(row.code);
}

struct Told {
  uint32_t status;
  const char *advice;
};

TEST_F(FailureTest, each_status_has_its_own_advice_and_no_other) {
  const Told rows[] = {
      {host::err_store_full, "; nothing was changed; make room on the disk, or raise the limit (schedd --store-limit)"},
      {host::err_store_unusable, "; it was left as it is; move it away and load a dump of it, or start without it"},
      {host::err_store_busy, "; nothing was changed; stop the other process, or end the batch, first"},
      {host::err_store_limit, "; nothing was changed"},
      {host::err_no_memory, "; nothing was changed; end other programs, or allow this one more address space"},
      {host::err_store_absent, "; create it, or load a dump into it"},
      {host::err_store_uri, "; a store is running:NAME, startup:NAME or debug:NAME"},
      {host::err_store_io, "; check the disk and the directory's permissions"},
      {host::err_not_permitted, "; run as the directory's owner, or name another state directory"},
      {PSS_ERR_NO_KEY, ""},
      {host::err_store_bad_handle, ""},
  };
  for (const Told &row : rows) {
    const host::Error error = host::store_error(row.status, "path", "reason");
    EXPECT_EQ(error.code, row.status);
    EXPECT_EQ(error.text, "path: reason" + std::string(row.advice));
  }
}

TEST_F(FailureTest, place_for_stores_is_absent_or_not_permitted) {
  EXPECT_EQ(host::no_place_for_stores({host::err_absent, "text"}).code, host::err_store_absent);
  for (const uint32_t code : {host::err_io, host::err_not_permitted})
    EXPECT_EQ(host::no_place_for_stores({code, "text"}).code, host::err_not_permitted);
  EXPECT_EQ(host::no_place_for_stores({host::err_io, "text"}).text, "text");
}

// What LMDB says of a write that was not complete.
TEST_F(FailureTest, input_output_error_is_a_full_disk_where_the_file_may_not_grow) {
  const host::FileDescriptor file(::open((directory + "/file").c_str(), O_RDWR | O_CREAT, 0600));
  ASSERT_EQ(ftruncate(file.get(), 8192), 0);
  const auto status_within = [&](int descriptor, rlim_t most) {
    return in_another_process([&] {
      const rlimit limit = {most, most};
      if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 9;
      const uint32_t status = host::store_result(EIO, "path", descriptor).code();
      return status == host::err_store_full ? 1 : status == host::err_store_io ? 0 : 2;
    });
  };
  EXPECT_EQ(status_within(file.get(), RLIM_INFINITY), 0);
  EXPECT_EQ(status_within(file.get(), 8192), 1);
  EXPECT_EQ(status_within(file.get(), 8192 + 4095), 1);
  EXPECT_EQ(status_within(file.get(), 8192 + 4096), 0);
  EXPECT_EQ(status_within(-1, 0), 0);
  EXPECT_EQ(status_within(9999, 0), 0) << "not open";
}

}  // namespace
}  // namespace store_test
