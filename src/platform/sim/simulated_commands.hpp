#pragma once

#include <string>
#include <vector>

#include "app/requests.hpp"
#include "platform/sim/simulated_applications.hpp"
#include "platform/sim/simulated_spotify.hpp"

namespace kolvo::sim {

// The applications a running host's simulated Mac has, for `kolvo sim`.
struct SimulatedWorld {
  SimulatedApplications& applications;
  SimulatedSpotify& spotify;
  SimulatedWeb& web;
};

// Carries out `kolvo sim …` (the words after "sim"): what a user would do on the Mac to the
// applications the Shelf's widgets follow, so a phone can be watched following them.
app::Reply drive_simulation(SimulatedWorld world, const std::vector<std::string>& words);

}  // namespace kolvo::sim
