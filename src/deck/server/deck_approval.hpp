#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kolvo::deck {

// One phone waiting for the user's word.
struct ApprovalRequest {
  // The phone's device id, or "connection-N" for a phone that sent none (it is approved for
  // that connection only, and nothing is remembered).
  std::string key;
  std::string device_name;
  friend bool operator==(const ApprovalRequest&, const ApprovalRequest&) = default;
};

inline constexpr std::string_view kApprovalInformativeText =
    "Kolvo Deck lets this iPhone adjust your Mac controls over your local network. You can remove trusted iPhones "
    "anytime in Settings → Kolvo Deck.";
inline constexpr std::string_view kApprovalAllowButton = "Allow";
inline constexpr std::string_view kApprovalDenyButton = "Don't Allow";
// "Allow “<name>” to control this Mac?"
std::string approval_message(std::string_view device_name);

// How the user is asked: a non-modal alert on the Mac; a terminal prompt, or the control
// socket's `kolvo deck approve|deny`, on the headless host.
class DeckApprovalPrompt {
 public:
  virtual ~DeckApprovalPrompt() = default;
  // Shows the question. `answer` runs at most once, on the main thread.
  virtual void present(const ApprovalRequest& request, std::function<void(bool allow)> answer) = 0;
  // The question no longer stands (the phone went away): take it down without an answer.
  virtual void dismiss(const ApprovalRequest& request) = 0;
};

// One question on screen at a time, in the order the phones asked; a modal alert would stall
// every other phone and the pointer. A phone asks at most once at a time.
class ApprovalQueue {
 public:
  using Answer = std::function<void(bool allow)>;

  explicit ApprovalQueue(DeckApprovalPrompt& prompt) : prompt_(prompt) {}
  ApprovalQueue(const ApprovalQueue&) = delete;
  ApprovalQueue& operator=(const ApprovalQueue&) = delete;

  // False, and nothing asked, when the same key is already waiting.
  bool ask(ApprovalRequest request, Answer answer);
  // The phone went away: its question is dropped, and taken down if it is showing.
  void withdraw(const std::string& key);
  // Answers a waiting question as the user would; false when none has that key.
  bool answer(const std::string& key, bool allow);
  void withdraw_all();

  std::vector<ApprovalRequest> pending() const;
  bool is_waiting(const std::string& key) const;

 private:
  struct Entry {
    ApprovalRequest request;
    Answer answer;
    std::uint64_t serial = 0;
  };
  void present_front();
  void resolve(std::uint64_t serial, bool allow);

  DeckApprovalPrompt& prompt_;
  std::deque<Entry> entries_;
  std::uint64_t next_serial_ = 1;
  std::uint64_t showing_ = 0;
};

}  // namespace kolvo::deck
