// SPDX-License-Identifier: Apache-2.0
// Stored keys begin with two big-endian words, so that the store's byte order is the order of types and fragments.
#include <arpa/inet.h>

#include "schedcli.h"

static_assert(sizeof(sch_config_key) == 40 && offsetof(sch_config_key, name) == 8);
static_assert(sizeof(sch_runtime_key) == 40 && offsetof(sch_runtime_key, name) == 8);
static_assert(sizeof(sch_job_hdr) == 12);
static_assert(sizeof(sch_schedule_rec) == 144);
static_assert(offsetof(sch_schedule_rec, jobs) == 8 && offsetof(sch_schedule_rec, time) == 44);
static_assert(sizeof(sch_smtp_server_rec) == 520 && offsetof(sch_smtp_server_rec, vrf) == 264);
static_assert(sizeof(sch_schedule_email_entry) == 716);
static_assert(sizeof(sch_email_transport) == 712 && offsetof(sch_email_transport, smtp) == 192);

void sch_hton_config_key(sch_config_key *key) {
  key->type = htonl(key->type);
  key->fragment = htonl(key->fragment);
}

void sch_ntoh_config_key(sch_config_key *key) {
  key->type = ntohl(key->type);
  key->fragment = ntohl(key->fragment);
}

void sch_hton_runtime_key(sch_runtime_key *key) {
  key->type = htonl(key->type);
  key->job_id = htonl(key->job_id);
}

void sch_ntoh_runtime_key(sch_runtime_key *key) {
  key->type = ntohl(key->type);
  key->job_id = ntohl(key->job_id);
}
