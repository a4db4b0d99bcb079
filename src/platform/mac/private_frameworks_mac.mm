#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>
#include <dlfcn.h>
#include <objc/message.h>
#include <objc/runtime.h>

#include "platform/mac/mac_adapters.hpp"
#include "platform/mac/objc_text.hpp"

namespace kolvo::platform {
namespace {

using GetBrightness = int (*)(CGDirectDisplayID, float*);
using SetBrightness = int (*)(CGDirectDisplayID, float);

// The client object, spoken to through objc_msgSend with the exact shapes of its methods.
class MacKeyboardBrightnessClient final : public controls::KeyboardBrightnessClient {
 public:
  explicit MacKeyboardBrightnessClient(id client) : client_(client) {}

  bool responds_to(std::string_view selector) const override {
    return [client_ respondsToSelector:NSSelectorFromString(ns_string(selector))];
  }

  std::optional<std::vector<std::uint64_t>> copy_keyboard_backlight_ids() override {
    @autoreleasepool {
      using Copy = id (*)(id, SEL);
      id ids = reinterpret_cast<Copy>(objc_msgSend)(client_, NSSelectorFromString(@"copyKeyboardBacklightIDs"));
      if (![ids isKindOfClass:NSArray.class]) return std::nullopt;
      std::vector<std::uint64_t> out;
      NSArray* numbers = ids;
      for (id number in numbers) {
        if ([number isKindOfClass:NSNumber.class]) out.push_back([number unsignedLongLongValue]);
      }
      return out;
    }
  }

  float brightness_for_keyboard(std::uint64_t keyboard) override {
    using Get = float (*)(id, SEL, unsigned long long);
    return reinterpret_cast<Get>(objc_msgSend)(client_, NSSelectorFromString(@"brightnessForKeyboard:"), keyboard);
  }

  void set_brightness_for_keyboard(float brightness, std::uint64_t keyboard) override {
    using Set = BOOL (*)(id, SEL, float, unsigned long long);
    reinterpret_cast<Set>(objc_msgSend)(client_, NSSelectorFromString(@"setBrightness:forKeyboard:"), brightness,
                                        keyboard);
  }

 private:
  id client_;
};

}  // namespace

MacPrivateFrameworks::~MacPrivateFrameworks() = default;  // the libraries stay loaded: their code may be in use

bool MacPrivateFrameworks::load_library(std::string_view path) {
  if (handles_.contains(path)) return true;
  void* handle = ::dlopen(std::string(path).c_str(), RTLD_NOW);
  if (!handle) return false;
  handles_.emplace(std::string(path), handle);
  return true;
}

void* MacPrivateFrameworks::symbol(std::string_view path, std::string_view name) {
  const auto found = handles_.find(path);
  if (found == handles_.end()) return nullptr;
  return ::dlsym(found->second, std::string(name).c_str());
}

controls::GetBrightnessEntry MacPrivateFrameworks::get_brightness_symbol(std::string_view path, std::string_view name) {
  auto entry = reinterpret_cast<GetBrightness>(symbol(path, name));
  if (!entry) return {};
  return [entry](std::uint32_t display, float* value) { return static_cast<std::int32_t>(entry(display, value)); };
}

controls::SetBrightnessEntry MacPrivateFrameworks::set_brightness_symbol(std::string_view path, std::string_view name) {
  auto entry = reinterpret_cast<SetBrightness>(symbol(path, name));
  if (!entry) return {};
  return [entry](std::uint32_t display, float value) { return static_cast<std::int32_t>(entry(display, value)); };
}

std::unique_ptr<controls::KeyboardBrightnessClient> MacPrivateFrameworks::make_keyboard_brightness_client(
    std::string_view class_name) {
  Class client_class = NSClassFromString(ns_string(class_name));
  if (!client_class) return nullptr;
  id client = [[client_class alloc] init];
  if (!client) return nullptr;
  return std::make_unique<MacKeyboardBrightnessClient>(client);
}

std::uint32_t MacPrivateFrameworks::main_display_id() const { return CGMainDisplayID(); }

}  // namespace kolvo::platform
