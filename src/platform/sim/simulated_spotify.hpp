#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/executor.hpp"
#include "platform/sim/simulated_applications.hpp"
#include "shelf/artwork_ports.hpp"

// Spotify on the simulated Mac, and the web its covers come from.
namespace kolvo::sim {

struct SimulatedTrack {
  std::string id;  // "spotify:track:…"
  std::string name;
  std::string artist;
  std::string album;
  double duration = 0;  // seconds
  // Where its cover is; empty for a track without one.
  std::string artwork_url;
};

// The web as far as the simulated Mac reaches it: a few addresses, each with its answer. Any
// other address gets 404, and while offline nothing answers at all.
class SimulatedWeb final : public shelf::Downloader {
 public:
  void serve(const std::string& url, int status, std::vector<std::uint8_t> body);
  void set_offline(bool offline);
  std::vector<std::string> requests() const;

  shelf::Download get(const std::string& url, base::Duration request_timeout, base::Duration wait,
                      std::size_t max_bytes) override;

 private:
  struct Answer {
    int status = 200;
    std::vector<std::uint8_t> body;
  };
  mutable std::mutex mutex_;
  std::map<std::string, Answer> answers_;
  bool offline_ = false;
  std::vector<std::string> requests_;
};

// A picture as Spotify's covers are, but as an uncompressed BMP, so that making one needs no
// image library: `side` pixels square, a diagonal blend of two colours picked from `seed`.
std::vector<std::uint8_t> simulated_cover(const std::string& seed, int side);

// Spotify's AppleScript dictionary as far as the widget uses it: the state query, the cover
// query and the transport commands. The playhead moves with the clock while playing.
class SimulatedSpotify final : public ScriptableApplication {
 public:
  explicit SimulatedSpotify(std::function<base::TimePoint()> clock = nullptr);

  // Replaces the queue; the first track is loaded, paused at its start. An empty list leaves
  // nothing loaded.
  void set_tracks(std::vector<SimulatedTrack> tracks);
  std::vector<SimulatedTrack> tracks() const;
  void play();
  void pause();
  void play_pause();
  void next_track();
  void previous_track();
  void seek(double seconds);
  void set_volume(std::int64_t volume);
  // What the player shows now.
  struct Player {
    std::optional<SimulatedTrack> track;
    double position = 0;
    bool playing = false;
    std::int64_t volume = 0;
  };
  Player player() const;

  std::optional<shelf::ScriptRun> answer(const std::string& source) override;

  // A queue of three tracks with covers on the simulated web.
  static std::vector<SimulatedTrack> sample_tracks();

 private:
  double position_locked() const;
  void load_locked(std::size_t index);

  std::function<base::TimePoint()> clock_;
  mutable std::mutex mutex_;
  std::vector<SimulatedTrack> tracks_;
  std::optional<std::size_t> current_;
  bool playing_ = false;
  double position_at_mark_ = 0;
  base::TimePoint mark_{};
  std::int64_t volume_ = 50;
};

}  // namespace kolvo::sim
