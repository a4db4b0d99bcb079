#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "cli.hpp"
#include "deck/protocol/deck_framing.hpp"

namespace kolvo::host {
namespace {

namespace framing = deck::framing;

// Reads the stream a chunk at a time and prints each frame as soon as it is cut, so a capture
// of any length needs no more memory than its largest frame plus one chunk.
int decode_stream() {
  constexpr std::size_t kChunk = 64 * 1024;
  std::vector<std::uint8_t> buffer;
  std::string lines;
  for (;;) {
    const std::size_t kept = buffer.size();
    buffer.resize(kept + kChunk);
    const std::size_t got = std::fread(buffer.data() + kept, 1, kChunk, stdin);
    buffer.resize(kept + got);
    if (got == 0) break;
    auto result = framing::decode_frames(buffer);
    lines.clear();
    for (const auto& frame : result.frames) {
      lines += "{\"payloadBytes\":" + std::to_string(frame.payload_bytes) +
               ",\"skippedOversize\":" + (frame.skipped_oversize ? "true" : "false") + ",\"message\":";
      if (frame.message) {
        deck::append_json(lines, *frame.message);
      } else {
        lines += "null";
      }
      lines += "}\n";
    }
    std::fwrite(lines.data(), 1, lines.size(), stdout);
    if (result.error) {
      // The error names the bytes from the bad prefix to the end of the stream, as it would had
      // the whole capture been read at once: what is still unread counts too.
      std::vector<char> rest(kChunk);
      std::size_t more = 0;
      while ((more = std::fread(rest.data(), 1, rest.size(), stdin)) > 0) {
        result.error->buffer_bytes += static_cast<std::int64_t>(more);
      }
      const std::string error = nlohmann::json({{"error", result.error->description()}}).dump() + "\n";
      std::fwrite(error.data(), 1, error.size(), stdout);
      std::fflush(stdout);
      return kExitFailure;
    }
  }
  if (!buffer.empty()) std::printf("{\"remainingBytes\":%zu}\n", buffer.size());
  std::fflush(stdout);
  return 0;
}

int encode_stream() {
  std::string line;
  int number = 0;
  int failures = 0;
  while (std::getline(std::cin, line)) {
    ++number;
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    std::string error;
    const auto message = deck::decode_message_text(line, &error);
    if (!message) {
      std::cerr << "kolvo: line " << number << " is not a valid message: " << error << '\n';
      ++failures;
      continue;
    }
    const auto frame = framing::encode_frame(*message);
    if (!framing::fits_outbound_limit(frame)) {
      std::cerr << "kolvo: line " << number << " encodes to more than 1 MiB and would not be sent.\n";
      ++failures;
      continue;
    }
    std::fwrite(frame.data(), 1, frame.size(), stdout);
  }
  std::fflush(stdout);
  return failures == 0 ? 0 : kExitFailure;
}

}  // namespace

int run_frames(Arguments arguments) {
  if (arguments.size() == 1 && arguments[0] == "decode") return decode_stream();
  if (arguments.size() == 1 && arguments[0] == "encode") return encode_stream();
  return fail(kExitUsage, "'kolvo frames' takes decode or encode, and reads standard input.");
}

}  // namespace kolvo::host
