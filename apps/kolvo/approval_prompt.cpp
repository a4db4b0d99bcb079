#include "approval_prompt.hpp"

#include <unistd.h>

#include <algorithm>
#include <cctype>

#include <asio/read.hpp>

namespace kolvo::host {

HostApprovalPrompt::HostApprovalPrompt(asio::io_context& context, LineSink say, int terminal) : say_(std::move(say)) {
  if (terminal >= 0 && ::isatty(terminal)) {
    terminal_ = std::make_unique<asio::posix::stream_descriptor>(context, ::dup(terminal));
  }
}

HostApprovalPrompt::~HostApprovalPrompt() {
  if (terminal_) {
    std::error_code ignored;
    terminal_->cancel(ignored);
    terminal_->close(ignored);
  }
}

std::optional<bool> HostApprovalPrompt::parse_answer(std::string_view line) {
  std::string word;
  for (const char c : line) {
    if (!std::isspace(static_cast<unsigned char>(c))) word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  if (word == "a" || word == "allow" || word == "y" || word == "yes") return true;
  if (word == "d" || word == "n" || word == "no" || word == "don'tallow" || word == "dontallow" || word == "deny") {
    return false;
  }
  return std::nullopt;
}

void HostApprovalPrompt::present(const deck::ApprovalRequest& request, std::function<void(bool)> answer) {
  showing_ = request;
  answer_ = std::move(answer);
  say_(deck::approval_message(request.device_name) + " " + std::string(deck::kApprovalInformativeText));
  say_("answer with 'kolvo deck approve " + request.key + "' or 'kolvo deck deny " + request.key + "'");
  if (!terminal_) return;
  say_(std::string(deck::kApprovalAllowButton) + " (a) or " + std::string(deck::kApprovalDenyButton) + " (d)?");
  typed_.clear();
  if (!reading_) read_answer();
}

void HostApprovalPrompt::dismiss(const deck::ApprovalRequest& request) {
  if (!showing_ || showing_->key != request.key) return;
  showing_.reset();
  answer_ = {};
  say_("no longer waiting for " + request.key);
}

void HostApprovalPrompt::read_answer() {
  reading_ = true;
  asio::async_read(*terminal_, asio::buffer(&byte_, 1), [this](const std::error_code& error, std::size_t) {
    reading_ = false;
    if (error) return;  // the terminal closed: answers come through the control socket only
    if (byte_ != '\n') {
      if (typed_.size() < 256) typed_ += byte_;
      return read_answer();
    }
    const std::string line = std::exchange(typed_, {});
    if (!showing_) return read_answer();
    const auto allow = parse_answer(line);
    if (!allow) {
      say_(std::string(deck::kApprovalAllowButton) + " (a) or " + std::string(deck::kApprovalDenyButton) + " (d)?");
      return read_answer();
    }
    showing_.reset();
    auto answer = std::exchange(answer_, {});
    // Reading goes on for the next question, which the answer may present at once.
    read_answer();
    if (answer) answer(*allow);
  });
}

}  // namespace kolvo::host
