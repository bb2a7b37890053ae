// SPDX-License-Identifier: Apache-2.0
#include "shell/show_request.h"

#include <cstdlib>
#include <memory>

#include "host/errors.h"
#include "platform/cmi.h"
#include "schedcli_requests.h"

namespace shell {

namespace {

constexpr uint32_t transport_constant = 136;  // the transport wants it in every request

}  // namespace

host::Result<host::Bytes> show_by_name(const Identity &identity, uint32_t opcode, const std::string &name) {
  struct {
    sch_request_header header;
    sch_show_request body = {};
  } request = {{opcode, sizeof(sch_show_request)}};
  request.body.cursor = SCH_CURSOR_FIRST;
  name.copy(request.body.name, sizeof request.body.name - 1);
  void *reply = nullptr;
  uint32_t length = sizeof request;
  const uint32_t status =
      cmi_req_resp(SCH_SERVICE_SHOW, SCH_CLASS_SHOW, &request, &reply, &length, identity.user.c_str(),
                   identity.peer.c_str(), transport_constant, identity.handle, 0);
  const std::unique_ptr<void, decltype(&std::free)> owner(reply, &std::free);
  if (status != 0) return host::error_of(status);
  if (reply == nullptr) return host::Bytes();
  const auto *bytes = static_cast<const std::byte *>(reply);
  return host::Bytes(bytes, bytes + length);
}

}  // namespace shell
