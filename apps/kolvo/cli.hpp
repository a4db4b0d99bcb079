#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/requests.hpp"

namespace kolvo::host {

// Exit codes: 0 done, 1 the request failed, 2 the command line was wrong.
using app::kExitFailure;
using app::kExitUsage;

using Arguments = std::vector<std::string>;

// Removes "--json" wherever it stands and says whether it was there.
bool take_flag(Arguments& arguments, std::string_view flag);

// Takes "FLAG VALUE" out of the arguments. False, with `error` saying FLAG needs `what`, when
// VALUE is missing.
bool take_value(Arguments& arguments, std::string_view flag, std::string_view what, std::optional<std::string>& value,
                std::string& error);

// Prints one plain sentence to standard error and returns the code, for `return fail(...)`.
int fail(int code, std::string_view sentence);

int run(int argc, char** argv);

class HostRuntime;

int run_serve(Arguments arguments);
int run_prefs(Arguments arguments);
int run_settings(Arguments arguments);
int run_diagnostics(Arguments arguments);
int run_ui(Arguments arguments);
int run_dock(Arguments arguments);
int run_pointer(Arguments arguments);
int run_frames(Arguments arguments);
int run_control(Arguments arguments);
int run_timer(Arguments arguments);
int run_sim(Arguments arguments);
int run_update(Arguments arguments);
int run_deck(Arguments arguments);
int run_launch(Arguments arguments);
int run_claude(Arguments arguments);
int run_blender(Arguments arguments);

}  // namespace kolvo::host
