#import <ApplicationServices/ApplicationServices.h>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {

bool MacAccessibilityTrust::is_process_trusted() const { return AXIsProcessTrusted(); }

}  // namespace kolvo::platform
