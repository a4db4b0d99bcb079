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

std::optional<std::vector<std::uint8_t>> MacApplicationCatalog::icon_png(const catalog::InstalledApplication& application,
                                                                         int pixels) const {
  @autoreleasepool {
    NSImage* icon = [NSWorkspace.sharedWorkspace iconForFile:[NSString stringWithUTF8String:application.path.c_str()]];
    if (icon == nil || pixels <= 0) return std::nullopt;
    NSBitmapImageRep* bitmap = [[NSBitmapImageRep alloc] initWithBitmapDataPlanes:nullptr
                                                                       pixelsWide:pixels
                                                                       pixelsHigh:pixels
                                                                    bitsPerSample:8
                                                                  samplesPerPixel:4
                                                                         hasAlpha:YES
                                                                         isPlanar:NO
                                                                   colorSpaceName:NSDeviceRGBColorSpace
                                                                      bytesPerRow:0
                                                                     bitsPerPixel:0];
    if (bitmap == nil) return std::nullopt;
    bitmap.size = NSMakeSize(pixels, pixels);
    [NSGraphicsContext saveGraphicsState];
    NSGraphicsContext.currentContext = [NSGraphicsContext graphicsContextWithBitmapImageRep:bitmap];
    [icon drawInRect:NSMakeRect(0, 0, pixels, pixels)
            fromRect:NSZeroRect
           operation:NSCompositingOperationCopy
            fraction:1.0];
    [NSGraphicsContext restoreGraphicsState];
    NSData* png = [bitmap representationUsingType:NSBitmapImageFileTypePNG properties:@{}];
    if (png.length == 0) return std::nullopt;
    const auto* bytes = static_cast<const std::uint8_t*>(png.bytes);
    return std::vector<std::uint8_t>(bytes, bytes + png.length);
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
