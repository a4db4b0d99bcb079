#include "deck/protocol/shelf_vocabulary.hpp"

#include "deck/protocol/shelf_vocabulary_fields.hpp"

namespace kolvo::deck {

bool ShelfSurfaceState::same_content(const ShelfSurfaceState& other) const {
  ShelfSurfaceState a = *this;
  a.timestamp = other.timestamp;
  return a == other;
}

void write_json(base::JsonWriter& w, const ShelfSurfaceState& state) {
  wire::Object<ShelfSurfaceState>::write(w, state);
}

std::string encode_json(const ShelfSurfaceState& state) {
  std::string out;
  base::JsonWriter writer(out);
  write_json(writer, state);
  return out;
}

std::optional<ShelfSurfaceState> surface_state_from_json(const nlohmann::json& json, std::string* error) {
  ShelfSurfaceState state;
  std::string why;
  if (!wire::Object<ShelfSurfaceState>::read(json, state, why)) {
    if (error) *error = "ShelfSurfaceState" + why;
    return std::nullopt;
  }
  return state;
}

}  // namespace kolvo::deck
