#include "shelf/spotify/spotify_surface_session.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <utility>

#include "base/number_text.hpp"

namespace kolvo::shelf {
namespace {

constexpr const char* kCommandPrefix = "tell application id \"com.spotify.client\" to ";
// Larger lengths are milliseconds: no track lasts ten thousand seconds, and Spotify has given
// both units over the years.
constexpr double kLargestLengthInSeconds = 10000;
// How far the playhead may drift from the phone's extrapolation before it is told again.
constexpr double kPlayingDriftSeconds = 4.5;

std::string item_text(const std::vector<ScriptValue>& items, std::size_t position) {
  if (position > items.size()) return {};
  return items[position - 1].text.value_or("");
}

double item_number(const std::vector<ScriptValue>& items, std::size_t position) {
  if (position > items.size()) return 0;
  const ScriptValue& item = items[position - 1];
  if (item.number && std::isfinite(*item.number)) return *item.number;
  if (item.text) {
    if (const auto parsed = base::parse_real(*item.text); parsed && std::isfinite(*parsed)) return *parsed;
  }
  return 0;
}

template <typename T>
bool differs(const std::optional<T>& a, const std::optional<T>& b) {
  return a != b;
}

}  // namespace

SpotifyScript spotify_state_script() {
  return {"tell application id \"com.spotify.client\"\n"
          "  set t to current track\n"
          "  return {id of t, name of t, artist of t, album of t, duration of t, player position, sound volume, "
          "player state as text}\n"
          "end tell",
          "state"};
}

SpotifyScript spotify_artwork_script() {
  return {"tell application id \"com.spotify.client\" to return artwork url of current track", "artworkURL"};
}

std::optional<SpotifyScript> spotify_command_script(ShelfSurfaceCommand command, std::optional<double> value) {
  const auto fixed = [](std::string verb, std::string key) {
    return SpotifyScript{kCommandPrefix + std::move(verb), std::move(key)};
  };
  switch (command) {
    case ShelfSurfaceCommand::playPause: return fixed("playpause", "playpause");
    case ShelfSurfaceCommand::previous: return fixed("previous track", "previous");
    case ShelfSurfaceCommand::next: return fixed("next track", "next");
    case ShelfSurfaceCommand::seek:
      if (!value || !std::isfinite(*value)) return std::nullopt;
      return SpotifyScript{kCommandPrefix + std::string("set player position to ") +
                               base::fixed_real_text(std::max(*value, 0.0), 2),
                           std::nullopt};
    case ShelfSurfaceCommand::setVolume: {
      if (!value || std::isnan(*value)) return std::nullopt;
      // Clamped first, so no value is too large to round; halves round away from zero.
      const long volume = std::lround(std::clamp(*value, 0.0, 100.0));
      return SpotifyScript{kCommandPrefix + std::string("set sound volume to ") + std::to_string(volume), std::nullopt};
    }
    default: return std::nullopt;
  }
}

SpotifyUnavailability spotify_unavailability_of(const ScriptRun& run) {
  switch (run.status) {
    case ScriptRun::Status::did_not_compile: return SpotifyFailed{"could not compile"};
    case ScriptRun::Status::failed:
      if (run.error_number == -600 || run.error_number == -609) return SpotifyNotRunning{};
      if (run.error_number == -1743) return SpotifyAutomationDenied{};
      return SpotifyFailed{run.error_message.value_or("unknown")};
    case ScriptRun::Status::ran: break;
  }
  return SpotifyFailed{"unknown"};
}

SpotifyReading read_spotify_reply(const ScriptRun& run) {
  if (run.status != ScriptRun::Status::ran) return spotify_unavailability_of(run);
  static const std::vector<ScriptValue> kNone;
  const std::vector<ScriptValue>& items = run.result.list ? *run.result.list : kNone;
  if (items.size() < 8) return SpotifyNoTrack{};
  SpotifySnapshot snapshot;
  snapshot.name = item_text(items, 2);
  if (snapshot.name.empty()) return SpotifyNoTrack{};
  snapshot.track_id = item_text(items, 1);
  snapshot.artist = item_text(items, 3);
  snapshot.album = item_text(items, 4);
  snapshot.duration = item_number(items, 5);
  if (snapshot.duration > kLargestLengthInSeconds) snapshot.duration /= 1000;
  snapshot.position = item_number(items, 6);
  snapshot.volume = std::lround(std::clamp(item_number(items, 7), -1e9, 1e9));
  snapshot.is_playing = item_text(items, 8) == "playing";
  return snapshot;
}

std::string spotify_unavailable_text(const SpotifyUnavailability& reason) {
  struct Texts {
    std::string operator()(const SpotifyFailed&) const { return "Spotify did not respond"; }
    std::string operator()(const SpotifyNotRunning&) const { return "Open Spotify on your Mac"; }
    std::string operator()(const SpotifyAutomationDenied&) const {
      return "Allow Kolvo to control Spotify in System Settings, Privacy & Security, Automation.";
    }
    std::string operator()(const SpotifyNoTrack&) const { return "Play something in Spotify"; }
  };
  return std::visit(Texts{}, reason);
}

ShelfSurfaceState spotify_state(const SpotifyReading& reading, double timestamp) {
  ShelfSurfaceState state;
  state.identity = ShelfSurfaceIdentity::spotify;
  state.timestamp = timestamp;
  if (const auto* snapshot = std::get_if<SpotifySnapshot>(&reading)) {
    state.available = true;
    state.track_id = snapshot->track_id;
    state.title = snapshot->name;
    state.artist = snapshot->artist;
    state.album = snapshot->album;
    state.duration = snapshot->duration;
    state.position = snapshot->position;
    state.is_playing = snapshot->is_playing;
    state.volume = snapshot->volume;
  } else {
    state.available = false;
    state.is_playing = false;
    state.unavailable = spotify_unavailable_text(std::get<SpotifyUnavailability>(reading));
  }
  return state;
}

bool spotify_should_send(const ShelfSurfaceState& last, const ShelfSurfaceState& next) {
  if (last.available != next.available || differs(last.unavailable, next.unavailable) ||
      differs(last.track_id, next.track_id)) {
    return true;
  }
  if (last.is_playing != next.is_playing || differs(last.volume, next.volume) || differs(last.duration, next.duration)) {
    return true;
  }
  if (next.artwork) return true;
  if (next.is_playing) return std::abs(next.position.value_or(0) - last.position.value_or(0)) >= kPlayingDriftSeconds;
  return differs(last.position, next.position);
}

bool is_fetchable_artwork_url(const std::string& text) {
  constexpr std::string_view kScheme = "https://";
  if (!text.starts_with(kScheme) || text.size() > 2048) return false;
  const std::string_view rest = std::string_view(text).substr(kScheme.size());
  const std::string_view host = rest.substr(0, rest.find_first_of("/?#"));
  if (host.empty() || host.find('@') != std::string_view::npos) return false;
  // RFC 3986's characters, and nothing else: no spaces, quotes or control characters.
  constexpr std::string_view kAllowed = "-._~:/?#[]@!$&'()*+,;=%";
  return std::all_of(rest.begin(), rest.end(), [&](char c) {
    const auto u = static_cast<unsigned char>(c);
    return std::isalnum(u) != 0 || kAllowed.find(c) != std::string_view::npos;
  });
}

SpotifySurfaceSession::SpotifySurfaceSession(Ports ports)
    : clock_(ports.clock),
      apple_events_(std::move(ports.apple_events)),
      processes_(std::move(ports.processes)),
      downloader_(std::move(ports.downloader)),
      thumbnailer_(std::move(ports.thumbnailer)),
      timer_(ports.main),
      queue_("com.kolvo.spotify", ports.main, base::SerialQueue::Priority::user_initiated) {}

SpotifySurfaceSession::~SpotifySurfaceSession() = default;

void SpotifySurfaceSession::start() {
  if (running_) return;
  running_ = true;
  ++generation_;
  forget_last_sent();
  artwork_track_id_.reset();
  artwork_cache_.reset();
  poll(true);
  timer_.start(kInterval, [this] { poll(false); });
}

void SpotifySurfaceSession::stop() {
  if (!running_) return;
  running_ = false;
  ++generation_;
  timer_.stop();
  tick_poll_out_ = false;
  forget_last_sent();
  artwork_track_id_.reset();
  artwork_fetching_.reset();
  artwork_cache_.reset();
}

void SpotifySurfaceSession::refresh() {
  if (!running_) return;
  artwork_track_id_.reset();
  poll(true);
}

void SpotifySurfaceSession::handle(const ShelfCommand& command) {
  if (!running_) return;
  auto script = spotify_command_script(command.command, command.value);
  if (!script) return;
  ++work_out_;
  queue_.async(
      [this, script = std::move(*script)] {
        if (spotify_running()) apple_events_->run_script(script.source, script.cache_key);
        return true;
      },
      [this, generation = generation_](bool) {
        --work_out_;
        // Whatever came of it, the phone sees the effect at once.
        if (generation == generation_) poll(true);
      });
}

void SpotifySurfaceSession::poll(bool force) {
  if (!force) {
    if (tick_poll_out_) return;
    tick_poll_out_ = true;
  }
  ++work_out_;
  queue_.async([this] { return read_snapshot(); },
               [this, generation = generation_, force](SpotifyReading reading) {
                 --work_out_;
                 finish_poll(generation, force, std::move(reading));
               });
}

void SpotifySurfaceSession::finish_poll(std::uint64_t generation, bool force, SpotifyReading reading) {
  if (generation != generation_) return;
  if (!force) tick_poll_out_ = false;
  const auto* snapshot = std::get_if<SpotifySnapshot>(&reading);
  if (!snapshot) {
    // When a track comes back its cover is delivered anew.
    artwork_track_id_.reset();
    artwork_cache_.reset();
  }
  deliver(spotify_state(reading, base::seconds_since_2001(clock_.now())), force);
  if (snapshot) show_artwork_of(snapshot->track_id);
}

void SpotifySurfaceSession::show_artwork_of(const std::string& track_id) {
  if (artwork_track_id_ == track_id || artwork_fetching_ == track_id) return;
  if (artwork_cache_ && artwork_cache_->track_id == track_id) {
    artwork_track_id_ = track_id;
    deliver_artwork(artwork_cache_->jpeg);
    return;
  }
  if (!downloader_ || !thumbnailer_) return;
  artwork_fetching_ = track_id;
  ++work_out_;
  queue_.async([this] { return fetch_artwork(); },
               [this, generation = generation_, track_id](std::optional<std::vector<std::uint8_t>> jpeg) {
                 --work_out_;
                 finish_artwork(generation, track_id, std::move(jpeg));
               });
}

void SpotifySurfaceSession::finish_artwork(std::uint64_t generation, std::string track_id,
                                           std::optional<std::vector<std::uint8_t>> jpeg) {
  if (generation != generation_) return;
  artwork_fetching_.reset();
  // A cover that arrives after the track changed belongs to no track the phone shows.
  if (!jpeg || !last_sent() || last_sent()->track_id != track_id) return;
  artwork_cache_ = Artwork{track_id, std::move(*jpeg)};
  artwork_track_id_ = std::move(track_id);
  deliver_artwork(artwork_cache_->jpeg);
}

void SpotifySurfaceSession::deliver_artwork(const std::vector<std::uint8_t>& jpeg) {
  if (!last_sent()) return;
  ShelfSurfaceState state = *last_sent();
  const double now = base::seconds_since_2001(clock_.now());
  // The picture took a while to come: a playing track's playhead moved on meanwhile, and the
  // phone extrapolates from the new stamp.
  if (state.is_playing && state.position) {
    const double advanced = *state.position + std::max(0.0, now - state.timestamp);
    state.position = state.duration && *state.duration > 0 ? std::min(advanced, *state.duration) : advanced;
  }
  state.timestamp = now;
  state.artwork = jpeg;
  deliver(state, true);
}

bool SpotifySurfaceSession::spotify_running() const {
  if (!processes_) return false;
  const auto running = processes_->running();
  return std::any_of(running.begin(), running.end(),
                     [](const RunningProcess& process) { return process.bundle_id == kSpotifyBundleID; });
}

SpotifyReading SpotifySurfaceSession::read_snapshot() const {
  // A script to an application that is not running would launch it.
  if (!apple_events_ || !spotify_running()) return SpotifyNotRunning{};
  const SpotifyScript query = spotify_state_script();
  return read_spotify_reply(apple_events_->run_script(query.source, query.cache_key));
}

std::optional<std::vector<std::uint8_t>> SpotifySurfaceSession::fetch_artwork() const {
  if (!apple_events_ || !spotify_running()) return std::nullopt;
  const SpotifyScript query = spotify_artwork_script();
  const ScriptRun run = apple_events_->run_script(query.source, query.cache_key);
  if (run.status != ScriptRun::Status::ran || !run.result.text || !is_fetchable_artwork_url(*run.result.text)) {
    return std::nullopt;
  }
  const Download download = downloader_->get(*run.result.text, kArtworkRequestTimeout, kArtworkWait, kArtworkMaximumBytes);
  // An error page or an empty answer is no picture; the thumbnailer is not asked.
  if (!download.status || *download.status < 200 || *download.status > 299 || download.body.empty()) {
    return std::nullopt;
  }
  return thumbnailer_->jpeg_thumbnail(download.body, kArtworkMaximumSide, kArtworkQuality);
}

}  // namespace kolvo::shelf
