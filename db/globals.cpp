// SPDX-License-Identifier: Apache-2.0
#include "schedcli.h"

sch_job_entry sch_job_list[SCH_MAX_JOBS];
sch_job_entry startup_job_list[SCH_MAX_JOBS];
GList *sch_schedule_list = nullptr;
GList *startup_schedule_list = nullptr;
GList *sch_schedule_email_list = nullptr;
sch_config_db sch_running_config = {sch_job_list, &sch_schedule_list};
sch_config_db sch_startup_config = {startup_job_list, &startup_schedule_list};
