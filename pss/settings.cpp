// SPDX-License-Identifier: Apache-2.0
// The settings that are not part of a configuration's two lists, at their values before anything is restored.
#include "schedcli.h"

sch_email_transport email_transport_conf = {
    .from = "",
    .reply_to = "",
    .reply_to_copy = "",
    .smtp = {.server = "", .address_kind = 1, .port = 25, .vrf = "management"},
};

sch_log_file_rec sch_log_file = {
    .head = {},
    .name = SCH_LOG_NAME_DEFAULT,
    .size = SCH_LOG_SIZE_DEFAULT,
    .read_offset = 0,
    .write_offset = 0,
    .entry_count = 0,
    .uri = SCH_LOG_URI_DEFAULT,
    .spare = 0,
};

sch_config_key sch_log_file_key = {.type = SCH_CONFIG_LOG_FILE, .fragment = 0, .name = ""};

int32_t scheduler_enabled = 0;
