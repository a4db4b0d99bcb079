#import <AppKit/AppKit.h>

#include "platform/mac/deck_approval_prompt_mac.hpp"
#include "platform/mac/objc_text.hpp"

// One alert window, shown without a modal session; its buttons answer through a block.
@interface KolvoDeckApprovalAlert : NSObject
@property(nonatomic, strong) NSAlert* alert;
@property(nonatomic, copy) void (^answered)(BOOL allow);
- (void)allow:(id)sender;
- (void)deny:(id)sender;
@end

@implementation KolvoDeckApprovalAlert
- (void)allow:(id)sender {
  [self finish:YES];
}
- (void)deny:(id)sender {
  [self finish:NO];
}
- (void)finish:(BOOL)allow {
  [self.alert.window orderOut:nil];
  void (^answered)(BOOL) = self.answered;
  self.answered = nil;
  if (answered) answered(allow);
}
@end

namespace kolvo::platform {

MacDeckApprovalPrompt::MacDeckApprovalPrompt() { alert_ = [KolvoDeckApprovalAlert new]; }

MacDeckApprovalPrompt::~MacDeckApprovalPrompt() {
  alert_.answered = nil;
  [alert_.alert.window orderOut:nil];
}

void MacDeckApprovalPrompt::present(const deck::ApprovalRequest& request, std::function<void(bool)> answer) {
  NSAlert* alert = [NSAlert new];
  alert.messageText = ns_string(deck::approval_message(request.device_name));
  alert.informativeText = ns_string(std::string(deck::kApprovalInformativeText));
  NSButton* allow = [alert addButtonWithTitle:ns_string(std::string(deck::kApprovalAllowButton))];
  NSButton* deny = [alert addButtonWithTitle:ns_string(std::string(deck::kApprovalDenyButton))];
  allow.target = alert_;
  allow.action = @selector(allow:);
  deny.target = alert_;
  deny.action = @selector(deny:);
  deny.keyEquivalent = @"\033";
  [alert layout];
  alert_.alert = alert;
  auto shared = std::make_shared<std::function<void(bool)>>(std::move(answer));
  MacDeckApprovalPrompt* self = this;  // lives as long as the application; clears the block when it goes
  alert_.answered = ^(BOOL allowed) {
    self->showing_key_.reset();
    (*shared)(allowed);
  };
  showing_key_ = request.key;
  [NSApp activateIgnoringOtherApps:YES];
  [alert.window center];
  alert.window.level = NSFloatingWindowLevel;
  [alert.window makeKeyAndOrderFront:nil];
}

void MacDeckApprovalPrompt::dismiss(const deck::ApprovalRequest& request) {
  if (showing_key_ != request.key) return;
  showing_key_.reset();
  alert_.answered = nil;
  [alert_.alert.window orderOut:nil];
}

}  // namespace kolvo::platform
