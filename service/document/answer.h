// SPDX-License-Identifier: Apache-2.0
// Documents of the module yang/schedcli.yang as answers.
#pragma once

#include <functional>
#include <optional>

#include "control/json.h"
#include "host/transport/transport.h"

namespace service {

using control::Json;

host::Answer document(const char *name, Json content);

// A list that may be long is made as the client takes it: `head` are the members before it, and `next` gives its
// entries until there is none.
using NextEntry = std::function<std::optional<Json>()>;
host::Answer list_document(const char *name, const Json &head, const char *list, NextEntry next);

}  // namespace service
