#import <Foundation/Foundation.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

using kolvo::update::FeedResponse;

// One transfer: gathers the body up to its limit and says once, on the session's queue, how
// it ended.
@interface KolvoFeedTransfer : NSObject <NSURLSessionDataDelegate>
- (instancetype)initWithLimit:(NSUInteger)limit finished:(std::function<void(FeedResponse)>)finished;
@end

@implementation KolvoFeedTransfer {
  NSMutableData* _body;
  NSUInteger _limit;
  NSInteger _status;
  std::function<void(FeedResponse)> _finished;
  // An ending decided before the transfer completed: an error status, or a body too long.
  std::optional<FeedResponse> _early;
}

- (instancetype)initWithLimit:(NSUInteger)limit finished:(std::function<void(FeedResponse)>)finished {
  if ((self = [super init])) {
    _body = [NSMutableData new];
    _limit = limit;
    _finished = std::move(finished);
  }
  return self;
}

- (void)endEarly:(FeedResponse::Outcome)outcome {
  FeedResponse response;
  response.outcome = outcome;
  response.http_status = static_cast<int>(_status);
  _early = std::move(response);
}

- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)task
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition))completionHandler {
  if ([response isKindOfClass:NSHTTPURLResponse.class]) {
    id object = response;
    NSHTTPURLResponse* http = object;
    _status = http.statusCode;
    if (_status >= 400) {
      [self endEarly:FeedResponse::Outcome::http_error];
      completionHandler(NSURLSessionResponseCancel);
      return;
    }
  }
  // A declared length past the limit is refused before a byte of the body arrives.
  if (response.expectedContentLength > 0 && static_cast<unsigned long long>(response.expectedContentLength) > _limit) {
    [self endEarly:FeedResponse::Outcome::too_large];
    completionHandler(NSURLSessionResponseCancel);
    return;
  }
  completionHandler(NSURLSessionResponseAllow);
}

- (void)URLSession:(NSURLSession*)session dataTask:(NSURLSessionDataTask*)task didReceiveData:(NSData*)data {
  if (_early) return;
  if (_body.length + data.length > _limit) {
    [self endEarly:FeedResponse::Outcome::too_large];
    [task cancel];
    return;
  }
  [_body appendData:data];
}

- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(NSError*)error {
  FeedResponse response;
  if (_early) {
    response = *_early;
  } else if (error != nil) {
    response.detail = kolvo::platform::utf8(error.localizedDescription);
    response.outcome = FeedResponse::Outcome::failed;
    if ([error.domain isEqualToString:NSURLErrorDomain]) {
      switch (error.code) {
        case NSURLErrorTimedOut:
          response.outcome = FeedResponse::Outcome::timed_out;
          response.detail.clear();
          break;
        case NSURLErrorCannotFindHost:
        case NSURLErrorCannotConnectToHost:
        case NSURLErrorNetworkConnectionLost:
        case NSURLErrorDNSLookupFailed:
        case NSURLErrorNotConnectedToInternet:
        case NSURLErrorInternationalRoamingOff:
        case NSURLErrorDataNotAllowed:
          response.outcome = FeedResponse::Outcome::unreachable;
          break;
        case NSURLErrorAppTransportSecurityRequiresSecureConnection:
        case NSURLErrorUnsupportedURL:
        case NSURLErrorBadURL:
          response.outcome = FeedResponse::Outcome::refused;
          break;
        case NSURLErrorDataLengthExceedsMaximum:
          response.outcome = FeedResponse::Outcome::too_large;
          response.detail.clear();
          break;
        default:
          break;
      }
    }
  } else {
    response.outcome = FeedResponse::Outcome::ok;
    response.http_status = static_cast<int>(_status);
    response.body.assign(static_cast<const char*>(_body.bytes), _body.length);
  }
  _body = nil;
  if (auto finished = std::exchange(_finished, nullptr)) finished(std::move(response));
}

@end

namespace kolvo::platform {

// Where answers go, until the fetcher is gone: sessions finish on their own queue and may
// complete while it is being destroyed.
struct MacUpdateFeedFetcher::Objects {
  std::mutex mutex;
  base::Executor* main = nullptr;
  NSOperationQueue* queue = nil;
  // Sessions under way, held weakly: each releases itself once its one task ends.
  NSHashTable<NSURLSession*>* sessions = [NSHashTable weakObjectsHashTable];
};

MacUpdateFeedFetcher::MacUpdateFeedFetcher(base::Executor& main) : objects_(std::make_shared<Objects>()) {
  objects_->main = &main;
  objects_->queue = [NSOperationQueue new];
  objects_->queue.name = @"com.kolvo.update";
  objects_->queue.maxConcurrentOperationCount = 1;
}

MacUpdateFeedFetcher::~MacUpdateFeedFetcher() {
  {
    std::lock_guard lock(objects_->mutex);
    objects_->main = nullptr;
  }
  for (NSURLSession* session in objects_->sessions.allObjects) [session invalidateAndCancel];
}

void MacUpdateFeedFetcher::fetch(update::FeedRequest request, std::function<void(update::FeedResponse)> done) {
  std::weak_ptr<Objects> weak = objects_;
  auto deliver = [weak, done = std::move(done)](FeedResponse response) {
    const auto objects = weak.lock();
    if (!objects) return;
    std::lock_guard lock(objects->mutex);
    if (objects->main == nullptr) return;
    objects->main->post([weak, done, response = std::move(response)]() mutable {
      if (weak.lock()) done(std::move(response));
    });
  };
  @autoreleasepool {
    NSURL* url = [NSURL URLWithString:ns_string(request.url)];
    if (url == nil) {
      FeedResponse refused;
      refused.outcome = FeedResponse::Outcome::refused;
      deliver(std::move(refused));
      return;
    }
    const NSTimeInterval seconds = std::chrono::duration<double>(request.timeout).count();
    NSURLSessionConfiguration* configuration = NSURLSessionConfiguration.ephemeralSessionConfiguration;
    configuration.timeoutIntervalForRequest = seconds;
    configuration.timeoutIntervalForResource = seconds;
    configuration.requestCachePolicy = NSURLRequestReloadIgnoringLocalCacheData;
    configuration.URLCache = nil;
    NSMutableURLRequest* fetch = [NSMutableURLRequest requestWithURL:url
                                                         cachePolicy:NSURLRequestReloadIgnoringLocalCacheData
                                                     timeoutInterval:seconds];
    [fetch setValue:ns_string(request.user_agent) forHTTPHeaderField:@"User-Agent"];
    [fetch setValue:@"application/rss+xml, application/xml;q=0.9, text/xml;q=0.8" forHTTPHeaderField:@"Accept"];
    KolvoFeedTransfer* transfer = [[KolvoFeedTransfer alloc] initWithLimit:request.max_bytes finished:std::move(deliver)];
    NSURLSession* session = [NSURLSession sessionWithConfiguration:configuration
                                                          delegate:transfer
                                                     delegateQueue:objects_->queue];
    [objects_->sessions addObject:session];
    [[session dataTaskWithRequest:fetch] resume];
    // The session keeps its delegate until its task ends, then lets both go.
    [session finishTasksAndInvalidate];
  }
}

}  // namespace kolvo::platform
