// SPDX-License-Identifier: Apache-2.0
#include "schedcli.h"

const sch_syslog_facility syslog_fac_LOG_SCHEDULER = {"scheduler", 1512, 5, 5};

#define SCH_MESSAGE(name, severity, text) \
  const sch_syslog_msg syslog_msg_##name = {#name, &syslog_fac_LOG_SCHEDULER, "<<%%%s-%d-" #name ">> " text, severity}

SCH_MESSAGE(SCH_SYSLOG_USER_ERR, 3, "Description: Failed to execute job for user id %s Error:%d");
SCH_MESSAGE(SCH_SYSLOG_PSS_SNAPSHOT_ERR, 2, "Source URI:%s Destination URI:%s errcode:%d");
SCH_MESSAGE(SCH_SYSLOG_SDWRAP_ERR, 2, "Debug infrastructure initialization failed: %s");
SCH_MESSAGE(SCH_SYSLOG_MALLOC_ERR, 2, "Out of memory: %s");
SCH_MESSAGE(SCH_SYSLOG_PSS_ERR, 3, "Purpose:%s URI:%s Error:%d");
SCH_MESSAGE(SCH_SYSLOG_FILE_ERR, 3, "%s Error:%s");
SCH_MESSAGE(SCH_SYSLOG_MTS_ERR, 2, "MTS error: %s");
SCH_MESSAGE(SCH_WARN, 4, "%s");
SCH_MESSAGE(SCH_ERR, 3, "%s");
SCH_MESSAGE(SCH_MSG, 6, "%s");
