// The phone link's codec: cutting frames, decoding messages (beside nlohmann's own parse of
// the same payloads, for scale), and encoding a realistic state.
#include <benchmark/benchmark.h>

#include <nlohmann/json.hpp>

#include "deck/protocol/deck_framing.hpp"

namespace {

using namespace kolvo::deck;

// Frames of about 150 bytes, of the kinds a phone sends.
std::vector<std::uint8_t> stream_of(std::size_t frames) {
  const std::vector<std::string> payloads = {
      R"({"type":"setControl","control":"volume","value":0.42,"deviceId":"6F1C2A7E-3B4D-4E5F-9A8B-7C6D5E4F3A2B"})",
      R"({"type":"hello","deviceId":"6F1C2A7E-3B4D-4E5F-9A8B-7C6D5E4F3A2B","deviceName":"Anna's iPhone 15","protocolVersion":1})",
      R"({"type":"shelfSurfaceCommand","surfaceIdentity":"photoshop","surfaceCommand":"setContinuous","surfaceControlID":"ps.brushSize","surfaceValue":48.5})",
      R"({"type":"launchApp","launchBundleID":"com.apple.Safari","launchDirection":"topLeft","launchVelocityX":812.5,"launchRequestID":"R-1042"})",
  };
  std::vector<std::uint8_t> stream;
  for (std::size_t i = 0; i < frames; ++i) {
    const std::string& p = payloads[i % payloads.size()];
    framing::append_prefix(stream, static_cast<std::uint32_t>(p.size()));
    stream.insert(stream.end(), p.begin(), p.end());
  }
  return stream;
}

void cut(benchmark::State& state, framing::MessageDecoding decoding) {
  const auto stream = stream_of(static_cast<std::size_t>(state.range(0)));
  std::vector<std::uint8_t> buffer;
  for (auto _ : state) {
    state.PauseTiming();
    buffer = stream;
    state.ResumeTiming();
    auto result = framing::decode_frames(buffer, decoding);
    benchmark::DoNotOptimize(result.frames.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream.size()));
}

void BM_DecodeFramesCut(benchmark::State& state) { cut(state, framing::MessageDecoding::skip); }
BENCHMARK(BM_DecodeFramesCut)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void BM_DecodeFramesMessages(benchmark::State& state) { cut(state, framing::MessageDecoding::decode); }
BENCHMARK(BM_DecodeFramesMessages)->Arg(10'000)->Unit(benchmark::kMicrosecond);

// nlohmann's own parse of the same payloads, without the framing or the message records.
void BM_NlohmannParsePayloads(benchmark::State& state) {
  const auto stream = stream_of(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::size_t at = 0;
    while (at < stream.size()) {
      const std::uint32_t length = (std::uint32_t{stream[at]} << 24) | (std::uint32_t{stream[at + 1]} << 16) |
                                   (std::uint32_t{stream[at + 2]} << 8) | stream[at + 3];
      auto json = nlohmann::json::parse(stream.begin() + static_cast<long>(at + 4),
                                        stream.begin() + static_cast<long>(at + 4 + length), nullptr, false);
      benchmark::DoNotOptimize(json);
      at += 4 + length;
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream.size()));
}
BENCHMARK(BM_NlohmannParsePayloads)->Arg(10'000)->Unit(benchmark::kMicrosecond);

void BM_EncodeStateUpdate(benchmark::State& state) {
  KolvoDeckState s;
  s.volume = 0.4;
  s.brightness = 0.8125;
  s.dark = true;
  s.keyboard_backlight = 0.25;
  s.available = {true, true, true, true, true};
  s.audio_devices = {{"73", "MacBook Pro Speakers"}, {"91", "AirPods Pro"}, {"104", "Studio Display Speakers"}};
  s.current_audio_device_id = "91";
  s.top_left = KolvoDeckSlot{KolvoDeckSlotType::volume, true, 0.4, std::nullopt, std::nullopt, std::nullopt};
  s.top_right = KolvoDeckSlot{KolvoDeckSlotType::appearance, true, std::nullopt, true, std::nullopt, std::nullopt};
  s.bottom_left = KolvoDeckSlot{KolvoDeckSlotType::playPause, true, std::nullopt, std::nullopt, std::nullopt, std::nullopt};
  s.bottom_right = KolvoDeckSlot{KolvoDeckSlotType::audioOutput, true, std::nullopt, std::nullopt, s.audio_devices, "91"};
  s.profile = KolvoDeckProfileInfo{"Photoshop", "com.adobe.Photoshop", false, "Photoshop", "com.adobe.Photoshop"};
  s.appearance = KolvoDeckAppearance{10.0 / 255, 132.0 / 255, 1.0, true};
  s.desktop_switch_available = true;
  s.stats = std::vector<KolvoDeckStat>{{kolvo::prefs::KolvoDeckStatKind::cpu, 0.123, std::nullopt},
                                       {kolvo::prefs::KolvoDeckStatKind::ram, 0.61, std::nullopt},
                                       {kolvo::prefs::KolvoDeckStatKind::storage, 0.48, std::nullopt},
                                       {kolvo::prefs::KolvoDeckStatKind::battery, 0.8, true}};
  const KolvoDeckMessage m = StateUpdateMessage{s};
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto frame = framing::encode_frame(m);
    bytes += frame.size();
    benchmark::DoNotOptimize(frame.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(BM_EncodeStateUpdate);

}  // namespace
