// SPDX-License-Identifier: Apache-2.0
// The zone that the machine is set to: /etc/localtime, a link into the zone files or a copy of one of them, whose name
// then stands in /etc/timezone.
#pragma once

#include <string>
#include <vector>

namespace service {

// What TZ would say: the name of the zone; the path of a nameless file, behind a colon; UTC when there is none.
// `etc` is /etc but for tests.
std::string machine_zone(const std::string &etc = "/etc");

// The files that a zone is read from, links on the way included, and where its name stands. Empty: a rule.
std::vector<std::string> files_of_zone(const std::string &identifier);
std::vector<std::string> files_of_machine_zone(const std::string &etc = "/etc");

// Changes whenever one of the files is replaced, rewritten, linked elsewhere or removed.
std::string identity_of(const std::vector<std::string> &files);

}  // namespace service
