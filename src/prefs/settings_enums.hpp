#pragma once

#include <optional>
#include <string_view>

#include "base/enum_table.hpp"

namespace kolvo::prefs {

enum class ControlAppearanceMode { automatic, light, dark };
inline constexpr auto kControlAppearanceModeTable = base::make_enum_table<ControlAppearanceMode>({
    {ControlAppearanceMode::automatic, "auto"}, {ControlAppearanceMode::light, "light"},
    {ControlAppearanceMode::dark, "dark"}});

enum class KnobStyle { classic, minimal };
inline constexpr auto kKnobStyleTable = base::make_enum_table<KnobStyle>({{KnobStyle::classic, "classic"},
                                                                   {KnobStyle::minimal, "minimal"}});

enum class EdgeMode { dock, volume, brightness, appearance };
inline constexpr auto kEdgeModeTable = base::make_enum_table<EdgeMode>({
    {EdgeMode::dock, "dock"}, {EdgeMode::volume, "volume"},
    {EdgeMode::brightness, "brightness"}, {EdgeMode::appearance, "appearance"}});

enum class CornerControlMode {
  off,
  volume,
  brightness,
  appearance,
  keyboardBacklight,
  audioOutput,
  playPause,
  showDesktop,
  tabCarousel,
  windowSnap,
  timer,
};
inline constexpr auto kCornerControlModeTable = base::make_enum_table<CornerControlMode>({
    {CornerControlMode::off, "off"}, {CornerControlMode::volume, "volume"},
    {CornerControlMode::brightness, "brightness"},
    {CornerControlMode::appearance, "appearance"},
    {CornerControlMode::keyboardBacklight, "keyboardBacklight"},
    {CornerControlMode::audioOutput, "audioOutput"},
    {CornerControlMode::playPause, "playPause"},
    {CornerControlMode::showDesktop, "showDesktop"},
    {CornerControlMode::tabCarousel, "tabCarousel"},
    {CornerControlMode::windowSnap, "windowSnap"}, {CornerControlMode::timer, "timer"}});

enum class KolvoActivationSide { both, leftOnly, rightOnly, none };
inline constexpr auto kKolvoActivationSideTable = base::make_enum_table<KolvoActivationSide>({
    {KolvoActivationSide::both, "both"}, {KolvoActivationSide::leftOnly, "leftOnly"},
    {KolvoActivationSide::rightOnly, "rightOnly"}, {KolvoActivationSide::none, "none"}});

enum class KolvoDeckStatKind { cpu, ram, storage, battery, unknown };
inline constexpr auto kKolvoDeckStatKindTable = base::make_enum_table<KolvoDeckStatKind>({
    {KolvoDeckStatKind::cpu, "cpu"}, {KolvoDeckStatKind::ram, "ram"},
    {KolvoDeckStatKind::storage, "storage"}, {KolvoDeckStatKind::battery, "battery"},
    {KolvoDeckStatKind::unknown, "unknown"}});

enum class LiquidGlassTint { automatic, neutral, custom };
inline constexpr auto kLiquidGlassTintTable = base::make_enum_table<LiquidGlassTint>({
    {LiquidGlassTint::automatic, "automatic"}, {LiquidGlassTint::neutral, "neutral"},
    {LiquidGlassTint::custom, "custom"}});

enum class Sound { click, bubble, timer };
inline constexpr auto kSoundTable = base::make_enum_table<Sound>({
    {Sound::click, "click"}, {Sound::bubble, "bubble"},
    {Sound::timer, "timer"}});

// A screen corner, where a Corner Dial lives.
enum class Corner { topLeft, topRight, bottomLeft, bottomRight };
inline constexpr auto kCornerTable = base::make_enum_table<Corner>(
    {{Corner::topLeft, "topLeft"}, {Corner::topRight, "topRight"}, {Corner::bottomLeft, "bottomLeft"},
     {Corner::bottomRight, "bottomRight"}});

// Spelled-out helpers so call sites read as the enumeration they convert.
constexpr std::string_view to_string(ControlAppearanceMode v) { return kControlAppearanceModeTable.to_string(v); }
constexpr std::string_view to_string(KnobStyle v) { return kKnobStyleTable.to_string(v); }
constexpr std::string_view to_string(EdgeMode v) { return kEdgeModeTable.to_string(v); }
constexpr std::string_view to_string(CornerControlMode v) { return kCornerControlModeTable.to_string(v); }
constexpr std::string_view to_string(KolvoActivationSide v) { return kKolvoActivationSideTable.to_string(v); }
constexpr std::string_view to_string(KolvoDeckStatKind v) { return kKolvoDeckStatKindTable.to_string(v); }
constexpr std::string_view to_string(LiquidGlassTint v) { return kLiquidGlassTintTable.to_string(v); }
constexpr std::string_view to_string(Sound v) { return kSoundTable.to_string(v); }
constexpr std::string_view to_string(Corner v) { return kCornerTable.to_string(v); }

}  // namespace kolvo::prefs
