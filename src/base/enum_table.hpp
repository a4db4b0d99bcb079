#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace kolvo::base {

// One table from case to string for a persisted or wire enumeration, used in both directions
// so the two can never disagree. Cases are listed in declaration order.
template <typename Enum, std::size_t N>
struct EnumTable {
  std::array<std::pair<Enum, std::string_view>, N> entries;

  constexpr std::string_view to_string(Enum value) const {
    for (const auto& [candidate, text] : entries) {
      if (candidate == value) return text;
    }
    return {};
  }

  constexpr std::optional<Enum> parse(std::string_view text) const {
    for (const auto& [candidate, candidate_text] : entries) {
      if (candidate_text == text) return candidate;
    }
    return std::nullopt;
  }
};

template <typename Enum, std::size_t N>
constexpr EnumTable<Enum, N> make_enum_table(const std::pair<Enum, std::string_view> (&entries)[N]) {
  EnumTable<Enum, N> table{};
  for (std::size_t i = 0; i < N; ++i) table.entries[i] = entries[i];
  return table;
}

}  // namespace kolvo::base
