#include "cli.hpp"

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace kolvo::host {
namespace {

constexpr std::string_view kUsage = R"(usage: kolvo <command> [options]

  serve [--sim FILE] [--update-feed URL]
                            run the agent without a screen (the simulated Mac on Linux),
                            checking URL for updates at start and daily
  prefs read [KEY] [--json] print the preference domain, or one key
  prefs write KEY -TYPE VALUE...
                            set a key; TYPE is string, int, float, bool, array,
                            array-float, data (hex) or date (ISO 8601)
  prefs delete KEY          remove a key
  settings [--json]         the effective value of every setting
  diagnostics [--sim FILE]  the diagnostics report
  ui PAGE [--json] [--sim FILE]
                            a settings page as the Mac shows it: general, controls,
                            profiles, apps, deck, corvane or advanced
  ui onboarding [STEP] [--json] [--sim FILE]
                            a step of the first-run window: welcome (the default),
                            apps, edges, calibration or done
  dock [--json] [--sim FILE]
                            every display's Dock: calibration, detection, trigger areas
  dock --svg FILE [--sim FILE]
                            draw every display's activation zones, Dock and trays
                            to scale as an SVG picture
  dock calibrate --display KEY --rect X,Y,W,H --position bottom|left|right [--sim FILE]
                            save a calibration for a display
  pointer [--json] [--sim FILE] [--frontmost BUNDLE_ID]
                            replay an 'x y t' pointer trace from standard input and print
                            what the panels would do, and when
  frames decode             cut a raw Deck byte stream from standard input into frames,
                            one JSON line each
  frames encode             one JSON message per input line to frames on standard output
  control volume|brightness|backlight [LEVEL]
                            read a level, or set it (0 to 1, or a percentage)
  control output [ID]       list the output devices, or choose one
  control dark [on|off]     read or set dark mode
  control desktop           show or hide the desktop
  control space left|right  switch Spaces
  control tab STEP          next (1) or previous (-1) tab in the frontmost browser
  control snap LAYOUT [--pid PID]
                            snap the frontmost window: leftHalf, rightHalf, maximize,
                            topHalf, bottomHalf, topLeft, topRight, bottomLeft,
                            bottomRight or center
  control playpause         the play/pause media key
  timer [status] [--json]   the timer's state and its dial label
  timer start|stop          start or stop the timer
  timer set MINUTES         the timer's minutes, 0 to 60
                            (control and timer go to a running 'kolvo serve' when
                            there is one; --sim FILE or --frontmost ID runs them here)
  sim APP open|quit|front|deny|allow|interact|error N
                            on a running 'kolvo serve': what a user does to the simulated
                            Mac's Spotify or Adobe application (see the README)
  sim spotify play|pause|next|previous|seek S|volume N|status
  launch BUNDLE_ID [--with BUNDLE_ID]
                            launch an application or bring it forward; with --with,
                            a second one beside it, the two halves of the screen
  deck pair HOST:PORT [--device-id ID] [--name NAME] [--timeout SECONDS]
                            say hello to a Kolvo Deck server as a phone and wait for
                            approval (120 s by default)
  deck watch HOST:PORT [--device-id ID] [--name NAME]
                            say hello, then print every message received, one JSON line each
  deck send HOST:PORT JSON [--device-id ID] [--name NAME] [--wait SECONDS]
                            say hello, send one message once approved, and print the
                            replies for a moment (1 s by default)
  deck approve|deny DEVICE_ID
                            answer an iPhone waiting for approval on the running host
  deck trusted [--json]     the trusted iPhones, and those waiting for approval
  deck forget DEVICE_ID     forget a trusted iPhone; it asks again next time
  update check [--feed URL] [--timeout SECONDS] [--json]
                            read the update feed (URL, else KOLVO_UPDATE_FEED_URL) and say
                            whether a newer version runs on this Mac; never writes
  claude install-hooks      add Kolvo's status hooks to Claude Code's settings
                            (~/.claude/settings.json), keeping the original beside it
  claude status [--json]    whether the hooks are installed, and the last event they reported
  blender install           install and enable the Kolvo Bridge extension in the Blender
                            found (the first 'blender' on the PATH on Linux); Blender must
                            not be running
  blender status [--json]   the Blender Bridge's status line, the Blender found and the
                            extension version installed for it
  help                      this text
)";

}  // namespace

bool take_flag(Arguments& arguments, std::string_view flag) {
  const auto found = std::find(arguments.begin(), arguments.end(), flag);
  if (found == arguments.end()) return false;
  arguments.erase(found);
  return true;
}

bool take_value(Arguments& arguments, std::string_view flag, std::string_view what, std::optional<std::string>& value,
                std::string& error) {
  const auto found = std::find(arguments.begin(), arguments.end(), flag);
  if (found == arguments.end()) return true;
  if (found + 1 == arguments.end()) {
    error = std::string(flag) + " needs " + std::string(what) + ".";
    return false;
  }
  value = *(found + 1);
  arguments.erase(found, found + 2);
  return true;
}

int fail(int code, std::string_view sentence) {
  std::cerr << "kolvo: " << sentence << '\n';
  return code;
}

int run(int argc, char** argv) {
  Arguments arguments(argv + 1, argv + argc);
  if (arguments.empty()) {
    std::cerr << kUsage;
    return kExitUsage;
  }
  const std::string command = arguments.front();
  arguments.erase(arguments.begin());
  if (command == "help" || command == "--help" || command == "-h") {
    std::cout << kUsage;
    return 0;
  }
  if (command == "serve") return run_serve(std::move(arguments));
  if (command == "prefs") return run_prefs(std::move(arguments));
  if (command == "settings") return run_settings(std::move(arguments));
  if (command == "diagnostics") return run_diagnostics(std::move(arguments));
  if (command == "ui") return run_ui(std::move(arguments));
  if (command == "dock") return run_dock(std::move(arguments));
  if (command == "pointer") return run_pointer(std::move(arguments));
  if (command == "frames") return run_frames(std::move(arguments));
  if (command == "control") return run_control(std::move(arguments));
  if (command == "timer") return run_timer(std::move(arguments));
  if (command == "sim") return run_sim(std::move(arguments));
  if (command == "update") return run_update(std::move(arguments));
  if (command == "deck") return run_deck(std::move(arguments));
  if (command == "launch") return run_launch(std::move(arguments));
  if (command == "claude") return run_claude(std::move(arguments));
  if (command == "blender") return run_blender(std::move(arguments));
  return fail(kExitUsage, "'" + command + "' is not a kolvo command; run 'kolvo help' for the list.");
}

}  // namespace kolvo::host
