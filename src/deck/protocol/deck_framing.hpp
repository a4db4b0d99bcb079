#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "deck/protocol/deck_message.hpp"

namespace kolvo::deck {

// Frames of the phone link: a 4-byte big-endian payload length, then that many bytes of
// UTF-8 JSON. One bad frame is skipped; a length that shows the stream is out of step ends it.
namespace framing {

inline constexpr std::uint32_t kMaximumPayload = 1'048'576;    // 1 MiB, decoded
inline constexpr std::uint32_t kRecoverableCeiling = 8'388'608;  // 8 MiB, still believed
inline constexpr std::size_t kPrefixBytes = 4;
inline constexpr std::size_t kMaximumFrame = kMaximumPayload + kPrefixBytes;

struct InboundFrame {
  // The payload as text, for logging; "<non-utf8 payload N bytes>" or "<oversize frame N bytes, skipped>".
  // The frames of one call share their bytes: usually the consumed part of the buffer itself,
  // handed over rather than copied. `text_storage` keeps them alive as long as the frame.
  std::string_view raw_json;
  std::shared_ptr<const void> text_storage;
  // The decoded message; absent when the payload is not one, or was skipped. Two words: a
  // message's fields, if it has any, are on the heap and sized to its type.
  std::optional<KolvoDeckMessage> message;
  std::int64_t payload_bytes = 0;
  bool skipped_oversize = false;
};

struct FramingError {
  enum class Kind { unrecoverableLength, emptyFrame };
  Kind kind = Kind::emptyFrame;
  std::int64_t declared = 0;
  std::int64_t ceiling = 0;
  std::int64_t buffer_bytes = 0;

  std::string description() const;
};

struct DecodeResult {
  // On an error, the frames cut before it in this call; a session drops them with the
  // connection, while a tool reading a capture can still show them.
  std::vector<InboundFrame> frames;
  std::optional<FramingError> error;  // set: the stream can no longer be trusted
};

enum class MessageDecoding { decode, skip };

// Cuts every complete frame from the front of `buffer`, in stream order, and removes their
// bytes; an incomplete frame stays, prefix included, for the next call. Linear in the bytes:
// the front is removed once per call, and a partial frame is neither copied nor parsed.
DecodeResult decode_frames(std::vector<std::uint8_t>& buffer, MessageDecoding decoding = MessageDecoding::decode);

// The frame for a message: its compact JSON preceded by the length.
std::vector<std::uint8_t> encode_frame(const KolvoDeckMessage& message);
// The sender drops a frame larger than this, so the phone never receives more than 1 MiB.
inline bool fits_outbound_limit(const std::vector<std::uint8_t>& frame) { return frame.size() <= kMaximumFrame; }
void append_prefix(std::vector<std::uint8_t>& out, std::uint32_t length);

}  // namespace framing
}  // namespace kolvo::deck
