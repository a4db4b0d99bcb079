#include "deck/server/deck_approval.hpp"

#include <algorithm>

namespace kolvo::deck {

std::string approval_message(std::string_view device_name) {
  return "Allow \u201C" + std::string(device_name) + "\u201D to control this Mac?";
}

bool ApprovalQueue::ask(ApprovalRequest request, Answer answer) {
  if (is_waiting(request.key)) return false;
  entries_.push_back({std::move(request), std::move(answer), next_serial_++});
  if (showing_ == 0) present_front();
  return true;
}

bool ApprovalQueue::is_waiting(const std::string& key) const {
  return std::any_of(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.request.key == key; });
}

std::vector<ApprovalRequest> ApprovalQueue::pending() const {
  std::vector<ApprovalRequest> out;
  for (const auto& entry : entries_) out.push_back(entry.request);
  return out;
}

void ApprovalQueue::present_front() {
  if (entries_.empty()) {
    showing_ = 0;
    return;
  }
  const Entry& front = entries_.front();
  showing_ = front.serial;
  prompt_.present(front.request, [this, serial = front.serial](bool allow) { resolve(serial, allow); });
}

void ApprovalQueue::resolve(std::uint64_t serial, bool allow) {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.serial == serial; });
  if (found == entries_.end()) return;  // withdrawn, or answered already
  Answer answer = std::move(found->answer);
  entries_.erase(found);
  if (serial == showing_) present_front();
  answer(allow);
}

bool ApprovalQueue::answer(const std::string& key, bool allow) {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.request.key == key; });
  if (found == entries_.end()) return false;
  const std::uint64_t serial = found->serial;
  if (serial == showing_) prompt_.dismiss(found->request);
  resolve(serial, allow);
  return true;
}

void ApprovalQueue::withdraw(const std::string& key) {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.request.key == key; });
  if (found == entries_.end()) return;
  const bool was_showing = found->serial == showing_;
  const ApprovalRequest request = found->request;
  entries_.erase(found);
  if (!was_showing) return;
  prompt_.dismiss(request);
  present_front();
}

void ApprovalQueue::withdraw_all() {
  if (showing_ != 0 && !entries_.empty()) prompt_.dismiss(entries_.front().request);
  entries_.clear();
  showing_ = 0;
}

}  // namespace kolvo::deck
