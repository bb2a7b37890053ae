// SPDX-License-Identifier: Apache-2.0
// The settings that are not part of a configuration's two lists, at their values before anything is restored.
#include "schedcli.h"

sch_email_transport email_transport_conf = SCH_EMAIL_TRANSPORT_INITIALIZER;
sch_log_file_rec sch_log_file = SCH_LOG_FILE_INITIALIZER;

sch_config_key sch_log_file_key = {.type = SCH_CONFIG_LOG_FILE, .fragment = 0, .name = ""};

int32_t scheduler_enabled = 0;
