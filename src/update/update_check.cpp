#include "update/update_check.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>

#include "base/number_text.hpp"
#include "base/utf8.hpp"

namespace kolvo::update {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lowercase(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), lower);
  return out;
}

// The entities release notes use; anything else stays as written.
bool decode_entity(std::string_view text, std::size_t& at, std::string& out) {
  const auto semicolon = text.find(';', at);
  if (semicolon == std::string_view::npos || semicolon - at > 10) return false;
  const std::string_view name = text.substr(at + 1, semicolon - at - 1);
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 10> kNamed{{
      {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"apos", "'"}, {"nbsp", " "},
      {"mdash", "—"}, {"ndash", "–"}, {"hellip", "…"}, {"bull", "•"}}};
  for (const auto& [entity, replacement] : kNamed) {
    if (name == entity) {
      out += replacement;
      at = semicolon + 1;
      return true;
    }
  }
  if (name.size() < 2 || name[0] != '#') return false;
  const bool hex = name[1] == 'x' || name[1] == 'X';
  const std::string_view digits = name.substr(hex ? 2 : 1);
  if (digits.empty()) return false;
  std::uint32_t value = 0;
  for (const char c : digits) {
    const char d = lower(c);
    int digit = -1;
    if (d >= '0' && d <= '9') digit = d - '0';
    else if (hex && d >= 'a' && d <= 'f') digit = d - 'a' + 10;
    if (digit < 0) return false;
    value = value * (hex ? 16u : 10u) + static_cast<std::uint32_t>(digit);
  }
  if (value == 0 || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
  base::append_utf8(out, value);
  at = semicolon + 1;
  return true;
}

// Cuts at a character boundary, never inside a UTF-8 sequence.
std::string cut(const std::string& line, std::size_t max_columns) {
  std::size_t columns = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if ((static_cast<unsigned char>(line[i]) & 0xC0) == 0x80) continue;
    if (columns == max_columns) return line.substr(0, i) + "…";
    ++columns;
  }
  return line;
}

}  // namespace

std::optional<std::string> feed_url_problem(std::string_view url) {
  constexpr std::size_t kMaxUrlBytes = 2048;
  if (url.empty()) return "it is empty";
  if (url.size() > kMaxUrlBytes) return "it is longer than " + std::to_string(kMaxUrlBytes) + " bytes";
  if (std::any_of(url.begin(), url.end(), [](char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7F; })) {
    return "it holds blanks or control characters";
  }
  const auto scheme_end = url.find("://");
  const std::string scheme = lowercase(url.substr(0, scheme_end == std::string_view::npos ? 0 : scheme_end));
  if (scheme != "http" && scheme != "https") return "it is not an http or https address";
  const std::string_view rest = url.substr(scheme_end + 3);
  const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
  const auto at = authority.find('@');
  const std::string_view host = authority.substr(at == std::string_view::npos ? 0 : at + 1);
  if (host.empty() || host.front() == ':') return "it names no host";
  return std::nullopt;
}

std::string user_agent(const RunningSystem& running) {
  return "Kolvo/" + running.short_version + " (" + running.build_version + ")";
}

std::string describe_failure(const FeedResponse& response, const FeedRequest& request) {
  const auto with_detail = [&](std::string text) {
    return response.detail.empty() ? text : text + " (" + response.detail + ")";
  };
  switch (response.outcome) {
    case FeedResponse::Outcome::ok: return "it was read";
    case FeedResponse::Outcome::timed_out: {
      const double seconds = std::chrono::duration<double>(request.timeout).count();
      return "no answer came within " + base::shortest_real_text(seconds) + (seconds == 1.0 ? " second" : " seconds");
    }
    case FeedResponse::Outcome::too_large:
      return "the feed is larger than " + std::to_string(request.max_bytes / 1024) + " KiB";
    case FeedResponse::Outcome::http_error:
      return "the server answered with HTTP status " + std::to_string(response.http_status);
    case FeedResponse::Outcome::unreachable: return with_detail("the server could not be reached");
    case FeedResponse::Outcome::refused: return with_detail("the system refuses to fetch this address");
    case FeedResponse::Outcome::failed: return with_detail("the transfer failed");
  }
  return "the transfer failed";
}

bool runs_on(std::string_view minimum, std::string_view system) {
  if (minimum.find_first_not_of(" \t\r\n") == std::string_view::npos) return true;
  const auto needed = Version::parse(minimum);
  const auto running = Version::parse(system);
  return needed && running && *needed <= *running;
}

UpdateEvaluation evaluate_feed(const AppcastFeed& feed, const RunningSystem& running,
                               const std::optional<Version>& dismissed) {
  UpdateEvaluation evaluation;
  for (const AppcastItem& item : feed.items) {
    if (!runs_on(item.minimum_system_version, running.system_version)) {
      ++evaluation.needing_later_system;
      continue;
    }
    if (!evaluation.newest || item.version > evaluation.newest->version) evaluation.newest = item;
  }
  if (!evaluation.newest) return evaluation;
  const auto current = Version::parse(running.build_version);
  evaluation.newer = current && evaluation.newest->version > *current;
  evaluation.dismissed = evaluation.newer && dismissed && evaluation.newest->version <= *dismissed;
  return evaluation;
}

UpdateNotice make_notice(const AppcastItem& item, const RunningSystem& running) {
  std::string display = item.short_version;
  if (display.empty()) {
    display = item.version.text();
  } else if (display == running.short_version) {
    display += " (" + item.version.text() + ")";
  }
  std::string link = item.link;
  if (link.empty()) link = item.release_notes_link;
  if (link.empty()) link = item.download_url;
  return {item.version, std::move(display), std::move(link)};
}

std::vector<std::string> release_notes_excerpt(std::string_view notes, std::size_t max_lines, std::size_t max_columns) {
  static constexpr std::array<std::string_view, 16> kBlockTags{
      "p", "br", "div", "ul", "ol", "h1", "h2", "h3", "h4", "h5", "h6", "tr", "pre", "blockquote", "hr", "dd"};
  std::string plain;
  for (std::size_t at = 0; at < notes.size();) {
    const char c = notes[at];
    if (c == '<') {
      const auto close = notes.find('>', at);
      if (close == std::string_view::npos) break;  // a tag cut off at the end: nothing more to show
      std::string_view tag = notes.substr(at + 1, close - at - 1);
      if (tag.starts_with('/')) tag.remove_prefix(1);
      const std::string name = lowercase(tag.substr(0, tag.find_first_of(" \t\r\n/")));
      const bool opening = notes[at + 1] != '/';
      if (name == "li") {
        plain += opening ? "\n• " : "\n";
      } else if (std::find(kBlockTags.begin(), kBlockTags.end(), name) != kBlockTags.end()) {
        plain += '\n';
      }
      at = close + 1;
    } else if (c == '&' && decode_entity(notes, at, plain)) {
      continue;
    } else {
      plain += c == '\t' || c == '\r' ? ' ' : c;
      ++at;
    }
  }
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start <= plain.size() && lines.size() < max_lines) {
    const auto end = std::min(plain.find('\n', start), plain.size());
    std::string line;
    bool blank = false;
    for (std::size_t i = start; i < end; ++i) {
      if (plain[i] == ' ') {
        blank = !line.empty();
      } else {
        if (blank) line += ' ';
        blank = false;
        line += plain[i];
      }
    }
    if (!line.empty() && line != "•") lines.push_back(cut(line, max_columns));
    start = end + 1;
  }
  return lines;
}

}  // namespace kolvo::update
