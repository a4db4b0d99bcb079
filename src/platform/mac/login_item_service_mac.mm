#import <Foundation/Foundation.h>

#if __has_include(<ServiceManagement/SMAppService.h>)
#import <ServiceManagement/ServiceManagement.h>
#else
// The few ServiceManagement declarations needed here, for SDK copies that lack the framework.
typedef NS_ENUM(NSInteger, SMAppServiceStatus) {
  SMAppServiceStatusNotRegistered = 0,
  SMAppServiceStatusEnabled = 1,
  SMAppServiceStatusRequiresApproval = 2,
  SMAppServiceStatusNotFound = 3,
};
API_AVAILABLE(macos(13.0))
@interface SMAppService : NSObject
@property(class, readonly) SMAppService* mainAppService;
@property(readonly) SMAppServiceStatus status;
- (BOOL)registerAndReturnError:(NSError**)error;
- (BOOL)unregisterAndReturnError:(NSError**)error;
@end
#endif

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {
namespace {

std::optional<std::string> error_text(BOOL ok, NSError* error) {
  if (ok) return std::nullopt;
  return std::string(error.localizedDescription.UTF8String ?: "The login item could not be changed.");
}

}  // namespace

app::LoginItemStatus MacLoginItemService::status() const {
  switch (SMAppService.mainAppService.status) {
    case SMAppServiceStatusEnabled: return app::LoginItemStatus::enabled;
    case SMAppServiceStatusRequiresApproval: return app::LoginItemStatus::requiresApproval;
    case SMAppServiceStatusNotRegistered: return app::LoginItemStatus::notRegistered;
    case SMAppServiceStatusNotFound: return app::LoginItemStatus::notFound;
  }
  return app::LoginItemStatus::unknown;
}

std::optional<std::string> MacLoginItemService::register_main_app() {
  NSError* error = nil;
  const BOOL ok = [SMAppService.mainAppService registerAndReturnError:&error];
  return error_text(ok, error);
}

std::optional<std::string> MacLoginItemService::unregister_main_app() {
  NSError* error = nil;
  const BOOL ok = [SMAppService.mainAppService unregisterAndReturnError:&error];
  return error_text(ok, error);
}

}  // namespace kolvo::platform
