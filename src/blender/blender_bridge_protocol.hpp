#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

// The bridge's wire: one JSON object per line each way, and the connection file the add-on
// writes when Blender starts.
namespace kolvo::blender {

// The protocol this client speaks; a bridge that answers with another must be reinstalled.
inline constexpr std::int64_t kBridgeProtocol = 1;

// Where the running add-on listens and the secret it expects.
struct BridgeConnectionInfo {
  std::uint16_t port = 0;
  std::string token;
  std::int32_t pid = 0;
  std::int64_t protocol_version = 0;
  friend bool operator==(const BridgeConnectionInfo&, const BridgeConnectionInfo&) = default;
};

// The file's text read as the connection details; absent unless `port`, `token`, `pid` and
// `protocol` are all there with the right types (a port that fits, a pid that fits).
std::optional<BridgeConnectionInfo> parse_bridge_connection_info(std::string_view text);
// The same from the file; absent when it is missing, unreadable or larger than any the add-on
// writes.
std::optional<BridgeConnectionInfo> read_bridge_connection_info(const std::filesystem::path& file);

// Bytes received and not yet cut into lines. Cutting is linear: each byte is looked at once.
class BridgeLineBuffer {
 public:
  explicit BridgeLineBuffer(std::size_t max_buffer) : max_buffer_(max_buffer) {}

  void append(std::string_view bytes);
  // The next complete line without its "\n"; absent when none is complete.
  std::optional<std::string_view> next_line();
  void clear();
  // The bytes waiting for their line break.
  std::size_t size() const { return data_.size() - start_; }
  // Whether, once every complete line is taken, more than the limit still waits: a peer that
  // never ends its line, and the connection should be dropped.
  bool overflowed() const { return size() > max_buffer_; }

 private:
  std::size_t max_buffer_;
  std::string data_;
  std::size_t start_ = 0;     // where the unread part begins
  std::size_t scanned_ = 0;   // how far past `start_` no line break was found
};

// One line as a message: a JSON object, or absent for anything else (which the bridge's peer
// skips). Python's encoder writes NaN, Infinity and -Infinity as bare words; they read as null,
// so a non-finite number is an absent one.
std::optional<nlohmann::json> parse_bridge_message(std::string_view line);

// A request as its line: compact JSON and "\n".
std::string encode_bridge_request(const nlohmann::ordered_json& request);

}  // namespace kolvo::blender
