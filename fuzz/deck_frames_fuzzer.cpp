// libFuzzer target over the phone link's inbound path. For arbitrary bytes it checks:
// - cutting the stream in any two chunks gives what cutting it in one pass gives (frames, raw
//   texts, messages, the error and what is left), as a socket may deliver it either way;
// - the raw text kept beside each frame is the payload itself (or its note), readable after
//   the buffer it was cut from is gone, and decodes to the frame's message;
// - a decoded message re-encodes to UTF-8 JSON that decodes to an equal message, and a frame
//   of it cuts back to that message;
// - a name of arbitrary bytes always encodes to a frame that decodes.
// Any failure aborts with the input.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "base/utf8.hpp"
#include "deck/protocol/deck_framing.hpp"

namespace {

using namespace kolvo::deck;
using Bytes = std::vector<std::uint8_t>;

// Above this many bytes the costlier checks are left to the smaller inputs, which reach the
// same code: a megabyte of JSON takes the sanitized parser a good part of a second.
constexpr std::size_t kThorough = 64 * 1024;

void check(bool condition) {
  if (!condition) std::abort();
}

struct Cut {
  std::vector<framing::InboundFrame> frames;
  std::optional<framing::FramingError> error;
  Bytes left;
};

Cut cut_in_two(const std::uint8_t* data, std::size_t size, std::size_t split) {
  Cut cut;
  Bytes buffer(data, data + split);
  auto first = framing::decode_frames(buffer);
  for (auto& frame : first.frames) cut.frames.push_back(std::move(frame));
  if (first.error) {
    cut.error = first.error;
  } else {
    buffer.insert(buffer.end(), data + split, data + size);
    auto second = framing::decode_frames(buffer);
    for (auto& frame : second.frames) cut.frames.push_back(std::move(frame));
    cut.error = second.error;
  }
  cut.left = std::move(buffer);
  return cut;
}

bool same_frame(const framing::InboundFrame& a, const framing::InboundFrame& b) {
  return a.raw_json == b.raw_json && a.payload_bytes == b.payload_bytes && a.skipped_oversize == b.skipped_oversize &&
         a.message == b.message;
}

bool valid_utf8(std::string_view text) {
  return kolvo::base::is_valid_utf8(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

std::uint64_t mix(const std::uint8_t* data, std::size_t size) {
  std::uint64_t h = 1469598103934665603ull;  // FNV-1a
  for (std::size_t i = 0; i < size; ++i) h = (h ^ data[i]) * 1099511628211ull;
  return h;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // One pass over the whole input is the reference.
  Cut whole;
  {
    Bytes buffer(data, data + size);
    auto result = framing::decode_frames(buffer);
    whole.frames = std::move(result.frames);
    whole.error = result.error;
    whole.left = std::move(buffer);
  }

  // Two chunks: at every point of a short input; otherwise at points the bytes choose, fewer
  // for the inputs of megabytes that reach the frame limits, so they do not starve the rest.
  std::vector<std::size_t> splits;
  if (size <= 64) {
    for (std::size_t s = 0; s <= size; ++s) splits.push_back(s);
  } else {
    const std::uint64_t h = mix(data, size);
    splits = {h % (size + 1)};
    if (size <= kThorough) splits.insert(splits.end(), {(h >> 32) % (size + 1), size / 2, framing::kPrefixBytes});
  }
  for (const std::size_t split : splits) {
    const Cut two = cut_in_two(data, size, split);
    check(two.frames.size() == whole.frames.size());
    for (std::size_t i = 0; i < two.frames.size(); ++i) check(same_frame(two.frames[i], whole.frames[i]));
    check(two.error.has_value() == whole.error.has_value());
    if (whole.error) {
      // The buffer size an error names is the buffer's as it stood, which chunking changes.
      check(two.error->kind == whole.error->kind && two.error->declared == whole.error->declared &&
            two.error->ceiling == whole.error->ceiling);
    } else {
      check(two.left == whole.left);
    }
  }

  // The raw texts, read after every buffer they came from is gone.
  std::size_t offset = 0;
  for (const auto& frame : whole.frames) {
    const std::size_t length = static_cast<std::size_t>(frame.payload_bytes);
    const std::string_view payload(reinterpret_cast<const char*>(data) + offset + framing::kPrefixBytes, length);
    offset += framing::kPrefixBytes + length;
    if (frame.skipped_oversize) {
      check(length > framing::kMaximumPayload && !frame.message);
      check(frame.raw_json == "<oversize frame " + std::to_string(length) + " bytes, skipped>");
    } else if (!valid_utf8(payload)) {
      check(!frame.message && frame.raw_json == "<non-utf8 payload " + std::to_string(length) + " bytes>");
    } else {
      check(frame.raw_json == payload);
      if (length <= kThorough) check(decode_message_text(frame.raw_json) == frame.message);
    }
  }

  // Every message re-encodes to what it was.
  for (const auto& frame : whole.frames) {
    if (!frame.message) continue;
    const std::string json = encode_json(*frame.message);
    check(valid_utf8(json));
    const auto again = decode_message_text(json);
    check(again && *again == *frame.message);
    if (json.size() > kThorough) continue;
    check(encode_json(*again) == json);
    Bytes bytes = framing::encode_frame(*frame.message);
    const auto back = framing::decode_frames(bytes);
    check(!back.error && back.frames.size() == 1 && back.frames[0].message == frame.message && bytes.empty());
  }

  // Whatever bytes a name holds, the frame that carries it decodes, and a valid name arrives
  // as it was.
  const std::string name(reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 64));
  HelloMessage hello;
  hello.device_name = name;
  Bytes frame = framing::encode_frame(hello);
  const auto read = framing::decode_frames(frame);
  check(read.frames.size() == 1 && read.frames[0].message);
  const auto& device_name = read.frames[0].message->get_if<HelloMessage>()->device_name;
  check(device_name && valid_utf8(*device_name));
  if (valid_utf8(name)) check(*device_name == name);
  return 0;
}
