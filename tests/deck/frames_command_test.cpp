// `kolvo frames decode` reads its input a chunk at a time; what it prints must be what cutting
// the whole capture in one pass gives, frame for frame, error and leftovers included.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "deck/protocol/deck_framing.hpp"
#include "support/kolvo_cli_fixture.hpp"

namespace {

using kolvo::testing::KolvoCli;
namespace framing = kolvo::deck::framing;
using Bytes = std::vector<std::uint8_t>;

void add_frame(Bytes& out, const std::string& payload) {
  framing::append_prefix(out, static_cast<std::uint32_t>(payload.size()));
  out.insert(out.end(), payload.begin(), payload.end());
}

// The output the whole stream gives when cut in one pass.
std::string one_pass(Bytes stream) {
  const auto result = framing::decode_frames(stream);
  std::string out;
  for (const auto& frame : result.frames) {
    out += "{\"payloadBytes\":" + std::to_string(frame.payload_bytes) +
           ",\"skippedOversize\":" + (frame.skipped_oversize ? "true" : "false") + ",\"message\":";
    if (frame.message) {
      kolvo::deck::append_json(out, *frame.message);
    } else {
      out += "null";
    }
    out += "}\n";
  }
  if (result.error) {
    out += nlohmann::json({{"error", result.error->description()}}).dump() + "\n";
  } else if (!stream.empty()) {
    out += "{\"remainingBytes\":" + std::to_string(stream.size()) + "}\n";
  }
  return out;
}

TEST_F(KolvoCli, FramesDecodeReadsInChunksYetPrintsWhatOnePassGives) {
  Bytes pings;
  for (int i = 0; i < 10'000; ++i) add_frame(pings, R"({"type":"ping"})");
  Bytes large;  // a 1 MiB message spanning many reads, then an oversize frame, then a ping
  const std::string head = R"({"type":"launchIcon","launchIconPNG":")";
  add_frame(large, head + std::string(framing::kMaximumPayload - head.size() - 2, 'A') + "\"}");
  add_frame(large, std::string(framing::kMaximumPayload + 1, ' '));
  add_frame(large, R"({"type":"pong"})");

  struct Case {
    std::string name;
    Bytes stream;
    int exit_code;
  };
  std::vector<Case> cases;
  cases.push_back({"pings, then a zero prefix and what follows it", pings, 1});
  cases.back().stream.insert(cases.back().stream.end(), {0, 0, 0, 0});
  cases.back().stream.resize(cases.back().stream.size() + 100, 'x');
  cases.push_back({"pings, then a length past the ceiling", pings, 1});
  cases.back().stream.insert(cases.back().stream.end(), {0, 0x80, 0, 1, 'x', 'y'});
  cases.push_back({"pings and a partial frame", pings, 0});
  cases.back().stream.insert(cases.back().stream.end(), {0, 0, 0, 15, '{'});
  cases.push_back({"a 1 MiB message, an oversize frame and a pong", large, 0});
  cases.push_back({"the same, cut off inside the oversize frame",
                   Bytes(large.begin(), large.begin() + static_cast<long>(large.size() / 2)), 0});

  for (const Case& c : cases) {
    const auto run = kolvo("frames decode", std::string(c.stream.begin(), c.stream.end()));
    EXPECT_EQ(run.exit_code, c.exit_code) << c.name << ": " << run.err;
    const std::string expected = one_pass(c.stream);
    EXPECT_EQ(run.out.size(), expected.size()) << c.name;
    EXPECT_TRUE(run.out == expected) << c.name << ": the output differs from one pass; its end is\n"
                                     << run.out.substr(run.out.size() > 300 ? run.out.size() - 300 : 0);
  }
  // The error names every byte from the bad prefix on, not only those read so far.
  const auto failed = kolvo("frames decode", std::string(cases[0].stream.begin(), cases[0].stream.end()));
  EXPECT_NE(failed.out.find("zero-length frame prefix (buffer 104 bytes)"), std::string::npos);
}

}  // namespace
