#include <gtest/gtest.h>

#include "deck/protocol/deck_framing.hpp"

namespace kolvo::deck::framing {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes prefix(std::uint32_t length) {
  Bytes out;
  append_prefix(out, length);
  return out;
}

Bytes frame_of(const std::string& payload) {
  Bytes out = prefix(static_cast<std::uint32_t>(payload.size()));
  out.insert(out.end(), payload.begin(), payload.end());
  return out;
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(DecodeFrames, CutsCompleteFramesAndKeepsTheRestUntouched) {
  const Bytes ping = frame_of(R"({"type":"ping"})");
  struct Case {
    std::string name;
    Bytes buffer;
    std::size_t frames;
    std::size_t remaining;
  };
  const std::vector<Case> cases = {
      {"three bytes", Bytes{0, 0, 0}, 0, 3},
      {"a frame and two bytes of the next", ping + Bytes{0, 0}, 1, 2},
      {"two frames in one chunk", ping + ping, 2, 0},
      {"a prefix without its payload", prefix(15), 0, 4},
      {"a frame missing its last byte", Bytes(ping.begin(), ping.end() - 1), 0, ping.size() - 1},
  };
  for (const Case& c : cases) {
    Bytes buffer = c.buffer;
    const auto result = decode_frames(buffer);
    EXPECT_FALSE(result.error) << c.name;
    EXPECT_EQ(result.frames.size(), c.frames) << c.name;
    EXPECT_EQ(buffer.size(), c.remaining) << c.name;
    // What stays is the tail of the input, byte for byte.
    EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), c.buffer.end() - static_cast<long>(c.remaining))) << c.name;
  }
}

TEST(DecodeFrames, StreamsAcrossArbitrarySplits) {
  const Bytes stream = frame_of(R"({"type":"ping"})") + frame_of(R"({"type":"hello","deviceId":"A"})") +
                       frame_of(R"({"type":"pong"})");
  for (std::size_t chunk = 1; chunk <= stream.size(); ++chunk) {
    Bytes buffer;
    std::vector<KolvoDeckMessageType> types;
    for (std::size_t at = 0; at < stream.size(); at += chunk) {
      buffer.insert(buffer.end(), stream.begin() + static_cast<long>(at),
                    stream.begin() + static_cast<long>(std::min(stream.size(), at + chunk)));
      for (const auto& frame : decode_frames(buffer).frames) types.push_back(frame.message->type());
    }
    EXPECT_EQ(types, (std::vector<KolvoDeckMessageType>{KolvoDeckMessageType::ping, KolvoDeckMessageType::hello,
                                                        KolvoDeckMessageType::pong}))
        << "chunk " << chunk;
    EXPECT_TRUE(buffer.empty());
  }
}

TEST(DecodeFrames, LimitsAndTheirErrors) {
  struct Case {
    std::string name;
    std::uint32_t length;
    std::size_t payload_present;  // bytes of payload in the buffer
    std::optional<std::string> error;
    std::size_t frames;
    bool skipped;
  };
  const std::vector<Case> cases = {
      {"zero", 0, 6, "zero-length frame prefix (buffer 10 bytes) — stream desynchronised", 0, false},
      {"exactly 1 MiB is decoded", 1'048'576, 1'048'576, std::nullopt, 1, false},
      {"1 MiB + 1 is skipped once whole", 1'048'577, 1'048'577, std::nullopt, 1, true},
      {"1 MiB + 1, incomplete, waits", 1'048'577, 1000, std::nullopt, 0, false},
      {"exactly 8 MiB, incomplete, waits", 8'388'608, 10, std::nullopt, 0, false},
      {"exactly 8 MiB is skipped once whole", 8'388'608, 8'388'608, std::nullopt, 1, true},
      {"8 MiB + 1 fails at once",
       8'388'609,
       2,
       "declared frame length 8388609 exceeds the recoverable ceiling 8388608 (buffer 6 bytes) — stream desynchronised",
       0,
       false},
  };
  for (const Case& c : cases) {
    Bytes buffer = prefix(c.length);
    buffer.resize(4 + c.payload_present, ' ');
    const auto result = decode_frames(buffer);
    ASSERT_EQ(result.error.has_value(), c.error.has_value()) << c.name;
    if (c.error) {
      EXPECT_EQ(result.error->description(), *c.error) << c.name;
    }
    ASSERT_EQ(result.frames.size(), c.frames) << c.name;
    if (c.frames == 1) {
      EXPECT_EQ(result.frames[0].skipped_oversize, c.skipped) << c.name;
      EXPECT_EQ(result.frames[0].payload_bytes, c.length) << c.name;
      if (c.skipped) {
        EXPECT_EQ(result.frames[0].raw_json, "<oversize frame " + std::to_string(c.length) + " bytes, skipped>");
      }
      EXPECT_TRUE(buffer.empty()) << c.name;
    }
  }
}

TEST(DecodeFrames, ABadFrameIsKeptWithoutAMessageAndTheNextIsStillRead) {
  const std::vector<std::pair<std::string, Bytes>> bad = {
      {"no type", frame_of(R"({"value":1})")},
      {"unknown type", frame_of(R"({"type":"teleport"})")},
      {"camel-case approval", frame_of(R"({"type":"approvalRequired"})")},
      {"not json", frame_of("{type:ping}")},
      {"json but not an object", frame_of("[1,2]")},
      {"not utf-8", frame_of(std::string("{\"type\":\"p\xC3\x28\"}"))},
      {"overlong utf-8", frame_of(std::string("{\"t\":\"\xC0\xAF\"}"))},
      {"surrogate in utf-8", frame_of(std::string("{\"t\":\"\xED\xA0\x80\"}"))},
  };
  for (const auto& [name, frame] : bad) {
    Bytes buffer = frame + frame_of(R"({"type":"ping"})");
    const auto result = decode_frames(buffer);
    ASSERT_EQ(result.frames.size(), 2u) << name;
    EXPECT_FALSE(result.frames[0].message) << name;
    EXPECT_FALSE(result.frames[0].skipped_oversize) << name;
    ASSERT_TRUE(result.frames[1].message) << name;
    EXPECT_EQ(result.frames[1].message->type(), KolvoDeckMessageType::ping) << name;
  }
  Bytes buffer = frame_of(std::string("\xFF\xFE"));
  EXPECT_EQ(decode_frames(buffer).frames[0].raw_json, "<non-utf8 payload 2 bytes>");
}

// What a frame is, as far as a reader of the stream can tell.
struct Seen {
  std::string raw_json;
  std::optional<KolvoDeckMessage> message;
  std::int64_t payload_bytes;
  bool skipped_oversize;
  friend bool operator==(const Seen&, const Seen&) = default;
};

std::vector<Seen> seen(const std::vector<InboundFrame>& frames) {
  std::vector<Seen> out;
  for (const auto& f : frames) out.push_back({std::string(f.raw_json), f.message, f.payload_bytes, f.skipped_oversize});
  return out;
}

TEST(DecodeFrames, TwoChunksAtEverySplitGiveWhatOnePassGives) {
  const Bytes stream = frame_of(R"({"type":"hello","deviceId":"A","deviceName":"Anna’s iPhone"})") +
                       frame_of(std::string("\xC3\x28")) + frame_of("{not json") + frame_of(R"({"type":"ping"})") +
                       frame_of(R"({"type":"tabStep","step":2})") + Bytes{0, 0, 0};
  Bytes whole = stream;
  const auto one_pass = decode_frames(whole);
  ASSERT_FALSE(one_pass.error);
  const std::vector<Seen> expected = seen(one_pass.frames);
  ASSERT_EQ(expected.size(), 5u);
  for (std::size_t split = 0; split <= stream.size(); ++split) {
    Bytes buffer(stream.begin(), stream.begin() + static_cast<long>(split));
    auto first = decode_frames(buffer);
    buffer.insert(buffer.end(), stream.begin() + static_cast<long>(split), stream.end());
    auto second = decode_frames(buffer);
    std::vector<Seen> got = seen(first.frames);
    for (auto& frame : seen(second.frames)) got.push_back(std::move(frame));
    EXPECT_EQ(got, expected) << "split " << split;
    EXPECT_EQ(buffer, whole) << "split " << split;
  }
}

TEST(DecodeFrames, RawJsonOutlivesTheBufferItWasCutFrom) {
  // Both ways the consumed bytes reach the frames: the buffer handed over (little left behind)
  // and the texts copied out (a large partial frame left behind).
  const std::string hello = R"({"type":"hello","deviceId":"A"})";
  struct Case {
    std::string name;
    Bytes tail;
  };
  Bytes large_partial = prefix(100'000);
  large_partial.resize(4 + 60'000, 'x');
  const std::vector<Case> cases = {{"small remainder", Bytes{0, 0}}, {"large partial frame", large_partial}};
  for (const Case& c : cases) {
    Bytes buffer = frame_of(hello) + frame_of(std::string("\xFF")) + c.tail;
    auto result = decode_frames(buffer);
    ASSERT_EQ(result.frames.size(), 2u) << c.name;
    EXPECT_EQ(buffer, c.tail) << c.name;
    // Reuse and release the buffer: the frames must not be reading it.
    std::fill(buffer.begin(), buffer.end(), std::uint8_t{'#'});
    buffer.clear();
    buffer.shrink_to_fit();
    std::vector<InboundFrame> moved = std::move(result.frames);
    EXPECT_EQ(moved[0].raw_json, hello) << c.name;
    EXPECT_EQ(moved[1].raw_json, "<non-utf8 payload 1 bytes>") << c.name;
    EXPECT_EQ(decode_message_text(moved[0].raw_json), moved[0].message) << c.name;
  }
}

TEST(DecodeFrames, DeepNestingIsRefusedAsAnInvalidMessage) {
  const auto nested = [](std::size_t depth) {
    return R"({"type":"ping","extra":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
  };
  struct Case {
    std::string name;
    std::string payload;
    bool decodes;
  };
  const std::vector<Case> cases = {
      {"20,000 deep inside an unknown key", nested(20'000), false},
      {"20,000 open brackets", std::string(20'000, '['), false},
      {"20,000 deep objects", std::string(20'000, '{') + std::string(20'000, '}'), false},
      {"512 levels in all", nested(511), true},
      {"513 levels in all", nested(512), false},
  };
  for (const Case& c : cases) {
    Bytes buffer = frame_of(c.payload) + frame_of(R"({"type":"pong"})");
    const auto result = decode_frames(buffer);
    ASSERT_EQ(result.frames.size(), 2u) << c.name;
    EXPECT_EQ(result.frames[0].message.has_value(), c.decodes) << c.name;
    EXPECT_EQ(result.frames[0].raw_json, c.payload) << c.name;
    ASSERT_TRUE(result.frames[1].message) << c.name;
    EXPECT_EQ(result.frames[1].message->type(), KolvoDeckMessageType::pong) << c.name;
  }
}

TEST(EncodeFrame, ANameThatIsNotUtf8StillMakesAFrameThePhoneReads) {
  HelloMessage hello;
  hello.device_id = "6F1C";
  hello.device_name = std::string("Anna\xFF\xC0\xAF iPhone \xF0\x9F\x93");
  Bytes buffer = encode_frame(hello);
  const auto result = decode_frames(buffer);
  ASSERT_EQ(result.frames.size(), 1u);
  ASSERT_TRUE(result.frames[0].message);
  const auto* decoded = result.frames[0].message->get_if<HelloMessage>();
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->device_name, "Anna\uFFFD\uFFFD\uFFFD iPhone \uFFFD");
  EXPECT_EQ(decoded->device_id, "6F1C");
}

TEST(EncodeFrame, PrefixIsTheBigEndianPayloadLength) {
  const Bytes frame = encode_frame(ApprovalRequiredMessage{});
  const std::string expected = R"({"type":"approval_required"})";
  EXPECT_EQ(frame, frame_of(expected));
  EXPECT_EQ(prefix(0x01020304), (Bytes{1, 2, 3, 4}));
  EXPECT_TRUE(fits_outbound_limit(frame));
  LaunchIconMessage huge;
  huge.launch_icon_png = std::string(kMaximumPayload, 'A');
  EXPECT_FALSE(fits_outbound_limit(encode_frame(huge)));
  // The largest payload that still fits: the prefix and exactly 1 MiB of JSON.
  const std::string wrapper = R"({"type":"launchIcon","launchIconPNG":""})";
  huge.launch_icon_png = std::string(kMaximumPayload - wrapper.size(), 'A');
  EXPECT_EQ(encode_frame(huge).size(), kMaximumFrame);
  EXPECT_TRUE(fits_outbound_limit(encode_frame(huge)));
}

}  // namespace
}  // namespace kolvo::deck::framing
