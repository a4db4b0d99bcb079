#pragma once

// Whether this process may read and drive other applications through the Accessibility
// interface: the live Dock walk, window moves and synthesized keys all depend on it.
namespace kolvo::dock {

class AccessibilityTrust {
 public:
  virtual ~AccessibilityTrust() = default;
  // AXIsProcessTrusted.
  virtual bool is_process_trusted() const = 0;
};

}  // namespace kolvo::dock
