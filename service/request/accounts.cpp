// SPDX-License-Identifier: Apache-2.0
#include "service/request/accounts.h"

#include <utility>

#include "host/status.h"
#include "service/request/answer.h"

namespace service {
namespace {

constexpr size_t users_max = 1024;  // then the cache is emptied

}  // namespace

// One for each waiting request. They share the authentication's descriptor, which becomes readable for all of them.
class Accounts::WaitingRequest : public host::PendingAnswer {
 public:
  WaitingRequest(Accounts &accounts, std::string user, std::shared_ptr<Question> question, Then then)
      : accounts_(accounts), user_(std::move(user)), question_(std::move(question)), then_(std::move(then)) {
    descriptor = question_->asked->descriptor;
    deadline_ms = question_->asked->deadline_ms;
  }

  host::Answer answer() override {
    const uint32_t status = accounts_.take(user_, *question_);
    return status != 0 ? with_status(status) : then_();
  }

 private:
  Accounts &accounts_;
  std::string user_;
  std::shared_ptr<Question> question_;
  Then then_;
};

std::optional<uint32_t> Accounts::known(const std::string &user, Clock::time_point now) {
  const auto found = known_.find(user);
  if (found == known_.end() || found->second.until <= now) return std::nullopt;
  return found->second.status;
}

// A timeout is not cached: the next request asks again.
uint32_t Accounts::take(const std::string &user, Question &question) {
  if (question.status) return *question.status;
  const uint32_t status = question.asked->result().code();
  question.status = status;
  open_.erase(user);
  if (known_.size() >= users_max) known_.clear();
  if (status == 0 || status == host::err_account_refused)
    known_[user] = {status, Clock::now() + (status == 0 ? accepted_for : refused_for)};
  return status;
}

host::Answer Accounts::if_usable(const std::string &user, Clock::time_point now, const Then &then) {
  if (const std::optional<uint32_t> status = known(user, now)) return *status != 0 ? with_status(*status) : then();
  std::shared_ptr<Question> question = open_[user].lock();
  if (!question || question->status) {
    host::Result<std::shared_ptr<host::Authentication>> asked = host::Authentication::of_account(user);
    if (!asked) {
      open_.erase(user);
      return with_status(asked.code());
    }
    question = std::make_shared<Question>(Question{std::move(*asked), std::nullopt});
    open_[user] = question;
  }
  host::Answer answer;
  answer.pending = std::make_shared<WaitingRequest>(*this, user, std::move(question), then);
  return answer;
}

}  // namespace service
