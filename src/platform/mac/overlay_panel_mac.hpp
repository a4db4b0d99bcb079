#pragma once

// The panels Kolvo draws over the screen, for the Objective-C++ adapters only.
#import <AppKit/AppKit.h>

namespace kolvo::platform {

// A borderless panel that never activates Kolvo, so the frontmost application keeps its key
// window while the pointer uses a panel. It floats above the menu bar and the Dock, joins every
// Space and shows beside full-screen windows, and stays when Kolvo is not active (which it never
// is). `ignores_mouse` lets every click through to whatever is under it.
NSPanel* make_overlay_panel(BOOL ignores_mouse, BOOL has_shadow);

}  // namespace kolvo::platform
