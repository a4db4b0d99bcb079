#include "platform/sim/simulated_commands.hpp"

#include <array>
#include <utility>

#include "base/number_text.hpp"

namespace kolvo::sim {
namespace {

struct Alias {
  std::string_view name;
  std::string_view bundle_id;
  // What the running process reports, when it differs: Premiere Pro carries its version.
  std::string_view running_as;
};

constexpr std::array<Alias, 5> kAliases{{
    {"spotify", "com.spotify.client", ""},
    {"photoshop", "com.adobe.Photoshop", ""},
    {"illustrator", "com.adobe.illustrator", ""},
    {"aftereffects", "com.adobe.AfterEffects", ""},
    {"premiere", "com.adobe.PremierePro", "com.adobe.PremierePro.25"},
}};

constexpr std::string_view kUsage =
    "kolvo sim takes: APP open|quit|front|deny|allow|interact, APP error NUMBER|none (APP: spotify, photoshop, "
    "illustrator, aftereffects, premiere); spotify status|play|pause|next|previous|empty|queue, spotify seek "
    "SECONDS, spotify volume 0-100; web offline|online; keyboard us|german.";

app::Reply usage() { return {app::kExitUsage, {}, "kolvo: " + std::string(kUsage) + "\n", {}}; }
app::Reply done(std::string line) { return {0, std::move(line) + "\n", {}, {}}; }

const Alias* alias_named(std::string_view name) {
  for (const Alias& alias : kAliases) {
    if (alias.name == name) return &alias;
  }
  return nullptr;
}

std::string spotify_status(const SimulatedSpotify& spotify, bool running) {
  if (!running) return "spotify not running";
  const SimulatedSpotify::Player player = spotify.player();
  if (!player.track) return "spotify running, nothing loaded, volume " + std::to_string(player.volume);
  return "spotify " + std::string(player.playing ? "playing" : "paused") + " \"" + player.track->name + "\" at " +
         base::fixed_real_text(player.position, 1) + " of " + base::fixed_real_text(player.track->duration, 1) +
         " s, volume " + std::to_string(player.volume);
}

app::Reply drive_spotify(SimulatedWorld world, const std::vector<std::string>& words) {
  SimulatedSpotify& spotify = world.spotify;
  const std::string& verb = words[1];
  if (words.size() == 2) {
    if (verb == "play") {
      spotify.play();
    } else if (verb == "pause") {
      spotify.pause();
    } else if (verb == "next") {
      spotify.next_track();
    } else if (verb == "previous") {
      spotify.previous_track();
    } else if (verb == "empty") {
      spotify.set_tracks({});
    } else if (verb == "queue") {
      spotify.set_tracks(SimulatedSpotify::sample_tracks());
    } else if (verb != "status") {
      return usage();
    }
  } else if (words.size() == 3 && verb == "seek") {
    const auto seconds = base::parse_real(words[2]);
    if (!seconds) return usage();
    spotify.seek(*seconds);
  } else if (words.size() == 3 && verb == "volume") {
    const auto volume = base::parse_integer(words[2]);
    if (!volume || *volume < 0 || *volume > 100) return usage();
    spotify.set_volume(*volume);
  } else {
    return usage();
  }
  return done(spotify_status(spotify, world.applications.is_running("com.spotify.client")));
}

}  // namespace

app::Reply drive_simulation(SimulatedWorld world, const std::vector<std::string>& words) {
  if (words.empty()) return usage();
  if (words[0] == "web" && words.size() == 2 && (words[1] == "offline" || words[1] == "online")) {
    world.web.set_offline(words[1] == "offline");
    return done("web " + words[1]);
  }
  if (words[0] == "keyboard" && words.size() == 2 && (words[1] == "us" || words[1] == "german")) {
    world.applications.set_keyboard_layout(words[1] == "us" ? SimulatedKeyboardLayout::us
                                                            : SimulatedKeyboardLayout::german);
    return done("keyboard " + words[1]);
  }
  const Alias* alias = alias_named(words[0]);
  if (!alias || words.size() < 2) return usage();
  const std::string bundle_id(alias->bundle_id);
  const std::string& verb = words[1];
  SimulatedApplications& apps = world.applications;
  if (words.size() == 2 && verb == "open") {
    const auto pid = apps.launch(bundle_id, alias->running_as.empty() ? std::nullopt
                                                                      : std::optional<std::string>(alias->running_as));
    return done(words[0] + " running as pid " + std::to_string(pid));
  }
  if (words.size() == 2 && verb == "quit") {
    apps.quit(bundle_id);
    return done(words[0] + " not running");
  }
  if (words.size() == 2 && (verb == "front" || verb == "interact")) {
    const auto pid = apps.pid_of(bundle_id);
    if (!pid) return {app::kExitFailure, {}, "kolvo: " + words[0] + " is not running.\n", {}};
    if (verb == "front") {
      apps.bring_to_front(*pid);
    } else {
      apps.interact(bundle_id);
    }
    return done(words[0] + (verb == "front" ? " in front" : " interacted with"));
  }
  if (words.size() == 2 && (verb == "deny" || verb == "allow")) {
    apps.set_automation_allowed(bundle_id, verb == "allow");
    return done(words[0] + (verb == "allow" ? " may be controlled" : " may not be controlled"));
  }
  if (words.size() == 3 && verb == "error") {
    if (words[2] == "none") {
      apps.set_script_error(bundle_id, std::nullopt);
      return done(words[0] + " answers scripts");
    }
    const auto number = base::parse_integer(words[2]);
    if (!number) return usage();
    apps.set_script_error(bundle_id, *number);
    return done(words[0] + " fails every script with " + words[2]);
  }
  if (alias->name == "spotify") return drive_spotify(world, words);
  return usage();
}

}  // namespace kolvo::sim
