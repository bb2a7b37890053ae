// SPDX-License-Identifier: Apache-2.0
// schedmail sends one message to a mail server. It is a process of its own, so that the service does not load the mail
// library and never waits for a server. Standard input: lines "name value", an empty line, the message. Standard
// output: a line with the server's answer. Exit status: service/mail/sent.h.
#include <curl/curl.h>
#include <grp.h>
#include <net/if.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <string>

#include "service/mail/sent.h"

namespace {

using service::Sent;

constexpr long connect_limit_s = 30;
constexpr long whole_limit_s = 120;

struct Message {
  std::string text;
  size_t sent = 0;
};

size_t give_message(char *buffer, size_t size, size_t count, void *argument) {
  auto *message = static_cast<Message *>(argument);
  const size_t length = std::min(size * count, message->text.size() - message->sent);
  message->text.copy(buffer, length, message->sent);
  message->sent += length;
  return length;
}

// Drops root's rights before the mail library parses a server's answers.
bool become_nobody() {
  if (geteuid() != 0) return true;
  const passwd *nobody = getpwnam("nobody");
  return nobody != nullptr && setgroups(0, nullptr) == 0 &&
         setresgid(nobody->pw_gid, nobody->pw_gid, nobody->pw_gid) == 0 &&
         setresuid(nobody->pw_uid, nobody->pw_uid, nobody->pw_uid) == 0;
}

int say(Sent result, const std::string &words) {
  std::string line = words.substr(0, words.find_first_of("\r\n"));
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  std::printf("%s\n", line.c_str());
  return static_cast<int>(result);
}

using Fields = std::map<std::string, std::string>;

bool read_request(Fields *fields, Message *message) {
  std::string line;
  while (std::getline(std::cin, line) && !line.empty()) {
    const size_t blank = line.find(' ');
    if (blank == std::string::npos) return false;
    (*fields)[line.substr(0, blank)] = line.substr(blank + 1);
  }
  message->text.assign(std::istreambuf_iterator<char>(std::cin), {});
  return !message->text.empty() && !(*fields)["server"].empty() && !(*fields)["from"].empty() &&
         !(*fields)["to"].empty();
}

void set_connection(CURL *curl, Fields &fields) {
  const bool is_v6 = fields["server"].find(':') != std::string::npos;
  const std::string server = is_v6 ? "[" + fields["server"] + "]" : fields["server"];
  curl_easy_setopt(curl, CURLOPT_URL, ("smtp://" + server + ":" + fields["port"] + "/" + fields["name"]).c_str());
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "smtp");
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, connect_limit_s);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, whole_limit_s);
  const bool required = fields["tls"] == "require";
  curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(required ? CURLUSESSL_ALL : CURLUSESSL_TRY));
  // Without [mail] require-tls certificates are not verified: an attacker in between could as well not offer TLS.
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, required ? 1L : 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, required ? 2L : 0L);
  if (!fields["authority"].empty()) curl_easy_setopt(curl, CURLOPT_CAINFO, fields["authority"].c_str());
  if (!fields["user"].empty()) {
    curl_easy_setopt(curl, CURLOPT_USERNAME, fields["user"].c_str());
    curl_easy_setopt(curl, CURLOPT_PASSWORD, fields["password"].c_str());
  }
  if (if_nametoindex(fields["vrf"].c_str()) != 0)
    curl_easy_setopt(curl, CURLOPT_INTERFACE, ("if!" + fields["vrf"]).c_str());
}

int outcome(CURL *curl, CURLcode code, const char *words) {
  long reply = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &reply);
  if (code == CURLE_OK) return say(Sent::sent, "sent");
  const std::string reason = *words != 0 ? words : curl_easy_strerror(code);
  const bool for_good = reply >= 500 && reply < 600 && code != CURLE_LOGIN_DENIED;
  return say(for_good ? Sent::refused : Sent::later, reason);
}

int send(Fields &fields, Message &message) {
  const std::unique_ptr<CURL, void (*)(CURL *)> curl(curl_easy_init(), curl_easy_cleanup);
  if (!curl) return say(Sent::later, "no memory");
  char words[CURL_ERROR_SIZE] = "";
  set_connection(curl.get(), fields);
  const std::unique_ptr<curl_slist, void (*)(curl_slist *)> to(
      curl_slist_append(nullptr, ("<" + fields["to"] + ">").c_str()), curl_slist_free_all);
  curl_easy_setopt(curl.get(), CURLOPT_MAIL_FROM, ("<" + fields["from"] + ">").c_str());
  curl_easy_setopt(curl.get(), CURLOPT_MAIL_RCPT, to.get());
  curl_easy_setopt(curl.get(), CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_READFUNCTION, give_message);
  curl_easy_setopt(curl.get(), CURLOPT_READDATA, &message);
  curl_easy_setopt(curl.get(), CURLOPT_ERRORBUFFER, words);
  const CURLcode code = curl_easy_perform(curl.get());
  return outcome(curl.get(), code, words);
}

}  // namespace

int main() {
  Fields fields;
  Message message;
  if (!read_request(&fields, &message)) return say(Sent::later, "not a request for schedmail");
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return say(Sent::later, "the mail library does not start");
  if (!become_nobody()) return say(Sent::later, "cannot leave root's rights: there is no user nobody");
  return send(fields, message);
}
