#include "platform/linux/capped_file_linux.hpp"

#include <algorithm>
#include <fstream>

namespace kolvo::platform {

std::optional<std::string> read_capped_lines(const std::filesystem::path& file, std::size_t max_bytes) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  // One byte past the limit tells a file that ends exactly there from one that goes on.
  std::string text(max_bytes + 1, '\0');
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (in.bad()) return std::nullopt;
  text.resize(static_cast<std::size_t>(in.gcount()));
  if (text.size() > max_bytes) {
    const auto last_break = text.rfind('\n', max_bytes - 1);
    if (last_break == std::string::npos) return std::nullopt;
    text.resize(last_break + 1);
  }
  if (text.empty()) return std::nullopt;
  return text;
}

std::string_view first_line(std::string_view text) { return text.substr(0, text.find('\n')); }

std::optional<std::string> shell_style_value(std::string_view text, std::string_view key) {
  std::optional<std::string> found;
  while (!text.empty()) {
    const std::string_view line = first_line(text);
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    if (!line.starts_with(key) || line.size() <= key.size() || line[key.size()] != '=') continue;
    std::string value;
    char quote = 0;
    bool complete = true;
    for (std::size_t i = key.size() + 1; i < line.size(); ++i) {
      const char c = line[i];
      if (quote == '\'') {
        if (c == '\'') quote = 0; else value += c;
      } else if (c == '\\') {
        if (++i == line.size()) {
          complete = false;
          break;
        }
        value += line[i];
      } else if (quote == '"') {
        if (c == '"') quote = 0; else value += c;
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else {
        value += c;
      }
    }
    if (quote != 0) complete = false;
    // The last assignment wins, as when the shell reads the file.
    if (complete) found = std::move(value);
  }
  return found;
}

}  // namespace kolvo::platform
