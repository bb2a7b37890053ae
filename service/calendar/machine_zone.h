// SPDX-License-Identifier: Apache-2.0
// The zone that the machine is set to: /etc/localtime is a link to a zone file, or a copy of one whose name is in
// /etc/timezone.
#pragma once

#include <string>
#include <vector>

namespace service {

// As a value for TZ: the zone's name; for a file without a name a colon and its path; UTC if there is no zone.
std::string machine_zone(const std::string &etc = "/etc");

// The files that determine a zone: the zone file and the links to it, for the machine's zone also /etc/timezone. None
// for a rule.
std::vector<std::string> files_of_zone(const std::string &identifier);
std::vector<std::string> files_of_machine_zone(const std::string &etc = "/etc");

// Changes whenever one of the files is replaced, rewritten, linked elsewhere or removed.
std::string identity_of(const std::vector<std::string> &files);

}  // namespace service
