#pragma once

#include <memory>
#include <optional>
#include <utility>

namespace kolvo::deck {

// An optional value kept on the heap, with value semantics: copying copies the value and
// equality compares values. Large parts of a record that are usually absent live here, so the
// record costs a pointer until they are present. Reads like std::optional.
template <typename T>
class Indirect {
 public:
  Indirect() = default;
  Indirect(std::nullopt_t) {}
  Indirect(T value) : value_(std::make_unique<T>(std::move(value))) {}
  Indirect(const Indirect& other) : value_(other.value_ ? std::make_unique<T>(*other.value_) : nullptr) {}
  Indirect(Indirect&&) noexcept = default;
  Indirect& operator=(const Indirect& other) {
    if (this != &other) value_ = other.value_ ? std::make_unique<T>(*other.value_) : nullptr;
    return *this;
  }
  Indirect& operator=(Indirect&&) noexcept = default;
  Indirect& operator=(T value) {
    value_ = std::make_unique<T>(std::move(value));
    return *this;
  }
  Indirect& operator=(std::nullopt_t) {
    value_.reset();
    return *this;
  }

  bool has_value() const { return value_ != nullptr; }
  explicit operator bool() const { return has_value(); }
  T& operator*() { return *value_; }
  const T& operator*() const { return *value_; }
  T* operator->() { return value_.get(); }
  const T* operator->() const { return value_.get(); }
  T& emplace() {
    value_ = std::make_unique<T>();
    return *value_;
  }
  void reset() { value_.reset(); }

  friend bool operator==(const Indirect& a, const Indirect& b) {
    if (!a.value_ || !b.value_) return a.value_ == b.value_;
    return *a.value_ == *b.value_;
  }
  friend bool operator==(const Indirect& a, std::nullopt_t) { return !a.value_; }

 private:
  std::unique_ptr<T> value_;
};

}  // namespace kolvo::deck
