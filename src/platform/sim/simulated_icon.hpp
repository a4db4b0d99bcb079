#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace kolvo::sim {

// A square PNG of `pixels` × `pixels`: a rounded tile in a colour of its own for each name, so
// the phone shows the simulated Mac's applications apart.
std::vector<std::uint8_t> simulated_icon_png(std::string_view name, int pixels);

}  // namespace kolvo::sim
