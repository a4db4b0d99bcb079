#include "update/version.hpp"

#include <algorithm>

namespace kolvo::update {
namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string without_leading_zeros(std::string_view digits) {
  const auto first = digits.find_first_not_of('0');
  return first == std::string_view::npos ? std::string() : std::string(digits.substr(first));
}

// Numbers of any length, compared by value: more significant digits win, then the digits.
std::strong_ordering compare_numbers(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return a.size() <=> b.size();
  const int order = a.compare(b);
  return order <=> 0;
}

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

}  // namespace

std::optional<Version> Version::parse(std::string_view text) {
  text = trimmed(text);
  if (text.empty() || text.size() > kMaxLength) return std::nullopt;
  if (!std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; })) return std::nullopt;
  Version version;
  version.text_ = std::string(text);
  std::string_view rest = text;
  if (rest.size() > 1 && (rest[0] == 'v' || rest[0] == 'V') && is_digit(rest[1])) rest.remove_prefix(1);

  for (;;) {
    const auto dot = rest.find('.');
    const std::string_view part = rest.substr(0, dot);
    Component component;
    std::size_t at = 0;
    while (at < part.size() && is_digit(part[at])) ++at;
    component.number = without_leading_zeros(part.substr(0, at));
    while (at < part.size()) {
      if (is_digit(part[at]) || is_letter(part[at])) {
        const bool digits = is_digit(part[at]);
        const std::size_t start = at;
        while (at < part.size() && (digits ? is_digit(part[at]) : is_letter(part[at]))) ++at;
        std::string run(part.substr(start, at - start));
        if (digits) {
          run = without_leading_zeros(run);
        } else {
          std::transform(run.begin(), run.end(), run.begin(), lower);
        }
        component.tail.push_back({digits, std::move(run)});
      } else {
        ++at;  // punctuation only separates runs
      }
    }
    version.components_.push_back(std::move(component));
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
  }
  return version;
}

std::strong_ordering operator<=>(const Version& a, const Version& b) {
  static const Version::Component kZero{};
  const std::size_t count = std::max(a.components_.size(), b.components_.size());
  for (std::size_t i = 0; i < count; ++i) {
    const auto& x = i < a.components_.size() ? a.components_[i] : kZero;
    const auto& y = i < b.components_.size() ? b.components_[i] : kZero;
    if (const auto order = compare_numbers(x.number, y.number); order != 0) return order;
    // A release is later than any pre-release of the same number.
    if (x.tail.empty() != y.tail.empty()) return x.tail.empty() ? std::strong_ordering::greater : std::strong_ordering::less;
    const std::size_t runs = std::min(x.tail.size(), y.tail.size());
    for (std::size_t r = 0; r < runs; ++r) {
      const auto& p = x.tail[r];
      const auto& q = y.tail[r];
      if (p.digits != q.digits) return p.digits ? std::strong_ordering::greater : std::strong_ordering::less;
      const auto order = p.digits ? compare_numbers(p.text, q.text) : (p.text.compare(q.text) <=> 0);
      if (order != 0) return order;
    }
    if (const auto order = x.tail.size() <=> y.tail.size(); order != 0) return order;
  }
  return std::strong_ordering::equal;
}

}  // namespace kolvo::update
