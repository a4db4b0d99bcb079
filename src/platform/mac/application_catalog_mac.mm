#import <AppKit/AppKit.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

namespace kolvo::platform {
namespace {

std::optional<catalog::InstalledApplication> bundle_at(NSString* path) {
  BOOL folder = NO;
  if (![NSFileManager.defaultManager fileExistsAtPath:path isDirectory:&folder] || !folder) return std::nullopt;
  if (![path.pathExtension isEqualToString:@"app"]) return std::nullopt;
  catalog::InstalledApplication app;
  app.path = path.stringByStandardizingPath.UTF8String;
  NSString* identifier = [NSBundle bundleWithPath:path].bundleIdentifier;
  if (identifier) app.bundle_identifier = std::string(identifier.UTF8String);
  app.display_name = utf8([NSFileManager.defaultManager displayNameAtPath:path]);
  return app;
}

}  // namespace

std::vector<catalog::InstalledApplication> MacApplicationCatalog::applications_in(
    const std::vector<std::string>& folders) const {
  std::vector<catalog::InstalledApplication> found;
  @autoreleasepool {
    for (const std::string& folder : folders) {
      NSString* base = [NSString stringWithUTF8String:folder.c_str()];
      NSArray<NSString*>* names = [NSFileManager.defaultManager contentsOfDirectoryAtPath:base error:nil];
      for (NSString* name in [names sortedArrayUsingSelector:@selector(localizedStandardCompare:)]) {
        if (auto app = bundle_at([base stringByAppendingPathComponent:name])) found.push_back(std::move(*app));
      }
    }
  }
  return found;
}

std::optional<catalog::InstalledApplication> MacApplicationCatalog::application_with_bundle_id(
    const std::string& bundle_id) const {
  @autoreleasepool {
    NSURL* url = [NSWorkspace.sharedWorkspace
        URLForApplicationWithBundleIdentifier:[NSString stringWithUTF8String:bundle_id.c_str()]];
    if (url == nil) return std::nullopt;
    return bundle_at(url.path);
  }
}

std::optional<catalog::InstalledApplication> MacApplicationCatalog::application_at(const std::string& path) const {
  @autoreleasepool {
    return bundle_at([NSString stringWithUTF8String:path.c_str()]);
  }
}

bool MacApplicationOpener::open_application(const catalog::KolvoAppItem& item) {
  @autoreleasepool {
    NSURL* url = [NSURL fileURLWithPath:ns_string(item.path()) isDirectory:YES];
    if (![NSFileManager.defaultManager fileExistsAtPath:url.path]) return false;
    NSWorkspaceOpenConfiguration* configuration = [NSWorkspaceOpenConfiguration configuration];
    configuration.activates = YES;
    [NSWorkspace.sharedWorkspace openApplicationAtURL:url configuration:configuration completionHandler:nil];
    return true;
  }
}

}  // namespace kolvo::platform
