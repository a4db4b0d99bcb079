#import <Foundation/Foundation.h>
#include <dlfcn.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

// SMAppService is reached by name at run time rather than linked: the program then links with
// no ServiceManagement stub at hand, and the class is there on every macOS it runs on (13+).
// These declarations describe only the messages sent; nothing here defines or links a class.
@protocol KolvoLoginItemAppService <NSObject>
@property(readonly) NSInteger status;
- (BOOL)registerAndReturnError:(NSError**)error;
- (BOOL)unregisterAndReturnError:(NSError**)error;
@end

@protocol KolvoLoginItemAppServiceClass <NSObject>
+ (id<KolvoLoginItemAppService>)mainAppService;
@end

namespace kolvo::platform {
namespace {

// SMAppServiceStatus.
constexpr NSInteger kStatusNotRegistered = 0;
constexpr NSInteger kStatusEnabled = 1;
constexpr NSInteger kStatusRequiresApproval = 2;
constexpr NSInteger kStatusNotFound = 3;

constexpr const char* kServiceManagement = "/System/Library/Frameworks/ServiceManagement.framework/ServiceManagement";

// SMAppService.mainAppService, or nil where the class cannot be found. The framework is loaded
// once for the process: nothing else in the program brings it in.
id<KolvoLoginItemAppService> main_app_service() {
  static Class service_class = [] {
    dlopen(kServiceManagement, RTLD_LAZY | RTLD_GLOBAL);
    return NSClassFromString(@"SMAppService");
  }();
  if (service_class == Nil) return nil;
  if (![service_class respondsToSelector:@selector(mainAppService)]) return nil;
  return [service_class mainAppService];
}

std::optional<std::string> error_text(BOOL ok, NSError* error) {
  if (ok) return std::nullopt;
  const std::string text = utf8(error.localizedDescription);
  return text.empty() ? std::string("The login item could not be changed.") : text;
}

constexpr const char* kUnavailable = "Launch at login is not available: this macOS has no SMAppService.";

}  // namespace

app::LoginItemStatus MacLoginItemService::status() const {
  id<KolvoLoginItemAppService> service = main_app_service();
  if (service == nil) return app::LoginItemStatus::unknown;
  switch (service.status) {
    case kStatusEnabled: return app::LoginItemStatus::enabled;
    case kStatusRequiresApproval: return app::LoginItemStatus::requiresApproval;
    case kStatusNotRegistered: return app::LoginItemStatus::notRegistered;
    case kStatusNotFound: return app::LoginItemStatus::notFound;
    default: break;
  }
  return app::LoginItemStatus::unknown;
}

std::optional<std::string> MacLoginItemService::register_main_app() {
  id<KolvoLoginItemAppService> service = main_app_service();
  if (service == nil) return std::string(kUnavailable);
  NSError* error = nil;
  const BOOL ok = [service registerAndReturnError:&error];
  return error_text(ok, error);
}

std::optional<std::string> MacLoginItemService::unregister_main_app() {
  id<KolvoLoginItemAppService> service = main_app_service();
  if (service == nil) return std::string(kUnavailable);
  NSError* error = nil;
  const BOOL ok = [service unregisterAndReturnError:&error];
  return error_text(ok, error);
}

}  // namespace kolvo::platform
