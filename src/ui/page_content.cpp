#include "ui/page_content.hpp"

#include "base/enum_table.hpp"

namespace kolvo::ui {
namespace {

constexpr auto kTextStyleTable = base::make_enum_table<TextStyle>(
    {{TextStyle::body, "body"}, {TextStyle::note, "note"}, {TextStyle::warning, "warning"},
     {TextStyle::monospaced, "monospaced"}});

template <class... F>
struct Overloaded : F... {
  using F::operator()...;
};
// clang 14 does not yet deduce an aggregate's template arguments by itself.
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

std::string_view id_of(const Row& row) {
  return std::visit(Overloaded{[](const TextRow&) { return std::string_view(); },
                               [](const auto& r) { return std::string_view(r.id); }},
                    row);
}

nlohmann::ordered_json button_json(const ButtonRow& b) {
  return {{"kind", "button"}, {"id", b.id}, {"title", b.title}, {"enabled", b.enabled}};
}

nlohmann::ordered_json row_json(const Row& row) {
  return std::visit(
      Overloaded{
          [](const TextRow& r) -> nlohmann::ordered_json {
            return {{"kind", "text"}, {"text", r.text}, {"style", kTextStyleTable.to_string(r.style)}};
          },
          [](const ToggleRow& r) -> nlohmann::ordered_json {
            return {{"kind", "toggle"}, {"id", r.id}, {"title", r.title}, {"on", r.on}, {"enabled", r.enabled}};
          },
          [](const ChoiceRow& r) -> nlohmann::ordered_json {
            nlohmann::ordered_json options = nlohmann::ordered_json::array();
            for (const auto& o : r.options) options.push_back({{"value", o.value}, {"title", o.title}});
            nlohmann::ordered_json j{{"kind", "choice"}, {"id", r.id},         {"title", r.title},
                                     {"options", options}, {"selected", r.selected}, {"enabled", r.enabled}};
            if (r.note) j["note"] = *r.note;
            return j;
          },
          [](const SliderRow& r) -> nlohmann::ordered_json {
            return {{"kind", "slider"}, {"id", r.id},       {"title", r.title},          {"minimum", r.minimum},
                    {"maximum", r.maximum}, {"value", r.value}, {"valueText", r.value_text}};
          },
          [](const ButtonRow& r) { return button_json(r); },
          [](const ListRow& r) -> nlohmann::ordered_json {
            nlohmann::ordered_json items = nlohmann::ordered_json::array();
            for (const auto& item : r.items) {
              nlohmann::ordered_json actions = nlohmann::ordered_json::array();
              for (const auto& a : item.actions) actions.push_back(button_json(a));
              items.push_back({{"id", item.id}, {"title", item.title}, {"detail", item.detail}, {"actions", actions}});
            }
            return {{"kind", "list"}, {"id", r.id}, {"items", items}, {"emptyText", r.empty_text}};
          },
      },
      row);
}

std::string option_title(const ChoiceRow& r) {
  for (const auto& o : r.options) {
    if (o.value == r.selected) return o.title;
  }
  return r.selected;
}

void append_row_text(std::string& out, const Row& row) {
  std::visit(Overloaded{
                 [&](const TextRow& r) {
                   const char* mark = r.style == TextStyle::warning ? "! " : r.style == TextStyle::note ? "  " : "";
                   out += "  " + std::string(mark) + r.text + "\n";
                 },
                 [&](const ToggleRow& r) {
                   out += "  [" + std::string(r.on ? "x" : " ") + "] " + r.title + (r.enabled ? "" : " (unavailable)") +
                          "\n";
                 },
                 [&](const ChoiceRow& r) {
                   out += "  " + r.title + ": " + option_title(r) + (r.enabled ? "" : " (unavailable)") + "\n";
                   if (r.note) out += "      " + *r.note + "\n";
                 },
                 [&](const SliderRow& r) { out += "  " + r.title + ": " + r.value_text + "\n"; },
                 [&](const ButtonRow& r) { out += "  <" + r.title + ">" + (r.enabled ? "" : " (unavailable)") + "\n"; },
                 [&](const ListRow& r) {
                   if (r.items.empty()) out += "  " + r.empty_text + "\n";
                   for (const auto& item : r.items) {
                     out += "  - " + item.title + (item.detail.empty() ? "" : " (" + item.detail + ")");
                     for (const auto& a : item.actions) out += " <" + a.title + ">";
                     out += "\n";
                   }
                 },
             },
             row);
}

}  // namespace

const Row* find_row(const PageContent& page, std::string_view id) {
  for (const auto& section : page.sections) {
    for (const auto& row : section.rows) {
      if (!id.empty() && id_of(row) == id) return &row;
    }
  }
  return nullptr;
}

bool offers_control(const PageContent& page, std::string_view id) {
  if (find_row(page, id)) return true;
  for (const auto& section : page.sections) {
    for (const auto& row : section.rows) {
      const auto* list = std::get_if<ListRow>(&row);
      if (!list) continue;
      for (const auto& item : list->items) {
        for (const auto& action : item.actions) {
          if (action.id == id) return true;
        }
      }
    }
  }
  return false;
}

nlohmann::ordered_json to_json(const PageContent& page) {
  nlohmann::ordered_json sections = nlohmann::ordered_json::array();
  for (const auto& section : page.sections) {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const auto& row : section.rows) rows.push_back(row_json(row));
    sections.push_back({{"title", section.title}, {"rows", rows}});
  }
  return {{"id", page.id}, {"title", page.title}, {"sections", sections}};
}

std::string to_text(const PageContent& page) {
  std::string out = page.title + "\n";
  for (const auto& section : page.sections) {
    out += "\n" + section.title + "\n";
    for (const auto& row : section.rows) append_row_text(out, row);
  }
  return out;
}

}  // namespace kolvo::ui
