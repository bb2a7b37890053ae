// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/client.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "host/transport/address.h"
#include "host/transport/frame.h"
#include "tests/system/service_process.h"

namespace oracle {
namespace {

std::string reply_with(uint64_t number) {
  host::FrameHeader header;
  header.kind = host::FrameKind::reply;
  header.token = 1;
  header.length = sizeof number;
  return bytes_of(header) + bytes_of(number);
}

// What a service that is killed leaves: answers that nobody has read yet, and requests that it has not.
TEST(OracleClient, has_each_answer_that_was_sent_before_a_death_with_requests_unread) {
  const system_test::TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  host::FileDescriptor listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  const auto address = host::socket_address(path);
  ASSERT_TRUE(address);
  ASSERT_EQ(bind(listener.get(), address->get(), host::SocketAddress::size()), 0);
  ASSERT_EQ(listen(listener.get(), 1), 0);
  Client client(path);
  host::FileDescriptor service(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  for (int i = 0; i < 3; i++)
    ASSERT_TRUE(client.send_control(control::Operation::run_schedule, "A"));
  for (const uint64_t number : {7u, 8u}) {
    const std::string packet = reply_with(number);
    ASSERT_EQ(send(service.get(), packet.data(), packet.size(), 0), static_cast<ssize_t>(packet.size()));
  }
  service = host::FileDescriptor();
  for (const uint64_t number : {7u, 8u}) {
    const std::optional<Reply> reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(record_of<uint64_t>(reply->text()), number);
  }
  EXPECT_FALSE(client.receive());
}

}  // namespace
}  // namespace oracle
