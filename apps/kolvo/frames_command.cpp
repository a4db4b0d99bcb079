#include <cstdio>
#include <iostream>
#include <iterator>

#include "cli.hpp"
#include "deck/protocol/deck_framing.hpp"

namespace kolvo::host {
namespace {

namespace framing = deck::framing;

int decode_stream() {
  std::vector<std::uint8_t> buffer((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
  const auto result = framing::decode_frames(buffer);
  for (const auto& frame : result.frames) {
    std::string line = "{\"payloadBytes\":" + std::to_string(frame.payload_bytes) +
                       ",\"skippedOversize\":" + (frame.skipped_oversize ? "true" : "false") + ",\"message\":";
    if (frame.message) {
      deck::append_json(line, *frame.message);
    } else {
      line += "null";
    }
    std::cout << line << "}\n";
  }
  if (result.error) {
    std::cout << nlohmann::json({{"error", result.error->description()}}).dump() << '\n';
    return kExitFailure;
  }
  if (!buffer.empty()) std::cout << "{\"remainingBytes\":" << buffer.size() << "}\n";
  return 0;
}

int encode_stream() {
  std::string line;
  int number = 0;
  int failures = 0;
  std::vector<std::uint8_t> out;
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
    out.insert(out.end(), frame.begin(), frame.end());
  }
  std::fwrite(out.data(), 1, out.size(), stdout);
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
