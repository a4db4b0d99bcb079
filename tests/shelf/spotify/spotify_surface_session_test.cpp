#include "shelf/spotify/spotify_surface_session.hpp"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "base/manual_executor.hpp"
#include "platform/sim/simulated_applications.hpp"
#include "platform/sim/simulated_spotify.hpp"

namespace kolvo::shelf {
namespace {

using namespace std::chrono_literals;
using Command = ShelfSurfaceCommand;

ScriptValue text(std::string value) { return {.text = std::move(value), .number = std::nullopt, .list = std::nullopt}; }
ScriptValue number(double value) { return {.text = std::nullopt, .number = value, .list = std::nullopt}; }
ScriptRun reply(std::vector<ScriptValue> items) {
  return ScriptRun::returned({.text = std::nullopt, .number = std::nullopt, .list = std::move(items)});
}
std::vector<ScriptValue> full_reply(double duration, std::string name = "Song", std::string state = "playing") {
  return {text("spotify:track:1"), text(std::move(name)), text("Artist"), text("Album"), number(duration),
          number(12.5),            number(64),            text(std::move(state))};
}

TEST(SpotifyReply, ReadsTheEightItemsByPosition) {
  struct Case {
    const char* name;
    ScriptRun run;
    SpotifyReading expected;
  };
  auto short_reply = full_reply(215000);
  short_reply.pop_back();
  auto missing = full_reply(0);
  missing[4] = text("");      // a length that is not a number
  missing[6] = ScriptValue{};  // no volume at all
  const Case cases[] = {
      {"milliseconds", reply(full_reply(215000)),
       SpotifySnapshot{"spotify:track:1", "Song", "Artist", "Album", 215, 12.5, true, 64}},
      {"seconds", reply(full_reply(215.5, "Song", "paused")),
       SpotifySnapshot{"spotify:track:1", "Song", "Artist", "Album", 215.5, 12.5, false, 64}},
      {"the boundary stays seconds", reply(full_reply(10000)),
       SpotifySnapshot{"spotify:track:1", "Song", "Artist", "Album", 10000, 12.5, true, 64}},
      {"missing numbers are zero", reply(missing),
       SpotifySnapshot{"spotify:track:1", "Song", "Artist", "Album", 0, 12.5, true, 0}},
      {"seven items", reply(short_reply), SpotifyNoTrack{}},
      {"no name", reply(full_reply(1000, "")), SpotifyNoTrack{}},
      {"not a list", ScriptRun::returned(text("playing")), SpotifyNoTrack{}},
      {"did not compile", ScriptRun::not_compiled(), SpotifyFailed{"could not compile"}},
      {"not running", ScriptRun::error(-600, "Application isn’t running."), SpotifyNotRunning{}},
      {"not running yet", ScriptRun::error(-609, std::nullopt), SpotifyNotRunning{}},
      {"no permission", ScriptRun::error(-1743, "Not authorized"), SpotifyAutomationDenied{}},
      {"other error", ScriptRun::error(-2700, std::nullopt), SpotifyFailed{"unknown"}},
  };
  for (const Case& c : cases) EXPECT_EQ(read_spotify_reply(c.run), c.expected) << c.name;
}

TEST(SpotifyReply, EachReasonHasItsText) {
  const std::pair<SpotifyUnavailability, std::string> cases[] = {
      {SpotifyNotRunning{}, "Open Spotify on your Mac"},
      {SpotifyAutomationDenied{}, "Allow Kolvo to control Spotify in System Settings, Privacy & Security, Automation."},
      {SpotifyNoTrack{}, "Play something in Spotify"},
      {SpotifyFailed{"-2700 whatever"}, "Spotify did not respond"},
  };
  for (const auto& [reason, expected] : cases) {
    const ShelfSurfaceState state = spotify_state(reason, 5);
    EXPECT_FALSE(state.available);
    EXPECT_FALSE(state.is_playing);
    EXPECT_FALSE(state.track_id || state.title || state.position || state.volume);
    EXPECT_EQ(state.unavailable, expected);
  }
}

TEST(SpotifyCommands, ScriptsAreClampedAndFormatted) {
  const std::string prefix = "tell application id \"com.spotify.client\" to ";
  struct Case {
    Command command;
    std::optional<double> value;
    std::optional<SpotifyScript> expected;
  };
  const Case cases[] = {
      {Command::playPause, std::nullopt, SpotifyScript{prefix + "playpause", "playpause"}},
      {Command::previous, std::nullopt, SpotifyScript{prefix + "previous track", "previous"}},
      {Command::next, 3.0, SpotifyScript{prefix + "next track", "next"}},
      {Command::seek, -1.0, SpotifyScript{prefix + "set player position to 0.00", std::nullopt}},
      {Command::seek, 61.5, SpotifyScript{prefix + "set player position to 61.50", std::nullopt}},
      {Command::seek, std::nullopt, std::nullopt},
      {Command::setVolume, 130.4, SpotifyScript{prefix + "set sound volume to 100", std::nullopt}},
      {Command::setVolume, -3.0, SpotifyScript{prefix + "set sound volume to 0", std::nullopt}},
      {Command::setVolume, 50.5, SpotifyScript{prefix + "set sound volume to 51", std::nullopt}},
      {Command::setVolume, 1e300, SpotifyScript{prefix + "set sound volume to 100", std::nullopt}},
      {Command::setVolume, std::nullopt, std::nullopt},
      {Command::selectTool, 1.0, std::nullopt},
      {Command::dismiss, std::nullopt, std::nullopt},
      {Command::setContinuous, 0.5, std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(spotify_command_script(c.command, c.value), c.expected)
        << static_cast<int>(c.command) << " " << c.value.value_or(-99);
  }
}

TEST(SpotifyShouldSend, DriftPausesAndChanges) {
  ShelfSurfaceState playing = spotify_state(SpotifySnapshot{"t1", "A", "B", "C", 200, 10.0, true, 50}, 0);
  ShelfSurfaceState paused = playing;
  paused.is_playing = false;
  const auto with = [](ShelfSurfaceState state, auto change) {
    change(state);
    return state;
  };
  struct Case {
    const char* name;
    const ShelfSurfaceState& last;
    ShelfSurfaceState next;
    bool expected;
  };
  const Case cases[] = {
      {"playing, 4.4 s on", playing, with(playing, [](auto& s) { s.position = 14.4; }), false},
      {"playing, 4.5 s on", playing, with(playing, [](auto& s) { s.position = 14.5; }), true},
      {"playing, 4.5 s back", playing, with(playing, [](auto& s) { s.position = 5.5; }), true},
      {"playing, new stamp only", playing, with(playing, [](auto& s) { s.timestamp = 99; }), false},
      {"paused, unchanged", paused, paused, false},
      {"paused, a hair on", paused, with(paused, [](auto& s) { s.position = 10.01; }), true},
      {"paused, position gone", paused, with(paused, [](auto& s) { s.position.reset(); }), true},
      {"pause", playing, paused, true},
      {"volume", playing, with(playing, [](auto& s) { s.volume = 51; }), true},
      {"length", playing, with(playing, [](auto& s) { s.duration = 201; }), true},
      {"track", playing, with(playing, [](auto& s) { s.track_id = "t2"; }), true},
      {"title alone", playing, with(playing, [](auto& s) { s.title = "Other"; }), false},
      {"artwork", playing, with(playing, [](auto& s) { s.artwork = std::vector<std::uint8_t>{1}; }), true},
      {"unavailable", playing, spotify_state(SpotifyNotRunning{}, 0), true},
      {"another reason", spotify_state(SpotifyNotRunning{}, 0), spotify_state(SpotifyNoTrack{}, 0), true},
      {"same reason", spotify_state(SpotifyNoTrack{}, 0), spotify_state(SpotifyNoTrack{}, 7), false},
  };
  for (const Case& c : cases) EXPECT_EQ(spotify_should_send(c.last, c.next), c.expected) << c.name;
}

TEST(SpotifyArtworkURL, OnlyHttpsURLs) {
  const std::pair<std::string, bool> cases[] = {
      {"https://i.scdn.co/image/ab67616d0000b273", true},
      {"https://i.scdn.co", true},
      {"http://i.scdn.co/image/x", false},
      {"file:///etc/passwd", false},
      {"https://", false},
      {"https:///image", false},
      {"https://user@evil/x", false},
      {"https://i.scdn.co/image/a b", false},
      {"https://i.scdn.co/image/\n", false},
      {"", false},
  };
  for (const auto& [url, expected] : cases) EXPECT_EQ(is_fetchable_artwork_url(url), expected) << url;
}

// Counts thumbnails, and makes a recognisable one from whatever it is given.
class CountingThumbnailer final : public ImageThumbnailer {
 public:
  std::optional<std::vector<std::uint8_t>> jpeg_thumbnail(const std::vector<std::uint8_t>& image, int max_side,
                                                          double quality) const override {
    ++calls;
    if (image.size() < 2 || image[0] != 'B' || max_side != 512 || quality != 0.8) return std::nullopt;
    return std::vector<std::uint8_t>{0xFF, 0xD8, static_cast<std::uint8_t>(image.size() % 251)};
  }
  mutable std::atomic<int> calls = 0;
};

// The simulated web behind a gate that can hold a download back, as a slow network does.
class GatedDownloader final : public Downloader {
 public:
  explicit GatedDownloader(std::shared_ptr<sim::SimulatedWeb> web) : web_(std::move(web)) {}
  Download get(const std::string& url, base::Duration timeout, base::Duration wait, std::size_t max_bytes) override {
    std::unique_lock lock(mutex_);
    waiting_ = true;
    opened_.wait(lock, [this] { return open_; });
    waiting_ = false;
    return web_->get(url, timeout, wait, max_bytes);
  }
  void set_open(bool open) {
    {
      std::lock_guard lock(mutex_);
      open_ = open;
    }
    opened_.notify_all();
  }
  bool is_waiting() const {
    std::lock_guard lock(mutex_);
    return waiting_;
  }

 private:
  std::shared_ptr<sim::SimulatedWeb> web_;
  mutable std::mutex mutex_;
  std::condition_variable opened_;
  bool open_ = true;
  bool waiting_ = false;
};

class ExecutorWallClock final : public base::WallClock {
 public:
  explicit ExecutorWallClock(const base::Executor& main) : main_(main), start_(main.now()) {}
  base::WallTime now() const override {
    return base::from_seconds_since_2001(800'000'000) +
           std::chrono::duration_cast<base::WallTime::duration>(main_.now() - start_);
  }

 private:
  const base::Executor& main_;
  base::TimePoint start_;
};

struct SpotifyFixture {
  base::ManualExecutor main;
  ExecutorWallClock clock{main};
  std::shared_ptr<sim::SimulatedApplications> apps =
      std::make_shared<sim::SimulatedApplications>([this] { return main.now(); });
  std::shared_ptr<sim::SimulatedSpotify> spotify = std::make_shared<sim::SimulatedSpotify>([this] { return main.now(); });
  std::shared_ptr<sim::SimulatedWeb> web = std::make_shared<sim::SimulatedWeb>();
  std::shared_ptr<GatedDownloader> gate = std::make_shared<GatedDownloader>(web);
  std::shared_ptr<CountingThumbnailer> thumbnailer = std::make_shared<CountingThumbnailer>();
  std::vector<ShelfSurfaceState> states;
  SpotifySurfaceSession session{{main, clock, apps, apps, gate, thumbnailer}};

  SpotifyFixture() {
    spotify->set_tracks(sim::SimulatedSpotify::sample_tracks());
    for (const auto& track : spotify->tracks()) web->serve(track.artwork_url, 200, sim::simulated_cover(track.id, 8));
    apps->install(kSpotifyBundleID, spotify);
    apps->launch(kSpotifyBundleID);
    session.set_on_state([this](const ShelfSurfaceState& state) { states.push_back(state); });
  }

  // Lets the queue finish and its answers reach the main thread.
  void settle() {
    for (int spin = 0; spin < 5000; ++spin) {
      main.run_pending();
      if (!session.has_work_out()) return;
      std::this_thread::sleep_for(1ms);
    }
    FAIL() << "the queue never answered";
  }
  void tick(double seconds = 1.0) {
    main.advance_seconds(seconds);
    settle();
  }
  void command(Command command, std::optional<double> value = std::nullopt) {
    session.handle(ShelfCommand{.command = command, .value = value});
    settle();
  }
  std::size_t artwork_count() const {
    return static_cast<std::size_t>(
        std::count_if(states.begin(), states.end(), [](const ShelfSurfaceState& s) { return s.artwork.has_value(); }));
  }
};

TEST(SpotifySurfaceSession, FirstStateThenItsCoverAsASecondState) {
  SpotifyFixture f;
  f.session.start();
  f.settle();
  ASSERT_EQ(f.states.size(), 2u);
  EXPECT_TRUE(f.states[0].available);
  EXPECT_EQ(f.states[0].title, "Never Gonna Give You Up");
  EXPECT_EQ(f.states[0].duration, 213.573);
  EXPECT_FALSE(f.states[0].artwork);
  EXPECT_EQ(f.states[1].track_id, f.states[0].track_id);
  EXPECT_TRUE(f.states[1].artwork);
  // Nothing changes while paused: ticks send nothing, and the cover is not fetched again.
  for (int i = 0; i < 5; ++i) f.tick();
  EXPECT_EQ(f.states.size(), 2u);
  EXPECT_EQ(f.web->requests().size(), 1u);
  // The fixed scripts were compiled once; the state query ran each second.
  EXPECT_EQ(f.apps->compilations_by_key().at("state"), 1);
  EXPECT_EQ(f.apps->compilations_by_key().at("artworkURL"), 1);
}

TEST(SpotifySurfaceSession, PlayingSendsOnlyOnDrift) {
  SpotifyFixture f;
  f.session.start();
  f.settle();
  f.command(Command::playPause);
  ASSERT_EQ(f.states.size(), 3u);
  EXPECT_TRUE(f.states.back().is_playing);
  // The playhead moves with the clock as the phone extrapolates it: no state for a while.
  for (int i = 0; i < 4; ++i) f.tick();
  EXPECT_EQ(f.states.size(), 3u);
  // Seeking is drift the phone cannot know about.
  f.command(Command::seek, 100);
  ASSERT_EQ(f.states.size(), 4u);
  EXPECT_NEAR(*f.states.back().position, 100, 0.001);
  f.command(Command::setVolume, 130.4);
  EXPECT_EQ(f.states.back().volume, 100);
  EXPECT_EQ(f.spotify->player().volume, 100);
  // Seek and volume texts differ each time and are compiled each time.
  EXPECT_EQ(f.apps->uncached_compilations(), 2);
}

TEST(SpotifySurfaceSession, SwitchingTracksFetchesTheLatestCoverOnly) {
  SpotifyFixture f;
  f.session.start();
  f.settle();
  f.command(Command::next);
  f.command(Command::previous);
  // Back on the first track: its cover was replaced in the cache by the second's.
  EXPECT_EQ(f.web->requests().size(), 3u);
  EXPECT_EQ(f.artwork_count(), 3u);
  // A refresh re-sends the cover from the cache, without a download.
  f.session.refresh();
  f.settle();
  EXPECT_EQ(f.web->requests().size(), 3u);
  EXPECT_EQ(f.artwork_count(), 4u);
  EXPECT_EQ(f.thumbnailer->calls, 3);
}

TEST(SpotifySurfaceSession, CoverFailuresLeaveTheStateAndTryAgain) {
  struct Case {
    const char* name;
    int status;
    std::vector<std::uint8_t> body;
    bool offline;
    int thumbnails;
  };
  const Case cases[] = {
      {"not found", 404, {'B', 'M'}, false, 0},
      {"empty body", 200, {}, false, 0},
      {"no answer", 200, {'B', 'M'}, true, 0},
      {"not a picture", 200, {'x', 'y'}, false, 1},
  };
  for (const Case& c : cases) {
    SpotifyFixture f;
    const std::string url = f.spotify->tracks()[0].artwork_url;
    f.web->serve(url, c.status, c.body);
    f.web->set_offline(c.offline);
    f.session.start();
    f.settle();
    EXPECT_EQ(f.states.size(), 1u) << c.name;
    EXPECT_EQ(f.thumbnailer->calls, c.thumbnails) << c.name;
    // The next poll tries again, and a good answer is then delivered.
    f.web->set_offline(false);
    f.web->serve(url, 200, sim::simulated_cover("x", 8));
    f.tick();
    EXPECT_EQ(f.web->requests().size(), 2u) << c.name;
    EXPECT_EQ(f.artwork_count(), 1u) << c.name;
  }
}

TEST(SpotifySurfaceSession, ACoverThatTookAWhileCarriesTheAdvancedPlayhead) {
  SpotifyFixture f;
  f.spotify->play();
  f.gate->set_open(false);
  f.session.start();
  // The first state is out, and the download hangs while the clock moves on.
  while (!f.gate->is_waiting()) {
    f.main.run_pending();
    std::this_thread::sleep_for(1ms);
  }
  ASSERT_EQ(f.states.size(), 1u);
  f.main.advance_seconds(0.5);  // less than a tick
  f.gate->set_open(true);
  f.settle();
  ASSERT_EQ(f.states.size(), 2u);
  ASSERT_TRUE(f.states[1].artwork);
  EXPECT_NEAR(*f.states[1].position - *f.states[0].position, f.states[1].timestamp - f.states[0].timestamp, 1e-6);
  EXPECT_GT(f.states[1].timestamp, f.states[0].timestamp);
}

TEST(SpotifySurfaceSession, UnavailableReasonsAndRecovery) {
  SpotifyFixture f;
  f.session.start();
  f.settle();
  const auto expect_text = [&f](const char* text) {
    f.tick();
    ASSERT_FALSE(f.states.empty());
    EXPECT_FALSE(f.states.back().available);
    EXPECT_EQ(f.states.back().unavailable, text);
  };
  f.apps->set_automation_allowed(kSpotifyBundleID, false);
  expect_text("Allow Kolvo to control Spotify in System Settings, Privacy & Security, Automation.");
  f.apps->set_automation_allowed(kSpotifyBundleID, true);
  f.apps->set_script_error(kSpotifyBundleID, -2700);
  expect_text("Spotify did not respond");
  f.apps->set_script_error(kSpotifyBundleID, std::nullopt);
  f.apps->quit(kSpotifyBundleID);
  const std::size_t scripts = f.apps->scripts_run().size();
  expect_text("Open Spotify on your Mac");
  // A command while Spotify is closed runs nothing, but the phone hears the state at once.
  const std::size_t states = f.states.size();
  f.command(Command::playPause);
  EXPECT_EQ(f.apps->scripts_run().size(), scripts);
  EXPECT_EQ(f.states.size(), states + 1);
  // Spotify opens: the track and, anew, its cover.
  f.apps->launch(kSpotifyBundleID);
  const std::size_t covers = f.artwork_count();
  f.tick();
  EXPECT_TRUE(f.states.back().artwork);
  EXPECT_EQ(f.artwork_count(), covers + 1);
}

TEST(SpotifySurfaceSession, NothingArrivesAfterStop) {
  SpotifyFixture f;
  f.session.start();
  f.session.handle(ShelfCommand{.command = Command::next});
  f.session.stop();
  f.settle();
  f.tick(3);
  EXPECT_TRUE(f.states.empty());
  // Stopped, a command is not carried out.
  f.session.handle(ShelfCommand{.command = Command::next});
  f.settle();
  // A fresh start delivers its first state and cover again.
  f.session.start();
  f.settle();
  EXPECT_EQ(f.states.size(), 2u);
}

}  // namespace
}  // namespace kolvo::shelf
