#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "base/date_time.hpp"
#include "base/executor.hpp"
#include "base/serial_queue.hpp"
#include "base/timers.hpp"
#include "shelf/apple_events.hpp"
#include "shelf/artwork_ports.hpp"
#include "shelf/shelf_surface_session.hpp"

namespace kolvo::shelf {

inline constexpr const char* kSpotifyBundleID = "com.spotify.client";

// One reading of Spotify's player.
struct SpotifySnapshot {
  std::string track_id;
  std::string name;
  std::string artist;
  std::string album;
  double duration = 0;  // seconds
  double position = 0;  // seconds
  bool is_playing = false;
  std::int64_t volume = 0;  // 0…100
  friend bool operator==(const SpotifySnapshot&, const SpotifySnapshot&) = default;
};

// Why a reading failed.
struct SpotifyFailed {
  std::string message;
  friend bool operator==(const SpotifyFailed&, const SpotifyFailed&) = default;
};
struct SpotifyNotRunning {
  friend bool operator==(const SpotifyNotRunning&, const SpotifyNotRunning&) = default;
};
struct SpotifyAutomationDenied {
  friend bool operator==(const SpotifyAutomationDenied&, const SpotifyAutomationDenied&) = default;
};
struct SpotifyNoTrack {
  friend bool operator==(const SpotifyNoTrack&, const SpotifyNoTrack&) = default;
};
using SpotifyUnavailability = std::variant<SpotifyFailed, SpotifyNotRunning, SpotifyAutomationDenied, SpotifyNoTrack>;
using SpotifyReading = std::variant<SpotifySnapshot, SpotifyUnavailability>;

// A script and the key its compiled form is kept under; texts that carry a value have none.
struct SpotifyScript {
  std::string source;
  std::optional<std::string> cache_key;
  friend bool operator==(const SpotifyScript&, const SpotifyScript&) = default;
};

SpotifyScript spotify_state_script();
SpotifyScript spotify_artwork_script();
// The script that carries out a transport command; absent for a command that is not Spotify's
// or a seek or volume change without a value.
std::optional<SpotifyScript> spotify_command_script(ShelfSurfaceCommand command, std::optional<double> value);

// What a run of the state query says about the player.
SpotifyReading read_spotify_reply(const ScriptRun& run);
// What a failed script says: not running, no permission, or another failure.
SpotifyUnavailability spotify_unavailability_of(const ScriptRun& run);
// The text the phone shows for each reason.
std::string spotify_unavailable_text(const SpotifyUnavailability& reason);
// The state for the phone, stamped `timestamp` (seconds since 2001).
ShelfSurfaceState spotify_state(const SpotifyReading& reading, double timestamp);
// Whether `next` tells the phone something `last` did not: a change of track, availability,
// play state, volume or length; the playhead drifting 4.5 s from where the phone thinks it is
// while playing, or moving at all while paused; or a picture.
bool spotify_should_send(const ShelfSurfaceState& last, const ShelfSurfaceState& next);
// A URL that may be fetched for artwork: https, a host, nothing that is not a URL character.
bool is_fetchable_artwork_url(const std::string& text);

// The Spotify widget: the playing track and its cover, read from the Spotify application once
// a second through AppleScript, and the phone's transport commands carried out there. Spotify
// is never launched by it: every script waits for it to be running.
class SpotifySurfaceSession final : public ShelfSurfaceSession {
 public:
  static constexpr base::Duration kInterval = std::chrono::seconds(1);
  static constexpr base::Duration kArtworkRequestTimeout = std::chrono::seconds(6);
  static constexpr base::Duration kArtworkWait = std::chrono::seconds(8);
  static constexpr int kArtworkMaximumSide = 512;
  static constexpr double kArtworkQuality = 0.8;
  // No cover is anywhere near this; a larger answer is not a cover.
  static constexpr std::size_t kArtworkMaximumBytes = std::size_t{16} << 20;

  struct Ports {
    base::Executor& main;
    const base::WallClock& clock;
    std::shared_ptr<ScriptRunner> apple_events;
    std::shared_ptr<ApplicationProcesses> processes;
    // Either may be null: the widget then shows no covers.
    std::shared_ptr<Downloader> downloader;
    std::shared_ptr<const ImageThumbnailer> thumbnailer;
  };

  explicit SpotifySurfaceSession(Ports ports);
  ~SpotifySurfaceSession() override;

  ShelfSurfaceIdentity identity() const override { return ShelfSurfaceIdentity::spotify; }
  void start() override;
  void stop() override;
  void refresh() override;
  void handle(const ShelfCommand& command) override;

  // Whether a reading, command or download is still out on the queue.
  bool has_work_out() const { return work_out_ > 0; }

 protected:
  bool same_as_last(const ShelfSurfaceState& last, const ShelfSurfaceState& next) const override {
    return !spotify_should_send(last, next);
  }

 private:
  struct Artwork {
    std::string track_id;
    std::vector<std::uint8_t> jpeg;
  };

  void poll(bool force);
  void finish_poll(std::uint64_t generation, bool force, SpotifyReading reading);
  void show_artwork_of(const std::string& track_id);
  void finish_artwork(std::uint64_t generation, std::string track_id, std::optional<std::vector<std::uint8_t>> jpeg);
  void deliver_artwork(const std::vector<std::uint8_t>& jpeg);
  // Runs on the queue.
  bool spotify_running() const;
  SpotifyReading read_snapshot() const;
  std::optional<std::vector<std::uint8_t>> fetch_artwork() const;

  const base::WallClock& clock_;
  std::shared_ptr<ScriptRunner> apple_events_;
  std::shared_ptr<ApplicationProcesses> processes_;
  std::shared_ptr<Downloader> downloader_;
  std::shared_ptr<const ImageThumbnailer> thumbnailer_;

  base::RepeatingTimer timer_;
  bool running_ = false;
  // Counts starts and stops, so that what comes back from before them is dropped.
  std::uint64_t generation_ = 0;
  // Ticks are skipped while a reading is out, so a hung Spotify does not pile them up.
  bool tick_poll_out_ = false;
  int work_out_ = 0;
  std::optional<std::string> artwork_track_id_;
  std::optional<std::string> artwork_fetching_;
  std::optional<Artwork> artwork_cache_;
  // Last, so that its worker is joined before anything a script touches is gone.
  base::SerialQueue queue_;
};

}  // namespace kolvo::shelf
