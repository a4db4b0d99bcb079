#import <Foundation/Foundation.h>
#import <ImageIO/ImageIO.h>
#include <dispatch/dispatch.h>

#include <chrono>
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
  @autoreleasepool {
    if (image.empty()) return std::nullopt;
    NSData* data = [NSData dataWithBytes:image.data() length:image.size()];
    NSDictionary* source_options = @{(id)kCGImageSourceShouldCache : @NO};
    CGImageSourceRef source = CGImageSourceCreateWithData((__bridge CFDataRef)data, (__bridge CFDictionaryRef)source_options);
    if (!source) return std::nullopt;
    NSDictionary* thumbnail_options = @{
      (id)kCGImageSourceCreateThumbnailFromImageAlways : @YES,
      (id)kCGImageSourceCreateThumbnailWithTransform : @YES,
      (id)kCGImageSourceThumbnailMaxPixelSize : @(max_side),
      (id)kCGImageSourceShouldCacheImmediately : @YES,
    };
    CGImageRef thumbnail = CGImageSourceCreateThumbnailAtIndex(source, 0, (__bridge CFDictionaryRef)thumbnail_options);
    CFRelease(source);
    if (!thumbnail) return std::nullopt;
    NSMutableData* jpeg = [NSMutableData data];
    CGImageDestinationRef destination =
        CGImageDestinationCreateWithData((__bridge CFMutableDataRef)jpeg, CFSTR("public.jpeg"), 1, nullptr);
    bool written = false;
    if (destination) {
      NSDictionary* properties = @{(id)kCGImageDestinationLossyCompressionQuality : @(quality)};
      CGImageDestinationAddImage(destination, thumbnail, (__bridge CFDictionaryRef)properties);
      written = CGImageDestinationFinalize(destination);
      CFRelease(destination);
    }
    CGImageRelease(thumbnail);
    if (!written || jpeg.length == 0) return std::nullopt;
    const auto* bytes = static_cast<const std::uint8_t*>(jpeg.bytes);
    return std::vector<std::uint8_t>(bytes, bytes + jpeg.length);
  }
}

}  // namespace kolvo::platform
