#include "blender/blender_bridge_protocol.hpp"

#include "base/file_io.hpp"
#include "base/json_text.hpp"

namespace kolvo::blender {
namespace {

// The add-on's file is a few hundred bytes.
constexpr std::size_t kMaxInfoFileBytes = 64 * 1024;
// Blender's state is a few kilobytes and a dozen levels at most.
constexpr std::size_t kMaxMessageDepth = 32;

// The text with Python's bare non-finite words (outside strings) turned into null. Only
// copies when there is something to change, which Blender's real values never need.
std::optional<std::string> without_non_finite_words(std::string_view text) {
  std::optional<std::string> rewritten;
  bool in_string = false, escaped = false;
  std::size_t copied = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (in_string) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        in_string = false;
      }
      continue;
    }
    if (c == '"') {
      in_string = true;
      continue;
    }
    std::size_t length = 0;
    if (text.substr(i, 3) == "NaN") {
      length = 3;
    } else if (text.substr(i, 8) == "Infinity") {
      length = 8;
    } else if (text.substr(i, 9) == "-Infinity") {
      length = 9;
    }
    if (length == 0) continue;
    if (!rewritten) rewritten.emplace();
    rewritten->append(text.substr(copied, i - copied)).append("null");
    i += length - 1;
    copied = i + 1;
  }
  if (rewritten) rewritten->append(text.substr(copied));
  return rewritten;
}

}  // namespace

std::optional<BridgeConnectionInfo> parse_bridge_connection_info(std::string_view text) {
  const nlohmann::json json = base::parse_json(text, nullptr, kMaxMessageDepth);
  if (!json.is_object()) return std::nullopt;
  const auto port = json.find("port");
  const auto token = json.find("token");
  const auto pid = json.find("pid");
  const auto protocol = json.find("protocol");
  if (port == json.end() || !port->is_number_integer() || token == json.end() || !token->is_string() ||
      pid == json.end() || !pid->is_number_integer() || protocol == json.end() || !protocol->is_number_integer()) {
    return std::nullopt;
  }
  const auto fits = [](const nlohmann::json& value, std::int64_t low, std::int64_t high) {
    if (value.is_number_unsigned()) return value.get<std::uint64_t>() <= static_cast<std::uint64_t>(high);
    const auto number = value.get<std::int64_t>();
    return number >= low && number <= high;
  };
  if (!fits(*port, 1, 65535) || !fits(*pid, INT32_MIN, INT32_MAX) || !fits(*protocol, INT64_MIN, INT64_MAX)) {
    return std::nullopt;
  }
  return BridgeConnectionInfo{.port = port->get<std::uint16_t>(),
                              .token = token->get<std::string>(),
                              .pid = pid->get<std::int32_t>(),
                              .protocol_version = protocol->get<std::int64_t>()};
}

std::optional<BridgeConnectionInfo> read_bridge_connection_info(const std::filesystem::path& file) {
  const base::FileRead read = base::read_whole_file(file, kMaxInfoFileBytes);
  if (!read.ok()) return std::nullopt;
  return parse_bridge_connection_info(read.text);
}

void BridgeLineBuffer::append(std::string_view bytes) {
  // Lines already handed out are dropped before the buffer grows, so it never holds more than
  // the waiting part and one read.
  if (start_ > 0 && (start_ >= data_.size() / 2 || start_ == data_.size())) {
    data_.erase(0, start_);
    start_ = 0;
  }
  data_.append(bytes);
}

std::optional<std::string_view> BridgeLineBuffer::next_line() {
  const std::size_t end = data_.find('\n', start_ + scanned_);
  if (end == std::string::npos) {
    scanned_ = data_.size() - start_;
    return std::nullopt;
  }
  const std::string_view line(data_.data() + start_, end - start_);
  start_ = end + 1;
  scanned_ = 0;
  return line;
}

void BridgeLineBuffer::clear() {
  data_.clear();
  start_ = 0;
  scanned_ = 0;
}

std::optional<nlohmann::json> parse_bridge_message(std::string_view line) {
  const auto rewritten = without_non_finite_words(line);
  nlohmann::json json = base::parse_json(rewritten ? std::string_view(*rewritten) : line, nullptr, kMaxMessageDepth);
  if (!json.is_object()) return std::nullopt;
  return json;
}

std::string encode_bridge_request(const nlohmann::ordered_json& request) {
  std::string line = request.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  line.push_back('\n');
  return line;
}

}  // namespace kolvo::blender
