#include "deck/protocol/deck_framing.hpp"

#include <algorithm>
#include <cstring>

#include "base/utf8.hpp"

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
  // One hop per prefix to count the complete frames, so the list is allocated once.
  std::size_t complete = 0;
  for (std::size_t at = 0; size - at >= kPrefixBytes;) {
    const std::uint32_t length = read_prefix(data + at);
    if (length == 0 || length > kRecoverableCeiling || size - at - kPrefixBytes < length) break;
    ++complete;
    at += kPrefixBytes + length;
  }
  result.frames.reserve(complete);

  // Texts that are not the payload itself (the notes of skipped or non-UTF-8 frames).
  auto notes = std::make_shared<std::string>();
  struct Span {
    bool in_notes;
    std::size_t start, length;
  };
  std::vector<Span> spans;
  spans.reserve(complete);
  std::size_t offset = 0;
  while (size - offset >= kPrefixBytes) {
    const std::uint32_t length = read_prefix(data + offset);
    // The sizes the errors name are those of the buffer as the rule sees it: what is left.
    const auto remaining = static_cast<std::int64_t>(size - offset);
    if (length == 0) {
      result.error = FramingError{FramingError::Kind::emptyFrame, 0, 0, remaining};
      break;
    }
    if (length > kRecoverableCeiling) {
      result.error = FramingError{FramingError::Kind::unrecoverableLength, length, kRecoverableCeiling, remaining};
      break;
    }
    if (size - offset - kPrefixBytes < length) break;  // wait for the rest

    InboundFrame frame;
    frame.payload_bytes = length;
    const std::size_t payload_at = offset + kPrefixBytes;
    const std::uint8_t* payload = data + payload_at;
    if (length > kMaximumPayload) {
      const std::string note = "<oversize frame " + std::to_string(length) + " bytes, skipped>";
      spans.push_back({true, notes->size(), note.size()});
      *notes += note;
      frame.skipped_oversize = true;
    } else if (!base::is_valid_utf8(payload, length)) {
      const std::string note = "<non-utf8 payload " + std::to_string(length) + " bytes>";
      spans.push_back({true, notes->size(), note.size()});
      *notes += note;
    } else {
      spans.push_back({false, payload_at, length});
      if (decoding == MessageDecoding::decode) {
        frame.message = decode_message_text(std::string_view(reinterpret_cast<const char*>(payload), length));
      }
    }
    result.frames.push_back(std::move(frame));
    offset += kPrefixBytes + length;
  }

  // The consumed bytes go to the frames. When what is left is no larger than what was
  // consumed, the buffer itself is handed over and the small remainder copied back; otherwise
  // (a large frame still arriving) the frames' texts are copied out instead, so a partial frame
  // is never copied and the work stays linear in the bytes received.
  std::shared_ptr<const std::vector<std::uint8_t>> bytes;
  const std::size_t left = size - offset;
  if (!result.frames.empty() && left <= offset) {
    auto taken = std::make_shared<std::vector<std::uint8_t>>(std::move(buffer));
    buffer.assign(taken->begin() + static_cast<std::ptrdiff_t>(offset), taken->end());
    bytes = std::move(taken);
  } else if (!result.frames.empty()) {
    auto copied = std::make_shared<std::vector<std::uint8_t>>();
    for (const Span& span : spans) {
      if (span.in_notes) continue;
      copied->insert(copied->end(), data + span.start, data + span.start + span.length);
    }
    std::size_t at = 0;
    for (Span& span : spans) {
      if (span.in_notes) continue;
      span.start = at;
      at += span.length;
    }
    bytes = std::move(copied);
    buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(offset));
  } else if (offset > 0) {
    buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(offset));
  }
  for (std::size_t i = 0; i < result.frames.size(); ++i) {
    const Span& span = spans[i];
    InboundFrame& frame = result.frames[i];
    if (span.in_notes) {
      frame.raw_json = std::string_view(notes->data() + span.start, span.length);
      frame.text_storage = notes;
    } else {
      frame.raw_json = std::string_view(reinterpret_cast<const char*>(bytes->data()) + span.start, span.length);
      frame.text_storage = bytes;
    }
  }
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
