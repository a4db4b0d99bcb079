// libFuzzer target over the phone link's inbound path: cutting frames from arbitrary bytes,
// decoding messages, and re-encoding them. A decoded message must re-encode to JSON that
// decodes to an equal message.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "deck/protocol/deck_framing.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kolvo::deck;
  // The same bytes arrive in two chunks, split where the input's first byte says, as a socket
  // would deliver them.
  const std::size_t split = size > 0 ? data[0] % (size + 1) : 0;
  std::vector<std::uint8_t> buffer(data, data + split);
  std::vector<framing::InboundFrame> frames;
  auto result = framing::decode_frames(buffer);
  for (auto& frame : result.frames) frames.push_back(std::move(frame));
  if (!result.error) {
    buffer.insert(buffer.end(), data + split, data + size);
    result = framing::decode_frames(buffer);
    for (auto& frame : result.frames) frames.push_back(std::move(frame));
  }
  for (const auto& frame : frames) {
    if (!frame.message) continue;
    const std::string json = encode_json(*frame.message);
    const auto again = decode_message_text(json);
    if (!again || !(*again == *frame.message)) std::abort();
    const auto bytes = framing::encode_frame(*frame.message);
    std::vector<std::uint8_t> copy = bytes;
    const auto back = framing::decode_frames(copy);
    if (back.error || back.frames.size() != 1 || !back.frames[0].message || !(*back.frames[0].message == *frame.message)) {
      std::abort();
    }
  }
  return 0;
}
