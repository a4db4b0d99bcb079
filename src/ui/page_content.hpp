#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "nlohmann/json.hpp"

// What a window shows, as plain data: the Mac draws it with AppKit, the headless host prints it.
// Every text and state is decided where it is built, so both show the same thing.
namespace kolvo::ui {

enum class TextStyle { body, note, warning, monospaced };

struct TextRow {
  std::string text;
  TextStyle style = TextStyle::body;
  friend bool operator==(const TextRow&, const TextRow&) = default;
};

struct ToggleRow {
  std::string id;
  std::string title;
  bool on = false;
  bool enabled = true;
  friend bool operator==(const ToggleRow&, const ToggleRow&) = default;
};

struct ChoiceOption {
  std::string value;
  std::string title;
  friend bool operator==(const ChoiceOption&, const ChoiceOption&) = default;
};

struct ChoiceRow {
  std::string id;
  std::string title;
  std::vector<ChoiceOption> options;
  std::string selected;
  bool enabled = true;
  // Shown under the choice, for example why the control does nothing now.
  std::optional<std::string> note = std::nullopt;
  friend bool operator==(const ChoiceRow&, const ChoiceRow&) = default;
};

struct SliderRow {
  std::string id;
  std::string title;
  double minimum = 0;
  double maximum = 1;
  double value = 0;
  // The value as the row shows it beside the slider.
  std::string value_text;
  friend bool operator==(const SliderRow&, const SliderRow&) = default;
};

struct ButtonRow {
  std::string id;
  std::string title;
  bool enabled = true;
  friend bool operator==(const ButtonRow&, const ButtonRow&) = default;
};

// One entry of a list: a title, a detail line and the buttons that act on it.
struct ListItem {
  std::string id;
  std::string title;
  std::string detail;
  std::vector<ButtonRow> actions;
  friend bool operator==(const ListItem&, const ListItem&) = default;
};

struct ListRow {
  std::string id;
  std::vector<ListItem> items;
  // Shown instead when there are no items.
  std::string empty_text;
  friend bool operator==(const ListRow&, const ListRow&) = default;
};

using Row = std::variant<TextRow, ToggleRow, ChoiceRow, SliderRow, ButtonRow, ListRow>;

struct Section {
  std::string title;
  std::vector<Row> rows;
  friend bool operator==(const Section&, const Section&) = default;
};

struct PageContent {
  std::string id;
  std::string title;
  std::vector<Section> sections;
  friend bool operator==(const PageContent&, const PageContent&) = default;
};

// What the user did to a control: a toggle's new state, a choice's value, a slider's value,
// or a press of a button (a list item's button carries the item's id as its text).
using ControlValue = std::variant<std::monostate, bool, std::string, double>;
struct ControlEvent {
  std::string id;
  ControlValue value;
};

// The row with `id` anywhere on the page, for the shells that look a control up by its id.
const Row* find_row(const PageContent& page, std::string_view id);

// Whether the page offers a control with `id`: a row, or a button on one of its list's items.
bool offers_control(const PageContent& page, std::string_view id);

// The page as JSON: {"id","title","sections":[{"title","rows":[{"kind":…}]}]}.
nlohmann::ordered_json to_json(const PageContent& page);
// The page as plain text, one line per row, as a person reads it in a terminal.
std::string to_text(const PageContent& page);

}  // namespace kolvo::ui
