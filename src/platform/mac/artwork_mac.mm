#import <Foundation/Foundation.h>
#import <ImageIO/ImageIO.h>
#include <dispatch/dispatch.h>

#include <chrono>
#include <climits>
#include <mutex>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

// Cover pictures: fetched with the URL loading system, thumbnailed with ImageIO.
namespace kolvo::platform {

shelf::Download MacDownloader::get(const std::string& url, base::Duration request_timeout, base::Duration wait,
                                   std::size_t max_bytes) {
  @autoreleasepool {
    NSURL* address = [NSURL URLWithString:ns_string(url)];
    if (!address) return {};
    const double timeout = std::chrono::duration<double>(request_timeout).count();
    // A cover already fetched once comes from the cache, with no request at all.
    NSURLRequest* request = [NSURLRequest requestWithURL:address
                                             cachePolicy:NSURLRequestReturnCacheDataElseLoad
                                         timeoutInterval:timeout];
    struct Result {
      std::mutex mutex;
      shelf::Download download;
    };
    auto result = std::make_shared<Result>();
    dispatch_semaphore_t done = dispatch_semaphore_create(0);
    NSURLSessionDataTask* task = [NSURLSession.sharedSession
        dataTaskWithRequest:request
          completionHandler:^(NSData* data, NSURLResponse* response, NSError* error) {
            if (!error && [response isKindOfClass:NSHTTPURLResponse.class] && data.length <= max_bytes) {
              std::lock_guard lock(result->mutex);
              result->download.status = static_cast<int>(static_cast<NSHTTPURLResponse*>(response).statusCode);
              const auto* bytes = static_cast<const std::uint8_t*>(data.bytes);
              result->download.body.assign(bytes, bytes + data.length);
            }
            dispatch_semaphore_signal(done);
          }];
    [task resume];
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(wait).count();
    if (dispatch_semaphore_wait(done, dispatch_time(DISPATCH_TIME_NOW, nanoseconds)) != 0) {
      [task cancel];
      return {};
    }
    std::lock_guard lock(result->mutex);
    return result->download;
  }
}

std::optional<std::vector<std::uint8_t>> MacImageThumbnailer::jpeg_thumbnail(const std::vector<std::uint8_t>& image,
                                                                             int max_side, double quality) const {
  if (image.empty() || image.size() > static_cast<std::size_t>(LONG_MAX)) return std::nullopt;
  // Core Foundation throughout: the options are CF keys, and nothing needs bridging.
  const auto dictionary = [] {
    return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  };
  CFDataRef data = CFDataCreate(nullptr, image.data(), static_cast<CFIndex>(image.size()));
  CFMutableDictionaryRef source_options = dictionary();
  CFDictionarySetValue(source_options, kCGImageSourceShouldCache, kCFBooleanFalse);
  CGImageSourceRef source = data ? CGImageSourceCreateWithData(data, source_options) : nullptr;
  CFRelease(source_options);
  if (data) CFRelease(data);
  if (!source) return std::nullopt;

  CFNumberRef side = CFNumberCreate(nullptr, kCFNumberIntType, &max_side);
  CFMutableDictionaryRef thumbnail_options = dictionary();
  CFDictionarySetValue(thumbnail_options, kCGImageSourceCreateThumbnailFromImageAlways, kCFBooleanTrue);
  CFDictionarySetValue(thumbnail_options, kCGImageSourceCreateThumbnailWithTransform, kCFBooleanTrue);
  CFDictionarySetValue(thumbnail_options, kCGImageSourceThumbnailMaxPixelSize, side);
  CFDictionarySetValue(thumbnail_options, kCGImageSourceShouldCacheImmediately, kCFBooleanTrue);
  CGImageRef thumbnail = CGImageSourceCreateThumbnailAtIndex(source, 0, thumbnail_options);
  CFRelease(thumbnail_options);
  CFRelease(side);
  CFRelease(source);
  if (!thumbnail) return std::nullopt;

  CFMutableDataRef jpeg = CFDataCreateMutable(nullptr, 0);
  CGImageDestinationRef destination = jpeg ? CGImageDestinationCreateWithData(jpeg, CFSTR("public.jpeg"), 1, nullptr)
                                           : nullptr;
  bool written = false;
  if (destination) {
    CFNumberRef compression = CFNumberCreate(nullptr, kCFNumberDoubleType, &quality);
    CFMutableDictionaryRef properties = dictionary();
    CFDictionarySetValue(properties, kCGImageDestinationLossyCompressionQuality, compression);
    CGImageDestinationAddImage(destination, thumbnail, properties);
    written = CGImageDestinationFinalize(destination);
    CFRelease(properties);
    CFRelease(compression);
    CFRelease(destination);
  }
  CGImageRelease(thumbnail);
  std::optional<std::vector<std::uint8_t>> result;
  if (written && jpeg && CFDataGetLength(jpeg) > 0) {
    const UInt8* bytes = CFDataGetBytePtr(jpeg);
    result.emplace(bytes, bytes + CFDataGetLength(jpeg));
  }
  if (jpeg) CFRelease(jpeg);
  return result;
}

}  // namespace kolvo::platform
