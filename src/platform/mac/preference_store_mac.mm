#import <Foundation/Foundation.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

namespace kolvo::platform {
namespace {

using prefs::PreferenceValue;

id to_property_list(const PreferenceValue& value) {
  struct Visitor {
    id operator()(bool b) const { return b ? @YES : @NO; }
    id operator()(std::int64_t i) const { return @(static_cast<long long>(i)); }
    id operator()(double d) const { return @(d); }
    id operator()(const std::string& s) const { return ns_string(s); }
    id operator()(const prefs::PreferenceData& data) const { return [NSData dataWithBytes:data.data() length:data.size()]; }
    id operator()(const prefs::PreferenceDate& date) const {
      return [NSDate dateWithTimeIntervalSinceReferenceDate:date.seconds_since_2001];
    }
    id operator()(const PreferenceValue::Array& array) const {
      NSMutableArray* out = [NSMutableArray arrayWithCapacity:array.size()];
      for (const auto& element : array) [out addObject:to_property_list(element)];
      return out;
    }
    id operator()(const PreferenceValue::Dictionary& dictionary) const {
      NSMutableDictionary* out = [NSMutableDictionary dictionaryWithCapacity:dictionary.size()];
      for (const auto& [key, element] : dictionary) out[ns_string(key)] = to_property_list(element);
      return out;
    }
  };
  return std::visit(Visitor{}, value.storage());
}

std::optional<PreferenceValue> from_property_list(id object) {
  if (object == nil) return std::nullopt;
  if ([object isKindOfClass:NSNumber.class]) {
    CFTypeRef number = (__bridge CFTypeRef)object;
    if (CFGetTypeID(number) == CFBooleanGetTypeID()) return PreferenceValue(static_cast<bool>([object boolValue]));
    if (CFNumberIsFloatType(static_cast<CFNumberRef>(number))) return PreferenceValue([object doubleValue]);
    return PreferenceValue(static_cast<std::int64_t>([object longLongValue]));
  }
  if ([object isKindOfClass:NSString.class]) return PreferenceValue(utf8(object));
  if ([object isKindOfClass:NSData.class]) {
    NSData* data = object;
    const auto* bytes = static_cast<const std::uint8_t*>(data.bytes);
    return PreferenceValue(prefs::PreferenceData(bytes, bytes + data.length));
  }
  if ([object isKindOfClass:NSDate.class]) {
    return PreferenceValue(prefs::PreferenceDate{[object timeIntervalSinceReferenceDate]});
  }
  if ([object isKindOfClass:NSArray.class]) {
    PreferenceValue::Array array;
    NSArray* elements = object;
    for (id element in elements) {
      auto converted = from_property_list(element);
      if (!converted) return std::nullopt;
      array.push_back(std::move(*converted));
    }
    return PreferenceValue(std::move(array));
  }
  if ([object isKindOfClass:NSDictionary.class]) {
    PreferenceValue::Dictionary dictionary;
    NSDictionary* entries = object;
    for (id key in entries) {
      if (![key isKindOfClass:NSString.class]) return std::nullopt;
      auto converted = from_property_list(entries[key]);
      if (!converted) return std::nullopt;
      dictionary.emplace([key UTF8String], std::move(*converted));
    }
    return PreferenceValue(std::move(dictionary));
  }
  return std::nullopt;
}

}  // namespace

MacPreferenceStore::MacPreferenceStore(std::string application_id) : application_id_(std::move(application_id)) {}

std::optional<prefs::PreferenceValue> MacPreferenceStore::value(std::string_view key) const {
  @autoreleasepool {
    id object = CFBridgingRelease(CFPreferencesCopyAppValue((__bridge CFStringRef)ns_string(key),
                                                            (__bridge CFStringRef)ns_string(application_id_)));
    return from_property_list(object);
  }
}

void MacPreferenceStore::set(std::string_view key, prefs::PreferenceValue value) {
  @autoreleasepool {
    CFStringRef app = (__bridge CFStringRef)ns_string(application_id_);
    CFPreferencesSetAppValue((__bridge CFStringRef)ns_string(key), (__bridge CFPropertyListRef)to_property_list(value),
                             app);
    CFPreferencesAppSynchronize(app);
  }
}

void MacPreferenceStore::remove(std::string_view key) {
  @autoreleasepool {
    CFStringRef app = (__bridge CFStringRef)ns_string(application_id_);
    CFPreferencesSetAppValue((__bridge CFStringRef)ns_string(key), nullptr, app);
    CFPreferencesAppSynchronize(app);
  }
}

std::map<std::string, prefs::PreferenceValue> MacPreferenceStore::all() const {
  std::map<std::string, prefs::PreferenceValue> values;
  @autoreleasepool {
    CFStringRef app = (__bridge CFStringRef)ns_string(application_id_);
    NSArray* keys = CFBridgingRelease(CFPreferencesCopyKeyList(app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    for (NSString* key in keys) {
      id object = CFBridgingRelease(CFPreferencesCopyAppValue((__bridge CFStringRef)key, app));
      if (auto converted = from_property_list(object)) values.emplace(key.UTF8String, std::move(*converted));
    }
  }
  return values;
}

std::optional<prefs::PreferenceValue> MacGlobalPreferences::global_domain_value(std::string_view key) const {
  @autoreleasepool {
    NSDictionary* domain = [NSUserDefaults.standardUserDefaults persistentDomainForName:NSGlobalDomain];
    if (![domain isKindOfClass:NSDictionary.class]) return std::nullopt;
    return from_property_list(domain[ns_string(key)]);
  }
}

}  // namespace kolvo::platform
