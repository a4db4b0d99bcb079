#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>

#include "deck/server/deck_approval.hpp"

namespace kolvo::host {

// The approval question without a screen. It always says how to answer from another
// terminal (`kolvo deck approve|deny`, through the control socket); when the host runs in an
// interactive terminal it also asks there, in the alert's words.
class HostApprovalPrompt final : public deck::DeckApprovalPrompt {
 public:
  using LineSink = std::function<void(std::string_view line)>;

  // `terminal` is read for answers when it is an interactive terminal; -1 for none.
  HostApprovalPrompt(asio::io_context& context, LineSink say, int terminal);
  ~HostApprovalPrompt() override;

  void present(const deck::ApprovalRequest& request, std::function<void(bool allow)> answer) override;
  void dismiss(const deck::ApprovalRequest& request) override;

  // An answer typed at the prompt: true for allow, false for don't allow, absent otherwise.
  static std::optional<bool> parse_answer(std::string_view line);

 private:
  void read_answer();

  LineSink say_;
  std::unique_ptr<asio::posix::stream_descriptor> terminal_;
  std::optional<deck::ApprovalRequest> showing_;
  std::function<void(bool)> answer_;
  std::string typed_;
  char byte_ = 0;
  bool reading_ = false;
};

}  // namespace kolvo::host
