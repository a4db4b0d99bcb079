#include "app/deck_link.hpp"

#include <algorithm>
#include <charconv>

#include "app/request_handlers.hpp"
#include "app/runtime.hpp"
#include "base/number_text.hpp"
#include "deck/server/deck_settings_stores.hpp"

namespace kolvo::app {
namespace {

template <typename... Ts>
struct Overloaded : Ts... {
  using Ts::operator()...;
};
template <typename... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

std::optional<Request> level(deck::KolvoDeckControl control, std::optional<double> value) {
  if (!value) return std::nullopt;
  const LevelControl which = control == deck::KolvoDeckControl::volume       ? LevelControl::volume
                             : control == deck::KolvoDeckControl::brightness ? LevelControl::brightness
                                                                              : LevelControl::backlight;
  // The services clamp; a value the phone could not have meant is clamped too, never refused.
  return LevelRequest{.control = which, .set_to = static_cast<float>(std::clamp(*value, 0.0, 1.0))};
}

}  // namespace

std::optional<Request> request_for(const deck::KolvoDeckMessage& command) {
  using namespace deck;
  return command.visit(Overloaded{
      [](const SetControlMessage& m) -> std::optional<Request> {
        return m.control ? level(*m.control, m.value) : std::nullopt;
      },
      [](const SetAppearanceMessage& m) -> std::optional<Request> {
        if (!m.dark) return std::nullopt;
        return DarkModeRequest{.set_dark = *m.dark};
      },
      [](const SetAudioOutputMessage& m) -> std::optional<Request> {
        if (!m.audio_device_id) return std::nullopt;
        std::int64_t id = 0;
        const auto& text = *m.audio_device_id;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
        if (error != std::errc() || end != text.data() + text.size() || id < 0) return std::nullopt;
        return OutputRequest{.make_default = id};
      },
      [](const SwitchDesktopLeftMessage&) -> std::optional<Request> {
        return SpaceRequest{.direction = controls::SpaceDirection::left};
      },
      [](const SwitchDesktopRightMessage&) -> std::optional<Request> {
        return SpaceRequest{.direction = controls::SpaceDirection::right};
      },
      [](const ToggleDesktopVisibilityMessage&) -> std::optional<Request> { return ShowDesktopRequest{}; },
      [](const MediaPlayPauseMessage&) -> std::optional<Request> { return PlayPauseRequest{}; },
      [](const TabStepMessage& m) -> std::optional<Request> {
        if (!m.step) return std::nullopt;
        return TabRequest{.step = static_cast<std::int32_t>(std::clamp<std::int64_t>(*m.step, INT32_MIN, INT32_MAX))};
      },
      [](const WindowSnapMessage& m) -> std::optional<Request> {
        if (!m.window_layout) return std::nullopt;
        return SnapRequest{.layout = *m.window_layout, .pid = std::nullopt};
      },
      [](const LaunchAppMessage& m) -> std::optional<Request> {
        return LaunchRequest{.bundle_id = m.launch_bundle_id.value_or("")};
      },
      [](const LaunchPairMessage& m) -> std::optional<Request> {
        return LaunchPairRequest{.primary_bundle_id = m.pair_primary_bundle_id.value_or(""),
                                 .secondary_bundle_id = m.pair_secondary_bundle_id.value_or("")};
      },
      [](const ShelfSurfaceCommandMessage& m) -> std::optional<Request> {
        if (!m.surface_command || !m.surface_identity) return std::nullopt;
        return ShelfCommandRequest{.identity = *m.surface_identity,
                                   .command = {.command = *m.surface_command,
                                               .value = m.surface_value,
                                               .tool_id = m.surface_tool_id,
                                               .blender_tool = m.surface_blender_tool,
                                               .color_hex = m.surface_color_hex,
                                               .color_picker_id = m.surface_color_picker_id,
                                               .control_id = m.surface_control_id,
                                               .control_axis = m.surface_control_axis,
                                               .control_choice = m.surface_control_choice}};
      },
      [](const auto&) -> std::optional<Request> { return std::nullopt; },
  });
}

std::optional<deck::KolvoDeckMessage> answer_for(const deck::KolvoDeckMessage& command, const Reply& reply) {
  using namespace deck;
  if (const auto* launch = command.get_if<LaunchAppMessage>()) {
    const auto outcome = reply.launch ? reply.launch->primary : KolvoDeckLaunchOutcome::failed;
    return LaunchResultMessage{launch->launch_bundle_id, launch->launch_request_id, outcome};
  }
  if (const auto* pair = command.get_if<LaunchPairMessage>()) {
    LaunchPairResultMessage result{pair->pair_request_id, pair->pair_primary_bundle_id, pair->pair_secondary_bundle_id,
                                   KolvoDeckLaunchPairOutcome::failed, KolvoDeckLaunchOutcome::failed,
                                   KolvoDeckLaunchOutcome::failed, KolvoDeckLaunchLayoutOutcome::skipped};
    if (reply.launch) {
      result.pair_outcome = reply.launch->pair;
      result.pair_primary_outcome = reply.launch->primary;
      result.pair_secondary_outcome = reply.launch->secondary;
      result.pair_layout_outcome = reply.launch->layout;
    }
    return result;
  }
  return std::nullopt;
}

deck::DeckReadings DeckLink::readings() {
  auto& controls = runtime_.controls();
  auto& settings = runtime_.settings();
  deck::DeckReadings r;
  auto& volume = controls.volume();
  r.has_volume_control = volume.has_volume_control();
  if (const auto v = volume.volume()) r.volume = base::widened(*v);
  auto& brightness = controls.brightness();
  r.brightness_entry_points = brightness.has_get_entry() && brightness.has_set_entry();
  if (const auto b = brightness.brightness()) r.brightness = base::widened(*b);
  r.dark = runtime_.ports().appearance->is_dark();
  auto& backlight = controls.backlight();
  r.backlight_present = !backlight.unavailable();
  if (const auto b = backlight.brightness()) r.keyboard_backlight = base::widened(*b);
  auto& outputs = controls.audio_output();
  for (const auto& device : outputs.output_devices()) r.audio_devices.push_back({std::to_string(device.id), device.name});
  if (const auto current = outputs.default_output_device_id()) r.current_audio_device_id = std::to_string(*current);
  const auto layout = runtime_.hidden_dock().zones().effective();
  r.corners = layout.corners;
  r.accessibility_trusted = runtime_.ports().accessibility->is_process_trusted();
  const auto frontmost = runtime_.frontmost_bundle_id();
  const auto* focused = runtime_.ports().focused_application.get();
  r.profile.active_app_bundle_id = frontmost;
  r.profile.active_app_name = focused ? focused->frontmost_name() : std::nullopt;
  if (layout.profile) {
    r.profile.name = layout.profile->app_name;
    r.profile.bundle_id = layout.profile->bundle_id;
    r.profile.is_default = false;
  } else {
    r.profile.name = "Default";
    r.profile.is_default = true;
  }
  const auto& accent = settings.accent_color().color();
  r.accent = {accent.red, accent.green, accent.blue};
  if (const auto& kinds = settings.deck_stats().enabled(); !kinds.empty()) r.stats = runtime_.deck_stats(kinds);
  return r;
}

deck::KolvoDeckState DeckLink::current_state() { return deck::assemble_state(readings()); }

std::vector<deck::KolvoDeckLaunchItem> DeckLink::launch_items() {
  if (!runtime_.settings().launch_beta_enabled()) return {};
  auto& hidden = runtime_.hidden_dock();
  return deck::launch_items(hidden.apps().apps(), hidden.launcher().slots());
}

std::optional<std::string> DeckLink::frontmost_bundle_id() { return runtime_.frontmost_bundle_id(); }

std::optional<std::vector<std::uint8_t>> DeckLink::application_icon_png(const std::string& bundle_id) {
  const auto& catalog = *runtime_.ports().applications;
  const auto installed = catalog.application_with_bundle_id(bundle_id);
  if (!installed) return std::nullopt;
  return catalog.icon_png(*installed, kIconPixels);
}

void DeckLink::perform(const deck::KolvoDeckMessage& command,
                       std::function<void(std::optional<deck::KolvoDeckMessage>)> done) {
  const auto request = request_for(command);
  if (!request) return done(std::nullopt);
  RequestHandlers handlers(runtime_);
  handlers.handle(*request, [command, done = std::move(done)](Reply reply) { done(answer_for(command, reply)); });
}

std::optional<deck::ShelfWidgetsMessage> DeckLink::shelf_widgets() {
  auto& store = runtime_.settings().shelf_widgets();
  return deck::ShelfWidgetsMessage{store.widgets(), store.background().get()};
}

void DeckLink::refresh_shelf() { runtime_.shelf().refreshAll(); }

base::Subscription DeckLink::observe_changes(std::function<void()> changed) {
  auto& settings = runtime_.settings();
  auto& hidden = runtime_.hidden_dock();
  auto shared = std::make_shared<std::function<void()>>(std::move(changed));
  auto call = [shared](const auto&) { (*shared)(); };
  std::vector<base::Subscription> subscriptions;
  for (const auto corner : {prefs::Corner::topLeft, prefs::Corner::topRight, prefs::Corner::bottomLeft,
                            prefs::Corner::bottomRight}) {
    subscriptions.push_back(settings.corner_controls().setting(corner).subscribe(call));
  }
  subscriptions.push_back(settings.accent_color().observable().subscribe(call));
  subscriptions.push_back(settings.deck_stats().observable().subscribe(call));
  subscriptions.push_back(hidden.profiles().observable().subscribe(call));
  subscriptions.push_back(hidden.apps().observable().subscribe(call));
  subscriptions.push_back(hidden.launcher().observable().subscribe(call));
  subscriptions.push_back(runtime_.ports().appearance->observe_theme_changes([shared] { (*shared)(); }));
  if (const auto& focused = runtime_.ports().focused_application) {
    subscriptions.push_back(focused->observe_changes([shared] { (*shared)(); }));
  }
  auto held = std::make_shared<std::vector<base::Subscription>>(std::move(subscriptions));
  return base::Subscription([held] { held->clear(); });
}

}  // namespace kolvo::app
