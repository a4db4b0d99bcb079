#include "platform/sim/simulated_spotify.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "base/number_text.hpp"

namespace kolvo::sim {
namespace {

// The scripts this Spotify understands are written out here rather than taken from the widget,
// so that a widget whose text drifts from what Spotify's dictionary accepts fails to compile
// here as it would on the Mac.
constexpr std::string_view kStateQuery =
    "tell application id \"com.spotify.client\"\n"
    "  set t to current track\n"
    "  return {id of t, name of t, artist of t, album of t, duration of t, player position, sound volume, "
    "player state as text}\n"
    "end tell";
constexpr std::string_view kArtworkQuery =
    "tell application id \"com.spotify.client\" to return artwork url of current track";
constexpr std::string_view kTell = "tell application id \"com.spotify.client\" to ";

shelf::ScriptValue text(std::string value) { return {.text = std::move(value), .number = std::nullopt, .list = std::nullopt}; }
shelf::ScriptValue number(double value) {
  return {.text = base::shortest_real_text(value), .number = value, .list = std::nullopt};
}
shelf::ScriptRun nothing() { return shelf::ScriptRun::returned({}); }

void put_u16(std::vector<std::uint8_t>& out, std::uint32_t v) {
  out.push_back(static_cast<std::uint8_t>(v & 0xff));
  out.push_back(static_cast<std::uint8_t>((v >> 8) & 0xff));
}
void put_u32(std::vector<std::uint8_t>& out, std::uint32_t v) {
  put_u16(out, v & 0xffff);
  put_u16(out, v >> 16);
}

}  // namespace

void SimulatedWeb::serve(const std::string& url, int status, std::vector<std::uint8_t> body) {
  std::lock_guard lock(mutex_);
  answers_[url] = {status, std::move(body)};
}

void SimulatedWeb::set_offline(bool offline) {
  std::lock_guard lock(mutex_);
  offline_ = offline;
}

std::vector<std::string> SimulatedWeb::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

shelf::Download SimulatedWeb::get(const std::string& url, base::Duration, base::Duration, std::size_t max_bytes) {
  std::lock_guard lock(mutex_);
  requests_.push_back(url);
  if (offline_) return {};
  const auto found = answers_.find(url);
  if (found == answers_.end()) return {404, {}};
  if (found->second.body.size() > max_bytes) return {};
  return {found->second.status, found->second.body};
}

std::vector<std::uint8_t> simulated_cover(const std::string& seed, int side) {
  const std::uint32_t hash = static_cast<std::uint32_t>(std::hash<std::string>{}(seed));
  const std::uint8_t from[3] = {static_cast<std::uint8_t>(hash), static_cast<std::uint8_t>(hash >> 8),
                                static_cast<std::uint8_t>(hash >> 16)};
  const std::uint8_t to[3] = {static_cast<std::uint8_t>(255 - from[0]), static_cast<std::uint8_t>(255 - from[1]),
                              static_cast<std::uint8_t>(255 - from[2])};
  const auto width = static_cast<std::uint32_t>(side);
  const std::uint32_t row = (width * 3 + 3) / 4 * 4;
  const std::uint32_t pixels = row * width;
  std::vector<std::uint8_t> out;
  out.reserve(54 + pixels);
  out.push_back('B');
  out.push_back('M');
  put_u32(out, 54 + pixels);
  put_u32(out, 0);
  put_u32(out, 54);
  put_u32(out, 40);  // BITMAPINFOHEADER
  put_u32(out, width);
  put_u32(out, width);
  put_u16(out, 1);
  put_u16(out, 24);
  put_u32(out, 0);
  put_u32(out, pixels);
  put_u32(out, 2835);
  put_u32(out, 2835);
  put_u32(out, 0);
  put_u32(out, 0);
  for (std::uint32_t y = 0; y < width; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const double t = static_cast<double>(x + y) / (2.0 * width);
      for (int c = 2; c >= 0; --c) {  // BGR
        out.push_back(static_cast<std::uint8_t>(from[c] + (to[c] - from[c]) * t));
      }
    }
    for (std::uint32_t pad = width * 3; pad < row; ++pad) out.push_back(0);
  }
  return out;
}

SimulatedSpotify::SimulatedSpotify(std::function<base::TimePoint()> clock)
    : clock_(clock ? std::move(clock) : [] { return base::Clock::now(); }) {
  mark_ = clock_();
}

std::vector<SimulatedTrack> SimulatedSpotify::sample_tracks() {
  return {
      {"spotify:track:4uLU6hMCjMI75M1A2tKUQC", "Never Gonna Give You Up", "Rick Astley", "Whenever You Need Somebody",
       213.573, "https://i.scdn.co/image/ab67616d0000b2734uLU6hMCjMI75M1A2tKUQC"},
      {"spotify:track:7GhIk7Il098yCjg4BQjzvb", "Take On Me", "a-ha", "Hunting High and Low", 225.28,
       "https://i.scdn.co/image/ab67616d0000b2737GhIk7Il098yCjg4BQjzvb"},
      {"spotify:track:0VjIjW4GlUZAMYd2vXMi3b", "Blinding Lights", "The Weeknd", "After Hours", 200.04,
       "https://i.scdn.co/image/ab67616d0000b2730VjIjW4GlUZAMYd2vXMi3b"},
  };
}

void SimulatedSpotify::set_tracks(std::vector<SimulatedTrack> tracks) {
  std::lock_guard lock(mutex_);
  tracks_ = std::move(tracks);
  playing_ = false;
  current_.reset();
  if (!tracks_.empty()) load_locked(0);
}

std::vector<SimulatedTrack> SimulatedSpotify::tracks() const {
  std::lock_guard lock(mutex_);
  return tracks_;
}

void SimulatedSpotify::play() {
  std::lock_guard lock(mutex_);
  if (!current_ || playing_) return;
  position_at_mark_ = position_locked();
  mark_ = clock_();
  playing_ = true;
}

void SimulatedSpotify::pause() {
  std::lock_guard lock(mutex_);
  if (!playing_) return;
  position_at_mark_ = position_locked();
  mark_ = clock_();
  playing_ = false;
}

void SimulatedSpotify::play_pause() {
  if (player().playing) {
    pause();
  } else {
    play();
  }
}

void SimulatedSpotify::next_track() {
  std::lock_guard lock(mutex_);
  if (!current_) return;
  load_locked((*current_ + 1) % tracks_.size());
}

void SimulatedSpotify::previous_track() {
  std::lock_guard lock(mutex_);
  if (!current_) return;
  // As Spotify does: back to the start first, and to the previous track only from there.
  if (position_locked() > 3) {
    position_at_mark_ = 0;
    mark_ = clock_();
    return;
  }
  load_locked((*current_ + tracks_.size() - 1) % tracks_.size());
}

void SimulatedSpotify::seek(double seconds) {
  std::lock_guard lock(mutex_);
  if (!current_) return;
  position_at_mark_ = std::clamp(seconds, 0.0, tracks_[*current_].duration);
  mark_ = clock_();
}

void SimulatedSpotify::set_volume(std::int64_t volume) {
  std::lock_guard lock(mutex_);
  volume_ = std::clamp<std::int64_t>(volume, 0, 100);
}

SimulatedSpotify::Player SimulatedSpotify::player() const {
  std::lock_guard lock(mutex_);
  Player player;
  if (current_) player.track = tracks_[*current_];
  player.position = position_locked();
  player.playing = playing_;
  player.volume = volume_;
  return player;
}

std::optional<shelf::ScriptRun> SimulatedSpotify::answer(const std::string& source) {
  if (source == kStateQuery) {
    std::lock_guard lock(mutex_);
    std::vector<shelf::ScriptValue> items;
    if (!current_) {
      // With nothing loaded Spotify answers with empty fields.
      items = {text(""), text(""), text(""), text(""), number(0), number(0), number(static_cast<double>(volume_)),
               text("stopped")};
    } else {
      const SimulatedTrack& track = tracks_[*current_];
      // Spotify gives the length in milliseconds and the playhead in seconds.
      items = {text(track.id),
               text(track.name),
               text(track.artist),
               text(track.album),
               number(std::round(track.duration * 1000)),
               number(position_locked()),
               number(static_cast<double>(volume_)),
               text(playing_ ? "playing" : "paused")};
    }
    return shelf::ScriptRun::returned({.text = std::nullopt, .number = std::nullopt, .list = std::move(items)});
  }
  if (source == kArtworkQuery) {
    std::lock_guard lock(mutex_);
    return shelf::ScriptRun::returned(text(current_ ? tracks_[*current_].artwork_url : ""));
  }
  if (!source.starts_with(kTell)) return std::nullopt;
  const std::string_view verb = std::string_view(source).substr(kTell.size());
  if (verb == "playpause") {
    play_pause();
    return nothing();
  }
  if (verb == "next track") {
    next_track();
    return nothing();
  }
  if (verb == "previous track") {
    previous_track();
    return nothing();
  }
  constexpr std::string_view kSeek = "set player position to ";
  constexpr std::string_view kVolume = "set sound volume to ";
  if (verb.starts_with(kSeek)) {
    const auto seconds = base::parse_real(verb.substr(kSeek.size()));
    if (!seconds) return std::nullopt;
    seek(*seconds);
    return nothing();
  }
  if (verb.starts_with(kVolume)) {
    const auto volume = base::parse_integer(verb.substr(kVolume.size()));
    if (!volume) return std::nullopt;
    set_volume(*volume);
    return nothing();
  }
  return std::nullopt;
}

double SimulatedSpotify::position_locked() const {
  if (!current_) return 0;
  double position = position_at_mark_;
  if (playing_) position += std::chrono::duration<double>(clock_() - mark_).count();
  return std::min(position, tracks_[*current_].duration);
}

void SimulatedSpotify::load_locked(std::size_t index) {
  current_ = index;
  position_at_mark_ = 0;
  mark_ = clock_();
}

}  // namespace kolvo::sim
