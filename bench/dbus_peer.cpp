// SPDX-License-Identifier: Apache-2.0
#include "bench/dbus_peer.h"

#include <spawn.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "bench/process.h"

namespace bench {

namespace {

constexpr const char *name = "schedcli.bench.Peer", *path = "/peer", *interface = "schedcli.bench.Peer";
constexpr int patience_ms = 10000;

DBusConnection *connect(const std::string &address) {
  DBusError error = DBUS_ERROR_INIT;
  DBusConnection *connection = dbus_connection_open_private(address.c_str(), &error);
  if (connection == nullptr || !dbus_bus_register(connection, &error)) fail("message bus", error.message);
  dbus_connection_set_exit_on_disconnect(connection, FALSE);
  return connection;
}

bool append_bytes(DBusMessage *message, const std::vector<char> &bytes) {
  const char *data = bytes.data();
  return dbus_message_append_args(message, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &data, static_cast<int>(bytes.size()),
                                  DBUS_TYPE_INVALID);
}

DBusHandlerResult answer(DBusConnection *connection, DBusMessage *message, void *reply_bytes) {
  if (!dbus_message_is_method_call(message, interface, "Show")) return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
  DBusMessage *reply = dbus_message_new_method_return(message);
  append_bytes(reply, *static_cast<std::vector<char> *>(reply_bytes));
  dbus_connection_send(connection, reply, nullptr);
  dbus_message_unref(reply);
  return DBUS_HANDLER_RESULT_HANDLED;
}

[[noreturn]] void be_service(const std::string &address, std::size_t reply_size, int ready) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::vector<char> bytes(reply_size, 'r');
  DBusConnection *connection = connect(address);
  DBusError error = DBUS_ERROR_INIT;
  if (dbus_bus_request_name(connection, name, 0, &error) < 0) fail("bus name", error.message);
  dbus_connection_add_filter(connection, answer, &bytes, nullptr);
  if (::write(ready, "r", 1) != 1) ::_exit(1);
  while (dbus_connection_read_write_dispatch(connection, -1)) {
  }
  ::_exit(0);
}

}  // namespace

DBusPeer::DBusPeer(const std::string &directory, std::size_t reply_size) : reply_size_(reply_size) {
  int started[2], ready[2];
  if (::pipe(started) != 0 || ::pipe(ready) != 0) fail("pipe", "no descriptor");
  const std::string address = "unix:path=" + directory + "/bus";
  daemon_ = spawn({"dbus-daemon", "--session", "--nofork", "--nosyslog", "--address=" + address,
                   "--print-address=" + std::to_string(started[1])});
  await(started[0]);
  service_ = fork_peer(2);
  if (service_ == 0) be_service(address, reply_size, ready[1]);
  await(ready[0]);
  connection_ = connect(address);
}

DBusPeer::~DBusPeer() {
  dbus_connection_close(connection_);
  dbus_connection_unref(connection_);
  end(service_);
  end(daemon_);
}

void DBusPeer::ask(std::size_t request_size) const {
  DBusMessage *call = dbus_message_new_method_call(name, path, interface, "Show");
  append_bytes(call, std::vector<char>(request_size, 'q'));
  DBusError error = DBUS_ERROR_INIT;
  DBusMessage *reply = dbus_connection_send_with_reply_and_block(connection_, call, patience_ms, &error);
  if (reply == nullptr) fail("message bus", error.message);
  const char *bytes = nullptr;
  int size = 0;
  if (!dbus_message_get_args(reply, &error, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes, &size, DBUS_TYPE_INVALID) ||
      static_cast<std::size_t>(size) != reply_size_)
    fail("message bus", "a reply of another size");
  dbus_message_unref(reply);
  dbus_message_unref(call);
}

}  // namespace bench
