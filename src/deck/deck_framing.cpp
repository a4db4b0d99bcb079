#include "deck/deck_framing.hpp"

#include <cstring>

#include "core/utf8.hpp"

namespace kolvo::deck::framing {
namespace {

std::uint32_t read_prefix(const std::uint8_t* p) {
  return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | std::uint32_t{p[3]};
}

}  // namespace

std::string FramingError::description() const {
  if (kind == Kind::emptyFrame) {
    return "zero-length frame prefix (buffer " + std::to_string(buffer_bytes) + " bytes) — stream desynchronised";
  }
  return "declared frame length " + std::to_string(declared) + " exceeds the recoverable ceiling " +
         std::to_string(ceiling) + " (buffer " + std::to_string(buffer_bytes) + " bytes) — stream desynchronised";
}

DecodeResult decode_frames(std::vector<std::uint8_t>& buffer, MessageDecoding decoding) {
  DecodeResult result;
  const std::uint8_t* data = buffer.data();
  const std::size_t size = buffer.size();
  std::size_t offset = 0;
  while (size - offset >= kPrefixBytes) {
    const std::uint32_t length = read_prefix(data + offset);
    // The sizes the errors name are those of the buffer as the rule sees it: what is left.
    const auto remaining = static_cast<std::int64_t>(size - offset);
    if (length == 0) {
      buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(offset));
      result.error = FramingError{FramingError::Kind::emptyFrame, 0, 0, remaining};
      return result;
    }
    if (length > kRecoverableCeiling) {
      buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(offset));
      result.error = FramingError{FramingError::Kind::unrecoverableLength, length, kRecoverableCeiling, remaining};
      return result;
    }
    if (size - offset - kPrefixBytes < length) break;  // wait for the rest

    InboundFrame frame;
    frame.payload_bytes = length;
    const std::uint8_t* payload = data + offset + kPrefixBytes;
    if (length > kMaximumPayload) {
      frame.raw_json = "<oversize frame " + std::to_string(length) + " bytes, skipped>";
      frame.skipped_oversize = true;
    } else if (!core::is_valid_utf8(payload, length)) {
      frame.raw_json = "<non-utf8 payload " + std::to_string(length) + " bytes>";
    } else {
      frame.raw_json.assign(reinterpret_cast<const char*>(payload), length);
      if (decoding == MessageDecoding::decode) {
        if (auto message = decode_message_text(frame.raw_json)) {
          frame.message = std::make_unique<KolvoDeckMessage>(std::move(*message));
        }
      }
    }
    result.frames.push_back(std::move(frame));
    offset += kPrefixBytes + length;
  }
  buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(offset));
  return result;
}

void append_prefix(std::vector<std::uint8_t>& out, std::uint32_t length) {
  out.push_back(static_cast<std::uint8_t>(length >> 24));
  out.push_back(static_cast<std::uint8_t>(length >> 16));
  out.push_back(static_cast<std::uint8_t>(length >> 8));
  out.push_back(static_cast<std::uint8_t>(length));
}

std::vector<std::uint8_t> encode_frame(const KolvoDeckMessage& message) {
  const std::string json = encode_json(message);
  std::vector<std::uint8_t> frame;
  frame.reserve(json.size() + kPrefixBytes);
  append_prefix(frame, static_cast<std::uint32_t>(json.size()));
  frame.insert(frame.end(), json.begin(), json.end());
  return frame;
}

}  // namespace kolvo::deck::framing
