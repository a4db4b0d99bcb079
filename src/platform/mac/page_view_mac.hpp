#pragma once

// Draws a window's page content with AppKit, for the Objective-C++ shells only.
#import <AppKit/AppKit.h>

#include <functional>

#include "ui/page_content.hpp"

// The rows of a page top to bottom, in titled sections. Every control reports what the user did
// as a control event; the owner applies it and shows the page's new content.
@interface KolvoPageView : NSStackView
- (instancetype)initWithEventHandler:(std::function<void(const kolvo::ui::ControlEvent&)>)handler;
- (void)showContent:(const kolvo::ui::PageContent&)content;
@end
